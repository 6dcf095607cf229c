#ifndef VARNO_TESTS_PARSE_NODES_H
#define VARNO_TESTS_PARSE_NODES_H

// Parse-node graphs as tables, and what a parse made of a line as one text.

#include <varno/cli_parse.h>

#include <cstring>
#include <initializer_list>
#include <string>

namespace varno_test {

inline cli_pnode_s parse_node(uint32_t type, const char *name, const char *keyword)
{
    cli_pnode_s node = {};
    node.name = name;
    node.keyword = keyword;
    node.type = type;
    node.child = &NONE;
    node.next = &NONE;
    return node;
}

inline cli_pnode_s keyword_node(const char *keyword)
{
    return parse_node(PNODE_KEYWORD, keyword, keyword);
}

// Chains the nodes into one level; returns its first.
inline cli_pnode_s *level_of(std::initializer_list<cli_pnode_s *> nodes)
{
    cli_pnode_s *first = &NONE;
    for (auto node = nodes.end(); node != nodes.begin();) {
        (*--node)->next = first;
        first = *node;
    }
    return first;
}

// A line parsed: "RESULT consumed 8: name=[token]@pos+len ...".
struct Parsed {
    int32_t consumed = -77;
    cli_pmatch_s *matches = nullptr;
    uint32_t result; // set last, by the parse that sets the two above

    Parsed(cli_pnode_s *root, const char *line) : Parsed(root, line, std::strlen(line)) {}
    Parsed(cli_pnode_s *root, const char *line, size_t len)
        : result(cli_parse(root, line, static_cast<int32_t>(len), &consumed, &matches))
    {}
    ~Parsed() { cli_match_free(matches); }
    Parsed(const Parsed &) = delete;
    Parsed &operator=(const Parsed &) = delete;

    std::string text() const
    {
        static constexpr const char *names[] = {"EMPTY", "NO_MATCH", "AMBIGUOUS", "MATCHED",
                                                "BAD_QUOTES"};
        std::string text = std::string(names[result]) + " " + std::to_string(consumed);
        for (const cli_pmatch_s *m = matches; m; m = m->next) {
            text += std::string(" ") + m->node->name + "=[" + m->token + "]@" +
                    std::to_string(m->pos) + "+" + std::to_string(m->len);
        }
        return text;
    }
};

} // namespace varno_test

#endif
