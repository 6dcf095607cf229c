// A filter for help, completion and parsing: a small device by tables, then random
// graphs, filters and lines against a plain model of what a word may be.

#include "support/memory.h"
#include "support/parse_nodes.h"

#include <varno/cli_assist.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::fail_each_allocation;
using varno_test::keyword_node;
using varno_test::level_of;
using varno_test::parse_node;

int32_t length_of(const std::string &text)
{
    return static_cast<int32_t>(text.size());
}

// What a filter knows about a node. Strings and numbers without a rule take any word.
struct Rule {
    std::vector<std::string> values; // whole values; others only begin
    int first = 0, last = 0;         // a range of decimal numbers, unless both are 0
    bool is_hidden = false;
    bool is_once = false;    // a keyword that may be given once
    bool is_refused = false; // where it may not be, it is nothing else either
    std::string why;
};

struct Rules {
    std::map<const cli_pnode_s *, Rule> of;
    int asked = 0;
    bool leaves = false; // by an exception, at the first question about a later word

    cli_assist_filter_s filter(uint32_t attr = 0)
    {
        return {sizeof(cli_assist_filter_s), this, fit, values, attr, 0, 0};
    }

    static bool begins(const std::string &text, const std::string &word)
    {
        return text.compare(0, word.size(), word) == 0;
    }

    static int32_t fit_of_values(const Rule &rule, const std::string &word)
    {
        int32_t best = CLI_ASSIST_FIT_NO;
        for (const std::string &value : rule.values) {
            if (value == word)
                return CLI_ASSIST_FIT_VALUE;
            if (begins(value, word))
                best = CLI_ASSIST_FIT_BEGINS;
        }
        return best;
    }

    static int32_t fit_of_range(const Rule &rule, const std::string &word)
    {
        int32_t best = CLI_ASSIST_FIT_NO;
        for (int number = rule.first; number <= rule.last; number++) {
            if (std::to_string(number) == word)
                return CLI_ASSIST_FIT_TYPED;
            if (begins(std::to_string(number), word))
                best = CLI_ASSIST_FIT_BEGINS;
        }
        return best;
    }

    static bool is_given(const cli_pmatch_s *before, const cli_pnode_s *node)
    {
        while (before && before->node != node)
            before = before->next;
        return before != nullptr;
    }

    int32_t fit_of(const cli_pnode_s *node, const std::string &word, const cli_pmatch_s *before,
                   std::string &why) const
    {
        const auto found = of.find(node);
        if (found == of.end())
            return CLI_ASSIST_FIT_TAKES;
        const Rule &rule = found->second;
        why = rule.why;
        const int32_t no = rule.is_refused ? CLI_ASSIST_FIT_REFUSED : CLI_ASSIST_FIT_NO;
        if (rule.is_hidden)
            return no;
        if (rule.is_once && is_given(before, node)) {
            why = "given already";
            return no;
        }
        if (!rule.values.empty())
            return fit_of_values(rule, word);
        return rule.last != 0 ? fit_of_range(rule, word) : CLI_ASSIST_FIT_TAKES;
    }

    static int32_t fit(void *user, const cli_pnode_s *node, const char *word,
                       const cli_pmatch_s *before, const char **why)
    {
        auto &rules = *static_cast<Rules *>(user);
        EXPECT_EQ(*why, nullptr);
        rules.asked++;
        if (rules.leaves && before)
            throw std::runtime_error("left");
        static std::string text;
        const int32_t fit = rules.fit_of(node, word, before, text);
        *why = text.empty() ? nullptr : text.c_str();
        return fit;
    }

    static void values(void *user, const cli_pnode_s *node, const char *begun, const cli_pmatch_s *,
                       cli_assist_value_fn value, void *ctx)
    {
        const auto &rules = *static_cast<Rules *>(user);
        const auto found = rules.of.find(node);
        EXPECT_NE(begun, nullptr);
        if (found == rules.of.end())
            return;
        for (const std::string &text : found->second.values)
            value(ctx, text.c_str(), nullptr);
    }
};

// "brief | NAME | br-lan"
struct Listing {
    std::string text;
    std::vector<std::string> texts;

    static void add(void *user, const cli_pnode_s *, const char *text, const char *help)
    {
        EXPECT_NE(help, nullptr);
        auto &listing = *static_cast<Listing *>(user);
        listing.text += (listing.text.empty() ? "" : " | ") + std::string(text);
        listing.texts.emplace_back(text);
    }
};

