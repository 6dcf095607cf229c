// The trie's building side: nodes, their keys, adding sequences, freezing and
// releasing, without memory too.

#include "support/assertion.h"
#include "support/memory.h"
#include "support/traces.h"
#include "support/trie.h"

#include <varno/platform_default.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace varno_test;

namespace {

using Texts = std::vector<std::string>;

void keep_text(void *value, void *ctx)
{
    static_cast<Texts *>(ctx)->emplace_back(static_cast<const char *>(value));
}

Texts released_values(mc_node_s *root)
{
    Texts values;
    mc_root_free(root, keep_text, &values);
    return values;
}

TEST(TrieNode, NewRootIsEmptyAndUnsorted)
{
    const Trie trie;
    EXPECT_EQ(trie.root->keys, nullptr);
    EXPECT_EQ(trie.root->keys_len, 0);
    EXPECT_EQ(trie.root->value, nullptr);
    EXPECT_EQ(trie.root->any, nullptr);
    EXPECT_EQ(mc_node_optimized(trie.root), 0);
    EXPECT_EQ(tracked_outstanding("mc_node_s"), 1u);
}

TEST(TrieNode, NoMemoryForARootGivesNull)
{
    tracked_fail_after(1);
    EXPECT_EQ(mc_root_alloc(), nullptr);
    tracked_fail_after(-1);
}

TEST(TrieNode, AddedKeyIsTheLastEntryAndUnsortsTheNode)
{
    const Trie trie({"z"});
    mc_optimize(trie.root);
    EXPECT_EQ(mc_node_optimized(trie.root), 1);
    mc_node_s *child = mc_root_alloc();
    const mc_key_s *entry = mc_node_add_key(trie.root, 'a', child);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry, &trie.root->keys[1]);
    EXPECT_EQ(entry->key, mkey_t{'a'});
    EXPECT_EQ(entry->node, child);
    EXPECT_EQ(trie.root->keys_len, 2);
    EXPECT_EQ(mc_node_optimized(trie.root), 0);
}

TEST(TrieNode, DuplicateKeyIsRefused)
{
    const Trie trie({"a", "b"});
    mc_node_s other{};
    EXPECT_EQ(mc_node_add_key(trie.root, 'a', &other), nullptr);
    mc_optimize(trie.root);
    EXPECT_EQ(mc_node_add_key(trie.root, 'b', &other), nullptr);
    EXPECT_EQ(trie.root->keys_len, 2);
    EXPECT_EQ(mc_node_optimized(trie.root), 1) << "a refusal changes nothing";
}

TEST(TrieNode, InconsistentNodeTakesNoKey)
{
    mc_key_s entry{'a', nullptr};
    mc_node_s child{};
    mc_node_s no_count{&entry, 0, nullptr, 0, nullptr};
    mc_node_s negative_count{&entry, -1, nullptr, 0, nullptr};
    mc_node_s no_array{nullptr, 2, nullptr, 0, nullptr};
    EXPECT_EQ(mc_node_add_key(&no_count, 'b', &child), nullptr);
    EXPECT_EQ(mc_node_add_key(&negative_count, 'b', &child), nullptr);
    EXPECT_EQ(mc_node_add_key(&no_array, 'b', &child), nullptr);
}

TEST(TrieNode, InconsistentNodeTakesNoSequenceEither)
{
    mc_node_s no_array{nullptr, 2, nullptr, 0, nullptr};
    const auto keys = sequence("abc");
    EXPECT_EQ(mc_addstring(&no_array, keys.data(), 3, 0, value_of("v")), -1);
    EXPECT_EQ(tracked_outstanding(nullptr), 0u);
}

TEST(TrieNode, NoMemoryForAKeyLeavesTheNodeAsItWas)
{
    const Trie trie({"a", "*"});
    mc_optimize(trie.root);
    const mc_node_s before = *trie.root;
    mc_node_s child{};
    tracked_fail_after(1);
    EXPECT_EQ(mc_node_add_key(trie.root, 'c', &child), nullptr);
    tracked_fail_after(-1);
    EXPECT_EQ(trie.root->keys, before.keys);
    EXPECT_EQ(trie.root->keys_len, 2);
    EXPECT_EQ(trie.root->any, before.any);
    EXPECT_EQ(mc_node_optimized(trie.root), 1);
}

