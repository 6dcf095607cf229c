// Matches a line token by token against the host's graph of parse nodes. What a token
// is and which quotes count is left to the platform; what a command does, to the host.

#include "cli/matcher_internal.h"

#include <varno/platform.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "char_class.h"
#include "contract.h"

using namespace varno;

// Compared by address only. Its fields are what a host that prints a level sees, and
// no link leads on from it, so a walk that runs too far stops here.
constinit cli_pnode_s NONE = {
    .name = "NONE",
    .keyword = "NONE",
    .help = "NONE",
    .type = PNODE_NONE,
    .child = nullptr,
    .next = nullptr,
    .aux_text = "abcdefghijklmnopabcdefghijk",
    .aux_int = 1,
    .func = nullptr,
    .attr = 0,
    .link_count = 0,
    .own_name = nullptr,
    .own_keyword = nullptr,
    .own_help = nullptr,
};

namespace {

constexpr char source_name[] = "cli_parse";

// ORDER parse results
constexpr const char *result_texts[] = {
    "Input was empty",
    "No match found",
    "Input was ambiguous",
    "Input was matched",
    "Input contains mismatched quotes",
};
static_assert(std::size(result_texts) == PARSE_BAD_QUOTES + 1);

// A node's text may be missing (a copy without memory): traces print it as empty,
// and the node matches nothing.
const char *text_or_empty(const char *text)
{
    return text ? text : "";
}

const char *name_of(const cli_pnode_s *n)
{
    return n ? text_or_empty(n->name) : "";
}

bool has_texts(const cli_pnode_s *n)
{
    return n->name && n->keyword;
}

// A link that nobody has set yet ends a list as the sentinel does.
bool is_list_end(const cli_pnode_s *n)
{
    return !n || n == &NONE;
}

// How well a node fits a token. Only a keyword can fit exactly.
enum class Fit { none, loose, exact };

// A prefix is enough, the empty one included. Most keywords of a large level differ in
// their first letter.
Fit fit_of_keyword(const cli_pnode_s *n, const char *token, size_t len)
{
    VARNO_DEBUG("Node %s is a keyword [%s] node", name_of(n), text_or_empty(n->keyword));
    if (!n->keyword || (*n->keyword != *token && len > 0))
        return Fit::none;
    if (!n->name || std::strncmp(n->keyword, token, len) != 0)
        return Fit::none;
    VARNO_DEBUG("Matched keyword");
    if (n->keyword[len] != '\0')
        return Fit::loose;
    VARNO_DEBUG("Exact match found: %s %s", token, n->keyword);
    return Fit::exact;
}

// The base that strtoll finds by itself, given to it because newer C libraries also
// find base 2 in "0b11", which is no number here.
int base_of(const char *token)
{
    while (is_space(*token))
        token++;
    if (*token == '+' || *token == '-')
        token++;
    if (*token != '0')
        return 10;
    return token[1] == 'x' || token[1] == 'X' ? 16 : 8;
}

// There is no check against 32 bits. Nor is errno cleared: an ERANGE of long ago
// makes the two ends of the range look like overflows.
Fit fit_of_number(const cli_pnode_s *n, const char *token)
{
    VARNO_DEBUG("Node %s is an INT32 node", name_of(n));
    if (!has_texts(n))
        return Fit::none;
    char *endp = nullptr;
    const long long t = std::strtoll(token, &endp, base_of(token));
    const bool overflow = (t == LLONG_MAX || t == LLONG_MIN) && errno == ERANGE;
    VARNO_DEBUG("t = %lld, endp is: %s", t, *endp ? endp : "EMPTY");
    if (*endp || overflow)
        return Fit::none;
    VARNO_DEBUG("matched a number");
    return Fit::loose;
}

// Ends of line and sentinels are no words of a line. Any token fits a string, and never
// exactly: beside a keyword, the whole keyword wins and an abbreviation of it is
// ambiguous. An unknown type is the host's slip; the alternatives after it still count.
Fit fit_of(const cli_pnode_s *n, const char *token, size_t len)
{
    if (n->type == PNODE_KEYWORD)
        return fit_of_keyword(n, token, len);
    switch (n->type) {
    case PNODE_NONE:
    case PNODE_EOLS:
        VARNO_DEBUG("Node %s is not a parsing node: skipped (type: %d)", name_of(n),
                    static_cast<int>(n->type));
        return Fit::none;
    case PNODE_STRING:
        VARNO_DEBUG("Node %s is a string node", name_of(n));
        return has_texts(n) ? Fit::loose : Fit::none;
    case PNODE_INT32:
        return fit_of_number(n, token);
    default:
        VARNO_DEBUG("Node %s has invalid type: %d", name_of(n), static_cast<int>(n->type));
        return Fit::none;
    }
}

// The candidates of a level so far. The first one is held until the first exact
// one takes its place.
struct Candidates {
    cli_pnode_s *held;
    int count;
    bool exact_held;
};

void add_candidate(Candidates &candidates, cli_pnode_s *n, bool exact)
{
    candidates.count++;
    if (!candidates.held) {
        VARNO_DEBUG("first match -- exact? %s", exact ? "YES!" : "No");
    } else if (exact && !candidates.exact_held) {
        VARNO_DEBUG("found or replaced a match");
    } else {
        VARNO_DEBUG("Found more than one match.. Prev was %s", name_of(candidates.held));
        return;
    }
    candidates.held = n;
    candidates.exact_held = exact;
}

// Nothing after an exact keyword changes the result. But a number is still read where its
// overflow would set errno, which a later parse sees, and what is looked at is traced. What
// begins with a letter is no number: digits, signs and white space come before letters.
bool decides(Fit fit, char first)
{
    return fit == Fit::exact && varno::signed_code(first) > '9' && !varno::wants_debug();
}

// Matches the tokens of a line from `level` on. *consumed stays 0 until the end: an
// assertion on the way leaves it so, and the list of records whole and the caller's.
uint32_t parse_tokens(cli_pnode_s *level, const char *line, int32_t len, int32_t *consumed,
                      cli_pmatch_s **out_match)
{
    cli_pmatch_s **tail = out_match;
    uint32_t result = PARSE_MATCHED;
    int32_t done = 0;
    // The last token may run past len, to its own end, so done may end above it. token_copy
    // also passes over the white space after a token: within the line each rest has one.
    while (done < len) {
        char *tok = nullptr;
        int at = 0;
        VARNO_DEBUG("consumed: %d of %d", done, len);
        const int c = token_copy(line + done, &tok, &at);
        VARNO_DEBUG("token copy returned %d", c);
        if (!tok) {
            // After a match this is a length beyond the line's end, or a token's
            // text without memory; both are fatal.
            VARNO_ASSERT(!*out_match);
            VARNO_DEBUG("All whitespace string?");
            *consumed = len;
            return PARSE_EMPTY;
        }
        VARNO_ASSERT(tok && c > 0 && at >= 0);
        VARNO_DEBUG("Got token [%s], trying to match", tok);
        cli_pnode_s *node = nullptr;
        result = cli_parse_match_token(level, tok, &node);
        if (result != PARSE_MATCHED) {
            VARNO_DEBUG("Did not match, res: %s", cli_strparseres(result));
            tracked_free(tok, "BYTE");
            break;
        }
        auto *match =
            static_cast<cli_pmatch_s *>(tracked_malloc(sizeof(cli_pmatch_s), "cli_pmatch_s"));
        if (!match) { // the tokens before this one count as the line
            VARNO_DEBUG("Memory alloc error");
            tracked_free(tok, "BYTE");
            break;
        }
        *match = {.next = nullptr, .token = tok, .node = node, .pos = done + at, .len = c};
        *tail = match;
        tail = &match->next;
        done += c;
        level = node->child; // NOLINT(clang-analyzer-core.NullDereference): it matched
    }
    *consumed = done;
    VARNO_DEBUG("consumed %d, returning %s", *consumed, cli_strparseres(result));
    return result;
}

} // namespace

