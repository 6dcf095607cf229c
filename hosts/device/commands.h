#ifndef VARNO_DEVICE_COMMANDS_H
#define VARNO_DEVICE_COMMANDS_H

// What an action is given, how it reads its words, and the actions that need little
// more than that.

#include <varno/cli_parse.h>

#include "console.h"

namespace device {

// The line and its words.
struct Command {
    Console &console;
    const char *line;
    cli_pmatch_s *matches;
};

// The func of the graph's end-of-line nodes.
using Action = void (*)(const Command &command);

// Returns: the word that matched the node of this name; NULL when there is none.
const char *word_of(const Command &command, const char *name);

// Reads a number that the graph has asked for, and refuses one out of range.
bool take_number(const Command &command, const char *name, long least, long most, long &out);

// Returns: the rest of the line as it was typed, from the first of the words that
//          matched the node; a word that stands alone gives up its quotes.
const char *text_from(const Command &command, const char *name);

// Returns: whether a word can be typed as it stands: printable characters, at least
//          one, and none that quotes, escapes or separates, or asks for help.
bool is_plain_word(const char *word);

void show_version(const Command &command);
void show_history(const Command &command);
void show_numbers(const Command &command);
void echo(const Command &command);
void start_timer(const Command &command);
void end_session(const Command &command);

} // namespace device

#endif
