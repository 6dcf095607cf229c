#ifndef VARNO_COMMANDS_PATTERN_H
#define VARNO_COMMANDS_PATTERN_H

// Patterns that people type, for rows of output. With RE2 they are regular expressions that take
// time in proportion to the row, whatever they are, and a bounded amount of memory; without it
// texts.

#include <cstddef>
#include <string_view>

namespace varno::commands {

struct Pattern;

// Returns NULL for a text that is no pattern, or without memory: why[0..size) says why.
Pattern *make_pattern(const char *text, char *why, size_t size);

// Whether it is found somewhere in a row.
bool is_found(const Pattern *pattern, std::string_view row);

void release_pattern(Pattern *pattern);

// What a person is told that may be typed.
const char *describe_pattern();

} // namespace varno::commands

#endif
