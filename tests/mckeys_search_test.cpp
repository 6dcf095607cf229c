// The trie's searches: exact, with wildcards, and for the first key that could
// begin a sequence.

#include "keys/trie_internal.h"
#include "support/assertion.h"
#include "support/traces.h"
#include "support/trie.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace varno_test;

namespace {

using Texts = std::vector<std::string>;

constexpr char no_wildcard[] = "s[i] != (((((mkey_t)0xFFFFFFFE) - 20) - 1))";
constexpr char no_wildcard_at_level[] = "!slen || s[0] != (((((mkey_t)0xFFFFFFFE) - 20) - 1))";

// Six outputs, filled with what no search would put there.
struct Results {
    mc_node_s untouched{};
    mc_node_s *nodes[3] = {&untouched, &untouched, &untouched};
    int32_t lens[3] = {77, 77, 77};

    bool is_untouched() const
    {
        bool same = true;
        for (int i = 0; i < 3; i++)
            same = same && nodes[i] == &untouched && lens[i] == 77;
        return same;
    }

    // "x 1 - 0 xy 2": each node by its path in the trie ("-": none, "^": the
    // root), and its length.
    std::string spelled(const Trie &trie, std::string_view searched) const
    {
        std::ostringstream text;
        for (int i = 0; i < 3; i++)
            text << (i ? " " : "") << path(trie, nodes[i], searched) << " " << lens[i];
        return text.str();
    }

  private:
    static std::string path(const Trie &trie, const mc_node_s *node, std::string_view searched)
    {
        if (!node)
            return "-";
        if (node == trie.root)
            return "^";
        return find(trie.root, node, "", searched.size());
    }

    static std::string find(const mc_node_s *from, const mc_node_s *node, const std::string &way,
                            size_t depth)
    {
        if (from == node)
            return way;
        for (int32_t i = 0; depth && i < from->keys_len; i++) {
            const mkey_t key = from->keys[i].key;
            const char c = key == VIRTKEY_WILDCARD ? '*' : static_cast<char>(key);
            const std::string found = find(from->keys[i].node, node, way + c, depth - 1);
            if (!found.empty())
                return found;
        }
        return {};
    }
};

int search_exact(const Trie &trie, std::string_view text, Results &out)
{
    const auto keys = sequence(text);
    return mc_search_exact(trie.root, keys.data(), static_cast<int>(keys.size()), 0, &out.nodes[0],
                           &out.lens[0], &out.nodes[1], &out.lens[1], &out.nodes[2], &out.lens[2]);
}

// Sequences x, xyz and *q, with overlap.
struct Overlapping : Trie {
    Overlapping()
    {
        for (const char *text : {"x", "xyz", "*q"})
            add(text, MC_ADD_OVERLAP);
    }
};

struct ExactRow {
    const char *searched;
    int result;
    const char *results; // first complete, longest complete, longest match
};

// clang-format off
constexpr ExactRow exact_rows[] = {
    // searched  result  first   longest  match
    {"x",        0,      "x 1    x 1      x 1"},
    {"xy",       0,      "x 1    x 1      xy 2"},
    {"xyz",      1,      "x 1    xyz 3    xyz 3"},
    {"xyzz",     1,      "x 1    xyz 3    - 0"},
    {"xq",       0,      "x 1    x 1      - 0"},
    {"a",       -1,      "- 0    - 0      - 0"},
    {"aq",      -1,      "- 0    - 0      - 0"},  // the wildcard child is not taken
    {"*",       -1,      "- 0    - 0      * 1"},  // but its code is a code
    {"*q",       0,      "*q 2   *q 2     *q 2"},
    {"yx",      -1,      "- 0    - 0      - 0"},
};
// clang-format on

std::string single_spaced(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        if (c != ' ' || out.back() != ' ')
            out.push_back(c);
    }
    return out;
}

TEST(TrieSearchExact, TellsShortestAndLongestSequenceAndWhetherMoreMayFollow)
{
    for (const bool sorted : {false, true}) {
        const Overlapping trie;
        if (sorted)
            mc_optimize(trie.root);
        for (const ExactRow &row : exact_rows) {
            Results out;
            EXPECT_EQ(search_exact(trie, row.searched, out), row.result) << row.searched;
            EXPECT_EQ(out.spelled(trie, row.searched), single_spaced(row.results)) << row.searched;
        }
    }
}

TEST(TrieSearchExact, StoredSequenceFollowedByMoreIsOneCompleteMatch)
{
    const Trie trie({"abc"});
    Results out;
    EXPECT_EQ(search_exact(trie, "abcd", out), 0);
    EXPECT_EQ(out.spelled(trie, "abcd"), "abc 3 abc 3 - 0");
    EXPECT_EQ(search_exact(trie, "ab", out), -1);
    EXPECT_EQ(out.spelled(trie, "ab"), "- 0 - 0 ab 2");
}

TEST(TrieSearchExact, EmptyTrieKnowsNothing)
{
    const Trie trie;
    Results out;
    EXPECT_EQ(search_exact(trie, "a", out), -1);
    EXPECT_EQ(out.spelled(trie, "a"), "- 0 - 0 - 0");
}

