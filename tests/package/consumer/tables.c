/* The tables of a device for varno-commands; FAULTY has a word without help. */

#include <varno/commands_main.h>

#include <stddef.h>

static int32_t show_version(cli_call_s *call, void *user)
{
    (void) user;
    cli_print(call, "1\n");
    return CLI_DONE;
}

static const cli_command_s rows[] = {
#ifndef FAULTY
    {"show", "what there is", NULL, NULL, 0, 0, NULL},
#endif
    {"show version", "the version", show_version, NULL, 0, 0, NULL},
};

int32_t varno_commands_fill(cli_set_s *set)
{
    return cli_set_add(set, NULL, NULL, rows, sizeof(rows) / sizeof(*rows));
}