TEST(TrieNode, UnoptimizedForgetsOrderAndWildcard)
{
    const Trie trie({"*"});
    mc_optimize(trie.root);
    EXPECT_NE(trie.root->any, nullptr);
    mc_node_unoptimized(trie.root);
    EXPECT_EQ(mc_node_optimized(trie.root), 0);
    EXPECT_EQ(trie.root->any, nullptr);
    EXPECT_NE(mc_node_get_any_key(trie.root), nullptr) << "found by looking";
}

TEST(TrieNode, AddedKeyForgetsTheWildcard)
{
    const Trie trie({"b", "*"});
    mc_optimize(trie.root);
    ASSERT_NE(trie.root->any, nullptr);
    ASSERT_NE(mc_node_add_key(trie.root, 'a', mc_root_alloc()), nullptr);
    EXPECT_EQ(trie.root->any, nullptr);
    EXPECT_NE(mc_node_get_any_key(trie.root), nullptr) << "found by looking";
}

TEST(TrieNode, OptimizedIsOneForAnyFlagValue)
{
    mc_node_s node{};
    node.optimized = 0x80;
    EXPECT_EQ(mc_node_optimized(&node), 1);
}

TEST(TrieNode, TryKeyPrefersTheExactChild)
{
    for (const bool sorted : {false, true}) {
        const Trie trie({"b", "*"});
        if (sorted)
            mc_optimize(trie.root);
        EXPECT_EQ(mc_node_try_key(trie.root, 'b')->key, mkey_t{'b'});
        EXPECT_EQ(mc_node_try_key(trie.root, 'c')->key, VIRTKEY_WILDCARD);
        EXPECT_EQ(mc_node_get_exact_key(trie.root, 'c'), nullptr);
        EXPECT_EQ(mc_node_get_exact_key(trie.root, VIRTKEY_WILDCARD),
                  mc_node_get_any_key(trie.root));
    }
}

TEST(TrieNode, WithoutWildcardTryKeyFindsOnlyExactly)
{
    const Trie trie({"b"});
    EXPECT_EQ(mc_node_get_any_key(trie.root), nullptr);
    EXPECT_EQ(mc_node_try_key(trie.root, 'a'), nullptr);
    mc_optimize(trie.root);
    EXPECT_EQ(mc_node_get_any_key(trie.root), nullptr);
    EXPECT_EQ(mc_node_try_key(trie.root, 'a'), nullptr);
    EXPECT_EQ(mc_node_try_key(trie.root, 'c'), nullptr);
}

// By comparing one after the other and, once they are sorted, by binary search.
TEST(TrieNode, EverySizeFindsAllItsKeysAndNoOther)
{
    for (mkey_t count = 0; count <= 40; count++) {
        const Trie trie;
        for (mkey_t i = 0; i < count; i++) {
            const mkey_t key = (i * 41 % count) * 2 + 1; // all odd codes, out of order
            mc_addstring(trie.root, &key, 1, 0, value_of("v"));
        }
        for (const bool sorted : {false, true}) {
            if (sorted)
                mc_optimize(trie.root);
            for (mkey_t key = 0; key <= 2 * count + 2; key++) {
                const bool stored = key % 2 == 1 && key < 2 * count;
                const mc_key_s *found = mc_node_get_exact_key(trie.root, key);
                EXPECT_EQ(found != nullptr, stored) << count << " keys, code " << key;
                EXPECT_TRUE(!found || found->key == key);
            }
        }
    }
}

TEST(TrieNode, KeysCompareAsUnsignedCodes)
{
    const mc_key_s low{5, nullptr};
    const mc_key_s high{VIRTKEY_UP, nullptr};
    const mkey_t bare = 5;
    EXPECT_EQ(mc_key_compare(&low, &high), -1);
    EXPECT_EQ(mc_key_compare(&high, &low), 1);
    EXPECT_EQ(mc_key_compare(&bare, &low), 0);
    EXPECT_EQ(mc_key_compare(&low, &bare), 0);
    EXPECT_EQ(mc_key_compare(&bare, &high), -1);
}

TEST(TrieNode, SearchingForABareCodeWithBsearchWorks)
{
    const Trie trie({"d", "a", "c", "b"});
    mc_optimize(trie.root);
    const mkey_t wanted = 'c';
    const auto *found = static_cast<const mc_key_s *>(
        bsearch(&wanted, trie.root->keys, 4, sizeof(mc_key_s), mc_key_compare));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->key, mkey_t{'c'});
}

