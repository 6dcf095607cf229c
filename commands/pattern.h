#ifndef VARNO_COMMANDS_PATTERN_H
#define VARNO_COMMANDS_PATTERN_H

// Patterns that people type, for rows of output. With RE2 they are regular expressions that take
// time in proportion to the row, whatever they are, and to their own size, which is limited; and a
// bounded amount of memory. Without it they are texts.

#include <cstddef>
#include <string_view>

namespace varno::commands {

struct Pattern;

// Returns NULL for a text that is no pattern, or without memory: why[0..size) says why.
Pattern *make_pattern(const char *text, char *why, size_t size);

// Whether it is found somewhere in a row.
bool is_found(const Pattern *pattern, std::string_view row);

void release_pattern(Pattern *pattern);

// How many steps a byte of a row may take at most.
size_t steps_a_byte(const Pattern *pattern);

// What a person is told that may be typed.
const char *describe_pattern();

} // namespace varno::commands

#endif
