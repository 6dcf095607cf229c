#ifndef VARNO_COMMANDS_POSITIONS_H
#define VARNO_COMMANDS_POSITIONS_H

// Each definition's word positions and what may follow each, in all its forms. What
// definitions have in common is automaton's.

#include "automaton.h"
#include "findings.h"

#include <cstdint>
#include <string_view>

namespace varno::commands {

constexpr int32_t none = -1;

// A word of a definition, in one of its forms.
struct Place {
    int32_t form;
    int32_t symbol;
    int32_t first_step;
    int32_t end_step;
    int32_t column;
    bool is_end;
    bool is_last_word; // the last keyword outside of brackets
    bool is_bar;       // "|"
    bool repeats;
    bool may_be_used_up; // it is in an option, or comes after one
    std::string_view which;
    int32_t twin;   // the same word in the form without "no", or itself
    int32_t help;   // of a twin: the row that documents it, or none
    uint32_t noted; // of a twin: problems that have been noted, one bit each
};

static_assert(static_cast<int>(Problem::help_of_nothing) < 32);

// A definition as it is, or what its [no] makes of it.
struct Draft {
    int32_t definition;
    int32_t first_step;
    int32_t end_step;
    int32_t first_place;
    int32_t end_place;
    bool has_sets;
    bool is_followed; // at run time: it has sets, or a <a|b>$which
};

struct Positions {
    Array<Draft> forms;
    Array<Place> places;
    Array<Step> steps;

    // Says of a word once what is wrong with it, however many states it is in.
    void note(Findings &findings, Problem problem, int32_t at, int32_t other = none);

    void release();
};

// Leaves a build from any depth; it ends in build_graph.
struct OutOfMemory {};

template <typename Item>
int32_t count(const Array<Item> &array)
{
    return static_cast<int32_t>(array.used);
}

// Returns the new item's index.
template <typename Item>
int32_t add(Array<Item> &array, const Item &item)
{
    if (!array.add(item))
        throw OutOfMemory{};
    return count(array) - 1;
}

template <typename Item>
void add_copies(Array<Item> &array, size_t count, const Item &item)
{
    if (!array.add_copies(count, item))
        throw OutOfMemory{};
}

template <typename Item>
void reserve(Array<Item> &array, size_t more)
{
    if (!array.reserve(more))
        throw OutOfMemory{};
}

// Reads all definitions. Like words have one number: the index of their symbol, of which
// those of arguments come first. Without memory it leaves by OutOfMemory.
void make_positions(const Array<Definition> &definitions, const TypeNames &types,
                    Findings &findings, Positions &out_positions, Array<Symbol> &out_symbols);

} // namespace varno::commands

#endif