TEST(TrieAssertions, EachTextComesFromMckeys)
{
    const mc_key_s entry{'a', nullptr};
    EXPECT_ASSERTION(mc_key_compare(nullptr, &entry), "left", "mckeys");
    EXPECT_ASSERTION(mc_key_compare(&entry, nullptr), "right", "mckeys");
    EXPECT_ASSERTION(mc_node_value(nullptr), "n", "mckeys");

    Trie trie({"ab"});
    EXPECT_ASSERTION(trie.add("ab"), "!t->value", "mckeys");
    EXPECT_ASSERTION(trie.add("ab", MC_ADD_OVERLAP), "!t->value", "mckeys");
    trie.at("ab")->value = nullptr;
    EXPECT_ASSERTION(trie.add("ab"), "t->keys_len > 0", "mckeys");

    mc_key_s childless{'a', nullptr};
    mc_node_s broken{&childless, 1, nullptr, 0, nullptr};
    EXPECT_ASSERTION(mc_optimize(&broken), "n->keys[i].node", "mckeys");
}

TEST(TrieOptimize, SortsEveryNodeAndRemembersWildcards)
{
    const Trie trie({"zb", "z*", "za", "*x", "a"});
    EXPECT_EQ(mc_optimize(trie.root), 0);
    const mc_node_s *z = trie.at("z");
    EXPECT_EQ(trie.root->keys[0].key, mkey_t{'a'});
    EXPECT_EQ(trie.root->keys[1].key, mkey_t{'z'});
    EXPECT_EQ(trie.root->keys[2].key, VIRTKEY_WILDCARD);
    EXPECT_EQ(trie.root->any, &trie.root->keys[2]);
    EXPECT_EQ(z->keys[0].key, mkey_t{'a'});
    EXPECT_EQ(z->any, &z->keys[2]);
    for (const char *path : {"", "z", "za", "*", "*x", "a"})
        EXPECT_EQ(mc_node_optimized(trie.at(path)), 1) << path;
}

TEST(TrieOptimize, NodeWithoutAChildIsLeftUnsorted)
{
    mc_key_s keys[] = {{VIRTKEY_WILDCARD, nullptr}, {'a', nullptr}};
    mc_node_s broken{keys, 2, nullptr, 1, &keys[0]};
    EXPECT_ASSERTION(mc_optimize(&broken), "n->keys[i].node", "mckeys");
    EXPECT_EQ(mc_node_optimized(&broken), 0);
    EXPECT_EQ(broken.any, nullptr);
}

TEST(TrieOptimize, LaterInsertionUnsortsOnlyTheNodeThatItChanges)
{
    Trie trie({"ab", "cd"});
    mc_optimize(trie.root);
    EXPECT_EQ(trie.add("aa"), 0);
    EXPECT_EQ(mc_node_optimized(trie.root), 1);
    EXPECT_EQ(mc_node_optimized(trie.at("a")), 0);
    EXPECT_EQ(mc_node_optimized(trie.at("c")), 1);
    for (const char *path : {"aa", "ab", "cd"})
        EXPECT_STREQ(text_of(trie.at(path)), path);
    mc_optimize(trie.root);
    EXPECT_EQ(mc_node_optimized(trie.at("a")), 1);
}

struct AddRow {
    const char *first;
    const char *second;
    int flags;
    int first_result;
    int second_result;
};

// clang-format off
constexpr AddRow add_rows[] = {
    // first    second   flags             results
    {"xy",     "xyz",    0,                0, -1},
    {"xyz",    "xy",     0,                0, -1},
    {"xy",     "xz",     0,                0,  0},
    {"xy",     "xyz",    MC_ADD_OVERLAP,   0,  0},
    {"xyz",    "xy",     MC_ADD_OVERLAP,   0,  1},
    {"xy",     "xyz",    ~MC_ADD_OVERLAP,  0, -1},
    {"xyz",    "xy",     ~MC_ADD_OVERLAP,  0, -1},
    {"xy",     "xyz",    ~0,               0,  0},
    {"xyz",    "xy",     ~0,               0,  1},
    {"*",      "*a",     0,                0, -1},
    {"*",      "a",      0,                0,  0},
};
// clang-format on

TEST(TrieAdd, SecondOfTwoOverlappingSequencesIsRefusedUnlessAllowed)
{
    for (const AddRow &row : add_rows) {
        Trie trie;
        EXPECT_EQ(trie.add(row.first, row.flags), row.first_result);
        EXPECT_EQ(trie.add(row.second, row.flags), row.second_result)
            << row.first << ", " << row.second << ", flags " << row.flags;
        EXPECT_STREQ(text_of(trie.at(row.first)), row.first);
        if (row.second_result >= 0) {
            EXPECT_STREQ(text_of(trie.at(row.second)), row.second);
        }
    }
}