// A graph's root and its filter, asked as a host does.
struct Language {
    const cli_pnode_s *root;
    const cli_assist_filter_s *filter;

    Listing help(const std::string &line) const
    {
        Listing listing;
        const int count =
            cli_assist_help(root, filter, line.c_str(), length_of(line), Listing::add, &listing);
        EXPECT_EQ(count, static_cast<int>(listing.texts.size())) << line;
        return listing;
    }

    cli_assist_completion_s complete(const std::string &line) const
    {
        cli_assist_completion_s made;
        const int result = cli_assist_complete(root, filter, line.c_str(), length_of(line), &made);
        EXPECT_EQ(result, made.choices > 0 ? 0 : -1) << line;
        return made;
    }

    // "runs show NAME", or "unknown word 5+3", with the filter's reason.
    std::string parse(const std::string &line) const
    {
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        const cli_pnode_s *end = cli_assist_parse(root, filter, line.c_str(), &matches, &error);
        std::string text = "runs";
        for (const cli_pmatch_s *m = matches; m; m = m->next)
            text += std::string(" ") + m->node->name;
        cli_match_free(matches);
        if (end)
            return text;
        text = cli_assist_strreason(error.reason) + std::string(" ") + std::to_string(error.at) +
               "+" + std::to_string(error.len);
        return *error.why ? text + " (" + error.why + ")" : text;
    }

    std::string candidates(const std::string &line) const
    {
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        cli_assist_parse(root, filter, line.c_str(), &matches, &error);
        cli_match_free(matches);
        Listing listing;
        cli_assist_candidates(root, filter, line.c_str(), &error, INT32_MAX, Listing::add,
                              &listing);
        return listing.text;
    }
};

// show [brief|NAME(interface)]; vlan VLAN(1-4094) [name TEXT]; reload (hidden);
// ping HOST {count COUNT(1-1000)|quiet}; set COUNT (a number for cli_parse); exit
struct Device {
    cli_pnode_s show = keyword_node("show");
    cli_pnode_s brief = keyword_node("brief");
    cli_pnode_s interface = parse_node(PNODE_STRING, "interface", "NAME");
    cli_pnode_s vlan = keyword_node("vlan");
    cli_pnode_s vlan_number = parse_node(PNODE_STRING, "number", "VLAN");
    cli_pnode_s name = keyword_node("name");
    cli_pnode_s text = parse_node(PNODE_STRING, "text", "TEXT");
    cli_pnode_s reload = keyword_node("reload");
    cli_pnode_s ping = keyword_node("ping");
    cli_pnode_s host = parse_node(PNODE_STRING, "host", "HOST");
    cli_pnode_s count = keyword_node("count");
    cli_pnode_s count_number = parse_node(PNODE_STRING, "count-number", "COUNT");
    cli_pnode_s quiet = keyword_node("quiet");
    cli_pnode_s set = keyword_node("set");
    cli_pnode_s set_number = parse_node(PNODE_INT32, "set-number", "COUNT");
    cli_pnode_s set_text = parse_node(PNODE_STRING, "set-text", "TEXT");
    cli_pnode_s end = parse_node(PNODE_EOLS, "end", "end");
    cli_pnode_s vlan_end = parse_node(PNODE_EOLS, "vlan-end", "end");
    cli_pnode_s ping_end = parse_node(PNODE_EOLS, "ping-end", "end");
    cli_pnode_s *root = level_of({&show, &vlan, &reload, &ping, &set});
    Rules rules;
    cli_assist_filter_s filter = rules.filter();

    Device()
    {
        show.child = level_of({&brief, &interface});
        brief.child = interface.child = text.child = reload.child = set_number.child = &end;
        set_text.child = &end;
        vlan.child = &vlan_number;
        vlan_number.child = level_of({&name, &vlan_end});
        name.child = &text;
        ping.child = &host;
        host.child = quiet.child = count_number.child = level_of({&count, &quiet, &ping_end});
        count.child = &count_number;
        set.child = level_of({&set_number, &set_text});
        rules.of[&interface] = {
            {"eth0", "eth1", "br-lan", "brief"}, 0, 0, false, false, false, "NAME: an interface"};
        rules.of[&vlan_number] = {{}, 1, 4094, false, false, false, "VLAN: 1 to 4094"};
        rules.of[&count_number] = {{}, 1, 1000, false, false, false, "COUNT: 1 to 1000"};
        rules.of[&reload].is_hidden = true;
        rules.of[&count].is_once = rules.of[&quiet].is_once = true;
    }

