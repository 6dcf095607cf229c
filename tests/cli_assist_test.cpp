// Help, completion and errors by tables on small graphs; then their agreement with
// cli_parse on random graphs and lines, against a plain model of words.

#include "support/long_tests.h"
#include "support/memory.h"
#include "support/parse_nodes.h"

#include <varno/cli_assist.h>
#include <varno/platform.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::fail_each_allocation;
using varno_test::keyword_node;
using varno_test::level_of;
using varno_test::parse_node;
using varno_test::Parsed;

int32_t length_of(std::string_view text)
{
    return static_cast<int32_t>(text.size());
}

// What a listing gave: "show: Shows things | NAME: | <cr>:".
struct Listing {
    std::string text;
    std::vector<const cli_pnode_s *> nodes;

    static void add(void *user, const cli_pnode_s *node, const char *text, const char *help)
    {
        auto &listing = *static_cast<Listing *>(user);
        listing.text += (listing.nodes.empty() ? "" : " | ") + std::string(text);
        if (*help)
            listing.text += ": " + std::string(help);
        listing.nodes.push_back(node);
    }
};

// The line goes in a block of its own that ends with it, so that a sanitizer sees
// any look past its end.
Listing help_on(cli_pnode_s *root, std::string_view line)
{
    const std::vector<char> block(line.begin(), line.end());
    const char *text = block.empty() ? "" : block.data();
    Listing listing;
    const int count = cli_assist_help(root, nullptr, text, length_of(line), Listing::add, &listing);
    EXPECT_EQ(count, static_cast<int>(listing.nodes.size())) << line;
    EXPECT_EQ(cli_assist_help(root, nullptr, text, length_of(line), nullptr, nullptr), count);
    return listing;
}

struct Completed {
    int result;
    cli_assist_completion_s record;

    std::string inserted() const { return record.insert; }

    // "ow |1": what is inserted, | and the choices; "text" or "-" for nothing.
    std::string text() const
    {
        if (result != 0)
            return record.is_text ? "text" : "-";
        return inserted() + "|" + std::to_string(record.choices);
    }
};

Completed completed(cli_pnode_s *root, std::string_view line)
{
    const std::vector<char> block(line.begin(), line.end());
    Completed done;
    std::memset(&done.record, 0x55, sizeof(done.record));
    done.result = cli_assist_complete(root, nullptr, block.empty() ? "" : block.data(),
                                      length_of(line), &done.record);
    EXPECT_EQ(done.record.insert_len, length_of(done.inserted())) << line;
    return done;
}

// A line parsed: the node to run, or the error.
struct Assisted {
    cli_pmatch_s *matches = reinterpret_cast<cli_pmatch_s *>(1);
    cli_assist_error_s error = {77, 77, 77, "unset"};
    const cli_pnode_s *end;

    Assisted(cli_pnode_s *root, const char *line)
        : end(cli_assist_parse(root, nullptr, line, &matches, &error))
    {}
    ~Assisted() { cli_match_free(matches); }
    Assisted(const Assisted &) = delete;
    Assisted &operator=(const Assisted &) = delete;

    // "runs end", or "unknown word 5+3".
    std::string text() const
    {
        if (end)
            return std::string("runs ") + end->name;
        return cli_assist_strreason(error.reason) + std::string(" ") + std::to_string(error.at) +
               "+" + std::to_string(error.len);
    }
};

std::string candidates_of(cli_pnode_s *root, const char *line)
{
    const Assisted assisted(root, line);
    Listing listing;
    const int count = cli_assist_candidates(root, nullptr, line, &assisted.error, INT32_MAX,
                                            Listing::add, &listing);
    EXPECT_EQ(count, static_cast<int>(listing.nodes.size())) << line;
    return listing.text;
}

cli_pnode_s end_node(const char *name)
{
    return parse_node(PNODE_EOLS, name, nullptr);
}

// show { version, interface { all, NAME [COUNT] } }, showall, shutdown, set COUNT,
// clear { counters, cores }; most may end.
struct Graph {
    cli_pnode_s show = keyword_node("show");
    cli_pnode_s showall = keyword_node("showall");
    cli_pnode_s shutdown = keyword_node("shutdown");
    cli_pnode_s set = keyword_node("set");
    cli_pnode_s clear = keyword_node("clear");
    cli_pnode_s version = keyword_node("version");
    cli_pnode_s interface = keyword_node("interface");
    cli_pnode_s all = keyword_node("all");
    cli_pnode_s name = parse_node(PNODE_STRING, "name", "NAME");
    cli_pnode_s count = parse_node(PNODE_INT32, "count", "COUNT");
    cli_pnode_s counters = keyword_node("counters");
    cli_pnode_s cores = keyword_node("cores");
    cli_pnode_s root_end = end_node("root-end");
    cli_pnode_s show_end = end_node("show-end");
    cli_pnode_s second_end = end_node("second-end");
    cli_pnode_s end = end_node("end");
    cli_pnode_s name_end = end_node("name-end");
    cli_pnode_s *root = level_of({&root_end, &show, &showall, &shutdown, &set, &clear});

    Graph()
    {
        show.help = "Shows things";
        version.help = "The version";
        show.child = level_of({&version, &show_end, &interface, &second_end});
        version.child = showall.child = shutdown.child = all.child = level_of({&end});
        interface.child = level_of({&all, &name});
        name.child = level_of({&count, &name_end});
        count.child = set.child = level_of({&count, &name_end});
        clear.child = level_of({&counters, &cores});
        counters.child = cores.child = level_of({&end});
    }
};

struct Row {
    const char *line;
    const char *expected;
};

TEST(CliAssistHelp, ListsWhatTheWordCanBecome)
{
    // clang-format off
    constexpr Row rows[] = {
        {"",                      "show: Shows things | showall | shutdown | set | clear"},
        {"  \t",                  "show: Shows things | showall | shutdown | set | clear"},
        {"s",                     "show: Shows things | showall | shutdown | set"},
        {" sh",                   "show: Shows things | showall | shutdown"},
        {"show",                  "show: Shows things | showall"},
        {"showall",               "showall"},
        {"showalls",              ""},
        {"S",                     ""},
        {"show ",                 "version: The version | <cr> | interface"},
        {"show  v",               "version: The version"},
        {"show version",          "version: The version"},
        {"show version ",         "<cr>"},
        {"show version x",        ""},
        {"show version x ",       ""},
        {"show int ",             "all | NAME"},
        {"show int a",            "all | NAME"},
        {"show int b",            "NAME"},
        {"show int b ",           "COUNT | <cr>"},
        {"show int al ",          ""}, // beside a string
        {"sh ",                   ""}, // ambiguous
        {"set ",                  "COUNT | <cr>"},
        {"set 1",                 "COUNT"},
        {"set -",                 "COUNT"},
        {"set +0x",               "COUNT"},
        {"set 0xg",               ""},
        {"set 08",                ""},
        {"set 9223372036854775807", "COUNT"},
        {"set 9223372036854775808", ""},
        {"set 1 x ",              ""},
        {"clear ",                "counters | cores"},
        {"\"sh\"",                "show: Shows things | showall | shutdown"},
        {"s\\h",                  "show: Shows things | showall | shutdown"},
        {"clear \"\"",            "counters | cores"},
        {"clear \"\" ",           ""},
        {"set \"\" ",             ""}, // an empty word for a number
        {"show int \"\" ",        ""}, // all and NAME both take it
        {"show int 'a b' ",       "COUNT | <cr>"},
        {"\"sh",                  ""}, // text
        {"show int 'a",           ""},
        {"show int a\\",          ""},
    };
    // clang-format on
    Graph graph;
    for (const Row &row : rows)
        EXPECT_EQ(help_on(graph.root, row.line).text, row.expected) << "[" << row.line << "]";
}

