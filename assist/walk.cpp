#include "walk.h"

#include <varno/platform.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace varno {
namespace {

// What a result means for a text with one word and balanced quotes: that no word was
// found, or no record made, is want of memory. An empty word is a prefix of every keyword
// and the number 0: it must not select one. A string may be empty.
int32_t reason_of(uint32_t result, const cli_pmatch_s *match)
{
    switch (result) {
    case PARSE_NO_MATCH:
        return CLI_ASSIST_UNKNOWN;
    case PARSE_AMBIGUOUS:
        return CLI_ASSIST_AMBIGUOUS;
    case PARSE_BAD_QUOTES:
        return CLI_ASSIST_QUOTES;
    default:
        break;
    }
    if (!match)
        return CLI_ASSIST_NO_MEMORY;
    const bool is_refused = *match->token == '\0' && match->node->type != PNODE_STRING;
    return is_refused ? CLI_ASSIST_EMPTY_WORD : CLI_ASSIST_OK;
}

// Matches a text with one word. Word by word, because cli_parse asserts when there is
// no memory for a later word's text. It judges numbers by errno, which may hold an
// overflow of long ago; the caller's is put back. The record is set only with
// CLI_ASSIST_OK.
int32_t match_word(cli_pnode_s *level, const char *text, cli_pmatch_s **out_match)
{
    const int callers_errno = errno;
    int32_t consumed = 0;
    *out_match = nullptr;
    errno = 0;
    const uint32_t result =
        cli_parse(level, text, static_cast<int32_t>(std::strlen(text)), &consumed, out_match);
    errno = callers_errno;
    const int32_t reason = reason_of(result, *out_match);
    if (reason != CLI_ASSIST_OK) {
        cli_match_free(*out_match);
        *out_match = nullptr;
    }
    return reason;
}

// Passes all words but the one that the line ends in.
Place find_place(Walk &walk, Word &out_word)
{
    if (ends_in_text(walk))
        return Place::text;
    while (find_word(walk, out_word)) {
        if (out_word.end == walk.len)
            return Place::word;
        cli_pmatch_s *match = nullptr;
        if (pass_word(walk, out_word, &match) != CLI_ASSIST_OK)
            return Place::nowhere;
        cli_match_free(match);
    }
    out_word = {.at = walk.len, .end = walk.len, .next = walk.len};
    return Place::word;
}

} // namespace

bool begin_walk(Walk &walk, cli_pnode_s *root, const char *line, int32_t len)
{
    const size_t most = static_cast<size_t>(std::clamp(len, 0, CLI_ASSIST_MAX_LINE + 1));
    const size_t used = strnlen(line, most);
    if (used > CLI_ASSIST_MAX_LINE)
        return false;
    std::memcpy(walk.text, line, used);
    walk.text[used] = '\0';
    walk.level = root;
    walk.done = 0;
    walk.len = static_cast<int32_t>(used);
    return true;
}

// A quote that follows opens a stretch, unless it closes one or is escaped; so the
// platform's own rules tell how the end of the text stands.
bool ends_in_text(Walk &walk)
{
    if (string_check_quotes(walk.text))
        return true;
    walk.text[walk.len] = '"';
    walk.text[walk.len + 1] = '\0';
    const bool is_escaped = !string_check_quotes(walk.text);
    walk.text[walk.len] = '\0';
    return is_escaped;
}

bool find_word(const Walk &walk, Word &out_word)
{
    const char *from = walk.text + walk.done;
    int start = 0;
    int end = 0;
    if (token_find_bounds(from, &start, &end) != 0)
        return false;
    const char *next = spanws(from, end);
    out_word = {.at = walk.done + start,
                .end = walk.done + end,
                .next = next ? static_cast<int32_t>(next - walk.text) : walk.len};
    return true;
}

int32_t pass_word(Walk &walk, const Word &word, cli_pmatch_s **out_match)
{
    char &after = walk.text[word.next];
    const char kept = after;
    after = '\0';
    const int32_t reason = match_word(walk.level, walk.text + walk.done, out_match);
    after = kept;
    if (reason != CLI_ASSIST_OK)
        return reason;
    (*out_match)->pos += walk.done;
    walk.level = (*out_match)->node->child;
    walk.done = word.next;
    return reason;
}

Place read_place(Walk &walk, cli_pnode_s *root, const char *line, int32_t len, Word &out_word,
                 Begun &out_begun)
{
    if (!root || !line || len < 0)
        return Place::nowhere;
    if (!begin_walk(walk, root, line, len))
        return Place::text;
    const Place place = find_place(walk, out_word);
    if (place != Place::word)
        return place;
    const int32_t number = match_begun_number(walk.text + out_word.at);
    return read_word(walk, out_word, number, out_begun) ? place : Place::nowhere;
}

// The value takes the word's place in walk.text. Nothing stays allocated, so that a
// callback may leave as it likes.
bool read_word(Walk &walk, const Word &word, int32_t number, Begun &out_begun)
{
    if (number == CLI_ASSIST_NO_MEMORY)
        return false;
    if (word.at < word.end) {
        char *value = nullptr;
        int at = 0;
        token_copy(walk.text + word.at, &value, &at);
        if (!value)
            return false;
        strlcpy2(walk.text + word.at, value, static_cast<size_t>(word.end - word.at));
        tracked_free(value, "BYTE");
    }
    out_begun.value = walk.text + word.at;
    out_begun.len = std::strlen(out_begun.value);
    out_begun.can_be_number = number == CLI_ASSIST_OK;
    out_begun.can_end = word.at == word.end && walk.done > 0;
    return true;
}

int32_t match_number(const char *word)
{
    cli_pnode_s number = {};
    number.name = "number";
    number.keyword = "number";
    number.type = PNODE_INT32;
    number.child = &NONE;
    number.next = &NONE;
    cli_pmatch_s *match = nullptr;
    const int32_t reason = match_word(&number, word, &match);
    cli_match_free(match);
    return reason == CLI_ASSIST_EMPTY_WORD ? CLI_ASSIST_OK : reason;
}

// Whatever lacks something, as "-" and "0x" do, lacks no more than a digit.
int32_t match_begun_number(char *word)
{
    const size_t len = std::strlen(word);
    if (len == 0)
        return CLI_ASSIST_OK;
    word[len] = '0';
    word[len + 1] = '\0';
    const int32_t reason = match_number(word);
    word[len] = '\0';
    if (reason == CLI_ASSIST_OK || reason == CLI_ASSIST_NO_MEMORY)
        return reason;
    return match_number(word);
}

} // namespace varno
