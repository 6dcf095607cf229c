#ifndef VARNO_COMMANDS_QUOTED_WORD_H
#define VARNO_COMMANDS_QUOTED_WORD_H

// A word as it has to be typed.

#include "array.h"

namespace varno::commands {

// A line has one row, whatever its words are: a control character is "?".
void add_character(Array<char> &out, char c);

// In quotes where it needs them.
void add_quoted(Array<char> &out, const char *text);

} // namespace varno::commands

#endif
