#ifndef VARNO_TESTS_DEFINITIONS_H
#define VARNO_TESTS_DEFINITIONS_H

// Definitions as a test writes them, the graph that is built from them, and both as texts.

#include "automaton.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace varno_test {

// The only registered types there are.
inline varno::commands::TypeNames type_names()
{
    return {nullptr, [](void *, std::string_view name) -> int32_t {
                return name == "interface" ? 0 : name == "alias" ? 1 : -1;
            },
            nullptr};
}

class Definitions {
  public:
    explicit Definitions(const std::vector<varno::commands::Definition> &rows)
    {
        for (const auto &row : rows)
            rows_.add(row);
        modes_.add({-1, false});
        is_built_ = varno::commands::build_graph(rows_, modes_, type_names(), findings_, graph_);
    }

    ~Definitions()
    {
        varno::commands::release_graph(graph_);
        findings_.list.release();
        rows_.release();
        modes_.release();
    }

    Definitions(const Definitions &) = delete;
    Definitions &operator=(const Definitions &) = delete;

    bool is_built() const { return is_built_; }
    int errors() const { return findings_.errors; }

    const cli_pnode_s *root() const
    {
        const int32_t first = graph_.roots[0];
        return first < 0 ? &NONE : &graph_.nodes[static_cast<size_t>(first)];
    }

    // "row:column text" a line, "(row)" after it where another definition is named.
    std::string findings(bool of_errors) const
    {
        std::string text;
        for (const auto &one : findings_.list) {
            if (varno::commands::is_error(one.problem) != of_errors)
                continue;
            text += std::to_string(one.row) + ":" + std::to_string(one.column) + " " +
                    varno::commands::text_of(one.problem);
            if (one.other >= 0)
                text += " (" + std::to_string(one.other) + ")";
            text += "\n";
        }
        return text;
    }

    // Every level once, by number, with its alternatives: "word:level".
    std::string dump() const
    {
        std::vector<const cli_pnode_s *> levels;
        if (errors() > 0)
            return "";
        levels.push_back(root());
        std::string text;
        for (size_t i = 0; i < levels.size(); i++) {
            text +=
                std::to_string(i) + (levels[i]->attr & varno::commands::attr_narrowed ? "*" : "");
            for (const cli_pnode_s *n = levels[i]; n != &NONE; n = n->next) {
                if (n->type == PNODE_EOLS) {
                    text += " <cr>";
                    continue;
                }
                size_t to = 0;
                while (to < levels.size() && levels[to] != n->child)
                    to++;
                if (to == levels.size())
                    levels.push_back(n->child);
                text += " " + std::string(n->keyword) + ":" + std::to_string(to);
            }
            text += "\n";
        }
        return text;
    }

  private:
    varno::commands::Array<varno::commands::Definition> rows_;
    varno::commands::Array<varno::commands::Mode> modes_;
    varno::commands::Findings findings_ = {};
    varno::commands::Graph graph_ = {};
    bool is_built_ = false;
};

} // namespace varno_test

#endif
