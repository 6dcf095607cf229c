#ifndef VARNO_COMMANDS_NOTATION_H
#define VARNO_COMMANDS_NOTATION_H

// The notation of a command's syntax, read into a tree. What a definition means together
// with others is automaton's.

#include "array.h"
#include "findings.h"
#include "types.h"

#include <cstdint>
#include <string_view>

namespace varno::commands {

enum class NodeKind : uint8_t {
    keyword,
    argument,
    sequence, // one after the other
    choice,   // <a|b>
    option,   // [a|b]: one or none
    set,      // {a|b}: in any order, each at most once, at least one
    unless_no // ![a]: may be left out after "no" only
};

constexpr int32_t no_node = -1;

// A syntax that begins so has a negated form.
constexpr std::string_view no_alone = "[no]";
constexpr std::string_view no_or_default = "[no|default]";

struct Node {
    NodeKind kind;
    bool repeats;           // NAME...
    int32_t column;         // in the syntax, from 0
    int32_t first;          // first child, or no_node
    int32_t next;           // next sibling, or no_node
    std::string_view text;  // a keyword's or an argument's name, in the syntax
    std::string_view which; // of <a|b>$which, else empty
    ArgumentType type;      // an argument's
};

// One definition, read.
struct Notation {
    Array<Node> nodes;
    int32_t root;              // a sequence; no_node after an error
    std::string_view negation; // what it began with: no_alone, no_or_default, which are not in
                               // the tree; else empty
};

// Reads a syntax; what was read into out_notation before is gone. Node texts point into the
// syntax. What is wrong is added to findings, with the column; then root is no_node.
void read_notation(std::string_view syntax, const TypeNames &types, Findings &findings,
                   Notation &out_notation);

// Writes a definition's notation in its plainest form: one blank between words, none inside
// brackets. Reading that gives the same tree.
void write_notation(const Notation &notation, Array<char> &out_text);

} // namespace varno::commands

#endif
