// Creates, links, finds and removes parse nodes at run time. Who refers to a node, and
// when nobody parses, is the host's to know.

#include "cli/matcher_internal.h"

#include <varno/platform.h>

#include <cstring>

#include "contract.h"

namespace {

// Copies a text into the field that the parser reads and into the one that owns
// it. A copy without memory leaves both NULL, unnoticed.
void copy_text(const char *text, const char *&read, char *&owned)
{
    owned = tracked_strdup(text, "BYTE");
    read = owned;
}

// Both types of node, strings and numbers, report a missing label with the same
// text. func and attr belong to words that can end or name a command, not to these.
bool fill_labelled(cli_pnode_s *n, const char *keyword)
{
    if (!keyword) {
        VARNO_DEBUG("Error creating dynamic STRING node");
        return false;
    }
    copy_text(keyword, n->keyword, n->own_keyword);
    return true;
}

bool fill_keyword(cli_pnode_s *n, const char *keyword, void *func, uint32_t attr)
{
    if (!keyword) {
        VARNO_DEBUG("Error creating dynamic KEYWORD node");
        return false;
    }
    copy_text(keyword, n->keyword, n->own_keyword);
    n->func = func;
    n->attr = attr;
    return true;
}

// The help is hidden, not dropped: its copy is released with the node.
bool fill_eols(cli_pnode_s *n, void *func, uint32_t attr)
{
    if (!func) {
        VARNO_DEBUG("Error creating dynamic EOLS node");
        return false;
    }
    n->func = func;
    n->attr = attr;
    n->child = nullptr;
    n->next = &NONE;
    n->help = nullptr;
    return true;
}

bool fill_by_type(cli_pnode_s *n, const char *keyword, void *func, uint32_t attr)
{
    switch (n->type) {
    case PNODE_NONE:
        VARNO_DEBUG("Dynamic CLI node type cannot be NONE");
        return false;
    case PNODE_KEYWORD:
        return fill_keyword(n, keyword, func, attr);
    case PNODE_EOLS:
        return fill_eols(n, func, attr);
    case PNODE_STRING:
    case PNODE_INT32:
        return fill_labelled(n, keyword);
    default:
        VARNO_DEBUG("Dynamic CLI node type not found");
        return false;
    }
}

// The keyword of an end of line is never compared, even when a host has set one.
bool has_keyword(const cli_pnode_s *n, const char *keyword)
{
    return n->type != PNODE_EOLS && n->keyword && std::strcmp(n->keyword, keyword) == 0;
}

// The link of parent's next level that leads to the first alternative with this
// keyword; NULL: none. Any node of type NONE ends the walk.
cli_pnode_s **link_to_keyword(cli_pnode_s *parent, const char *keyword)
{
    cli_pnode_s **link = &parent->child;
    while (*link && (*link)->type != PNODE_NONE) {
        if (has_keyword(*link, keyword))
            return link;
        link = &(*link)->next;
    }
    return nullptr;
}

} // namespace

// A failure releases the record alone; the copies of name and help are not released, by
// contract: a host checks names before they come here.
cli_pnode_s *dyn_cli_create_node(uint32_t type, const char *name, const char *keyword,
                                 const char *help, void *func, uint32_t attr)
{
    if (!name)
        return nullptr;
    auto *n = static_cast<cli_pnode_s *>(tracked_calloc(1, sizeof(cli_pnode_s), "cli_pnode_s"));
    if (!n) {
        VARNO_DEBUG("Failed to allocate dynamic cli node");
        VARNO_DEBUG("Dynamic CLI failed to create node");
        return nullptr;
    }
    copy_text(name, n->name, n->own_name);
    if (help)
        copy_text(help, n->help, n->own_help);
    n->type = type;
    if (!fill_by_type(n, keyword, func, attr)) {
        tracked_free(n, "cli_pnode_s");
        return nullptr;
    }
    return n;
}

// A node that is linked anew starts with an empty next level: what hung off it
// before is not followed, nor released.
int dyn_cli_add_node(cli_pnode_s *parent, cli_pnode_s *node)
{
    if (!parent)
        return -1;
    node->next = parent->child;
    parent->child = node;
    node->child = &NONE;
    node->link_count++;
    return 0;
}

int dyn_cli_set_node(cli_pnode_s *node, cli_pnode_s *target, int which)
{
    if (!node || !target || which < 0 || which > 1)
        return -1;
    (which == 0 ? node->child : node->next) = target;
    node->link_count++;
    return 0;
}

// What is spliced in is node's next, not that of the node found: where two have the
// same keyword, the first place goes with all that lies between them.
int dyn_cli_del_node(cli_pnode_s *parent, cli_pnode_s *node)
{
    if (!parent || !node || !parent->child || !node->keyword)
        return -1;
    cli_pnode_s **link = link_to_keyword(parent, node->keyword);
    if (!link)
        return -1;
    *link = node->next;
    node->next = &NONE;
    tracked_free(node->own_name, "BYTE");
    tracked_free(node->own_keyword, "BYTE");
    tracked_free(node->own_help, "BYTE");
    tracked_free(node, "cli_pnode_s");
    return 0;
}

// The level is searched as a parse would, so that a keyword which a parse could not
// reach is not found either; then the keyword has to be the text, letter for letter.
cli_pnode_s *dyn_cli_lookup_node(cli_pnode_s *level, const char *text)
{
    if (!level)
        return nullptr;
    cli_pnode_s *found = nullptr;
    const uint32_t result = cli_parse_match_token(level, text, &found);
    if (result != PARSE_MATCHED) {
        VARNO_DEBUG("Did not match, res: %s", cli_strparseres(result));
        return nullptr;
    }
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): what matched was found
    if (std::strcmp(found->keyword, text) != 0) {
        VARNO_DEBUG("Not exact match, res: %s", cli_strparseres(result));
        return nullptr;
    }
    return found;
}
