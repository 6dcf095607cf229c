#ifndef VARNO_COMMANDS_DESCRIBE_H
#define VARNO_COMMANDS_DESCRIBE_H

// What a set has been built from, in words: a reference's parts and what each format makes of them,
// and random lines.

#include "array.h"
#include "notation.h"
#include "set.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace varno::commands {

// A word of a command, but for its fixed ones.
struct Word {
    std::string_view text;
    std::string_view type; // of an argument, as the syntax spells it; "word" when it has none
    bool is_argument;
    const char *help;
};

// A command, or a filter, as a reference has it.
struct Described {
    std::string_view syntax; // in its plainest spelling
    const cli_command_s *command;
    const char *enters; // NULL: no mode
    bool is_filter;
    bool is_piped; // filters may come after it
    bool is_first; // of its mode, or of the filters
};

// What one format makes of the parts of a reference, in their order.
struct Format {
    void (*begin)(Array<char> &out, const Snapshot *snapshot);
    void (*begin_mode)(Array<char> &out, const Snapshot *snapshot, size_t mode);
    void (*begin_command)(Array<char> &out, const Described &command);
    void (*add_word)(Array<char> &out, const Word &word, bool is_first);
    void (*end_command)(Array<char> &out, const Described &command, bool has_words);
    void (*end_mode)(Array<char> &out);
    void (*begin_filters)(Array<char> &out);
    void (*end)(Array<char> &out);
};

extern const Format markdown_format;
extern const Format man_format;
extern const Format json_format;

// A mode of the reference.
inline const cli_mode_s &mode_at(const Snapshot *snapshot, size_t i)
{
    return *snapshot->modes[i].mode;
}

void add(Array<char> &out, std::string_view text);
void add_number(Array<char> &out, int64_t number);

// Reads a syntax that has been built: nothing is wrong with it. Returns false without memory.
bool read_built(const Snapshot *snapshot, const char *syntax, Notation &out_notation);

// Whether whoever has a level may know of a command.
bool is_described(const Row &row, int32_t level);

// Returns false without memory.
bool add_random_lines(const Snapshot *snapshot, int32_t level, uint64_t seed, Array<char> &out);

} // namespace varno::commands

#endif