TEST(TrieSearchExact, BadArgumentsLeaveResultsUntouched)
{
    const Trie trie({"a"});
    const mkey_t key = 'a';
    Results out;
    const auto search = [&](mc_node_s *root, const mkey_t *s, int len) {
        return mc_search_exact(root, s, len, 0, &out.nodes[0], &out.lens[0], &out.nodes[1],
                               &out.lens[1], &out.nodes[2], &out.lens[2]);
    };
    EXPECT_EQ(search(nullptr, &key, 1), -1);
    EXPECT_EQ(search(trie.root, nullptr, 1), -1);
    EXPECT_EQ(search(trie.root, &key, 0), -1);
    EXPECT_EQ(search(trie.root, &key, -1), -1);
    EXPECT_TRUE(out.is_untouched());
}

TEST(TrieSearchExact, EveryResultIsOptional)
{
    const Overlapping trie;
    const auto keys = sequence("xyz");
    Results whole;
    search_exact(trie, "xyz", whole);
    for (int asked = 0; asked < 64; asked++) {
        Results out;
        const auto node = [&](int i) { return asked & 1 << i ? &out.nodes[i] : nullptr; };
        const auto len = [&](int i) { return asked & 8 << i ? &out.lens[i] : nullptr; };
        mc_search_exact(trie.root, keys.data(), 3, 0, node(0), len(0), node(1), len(1), node(2),
                        len(2));
        const bool first_only = node(0) && !node(1) && !node(2);
        for (int i = 0; i < 3; i++) {
            const bool runs_on = i == 0 || !first_only;
            if (node(i)) {
                EXPECT_EQ(out.nodes[i], whole.nodes[i]) << asked;
            }
            if (len(i)) {
                EXPECT_EQ(out.lens[i], runs_on ? whole.lens[i] : 0) << asked;
            }
        }
    }
}

