// What may be typed at the end of a line.

#include <varno/cli_assist.h>

#include <climits>

#include "level.h"
#include "walk.h"

using namespace varno;

namespace {

int help_at_end(const cli_pnode_s *root, const cli_assist_filter_s *filter, const char *line,
                int32_t len, const ChoiceSink &sink, cli_pmatch_s **matches)
{
    Walk walk;
    Word word;
    Begun begun;
    if (read_place(walk, root, filter, line, len, matches, word, begun) != Place::word)
        return 0;
    if (!filter)
        release_matches(matches);
    return list_level(walk.level, begun, CLI_ASSIST_FIT_BEGINS, sink);
}

} // namespace

int cli_assist_in_quotes(const char *line, int32_t len)
{
    if (!line || len < 0)
        return 0;
    Walk walk;
    cli_pmatch_s *matches = nullptr;
    return !begin_walk(walk, nullptr, nullptr, line, len, &matches) || ends_in_text(walk);
}

int cli_assist_help(const cli_pnode_s *root, const cli_assist_filter_s *filter, const char *line,
                    int32_t len, cli_assist_choice_fn choice, void *user)
{
    return with_matches([&](cli_pmatch_s **matches) {
        return help_at_end(root, filter, line, len, {choice, user, INT32_MAX}, matches);
    });
}