TEST(TrieAdd, BadArgumentsAreRefusedSilently)
{
    Trie trie;
    Traces traces;
    const std::vector<mkey_t> keys(33, 'a');
    void *value = value_of("v");
    EXPECT_EQ(mc_addstring(trie.root, keys.data(), 33, 0, value), -1);
    EXPECT_EQ(mc_addstring(trie.root, keys.data(), 0, 0, value), -1);
    EXPECT_EQ(mc_addstring(trie.root, keys.data(), -1, 0, value), -1);
    EXPECT_EQ(mc_addstring(nullptr, keys.data(), 1, 0, value), -1);
    EXPECT_EQ(mc_addstring(trie.root, nullptr, 1, 0, value), -1);
    EXPECT_EQ(mc_addstring(trie.root, keys.data(), 1, 0, nullptr), -1);
    EXPECT_EQ(trie.add("*********"), -1) << "nine wildcards";
    EXPECT_EQ(traces.take(), Texts());
    EXPECT_EQ(trie.root->keys_len, 0);
}

TEST(TrieAdd, ThirtyTwoKeysAndEightWildcardsAreAccepted)
{
    Trie trie;
    EXPECT_EQ(trie.add("********aaaaaaaaaaaaaaaaaaaaaaaa"), 0);
    EXPECT_EQ(tracked_outstanding("mc_node_s"), 33u);
}

TEST(TrieAdd, ValueAtTheRootCountsAsAnOverlap)
{
    Trie trie;
    trie.root->value = value_of("root");
    EXPECT_EQ(trie.add("a"), -1);
    EXPECT_EQ(trie.add("a", MC_ADD_OVERLAP), 0);
    trie.root->value = nullptr;
}

TEST(TrieAdd, TracesTellEachStepOfAnAddition)
{
    Traces traces;
    Trie trie;
    mkey_t keys[] = {'a', 27};
    ASSERT_EQ(mc_addstring(trie.root, keys, 2, 0, value_of("v")), 0);
    const mc_node_s *a = trie.root->keys[0].node;
    const mc_node_s *esc = a->keys[0].node;
    EXPECT_EQ(traces.take(),
              Texts({"(debug): looking for s[0] = 97 ('a')", "(debug): no key for s[0] = 97 ('a')",
                     "(debug): going to insert at node " + traced(trie.root) +
                         " (root: " + traced(trie.root) + ")",
                     "(debug): starting at 0 (s[0] = 'a'), going to add",
                     "(debug): allocating new child " + traced(a) + " at 0 -- s[0] = 'a'",
                     "(debug): allocating new child " + traced(esc) + " at 1 -- s[1] = (27)",
                     "(debug): setting value for node " + traced(esc)}));

    keys[1] = VIRTKEY_UP;
    ASSERT_EQ(mc_addstring(trie.root, keys, 2, 0, value_of("v")), 0);
    const mc_node_s *up = mc_node_get_exact_key(a, VIRTKEY_UP)->node;
    EXPECT_EQ(
        traces.take(),
        Texts(
            {"(debug): looking for s[0] = 97 ('a')", "(debug): looking for s[1] = 4294967293",
             "(debug): no key for s[1] = 4294967293",
             "(debug): going to insert at node " + traced(a) + " (root: " + traced(trie.root) + ")",
             "(debug): starting at 1 (s[1] = (-3)), going to add",
             "(debug): allocating new child " + traced(up) + " at 1 -- s[1] = (4294967293)",
             "(debug): setting value for node " + traced(up)}));
}

TEST(TrieAdd, CharacterAfterAControlKeyIsTracedAsOne)
{
    Traces traces;
    Trie trie;
    const mkey_t keys[] = {27, 'a'};
    ASSERT_EQ(mc_addstring(trie.root, keys, 2, 0, value_of("v")), 0);
    const mc_node_s *esc = trie.root->keys[0].node;
    const mc_node_s *a = esc->keys[0].node;
    EXPECT_EQ(traces.take(),
              Texts({"(debug): looking for s[0] = 27", "(debug): no key for s[0] = 27",
                     "(debug): going to insert at node " + traced(trie.root) +
                         " (root: " + traced(trie.root) + ")",
                     "(debug): starting at 0 (s[0] = (27)), going to add",
                     "(debug): allocating new child " + traced(esc) + " at 0 -- s[0] = (27)",
                     "(debug): allocating new child " + traced(a) + " at 1 -- s[1] = 'a'",
                     "(debug): setting value for node " + traced(a)}));
}

