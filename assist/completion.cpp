// What Tab makes of the word at the end of a line.

#include <varno/cli_assist.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>

#include "level.h"
#include "walk.h"

using namespace varno;

namespace {

// What all keywords and values that a word begins have in common after it.
struct Common {
    size_t begun_len;
    char rest[sizeof(cli_assist_completion_s::insert) - 1]; // not terminated
    size_t len;
    bool is_cut; // the first of them is longer than rest
    int32_t count;
    bool has_keyword;

    void add(const char *text)
    {
        const char *after = text + begun_len;
        if (count++ == 0) {
            const size_t whole = std::strlen(after);
            len = std::min(whole, std::size(rest));
            is_cut = whole > len;
            std::memcpy(rest, after, len);
            return;
        }
        size_t same = 0;
        while (same < len && after[same] == rest[same])
            same++;
        len = same;
    }

    static void add_value(void *ctx, const char *text, const char *)
    {
        static_cast<Common *>(ctx)->add(text);
    }
};

void gather(const Level &level, const Begun &begun, Common &common)
{
    for (const cli_pnode_s *n = level.first; !is_list_end(n); n = n->next) {
        const char *text = offered_text(level, n, begun, CLI_ASSIST_FIT_BEGINS);
        if (!text)
            continue;
        if (n->type == PNODE_KEYWORD) {
            common.add(text);
            common.has_keyword = true;
        } else if (is_value_node(n)) {
            list_values(level, n, begun.value, Common::add_value, &common);
        }
    }
}

// The characters that mean something else than themselves in a word.
bool needs_backslash(char c)
{
    return c == '"' || c == '\'' || c == '\\' || std::isspace(static_cast<signed char>(c)) != 0;
}

// Adds a character unless it does not fit; a terminator stays after it.
bool add_char(cli_assist_completion_s &out, char c)
{
    const bool is_escaped = needs_backslash(c);
    const size_t most = std::size(out.insert) - 1;
    if (static_cast<size_t>(out.insert_len) + (is_escaped ? 2 : 1) > most)
        return false;
    if (is_escaped)
        out.insert[out.insert_len++] = '\\';
    out.insert[out.insert_len++] = c;
    return true;
}

void add_blank(cli_assist_completion_s &out)
{
    if (static_cast<size_t>(out.insert_len) + 1 < std::size(out.insert))
        out.insert[out.insert_len++] = ' ';
}

// A string takes any word, a number many: whoever types may be after one that only begins
// with the completed word. A filter knows better. Without memory the word counts as a
// number, and is not finished where a filter would be asked.
bool is_all_there_is(Walk &walk, const Word &word, const Common &common,
                     const cli_assist_completion_s &out)
{
    std::memcpy(walk.text + walk.len, out.insert, static_cast<size_t>(out.insert_len) + 1);
    const int32_t number = match_begun_number(walk.text + word.at);
    const bool can_be_number = number == CLI_ASSIST_OK || number == CLI_ASSIST_NO_MEMORY;
    char value[CLI_ASSIST_MAX_LINE + 1] = "";
    if (walk.level.filter && !read_value(walk.text + word.at, value))
        return false;
    int takers = 0;
    for (const cli_pnode_s *n = walk.level.first; !is_list_end(n); n = n->next) {
        if (!is_value_node(n) || (n->type == PNODE_INT32 && !can_be_number))
            continue;
        const int32_t fit = fit_of(walk.level, n, value, nullptr);
        if (fit > CLI_ASSIST_FIT_NO && fit != CLI_ASSIST_FIT_VALUE)
            return false;
        takers += fit == CLI_ASSIST_FIT_VALUE;
    }
    return common.has_keyword || takers == 1;
}

// A word whose value is shorter than itself has quotes or backslashes.
int complete_at_end(const cli_pnode_s *root, const cli_assist_filter_s *filter, const char *line,
                    int32_t len, cli_assist_completion_s &out, cli_pmatch_s **matches)
{
    Walk walk;
    Word word;
    Begun begun;
    const Place place = read_place(walk, root, filter, line, len, matches, word, begun);
    out.is_text = place == Place::text;
    if (place != Place::word || begun.len != static_cast<size_t>(word.end - word.at))
        return -1;
    Common common = {};
    common.begun_len = begun.len;
    gather(walk.level, begun, common);
    if (common.count == 0)
        return -1;
    out.choices = common.count;
    for (size_t i = 0; i < common.len; i++) {
        if (!add_char(out, common.rest[i]))
            return 0;
    }
    if (common.count == 1 && !common.is_cut && is_all_there_is(walk, word, common, out))
        add_blank(out);
    return 0;
}

} // namespace

int cli_assist_complete(const cli_pnode_s *root, const cli_assist_filter_s *filter,
                        const char *line, int32_t len, cli_assist_completion_s *out)
{
    *out = {};
    return with_matches([&](cli_pmatch_s **matches) {
        return complete_at_end(root, filter, line, len, *out, matches);
    });
}
