// Whole lines: the command that one runs, or what is wrong with it and where.

#include <varno/cli_assist.h>

#include <varno/platform.h>

#include <iterator>

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

// Matches all words of the line. out_error has the place of the word that failed.
int32_t pass_line(Walk &walk, cli_pmatch_s **tail, cli_assist_error_s &out_error)
{
    Word word = {};
    while (find_word(walk, word)) {
        const int32_t reason = pass_word(walk, word, tail);
        if (reason != CLI_ASSIST_OK) {
            out_error.at = word.at;
            out_error.len = word.end - word.at;
            return reason;
        }
        tail = &(*tail)->next;
        out_error.at = word.end;
    }
    return walk.done > 0 ? CLI_ASSIST_OK : CLI_ASSIST_EMPTY;
}

// Quotes come first: where they are wrong, so may all words be.
cli_pnode_s *run_line(Walk &walk, cli_pmatch_s **matches, cli_assist_error_s &out_error)
{
    const char *quote = string_check_quotes(walk.text);
    if (quote) {
        out_error.reason = CLI_ASSIST_QUOTES;
        out_error.at = static_cast<int32_t>(quote - walk.text);
        out_error.len = 1;
        return nullptr;
    }
    out_error.reason = pass_line(walk, matches, out_error);
    if (out_error.reason != CLI_ASSIST_NO_MEMORY)
        out_error.level = walk.level;
    if (out_error.reason != CLI_ASSIST_OK)
        return nullptr;
    cli_pnode_s *end = cli_parse_node_get_executable_from_match(*matches);
    if (!end)
        out_error.reason = CLI_ASSIST_INCOMPLETE;
    return end;
}

bool is_place_in_line(const cli_assist_error_s &error)
{
    return error.at >= 0 && error.at <= CLI_ASSIST_MAX_LINE && error.len >= 0 &&
           error.len <= CLI_ASSIST_MAX_LINE - error.at;
}

} // namespace

cli_pnode_s *cli_assist_parse(cli_pnode_s *root, const char *line, cli_pmatch_s **matches,
                              cli_assist_error_s *error)
{
    *error = {};
    *matches = nullptr;
    Walk walk;
    if (!begin_walk(walk, root, line ? line : "", CLI_ASSIST_MAX_LINE + 1)) {
        *error = {CLI_ASSIST_TOO_LONG, CLI_ASSIST_MAX_LINE, 0, nullptr};
        return nullptr;
    }
    cli_pnode_s *end = run_line(walk, matches, *error);
    if (end) {
        *error = {};
        return end;
    }
    cli_match_free(*matches);
    *matches = nullptr;
    return nullptr;
}

// ORDER assist reasons
const char *cli_assist_strreason(int32_t reason)
{
    if (reason < 0 || static_cast<size_t>(reason) >= std::size(reason_texts))
        return "unknown reason";
    return reason_texts[reason];
}

int cli_assist_candidates(const char *line, const cli_assist_error_s *error,
                          cli_assist_choice_fn choice, void *user)
{
    if (!line || !error || !error->level || !is_place_in_line(*error))
        return 0;
    const Word word = {error->at, error->at + error->len, error->at + error->len};
    Walk walk;
    if (!begin_walk(walk, error->level, line, word.end) || walk.len != word.end)
        return 0;
    const char *first = spanws(walk.text, 0);
    const bool has_words_before = first && first < walk.text + word.at;
    Begun begun = {"", 0, true, has_words_before};
    if (error->reason == CLI_ASSIST_AMBIGUOUS &&
        !read_word(walk, word, match_number(walk.text + word.at), begun))
        return 0;
    return list_level(error->level, begun, choice, user);
}
