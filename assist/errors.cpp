// Whole lines: the command that one runs, or what is wrong with it and where.

#include <varno/cli_assist.h>

#include <varno/platform.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "characters.h"
#include "level.h"
#include "walk.h"

using namespace varno;

namespace {

// ORDER assist reasons
constexpr const char *reason_texts[] = {
    "no error",        "empty line", "unknown word",  "ambiguous word", "incomplete command",
    "unmatched quote", "empty word", "out of memory", "line too long",
};
static_assert(std::size(reason_texts) == CLI_ASSIST_TOO_LONG + 1);

void fail(cli_assist_error_s &out_error, int32_t reason, int32_t at, int32_t len, const Why &why)
{
    out_error.reason = reason;
    out_error.at = at;
    out_error.len = len;
    const bool is_explained = reason == CLI_ASSIST_UNKNOWN || reason == CLI_ASSIST_INCOMPLETE;
    if (is_explained)
        std::memcpy(out_error.why, why.text, std::size(why.text));
}

// Quotes come first: where they are wrong, so may all words be. Only what takes the rest
// of a line takes an open one.
const cli_pnode_s *run_line(Walk &walk, cli_assist_error_s &out_error)
{
    const char *quote = string_check_quotes(walk.text);
    const auto quote_at = static_cast<int32_t>(quote ? quote - walk.text : 0);
    Word word = {};
    while (find_word(walk, word)) {
        Why why = {};
        const int32_t reason = pass_word(walk, word, &why);
        if (reason == CLI_ASSIST_OK)
            continue;
        if (quote && reason != CLI_ASSIST_NO_MEMORY)
            fail(out_error, CLI_ASSIST_QUOTES, quote_at, 1, {});
        else
            fail(out_error, reason, word.at, word.end - word.at, why);
        return nullptr;
    }
    if (walk.done == 0) {
        fail(out_error, CLI_ASSIST_EMPTY, 0, 0, {});
        return nullptr;
    }
    Why why = {};
    const cli_pnode_s *end = end_of_command(walk.level, &why);
    if (!end)
        fail(out_error, CLI_ASSIST_INCOMPLETE, word.end, 0, why);
    return end;
}

// Passes the words before the place of an error. Returns false where the line is not the
// one that the error is about.
bool pass_words_before(Walk &walk, int32_t at)
{
    Word word;
    while (find_word(walk, word) && word.at < at) {
        if (pass_word(walk, word, nullptr) != CLI_ASSIST_OK)
            return false;
    }
    return true;
}

int list_candidates(const cli_pnode_s *root, const cli_assist_filter_s *filter, const char *line,
                    const cli_assist_error_s &error, const ChoiceSink &sink, cli_pmatch_s **matches)
{
    const Word word = {error.at, error.at + error.len, error.at + error.len};
    Walk walk;
    if (!begin_walk(walk, root, filter, line, word.end, matches) || walk.len != word.end ||
        !pass_words_before(walk, word.at))
        return 0;
    Begun begun = {"", 0, true, walk.done > 0};
    int32_t least = CLI_ASSIST_FIT_BEGINS;
    if (error.reason == CLI_ASSIST_AMBIGUOUS) {
        least = least_fit(walk.level, walk.text + word.at);
        if (!read_word(walk, word, match_number(walk.text + word.at), begun))
            return 0;
    }
    if (!filter)
        release_matches(matches);
    return list_level(walk.level, begun, least, sink);
}

// Of an error, as it comes from a caller: that there are candidates, and a place.
bool has_candidates(const cli_assist_error_s &error)
{
    switch (error.reason) {
    case CLI_ASSIST_EMPTY:
    case CLI_ASSIST_UNKNOWN:
    case CLI_ASSIST_AMBIGUOUS:
    case CLI_ASSIST_INCOMPLETE:
    case CLI_ASSIST_EMPTY_WORD:
        return error.at >= 0 && error.at <= CLI_ASSIST_MAX_LINE && error.len >= 0 &&
               error.len <= CLI_ASSIST_MAX_LINE - error.at;
    default:
        return false;
    }
}

// A text for a caller's buffer, whole characters as far as they fit.
struct Text {
    char *out;
    int32_t room;
    int32_t needed;