    Language language() const { return {root, &filter}; }
};

struct Row {
    const char *line;
    const char *expected;
};

TEST(CliAssistFilter, NarrowsWhatALineMayBe)
{
    // clang-format off
    constexpr Row rows[] = {
        {"show eth0",                "runs show interface"},
        {"show \"eth0\"",            "runs show interface"},
        {"show brief",               "runs show brief"},
        {"show bri",                 "ambiguous word 5+3"},
        {"show br",                  "ambiguous word 5+2"},
        {"show br-lan",              "runs show interface"},
        {"show eth",                 "unknown word 5+3 (NAME: an interface)"},
        {"show none",                "unknown word 5+4 (NAME: an interface)"},
        {"show \"\"",                "ambiguous word 5+2"},
        {"vlan 1",                   "runs vlan number"},
        {"vlan 4094 name blue",      "runs vlan number name text"},
        {"vlan 4095",                "unknown word 5+4 (VLAN: 1 to 4094)"},
        {"vlan 5000 name blue",      "unknown word 5+4 (VLAN: 1 to 4094)"},
        {"vlan 010",                 "unknown word 5+3 (VLAN: 1 to 4094)"},
        {"vlan \"\"",                "unknown word 5+2 (VLAN: 1 to 4094)"},
        {"reload",                   "unknown word 0+6"},
        {"rel",                      "unknown word 0+3"},
        {"ping h",                   "runs ping host"},
        {"ping h count 9 quiet",     "runs ping host count count-number quiet"},
        {"ping h q c 9",             "runs ping host quiet count count-number"},
        {"ping h count 9 count 8",   "unknown word 15+5 (given already)"},
        {"ping h quiet q",           "unknown word 13+1 (given already)"},
        {"ping h quiet \"\"",        "empty word 13+2"},
        {"set five",                 "runs set set-text"},
        {"set 5",                    "ambiguous word 4+1"},
        {"vlan",                     "incomplete command 4+0"},
        {"vlan '",                   "unmatched quote 5+1"},
    };
    // clang-format on
    const Device device;
    for (const Row &row : rows)
        EXPECT_EQ(device.language().parse(row.line), row.expected) << row.line;
}

TEST(CliAssistFilter, NarrowsWhatHelpLists)
{
    // clang-format off
    constexpr Row rows[] = {
        {"",                 "show | vlan | ping | set"},
        {"re",               ""},
        {"show ",            "brief | NAME | eth0 | eth1 | br-lan | brief"},
        {"show e",           "NAME | eth0 | eth1"},
        {"show \"e\"",       "NAME | eth0 | eth1"},
        {"show x",           ""},
        {"show none ",       ""},
        {"vlan 40",          "VLAN"},
        {"vlan 409",         "VLAN"},
        {"vlan 4095",        ""},
        {"ping h ",          "count | quiet | <cr>"},
        {"ping h q ",        "count | <cr>"},
        {"ping h q c 1 ",    "<cr>"},
    };
    // clang-format on
    const Device device;
    for (const Row &row : rows)
        EXPECT_EQ(device.language().help(row.line).text, row.expected) << row.line;
}

TEST(CliAssistFilter, NarrowsWhatTabCompletes)
{
    // clang-format off
    constexpr Row rows[] = {
        // line              inserted|choices
        {"s",                "|2"},
        {"r",                "|0"},
        {"p",                "ing |1"},
        {"show e",           "th|2"},
        {"show eth1",        " |1"},
        {"show br-",         "lan |1"},
        {"show br",          "|3"},
        {"ping h q c",       "ount |1"},
        {"ping h c 1 c",     "|0"},
        {"vlan 40",          "|0"},
    };
    // clang-format on
    const Device device;
    for (const Row &row : rows) {
        const cli_assist_completion_s made = device.language().complete(row.line);
        EXPECT_EQ(made.insert + std::string("|") + std::to_string(made.choices), row.expected)
            << row.line;
    }
}

