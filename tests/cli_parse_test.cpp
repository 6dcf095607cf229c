// Matching lines against static graphs, and one token against one level; the
// latter also against a plain model.

#include "cli/matcher_internal.h"
#include "support/assertion.h"
#include "support/parse_nodes.h"
#include "support/traces.h"

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// What the platform's token_copy is made to do wrong; 0: nothing.
int broken_count = 0;
int broken_offset = 0;
char *last_token = nullptr;

} // namespace

// Stands in for the platform's service, so that a test can break its contract.
extern "C" int token_copy(const char *text, char **out_token, int *out_at)
{
    static const auto platform_service =
        reinterpret_cast<decltype(&token_copy)>(dlsym(RTLD_NEXT, "token_copy"));
    const int count = platform_service(text, out_token, out_at);
    *out_at += broken_offset;
    last_token = *out_token;
    return count + broken_count;
}

// Stands in for the C library's: as newer ones do, it finds base 2 in "0b11".
extern "C" VARNO_API long long strtoll(const char *text, char **end, int base) noexcept
{
    static const auto older = reinterpret_cast<decltype(&strtoll)>(dlsym(RTLD_NEXT, "strtoll"));
    const char *sign = text + std::strspn(text, " ");
    const char *digits = sign + std::strspn(sign, "+-");
    const bool is_binary = base == 0 && digits[0] == '0' &&
                           (digits[1] == 'b' || digits[1] == 'B') &&
                           (digits[2] == '0' || digits[2] == '1');
    if (!is_binary)
        return older(text, end, base);
    const long long value = older(digits + 2, end, 2);
    return *sign == '-' ? -value : value;
}

namespace {

using varno_test::keyword_node;
using varno_test::level_of;
using varno_test::parse_node;
using varno_test::Parsed;
using Texts = std::vector<std::string>;

// show { version, interface NAME [COUNT], EOLS }, shutdown, set COUNT, 7
struct Graph {
    cli_pnode_s show = keyword_node("show");
    cli_pnode_s shutdown = keyword_node("shutdown");
    cli_pnode_s set = keyword_node("set");
    cli_pnode_s version = keyword_node("version");
    cli_pnode_s interface = keyword_node("interface");
    cli_pnode_s name = parse_node(PNODE_STRING, "name", "NAME");
    cli_pnode_s count = parse_node(PNODE_INT32, "count", "COUNT");
    cli_pnode_s end = parse_node(PNODE_EOLS, "end", "END");
    cli_pnode_s *root = level_of({&show, &shutdown, &set});

