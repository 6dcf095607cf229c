// Nodes made with the library's calls for that. A node that was taken out waits in a
// list of its own until nobody can point at it.

#include "dynamic_nodes.h"

#include <algorithm>
#include <cstring>

namespace device {
namespace {

// The place of a node is found by its keyword, so one whose text got no memory is lent
// one. It must be parent's first, which is then the one that is found.
void release_first(cli_pnode_s &parent)
{
    cli_pnode_s *node = parent.child;
    if (!node->keyword)
        node->keyword = "";
    dyn_cli_del_node(&parent, node);
}

bool has_all_texts(const cli_pnode_s *node)
{
    return node->name && node->keyword && node->help;
}

} // namespace

DynamicNodes::DynamicNodes(cli_pnode_s &before, cli_pnode_s &child)
    : before_(&before), child_(&child)
{
    removed_.child = &NONE;
}

DynamicNodes::~DynamicNodes()
{
    remove_all();
    release_removed();
}

bool DynamicNodes::follow(std::span<const Choice> choices)
{
    if (is_same(choices))
        return true;
    remove_all();
    cli_pnode_s *last = before_;
    for (const Choice &choice : choices) {
        cli_pnode_s *node =
            dyn_cli_create_node(PNODE_KEYWORD, choice.name, choice.name, choice.help, nullptr, 0);
        if (!node)
            return false;
        if (!has_all_texts(node)) {
            dyn_cli_add_node(&removed_, node);
            return false;
        }
        dyn_cli_set_node(node, child_, 0);
        dyn_cli_set_node(node, last->next, 1);
        last->next = node;
        last = node;
        count_++;
    }
    return true;
}

void DynamicNodes::release_removed()
{
    while (removed_.child != &NONE)
        release_first(removed_);
}

bool DynamicNodes::is_same(std::span<const Choice> choices) const
{
    const cli_pnode_s *node = before_;
    const auto is_next = [&node](const Choice &choice) {
        node = node->next;
        return std::strcmp(node->keyword, choice.name) == 0 &&
               std::strcmp(node->help, choice.help) == 0;
    };
    return choices.size() == count_ && std::all_of(choices.begin(), choices.end(), is_next);
}

// A walk that stands on such a node goes on among the removed ones, and ends there.
void DynamicNodes::remove_all()
{
    for (; count_ > 0; count_--) {
        cli_pnode_s *node = before_->next;
        before_->next = node->next;
        dyn_cli_add_node(&removed_, node);
    }
}

} // namespace device
