// What Tab makes of the word at the end of a line.

#include <varno/cli_assist.h>

#include <cctype>
#include <cstring>
#include <iterator>

#include "level.h"
#include "walk.h"

using namespace varno;

namespace {

// What all keywords that a word begins have in common.
struct Common {
    const char *keyword; // the first of them; NULL: there is none
    size_t len;          // characters that all begin with
    int32_t count;
};

Common common_of(const cli_pnode_s *level, const Begun &begun)
{
    Common common = {nullptr, 0, 0};
    for (const cli_pnode_s *n = level; !is_list_end(n); n = n->next) {
        if (!is_begun_keyword(n, begun))
            continue;
        if (common.count++ == 0) {
            common.keyword = n->keyword;
            common.len = std::strlen(n->keyword);
        }
        size_t same = begun.len;
        while (same < common.len && n->keyword[same] == common.keyword[same])
            same++;
        common.len = same;
    }
    return common;
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

// A string takes any word, a number many: whoever types may be after one that
// only begins with the keyword. Without memory the word counts as a number.
bool is_all_there_is(Walk &walk, const Word &word, const cli_assist_completion_s &out)
{
    std::memcpy(walk.text + walk.len, out.insert, static_cast<size_t>(out.insert_len) + 1);
    const int32_t number = match_begun_number(walk.text + word.at);
    const bool can_be_number = number == CLI_ASSIST_OK || number == CLI_ASSIST_NO_MEMORY;
    for (const cli_pnode_s *n = walk.level; !is_list_end(n); n = n->next) {
        const bool takes_it = n->type == PNODE_STRING || (n->type == PNODE_INT32 && can_be_number);
        if (takes_it && has_texts(n))
            return false;
    }
    return true;
}

void complete_word(Walk &walk, const Word &word, const Begun &begun, const Common &common,
                   cli_assist_completion_s &out)
{
    out.choices = common.count;
    for (size_t i = begun.len; i < common.len; i++) {
        if (!add_char(out, common.keyword[i]))
            return;
    }
    if (common.count == 1 && is_all_there_is(walk, word, out))
        add_blank(out);
}

} // namespace

// A word whose value is shorter than itself has quotes or backslashes.
int cli_assist_complete(cli_pnode_s *root, const char *line, int32_t len,
                        cli_assist_completion_s *out)
{
    *out = {};
    Walk walk;
    Word word;
    Begun begun;
    const Place place = read_place(walk, root, line, len, word, begun);
    out->is_text = place == Place::text;
    if (place != Place::word || begun.len != static_cast<size_t>(word.end - word.at))
        return -1;
    const Common common = common_of(walk.level, begun);
    if (!common.keyword)
        return -1;
    complete_word(walk, word, begun, common, *out);
    return 0;
}