TEST(TrieAdd, TracesTellWhyASequenceIsRefused)
{
    Trie trie({"xy"});
    Traces traces;
    EXPECT_EQ(trie.add("xyz"), -1);
    EXPECT_EQ(
        traces.take(),
        Texts({"(debug): looking for s[0] = 120 ('x')", "(debug): looking for s[1] = 121 ('y')",
               "(debug): looking for s[2] = 122 ('z')", "(debug): no key for s[2] = 122 ('z')",
               "(debug): going to insert at node " + traced(trie.at("xy")) +
                   " (root: " + traced(trie.root) + ")",
               "(debug): we found a value in the parent chain -- can't add"}));
    EXPECT_EQ(trie.add("x"), -1);
    EXPECT_EQ(traces.take(), Texts({"(debug): looking for s[0] = 120 ('x')",
                                    "(debug): going to insert at node " + traced(trie.at("x")) +
                                        " (root: " + traced(trie.root) + ")",
                                    "(debug): last node was a substring node -- we cannot add"}));
    EXPECT_EQ(trie.add("x", MC_ADD_OVERLAP), 1);
    EXPECT_EQ(traces.take().back(), "(debug): set " + traced(trie.at("x")) + " value = [x]");
}

// Without memory in the middle of an addition the trie stands as before, the node
// at which the new sequence leaves it included.
TEST(TrieAdd, NoMemoryMidwayLeavesTheTrieAsItWas)
{
    struct {
        std::vector<const char *> before;
        const char *added;
        int failures;
    } const cases[] = {
        {{}, "abc", 6},                    // below the root: three nodes, three entries
        {{"abx", "aby", "q"}, "abcde", 6}, // below an inner node
        {{"x"}, "y", 2},
    };
    for (const auto &c : cases) {
        const int failures = fail_each_allocation([&](const auto &fail_from_here) {
            Trie trie;
            for (const char *text : c.before)
                trie.add(text);
            mc_optimize(trie.root);
            const Texts stored = paths_with_values(trie.root);
            const size_t nodes = tracked_outstanding("mc_node_s");
            const mc_node_s *leaves = c.before.size() > 1 ? trie.at("ab") : trie.root;
            const mc_node_s before = *leaves;
            fail_from_here();
            const int result = trie.add(c.added);
            tracked_fail_after(-1);
            if (result == 0)
                return true;
            EXPECT_EQ(result, -1);
            EXPECT_EQ(paths_with_values(trie.root), stored);
            EXPECT_EQ(tracked_outstanding("mc_node_s"), nodes);
            EXPECT_EQ(leaves->keys, before.keys);
            EXPECT_EQ(leaves->keys_len, before.keys_len);
            EXPECT_EQ(leaves->optimized, 1u);
            EXPECT_EQ(trie.add(c.added), 0) << "works once there is memory";
            return false;
        });
        EXPECT_EQ(failures, c.failures) << c.added;
    }
}

TEST(TrieFree, CallsBackOncePerValueChildrenFirst)
{
    Trie trie;
    trie.add("xyz");
    trie.add("x", MC_ADD_OVERLAP);
    trie.add("xa", MC_ADD_OVERLAP);
    trie.add("b");
    EXPECT_EQ(released_values(trie.root), Texts({"xyz", "xa", "x", "b"}));
    trie.root = nullptr;
    EXPECT_EQ(tracked_outstanding(nullptr), 0u);
}

TEST(TrieFree, NullDoesNothing)
{
    mc_root_free(nullptr, keep_text, nullptr);
}

TEST(TrieFree, WithoutACallbackOnlyNodesGo)
{
    {
        const Trie trie({"abc", "d"});
    }
    EXPECT_EQ(tracked_outstanding(nullptr), 0u);
}

TEST(TrieFree, NodeThatClaimsKeysWithoutAnArrayIsLeftAlone)
{
    Trie trie({"a", "b"});
    mc_node_s *odd = trie.at("a");
    odd->keys_len = 1;
    EXPECT_EQ(released_values(trie.root), Texts({"b"}));
    trie.root = nullptr;
    EXPECT_EQ(tracked_outstanding("mc_node_s"), 1u);
    EXPECT_STREQ(text_of(odd), "a");
    odd->keys_len = 0;
    mc_root_free(odd, nullptr, nullptr);
    EXPECT_EQ(tracked_outstanding(nullptr), 0u);
}

