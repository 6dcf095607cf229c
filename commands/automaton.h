#ifndef VARNO_COMMANDS_AUTOMATON_H
#define VARNO_COMMANDS_AUTOMATON_H

// All definitions of all modes as one deterministic automaton, made of parse nodes: a node is a
// transition, a level of alternatives is a state. What definitions begin alike with is there
// once, so that a word is looked at once, however many commands go on from it.

#include "notation.h"

#include <varno/cli_parse.h>

#include <cstdint>

namespace varno::commands {

// A level whose alternatives have to be narrowed before a word is matched: cli_pnode_s::attr.
constexpr uint32_t attr_narrowed = 1;
// A node that takes the rest of the line as it is typed.
constexpr uint32_t attr_rest = 2;
// A word of hidden commands alone.
constexpr uint32_t attr_hidden = 4;
// A secret may still come: a node of such a level.
constexpr uint32_t attr_secret = 8;
// The word before another mode's commands.
constexpr uint32_t attr_prefix = 16;
// The bar before a filter.
constexpr uint32_t attr_bar = 32;
// A word of a filter that only shells have which can save.
constexpr uint32_t attr_saving = 64;

constexpr int32_t most_level = 15; // of privilege

struct Definition {
    const char *syntax;
    const char *help;
    bool is_command; // else it documents the last word of its syntax
    int32_t mode;
    int32_t level = 0; // 0..most_level
    bool is_hidden = false;
    bool is_built_in = false;
    bool is_prefix = false;  // no command by itself: one of goes_on_in has to follow
    bool is_bar = false;     // it is the "|" before a filter, and its syntax is not read
    bool is_saving = false;  // only some shells have it
    int32_t goes_on_in = -1; // the mode whose first words may come after it; -1: none
};

// The first mode has no parent; the others' come before them.
struct Mode {
    int32_t parent; // -1: none
    bool inherits;  // it has its parent's commands, too
};

// A word position of a definition that is followed at run time, because it has a set or a
// <a|b>$which. Positions of one definition are numbered in one go.
struct Position {
    int32_t symbol;
    int32_t first_step; // steps [first_step, end_step) lead on from here
    int32_t end_step;
    bool is_end;
    std::string_view which; // the argument that the word is, of <a|b>$which
};

// From one position to another. A set's option is entered at most once: the option's bit.
struct Step {
    int32_t to;
    uint64_t options;
};

// A definition that is followed, in one of its forms.
struct Form {
    int32_t first_step;
    int32_t end_step;
};

// What an EOLS node's func points at: the command that ends here, in one of its forms.
struct End {
    int32_t definition;
    int32_t form; // index of forms, if it is followed; else -1
};

// The forms that go on through a node, where some have sets: what its func points at.
struct Through {
    bool has_others; // forms without sets, too
    int32_t first_form;
    int32_t end_form; // indices of form_lists
};

// A word or an argument, wherever it stands. Arguments come first.
struct Symbol {
    std::string_view text;
    ArgumentType type;
    bool is_keyword;
};

struct Graph {
    Array<cli_pnode_s> nodes;
    Array<int32_t> levels;     // of privilege, ascending, that have roots of their own
    Array<int32_t> roots;      // by level, then by mode: its first node; -1: no command
    Array<Symbol> symbols;     // empty once the graph is built
    Array<ArgumentType> types; // by the aux_int of an argument's node
    Array<char> texts;         // of nodes
    Array<End> ends;
    Array<Through> throughs;
    Array<int32_t> form_lists;
    Array<Form> forms;
    Array<Position> positions;
    Array<Step> steps;
};

// Builds the graph of all modes. What is wrong is added to findings; with an error among
// them, or without memory, the graph is of no use. Returns: false without memory.
bool build_graph(const Array<Definition> &definitions, const Array<Mode> &modes,
                 const TypeNames &types, Findings &findings, Graph &out_graph);

void release_graph(Graph &graph);

} // namespace varno::commands

#endif
