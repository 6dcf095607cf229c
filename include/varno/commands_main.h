#ifndef VARNO_COMMANDS_MAIN_H
#define VARNO_COMMANDS_MAIN_H

/* A program that looks through a device's commands: varno-commands(1). Its main function is
 * in the static library libvarno-commands-main; whoever makes the device adds the function
 * below, and the tables. With CMake varno_check_commands(NAME SOURCES...) makes that
 * program, and a test which wants no findings. */

#include <varno/commands.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Adds the device's modes, types and rows to an empty set. The program's author defines it.
 * No row's function is called, nor a type's.
 * Returns: 0; else the program ends with an error. */
int32_t varno_commands_fill(cli_set_s *set);

#ifdef __cplusplus
}
#endif

#endif