// What a trie does, over a map of whole sequences.
class Reference {
  public:
    using Keys = std::vector<mkey_t>;

    // The result that mc_addstring must have; none: a second addition of the same.
    std::optional<int> add(const Keys &s, int flags, void *value)
    {
        if (stored_.contains(s))
            return std::nullopt;
        const bool begins_others = begins_any(s);
        if (!(flags & MC_ADD_OVERLAP) && (begins_others || count_beginnings(s) > 0))
            return -1;
        stored_[s] = value;
        return begins_others ? 1 : 0;
    }

    // Stored sequences that s begins with.
    int count_beginnings(const Keys &s) const
    {
        return static_cast<int>(std::count_if(stored_.begin(), stored_.end(), [&](const auto &row) {
            return is_beginning(row.first, s);
        }));
    }

    // s is on the way of a stored sequence, its end included.
    bool begins_any(const Keys &s) const
    {
        const auto at = stored_.lower_bound(s);
        return at != stored_.end() && is_beginning(s, at->first);
    }

    void *value(const Keys &s) const { return stored_.contains(s) ? stored_.at(s) : nullptr; }

  private:
    static bool is_beginning(const Keys &part, const Keys &whole)
    {
        return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
    }

    std::map<Keys, void *> stored_;
};

struct RandomRow {
    unsigned seed;
    int codes;    // different keys
    int most;     // keys of a sequence
    int overlaps; // percent of additions that may overlap
};

// clang-format off
constexpr RandomRow random_rows[] = {
    // seed  codes  most  overlaps
    {1,       3,    6,     0},
    {2,       3,    6,    50},
    {3,      60,    3,    10},
    {4,       2,   12,   100},
    {5,     200,    2,     0},
};
// clang-format on

class RandomTrie : public testing::TestWithParam<RandomRow> {
  protected:
    Reference::Keys some_keys()
    {
        Reference::Keys keys(1 + random_() % static_cast<unsigned>(GetParam().most));
        for (mkey_t &key : keys) {
            key = static_cast<mkey_t>(random_() % static_cast<unsigned>(GetParam().codes));
            key = key % 3 == 2 ? VIRTKEY_UP - key : key; // both ends of the range
        }
        return keys;
    }

    void add_one()
    {
        const auto keys = some_keys();
        const bool may_overlap = static_cast<int>(random_() % 100) < GetParam().overlaps;
        const int flags = may_overlap ? MC_ADD_OVERLAP : 0;
        void *value = value_of(random_() % 2 ? "v" : "w");
        if (std::count(keys.begin(), keys.end(), VIRTKEY_WILDCARD) > 8)
            return;
        const auto expected = reference_.add(keys, flags, value);
        if (expected) {
            EXPECT_EQ(
                mc_addstring(trie_.root, keys.data(), static_cast<int>(keys.size()), flags, value),
                *expected);
        }
    }

    void search_one() const
    {
        const auto keys = const_cast<RandomTrie *>(this)->some_keys();
        mc_node_s *first, *longest, *match;
        int32_t first_len, longest_len, match_len;
        const int count =
            mc_search_exact(trie_.root, keys.data(), static_cast<int>(keys.size()), 0, &first,
                            &first_len, &longest, &longest_len, &match, &match_len);
        EXPECT_EQ(count, reference_.count_beginnings(keys) - 1);
        EXPECT_EQ(match != nullptr, reference_.begins_any(keys));
        EXPECT_EQ(first != nullptr, count >= 0);
        if (first) {
            expect_value(keys, first, first_len);
            expect_value(keys, longest, longest_len);
            EXPECT_LE(first_len, longest_len);
            EXPECT_EQ(first == longest, count == 0);
        }
    }

    void expect_value(Reference::Keys keys, const mc_node_s *node, int32_t len) const
    {
        keys.resize(static_cast<size_t>(len));
        EXPECT_EQ(mc_node_value(node), reference_.value(keys));
    }

    std::mt19937 random_{GetParam().seed};
    Reference reference_;
    Trie trie_;
};

TEST_P(RandomTrie, AgreesWithAMapOfSequences)
{
    SCOPED_TRACE("seed " + std::to_string(GetParam().seed));
    for (int round = 0; round < 60; round++) {
        for (int i = 0; i < 5; i++)
            add_one();
        if (round % 3 == 1)
            mc_optimize(trie_.root);
        for (int i = 0; i < 40; i++)
            search_one();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTrie, testing::ValuesIn(random_rows),
                         [](const auto &row) { return "Seed" + std::to_string(row.param.seed); });

} // namespace