TEST(CliAssistHelp, ListsOnlyTheEndOfLineThatWouldRun)
{
    Graph graph;
    const Listing listing = help_on(graph.root, "show ");
    ASSERT_EQ(listing.nodes.size(), 3u);
    EXPECT_EQ(listing.nodes[1], &graph.show_end);
}

TEST(CliAssistHelp, ListsNothingForMissingArguments)
{
    Graph graph;
    EXPECT_EQ(cli_assist_help(nullptr, nullptr, "s", 1, nullptr, nullptr), 0);
    EXPECT_EQ(cli_assist_help(graph.root, nullptr, nullptr, 1, nullptr, nullptr), 0);
    EXPECT_EQ(cli_assist_help(graph.root, nullptr, "s", -1, nullptr, nullptr), 0);
    EXPECT_EQ(cli_assist_help(&NONE, nullptr, "s", 1, nullptr, nullptr), 0);
}

TEST(CliAssistHelp, EndsTheLineAtItsLengthOrATerminator)
{
    Graph graph;
    EXPECT_EQ(cli_assist_help(graph.root, nullptr, "shutdown \"x", 2, nullptr, nullptr), 3);
    EXPECT_EQ(cli_assist_help(graph.root, nullptr, "sh\0wall", 7, nullptr, nullptr), 3);
}

