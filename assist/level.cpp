#include "level.h"

#include <cstring>

namespace varno {
namespace {

// Returns what to show for an alternative; NULL: the word cannot become this.
const char *choice_text(const cli_pnode_s *n, const Begun &begun)
{
    switch (n->type) {
    case PNODE_KEYWORD:
        return is_begun_keyword(n, begun) ? n->keyword : nullptr;
    case PNODE_STRING:
        return has_texts(n) ? n->keyword : nullptr;
    case PNODE_INT32:
        return has_texts(n) && begun.can_be_number ? n->keyword : nullptr;
    case PNODE_EOLS:
        return begun.can_end ? "<cr>" : nullptr;
    default:
        return nullptr;
    }
}

} // namespace

bool is_begun_keyword(const cli_pnode_s *n, const Begun &begun)
{
    return n->type == PNODE_KEYWORD && has_texts(n) && *n->keyword != '\0' &&
           std::strncmp(n->keyword, begun.value, begun.len) == 0;
}

// Of several ends of line only the first is ever run, and listed.
int list_level(const cli_pnode_s *level, Begun begun, cli_assist_choice_fn choice, void *user)
{
    int count = 0;
    for (const cli_pnode_s *n = level; !is_list_end(n); n = n->next) {
        const char *text = choice_text(n, begun);
        if (!text)
            continue;
        if (n->type == PNODE_EOLS)
            begun.can_end = false;
        if (choice)
            choice(user, n, text, n->help ? n->help : "");
        count++;
    }
    return count;
}

} // namespace varno
