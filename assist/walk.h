#ifndef VARNO_ASSIST_WALK_H
#define VARNO_ASSIST_WALK_H

// The way along the words of a line through the graph, each matched against its level
// by cli_parse itself, to the word that the line ends in or to the one that fails. How
// a line falls into words, quotes and escapes is left to the platform.

#include <varno/cli_assist.h>

#include <cstddef>
#include <cstdint>

namespace varno {

// A line on its way through the graph. It is a copy, so that a word can be cut off
// after its end, and something be tried after the last one.
struct Walk {
    cli_pnode_s *level; // alternatives of the word at `done`
    int32_t done;       // characters of the words passed, white space after them included
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

// What there is of a word, for comparison with the alternatives of its level.
struct Begun {
    const char *value; // quotes and escapes removed
    size_t len;
    bool can_be_number;
    bool can_end; // nothing of it yet, and words before it: a command may end here
};

// A terminator ends the line before len does. Returns false for a line too long.
bool begin_walk(Walk &walk, cli_pnode_s *root, const char *line, int32_t len);

bool ends_in_text(Walk &walk);

bool find_word(const Walk &walk, Word &out_word);

// Matches the word at walk.done and passes it. The record is as if the whole line had
// been parsed at once; it is set only with CLI_ASSIST_OK.
int32_t pass_word(Walk &walk, const Word &word, cli_pmatch_s **out_match);

// Finds the word that line[0..len) ends in; it is empty after white space. An overlong
// line counts as text: there a key is safest taken for a character.
Place read_place(Walk &walk, cli_pnode_s *root, const char *line, int32_t len, Word &out_word,
                 Begun &out_begun);

// Reads the word that walk.text ends in. number: what it was found to be as a number.
// Returns false without memory.
bool read_word(Walk &walk, const Word &word, int32_t number, Begun &out_begun);

// Finds whether the word is a number, the empty word included. Returns CLI_ASSIST_OK,
// NO_MEMORY, or why it is none.
int32_t match_number(const char *word);

// The same for the beginning of a number. The word ends at the terminator, and has room
// for one more character after it.
int32_t match_begun_number(char *word);

} // namespace varno

#endif