TEST(CliAssistHelp, KeepsNothingWhenTheCallbackLeavesByAnException)
{
    Graph graph;
    const size_t before = tracked_outstanding(nullptr);
    const auto leave = [](void *, const cli_pnode_s *, const char *, const char *) {
        throw std::runtime_error("left");
    };
    EXPECT_THROW(cli_assist_help(graph.root, nullptr, "show int a", 10, leave, nullptr),
                 std::runtime_error);
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

TEST(CliAssistComplete, GoesAsFarAsTheKeywordsAgree)
{
    // clang-format off
    constexpr Row rows[] = {
        {"",             "|5"},
        {"c",            "lear |1"},
        {"clear",        " |1"},
        {"sho",          "w|2"},
        {"show",         "|2"},
        {"showa",        "ll |1"},
        {"sh",           "|3"},
        {"se",           "t |1"},
        {"x",            "-"},
        {"show ",        "|2"},
        {"show v",       "ersion |1"},
        {"show version ", "-"},
        {"clear ",       "co|2"},
        {"  clear  c",   "o|2"},
        {"clear co",     "|2"},
        {"clear cou",    "nters |1"},
        {"clear x",      "-"},
        {"set ",         "-"},
        {"set 1",        "-"},
        {"x c",          "-"},
        {"\"c\"",        "-"},
        {"c\\l",         "-"},
        {"\"\"",         "-"},
        {"show int a",   "ll|1"},  // NAME takes it too: no blank
        {"show int all", "|1"},
        {"show int ",    "all|1"},
        {"\"c",          "text"},
        {"'",            "text"},
        {"c\\",          "text"},
    };
    // clang-format on
    Graph graph;
    for (const Row &row : rows)
        EXPECT_EQ(completed(graph.root, row.line).text(), row.expected) << "[" << row.line << "]";
}

TEST(CliAssistComplete, ClearsTheRecordWhenThereIsNothingToComplete)
{
    Graph graph;
    const cli_assist_completion_s zero = {};
    for (const char *line : {"x", "set 1", "show version ", "\"c\""}) {
        const Completed done = completed(graph.root, line);
        EXPECT_EQ(std::memcmp(&done.record, &zero, sizeof(zero)), 0) << line;
    }
    cli_assist_completion_s record;
    std::memset(&record, 0x55, sizeof(record));
    EXPECT_EQ(cli_assist_complete(nullptr, nullptr, "c", 1, &record), -1);
    EXPECT_EQ(std::memcmp(&record, &zero, sizeof(zero)), 0);
    std::memset(&record, 0x55, sizeof(record));
    EXPECT_EQ(cli_assist_complete(graph.root, nullptr, nullptr, 1, &record), -1);
    EXPECT_EQ(std::memcmp(&record, &zero, sizeof(zero)), 0);
    EXPECT_EQ(cli_assist_complete(graph.root, nullptr, "c", -1, &record), -1);
}

TEST(CliAssistComplete, GivesABlankUnlessANumberMayGoOn)
{
    cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    cli_pnode_s ten = keyword_node("10");
    cli_pnode_s hexadecimal = keyword_node("0x");
    cli_pnode_s slow = keyword_node("2g");
    cli_pnode_s *root = level_of({&number, &ten, &hexadecimal, &slow});
    EXPECT_EQ(completed(root, "1").text(), "0|1");
    EXPECT_EQ(completed(root, "0").text(), "x|1");
    EXPECT_EQ(completed(root, "2").text(), "g |1");
}

TEST(CliAssistComplete, GivesABlankBesideNodesThatMatchNothing)
{
    cli_pnode_s keyword = keyword_node("10");
    cli_pnode_s nameless = parse_node(PNODE_STRING, nullptr, "LABEL");
    cli_pnode_s unlabelled = parse_node(PNODE_INT32, "number", nullptr);
    cli_pnode_s unknown = parse_node(9, "unknown", "10");
    cli_pnode_s *root = level_of({&nameless, &unlabelled, &unknown, &keyword});
    EXPECT_EQ(completed(root, "1").text(), "0 |1");
    EXPECT_EQ(help_on(root, "").text, "10");
}

TEST(CliAssistComplete, EscapesWhatWouldNotStandForItself)
{
    cli_pnode_s keyword = keyword_node("a b\"c\\d'e\tf");
    EXPECT_EQ(completed(&keyword, "a").text(), "\\ b\\\"c\\\\d\\'e\\\tf |1");
    EXPECT_EQ(completed(&keyword, "").text(), "a\\ b\\\"c\\\\d\\'e\\\tf |1");
}

TEST(CliAssistComplete, GoesOnWhereTheRecordWasFull)
{
    const std::string text(600, 'k');
    cli_pnode_s keyword = keyword_node(text.c_str());
    std::string line = "k";
    for (const size_t expected : {size_t{255}, size_t{255}, size_t{90}}) {
        const Completed done = completed(&keyword, line);
        EXPECT_EQ(done.inserted().size(), expected);
        EXPECT_EQ(done.record.choices, 1);
        line += done.inserted();
    }
    EXPECT_EQ(line, text + " ");

    // Exactly full: the blank is left for the next time.
    EXPECT_EQ(completed(&keyword, std::string(345, 'k')).inserted(), std::string(255, 'k'));
    EXPECT_EQ(completed(&keyword, text).text(), " |1");

    // A backslash is not parted from its character.
    const std::string blanks(200, ' ');
    cli_pnode_s odd = keyword_node(blanks.c_str());
    EXPECT_EQ(completed(&odd, "").inserted().size(), 254u);
}

TEST(CliAssistQuotes, TellsWhetherAKeyIsText)
{
    struct QuoteRow {
        const char *line;
        bool is_text;
    };
    // clang-format off
    constexpr QuoteRow rows[] = {
        {"",            false},
        {"show",        false},
        {"\"",          true},
        {"'",           true},
        {"\"a b\"",     false},
        {"\"a' b",      true},
        {"\"a'\"",      false},
        {"a\\",         true},
        {"\\",          true},
        {"a\\\\",       false},
        {"a\\\\\\",     true},
        {"a\\\"",       false},
        {"\"a\\\"",     true},
        {"'a\\'",       false},
        {"'a\\",        true},
        {"\"a\\",       true},
        {"a\"b'c\"d'e", true},
    };
    // clang-format on
    for (const QuoteRow &row : rows) {
        const std::vector<char> block(row.line, row.line + std::strlen(row.line));
        EXPECT_EQ(cli_assist_in_quotes(block.empty() ? "" : block.data(), length_of(row.line)) != 0,
                  row.is_text)
            << row.line;
    }
    EXPECT_EQ(cli_assist_in_quotes(nullptr, 3), 0);
    EXPECT_EQ(cli_assist_in_quotes("\"", -1), 0);
    EXPECT_EQ(cli_assist_in_quotes("a\"", 1), 0);
}

TEST(CliAssistParse, RunsWholeLinesAndSaysWhatIsWrongWithOthers)
{
    // clang-format off
    constexpr Row rows[] = {
        {"show",                 "runs show-end"},
        {"show version",         "runs end"},
        {" show  int eth0 5 6 ", "runs name-end"},
        {"show int all",         "runs end"},
        {"set 0x1F",             "runs name-end"},
        {"set",                  "runs name-end"},
        {"",                     "empty line 0+0"},
        {"  \t",                 "empty line 0+0"},
        {"x",                    "unknown word 0+1"},
        {"  foo bar",            "unknown word 2+3"},
        {"show  foo bar",        "unknown word 6+3"},
        {"show version more",    "unknown word 13+4"},
        {"set 1 12abc",          "unknown word 6+5"},
        {"sh",                   "ambiguous word 0+2"},
        {"  sh x",               "ambiguous word 2+2"},
        {"show int  al",         "ambiguous word 10+2"},
        {"show interface",       "incomplete command 14+0"},
        {"clear  ",              "incomplete command 5+0"},
        {"show \"x",             "unmatched quote 5+1"},
        {"foo bar'",             "unmatched quote 7+1"},
        {"set \"\"",             "empty word 4+2"},
        {"set 1  '' x",          "empty word 7+2"},
        {"\"\"",                 "ambiguous word 0+2"},
        {"clear cou\\",          "unknown word 6+4"},
    };
    // clang-format on
    Graph graph;
    for (const Row &row : rows) {
        const Assisted assisted(graph.root, row.line);
        EXPECT_EQ(assisted.text(), row.expected) << "[" << row.line << "]";
        EXPECT_EQ(assisted.matches != nullptr, assisted.end != nullptr);
    }
}

TEST(CliAssistParse, RefusesTheEmptyWordOnlyWhereItWouldSelectSomething)
{
    cli_pnode_s string = parse_node(PNODE_STRING, "string", "STRING");
    cli_pnode_s keyword = keyword_node("reload");
    cli_pnode_s end = end_node("end");
    string.child = keyword.child = &end;
    EXPECT_EQ(Assisted(&string, "''").text(), "runs end");
    EXPECT_EQ(Assisted(&keyword, "\"\"").text(), "empty word 0+2");
    EXPECT_EQ(Assisted(&keyword, "r\"\"").text(), "runs end");
    EXPECT_EQ(help_on(&keyword, "\"\" ").text, "");
    EXPECT_EQ(help_on(&string, "\"\" ").text, "<cr>");
}

TEST(CliAssistParse, ClearsTheErrorOfALineThatRuns)
{
    Graph graph;
    const Assisted assisted(graph.root, "show");
    EXPECT_EQ(assisted.error.reason, CLI_ASSIST_OK);
    EXPECT_EQ(assisted.error.at, 0);
    EXPECT_EQ(assisted.error.len, 0);
    EXPECT_STREQ(assisted.error.why, "");
}

TEST(CliAssistParse, TakesMissingArguments)
{
    Graph graph;
    EXPECT_EQ(Assisted(graph.root, nullptr).text(), "empty line 0+0");
    EXPECT_EQ(Assisted(nullptr, " show x").text(), "unknown word 1+4");
    EXPECT_EQ(candidates_of(nullptr, " show x"), "");
}

TEST(CliAssistParse, JudgesNumbersWhateverErrnoWasAndLeavesIt)
{
    Graph graph;
    errno = ERANGE;
    EXPECT_EQ(Assisted(graph.root, "set 9223372036854775807").text(), "runs name-end");
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(help_on(graph.root, "set -9223372036854775808").text, "COUNT");
    EXPECT_EQ(errno, ERANGE);
    errno = 0;
    EXPECT_EQ(Assisted(graph.root, "set 9223372036854775808").text(), "unknown word 4+19");
    EXPECT_EQ(errno, 0);
}

TEST(CliAssistParse, FollowsANullLinkAsAnEmptyLevel)
{
    cli_pnode_s keyword = keyword_node("show");
    keyword.child = nullptr;
    keyword.next = nullptr;
    EXPECT_EQ(Assisted(&keyword, "show").text(), "incomplete command 4+0");
    EXPECT_EQ(Assisted(&keyword, "show x").text(), "unknown word 5+1");
    EXPECT_EQ(help_on(&keyword, "show ").text, "");
    EXPECT_EQ(completed(&keyword, "show ").text(), "-");
}

TEST(CliAssistReason, HasATextForEach)
{
    // clang-format off
    constexpr const char *texts[] = {
        "no error", "empty line", "unknown word", "ambiguous word", "incomplete command",
        "unmatched quote", "empty word", "out of memory", "line too long",
    };
    // clang-format on
    for (size_t i = 0; i < std::size(texts); i++)
        EXPECT_STREQ(cli_assist_strreason(static_cast<int32_t>(i)), texts[i]);
    EXPECT_STREQ(cli_assist_strreason(-1), "unknown reason");
    EXPECT_STREQ(cli_assist_strreason(static_cast<int32_t>(std::size(texts))), "unknown reason");
}

TEST(CliAssistCandidates, AreWhatMayStandInPlaceOfTheWord)
{
    // clang-format off
    constexpr Row rows[] = {
        {"foo",             "show: Shows things | showall | shutdown | set | clear"},
        {"  ",              "show: Shows things | showall | shutdown | set | clear"},
        {" sh x",           "show: Shows things | showall | shutdown"},
        {"show foo",        "version: The version | <cr> | interface"},
        {"show version x",  "<cr>"},
        {"show int al",     "all | NAME"},
        {"clear c",         "counters | cores"},
        {"clear \"c\"",     "counters | cores"},
        {"clear \"\"",      "counters | cores"},
        {"clear",           "counters | cores"},
        {"clear  ",         "counters | cores"},
        {"set \"\"",        "COUNT | <cr>"},
        {"clear \"",        ""},
        {"show",            ""},
    };
    // clang-format on
    Graph graph;
    for (const Row &row : rows)
        EXPECT_EQ(candidates_of(graph.root, row.line), row.expected) << "[" << row.line << "]";
}

TEST(CliAssistCandidates, OfAnAmbiguousWordAllTakeIt)
{
    cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    cli_pnode_s first = keyword_node("10g");
    cli_pnode_s second = keyword_node("\\0");
    cli_pnode_s third = keyword_node("\\1");
    cli_pnode_s *root = level_of({&number, &first, &second, &third});
    EXPECT_EQ(candidates_of(root, "10"), "NUMBER | 10g");
    EXPECT_EQ(candidates_of(root, "\"\""), "NUMBER | 10g | \\0 | \\1");
    EXPECT_EQ(candidates_of(root, "\\"), "\\0 | \\1"); // the last backslash is itself
}

TEST(CliAssistCandidates, AreNoneForMissingArgumentsOrAnotherLine)
{
    Graph graph;
    const auto candidates = [&](const cli_pnode_s *root, const char *line,
                                const cli_assist_error_s &error) {
        return cli_assist_candidates(root, nullptr, line, &error, 0, nullptr, nullptr);
    };
    cli_assist_error_s error = {CLI_ASSIST_AMBIGUOUS, 6, 1, ""};
    EXPECT_EQ(candidates(graph.root, nullptr, error), 0);
    EXPECT_EQ(candidates(nullptr, "clear c", error), 0);
    EXPECT_EQ(cli_assist_candidates(graph.root, nullptr, "clear c", nullptr, 0, nullptr, nullptr),
              0);
    EXPECT_EQ(candidates(graph.root, "clear c", error), 2);
    EXPECT_EQ(candidates(graph.root, "nothing", error), 0);
    error.reason = CLI_ASSIST_UNKNOWN;
    EXPECT_EQ(candidates(graph.root, "clear x", error), 2);
    EXPECT_EQ(candidates(graph.root, "clear", error), 0);
    for (const int32_t reason : {0 + CLI_ASSIST_OK, 0 + CLI_ASSIST_QUOTES, 0 + CLI_ASSIST_NO_MEMORY,
                                 0 + CLI_ASSIST_TOO_LONG, -1, 99}) {
        error.reason = reason;
        EXPECT_EQ(candidates(graph.root, "clear x", error), 0) << reason;
    }
    for (const int32_t bad : {-1, CLI_ASSIST_MAX_LINE + 1, INT32_MAX}) {
        error = {CLI_ASSIST_UNKNOWN, bad, 1, ""};
        EXPECT_EQ(candidates(graph.root, "clear s", error), 0);
        error = {CLI_ASSIST_UNKNOWN, 6, bad, ""};
        EXPECT_EQ(candidates(graph.root, "clear s", error), 0);
    }
}

TEST(CliAssistCandidates, AreGivenUpToANumberAndAllCounted)
{
    Graph graph;
    const Assisted assisted(graph.root, "foo");
    for (const auto &[most, expected] :
         {std::pair{2, "show: Shows things | showall"}, std::pair{0, ""}, std::pair{-1, ""}}) {
        Listing listing;
        EXPECT_EQ(cli_assist_candidates(graph.root, nullptr, "foo", &assisted.error, most,
                                        Listing::add, &listing),
                  5);
        EXPECT_EQ(listing.text, expected);
    }
}

// What a person reads

std::string formatted(const std::string &line, const cli_assist_error_s &error, int32_t columns)
{
    const int32_t needed = cli_assist_format_error(line.c_str(), &error, columns, nullptr, 0);
    std::vector<char> text(static_cast<size_t>(needed) + 1, 'u');
    EXPECT_EQ(cli_assist_format_error(line.c_str(), &error, columns, text.data(), needed + 1),
              needed);
    EXPECT_EQ(std::strlen(text.data()), static_cast<size_t>(needed));
    return text.data();
}

struct FormatRow {
    const char *line;
    cli_assist_error_s error;
    int32_t columns;
    const char *expected;
};

TEST(CliAssistFormat, ShowsTheLineThePlaceAndTheReason)
{
    // clang-format off
    constexpr FormatRow rows[] = {
        {"show foo",        {CLI_ASSIST_UNKNOWN, 5, 3, ""},          80, "  show foo\n       ^\n% unknown word\n"},
        {"vlan 5000",       {CLI_ASSIST_UNKNOWN, 5, 4, "VLAN: 1 to 4094"}, 80,
                                                                         "  vlan 5000\n       ^\n% VLAN: 1 to 4094\n"},
        {"sh",              {CLI_ASSIST_AMBIGUOUS, 0, 2, ""},        80, "  sh\n  ^\n% ambiguous word\n"},
        {"clear  ",         {CLI_ASSIST_INCOMPLETE, 5, 0, ""},       80, "  clear  \n       ^\n% incomplete command\n"},
        {"a \tb",           {CLI_ASSIST_UNKNOWN, 3, 1, ""},          80, "  a ?b\n     ^\n% unknown word\n"},
        {"\x1b[2J x",       {CLI_ASSIST_UNKNOWN, 5, 1, "no\ntype"},  80, "  ?[2J x\n       ^\n% no?type\n"},
        {"\xc3\xa4\xe4 x",  {CLI_ASSIST_UNKNOWN, 4, 1, ""},          80, "  \xc3\xa4? x\n     ^\n% unknown word\n"},
        {"\xe6\xb0\xb4 x",  {CLI_ASSIST_UNKNOWN, 4, 1, ""},          80, "  \xe6\xb0\xb4 x\n     ^\n% unknown word\n"},
        {"",                {CLI_ASSIST_NO_MEMORY, 0, 0, ""},        80, "  \n  ^\n% out of memory\n"},
        {"show foo",        {CLI_ASSIST_UNKNOWN, 5, 3, ""},           0, "  show foo\n       ^\n% unknown word\n"},
        {"show foo",        {CLI_ASSIST_UNKNOWN, 5, 3, ""},          -1, "  show foo\n       ^\n% unknown word\n"},
        // A screen of 10 columns has 7 for the line, and an error past them is in the middle.
        {"0123456789",      {CLI_ASSIST_UNKNOWN, 6, 4, ""},          10, "  0123456\n        ^\n% unknown word\n"},
        {"0123456789",      {CLI_ASSIST_UNKNOWN, 7, 3, ""},          10, "  456789\n     ^\n% unknown word\n"},
        {"0123456789",      {CLI_ASSIST_UNKNOWN, 10, 0, ""},         10, "  789\n     ^\n% unknown word\n"},
        {"01234567890abc",  {CLI_ASSIST_UNKNOWN, 8, 0, ""},          10, "  567890a\n     ^\n% unknown word\n"},
        {"\xe6\xb0\xb4\xe6\xb0\xb4 x", {CLI_ASSIST_UNKNOWN, 7, 1, ""}, 7, "    x\n    ^\n% unknown word\n"},
        {"xy",              {CLI_ASSIST_UNKNOWN, 1, 1, ""},           1, "  y\n  ^\n% unknown word\n"},
        {"show",            {CLI_ASSIST_OK, 0, 0, ""},               80, ""},
        {"  ",              {CLI_ASSIST_EMPTY, 0, 0, ""},            80, ""},
    };
    // clang-format on
    for (const FormatRow &row : rows)
        EXPECT_EQ(formatted(row.line, row.error, row.columns), row.expected) << row.line;
}

TEST(CliAssistFormat, CutsWhatHasNoRoomBetweenCharacters)
{
    const cli_assist_error_s error = {CLI_ASSIST_UNKNOWN, 3, 1, ""};
    const char *line = "\xc3\xa4 x";
    const std::string whole = formatted(line, error, 80);
    for (size_t room = 0; room <= whole.size() + 1; room++) {
        std::vector<char> out(room + 1, 'u');
        EXPECT_EQ(cli_assist_format_error(line, &error, 80, out.data(), static_cast<int32_t>(room)),
                  length_of(whole));
        ASSERT_EQ(out[room], 'u');
        if (room == 0)
            continue;
        const std::string cut = out.data();
        EXPECT_EQ(whole.compare(0, cut.size(), cut), 0) << cut;
        EXPECT_NE(cut.back(), '\xc3');
    }
}

TEST(CliAssistFormat, TakesAMissingLine)
{
    const cli_assist_error_s error = {CLI_ASSIST_UNKNOWN, 3, 1, ""};
    EXPECT_EQ(cli_assist_format_error(nullptr, &error, 80, nullptr, 0), 22);
}

TEST(CliAssistMemory, AParseWithoutItRunsNothing)
{
    Graph graph;
    std::string places;
    const int failures = fail_each_allocation([&](const auto &fail_from_here) {
        fail_from_here();
        const Assisted assisted(graph.root, "show interface eth0");
        if (!assisted.end) {
            EXPECT_EQ(assisted.error.reason, CLI_ASSIST_NO_MEMORY);
            EXPECT_STREQ(assisted.error.why, "");
            EXPECT_EQ(assisted.matches, nullptr);
            places += assisted.text().substr(std::strlen("out of memory ")) + " ";
        }
        return assisted.end != nullptr;
    });
    EXPECT_EQ(failures, 6);
    EXPECT_EQ(places, "0+4 0+4 5+9 5+9 15+4 15+4 ");
}

TEST(CliAssistMemory, HelpWithoutItListsNothing)
{
    Graph graph;
    const int failures = fail_each_allocation([&](const auto &fail_from_here) {
        fail_from_here();
        const int count = cli_assist_help(graph.root, nullptr, "show int a", 10, nullptr, nullptr);
        EXPECT_TRUE(count == 0 || count == 2) << count;
        return count == 2;
    });
    EXPECT_GE(failures, 6);
}

TEST(CliAssistMemory, CompletionWithoutItAtMostLacksTheBlank)
{
    Graph graph;
    const int failures = fail_each_allocation([&](const auto &fail_from_here) {
        cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
        cli_pnode_s keyword = keyword_node("more");
        cli_pnode_s *root = level_of({&number, &keyword});
        fail_from_here();
        const std::string text = completed(root, "m").text();
        EXPECT_TRUE(text == "-" || text == "ore|1" || text == "ore |1") << text;
        return text == "ore |1";
    });
    EXPECT_GE(failures, 4);
}

TEST(CliAssistMemory, CandidatesWithoutItAreNone)
{
    Graph graph;
    const Assisted assisted(graph.root, "clear c");
    const int failures = fail_each_allocation([&](const auto &fail_from_here) {
        fail_from_here();
        const int count = cli_assist_candidates(graph.root, nullptr, "clear c", &assisted.error, 0,
                                                nullptr, nullptr);
        EXPECT_TRUE(count == 0 || count == 2) << count;
        return count == 2;
    });
    EXPECT_GE(failures, 2);
}

// A word that any number of times leads to itself, and may end.
struct Ring {
    cli_pnode_s string = parse_node(PNODE_STRING, "string", "STRING");
    cli_pnode_s end = end_node("end");

    Ring()
    {
        level_of({&string, &end});
        string.child = &string;
    }
};

TEST(CliAssistBounds, TakeACyclicGraphAsDeepAsTheLine)
{
    Ring ring;
    std::string line;
    while (line.size() < CLI_ASSIST_MAX_LINE)
        line += "x ";
    ASSERT_EQ(length_of(line), CLI_ASSIST_MAX_LINE);
    EXPECT_EQ(Assisted(&ring.string, line.c_str()).text(), "runs end");
    EXPECT_EQ(help_on(&ring.string, line).text, "STRING | <cr>");
    EXPECT_EQ(completed(&ring.string, line).text(), "-");
}

TEST(CliAssistBounds, RefuseALongerLine)
{
    Ring ring;
    cli_pnode_s keyword = keyword_node("x");
    const std::string most(CLI_ASSIST_MAX_LINE, 'x');
    const std::string line = most + "x";
    EXPECT_EQ(Assisted(&ring.string, most.c_str()).text(), "runs end");
    EXPECT_EQ(Assisted(&ring.string, line.c_str()).text(), "line too long 4096+0");
    EXPECT_EQ(candidates_of(&ring.string, line.c_str()), "");
    EXPECT_EQ(help_on(&ring.string, most).text, "STRING");
    EXPECT_EQ(help_on(&ring.string, line).text, "");
    EXPECT_EQ(completed(&keyword, line).text(), "text");
    EXPECT_EQ(cli_assist_in_quotes(most.c_str(), length_of(most)), 0);
    EXPECT_NE(cli_assist_in_quotes(line.c_str(), length_of(line)), 0);
    EXPECT_NE(cli_assist_in_quotes(line.c_str(), INT32_MAX), 0);
}

TEST(CliAssistBounds, CompleteAtTheEndOfTheLongestLine)
{
    const std::string text = std::string(CLI_ASSIST_MAX_LINE, 'x') + std::string(255, 'y');
    cli_pnode_s keyword = keyword_node(text.c_str());
    cli_pnode_s number = parse_node(PNODE_INT32, "number", "NUMBER");
    cli_pnode_s *root = level_of({&number, &keyword});
    const std::string line(CLI_ASSIST_MAX_LINE, 'x');
    EXPECT_EQ(completed(root, line).inserted(), std::string(255, 'y'));
}

TEST(CliAssistBounds, TakeTenThousandKeywordsOnALevel)
{
    constexpr size_t count = 10000;
    std::vector<std::string> texts;
    std::vector<cli_pnode_s> nodes;
    for (size_t i = 0; i < count; i++)
        texts.push_back("keyword" + std::to_string(10000 + i));
    for (const std::string &text : texts)
        nodes.push_back(keyword_node(text.c_str()));
    for (size_t i = 0; i + 1 < count; i++)
        nodes[i].next = &nodes[i + 1];
    EXPECT_EQ(help_on(nodes.data(), "").nodes.size(), count);
    EXPECT_EQ(completed(nodes.data(), "").text(), "keyword1|10000");
    EXPECT_EQ(completed(nodes.data(), "keyword1999").text(), "|10");
    EXPECT_EQ(completed(nodes.data(), "keyword1999").record.choices, 10);
    EXPECT_EQ(Assisted(nodes.data(), "keyword19999").text(), "incomplete command 12+0");
}

// Random graphs and lines.

using Random = std::mt19937;

size_t below(Random &random, size_t bound)
{
    return random() % bound;
}

template <typename Item, size_t count>
const Item &any_of(Random &random, const Item (&items)[count])
{
    return items[below(random, count)];
}

constexpr const char *vocabulary[] = {
    "s",    "sh",   "show", "showall", "shut", "set",  "a", "ab", "abc", "abd", "a b",
    "q\"t", "b\\s", "it's", "12",      "0x",   "0x1f", "7", "7z", "-",   "+",   "",
};

// Some levels of some nodes each; their links lead anywhere, back too.
struct RandomGraph {
    std::vector<cli_pnode_s> nodes;
    std::vector<cli_pnode_s *> levels;

    explicit RandomGraph(Random &random)
    {
        const size_t count = 2 + below(random, 12);
        for (size_t i = 0; i < count; i++)
            nodes.push_back(random_node(random));
        for (size_t i = count; i-- > 0;)
            link(random, i);
        for (cli_pnode_s &node : nodes) {
            const size_t way = below(random, 12);
            node.child = way == 0 ? nullptr : way == 1 ? &NONE : levels[way % levels.size()];
        }
    }

    cli_pnode_s *root() const { return levels.back(); }

  private:
    static cli_pnode_s random_node(Random &random)
    {
        static constexpr uint32_t types[] = {
            PNODE_KEYWORD, PNODE_KEYWORD, PNODE_KEYWORD, PNODE_KEYWORD, PNODE_KEYWORD,
            PNODE_EOLS,    PNODE_EOLS,    PNODE_STRING,  PNODE_INT32,   9,
        };
        cli_pnode_s node = parse_node(any_of(random, types), "node", any_of(random, vocabulary));
        if (below(random, 30) == 0)
            node.name = nullptr;
        if (node.type == PNODE_EOLS || below(random, 30) == 0)
            node.keyword = nullptr;
        return node;
    }

    // Puts a node before the one after it, or begins a level with it.
    void link(Random &random, size_t i)
    {
        const bool begins = levels.empty() || below(random, 4) == 0;
        nodes[i].next = begins ? &NONE : levels.back();
        if (begins)
            levels.push_back(&nodes[i]);
        else
            levels.back() = &nodes[i];
    }
};

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

std::string random_word(Random &random)
{
    static constexpr const char *marks[] = {"\\", "'", "\"", "''", "\\\\"};
    static constexpr const char *empty[] = {"\"\"", "''", "\"\"''"};
    static constexpr std::string_view characters = "showab\"'\\ 017x-";
    std::string word = any_of(random, vocabulary);
    const size_t kind = below(random, 8);
    if (kind < 4 && !word.empty())
        word.resize(1 + below(random, word.size()));
    if (kind == 4)
        word = "\"" + word + "\"";
    if (kind == 5)
        word.insert(below(random, word.size() + 1), any_of(random, marks));
    if (kind == 7)
        word = any_of(random, empty);
    if (kind == 6) {
        word.clear();
        for (size_t i = below(random, 6); i-- > 0;)
            word += characters[below(random, characters.size())];
    }
    return word;
}

// A line that follows the graph for a while, then maybe does not.
std::string random_line(Random &random, const cli_pnode_s *level)
{
    static constexpr const char *gaps[] = {" ", " ", " ", "  ", "\t"};
    std::string line(below(random, 8) == 0 ? 1 + below(random, 2) : 0, ' ');
    for (size_t words = below(random, 5); words-- > 0;) {
        const cli_pnode_s *chosen = nullptr;
        size_t seen = 0;
        for (const cli_pnode_s *n = level; n && n != &NONE; n = n->next) {
            if (n->type != PNODE_EOLS && n->type <= PNODE_INT32 && below(random, ++seen) == 0)
                chosen = n;
        }
        if (chosen && chosen->type == PNODE_KEYWORD && chosen->keyword && below(random, 4) != 0) {
            const std::string keyword = chosen->keyword;
            line += keyword.substr(0, below(random, 3) == 0 ? below(random, keyword.size() + 1)
                                                            : keyword.size());
        } else {
            line += random_word(random);
        }
        level = chosen ? chosen->child : nullptr;
        if (words > 0 || below(random, 2) == 0)
            line += any_of(random, gaps);
    }
    return line;
}

// The words of a line by a model of its own.
struct ModelWord {
    size_t at;
    size_t end;
    std::string value;
};

struct Model {
    std::vector<ModelWord> words;
    bool is_text = false;  // the end is in quotes or escaped
    size_t open_quote = 0; // with quotes open
    bool has_open_quote = false;

    explicit Model(const std::string &line)
    {
        char quote = '\0';
        bool in_word = false;
        for (size_t i = 0; i < line.size(); i++) {
            const char c = line[i];
            if (!quote && is_blank(c)) {
                in_word = false;
                continue;
            }
            if (!in_word)
                words.push_back({i, i, ""});
            in_word = true;
            words.back().end = i + 1;
            if (quote != '\'' && c == '\\') {
                is_text = i + 1 == line.size();
                words.back().value += is_text ? c : line[++i];
                words.back().end = i + 1;
            } else if (quote ? c == quote : c == '"' || c == '\'') {
                open_quote = i;
                quote = quote ? '\0' : c;
            } else {
                words.back().value += c;
            }
        }
        has_open_quote = quote != '\0';
        is_text = is_text || has_open_quote;
    }
};

std::string escaped(const std::string &text)
{
    std::string result;
    for (const char c : text)
        result += std::string(is_blank(c) || std::strchr("\"'\\", c) ? "\\" : "") + c;
    return result;
}

// What cli_parse makes of a line, with errno cleared.
struct Truth {
    Parsed parsed;
    const cli_pmatch_s *last = nullptr;
    const cli_pmatch_s *empty = nullptr; // the first empty word that selected something

    Truth(cli_pnode_s *root, const std::string &line) : parsed(cleared(root), line.c_str())
    {
        for (const cli_pmatch_s *m = parsed.matches; m; m = m->next) {
            last = m;
            if (!empty && !*m->token && m->node->type != PNODE_STRING)
                empty = m;
        }
    }

    bool is_whole() const { return parsed.result == PARSE_MATCHED && last; }

    static cli_pnode_s *cleared(cli_pnode_s *root)
    {
        errno = 0;
        return root;
    }
};

// How often a case was of some kind, to see that all are met.
struct Tally {
    int listed = 0;
    int refused = 0;
    int finished = 0;
    int narrowed = 0;
    int blanks = 0;
    int runs = 0;
    int reasons[CLI_ASSIST_TOO_LONG + 1] = {};
};

bool can_be_number(const std::string &value)
{
    for (const char *more : {"", "0", "1", "x1", "0x1", "-1"}) {
        const std::string text = value + more;
        char *rest = nullptr;
        errno = 0;
        std::strtol(text.c_str(), &rest, 0);
        if (!*rest && errno != ERANGE)
            return true;
    }
    return false;
}

class AgreementCase {
  public:
    AgreementCase(cli_pnode_s *root, const std::string &line, Tally &tally)
        : root_(root), line_(line), tally_(tally), model_(line), listing_(help_on(root, line))
    {
        const bool in_word = !model_.words.empty() && model_.words.back().end == line.size();
        value_ = in_word ? model_.words.back().value : "";
        at_ = in_word ? model_.words.back().at : line.size();
        in_word_ = in_word;
    }

    void check()
    {
        EXPECT_EQ(cli_assist_in_quotes(line_.c_str(), length_of(line_)) != 0, model_.is_text);
        const Truth before(root_, before_word());
        if (model_.is_text || !is_passed(before)) {
            tally_.refused++;
            EXPECT_TRUE(listing_.nodes.empty());
            EXPECT_NE(completed(root_, line_).result, 0);
        } else {
            check_listed();
            check_not_listed(before);
            check_completion();
        }
        check_parse();
        if (line_.size() % 4 == 0)
            check_idle_filter();
    }

  private:
    static int32_t fit_any(void *, const cli_pnode_s *, const char *, const cli_pmatch_s *,
                           const char **)
    {
        return CLI_ASSIST_FIT_TAKES;
    }

    // A filter that leaves everything changes nothing.
    void check_idle_filter() const
    {
        constexpr cli_assist_filter_s idle = {sizeof(idle), nullptr, fit_any, nullptr, 0, 0, 0};
        const char *line = line_.c_str();
        Listing listing;
        cli_assist_help(root_, &idle, line, length_of(line_), Listing::add, &listing);
        EXPECT_EQ(listing.nodes, listing_.nodes);
        Completed done = {};
        done.result = cli_assist_complete(root_, &idle, line, length_of(line_), &done.record);
        EXPECT_EQ(done.text(), completed(root_, line_).text());
        const Assisted plain(root_, line);
        Assisted filtered(root_, "");
        filtered.end = cli_assist_parse(root_, &idle, line, &filtered.matches, &filtered.error);
        EXPECT_EQ(filtered.end, plain.end);
        EXPECT_EQ(filtered.error.reason, plain.error.reason);
        EXPECT_EQ(filtered.error.at, plain.error.at);
        EXPECT_EQ(filtered.error.len, plain.error.len);
        const cli_pmatch_s *match = filtered.matches;
        for (const cli_pmatch_s *m = plain.matches; m && match; m = m->next, match = match->next) {
            EXPECT_EQ(m->node, match->node);
            EXPECT_EQ(m->pos, match->pos);
        }
        Listing candidates;
        cli_assist_candidates(root_, &idle, line, &filtered.error, INT32_MAX, Listing::add,
                              &candidates);
        EXPECT_EQ(candidates.text, candidates_of(root_, line));
    }

    std::string before_word() const { return line_.substr(0, at_); }

    static bool is_passed(const Truth &before)
    {
        return before.parsed.result == PARSE_EMPTY || (before.is_whole() && !before.empty);
    }

    std::vector<const cli_pnode_s *> listed_keywords() const { return keywords(listing_); }

    static std::vector<const cli_pnode_s *> keywords(const Listing &listing)
    {
        std::vector<const cli_pnode_s *> found;
        for (const cli_pnode_s *node : listing.nodes) {
            if (node->type == PNODE_KEYWORD)
                found.push_back(node);
        }
        return found;
    }

    bool is_listed(const cli_pnode_s *node) const
    {
        return std::count(listing_.nodes.begin(), listing_.nodes.end(), node) > 0;
    }

    // Each keyword listed is one that cli_parse accepts at that place.
    void check_listed()
    {
        for (const cli_pnode_s *node : listed_keywords()) {
            const Truth truth(root_, before_word() + escaped(node->keyword));
            ASSERT_TRUE(truth.is_whole()) << node->keyword;
            EXPECT_EQ(truth.last->node->type, static_cast<uint32_t>(PNODE_KEYWORD));
            EXPECT_STREQ(truth.last->node->keyword, node->keyword);
            EXPECT_EQ(std::string(node->keyword).compare(0, value_.size(), value_), 0);
            tally_.listed++;
        }
    }

    // Whatever word goes on from this one and is accepted there was listed.
    void check_not_listed(const Truth &before)
    {
        const cli_pnode_s *level = before.last ? before.last->node->child : root_;
        int expected = 0;
        bool may_end = !in_word_ && before.last;
        for (const cli_pnode_s *n = level; n && n != &NONE; n = n->next) {
            if (n->type == PNODE_EOLS) {
                expected += may_end;
                EXPECT_EQ(is_listed(n), may_end);
                may_end = false;
            }
            const bool has_texts = n->name && n->keyword;
            const bool is_number = n->type == PNODE_INT32 && can_be_number(value_);
            if (has_texts && (n->type == PNODE_STRING || is_number)) {
                expected++;
                EXPECT_TRUE(is_listed(n));
            }
        }
        expected += static_cast<int>(listed_keywords().size());
        EXPECT_EQ(static_cast<int>(listing_.nodes.size()), expected);
        for (const std::string word : vocabulary) {
            for (size_t len = 1; len <= word.size(); len++)
                check_word(word.substr(0, len));
        }
        if (in_word_)
            check_word(value_);
    }

    void check_word(const std::string &word)
    {
        if (word.compare(0, value_.size(), value_) != 0 || word.empty())
            return;
        const Truth truth(root_, before_word() + escaped(word));
        if (truth.is_whole() && truth.last->node->type == PNODE_KEYWORD) {
            EXPECT_TRUE(is_listed(truth.last->node)) << word;
        }
    }

    void check_completion()
    {
        const Completed done = completed(root_, line_);
        const auto words = listed_keywords();
        const bool is_plain = value_.size() == line_.size() - at_;
        EXPECT_EQ(done.result, words.empty() || !is_plain ? -1 : 0);
        if (done.result != 0)
            return;
        ASSERT_EQ(done.record.choices, static_cast<int32_t>(words.size()));
        if (words.size() == 1)
            check_finished(done, words[0]);
        else
            check_narrowed(done, words);
    }

    void check_finished(const Completed &done, const cli_pnode_s *node)
    {
        tally_.finished++;
        const Truth truth(root_, line_ + done.inserted());
        ASSERT_TRUE(truth.is_whole());
        EXPECT_EQ(truth.last->node, node);
        EXPECT_STREQ(truth.last->token, node->keyword);
        const std::string word = escaped(node->keyword);
        const bool is_alone = help_on(root_, before_word() + word).nodes.size() == 1;
        EXPECT_EQ(line_ + done.inserted(), before_word() + word + (is_alone ? " " : ""));
        tally_.blanks += is_alone;
    }

    // The longest word that all begin with, so that nothing was decided.
    void check_narrowed(const Completed &done, const std::vector<const cli_pnode_s *> &words)
    {
        tally_.narrowed += done.record.insert_len > 0;
        std::string common = words[0]->keyword;
        for (const cli_pnode_s *node : words) {
            while (std::string(node->keyword).compare(0, common.size(), common) != 0)
                common.pop_back();
        }
        const std::string line = line_ + done.inserted();
        EXPECT_EQ(line, before_word() + escaped(common));
        EXPECT_EQ(keywords(help_on(root_, line)), words);
    }

    void check_parse()
    {
        errno = ERANGE;
        const Assisted assisted(root_, line_.c_str());
        EXPECT_EQ(errno, ERANGE);
        const Truth truth(root_, line_);
        cli_pnode_s *end = truth.is_whole() && !truth.empty
                               ? cli_parse_node_get_executable(truth.last->node)
                               : nullptr;
        ASSERT_EQ(assisted.end, end);
        tally_.reasons[assisted.error.reason]++;
        tally_.runs += end != nullptr;
        if (end)
            check_records(assisted.matches, truth.parsed.matches);
        else
            check_error(assisted.error, truth);
    }

    static void check_records(const cli_pmatch_s *ours, const cli_pmatch_s *theirs)
    {
        for (; ours && theirs; ours = ours->next, theirs = theirs->next) {
            EXPECT_EQ(ours->node, theirs->node);
            EXPECT_STREQ(ours->token, theirs->token);
            EXPECT_EQ(ours->pos, theirs->pos);
            EXPECT_EQ(ours->len, theirs->len);
        }
        EXPECT_EQ(ours, theirs);
    }

    int32_t expected_reason(const Truth &truth) const
    {
        static constexpr int32_t reasons[] = {CLI_ASSIST_EMPTY, CLI_ASSIST_UNKNOWN,
                                              CLI_ASSIST_AMBIGUOUS, CLI_ASSIST_INCOMPLETE,
                                              CLI_ASSIST_QUOTES};
        return truth.empty ? CLI_ASSIST_EMPTY_WORD : reasons[truth.parsed.result];
    }

    // The place is where cli_parse stopped, or the record of the empty word.
    int32_t expected_place(const Truth &truth) const
    {
        if (truth.empty)
            return truth.empty->pos;
        if (truth.parsed.result == PARSE_EMPTY || truth.parsed.result == PARSE_MATCHED)
            return model_.words.empty() ? 0 : static_cast<int32_t>(model_.words.back().end);
        size_t at = static_cast<size_t>(truth.parsed.consumed);
        while (at < line_.size() && is_blank(line_[at]))
            at++;
        return static_cast<int32_t>(at);
    }

    int32_t expected_len(const cli_assist_error_s &error) const
    {
        if (error.reason == CLI_ASSIST_QUOTES)
            return 1;
        for (const ModelWord &word : model_.words) {
            if (static_cast<int32_t>(word.at) == error.at)
                return static_cast<int32_t>(word.end - word.at);
        }
        return 0;
    }

    void check_error(const cli_assist_error_s &error, const Truth &truth)
    {
        EXPECT_EQ(error.reason, expected_reason(truth));
        EXPECT_EQ(error.at, expected_place(truth));
        EXPECT_EQ(error.len, expected_len(error));
        if (error.reason == CLI_ASSIST_QUOTES) {
            EXPECT_EQ(static_cast<size_t>(error.at), model_.open_quote);
        }
        Listing candidates;
        cli_assist_candidates(root_, nullptr, line_.c_str(), &error, INT32_MAX, Listing::add,
                              &candidates);
        EXPECT_EQ(candidates.nodes, expected_candidates(error));
    }

    // For an ambiguous word, each alternative that takes it when it is alone on its
    // level; else what help lists in the word's place.
    std::vector<const cli_pnode_s *> expected_candidates(const cli_assist_error_s &error) const
    {
        const auto at = static_cast<size_t>(error.at);
        switch (error.reason) {
        case CLI_ASSIST_QUOTES:
            return {};
        case CLI_ASSIST_AMBIGUOUS:
            return takers(level_before(at), line_.substr(at, static_cast<size_t>(error.len)));
        case CLI_ASSIST_INCOMPLETE:
            return help_on(root_, whole_words() + " ").nodes;
        default:
            return help_on(root_, line_.substr(0, at)).nodes;
        }
    }

    // The alternatives of the word at a place, up to which all match.
    const cli_pnode_s *level_before(size_t at) const
    {
        const Truth before(root_, line_.substr(0, at));
        const cli_pnode_s *level = root_;
        for (const cli_pmatch_s *match = before.parsed.matches; match; match = match->next)
            level = match->node->child;
        return level;
    }

    static std::vector<const cli_pnode_s *> takers(const cli_pnode_s *level,
                                                   const std::string &word)
    {
        std::vector<const cli_pnode_s *> found;
        for (const cli_pnode_s *n = level; n && n != &NONE; n = n->next) {
            cli_pnode_s alone = *n;
            alone.next = &NONE;
            if (Truth(&alone, word).is_whole())
                found.push_back(n);
        }
        return found;
    }

    // A backslash at the line's end stands for itself; before a blank it would not.
    std::string whole_words() const { return line_ + (model_.is_text ? "\\" : ""); }

    cli_pnode_s *root_;
    const std::string line_;
    Tally &tally_;
    const Model model_;
    const Listing listing_;
    std::string value_;
    size_t at_ = 0;
    bool in_word_ = false;
};

TEST(CliAssistAgreement, HoldsForRandomGraphsAndLines)
{
    constexpr unsigned seed = 20240611;
    const int graphs = 3500 * varno_test::long_tests_factor();
    constexpr int lines = 10;
    std::printf("seed %u, %d cases\n", seed, graphs * lines);
    Random random(seed);
    Tally tally;
    const size_t before = tracked_outstanding(nullptr);
    for (int g = 0; g < graphs && !HasFailure(); g++) {
        RandomGraph graph(random);
        for (int i = 0; i < lines && !HasFailure(); i++) {
            const std::string line = random_line(random, graph.root());
            SCOPED_TRACE("graph " + std::to_string(g) + ", line [" + line + "]");
            AgreementCase(graph.root(), line, tally).check();
        }
    }
    EXPECT_EQ(tracked_outstanding(nullptr), before);
    std::printf(
        "%d keywords listed, %d refused, %d finished (%d with a blank), %d narrowed, %d run;"
        " errors",
        tally.listed, tally.refused, tally.finished, tally.blanks, tally.narrowed, tally.runs);
    for (int32_t reason = CLI_ASSIST_EMPTY; reason <= CLI_ASSIST_EMPTY_WORD; reason++) {
        std::printf(" %d", tally.reasons[reason]);
        EXPECT_GT(tally.reasons[reason], 100) << cli_assist_strreason(reason);
    }
    std::printf("\n");
    for (const int met :
         {tally.listed, tally.refused, tally.finished, tally.blanks, tally.narrowed, tally.runs})
        EXPECT_GT(met, 300);
}

} // namespace
