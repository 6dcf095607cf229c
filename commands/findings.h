#ifndef VARNO_COMMANDS_FINDINGS_H
#define VARNO_COMMANDS_FINDINGS_H

// What is wrong, or doubtful, with definitions: gathered during a build, told at its end.

#include "array.h"

#include <cstdint>

namespace varno::commands {

// ORDER findings: findings.cpp has their texts.
enum class Problem : uint8_t {
    // Errors of one syntax
    empty_syntax,
    empty_alternative,
    open_bracket,
    stray_character,
    bad_word,
    bad_type,
    bad_range,
    unknown_type,
    name_twice,
    line_not_last,
    repeat_not_last,
    option_may_be_empty,
    too_many_options,
    negation_without_no,
    nesting_too_deep,
    // Errors of definitions together
    same_words,
    types_overlap,
    two_names,
    begins_alike,
    help_twice,
    // Errors of modes and levels
    unknown_mode,
    bad_parent,
    mode_twice,
    enters_no_child,
    bad_level,
    // Warnings
    no_help,
    hides_inherited,
    free_word_beside_keywords,
    wide_help,
    help_of_nothing,
};

constexpr bool is_error(Problem problem)
{
    return problem < Problem::no_help;
}

// Findings about modes come before those about definitions.
constexpr int32_t row_of_mode(int32_t mode)
{
    return INT32_MIN + mode;
}

struct Finding {
    Problem problem;
    int32_t row;    // index among the definitions, or row_of_mode
    int32_t column; // in its syntax, from 0
    int32_t other;  // index of another definition it is about; -1: none
};

struct Findings {
    Array<Finding> list;
    int32_t row; // the definition being looked at
    int32_t errors;

    void add(Problem problem, int32_t column, int32_t other = -1)
    {
        list.add({problem, row, column, other});
        errors += is_error(problem);
    }
};

// The sentence of a problem.
const char *text_of(Problem problem);

} // namespace varno::commands

#endif
