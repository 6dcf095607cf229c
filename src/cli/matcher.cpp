// Matches a line token by token against the host's graph of parse nodes, and
// creates, links and removes nodes at run time. What a token is and which quotes
// count is left to the platform; what a command does, to the host.

#include "cli/matcher_internal.h"

#include <varno/platform.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "contract.h"

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

// The traces of a token that nobody follows cost nothing, not even a test.
#define LEVEL_DEBUG(...)                                                                           \
    do {                                                                                           \
        if constexpr (is_traced)                                                                   \
            VARNO_DEBUG(__VA_ARGS__);                                                              \
    } while (0)

constexpr bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// How well a node fits a token. Only a keyword can fit exactly.
enum class Fit { none, loose, exact };

// A prefix is enough, the empty one included. Returns the rest of the keyword; NULL
// when the token does not begin it.
inline const char *rest_of_keyword(const char *keyword, const char *token)
{
    size_t same = 0;
    while (token[same] != '\0' && token[same] == keyword[same])
        same++;
    return token[same] == '\0' ? keyword + same : nullptr;
}

template <bool is_traced>
inline Fit fit_of_keyword(const cli_pnode_s *n, const char *token)
{
    LEVEL_DEBUG("Node %s is a keyword [%s] node", name_of(n), text_or_empty(n->keyword));
    const char *rest = has_texts(n) ? rest_of_keyword(n->keyword, token) : nullptr;
    if (!rest)
        return Fit::none;
    LEVEL_DEBUG("Matched keyword");
    if (*rest != '\0')
        return Fit::loose;
    LEVEL_DEBUG("Exact match found: %s %s", token, n->keyword);
    return Fit::exact;
}

// Any token fits, and never exactly: beside a keyword, the whole keyword wins and
// an abbreviation of it is ambiguous.
template <bool is_traced>
inline Fit fit_of_string(const cli_pnode_s *n)
{
    LEVEL_DEBUG("Node %s is a string node", name_of(n));
    return has_texts(n) ? Fit::loose : Fit::none;
}

// There is no check against 32 bits. Nor is errno cleared: an ERANGE of long ago
// makes the two ends of the range look like overflows.
template <bool is_traced>
Fit fit_of_number(const cli_pnode_s *n, const char *token)
{
    LEVEL_DEBUG("Node %s is an INT32 node", name_of(n));
    if (!has_texts(n))
        return Fit::none;
    char *endp = nullptr;
    const long t = std::strtol(token, &endp, 0);
    const bool overflow = (t == LONG_MAX || t == LONG_MIN) && errno == ERANGE;
    LEVEL_DEBUG("t = %ld, endp is: %s", t, *endp ? endp : "EMPTY");
    if (*endp || overflow)
        return Fit::none;
    LEVEL_DEBUG("matched a number");
    return Fit::loose;
}

// Ends of line and sentinels are no words of a line. An unknown type is the host's
// slip; the alternatives behind it still count.
template <bool is_traced>
[[gnu::noinline]] Fit fit_of_other(const cli_pnode_s *n, const char *token)
{
    switch (n->type) {
    case PNODE_NONE:
    case PNODE_EOLS:
        LEVEL_DEBUG("Node %s is not a parsing node: skipped (type: %d)", name_of(n),
                    static_cast<int>(n->type));
        return Fit::none;
    case PNODE_STRING:
        return fit_of_string<is_traced>(n);
    case PNODE_INT32:
        return fit_of_number<is_traced>(n, token);
    default:
        LEVEL_DEBUG("Node %s has invalid type: %d", name_of(n), static_cast<int>(n->type));
        return Fit::none;
    }
}

template <bool is_traced>
inline Fit fit_of(const cli_pnode_s *n, const char *token)
{
    if (n->type == PNODE_KEYWORD) [[likely]]
        return fit_of_keyword<is_traced>(n, token);
    return fit_of_other<is_traced>(n, token);
}

// The candidates of a level so far. The first one is held until the first exact
// one takes its place.
struct Candidates {
    cli_pnode_s *held;
    int count;
    bool exact_held;
};

template <bool is_traced>
inline void add_candidate(Candidates &candidates, cli_pnode_s *n, bool exact)
{
    candidates.count++;
    if (!candidates.held) {
        LEVEL_DEBUG("first match -- exact? %s", exact ? "YES!" : "No");
    } else if (exact && !candidates.exact_held) {
        LEVEL_DEBUG("found or replaced a match");
    } else {
        LEVEL_DEBUG("Found more than one match.. Prev was %s", name_of(candidates.held));
        return;
    }
    candidates.held = n;
    candidates.exact_held = exact;
}