TEST(CliAssistFilter, NarrowsTheCandidates)
{
    // clang-format off
    constexpr Row rows[] = {
        {"nothing",              "show | vlan | ping | set"},
        {"show br",              "brief | NAME | br-lan | brief"},
        {"show none",            "brief | NAME | eth0 | eth1 | br-lan | brief"},
        {"vlan 5000",            "VLAN"},
        {"ping h quiet q",       "count | <cr>"},
        {"vlan",                 "VLAN"},
    };
    // clang-format on
    const Device device;
    for (const Row &row : rows)
        EXPECT_EQ(device.language().candidates(row.line), row.expected) << row.line;
}

TEST(CliAssistFilter, TakesTheEndOfACommandAway)
{
    Device device;
    device.rules.of[&device.end] = {{}, 0, 0, true, false, false, "not now"};
    EXPECT_EQ(device.language().parse("show eth0"), "incomplete command 9+0 (not now)");
    EXPECT_EQ(device.language().help("show eth0 ").text, "");
}

// Beside one another: a range and any word, a value and any word.
TEST(CliAssistFilter, RanksWhatTakesAWord)
{
    cli_pnode_s range = parse_node(PNODE_STRING, "range", "NUMBER");
    cli_pnode_s value = parse_node(PNODE_STRING, "value", "VALUE");
    cli_pnode_s any = parse_node(PNODE_STRING, "any", "WORD");
    cli_pnode_s keyword = keyword_node("7up");
    cli_pnode_s end = parse_node(PNODE_EOLS, "end", "end");
    range.child = value.child = any.child = keyword.child = &end;
    Rules rules;
    rules.of[&range] = {{}, 1, 99, false, false, false, "1 to 99"};
    rules.of[&value] = {{"77", "7", "red"}, 0, 0, false, false, false, "a colour"};
    const cli_assist_filter_s filter = rules.filter();
    const Language language = {level_of({&any, &range, &value}), &filter};
    EXPECT_EQ(language.parse("77"), "runs value");
    EXPECT_EQ(language.parse("78"), "runs range");
    EXPECT_EQ(language.parse("r"), "runs any");
    EXPECT_EQ(language.parse("red"), "runs value");
    EXPECT_EQ(language.parse("\"\""), "runs any");
    const Language with_keyword = {level_of({&any, &range, &value, &keyword}), &filter};
    EXPECT_EQ(with_keyword.parse("7"), "runs value");
    EXPECT_EQ(with_keyword.parse("7u"), "ambiguous word 0+2");
    EXPECT_EQ(with_keyword.candidates("7u"), "WORD | 7up");
    EXPECT_EQ(with_keyword.parse("7up"), "runs 7up");
    const Language without_any = {level_of({&range, &value}), &filter};
    EXPECT_EQ(without_any.parse("r"), "unknown word 0+1"); // two reasons are none
}

// Beside a free word, a value and a longer keyword: an option that was given is none of them.
TEST(CliAssistFilter, AWholeKeywordThatIsRefusedIsNothingElse)
{
    cli_pnode_s set = keyword_node("set");
    cli_pnode_s on = keyword_node("on");
    cli_pnode_s once = keyword_node("once");
    cli_pnode_s value = parse_node(PNODE_STRING, "value", "VALUE");
    cli_pnode_s range = parse_node(PNODE_STRING, "range", "NUMBER");
    cli_pnode_s any = parse_node(PNODE_STRING, "any", "WORD");
    cli_pnode_s end = parse_node(PNODE_EOLS, "end", "end");
    Rules rules;
    rules.of[&on] = {{}, 0, 0, false, true, true, ""};
    rules.of[&value] = {{"on", "one"}, 0, 0, false, false, false, ""};
    rules.of[&range] = {{}, 1, 9, false, false, false, "NUMBER: 1 to 9"};
    const cli_assist_filter_s filter = rules.filter();
    cli_pnode_s *level = level_of({&range, &value, &on, &once, &any});
    set.child = on.child = level;
    value.child = range.child = any.child = once.child = &end;
    const Language language = {&set, &filter};
    EXPECT_EQ(language.parse("set one"), "runs set value");
    EXPECT_EQ(language.parse("set on one"), "runs set on value");
    EXPECT_EQ(language.parse("set on on"), "unknown word 7+2 (given already)");
    EXPECT_EQ(language.candidates("set on on"), "NUMBER | VALUE | one | once | WORD");
    EXPECT_EQ(language.help("set on on").text, "VALUE | one | once | WORD");
    EXPECT_EQ(language.complete("set on on").insert, std::string("")); // one, once
    rules.of[&on].is_refused = false;
    EXPECT_EQ(language.parse("set on on"), "runs set on value");
    EXPECT_EQ(language.help("set on on").text, "VALUE | on | one | once | WORD");
}