TEST(TrieSearchExact, WithOnlyTheFirstAskedForItStopsThere)
{
    const Overlapping trie;
    const auto keys = sequence("xyz");
    Results out;
    EXPECT_EQ(mc_search_exact(trie.root, keys.data(), 3, 0, &out.nodes[0], &out.lens[0], nullptr,
                              nullptr, nullptr, nullptr),
              0);
    EXPECT_EQ(out.nodes[0], trie.at("x"));
    EXPECT_EQ(out.lens[0], 1);
    EXPECT_EQ(mc_search_exact(trie.root, keys.data(), 3, 0, &out.nodes[0], nullptr, &out.nodes[1],
                              nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(out.nodes[1], trie.at("xyz"));
}

TEST(TrieSearchExact, WithOnlyTheFirstAskedForTheOthersStayZeroAtTheLastKeyToo)
{
    const Trie trie({"ab"});
    const auto keys = sequence("ab");
    Results out;
    EXPECT_EQ(mc_search_exact(trie.root, keys.data(), 2, 0, &out.nodes[0], &out.lens[0], nullptr,
                              &out.lens[1], nullptr, &out.lens[2]),
              0);
    EXPECT_EQ(out.nodes[0], trie.at("ab"));
    EXPECT_EQ(out.lens[0], 2);
    EXPECT_EQ(out.lens[1], 0);
    EXPECT_EQ(out.lens[2], 0);
}

TEST(TrieSearchExact, FlagsMeanNothing)
{
    const Trie trie({"*"});
    const mkey_t key = 'a';
    Results out;
    EXPECT_EQ(mc_search_exact(trie.root, &key, 1, ~0, &out.nodes[0], nullptr, nullptr, nullptr,
                              nullptr, nullptr),
              -1);
}

TEST(TrieSearchExact, TracesFollowTheWalk)
{
    Trie trie({"xy"});
    mkey_t escape_up[] = {27, VIRTKEY_UP};
    mc_addstring(trie.root, escape_up, 2, 0, value_of("v"));
    Results out;
    Traces traces;
    search_exact(trie, "xyz", out);
    EXPECT_EQ(
        traces.take(),
        Texts({"(debug): Going to search downward..", "(debug): considering s[0] = 120 ('x')",
               "(debug): node for s[0] does not have a value",
               "(debug): considering s[1] = 121 ('y')", "(debug): found a node with value at 1",
               "(debug): considering s[2] = 122 ('z')", "(debug): no match for s[2] (122)",
               "(debug): returning 0"}));
    mc_search_exact(trie.root, escape_up, 2, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                    nullptr);
    EXPECT_EQ(traces.take(),
              Texts({"(debug): Going to search downward..", "(debug): considering s[0] = 27",
                     "(debug): node for s[0] does not have a value",
                     "(debug): considering s[1] = 4294967293",
                     "(debug): found a node with value at 1", "(debug): returning 0"}));
}

TEST(TrieSearchExact, CodeAboveTheBytesIsTracedWithoutCharacter)
{
    const Trie trie({"a"});
    Traces traces;
    for (const mkey_t key : {mkey_t{0x100 + 'a'}, mkey_t{0x80000000 + 'a'}}) {
        mc_search_exact(trie.root, &key, 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                        nullptr);
        EXPECT_EQ(traces.take()[1], "(debug): considering s[0] = " + std::to_string(key));
    }
}

TEST(TrieSearchExact, ResultsAreTheSameWithTracesOn)
{
    const Overlapping trie;
    for (const ExactRow &row : exact_rows) {
        Traces traces;
        Results out;
        EXPECT_EQ(search_exact(trie, row.searched, out), row.result);
        EXPECT_EQ(out.spelled(trie, row.searched), single_spaced(row.results));
        EXPECT_FALSE(traces.take().empty());
    }
}

int search(const Trie &trie, const mkey_t *s, int len, int flags, Results &out)
{
    return mc_search(trie.root, s, len, flags, &out.nodes[0], &out.lens[0], &out.nodes[1],
                     &out.lens[1], &out.nodes[2], &out.lens[2]);
}

TEST(TrieSearch, AnyPositiveLengthIsRefused)
{
    const Trie trie({"a"});
    const mkey_t key = 'a';
    for (const int flags : {0, MC_SEARCH_ANY, MC_ADD_OVERLAP}) {
        Results out;
        EXPECT_EQ(search(trie, &key, 1, flags, out), -1);
        EXPECT_TRUE(out.is_untouched());
    }
}

TEST(TrieSearch, WithoutRootOrKeysItIsRefused)
{
    const Trie trie({"a"});
    const mkey_t key = 'a';
    Results out;
    EXPECT_EQ(mc_search(nullptr, &key, 0, 0, &out.nodes[0], &out.lens[0], &out.nodes[1],
                        &out.lens[1], &out.nodes[2], &out.lens[2]),
              -1);
    EXPECT_EQ(search(trie, nullptr, 0, 0, out), -1);
    EXPECT_TRUE(out.is_untouched());
}

TEST(TrieSearch, WithoutKeysItAnswersAboutTheRoot)
{
    const mkey_t key = 'a';
    for (const int len : {0, -1}) {
        Trie trie({"a"});
        Results out;
        EXPECT_EQ(search(trie, &key, len, 0, out), 1);
        EXPECT_EQ(out.spelled(trie, ""), "- 0 - 0 ^ 0");
        trie.root->value = value_of("root");
        EXPECT_EQ(search(trie, &key, len, MC_SEARCH_ANY, out), 1);
        EXPECT_EQ(out.spelled(trie, ""), "^ 0 ^ 0 ^ 0");
        const Trie empty;
        EXPECT_EQ(search(empty, &key, len, 0, out), -1);
        EXPECT_EQ(out.spelled(empty, ""), "- 0 - 0 - 0");
    }
}

// Asks for some of the three nodes; every one not found must be NULL.
int search_asking(mc_node_s *root, bool shortest, bool longest, bool match)
{
    const mkey_t key = 'a';
    Results out;
    const int result = mc_search(root, &key, 0, 0, shortest ? &out.nodes[0] : nullptr, nullptr,
                                 longest ? &out.nodes[1] : nullptr, nullptr,
                                 match ? &out.nodes[2] : nullptr, &out.lens[2]);
    for (const mc_node_s *node : out.nodes)
        EXPECT_TRUE(node == &out.untouched || node == (result == 1 ? root : nullptr));
    EXPECT_EQ(out.lens[2], 0);
    return result;
}

TEST(TrieSearch, OnlyWhatWasAskedForCountsAsFound)
{
    const Trie trie({"a"}); // only a match is there to find
    EXPECT_EQ(search_asking(trie.root, false, false, true), 1);
    EXPECT_EQ(search_asking(trie.root, true, false, false), -1);
    EXPECT_EQ(search_asking(trie.root, false, true, false), -1);
    EXPECT_EQ(search_asking(trie.root, false, false, false), -1);

    const Trie empty; // only the two complete ones are
    empty.root->value = value_of("root");
    EXPECT_EQ(search_asking(empty.root, true, false, false), 1);
    EXPECT_EQ(search_asking(empty.root, false, true, false), 1);
    EXPECT_EQ(search_asking(empty.root, false, false, true), -1);
}

TEST(TrieSearch, OtherFlagsAreHandedOverAndRefused)
{
    const Trie trie({"a"});
    const mkey_t key = 'a';
    for (const int flags : {MC_ADD_OVERLAP, MC_ADD_OVERLAP | MC_SEARCH_ANY, 0x80}) {
        Results out;
        EXPECT_EQ(search(trie, &key, 0, flags, out), -1);
        EXPECT_EQ(out.spelled(trie, ""), "- 0 - 0 - 0") << "results are cleared first";
    }
}

TEST(TrieSearch, WildcardAfterANegativeLengthIsAnAssertion)
{
    const Trie trie({"a"});
    const mkey_t key = VIRTKEY_WILDCARD;
    Results out;
    EXPECT_ASSERTION(search(trie, &key, -1, 0, out), no_wildcard_at_level, "mckeys");
    EXPECT_EQ(search(trie, &key, 0, 0, out), 1) << "no key is looked at";
}

TEST(TrieSearch, TracesNameTheRootAndItsValue)
{
    Trie trie({"a"});
    const mkey_t key = 'a';
    Results out;
    Traces traces;
    search(trie, &key, 0, 0, out);
    EXPECT_EQ(traces.take(),
              Texts({"(debug): N is " + traced(trie.root) + ", value = (null)",
                     "(debug): 0: ENTERED -- slen: 0", "(debug): 0: end of recursion",
                     "(debug): 0: we have children, setting longest match",
                     "(debug): 0: returning US at end of recursion.. "}));
    trie.root->value = value_of("root");
    search(trie, &key, 0, MC_ADD_OVERLAP, out);
    EXPECT_EQ(traces.take(), Texts({"(debug): N is " + traced(trie.root) + ", value = root"}));
}

std::string search_level(const Trie &trie, std::string_view text, int flags)
{
    const auto keys = sequence(text);
    Results out;
    mc_search_level(trie.root, keys.data(), static_cast<int>(keys.size()), flags, &out.nodes[0],
                    &out.lens[0], &out.nodes[1], &out.lens[1], &out.nodes[2], &out.lens[2]);
    return out.spelled(trie, text);
}

struct LevelRow {
    std::vector<const char *> stored; // all with overlap
    const char *searched;
    int flags;
    const char *results; // shortest, longest, match
};

// clang-format off
const LevelRow level_rows[] = {
    // stored               searched  flags          shortest  longest  match
    {{"ab"},                "ab",     0,             "ab 2     ab 2     - 0"},
    {{"ab"},                "a",      0,             "- 0      - 0      a 1"},
    {{"ab"},                "",       0,             "- 0      - 0      ^ 0"},
    {{"ab"},                "abc",    MC_SEARCH_ANY, "ab 2     ab 2     - 0"},
    {{"*b"},                "ab",     0,             "- 0      - 0      - 0"},
    {{"*b"},                "ab",     MC_SEARCH_ANY, "*b 2     *b 2     - 0"},
    {{"*b"},                "a",      MC_SEARCH_ANY, "- 0      - 0      * 1"},
    {{"*b"},                "ab",     0x3,           "*b 2     *b 2     - 0"},
    {{"*b"},                "ab",     0x2,           "- 0      - 0      - 0"},
    // both ways at the same depth: shortest from the exact one, the others not
    {{"ab", "*b"},          "ab",     MC_SEARCH_ANY, "ab 2     *b 2     - 0"},
    {{"abc", "a*c"},        "ab",     MC_SEARCH_ANY, "- 0      - 0      a* 2"},
    {{"abc", "a*c"},        "ab",     0,             "- 0      - 0      ab 2"},
    {{"ab", "a*"},          "ab",     MC_SEARCH_ANY, "ab 2     a* 2     - 0"},
    // a value on the way replaces nodes, but its lengths stay the child's
    {{"a", "ab"},           "ab",     0,             "a 2      ab 2     - 0"},
    {{"a", "abc"},          "ab",     0,             "a 1      a 1      ab 2"},
    {{"a", "abc"},          "abc",    0,             "a 3      abc 3    - 0"},
    {{"a"},                 "ax",     0,             "a 1      a 1      - 0"},
};
// clang-format on

TEST(TrieSearchLevel, MergesExactAndWildcardWays)
{
    for (const bool sorted : {false, true}) {
        for (const LevelRow &row : level_rows) {
            Trie trie;
            for (const char *text : row.stored)
                trie.add(text, MC_ADD_OVERLAP);
            if (sorted)
                mc_optimize(trie.root);
            EXPECT_EQ(search_level(trie, row.searched, row.flags), single_spaced(row.results))
                << row.searched << " among " << row.stored[0];
        }
    }
}

// A length that the merge compares is the child's, overridden node or not: here
// the wildcard's shortest result says 1 key, the exact one's 0.
TEST(TrieSearchLevel, UnequalDepthsAreDecidedByLength)
{
    Trie trie;
    for (const char *text : {"a", "abc", "*b"})
        trie.add(text, MC_ADD_OVERLAP);
    EXPECT_EQ(search_level(trie, "ab", MC_SEARCH_ANY), "a 1 *b 2 ab 2");
    Trie other;
    for (const char *text : {"ab", "*", "*bc"})
        other.add(text, MC_ADD_OVERLAP);
    EXPECT_EQ(search_level(other, "ab", MC_SEARCH_ANY), "* 1 ab 2 *b 2");
}

TEST(TrieSearchLevel, WildcardInTheInputIsAnAssertionAtEachLevel)
{
    const Trie trie({"ab"});
    EXPECT_ASSERTION(search_level(trie, "*", 0), no_wildcard_at_level, "mckeys");
    EXPECT_ASSERTION(search_level(trie, "a*", 0), no_wildcard_at_level, "mckeys");
    EXPECT_EQ(search_level(trie, "x*", 0), "- 0 - 0 - 0") << "never reached";
}

TEST(TrieSearchLevel, ResultsAreClearedBeforeADeeperLevelFailsItsAssertion)
{
    const Trie trie({"ab"});
    const auto search_for = [&](std::string_view text, Results &out) {
        const auto keys = sequence(text);
        mc_search_level(trie.root, keys.data(), static_cast<int>(keys.size()), 0, &out.nodes[0],
                        &out.lens[0], &out.nodes[1], &out.lens[1], &out.nodes[2], &out.lens[2]);
    };
    Results out;
    EXPECT_ASSERTION(search_for("*", out), no_wildcard_at_level, "mckeys");
    EXPECT_TRUE(out.is_untouched()) << "the level's own assertion comes first";
    EXPECT_ASSERTION(search_for("a*", out), no_wildcard_at_level, "mckeys");
    EXPECT_EQ(out.spelled(trie, "a*"), "- 0 - 0 - 0");
}

TEST(TrieSearchLevel, TracesTellEachLevel)
{
    Trie trie({"a", "*"});
    trie.root->value = value_of("root");
    Traces traces;
    EXPECT_EQ(search_level(trie, "a", MC_SEARCH_ANY), "^ 1 * 1 - 0");
    const char *const child[] = {"(debug): 0: ENTERED -- slen: 0", "(debug): 0: end of recursion",
                                 "(debug): 0: we have value, setting SC and LC",
                                 "(debug): 0: returning US at end of recursion.. "};
    Texts expected = {"(debug): 1: ENTERED -- slen: 1", "(debug): 1: LOOKING FOR s[0] = [ a ]",
                      "(debug): 1: have an EXACT child"};
    expected.insert(expected.end(), std::begin(child), std::end(child));
    expected.insert(expected.end(),
                    {"(debug): 1: going to allow ANY child", "(debug): 1: have an ANY child"});
    expected.insert(expected.end(), std::begin(child), std::end(child));
    expected.insert(expected.end(), {"(debug): 1: child EXACT returned: SHORT 0 LONG 0 !m 0",
                                     "(debug): 1: child ANY returned: SHORT 0 LONG 0 !m 0",
                                     "(debug): 1: unified child res: SHORT 1 LONG 1 !m 0",
                                     "(debug): 1: interim results: SHORT 1 LONG 1 !m 0",
                                     "(debug): 1: overriding shortest complete",
                                     "(debug): 1: RETURNING slen 1: SHORT 1 LONG 1 !m 0\n"});
    EXPECT_EQ(traces.take(), expected);
}

TEST(TrieSearchLevel, TracesTellOfAValueWithNothingBelow)
{
    Trie trie({"a"});
    trie.root->value = value_of("root");
    Traces traces;
    EXPECT_EQ(search_level(trie, "x", 0), "^ 0 ^ 0 - 0");
    EXPECT_EQ(traces.take(),
              Texts({"(debug): 1: ENTERED -- slen: 1", "(debug): 1: LOOKING FOR s[0] = [ x ]",
                     "(debug): 1: interim results: !s 0 !l 0 !m 0",
                     "(debug): 1: overriding shortest complete",
                     "(debug): 1: no longest complete, overriding",
                     "(debug): 1: RETURNING slen 1: SHORT 0 LONG 0 !m 0\n"}));
    EXPECT_EQ(search_level(trie, "x", MC_SEARCH_ANY), "^ 0 ^ 0 - 0");
    EXPECT_EQ(traces.take()[2], "(debug): 1: going to allow ANY child");
    EXPECT_NE(search_level(trie, "a", 0), "");
    EXPECT_EQ(traces.take()[7], "(debug): 1: child EXACT returned: SHORT 0 LONG 0 !m 0");
}

bool matches(std::string_view stored, std::string_view s)
{
    for (size_t i = 0; i < stored.size(); i++) {
        if (stored[i] != '*' && stored[i] != s[i])
            return false;
    }
    return true;
}

// Whatever is stored: a complete result is there exactly when some sequence
// matches a beginning of the input, a match when some sequence goes on after it.
TEST(TrieSearchLevel, RandomTriesFindWhatMatches)
{
    constexpr unsigned seed = 20;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto some_text = [&](std::string_view alphabet) {
        std::string text(1 + random() % 5, ' ');
        for (char &c : text)
            c = alphabet[random() % alphabet.size()];
        return text;
    };
    for (int round = 0; round < 300; round++) {
        std::vector<std::string> stored;
        Trie trie;
        for (int i = 0; i < 12; i++)
            stored.push_back(some_text("ab*"));
        for (const std::string &text : stored) {
            const mc_node_s *there = trie.at(text);
            if (!there || !there->value)
                trie.add(text.c_str(), MC_ADD_OVERLAP);
        }
        if (round % 2)
            mc_optimize(trie.root);
        const std::string s = some_text("abc");
        bool complete = false, is_prefix = false;
        for (const std::string &text : stored) {
            complete |= text.size() <= s.size() && matches(text, s);
            is_prefix |= text.size() > s.size() && matches(text.substr(0, s.size()), s);
        }
        const std::string results = search_level(trie, s, MC_SEARCH_ANY);
        EXPECT_EQ(results[0] != '-', complete) << s << ": " << results;
        EXPECT_EQ(results.find("- 0", results.size() - 3) == results.npos, is_prefix)
            << s << ": " << results;
    }
}

int nodestrstr(const Trie &trie, std::string_view text)
{
    const auto keys = sequence(text);
    return mc_nodestrstr(trie.root, keys.data(), static_cast<int>(keys.size()));
}

TEST(TrieNodestrstr, FindsTheFirstKeyThatCanBeginASequence)
{
    for (const bool sorted : {false, true}) {
        const Trie trie({"bx", "d"});
        if (sorted)
            mc_optimize(trie.root);
        EXPECT_EQ(nodestrstr(trie, "aab"), 2);
        EXPECT_EQ(nodestrstr(trie, "d"), 0);
        EXPECT_EQ(nodestrstr(trie, "xxx"), -1);
        EXPECT_EQ(nodestrstr(trie, "c"), -1);
    }
}

TEST(TrieNodestrstr, WildcardChildTakesTheFirstKey)
{
    const Trie trie({"*"});
    EXPECT_EQ(nodestrstr(trie, "xyz"), 0);
    mc_optimize(trie.root);
    EXPECT_EQ(nodestrstr(trie, "xyz"), 0);
    EXPECT_NE(mc_node_try_key(trie.root, 'x'), nullptr);
}

TEST(TrieNodestrstr, NothingToSearchGivesMinusOne)
{
    const Trie trie({"a"});
    const Trie empty;
    const mkey_t key = 'a';
    EXPECT_EQ(mc_nodestrstr(nullptr, &key, 1), -1);
    EXPECT_EQ(mc_nodestrstr(trie.root, nullptr, 1), -1);
    EXPECT_EQ(mc_nodestrstr(trie.root, &key, 0), -1);
    EXPECT_EQ(mc_nodestrstr(trie.root, &key, -1), -1);
    EXPECT_EQ(mc_nodestrstr(empty.root, &key, 1), -1);
}

TEST(TrieNodestrstr, WildcardInTheInputIsAnAssertionUpToTheKeyFound)
{
    const Trie trie({"b"});
    const Trie any({"*"});
    EXPECT_ASSERTION(nodestrstr(trie, "a*"), no_wildcard, "mckeys");
    EXPECT_ASSERTION(nodestrstr(any, "*"), no_wildcard, "mckeys");
    EXPECT_EQ(nodestrstr(trie, "ab*"), 1);
    EXPECT_EQ(nodestrstr(any, "a*"), 0);
}

// Long runs of bytes are searched another way than short ones; it must not show.
TEST(TrieNodestrstr, LongRunsAreSearchedAlike)
{
    for (const bool sorted : {false, true}) {
        const Trie trie({"b", "d"});
        if (sorted)
            mc_optimize(trie.root);
        for (size_t run = 0; run < 40; run++) {
            const std::string plain(run, 'x');
            const int at = static_cast<int>(run);
            EXPECT_EQ(nodestrstr(trie, plain + "d" + plain), at);
            EXPECT_EQ(nodestrstr(trie, plain + "y"), -1);
            EXPECT_ASSERTION(nodestrstr(trie, plain + "*b"), no_wildcard, "mckeys");
            auto keys = sequence(plain + plain + "b");
            keys[run] = VIRTKEY_UP;
            EXPECT_EQ(mc_nodestrstr(trie.root, keys.data(), static_cast<int>(keys.size())),
                      run ? 2 * at : -1);
        }
    }
}

// Codes at both ends of the bytes and beyond them, none taken for its lowest byte;
// 0x80 and 0xfe are nobody's.
TEST(TrieNodestrstr, LongRunsAreSearchedAlikeWhateverTheCodes)
{
    constexpr mkey_t children[] = {0, 'b', 0xff, 0x100, 0x80000000, VIRTKEY_UP};
    constexpr mkey_t strangers[] = {0x1ff, 0x162, 0x7fffffff};
    const Trie trie;
    for (const mkey_t key : children)
        mc_addstring(trie.root, &key, 1, 0, value_of("v"));
    for (const bool sorted : {false, true}) {
        if (sorted)
            mc_optimize(trie.root);
        for (size_t run = 0; run < 40; run++) {
            for (const mkey_t child : children) {
                std::vector<mkey_t> keys(run, 0x80);
                keys.insert(keys.end(), {child, VIRTKEY_WILDCARD});
                EXPECT_EQ(mc_nodestrstr(trie.root, keys.data(), static_cast<int>(keys.size())),
                          static_cast<int>(run))
                    << child;
            }
            for (const mkey_t stranger : strangers) {
                std::vector<mkey_t> keys(run, 0xfe);
                keys.push_back(stranger);
                EXPECT_EQ(mc_nodestrstr(trie.root, keys.data(), static_cast<int>(keys.size())), -1)
                    << stranger << " after " << run;
            }
        }
    }
}

TEST(TrieNodestrstr, NodeThatClaimsKeysWithoutAnArrayHasNone)
{
    const mc_node_s no_array{nullptr, 2, nullptr, 0, nullptr};
    const std::vector<mkey_t> keys(40, 'a');
    for (int len = 1; len <= 40; len++)
        EXPECT_EQ(mc_nodestrstr(&no_array, keys.data(), len), -1) << len;
}

TEST(TrieNodestrstr, WideNodeIsSearchedAlike)
{
    Trie trie;
    for (mkey_t key = 'A'; key <= 'Z'; key++)
        mc_addstring(trie.root, &key, 1, 0, value_of("v"));
    EXPECT_EQ(nodestrstr(trie, "abcQ"), 3);
    mc_optimize(trie.root);
    EXPECT_EQ(nodestrstr(trie, "abcQ"), 3);
    EXPECT_EQ(nodestrstr(trie, "@[abc"), -1);
}

// How a search of one key went; all ways to ask have to agree.
enum class Way { none, on, complete };

Way search_usual(const mc_node_s *node, const std::vector<mkey_t> &keys)
{
    const int len = static_cast<int>(keys.size());
    mc_node_s *complete = nullptr;
    mc_node_s *match = nullptr;
    int32_t complete_len = -7;
    int32_t match_len = -7;
    auto *root = const_cast<mc_node_s *>(node);
    const int result = mc_search_exact(root, keys.data(), len, 0, &complete, &complete_len, nullptr,
                                       nullptr, &match, &match_len);
    EXPECT_EQ(result, complete ? 0 : -1);
    EXPECT_EQ(complete_len, complete ? len : 0);
    EXPECT_EQ(match_len, match ? len : 0);
    EXPECT_TRUE(!complete || complete == match);
    mc_node_s *longest = nullptr;
    EXPECT_EQ(mc_search_exact(root, keys.data(), len, 0, nullptr, nullptr, &longest, nullptr,
                              nullptr, nullptr),
              result);
    EXPECT_EQ(longest, complete);
    return complete ? Way::complete : match ? Way::on : Way::none;
}

bool has_key(const mc_node_s *node, mkey_t key)
{
    const mc_key_s *entry = mc_node_get_exact_key(node, key);
    EXPECT_TRUE(!entry || entry->key == key) << key;
    EXPECT_EQ(mc_node_try_key(node, key), entry) << key;
    EXPECT_EQ(mc_nodestrstr(node, &key, 1), entry ? 0 : -1) << key;
    EXPECT_EQ(search_usual(node, {key}) != Way::none, entry != nullptr) << key;
    return entry != nullptr;
}

// The keys of 0..limit that a node has, counted.
int count_keys(const mc_node_s *node, mkey_t limit)
{
    int found = 0;
    for (mkey_t key = 0; key < limit; key++)
        found += has_key(node, key);
    return found;
}

// A root of keys step * 1, step * 2..., of one sequence each.
void add_keys(const Trie &trie, int count, mkey_t step)
{
    for (int i = 1; i <= count; i++) {
        const mkey_t key = static_cast<mkey_t>(i) * step;
        ASSERT_EQ(mc_addstring(trie.root, &key, 1, 0, value_of("value")), 0);
    }
}

TEST(TrieSearchOneKey, IsFoundInRootsOfAnySize)
{
    for (const int count : {1, 3, 15, 16, 17, 127, 128, 253, 254, 255, 256, 300}) {
        for (const mkey_t step : {1u, 2u}) {
            const Trie trie;
            add_keys(trie, count, step);
            EXPECT_EQ(count_keys(trie.root, 700), count) << step;
            mc_optimize(trie.root);
            EXPECT_EQ(count_keys(trie.root, 700), count) << step;
            const mkey_t late = VIRTKEY_UP;
            ASSERT_EQ(mc_addstring(trie.root, &late, 1, 0, value_of("late")), 0);
            EXPECT_EQ(count_keys(trie.root, 700), count) << "unsorted again";
            EXPECT_TRUE(has_key(trie.root, late));
        }
    }
}

TEST(TrieSearchOneKey, BytesAbove127AreFoundAmongOthers)
{
    const Trie trie({"a"});
    EXPECT_EQ(count_keys(trie.root, 300), 1);
    for (const mkey_t key : {mkey_t{0xff}, mkey_t{0x80}, mkey_t{0x100}})
        ASSERT_EQ(mc_addstring(trie.root, &key, 1, 0, value_of("high")), 0);
    EXPECT_EQ(count_keys(trie.root, 300), 4);
    mc_optimize(trie.root);
    EXPECT_EQ(count_keys(trie.root, 300), 4);
    const mkey_t text[] = {0xc3, 0xa4, 0x80};
    EXPECT_EQ(mc_nodestrstr(trie.root, text, 3), 2);
}

// Around each place where the codes change their kind.
TEST(TrieSearchOneKey, BytesAndVirtualKeysAreFoundBesideEachOther)
{
    const std::vector<mkey_t> codes = {0,
                                       1,
                                       126,
                                       127, // 7-bit
                                       128,
                                       255,
                                       256,
                                       VIRTKEY_WILDCARD - 1,
                                       VIRTKEY_BACKSPACE,
                                       VIRTKEY_END,
                                       VIRTKEY_UP,
                                       VIRTKEY_UP + 1,
                                       VIRTKEY_UP + 2};
    for (const mkey_t bound : codes) {
        const Trie trie({"x"});
        ASSERT_EQ(mc_addstring(trie.root, &bound, 1, 0, value_of("value")), 0);
        for (const mkey_t code : codes)
            EXPECT_EQ(has_key(trie.root, code), code == bound) << bound << " " << code;
        mc_optimize(trie.root);
        for (const mkey_t code : codes)
            EXPECT_EQ(has_key(trie.root, code), code == bound) << bound << " " << code;
    }
}

TEST(TrieSearchOneKey, WildcardOfARootIsNoKeyOfASequence)
{
    const Trie trie({"x"});
    const mkey_t any = VIRTKEY_WILDCARD;
    EXPECT_ASSERTION(mc_nodestrstr(trie.root, &any, 1), no_wildcard, "mckeys");
    ASSERT_EQ(mc_addstring(trie.root, &any, 1, 0, value_of("any")), 0);
    EXPECT_ASSERTION(mc_nodestrstr(trie.root, &any, 1), no_wildcard, "mckeys");
    EXPECT_EQ(nodestrstr(trie, "q"), 0);
    EXPECT_EQ(search_usual(trie.root, {'q'}), Way::none);
    EXPECT_EQ(search_usual(trie.root, {any}), Way::complete);
}

TEST(TrieSearchOneKey, CopyOfARootAnswersForItself)
{
    const Trie trie;
    add_keys(trie, 20, 5);
    alignas(mc_node_s) unsigned char bytes[sizeof(mc_node_s)];
    std::memcpy(bytes, trie.root, sizeof(bytes));
    auto *copy = reinterpret_cast<mc_node_s *>(bytes);
    EXPECT_EQ(count_keys(copy, 150), 20);
    copy->keys_len = 7;
    EXPECT_EQ(count_keys(copy, 150), 7);
    EXPECT_EQ(count_keys(trie.root, 150), 20);
    mc_key_s own[] = {{'q', trie.root->keys[0].node}};
    copy->keys = own;
    copy->keys_len = 1;
    EXPECT_TRUE(has_key(copy, 'q'));
    EXPECT_EQ(count_keys(copy, 150), 1);
    copy->keys = nullptr;
    EXPECT_EQ(count_keys(copy, 150), 0) << "a node that claims keys but has none";
}

TEST(TrieSearchOneKey, RootChangedByHandAnswersForWhatItIs)
{
    const Trie trie;
    add_keys(trie, 20, 5);
    mc_key_s *const keys = trie.root->keys;
    trie.root->keys_len = 19;
    EXPECT_EQ(count_keys(trie.root, 150), 19);
    EXPECT_FALSE(has_key(trie.root, 100));
    trie.root->keys_len = 0;
    EXPECT_EQ(count_keys(trie.root, 150), 0);
    trie.root->keys_len = 20;
    mc_key_s own[20];
    std::copy_n(keys, 20, own);
    own[0].key = 'z';
    trie.root->keys = own;
    EXPECT_EQ(count_keys(trie.root, 150), 20);
    EXPECT_TRUE(has_key(trie.root, 'z'));
    EXPECT_FALSE(has_key(trie.root, 5));
    trie.root->keys = nullptr;
    EXPECT_EQ(count_keys(trie.root, 150), 0);
    trie.root->keys = keys;
    EXPECT_EQ(count_keys(trie.root, 150), 20);
}

// The array keeps its place and comes to its old length again.
TEST(TrieSearchOneKey, RootThatWasCutByHandFindsWhatIsAdded)
{
    const Trie trie({"a", "b", "c"});
    mc_node_s *const last = trie.root->keys[2].node;
    trie.root->keys_len = 2;
    const mkey_t late = 'p';
    ASSERT_EQ(mc_addstring(trie.root, &late, 1, 0, value_of("late")), 0);
    EXPECT_EQ(count_keys(trie.root, 150), 3);
    EXPECT_TRUE(has_key(trie.root, late));
    EXPECT_FALSE(has_key(trie.root, 'c'));
    mc_root_free(last, nullptr, nullptr);
}

TEST(TrieSearchTwoKeys, AreFoundInInnerNodesOfAnySize)
{
    for (const mkey_t count : {1u, 3u, 4u, 5u, 15u, 16u, 40u, 300u}) {
        for (const bool sorted : {false, true}) {
            const Trie trie;
            for (mkey_t i = count; i > 0; i--) {
                const mkey_t keys[] = {VIRTKEY_ESC, i * 2};
                ASSERT_EQ(mc_addstring(trie.root, keys, 2, 0, value_of("value")), 0);
            }
            if (sorted)
                mc_optimize(trie.root);
            EXPECT_EQ(search_usual(trie.root, {VIRTKEY_ESC}), Way::on);
            for (mkey_t key = 0; key < 2 * count + 3; key++) {
                const bool is_bound = key % 2 == 0 && key >= 2 && key <= 2 * count;
                EXPECT_EQ(search_usual(trie.root, {VIRTKEY_ESC, key}),
                          is_bound ? Way::complete : Way::none);
            }
        }
    }
}

// Results are written in the order of the parameters.
TEST(TrieSearchTwoKeys, OneVariableForTwoResultsHoldsTheLast)
{
    const Trie trie({"ab"});
    const auto keys = sequence("ab");
    mc_node_s *node = nullptr;
    int32_t len = -7;
    EXPECT_EQ(
        mc_search_exact(trie.root, keys.data(), 1, 0, &node, &len, nullptr, nullptr, &node, &len),
        -1);
    EXPECT_EQ(node, trie.at("a"));
    EXPECT_EQ(len, 1);
    EXPECT_EQ(
        mc_search_exact(trie.root, keys.data(), 2, 0, &node, &len, nullptr, nullptr, &node, &len),
        0);
    EXPECT_EQ(node, trie.at("ab"));
    EXPECT_EQ(len, 2);
}

TEST(TrieSearchTwoKeys, AreFoundBelowAChildThatWasARootItself)
{
    const Trie trie;
    mc_node_s *child = mc_root_alloc();
    for (mkey_t key = 1; key <= 50; key++)
        ASSERT_EQ(mc_addstring(child, &key, 1, 0, value_of("value")), 0);
    ASSERT_NE(mc_node_add_key(trie.root, VIRTKEY_ESC, child), nullptr);
    for (mkey_t key = 0; key < 300; key++)
        EXPECT_EQ(search_usual(trie.root, {VIRTKEY_ESC, key}),
                  key >= 1 && key <= 50 ? Way::complete : Way::none);
}

} // namespace
