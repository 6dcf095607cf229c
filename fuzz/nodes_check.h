#ifndef VARNO_FUZZ_NODES_CHECK_H
#define VARNO_FUZZ_NODES_CHECK_H

// Parse nodes at run time beside lists of them: what hangs below what, in order.

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "cli_parse_check.h"
#include "finding.h"
#include "support/parse_nodes.h"

#include <varno/cli_parse.h>
#include <varno/platform.h>

namespace varno_fuzz {

class NodesCheck {
  public:
    NodesCheck() { levels_[&top_] = {}; }
    ~NodesCheck() { clear(&top_); }
    NodesCheck(const NodesCheck &) = delete;
    NodesCheck &operator=(const NodesCheck &) = delete;

    cli_pnode_s *top() { return top_.child; }

    // A node below one that there is. What would leave text copies behind is left out.
    void add(size_t below, uint32_t type, const std::string &keyword, const char *help)
    {
        const bool is_known = type >= PNODE_KEYWORD && type <= PNODE_INT32;
        if (!is_known || levels_.size() >= most_nodes)
            return;
        cli_pnode_s *node =
            dyn_cli_create_node(type, "name", keyword.c_str(), help, &top_, type + 7);
        FUZZ_REQUIRE(node && node->type == type && node->link_count == 0);
        const bool has_action = type == PNODE_KEYWORD || type == PNODE_EOLS;
        FUZZ_REQUIRE((node->func == &top_) == has_action);
        FUZZ_REQUIRE(type == PNODE_EOLS ? !node->keyword : keyword == node->keyword);
        cli_pnode_s *parent = parents()[below % levels_.size()];
        if (parent->type == PNODE_EOLS)
            parent = &top_;
        FUZZ_REQUIRE(dyn_cli_add_node(parent, node) == 0 && node->link_count == 1);
        levels_[parent].insert(levels_[parent].begin(), node);
        levels_[node] = {};
        check_level(parent);
    }

    // Only the first of a keyword can be taken off.
    void remove(size_t which)
    {
        cli_pnode_s *parent = parents()[which % levels_.size()];
        auto &level = levels_[parent];
        if (level.empty())
            return;
        cli_pnode_s *node = level[which / 7 % level.size()];
        if (node->type == PNODE_EOLS)
            return FUZZ_REQUIRE(dyn_cli_del_node(parent, node) == -1);
        const auto first = std::find_if(level.begin(), level.end(), [&](const cli_pnode_s *n) {
            return n->keyword && std::string(n->keyword) == node->keyword;
        });
        clear(*first);
        levels_.erase(*first);
        FUZZ_REQUIRE(dyn_cli_del_node(parent, *first) == 0);
        level.erase(first);
        check_level(parent);
    }

    void look_up(size_t which, const std::string &text)
    {
        cli_pnode_s *level = parents()[which % levels_.size()]->child;
        const ModelMatcher found(level, text);
        FUZZ_REQUIRE(dyn_cli_lookup_node(level, text.c_str()) == found.node);
    }

  private:
    static constexpr size_t most_nodes = 40;

    // One token as cli_parse resolves it, if the keyword is just that.
    struct ModelMatcher {
        const cli_pnode_s *node = nullptr;
        ModelMatcher(const cli_pnode_s *level, const std::string &text)
        {
            std::string quoted = "'";
            for (const char c : text)
                quoted += c == '\'' ? std::string("'\"'\"'") : std::string(1, c);
            errno = 0;
            const ModelParse parse(level, quoted + "'", quoted.size() + 1);
            if (parse.matches.size() == 1 && text == parse.matches[0].node->keyword)
                node = parse.matches[0].node;
            errno = 0;
        }
    };

    std::vector<cli_pnode_s *> parents() const
    {
        std::vector<cli_pnode_s *> nodes = {const_cast<cli_pnode_s *>(&top_)};
        for (size_t i = 0; i < nodes.size(); i++) {
            const auto &level = levels_.at(nodes[i]);
            nodes.insert(nodes.end(), level.begin(), level.end());
        }
        return nodes;
    }

    void check_level(const cli_pnode_s *parent) const
    {
        const cli_pnode_s *n = parent->child;
        for (const cli_pnode_s *wanted : levels_.at(const_cast<cli_pnode_s *>(parent))) {
            FUZZ_REQUIRE(n == wanted);
            n = n->next;
        }
        FUZZ_REQUIRE(n == &NONE);
    }

    // Releases all below a node; an end of line only this way.
    void clear(cli_pnode_s *parent)
    {
        for (cli_pnode_s *node : levels_[parent]) {
            clear(node);
            levels_.erase(node);
            parent->child = node->next;
            tracked_free(node->own_name, "BYTE");
            tracked_free(node->own_keyword, "BYTE");
            tracked_free(node->own_help, "BYTE");
            tracked_free(node, "cli_pnode_s");
        }
        levels_[parent].clear();
    }

    cli_pnode_s top_ = varno_test::keyword_node("top");
    std::map<cli_pnode_s *, std::vector<cli_pnode_s *>> levels_;
};

} // namespace varno_fuzz

#endif