struct Rest {
    const char *line;
    int32_t reason;
    int32_t at;        // of the error
    const char *token; // of the rest
};

// clang-format off
constexpr Rest rests[] = {
    {"say hello",            CLI_ASSIST_OK,         0, "hello"},
    {"say  it's \"one\\ \t",   CLI_ASSIST_OK,         0, "it's \"one\\"},
    {"say \"a b\" c | d",    CLI_ASSIST_OK,         0, "\"a b\" c | d"},
    {"say '",                CLI_ASSIST_OK,         0, "'"},
    {"say",                  CLI_ASSIST_INCOMPLETE, 3, nullptr},
    {"sa'y it",              CLI_ASSIST_QUOTES,     2, nullptr},
    {"tell it's",            CLI_ASSIST_QUOTES,     7, nullptr},
    {"say nobody",           CLI_ASSIST_OK,         0, nullptr},
    {"say nobody 'else",     CLI_ASSIST_QUOTES,     11, nullptr},
};
// clang-format on

TEST(CliAssistFilter, AStringTakesTheRestOfALineAsItIsTyped)
{
    cli_pnode_s say = keyword_node("say");
    cli_pnode_s tell = keyword_node("tell");
    cli_pnode_s nobody = keyword_node("nobody");
    cli_pnode_s text = parse_node(PNODE_STRING, "TEXT", "TEXT");
    cli_pnode_s word = parse_node(PNODE_STRING, "WORD", "WORD");
    cli_pnode_s end = parse_node(PNODE_EOLS, "end", "");
    say.child = &nobody;
    nobody.next = &text;
    tell.child = &word;
    nobody.child = text.child = word.child = &end;
    nobody.next->attr = 2;
    say.next = &tell;
    Rules rules;
    cli_assist_filter_s filter = rules.filter();
    filter.rest = 2;
    for (const Rest &rest : rests) {
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        const cli_pnode_s *found = cli_assist_parse(&say, &filter, rest.line, &matches, &error);
        EXPECT_EQ(error.reason, rest.reason) << rest.line;
        EXPECT_EQ(error.at, rest.at) << rest.line;
        const cli_pmatch_s *last = matches ? cli_match_by_node(matches, &text) : nullptr;
        EXPECT_EQ(last != nullptr, rest.token != nullptr) << rest.line;
        if (last && rest.token) {
            EXPECT_EQ(found, &end);
            EXPECT_STREQ(last->token, rest.token);
            EXPECT_EQ(last->pos + last->len, length_of(rest.line));
        }
        cli_match_free(matches);
    }
}

TEST(CliAssistFilter, AsksOnlyAboutLevelsThatAreMarked)
{
    Device device;
    cli_assist_filter_s filter = device.rules.filter(2);
    const Language language = {device.root, &filter};
    EXPECT_EQ(language.parse("reload"), "runs reload");
    EXPECT_EQ(device.rules.asked, 0);
    device.vlan_number.attr = 6;
    EXPECT_EQ(language.parse("vlan 5000"), "unknown word 5+4 (VLAN: 1 to 4094)");
    EXPECT_EQ(device.rules.asked, 1);
    EXPECT_EQ(language.parse("show nothing"), "runs show interface");
    EXPECT_EQ(device.rules.asked, 1);
}

TEST(CliAssistFilter, WithoutItsFunctionLeavesNothing)
{
    Device device;
    device.filter.fit = nullptr;
    EXPECT_EQ(device.language().parse("show brief"), "unknown word 0+4");
    EXPECT_EQ(device.language().help("").text, "");
    device.filter = device.rules.filter(2);
    device.filter.size--;
    EXPECT_EQ(device.language().parse("show brief"), "unknown word 0+4");
    device.filter = device.rules.filter();
    device.filter.values = nullptr;
    EXPECT_EQ(device.language().help("show e").text, "NAME");
}

