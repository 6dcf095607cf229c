#ifndef VARNO_ASSIST_LEVEL_H
#define VARNO_ASSIST_LEVEL_H

// The alternatives of one word: what a filter leaves of them, what cli_parse decides
// between those, and what is offered to a word that is being typed.

#include <varno/cli_assist.h>

#include <cstddef>
#include <cstdint>

namespace varno {

struct Level {
    const cli_pnode_s *first;
    const cli_assist_filter_s *filter; // NULL: none asks about this level
    const cli_pmatch_s *before;        // the words that led here; of use to the filter alone
};

// What there is of a word, for comparison with the alternatives of its level.
struct Begun {
    const char *value; // quotes and escapes removed
    size_t len;
    bool can_be_number;
    bool can_end; // nothing of it yet, and words before it: a command may end here
};

// The filter's reason for what it refused; empty when it gave none, or several.
struct Why {
    char text[CLI_ASSIST_MAX_WHY + 1];
    bool has_several;
};

// Who receives choices, and how many of them.
struct ChoiceSink {
    cli_assist_choice_fn choice;
    void *user;
    int32_t most;
};

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

// A string or a number, which a filter may give values.
inline bool is_value_node(const cli_pnode_s *n)
{
    return (n->type == PNODE_STRING || n->type == PNODE_INT32) && has_texts(n);
}

// The filter is asked about the level only when the level's first node says so.
Level level_of(const cli_pnode_s *first, const cli_assist_filter_s *filter,
               const cli_pmatch_s *before);

// How a word fits a node, as the filter says; FIT_TAKES without one.
int32_t fit_of(const Level &level, const cli_pnode_s *n, const char *word, Why *why);

// The word can become this keyword. "" cannot select one, so a keyword that is empty
// cannot be typed.
bool is_begun_keyword(const cli_pnode_s *n, const Begun &begun);

// A string that takes the rest of the line, as the filter says.
bool takes_rest(const Level &level, const cli_pnode_s *n);

// Matches a text with one word. The record is set only with CLI_ASSIST_OK; of what takes the
// rest of the line it has no token yet that counts.
int32_t match_word(const Level &level, const char *text, cli_pmatch_s **out_match, Why *why);

// Copies the value of a text's only word, quotes and escapes removed. Returns false
// without memory.
bool read_value(const char *text, char (&value)[CLI_ASSIST_MAX_LINE + 1]);

// Finds whether a text's only word is a number, the empty word included. Returns
// CLI_ASSIST_OK, NO_MEMORY, or why it is none.
int32_t match_number(const char *text);

// The node at which a command may end here; NULL: there is none.
const cli_pnode_s *end_of_command(const Level &level, Why *why);

// How well a string or number has to fit a text's only word to be among those that it may
// be.
int32_t least_fit(const Level &level, const char *text);

// Returns what to show for an alternative that the word can become; NULL: it cannot, or
// as a string or number it fits less well than `least`.
const char *offered_text(const Level &level, const cli_pnode_s *n, const Begun &begun,
                         int32_t least);

// Lists what the word can become, strings and numbers from `least` on. Returns how many.
int list_level(const Level &level, Begun begun, int32_t least, const ChoiceSink &sink);

// Calls value(ctx, ...) with each of a node's values that begins with the word.
void list_values(const Level &level, const cli_pnode_s *n, const char *begun,
                 cli_assist_value_fn value, void *ctx);

} // namespace varno

#endif
