#ifndef VARNO_ASSIST_LEVEL_H
#define VARNO_ASSIST_LEVEL_H

// What a level offers to a word.

#include "walk.h"

namespace varno {

// A link that nobody has set ends a list as the sentinel does.
inline bool is_list_end(const cli_pnode_s *n)
{
    return !n || n == &NONE;
}

// Nodes without one of them match nothing in a parse.
inline bool has_texts(const cli_pnode_s *n)
{
    return n->name && n->keyword;
}

// The word can become this keyword. "" cannot select one, so a keyword that is empty
// cannot be typed.
bool is_begun_keyword(const cli_pnode_s *n, const Begun &begun);

// Lists what the word can become. Returns how many.
int list_level(const cli_pnode_s *level, Begun begun, cli_assist_choice_fn choice, void *user);

} // namespace varno

#endif