// An exact keyword decides between any number of candidates. An ambiguous token
// keeps its first candidate as the one held.
uint32_t cli_parse_match_token(cli_pnode_s *level, const char *token, cli_pnode_s **out_node)
{
    *out_node = nullptr;
    VARNO_DEBUG("Trying to match token [%s], starting with %s", token, name_of(level));
    const size_t len = std::strlen(token);
    Candidates candidates = {nullptr, 0, false};
    for (cli_pnode_s *n = level; !is_list_end(n); n = n->next) {
        const Fit fit = fit_of(n, token, len);
        if (fit != Fit::none) {
            add_candidate(candidates, n, fit == Fit::exact);
            if (decides(fit, *token))
                break;
        }
        VARNO_DEBUG("checking next node");
    }
    *out_node = candidates.held;
    if (candidates.count >= 2 && !candidates.exact_held)
        return PARSE_AMBIGUOUS;
    if (!candidates.held) {
        VARNO_DEBUG("Did not find a match");
        return PARSE_NO_MATCH;
    }
    VARNO_DEBUG("Found a match: %s", name_of(candidates.held));
    return PARSE_MATCHED;
}

uint32_t cli_parse(cli_pnode_s *root, const char *line, int32_t len, int32_t *consumed,
                   cli_pmatch_s **out_match)
{
    if (!line || len < 0)
        return PARSE_NO_MATCH;
    if (!root) {
        VARNO_DEBUG("root is NULL");
        return PARSE_NO_MATCH;
    }
    *consumed = 0;
    *out_match = nullptr;
    if (len == 0)
        return PARSE_EMPTY;
    VARNO_DEBUG("checking quotes");
    const char *quote = string_check_quotes(line);
    if (quote) {
        VARNO_DEBUG("mismatched quotes");
        *consumed = static_cast<int32_t>(quote - line);
        return PARSE_BAD_QUOTES;
    }
    return parse_tokens(root, line, len, consumed, out_match);
}

