#ifndef VARNO_TTY_COMMANDS_H
#define VARNO_TTY_COMMANDS_H

// The commands that can be typed: a graph of parse nodes, and what runs them.

#include "session.h"

#include <varno/cli_parse.h>

#include <cstddef>

// What an action is given: its session, the line that was parsed, and the words.
struct Command {
    Session &session;
    const char *line;
    cli_pmatch_s *matches;
    int depth; // of aliases that led here
};

// The func of the graph's EOLS nodes.
using Action = void (*)(const Command &command);

// Parses a line and runs it, or says what is wrong with it.
void commands_run(Session &session, const char *line);

// Returns: the first alternative for a line's first word.
cli_pnode_s *commands_root();

// Removes what users have added to the graph.
void commands_release();

// Returns: the word that matched the node of this name; NULL if none did.
const char *command_word(const Command &command, const char *name);

// Prints text that is no constant of ours: control characters, those of 8 bits too,
// become question marks.
void print_text(const char *text, std::size_t len);
void print_text(const char *text);

#endif
