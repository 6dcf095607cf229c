#ifndef VARNO_TTY_COMMANDS_H
#define VARNO_TTY_COMMANDS_H

// The commands of the device: a graph of parse nodes whose ends are actions.

#include "console.h"

#include <varno/cli_parse.h>

// What an action is given: the line and its words.
struct Command {
    Console &console;
    const char *line;
    cli_pmatch_s *matches;
};

// The func of the graph's end-of-line nodes.
using Action = void (*)(const Command &command);

// Returns: the first alternative for a line's first word; it stays the first.
cli_pnode_s *commands_root();

// Runs a line that was matched up to this end.
void commands_run(const Command &command, const cli_pnode_s *end);

// Matches a line and runs it, or says what is wrong with it.
void commands_run_line(Console &console, const char *line);

// Removes what users have added to the graph.
void commands_release();

#endif