    Graph()
    {
        show.child = level_of({&version, &interface, &end});
        interface.child = &name;
        name.child = &count;
        set.child = &count;
    }
};

struct LineRow {
    const char *line;
    const char *parsed;
};

// clang-format off
constexpr LineRow line_rows[] = {
    // line                       result, consumed, records
    {"",                          "EMPTY 0"},
    {"   ",                       "EMPTY 3"},
    {" \t",                       "EMPTY 2"},
    {"show",                      "MATCHED 4 show=[show]@0+4"},
    {"sho",                       "MATCHED 3 show=[sho]@0+3"},
    {"sh",                        "AMBIGUOUS 0"},
    {"  sh",                      "AMBIGUOUS 0"},
    {"shut",                      "MATCHED 4 shutdown=[shut]@0+4"},
    {"SHOW",                      "NO_MATCH 0"},
    {"showx",                     "NO_MATCH 0"},
    {"  show  ",                  "MATCHED 8 show=[show]@2+8"},
    {"show version",              "MATCHED 12 show=[show]@0+5 version=[version]@5+7"},
    {"show  v ",                  "MATCHED 8 show=[show]@0+6 version=[v]@6+2"},
    {"show nothing",              "NO_MATCH 5 show=[show]@0+5"},
    {"show   nothing",            "NO_MATCH 7 show=[show]@0+7"},
    {"show version more",         "NO_MATCH 13 show=[show]@0+5 version=[version]@5+8"},
    {"show interface eth0",       "MATCHED 19 show=[show]@0+5 interface=[interface]@5+10 name=[eth0]@15+4"},
    {"show int \"two words\" 12", "MATCHED 23 show=[show]@0+5 interface=[int]@5+4 name=[two words]@9+12 count=[12]@21+2"},
    {"show int a\\ b",            "MATCHED 13 show=[show]@0+5 interface=[int]@5+4 name=[a b]@9+4"},
    {"show int \"\"",             "MATCHED 11 show=[show]@0+5 interface=[int]@5+4 name=[]@9+2"},
    {"\"show\"",                  "MATCHED 6 show=[show]@0+6"},
    {"\"\"",                      "AMBIGUOUS 0"},
    {"show \"",                   "BAD_QUOTES 5"},
    {"'sh\"ow",                   "BAD_QUOTES 0"},
    {"show int \"a\" 'b",         "BAD_QUOTES 13"},
    {"set 5",                     "MATCHED 5 set=[set]@0+4 count=[5]@4+1"},
    {"set x",                     "NO_MATCH 4 set=[set]@0+4"},
    {"set \"\"",                  "MATCHED 6 set=[set]@0+4 count=[]@4+2"},
};
// clang-format on

TEST(CliParse, BeginsWithNoRecords)
{
    cli_pnode_s show = keyword_node("show");
    for (const char *line : {"", "  ", "'", "set"}) {
        int32_t consumed = -1;
        auto *matches = reinterpret_cast<cli_pmatch_s *>(&show);
        cli_parse(&show, line, static_cast<int32_t>(std::strlen(line)), &consumed, &matches);
        EXPECT_EQ(matches, nullptr) << line;
    }
}

TEST(CliParse, MatchesALineTokenByToken)
{
    Graph graph;
    for (const LineRow &row : line_rows)
        EXPECT_EQ(Parsed(graph.root, row.line).text(), row.parsed) << row.line;
    EXPECT_EQ(tracked_outstanding("cli_pmatch_s"), 0u);
}

TEST(CliParse, ResultsAreTheSameWithTracesOn)
{
    const varno_test::Traces traces;
    Graph graph;
    for (const LineRow &row : line_rows)
        EXPECT_EQ(Parsed(graph.root, row.line).text(), row.parsed) << row.line;
}

TEST(CliParse, AnEmptyGraphMatchesNothing)
{
    EXPECT_EQ(Parsed(&NONE, "show").text(), "NO_MATCH 0");
    EXPECT_EQ(Parsed(&NONE, " ").text(), "EMPTY 1");
    EXPECT_EQ(Parsed(&NONE, "").text(), "EMPTY 0");
}

TEST(CliParse, LeavesItsResultsUntouchedForBadArguments)
{
    Graph graph;
    int32_t consumed = 5;
    cli_pmatch_s *matches = reinterpret_cast<cli_pmatch_s *>(&graph);
    EXPECT_EQ(cli_parse(graph.root, nullptr, 4, &consumed, &matches), PARSE_NO_MATCH);
    EXPECT_EQ(cli_parse(graph.root, "show", -1, &consumed, &matches), PARSE_NO_MATCH);
    EXPECT_EQ(cli_parse(nullptr, "show", 4, &consumed, &matches), PARSE_NO_MATCH);
    EXPECT_EQ(cli_parse(nullptr, nullptr, -1, nullptr, nullptr), PARSE_NO_MATCH);
    EXPECT_EQ(consumed, 5);
    EXPECT_EQ(matches, reinterpret_cast<cli_pmatch_s *>(&graph));
}

TEST(CliParse, ALengthWithinTheLineStillReadsTheLastTokenAndAllQuotes)
{
    Graph graph;
    EXPECT_EQ(Parsed(graph.root, "show version", 4).text(), "MATCHED 5 show=[show]@0+5");
    EXPECT_EQ(Parsed(graph.root, "show version", 6).text(),
              "MATCHED 12 show=[show]@0+5 version=[version]@5+7");
    EXPECT_EQ(Parsed(graph.root, "show version", 0).text(), "EMPTY 0");
    EXPECT_EQ(Parsed(graph.root, "show 'version", 4).text(), "BAD_QUOTES 5");
}

TEST(CliParse, ALengthBeyondTheLineIsFatalAfterAMatch)
{
    Graph graph;
    int32_t consumed = 0;
    cli_pmatch_s *matches = nullptr;
    EXPECT_ASSERTION(cli_parse(graph.root, "show", 9, &consumed, &matches), "!*out_match",
                     "cli_parse");
    ASSERT_NE(matches, nullptr); // still the caller's
    EXPECT_EQ(matches->next, nullptr);
    cli_match_free(matches);
    EXPECT_EQ(Parsed(graph.root, "  ", 9).text(), "EMPTY 9");
}

TEST(CliParse, APlatformThatCountsWrongIsFatal)
{
    Graph graph;
    int32_t consumed = 0;
    cli_pmatch_s *matches = nullptr;
    for (const auto &[count, offset] : {std::pair{-4, 0}, std::pair{-5, 0}, std::pair{0, -1}}) {
        broken_count = count;
        broken_offset = offset;
        EXPECT_ASSERTION(cli_parse(graph.root, "show", 4, &consumed, &matches),
                         "tok && c > 0 && at >= 0", "cli_parse");
        broken_count = broken_offset = 0;
        tracked_free(last_token, "BYTE");
        EXPECT_EQ(matches, nullptr);
    }
}

TEST(CliParse, AMissingLinkEndsALevel)
{
    cli_pnode_s lone = keyword_node("lone");
    lone.child = nullptr;
    lone.next = nullptr;
    EXPECT_EQ(Parsed(&lone, "lone").text(), "MATCHED 4 lone=[lone]@0+4");
    EXPECT_EQ(Parsed(&lone, "lone more").text(), "NO_MATCH 5 lone=[lone]@0+5");
    EXPECT_EQ(cli_parse_node_get_executable(&lone), nullptr);
}

// Without memory

TEST(CliParse, WithoutMemoryForAFirstTokenTheInputCountsAsEmpty)
{
    Graph graph;
    tracked_fail_after(1);
    const Parsed parsed(graph.root, " show version");
    tracked_fail_after(-1);
    EXPECT_EQ(parsed.text(), "EMPTY 13");
}

TEST(CliParse, WithoutMemoryForALaterTokenIsFatal)
{
    Graph graph;
    int32_t consumed = -1;
    cli_pmatch_s *matches = nullptr;
    tracked_fail_after(3);
    EXPECT_ASSERTION(cli_parse(graph.root, "show version", 12, &consumed, &matches), "!*out_match",
                     "cli_parse");
    tracked_fail_after(-1);
    cli_match_free(matches);
    EXPECT_EQ(consumed, 0);
    EXPECT_EQ(tracked_outstanding("cli_pmatch_s"), 0u);
}

TEST(CliParse, WithoutMemoryForARecordTheTokensBeforeItAreTheLine)
{
    Graph graph;
    const size_t before = tracked_outstanding(nullptr);
    for (const auto &[n, wanted] :
         {std::pair{2, "MATCHED 0"}, std::pair{4, "MATCHED 6 show=[show]@1+6"},
          std::pair{5, "MATCHED 13 show=[show]@1+6 version=[version]@6+7"}}) {
        tracked_fail_after(n);
        const Parsed parsed(graph.root, " show version");
        tracked_fail_after(-1);
        EXPECT_EQ(parsed.text(), wanted);
    }
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

// One level

struct LevelRow {
    const char *about;
    std::vector<cli_pnode_s> nodes;
    const char *token;
    uint32_t result;
    int held; // index in nodes; -1: none
};

std::vector<LevelRow> level_rows()
{
    const cli_pnode_s show = keyword_node("show");
    const cli_pnode_s shutdown = keyword_node("shutdown");
    const cli_pnode_s text = parse_node(PNODE_STRING, "text", "TEXT");
    const cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    const cli_pnode_s twelve = keyword_node("12");
    const cli_pnode_s eols = parse_node(PNODE_EOLS, "eols", "show");
    const cli_pnode_s none = parse_node(PNODE_NONE, "none", "show");
    const cli_pnode_s strange = parse_node(5, "strange", "show");
    const cli_pnode_s nameless = parse_node(PNODE_KEYWORD, nullptr, "show");
    const cli_pnode_s textless = parse_node(PNODE_KEYWORD, "show", nullptr);
    const cli_pnode_s no_label = parse_node(PNODE_STRING, "text", nullptr);
    const cli_pnode_s no_number = parse_node(PNODE_INT32, nullptr, nullptr);
    return {
        {"a prefix of two", {show, shutdown}, "sh", PARSE_AMBIGUOUS, 0},
        {"a prefix of one", {show, shutdown}, "shu", PARSE_MATCHED, 1},
        {"exact beside a longer one", {show, keyword_node("showing")}, "show", PARSE_MATCHED, 0},
        {"exact after a longer one", {keyword_node("showing"), show}, "show", PARSE_MATCHED, 1},
        {"exact after all others", {text, keyword_node("showing"), show}, "show", PARSE_MATCHED, 2},
        {"exact before a string", {show, text}, "show", PARSE_MATCHED, 0},
        {"exact beside a number", {number, twelve}, "12", PARSE_MATCHED, 1},
        {"two exact ones", {text, show, show}, "show", PARSE_MATCHED, 1},
        {"a prefix before a string", {show, text}, "sho", PARSE_AMBIGUOUS, 0},
        {"a prefix after a string", {text, show}, "sho", PARSE_AMBIGUOUS, 0},
        {"a string alone", {show, text}, "other", PARSE_MATCHED, 1},
        {"two strings", {text, text}, "other", PARSE_AMBIGUOUS, 0},
        {"a number beside a string", {number, text}, "5", PARSE_AMBIGUOUS, 0},
        {"no number", {number, show}, "5x", PARSE_NO_MATCH, -1},
        {"longer than the keyword", {show}, "shows", PARSE_NO_MATCH, -1},
        {"another case", {show}, "Show", PARSE_NO_MATCH, -1},
        {"the empty token and one keyword", {show}, "", PARSE_MATCHED, 0},
        {"the empty token and two keywords", {show, shutdown}, "", PARSE_AMBIGUOUS, 0},
        {"the empty token and the empty keyword", {show, keyword_node("")}, "", PARSE_MATCHED, 1},
        {"the empty token is a number", {number}, "", PARSE_MATCHED, 0},
        {"nodes that never match", {eols, none, strange}, "show", PARSE_NO_MATCH, -1},
        {"nodes that never match are passed over",
         {eols, none, strange, show},
         "show",
         PARSE_MATCHED,
         3},
        {"missing texts", {nameless, textless, no_label, no_number}, "show", PARSE_NO_MATCH, -1},
        {"missing texts, an empty token",
         {nameless, textless, no_label, no_number},
         "",
         PARSE_NO_MATCH,
         -1},
        {"no node", {}, "show", PARSE_NO_MATCH, -1},
    };
}

cli_pnode_s *chained(std::vector<cli_pnode_s> &nodes)
{
    cli_pnode_s *first = &NONE;
    for (auto node = nodes.rbegin(); node != nodes.rend(); ++node) {
        node->next = first;
        first = &*node;
    }
    return first;
}

void expect_level_rows()
{
    for (LevelRow &row : level_rows()) {
        SCOPED_TRACE(row.about);
        cli_pnode_s *found = &NONE;
        EXPECT_EQ(cli_parse_match_token(chained(row.nodes), row.token, &found), row.result);
        EXPECT_EQ(found, row.held < 0 ? nullptr : &row.nodes[static_cast<size_t>(row.held)]);
    }
}

TEST(CliLevel, ChoosesOneAlternative)
{
    expect_level_rows();
}

TEST(CliLevel, ChoosesTheSameWithTracesOn)
{
    const varno_test::Traces traces;
    expect_level_rows();
}

TEST(CliLevel, MatchesNothingWithoutALevel)
{
    cli_pnode_s *found = &NONE;
    EXPECT_EQ(cli_parse_match_token(nullptr, "show", &found), PARSE_NO_MATCH);
    EXPECT_EQ(found, nullptr);
}

// Numbers

struct NumberRow {
    const char *token;
    bool matches;
};

// clang-format off
constexpr NumberRow number_rows[] = {
    {"0",                     true},
    {"12",                    true},
    {"0x1F",                  true},
    {"0X1f",                  true},
    {"017",                   true},
    {"-5",                    true},
    {"+5",                    true},
    {"-0x10",                 true},
    {"2147483648",            true},
    {"4294967296",            true},
    {"9223372036854775807",   true},
    {"-9223372036854775808",  true},
    {" 5",                    true},
    {"",                      true},
    {"9223372036854775808",   false},
    {"-9223372036854775809",  false},
    {"99999999999999999999",  false},
    {"12abc",                 false},
    {"0b11",                  false},
    {"-0B1",                  false},
    {" 0b1",                  false},
    {"0b",                    false},
    {"0x",                    false},
    {"0x0b",                  true},
    {"09",                    false},
    {"5 ",                    false},
    {"1.5",                   false},
    {"-",                     false},
    {"abc",                   false},
};
// clang-format on

TEST(CliNumber, IsWhatStrtolTakesWhole)
{
    cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    for (const NumberRow &row : number_rows) {
        cli_pnode_s *found = nullptr;
        errno = 0;
        const uint32_t result = cli_parse_match_token(&number, row.token, &found);
        EXPECT_EQ(result == PARSE_MATCHED, row.matches) << row.token;
        EXPECT_EQ(found, row.matches ? &number : nullptr) << row.token;
    }
}

TEST(CliNumber, AnOldOverflowRefusesTheEndsOfTheRange)
{
    cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    for (const auto &[token, result] : {std::pair{"9223372036854775807", PARSE_NO_MATCH},
                                        std::pair{"-9223372036854775808", PARSE_NO_MATCH},
                                        std::pair{"9223372036854775806", PARSE_MATCHED}}) {
        cli_pnode_s *found = nullptr;
        errno = ERANGE;
        EXPECT_EQ(cli_parse_match_token(&number, token, &found), static_cast<uint32_t>(result));
    }
    errno = 0;
}

// A keyword that is the token exactly has won; that a number after it was read still
// shows in errno, with traces and without.
TEST(CliNumber, AfterAnExactKeywordIsStillRead)
{
    const char *const token = "99999999999999999999";
    std::vector<cli_pnode_s> nodes = {parse_node(PNODE_KEYWORD, "nines", token),
                                      parse_node(PNODE_INT32, "number", "NUMBER")};
    cli_pnode_s *found = nullptr;
    errno = 0;
    EXPECT_EQ(cli_parse_match_token(chained(nodes), token, &found), PARSE_MATCHED);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(found, &nodes[0]);
    errno = 0;
}

// Random levels against a plain model: exact keywords first, else the only one.

struct Wanted {
    uint32_t result;
    cli_pnode_s *held;
};

bool is_number(const std::string &token)
{
    for (const NumberRow &row : number_rows) {
        if (token == row.token)
            return row.matches;
    }
    return false;
}

bool fits(const cli_pnode_s &node, const std::string &token)
{
    if (!node.name || !node.keyword)
        return false;
    switch (node.type) {
    case PNODE_KEYWORD:
        return std::string(node.keyword).starts_with(token);
    case PNODE_STRING:
        return true;
    case PNODE_INT32:
        return is_number(token);
    default:
        return false;
    }
}

Wanted model_of(std::vector<cli_pnode_s> &nodes, const std::string &token)
{
    std::vector<cli_pnode_s *> fitting;
    for (cli_pnode_s &node : nodes) {
        if (fits(node, token))
            fitting.push_back(&node);
    }
    for (cli_pnode_s *node : fitting) {
        if (node->type == PNODE_KEYWORD && token == node->keyword)
            return {PARSE_MATCHED, node};
    }
    if (fitting.empty())
        return {PARSE_NO_MATCH, nullptr};
    return {fitting.size() == 1 ? PARSE_MATCHED : PARSE_AMBIGUOUS, fitting[0]};
}

constexpr unsigned seed = 20240301;

constexpr const char *random_texts[] = {"",    "s",   "sh",   "show", "shut",  "shutdown", "shows",
                                        "set", "12",  "0x1F", "5 ",   "12abc", "-5",       "9",
                                        "a b", "abc", "-",    "017",  nullptr};

const char *random_text(std::mt19937 &random, size_t nulls)
{
    return random_texts[random() % (std::size(random_texts) - 1 + nulls)];
}

std::vector<cli_pnode_s> random_level(std::mt19937 &random)
{
    std::vector<cli_pnode_s> nodes;
    const size_t most = random() % 4 ? 6 : 60;
    const unsigned odd = random() % 2 ? 2 : 40; // one node of so many is of any type
    for (size_t count = random() % most; count > 0; count--) {
        const auto type =
            random() % odd ? uint32_t{PNODE_KEYWORD} : static_cast<uint32_t>(random() % 7);
        nodes.push_back(parse_node(type, random() % 9 ? "name" : nullptr, random_text(random, 1)));
    }
    return nodes;
}

TEST(CliRandomLevels, AgreeWithTheModel)
{
    std::mt19937 random(seed);
    int counts[5] = {};
    for (int i = 0; i < 50000; i++) {
        std::vector<cli_pnode_s> nodes = random_level(random);
        cli_pnode_s *level = chained(nodes);
        const char *token = random_text(random, 0);
        if (std::strcmp(token, "9") == 0)
            continue; // a number that the table does not list
        const Wanted wanted = model_of(nodes, token);
        cli_pnode_s *found = nullptr;
        errno = 0;
        ASSERT_EQ(cli_parse_match_token(level, token, &found), wanted.result)
            << "seed " << seed << " round " << i << " token [" << token << "]";
        ASSERT_EQ(found, wanted.held) << "seed " << seed << " round " << i;
        counts[wanted.result]++;
    }
    std::printf("seed %u: %d matched, %d ambiguous, %d without match\n", seed,
                counts[PARSE_MATCHED], counts[PARSE_AMBIGUOUS], counts[PARSE_NO_MATCH]);
}

// A random graph of three levels and a line of random tokens: the walk level by
// level must find what the parse finds.
TEST(CliRandomGraphs, AgreeWithTheModelLevelByLevel)
{
    std::mt19937 random(seed + 1);
    for (int i = 0; i < 20000; i++) {
        std::vector<cli_pnode_s> levels[3];
        cli_pnode_s *below = &NONE;
        for (size_t depth = 3; depth-- > 0;) {
            levels[depth] = random_level(random);
            for (cli_pnode_s &node : levels[depth])
                node.child = below;
            below = chained(levels[depth]);
        }
        std::string line;
        std::string wanted;
        uint32_t result = PARSE_MATCHED;
        const size_t words = 1 + random() % 4;
        for (size_t word = 0; word < words; word++) {
            const char *token = random_text(random, 0);
            token = std::strcmp(token, "9") == 0 ? "x" : token;
            const std::string spelled = "'" + std::string(token) + "' ";
            std::vector<cli_pnode_s> nothing;
            const Wanted step = model_of(word < 3 ? levels[word] : nothing, token);
            if (result == PARSE_MATCHED && step.result == PARSE_MATCHED)
                wanted += " name=[" + std::string(token) + "]@" + std::to_string(line.size()) +
                          "+" + std::to_string(spelled.size());
            else if (result == PARSE_MATCHED) {
                result = step.result;
                wanted = " " + std::to_string(line.size()) + wanted;
            }
            line += spelled;
        }
        if (result == PARSE_MATCHED)
            wanted = " " + std::to_string(line.size()) + wanted;
        errno = 0;
        const char *const names[] = {"", "NO_MATCH", "AMBIGUOUS", "MATCHED"};
        ASSERT_EQ(Parsed(below, line.c_str()).text(), names[result] + wanted)
            << "seed " << seed + 1 << " round " << i << " line " << line;
    }
}

// Traces

TEST(CliTraces, TellHowALineWasMatched)
{
    varno_test::Traces traces;
    Graph graph;
    const Parsed parsed(graph.root, "sho x");
    const Texts wanted = {
        "(debug): checking quotes",
        "(debug): consumed: 0 of 5",
        "(debug): token copy returned 4",
        "(debug): Got token [sho], trying to match",
        "(debug): Trying to match token [sho], starting with show",
        "(debug): Node show is a keyword [show] node",
        "(debug): Matched keyword",
        "(debug): first match -- exact? No",
        "(debug): checking next node",
        "(debug): Node shutdown is a keyword [shutdown] node",
        "(debug): checking next node",
        "(debug): Node set is a keyword [set] node",
        "(debug): checking next node",
        "(debug): Found a match: show",
        "(debug): consumed: 4 of 5",
        "(debug): token copy returned 1",
        "(debug): Got token [x], trying to match",
        "(debug): Trying to match token [x], starting with version",
        "(debug): Node version is a keyword [version] node",
        "(debug): checking next node",
        "(debug): Node interface is a keyword [interface] node",
        "(debug): checking next node",
        "(debug): Node end is not a parsing node: skipped (type: 2)",
        "(debug): checking next node",
        "(debug): Did not find a match",
        "(debug): Did not match, res: No match found",
        "(debug): consumed 4, returning No match found",
    };
    EXPECT_EQ(traces.take(), wanted);
}

TEST(CliTraces, TellTheEndOfAMatchedLine)
{
    varno_test::Traces traces;
    cli_pnode_s text = parse_node(PNODE_STRING, "text", "TEXT");
    const Parsed parsed(&text, "a");
    const Texts wanted = {
        "(debug): checking quotes",
        "(debug): consumed: 0 of 1",
        "(debug): token copy returned 1",
        "(debug): Got token [a], trying to match",
        "(debug): Trying to match token [a], starting with text",
        "(debug): Node text is a string node",
        "(debug): first match -- exact? No",
        "(debug): checking next node",
        "(debug): Found a match: text",
        "(debug): consumed 1, returning Input was matched",
    };
    EXPECT_EQ(traces.take(), wanted);
}

TEST(CliTraces, TellBadQuotesWhiteSpaceAndAMissingRoot)
{
    varno_test::Traces traces;
    Graph graph;
    const Parsed quotes(graph.root, "'");
    EXPECT_EQ(traces.take(), (Texts{"(debug): checking quotes", "(debug): mismatched quotes"}));
    const Parsed blank(graph.root, "  ");
    EXPECT_EQ(traces.take(),
              (Texts{"(debug): checking quotes", "(debug): consumed: 0 of 2",
                     "(debug): token copy returned 2", "(debug): All whitespace string?"}));
    const Parsed rootless(nullptr, "show");
    EXPECT_EQ(traces.take(), Texts{"(debug): root is NULL"});
    const Parsed empty(graph.root, "");
    EXPECT_EQ(traces.take(), Texts{});
}

TEST(CliTraces, TellAMissingRecord)
{
    varno_test::Traces traces;
    cli_pnode_s text = parse_node(PNODE_STRING, "text", "TEXT");
    tracked_fail_after(2);
    const Parsed parsed(&text, "a");
    tracked_fail_after(-1);
    const Texts got = traces.take();
    ASSERT_GE(got.size(), 2u);
    EXPECT_EQ(got[got.size() - 2], "(debug): Memory alloc error");
    EXPECT_EQ(got[got.size() - 1], "(debug): consumed 0, returning Input was matched");
}

struct LevelTraceRow {
    const char *about;
    std::vector<cli_pnode_s> nodes;
    const char *token;
    Texts traces;
};

std::vector<LevelTraceRow> level_trace_rows()
{
    const cli_pnode_s show = keyword_node("show");
    const cli_pnode_s showing = keyword_node("showing");
    const cli_pnode_s text = parse_node(PNODE_STRING, "text", "TEXT");
    const cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    const cli_pnode_s strange = parse_node(77, "strange", "show");
    const cli_pnode_s none = parse_node(PNODE_NONE, "none", "show");
    const cli_pnode_s unknown = parse_node(9, nullptr, nullptr);
    const cli_pnode_s no_texts[] = {
        parse_node(PNODE_KEYWORD, nullptr, nullptr), parse_node(PNODE_STRING, nullptr, nullptr),
        parse_node(PNODE_INT32, nullptr, nullptr), parse_node(PNODE_EOLS, nullptr, nullptr)};
    return {
        {"an exact keyword takes over, and is held",
         {showing, show, show},
         "show",
         {"Trying to match token [show], starting with showing",
          "Node showing is a keyword [showing] node", "Matched keyword", "first match -- exact? No",
          "checking next node", "Node show is a keyword [show] node", "Matched keyword",
          "Exact match found: show show", "found or replaced a match", "checking next node",
          "Node show is a keyword [show] node", "Matched keyword", "Exact match found: show show",
          "Found more than one match.. Prev was show", "checking next node",
          "Found a match: show"}},
        {"an exact first match",
         {show},
         "show",
         {"Trying to match token [show], starting with show", "Node show is a keyword [show] node",
          "Matched keyword", "Exact match found: show show", "first match -- exact? YES!",
          "checking next node", "Found a match: show"}},
        {"an ambiguous token ends without a word",
         {text, number},
         "5",
         {"Trying to match token [5], starting with text", "Node text is a string node",
          "first match -- exact? No", "checking next node", "Node number is an INT32 node",
          "t = 5, endp is: EMPTY", "matched a number", "Found more than one match.. Prev was text",
          "checking next node"}},
        {"no number",
         {number},
         "-12abc",
         {"Trying to match token [-12abc], starting with number", "Node number is an INT32 node",
          "t = -12, endp is: abc", "checking next node", "Did not find a match"}},
        {"an overflow",
         {number},
         "9223372036854775808",
         {"Trying to match token [9223372036854775808], starting with number",
          "Node number is an INT32 node", "t = 9223372036854775807, endp is: EMPTY",
          "checking next node", "Did not find a match"}},
        {"types that are no words",
         {strange, none},
         "show",
         {"Trying to match token [show], starting with strange",
          "Node strange has invalid type: 77", "checking next node",
          "Node none is not a parsing node: skipped (type: 0)", "checking next node",
          "Did not find a match"}},
        {"missing texts are printed as empty ones",
         {unknown, no_texts[0], no_texts[1], no_texts[2], no_texts[3]},
         "a",
         {"Trying to match token [a], starting with ", "Node  has invalid type: 9",
          "checking next node", "Node  is a keyword [] node", "checking next node",
          "Node  is a string node", "checking next node", "Node  is an INT32 node",
          "checking next node", "Node  is not a parsing node: skipped (type: 2)",
          "checking next node", "Did not find a match"}},
        {"no node",
         {},
         "a",
         {"Trying to match token [a], starting with NONE", "Did not find a match"}},
    };
}

TEST(CliTraces, TellHowALevelWasSearched)
{
    varno_test::Traces traces;
    for (LevelTraceRow &row : level_trace_rows()) {
        SCOPED_TRACE(row.about);
        for (std::string &text : row.traces)
            text = "(debug): " + text;
        cli_pnode_s *found = nullptr;
        cli_parse_match_token(chained(row.nodes), row.token, &found);
        EXPECT_EQ(traces.take(), row.traces);
    }
    errno = 0;
}

// Queries

TEST(CliResults, HaveTheseTexts)
{
    EXPECT_STREQ(cli_strparseres(PARSE_EMPTY), "Input was empty");
    EXPECT_STREQ(cli_strparseres(PARSE_NO_MATCH), "No match found");
    EXPECT_STREQ(cli_strparseres(PARSE_AMBIGUOUS), "Input was ambiguous");
    EXPECT_STREQ(cli_strparseres(PARSE_MATCHED), "Input was matched");
    EXPECT_STREQ(cli_strparseres(PARSE_BAD_QUOTES), "Input contains mismatched quotes");
    EXPECT_STREQ(cli_strparseres(5), "Unknown/Invalid parser result");
    EXPECT_STREQ(cli_strparseres(UINT32_MAX), "Unknown/Invalid parser result");
    EXPECT_EQ(PARSE_EMPTY, 0);
    EXPECT_EQ(PARSE_BAD_QUOTES, 4);
    EXPECT_EQ(PNODE_NONE, 0);
    EXPECT_EQ(PNODE_KEYWORD, 1);
    EXPECT_EQ(PNODE_EOLS, 2);
    EXPECT_EQ(PNODE_STRING, 3);
    EXPECT_EQ(PNODE_INT32, 4);
}

TEST(CliSentinel, IsNamedNoneAndLeadsNowhere)
{
    EXPECT_STREQ(NONE.name, "NONE");
    EXPECT_STREQ(NONE.keyword, "NONE");
    EXPECT_STREQ(NONE.help, "NONE");
    EXPECT_EQ(NONE.type, static_cast<uint32_t>(PNODE_NONE));
    EXPECT_EQ(NONE.child, nullptr);
    EXPECT_EQ(NONE.next, nullptr);
    EXPECT_STREQ(NONE.aux_text, "abcdefghijklmnopabcdefghijk");
    EXPECT_EQ(NONE.aux_int, 1);
    EXPECT_EQ(NONE.func, nullptr);
    EXPECT_EQ(NONE.attr, 0u);
    EXPECT_EQ(NONE.link_count, 0);
    EXPECT_EQ(NONE.own_name, nullptr);
    EXPECT_EQ(NONE.own_keyword, nullptr);
    EXPECT_EQ(NONE.own_help, nullptr);
}

TEST(CliMatches, AreFoundByNameAndByNode)
{
    Graph graph;
    graph.name.child = &graph.interface; // interface a interface b
    const Parsed parsed(graph.root, "show interface a interface b");
    ASSERT_EQ(parsed.result, static_cast<uint32_t>(PARSE_MATCHED));
    cli_pmatch_s *second = parsed.matches->next;
    EXPECT_EQ(cli_match_by_name(parsed.matches, "show"), parsed.matches);
    EXPECT_EQ(cli_match_by_name(parsed.matches, "interface"), second);
    EXPECT_EQ(cli_match_by_name(second->next, "interface"), second->next->next);
    EXPECT_EQ(cli_match_by_name(parsed.matches, "inter"), nullptr);
    EXPECT_EQ(cli_match_by_name(parsed.matches, "set"), nullptr);
    EXPECT_EQ(cli_match_by_node(parsed.matches, &graph.interface), second);
    EXPECT_EQ(cli_match_by_node(parsed.matches, &graph.set), nullptr);
}

TEST(CliMatches, AreNotFoundWithoutANameOrAList)
{
    varno_test::Traces traces;
    Graph graph;
    const Parsed parsed(graph.root, "show");
    traces.take();
    EXPECT_EQ(cli_match_by_name(nullptr, "show"), nullptr);
    EXPECT_EQ(cli_match_by_name(parsed.matches, nullptr), nullptr);
    const Texts wanted(2, "(debug): name or match m is NULL");
    EXPECT_EQ(traces.take(), wanted);
    EXPECT_ASSERTION(cli_match_by_node(nullptr, &graph.show), "p && m", "cli_parse");
    EXPECT_ASSERTION(cli_match_by_node(parsed.matches, nullptr), "p && m", "cli_parse");
}

TEST(CliMatches, OfANodeThatLostItsNameAreNotReadThrough)
{
    Graph graph;
    const Parsed parsed(graph.root, "show version");
    graph.show.name = nullptr;
    EXPECT_EQ(cli_match_by_name(parsed.matches, "version"), parsed.matches->next);
    EXPECT_EQ(cli_match_by_name(parsed.matches, "show"), nullptr);
    graph.show.name = "show";
}

TEST(CliMatches, MayBeReleasedWhenThereAreNone)
{
    cli_match_free(nullptr);
}

TEST(CliExecutable, IsTheFirstEndOfLineAmongTheChildren)
{
    Graph graph;
    EXPECT_EQ(cli_parse_node_get_executable(&graph.show), &graph.end);
    EXPECT_EQ(cli_parse_node_get_executable(&graph.version), nullptr);
    EXPECT_EQ(cli_parse_node_get_executable(&graph.interface), nullptr);
    EXPECT_EQ(cli_parse_node_get_executable(&NONE), nullptr);
}

TEST(CliExecutable, OfAMatchIsThatOfItsLastNode)
{
    Graph graph;
    EXPECT_EQ(cli_parse_node_get_executable_from_match(Parsed(graph.root, "show").matches),
              &graph.end);
    EXPECT_EQ(cli_parse_node_get_executable_from_match(Parsed(graph.root, "show version").matches),
              nullptr);
    EXPECT_EQ(cli_parse_node_get_executable_from_match(nullptr), nullptr);
}

} // namespace