// ORDER parse results
const char *cli_strparseres(uint32_t result)
{
    if (result >= std::size(result_texts))
        return "Unknown/Invalid parser result";
    return result_texts[result];
}

void cli_match_free(cli_pmatch_s *matches)
{
    while (matches) {
        cli_pmatch_s *next = matches->next;
        tracked_free(matches->token, "BYTE");
        tracked_free(matches, "cli_pmatch_s");
        matches = next;
    }
}

// A name may be used by several nodes, and a node be matched by several tokens:
// both look-ups find the first in the line, or after it when given a record's next.
cli_pmatch_s *cli_match_by_name(cli_pmatch_s *m, const char *name)
{
    if (!name || !m) {
        VARNO_DEBUG("name or match m is NULL");
        return nullptr;
    }
    while (m && !(m->node->name && std::strcmp(m->node->name, name) == 0))
        m = m->next;
    return m;
}

cli_pmatch_s *cli_match_by_node(cli_pmatch_s *m, const cli_pnode_s *p)
{
    VARNO_ASSERT(p && m);
    while (m && m->node != p)
        m = m->next;
    return m;
}

// The matcher passes over ends of line; only this finds them.
cli_pnode_s *cli_parse_node_get_executable(const cli_pnode_s *node)
{
    for (cli_pnode_s *n = node->child; !is_list_end(n); n = n->next) {
        if (n->type == PNODE_EOLS)
            return n;
    }
    return nullptr;
}

cli_pnode_s *cli_parse_node_get_executable_from_match(cli_pmatch_s *matches)
{
    if (!matches)
        return nullptr;
    while (matches->next)
        matches = matches->next;
    return cli_parse_node_get_executable(matches->node);
}