// An exact keyword decides between any number of candidates. An ambiguous token
// keeps its first candidate as the one held.
template <bool is_traced>
inline uint32_t result_of(const Candidates &candidates)
{
    if (candidates.count >= 2 && !candidates.exact_held)
        return PARSE_AMBIGUOUS;
    if (!candidates.held) {
        LEVEL_DEBUG("Did not find a match");
        return PARSE_NO_MATCH;
    }
    LEVEL_DEBUG("Found a match: %s", name_of(candidates.held));
    return PARSE_MATCHED;
}

// Both are set. Pointers of one process share bits; two that do not are taken for
// unset, which costs their node a closer look and nothing else.
inline bool are_set(const void *a, const void *b)
{
    return (reinterpret_cast<uintptr_t>(a) & reinterpret_cast<uintptr_t>(b)) != 0;
}

// The letters of a token that tell most keywords apart; of a single letter, the second
// is 0, and so is the third of two.
struct Letters {
    char first;
    char second;
    char third;
};

inline Letters letters_of(const char *token)
{
    const char second = token[0] == '\0' ? '\0' : token[1];
    return {token[0], second, second == '\0' ? '\0' : token[2]};
}

// The keyword may begin with the token, of which the first letter is known to agree. Most
// tokens have all three letters: for them this is two tests and no more.
template <bool has_three>
inline bool may_go_on(const char *keyword, const Letters &letters)
{
    if constexpr (has_three)
        return keyword[1] == letters.second && keyword[2] == letters.third;
    return letters.second == '\0' || keyword[1] == letters.second;
}

// Passes over `count` nodes whose letters differ, as long as each has a keyword and an
// alternative behind it. Their types are only gathered. False where it stopped before.
template <bool has_three, int count>
inline bool pass_over(cli_pnode_s *&n, const Letters &letters, uint32_t &types)
{
    if constexpr (count > 0) {
        const char *keyword = n->keyword;
        cli_pnode_s *next = n->next;
        if (!are_set(keyword, next)) [[unlikely]]
            return false;
        if (*keyword == letters.first && may_go_on<has_three>(keyword, letters)) [[unlikely]]
            return false;
        types |= n->type;
        n = next;
        return pass_over<has_three, count - 1>(n, letters, types);
    }
    return true;
}

// The first node that is neither a keyword nor a sentinel; there is one.
[[gnu::noinline]] cli_pnode_s *first_other_type(cli_pnode_s *n)
{
    while (n->type <= PNODE_KEYWORD)
        n = n->next;
    return n;
}

template <bool has_three, int at_once>
inline cli_pnode_s *skip_by_letters(cli_pnode_s *n, const Letters &letters)
{
    while (true) {
        cli_pnode_s *const passed = n;
        uint32_t types = 0;
        const bool goes_on = pass_over<has_three, at_once>(n, letters, types);
        if ((types & ~static_cast<uint32_t>(PNODE_KEYWORD)) != 0) [[unlikely]]
            return first_other_type(passed);
        if (!goes_on)
            return n;
    }
}

// Passes over keywords that do not begin as the token does, and over sentinels: nearly all
// of a large level, so this loop is what a parse costs. Any other node, and each end, is
// where it stops; it may stop before.
inline cli_pnode_s *skip_other_keywords(cli_pnode_s *n, const Letters &letters)
{
    if (letters.third != '\0') [[likely]]
        return skip_by_letters<true, 16>(n, letters);
    return letters.first == '\0' ? n : skip_by_letters<false, 4>(n, letters);
}

// Nothing behind the first exact keyword changes the result. But a number out of range
// sets errno, which a later parse will see: so the numbers of the level are still read
// unless the token can be none.
inline bool decides(Fit fit, const char *token)
{
    return fit == Fit::exact && is_letter(*token);
}

