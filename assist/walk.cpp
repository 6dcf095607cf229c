#include "walk.h"

#include <varno/platform.h>

#include <algorithm>
#include <cstring>

namespace varno {
namespace {

// Passes all words but the one that the line ends in.
Place find_place(Walk &walk, Word &out_word)
{
    if (ends_in_text(walk))
        return Place::text;
    while (find_word(walk, out_word)) {
        if (out_word.end == walk.len)
            return Place::word;
        if (pass_word(walk, out_word, nullptr) != CLI_ASSIST_OK)
            return Place::nowhere;
    }
    out_word = {.at = walk.len, .end = walk.len, .next = walk.len};
    return Place::word;
}

// From a word on, all of the line is the token. Returns false without memory.
bool take_rest(const Walk &walk, const Word &word, cli_pmatch_s *match)
{
    const char *rest = walk.text + word.at;
    const char *last = spanws_back(walk.text, walk.len);
    char *token = tracked_strdup(rest, "BYTE");
    if (!token)
        return false;
    token[last + 1 - rest] = '\0';
    tracked_free(match->token, "BYTE");
    match->token = token;
    match->pos = word.at;
    match->len = walk.len - walk.done;
    return true;
}

} // namespace

bool begin_walk(Walk &walk, const cli_pnode_s *root, const cli_assist_filter_s *filter,
                const char *line, int32_t len, cli_pmatch_s **matches)
{
    const size_t most = static_cast<size_t>(std::clamp(len, 0, CLI_ASSIST_MAX_LINE + 1));
    const size_t used = strnlen(line, most);
    if (used > CLI_ASSIST_MAX_LINE)
        return false;
    std::memcpy(walk.text, line, used);
    walk.text[used] = '\0';
    walk.level = level_of(root, filter, nullptr);
    walk.filter = filter;
    walk.matches = matches;
    walk.tail = matches;
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

int32_t pass_word(Walk &walk, const Word &word, Why *why)
{
    cli_pmatch_s *match = nullptr;
    char &after = walk.text[word.next];
    const char kept = after;
    after = '\0';
    const int32_t reason = match_word(walk.level, walk.text + walk.done, &match, why);
    after = kept;
    if (reason != CLI_ASSIST_OK)
        return reason;
    match->pos += walk.done;
    const bool is_rest = takes_rest(walk.level, match->node);
    if (is_rest && !take_rest(walk, word, match)) {
        cli_match_free(match);
        return CLI_ASSIST_NO_MEMORY;
    }
    *walk.tail = match;
    walk.tail = &match->next;
    walk.level = level_of(match->node->child, walk.filter, *walk.matches);
    walk.done = is_rest ? walk.len : word.next;
    return reason;
}

Place read_place(Walk &walk, const cli_pnode_s *root, const cli_assist_filter_s *filter,
                 const char *line, int32_t len, cli_pmatch_s **matches, Word &out_word,
                 Begun &out_begun)
{
    if (!root || !line || len < 0)
        return Place::nowhere;
    if (!begin_walk(walk, root, filter, line, len, matches))
        return Place::text;
    const Place place = find_place(walk, out_word);
    if (place != Place::word)
        return place;
    const int32_t number = match_begun_number(walk.text + out_word.at);
    return read_word(walk, out_word, number, out_begun) ? place : Place::nowhere;
}

// The value takes the word's place in walk.text, which it never outgrows. Nothing stays
// allocated, so that a callback may leave as it likes.
bool read_word(Walk &walk, const Word &word, int32_t number, Begun &out_begun)
{
    if (number == CLI_ASSIST_NO_MEMORY)
        return false;
    if (word.at < word.end) {
        char value[CLI_ASSIST_MAX_LINE + 1];
        if (!read_value(walk.text + word.at, value))
            return false;
        strlcpy2(walk.text + word.at, value, static_cast<size_t>(word.end - word.at));
    }
    out_begun.value = walk.text + word.at;
    out_begun.len = std::strlen(out_begun.value);
    out_begun.can_be_number = number == CLI_ASSIST_OK;
    out_begun.can_end = word.at == word.end && walk.done > 0;
    return true;
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