TEST(CliAssistFilter, MayLeaveByAnException)
{
    Device device;
    device.rules.leaves = true;
    const size_t before = tracked_outstanding(nullptr);
    const Language language = device.language();
    EXPECT_THROW(language.help("show e"), std::runtime_error);
    EXPECT_THROW(language.complete("show e"), std::runtime_error);
    EXPECT_EQ(tracked_outstanding(nullptr), before);
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    EXPECT_THROW(cli_assist_parse(device.root, &device.filter, "show eth0", &matches, &error),
                 std::runtime_error);
    cli_match_free(matches);
    error = {CLI_ASSIST_UNKNOWN, 5, 1, ""};
    EXPECT_THROW(cli_assist_candidates(device.root, &device.filter, "show x", &error, 9,
                                       Listing::add, nullptr),
                 std::runtime_error);
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

TEST(CliAssistFilter, WithoutMemoryRunsNothing)
{
    const Device device;
    const int failures = fail_each_allocation([&](const auto &fail_from_here) {
        fail_from_here();
        const std::string text = device.language().parse("ping h count 9");
        EXPECT_TRUE(text.rfind("out of memory", 0) == 0 ||
                    text == "runs ping host count count-number")
            << text;
        return text.rfind("runs", 0) == 0;
    });
    EXPECT_EQ(failures, 12);
}

TEST(CliAssistFilter, CutsAReasonThatIsTooLong)
{
    Device device;
    device.rules.of[&device.vlan_number].why = std::string(500, 'y');
    const std::string text = device.language().parse("vlan x");
    EXPECT_EQ(text, "unknown word 5+1 (" + std::string(CLI_ASSIST_MAX_WHY, 'y') + ")");
}

// Random graphs, filters and lines.

using Random = std::mt19937;

size_t below(Random &random, size_t bound)
{
    return random() % bound;
}

constexpr const char *words[] = {"a",  "ab", "abc", "b",   "ba", "1",   "12",
                                 "13", "2",  "20",  "x y", "c",  "cab", "caba"};

struct RandomLanguage {
    std::vector<cli_pnode_s> nodes;
    std::vector<std::vector<cli_pnode_s *>> levels;
    Rules rules;
    cli_assist_filter_s filter = rules.filter();

    explicit RandomLanguage(Random &random)
    {
        constexpr size_t level_count = 5;
        constexpr size_t most = 7;
        nodes.reserve(level_count * most);
        for (size_t i = 0; i < level_count; i++) {
            levels.emplace_back();
            const size_t count = 1 + below(random, most);
            for (size_t k = 0; k < count; k++)
                levels.back().push_back(add_node(random));
        }
        for (auto &level : levels) {
            for (size_t i = 0; i < level.size(); i++)
                level[i]->next = i + 1 < level.size() ? level[i + 1] : &NONE;
        }
        for (cli_pnode_s &node : nodes)
            node.child = levels[below(random, level_count)][0];
    }

    Language language() const { return {levels[0][0], &filter}; }

  private:
    cli_pnode_s *add_node(Random &random)
    {
        static constexpr uint32_t types[] = {PNODE_KEYWORD, PNODE_KEYWORD, PNODE_KEYWORD,
                                             PNODE_KEYWORD, PNODE_STRING,  PNODE_STRING,
                                             PNODE_INT32,   PNODE_EOLS};
        const char *word = words[below(random, std::size(words))];
        nodes.push_back(parse_node(types[below(random, std::size(types))], word, word));
        cli_pnode_s *node = &nodes.back();
        if (below(random, 4) == 0)
            return node;
        Rule &rule = rules.of[node];
        rule.is_hidden = below(random, 6) == 0;
        rule.is_once = below(random, 2) == 0;
        rule.is_refused = below(random, 2) == 0;
        if (below(random, 3) == 0)
            rule.why = below(random, 2) == 0 ? "this" : "that";
        const bool is_value = node->type == PNODE_STRING || node->type == PNODE_INT32;
        if (is_value && below(random, 3) == 0)
            rule.last = 14, rule.first = 11;
        for (size_t count = below(random, 4); is_value && rule.last == 0 && count > 0; count--)
            rule.values.emplace_back(words[below(random, std::size(words))]);
        return node;
    }
};

bool is_number(const std::string &word)
{
    return word.empty() || word.find_first_not_of("0123456789") == word.npos;
}

// What a word may be of a level, in the words of the manual.
struct Model {
    std::vector<const cli_pnode_s *> exact, abbreviated, whole, typed, free, begun, all;
    bool is_refused = false;

    Model(const RandomLanguage &in, const cli_pnode_s *level, const std::string &word,
          const cli_pmatch_s *before)
    {
        for (const cli_pnode_s *n = level; n != &NONE; n = n->next) {
            std::string why;
            const int32_t fit = in.rules.fit_of(n, word, before, why);
            const bool can_be = n->type == PNODE_KEYWORD ? Rules::begins(n->keyword, word)
                                : n->type == PNODE_INT32 ? is_number(word)
                                                         : n->type == PNODE_STRING;
            is_refused |=
                fit == CLI_ASSIST_FIT_REFUSED && n->type == PNODE_KEYWORD && n->keyword == word;
            if (!can_be || fit <= CLI_ASSIST_FIT_NO)
                continue;
            all.push_back(n);
            if (n->type == PNODE_KEYWORD)
                (n->keyword == word ? exact : abbreviated).push_back(n);
            else if (fit == CLI_ASSIST_FIT_VALUE)
                whole.push_back(n);
            else if (fit == CLI_ASSIST_FIT_TYPED)
                typed.push_back(n);
            else
                (fit == CLI_ASSIST_FIT_TAKES ? free : begun).push_back(n);
        }
    }

    // All that the word may be; it is accepted when that is one.
    std::vector<const cli_pnode_s *> chosen() const
    {
        if (!exact.empty())
            return {exact[0]};
        if (is_refused)
            return {};
        if (!whole.empty())
            return whole;
        const auto &takers = !typed.empty() ? typed : free;
        std::vector<const cli_pnode_s *> left = abbreviated;
        left.insert(left.end(), takers.begin(), takers.end());
        if (!left.empty() && takers.empty())
            left.insert(left.end(), begun.begin(), begun.end());
        return left;
    }
};

std::string quoted(const std::string &word)
{
    return word.find(' ') == word.npos && !word.empty() ? word : "\"" + word + "\"";
}

struct Tally {
    int accepted = 0, unknown = 0, ambiguous = 0, ends = 0, refused_ends = 0;
    int values = 0, blanks = 0, narrowed = 0, refused = 0;
};

// A walk along random words: at each the model says what becomes of it.
class RandomWalk {
  public:
    RandomWalk(Random &random, Tally &tally) : in_(random), random_(random), tally_(tally) {}

    void run()
    {
        for (int step = 0; step < 6 && !HasFailure(); step++) {
            const std::string word = random_word();
            check_help(word.substr(0, below(random_, word.size() + 1)));
            if (!pass(word))
                return;
        }
    }

  private:
    static bool HasFailure() { return ::testing::Test::HasFailure(); }

    std::string random_word()
    {
        const std::string word = words[below(random_, std::size(words))];
        return word.substr(0,
                           below(random_, 4) == 0 ? below(random_, word.size() + 1) : word.size());
    }

    bool pass(const std::string &word)
    {
        SCOPED_TRACE(line_ + quoted(word));
        const Model model(in_, level_, word, given());
        const auto chosen = model.chosen();
        const std::string line = line_ + quoted(word);
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        const Language language = in_.language();
        const cli_pnode_s *end =
            cli_assist_parse(language.root, language.filter, line.c_str(), &matches, &error);
        const bool is_empty_refused =
            chosen.size() == 1 && word.empty() && chosen[0]->type != PNODE_STRING;
        if (chosen.size() != 1 || is_empty_refused) {
            cli_match_free(matches);
            const int32_t reason = is_empty_refused ? CLI_ASSIST_EMPTY_WORD
                                   : chosen.empty() ? CLI_ASSIST_UNKNOWN
                                                    : CLI_ASSIST_AMBIGUOUS;
            EXPECT_EQ(error.reason, reason);
            EXPECT_EQ(error.at, length_of(line_));
            (chosen.empty() ? tally_.unknown : tally_.ambiguous)++;
            tally_.refused += model.is_refused;
            return false;
        }
        tally_.accepted++;
        return check_end(line, chosen[0], end, matches, error);
    }

    bool check_end(const std::string &line, const cli_pnode_s *node, const cli_pnode_s *end,
                   cli_pmatch_s *matches, const cli_assist_error_s &error)
    {
        level_ = node->child;
        cli_pmatch_s given = {nullptr, nullptr, const_cast<cli_pnode_s *>(node), 0, 0};
        given_.push_back(given);
        for (size_t i = 0; i + 1 < given_.size(); i++)
            given_[i].next = &given_[i + 1];
        const cli_pnode_s *wanted = nullptr;
        for (const cli_pnode_s *n = level_; !wanted && n != &NONE; n = n->next) {
            std::string why;
            const bool is_left = in_.rules.fit_of(n, "", given_.data(), why) > CLI_ASSIST_FIT_NO;
            if (n->type == PNODE_EOLS && is_left)
                wanted = n;
            tally_.refused_ends += n->type == PNODE_EOLS && !is_left;
        }
        EXPECT_EQ(end, wanted);
        EXPECT_EQ(error.reason, wanted ? CLI_ASSIST_OK : CLI_ASSIST_INCOMPLETE);
        tally_.ends += wanted != nullptr;
        size_t count = 0;
        for (const cli_pmatch_s *m = matches; m; m = m->next, count++)
            EXPECT_EQ(m->node, given_[count].node);
        EXPECT_EQ(count, end ? given_.size() : 0);
        cli_match_free(matches);
        line_ = line + " ";
        return true;
    }

    // What help lists, completion completes to, and a parse does not refuse.
    void check_help(const std::string &begun)
    {
        if (begun.find(' ') != begun.npos)
            return;
        SCOPED_TRACE(line_ + begun + "?");
        const Language language = in_.language();
        const Listing listing = language.help(line_ + begun);
        std::multiset<std::string> wanted;
        bool has_end = false;
        for (const cli_pnode_s *n = level_; n != &NONE; n = n->next)
            add_choices(n, begun, wanted, has_end);
        EXPECT_EQ(std::multiset<std::string>(listing.texts.begin(), listing.texts.end()), wanted);
        check_completion(language, begun);
    }

    const cli_pmatch_s *given() const { return given_.empty() ? nullptr : given_.data(); }

    void add_choices(const cli_pnode_s *n, const std::string &begun,
                     std::multiset<std::string> &wanted, bool &has_end) const
    {
        std::string why;
        if (in_.rules.fit_of(n, begun, given(), why) <= CLI_ASSIST_FIT_NO)
            return;
        if (n->type == PNODE_EOLS && begun.empty() && !given_.empty() && !has_end) {
            has_end = true;
            wanted.insert("<cr>");
        }
        if (n->type == PNODE_KEYWORD && Rules::begins(n->keyword, begun))
            wanted.insert(n->keyword);
        const bool can_be_number = is_number(begun);
        if (n->type != PNODE_STRING && (n->type != PNODE_INT32 || !can_be_number))
            return;
        wanted.insert(n->keyword);
        const auto rule = in_.rules.of.find(n);
        for (const std::string &value :
             rule == in_.rules.of.end() ? std::vector<std::string>() : rule->second.values) {
            if (Rules::begins(value, begun) && !Model(in_, level_, value, given()).is_refused) {
                wanted.insert(value);
                tally_.values++;
            }
        }
    }

    void check_completion(const Language &language, const std::string &begun)
    {
        const cli_assist_completion_s made = language.complete(line_ + begun);
        if (made.choices == 0)
            return;
        const std::string longer = line_ + begun + made.insert;
        EXPECT_GE(language.help(line_ + begun).texts.size(), static_cast<size_t>(made.choices));
        tally_.narrowed += made.choices > 1 && made.insert_len > 0;
        const bool is_finished = made.insert_len > 0 && made.insert[made.insert_len - 1] == ' ' &&
                                 (made.insert_len < 2 || made.insert[made.insert_len - 2] != '\\');
        if (!is_finished)
            return;
        tally_.blanks++;
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        cli_assist_parse(language.root, language.filter, longer.c_str(), &matches, &error);
        cli_match_free(matches);
        EXPECT_TRUE(error.reason == CLI_ASSIST_OK || error.reason == CLI_ASSIST_INCOMPLETE)
            << longer << cli_assist_strreason(error.reason);
    }

    RandomLanguage in_;
    Random &random_;
    Tally &tally_;
    const cli_pnode_s *level_ = in_.levels[0][0];
    std::vector<cli_pmatch_s> given_;
    std::string line_;
};

TEST(CliAssistFilter, AgreesWithTheModelOnRandomGraphsAndLines)
{
    Tally tally;
    for (unsigned seed = 0; seed < 4000 && !HasFailure(); seed++) {
        SCOPED_TRACE(seed);
        Random random(seed);
        RandomWalk(random, tally).run();
    }
    for (const int count :
         {tally.accepted, tally.unknown, tally.ambiguous, tally.ends, tally.refused_ends,
          tally.values, tally.blanks, tally.narrowed, tally.refused})
        EXPECT_GT(count, 50);
}

} // namespace
