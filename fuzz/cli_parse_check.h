#ifndef VARNO_FUZZ_CLI_PARSE_CHECK_H
#define VARNO_FUZZ_CLI_PARSE_CHECK_H

// A parse beside a naive one.

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "finding.h"
#include "text_check.h"

#include <varno/cli_parse.h>

namespace varno_fuzz {

struct ModelMatch {
    const cli_pnode_s *node;
    std::string token;
    int pos;
    int len;
};

struct ModelParse {
    uint32_t result = PARSE_MATCHED;
    int consumed = 0;
    std::vector<ModelMatch> matches;

    ModelParse(const cli_pnode_s *level, const std::string &line, size_t len)
    {
        const ModelTokens model(line);
        if (len == 0 || model.open_quote != line.npos) {
            result = len == 0 ? PARSE_EMPTY : PARSE_BAD_QUOTES;
            consumed = len == 0 ? 0 : static_cast<int>(model.open_quote);
            return;
        }
        if (model.tokens.empty()) {
            result = PARSE_EMPTY;
            consumed = static_cast<int>(len);
            return;
        }
        for (size_t i = 0; i < model.tokens.size() && consumed < static_cast<int>(len); i++) {
            const ModelToken &token = model.tokens[i];
            const cli_pnode_s *node = match(level, token.value);
            if (!node)
                return;
            const size_t next =
                i + 1 < model.tokens.size() ? model.tokens[i + 1].start : line.size();
            const int used = static_cast<int>(next) - consumed;
            matches.push_back({node, token.value, static_cast<int>(token.start), used});
            consumed += used;
            level = node->child;
        }
    }

  private:
    static bool is_number(const std::string &token)
    {
        char *end = nullptr;
        const long value = std::strtol(token.c_str(), &end, 0);
        return *end == '\0' && !((value == LONG_MAX || value == LONG_MIN) && errno == ERANGE);
    }

    // All that fit; an exact keyword before all others.
    const cli_pnode_s *match(const cli_pnode_s *level, const std::string &token)
    {
        std::vector<const cli_pnode_s *> fitting;
        std::vector<const cli_pnode_s *> exact;
        for (const cli_pnode_s *n = level; n && n != &NONE; n = n->next) {
            if (!n->name || !n->keyword)
                continue;
            const bool is_keyword = n->type == PNODE_KEYWORD;
            if (n->type == PNODE_STRING || (n->type == PNODE_INT32 && is_number(token)) ||
                (is_keyword && std::string(n->keyword).starts_with(token)))
                fitting.push_back(n);
            if (is_keyword && token == n->keyword)
                exact.push_back(n);
        }
        if (!exact.empty())
            return exact[0];
        if (fitting.size() != 1)
            result = fitting.empty() ? PARSE_NO_MATCH : PARSE_AMBIGUOUS;
        return fitting.size() == 1 ? fitting[0] : nullptr;
    }
};

// len: 0..line's length.
inline void check_parse(cli_pnode_s *root, const std::string &line, size_t len)
{
    errno = 0;
    const ModelParse model(root, line, len);
    const Block block(line);
    int32_t consumed = -77;
    cli_pmatch_s *matches = nullptr;
    errno = 0;
    const uint32_t result =
        cli_parse(root, block.get(), static_cast<int32_t>(len), &consumed, &matches);
    FUZZ_REQUIRE(result == model.result);
    FUZZ_REQUIRE(consumed == model.consumed);
    const cli_pmatch_s *match = matches;
    for (const ModelMatch &wanted : model.matches) {
        FUZZ_REQUIRE(match && match->node == wanted.node && match->token == wanted.token);
        FUZZ_REQUIRE(match->pos == wanted.pos && match->len == wanted.len);
        FUZZ_REQUIRE(cli_match_by_node(matches, match->node)->node == match->node);
        match = match->next;
    }
    FUZZ_REQUIRE(!match);
    cli_match_by_name(matches, "name");
    cli_parse_node_get_executable_from_match(matches);
    cli_match_free(matches);
}

} // namespace varno_fuzz

#endif
