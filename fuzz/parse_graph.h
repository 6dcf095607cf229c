#ifndef VARNO_FUZZ_PARSE_GRAPH_H
#define VARNO_FUZZ_PARSE_GRAPH_H

// A graph of parse nodes from the bytes of an input, odd ones included: texts that are
// missing or empty, unknown types, links that are NULL, words that lead back.

#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "input_reader.h"
#include "support/parse_nodes.h"

namespace varno_fuzz {

class ParseGraph {
  public:
    static constexpr int most_nodes = 24;

    explicit ParseGraph(InputReader &in) : nodes_(static_cast<size_t>(1 + in.below(most_nodes)))
    {
        texts_.reserve(nodes_.size());
        for (size_t i = 0; i < nodes_.size(); i++)
            read_node(in, i);
    }

    cli_pnode_s *root() { return &nodes_[0]; }
    const std::vector<cli_pnode_s> &nodes() const { return nodes_; }

  private:
    // Alternatives only lead forward: a level ends.
    void read_node(InputReader &in, size_t i)
    {
        static constexpr uint32_t types[] = {PNODE_KEYWORD, PNODE_KEYWORD, PNODE_KEYWORD,
                                             PNODE_KEYWORD, PNODE_KEYWORD, PNODE_STRING,
                                             PNODE_INT32,   PNODE_EOLS};
        const size_t kind = in.byte();
        const size_t links = in.byte();
        cli_pnode_s &node = nodes_[i];
        node = varno_test::parse_node(kind >= 250 ? static_cast<uint32_t>(in.byte())
                                                  : types[kind % std::size(types)],
                                      kind % 32 == 31 ? nullptr : "name", read_keyword(in));
        node.help = kind % 3 == 0 ? "what it does" : nullptr;
        node.next = next_of(i, links % 16);
        node.child = links >= 240 ? nullptr : &nodes_[links % nodes_.size()];
        if (links >= 200 && links < 240)
            node.child = &NONE;
    }

    cli_pnode_s *next_of(size_t i, size_t link)
    {
        const size_t next = i + 1 + (link >= 12 ? link - 11 : 0);
        if (link == 0 || next >= nodes_.size())
            return link == 1 ? nullptr : &NONE;
        return &nodes_[next];
    }

    const char *read_keyword(InputReader &in)
    {
        static constexpr const char *words[] = {
            "show", "sh",        "showall", "interface", "int", "1",           "0x", "-",
            "",     "two words", "a",       "b",         "\"q", "back\\slash", "12", "s"};
        const size_t choice = in.byte();
        if (choice < 200)
            return words[choice % std::size(words)];
        if (choice >= 252)
            return nullptr;
        texts_.emplace_back(in.take_until('\0').substr(0, 300));
        return texts_.back().c_str();
    }

    std::vector<cli_pnode_s> nodes_;
    std::vector<std::string> texts_;
};

} // namespace varno_fuzz

#endif
