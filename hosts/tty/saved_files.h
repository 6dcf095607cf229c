#ifndef VARNO_TTY_SAVED_FILES_H
#define VARNO_TTY_SAVED_FILES_H

// Where "| save NAME" writes to: files of one directory, for their owner alone.

#include <string>

#include <varno/commands.h>

// Once, before the first shell. Returns: false with errno.
bool saved_files_open(const std::string &directory);

// Returns: for a shell's configuration; NULL where there is no directory.
const cli_save_s *saved_files();

#endif
