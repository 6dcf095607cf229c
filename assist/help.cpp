// What may be typed at the end of a line.

#include <varno/cli_assist.h>

#include "level.h"
#include "walk.h"

using namespace varno;

int cli_assist_in_quotes(const char *line, int32_t len)
{
    if (!line || len < 0)
        return 0;
    Walk walk;
    return !begin_walk(walk, nullptr, line, len) || ends_in_text(walk);
}

int cli_assist_help(cli_pnode_s *root, const char *line, int32_t len, cli_assist_choice_fn choice,
                    void *user)
{
    Walk walk;
    Word word;
    Begun begun;
    if (read_place(walk, root, line, len, word, begun) != Place::word)
        return 0;
    return list_level(walk.level, begun, choice, user);
}
