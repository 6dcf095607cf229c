// The sentences of findings.

#include "findings.h"

#include <iterator>

namespace varno::commands {
namespace {

// ORDER findings
// clang-format off
constexpr const char *texts[] = {
    "the syntax is empty",
    "an alternative is empty",
    "this bracket is not closed",
    "this character has no place here",
    "a keyword that would need quotes",
    "this is no type",
    "this is no range of numbers: LEAST-MOST, decimal",
    "no type of this name is registered",
    "this name is used twice in the syntax",
    "nothing can follow the rest of the line",
    "nothing can follow words that go on to the end",
    "an option of a set may not be empty",
    "a definition has at most 64 options in sets",
    "![ ] needs [no] before the syntax",
    "brackets are nested too deep",
    "the same words are another definition's",
    "two types here take the same words",
    "the same place and type have another name elsewhere",
    "this begins like another word that may stand here",
    "this word has another help elsewhere",
    "no mode of this name is registered",
    "the first mode has no parent, the others' come before them",
    "another mode has this name",
    "a command enters only a mode whose parent is its own",
    "a level is 0 to 15",
    "a word without help",
    "the parent's command of the same words is hidden by this one",
    "a free word beside keywords: abbreviations are ambiguous here",
    "help is wider than 57 columns",
    "help for a word that no command has",
};
// clang-format on

static_assert(std::size(texts) == static_cast<size_t>(Problem::help_of_nothing) + 1);

} // namespace

const char *text_of(Problem problem)
{
    return texts[static_cast<size_t>(problem)];
}

} // namespace varno::commands