template <bool is_traced>
uint32_t match_token(cli_pnode_s *level, const char *token, cli_pnode_s **out_node)
{
    *out_node = nullptr;
    LEVEL_DEBUG("Trying to match token [%s], starting with %s", token, name_of(level));
    const Letters letters = letters_of(token);
    Candidates candidates = {nullptr, 0, false};
    for (cli_pnode_s *n = level; !is_list_end(n); n = n->next) {
        if constexpr (!is_traced) {
            n = skip_other_keywords(n, letters);
            if (is_list_end(n))
                break;
        }
        const Fit fit = fit_of<is_traced>(n, token);
        if (fit != Fit::none)
            add_candidate<is_traced>(candidates, n, fit == Fit::exact);
        if constexpr (!is_traced) {
            if (decides(fit, token))
                break;
        }
        LEVEL_DEBUG("checking next node");
    }
    *out_node = candidates.held;
    return result_of<is_traced>(candidates);
}

#undef LEVEL_DEBUG

// A line on its way through the graph.
struct Parse {
    cli_pnode_s *level;
    int32_t done;        // characters used
    cli_pmatch_s **tail; // where the next record goes
    int32_t *consumed;
};

// No result of a parse: the token was recorded and the next one is due.
constexpr uint32_t parse_goes_on = UINT32_MAX;

// *consumed stays 0 until here: an assertion on the way leaves it so, and the list
// of records whole and the caller's. It gets two numbers, so that a parse needs no memory.
uint32_t parse_ends(int32_t *consumed, int32_t done, uint32_t result)
{
    *consumed = done;
    VARNO_DEBUG("consumed %d, returning %s", *consumed, cli_strparseres(result));
    return result;
}

// Matches one token and records the match, or says why the parse ends. Takes over
// the token. Without memory for the record the tokens before it count as the line.
uint32_t parse_token(Parse &parse, char *tok, int at, int c)
{
    VARNO_DEBUG("Got token [%s], trying to match", tok);
    cli_pnode_s *node = nullptr;
    const uint32_t result = cli_parse_match_token(parse.level, tok, &node);
    if (result != PARSE_MATCHED) {
        VARNO_DEBUG("Did not match, res: %s", cli_strparseres(result));
        tracked_free(tok, "BYTE");
        return parse_ends(parse.consumed, parse.done, result);
    }
    auto *match = static_cast<cli_pmatch_s *>(tracked_malloc(sizeof(cli_pmatch_s), "cli_pmatch_s"));
    if (!match) {
        VARNO_DEBUG("Memory alloc error");
        tracked_free(tok, "BYTE");
        return parse_ends(parse.consumed, parse.done, PARSE_MATCHED);
    }
    *match = {.next = nullptr, .token = tok, .node = node, .pos = parse.done + at, .len = c};
    *parse.tail = match;
    parse.tail = &match->next;
    parse.done += c;
    parse.level = node->child; // NOLINT(clang-analyzer-core.NullDereference): it matched
    return parse_goes_on;
}

// The last token may run past len, to its own end; so the loop asks for less than
// len, and done may end above it. token_copy also passes over the white space
// behind a token, so that within the line no rest is without one.
uint32_t parse_tokens(cli_pnode_s *root, const char *line, int32_t len, int32_t *consumed,
                      cli_pmatch_s **out_match)
{
    Parse parse = {.level = root, .done = 0, .tail = out_match, .consumed = consumed};
    while (parse.done < len) {
        char *tok = nullptr;
        int at = 0;
        VARNO_DEBUG("consumed: %d of %d", parse.done, len);
        const int c = token_copy(line + parse.done, &tok, &at);
        VARNO_DEBUG("token copy returned %d", c);
        if (!tok) {
            // Behind a match this is a length beyond the line's end, or a token's
            // text without memory; both are fatal.
            VARNO_ASSERT(!*out_match);
            VARNO_DEBUG("All whitespace string?");
            *consumed = len;
            return PARSE_EMPTY;
        }
        VARNO_ASSERT(tok && c > 0 && at >= 0);
        const uint32_t result = parse_token(parse, tok, at, c);
        if (result != parse_goes_on)
            return result;
    }
    return parse_ends(parse.consumed, parse.done, PARSE_MATCHED);
}

} // namespace

uint32_t cli_parse_match_token(cli_pnode_s *level, const char *token, cli_pnode_s **out_node)
{
    if (varno::is_silent()) [[likely]]
        return match_token<false>(level, token, out_node);
    return match_token<true>(level, token, out_node);
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
// both look-ups find the first in the line, and go on from a record's next.
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

// Nodes at run time.

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

// A failure releases the record alone; the copies of name and help stay behind, by
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