    void add(const char *bytes, size_t count)
    {
        const auto len = static_cast<int32_t>(count);
        if (out && needed < room && len < room - needed) {
            std::memcpy(out + needed, bytes, count);
            out[needed + len] = '\0';
        } else {
            room = std::min(room, needed + 1); // nothing may follow what did not fit
        }
        needed += len;
    }

    void add(const char *text) { add(text, std::strlen(text)); }
};

// How much of a text, as a terminal may show it, lies before a byte of it.
int32_t columns_before(const char *text, int32_t at)
{
    int32_t columns = 0;
    size_t left = strnlen(text, static_cast<size_t>(std::max(at, 0)));
    while (left > 0) {
        const Character c = first_character(text, left);
        columns += c.columns;
        text += c.len;
        left -= c.len;
    }
    return columns;
}

// Adds the part of a text in columns [from, to), controls as "?". Of a wide character that
// begins before it, the rest is blank.
void add_shown(Text &text, const char *bytes, int32_t from, int32_t to)
{
    int32_t column = 0;
    size_t left = std::strlen(bytes);
    while (left > 0 && column < to) {
        const Character c = first_character(bytes, left);
        if (column < from && column + c.columns > from)
            text.add(" ");
        else if (column >= from && column + c.columns <= to)
            text.add(c.is_unsafe ? "?" : bytes, c.is_unsafe ? 1 : c.len);
        column += c.columns;
        bytes += c.len;
        left -= c.len;
    }
}

} // namespace

const cli_pnode_s *cli_assist_parse(const cli_pnode_s *root, const cli_assist_filter_s *filter,
                                    const char *line, cli_pmatch_s **matches,
                                    cli_assist_error_s *error)
{
    *error = {};
    *matches = nullptr;
    Walk walk;
    if (!begin_walk(walk, root, filter, line ? line : "", CLI_ASSIST_MAX_LINE + 1, matches)) {
        fail(*error, CLI_ASSIST_TOO_LONG, CLI_ASSIST_MAX_LINE, 0, {});
        return nullptr;
    }
    const cli_pnode_s *end = run_line(walk, *error);
    if (!end)
        release_matches(matches);
    return end;
}

// ORDER assist reasons
const char *cli_assist_strreason(int32_t reason)
{
    if (reason < 0 || static_cast<size_t>(reason) >= std::size(reason_texts))
        return "unknown reason";
    return reason_texts[reason];
}

int cli_assist_candidates(const cli_pnode_s *root, const cli_assist_filter_s *filter,
                          const char *line, const cli_assist_error_s *error, int32_t most,
                          cli_assist_choice_fn choice, void *user)
{
    if (!root || !line || !error || !has_candidates(*error))
        return 0;
    return with_matches([&](cli_pmatch_s **matches) {
        return list_candidates(root, filter, line, *error, {choice, user, most}, matches);
    });
}

int32_t cli_assist_format_error(const char *line, const cli_assist_error_s *error, int32_t columns,
                                char *out, int32_t room)
{
    constexpr int32_t indent = 2;
    Text text = {out, room, 0};
    if (out && room > 0)
        *out = '\0';
    if (error->reason == CLI_ASSIST_OK || error->reason == CLI_ASSIST_EMPTY)
        return 0;
    if (!line)
        line = "";
    const int32_t width = columns > 0 ? std::max(columns - 1 - indent, 1) : INT32_MAX / 2;
    const int32_t place = columns_before(line, error->at);
    const int32_t from = place < width ? 0 : place - width / 2;
    text.add("  ");
    add_shown(text, line, from, from + width);
    text.add("\n  ");
    for (int32_t column = from; column < place; column++)
        text.add(" ");
    text.add("^\n% ");
    const char *reason = *error->why ? error->why : cli_assist_strreason(error->reason);
    add_shown(text, reason, 0, INT32_MAX);
    text.add("\n");
    return text.needed;
}
