// Help and completion, by the words before the cursor: they are parsed as a command
// is, and what may follow the last of them is what there is to say.

#include "help.h"

#include "commands.h"

#include <varno/cli_parse.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// Where the cursor stands: the level of the graph, none where the words before do
// not parse, and what of the next word is there already.
struct Place {
    cli_pnode_s *level;
    char begun[sizeof(pstate::buf)];
    uint32_t result; // of the parse
};

Place find_place(const pstate *ps)
{
    Place place = {};
    char before[sizeof(ps->buf)] = {};
    int32_t start = ps->cursor_location;
    while (start > 0 && !std::isspace(static_cast<unsigned char>(ps->buf[start - 1])))
        start--;
    std::memcpy(before, ps->buf, size_t(start));
    std::memcpy(place.begun, ps->buf + start, size_t(ps->cursor_location - start));

    int32_t consumed = 0;
    cli_pmatch_s *matches = nullptr;
    errno = 0;
    place.result = cli_parse(commands_root(), before, start, &consumed, &matches);
    if (place.result == PARSE_EMPTY)
        place.level = commands_root();
    const cli_pmatch_s *last = matches;
    while (last && last->next)
        last = last->next;
    if (place.result == PARSE_MATCHED && last && consumed == start)
        place.level = last->node->child;
    cli_match_free(matches);
    return place;
}

bool may_become(const cli_pnode_s *node, const char *begun)
{
    return node->type != PNODE_KEYWORD ||
           std::strncmp(node->keyword, begun, std::strlen(begun)) == 0;
}

void print_alternative(const cli_pnode_s *node)
{
    std::printf("  ");
    const char *text = node->type == PNODE_EOLS ? "<cr>" : node->keyword;
    print_text(text);
    std::printf("%*s", std::strlen(text) < 14 ? int(14 - std::strlen(text)) : 2, "");
    if (node->help)
        print_text(node->help);
    std::putchar('\n');
}

} // namespace

int help_expand_token(prompt_s *p, pstate *ps, const char *, void *context, void *)
{
    const Place place = find_place(ps);
    session_start_output(*static_cast<Session *>(context));
    if (!place.level)
        std::printf("%% %s\n", cli_strparseres(place.result));
    for (const cli_pnode_s *node = place.level; node && node != &NONE; node = node->next) {
        const bool is_end = node->type == PNODE_EOLS;
        if (is_end ? !*place.begun : may_become(node, place.begun))
            print_alternative(node);
    }
    prompt_finish_output(p);
    return 0;
}

int help_complete_token(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    const Place place = find_place(ps);
    const cli_pnode_s *only = nullptr;
    for (const cli_pnode_s *node = place.level; node && node != &NONE; node = node->next) {
        if (node->type == PNODE_EOLS || !may_become(node, place.begun))
            continue;
        if (only || node->type != PNODE_KEYWORD)
            return 0;
        only = node;
    }
    if (!only)
        return 0;
    for (const char *rest = only->keyword + std::strlen(place.begun); *rest; rest++)
        prompt_insert_char_at_cursor(p, *rest);
    prompt_insert_char_at_cursor(p, ' ');
    return 0;
}
