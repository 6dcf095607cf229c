#ifndef VARNO_ASSIST_WALK_H
#define VARNO_ASSIST_WALK_H

// The way along the words of a line through the graph, each matched against its level
// by cli_parse itself, to the word that the line ends in or to the one that fails. How
// a line falls into words, quotes and escapes is left to the platform.

#include <varno/cli_assist.h>

#include <cstdint>

#include "level.h"

namespace varno {

// A line on its way through the graph. It is a copy, so that a word can be cut off
// after its end, and something be tried after the last one.
struct Walk {
    Level level;                       // alternatives of the word at `done`
    const cli_assist_filter_s *filter; // NULL: none
    cli_pmatch_s **matches;            // the records of the words passed; the caller's
    cli_pmatch_s **tail;               // where the next one goes
    int32_t done; // characters of the words passed, white space after them included
    int32_t len;
    // Terminated; with room for a completion and one more character.
    char text[CLI_ASSIST_MAX_LINE + sizeof(cli_assist_completion_s::insert) + 1];
};

// A word of the line: [at, end), and the first character of the word after it.
struct Word {
    int32_t at;
    int32_t end;
    int32_t next;
};

// Where the end of a line stands.
enum class Place {
    word,    // in a word, or where one may begin
    text,    // in quotes or after an escaping backslash
    nowhere, // after words that do not match
};

// Calls act with the place for the records of a walk, and releases them. What it calls may
// leave by an exception.
template <typename Act>
int with_matches(Act act)
{
    cli_pmatch_s *matches = nullptr;
    int result = 0;
    try {
        result = act(&matches);
    } catch (...) {
        cli_match_free(matches);
        throw;
    }
    cli_match_free(matches);
    return result;
}

// Releases the records of a walk that nobody asks for any more.
inline void release_matches(cli_pmatch_s **matches)
{
    cli_match_free(*matches);
    *matches = nullptr;
}

// A terminator ends the line before len does. Returns false for a line too long.
bool begin_walk(Walk &walk, const cli_pnode_s *root, const cli_assist_filter_s *filter,
                const char *line, int32_t len, cli_pmatch_s **matches);

// A quote or backslash has effect on what follows the line.
bool ends_in_text(Walk &walk);

bool find_word(const Walk &walk, Word &out_word);

// Matches the word at walk.done and passes it. Its record is as if the whole line had
// been parsed at once. Returns CLI_ASSIST_OK, or why the word does not match.
int32_t pass_word(Walk &walk, const Word &word, Why *why);

// Passes all words of line[0..len) but the one that it ends in, which is empty after white
// space. An overlong line counts as text: there a key is safest taken for a character.
Place read_place(Walk &walk, const cli_pnode_s *root, const cli_assist_filter_s *filter,
                 const char *line, int32_t len, cli_pmatch_s **matches, Word &out_word,
                 Begun &out_begun);

// Reads the word that walk.text ends in. number: what it was found to be as a number.
// Returns false without memory.
bool read_word(Walk &walk, const Word &word, int32_t number, Begun &out_begun);

// Finds whether a number can begin with the word, which ends at the terminator and has
// room for one more character after it. Returns as match_number does.
int32_t match_begun_number(char *word);

} // namespace varno

#endif
