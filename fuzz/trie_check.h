#ifndef VARNO_FUZZ_TRIE_CHECK_H
#define VARNO_FUZZ_TRIE_CHECK_H

// A trie beside a map of its sequences: each call must answer as the map does.

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "finding.h"
#include "input_reader.h"
#include "support/assertion.h"

#include <varno/mckeys.h>
#include <varno/platform_default.h>

namespace varno_fuzz {

using Keys = std::vector<mkey_t>;

inline bool begins_with(const Keys &keys, const Keys &with)
{
    return keys.size() >= with.size() && std::equal(with.begin(), with.end(), keys.begin());
}

// Mostly few keys of few kinds, so that sequences meet.
inline Keys read_keys(InputReader &in)
{
    static constexpr mkey_t kinds[] = {
        'a',  'b',        'c',        27,         '[', VIRTKEY_UP, VIRTKEY_WILDCARD, 0, 255, 128,
        0xe9, 0x80000000, 0x7fffffff, VIRTKEY_F1, 'z', 1};
    const int length = in.byte();
    Keys keys;
    for (int left = length < 240 ? length % 6 : 24 + length % 12; left > 0; left--) {
        const size_t byte = in.byte();
        keys.push_back(kinds[byte % (byte < 128 ? 3 : std::size(kinds))]);
    }
    return keys;
}

class TrieCheck {
  public:
    TrieCheck() : root_(mc_root_alloc()) { FUZZ_REQUIRE(root_); }
    ~TrieCheck()
    {
        size_t released = 0;
        const auto count = [](void *, void *ctx) { ++*static_cast<size_t *>(ctx); };
        mc_root_free(root_, count, &released);
        FUZZ_REQUIRE(released == values_.size());
    }
    TrieCheck(const TrieCheck &) = delete;
    TrieCheck &operator=(const TrieCheck &) = delete;

    // fail_after: as tracked_fail_after takes it.
    void add(const Keys &keys, int flags, long fail_after)
    {
        static char texts[4096][4] = {};
        const bool is_refused = refuses(keys, flags);
        void *value = texts[values_.size() % std::size(texts)];
        int result = -2;
        tracked_fail_after(fail_after);
        const auto failed = varno_test::assertion_of([&] {
            result = mc_addstring(root_, keys.data(), static_cast<int>(keys.size()), flags, value);
        });
        tracked_fail_after(-1);
        FUZZ_REQUIRE(failed.has_value() == (!is_refused && values_.contains(keys) && result == -2));
        if (failed)
            FUZZ_REQUIRE(failed->condition == "!t->value");
        else if (is_refused || fail_after <= 0)
            FUZZ_REQUIRE(result == (is_refused ? -1 : begins_others(keys) ? 1 : 0));
        if (result >= 0)
            values_.emplace(keys, value);
    }

    void optimize()
    {
        FUZZ_REQUIRE(mc_optimize(root_) == 0);
        FUZZ_REQUIRE(mc_node_optimized(root_));
    }

    // `asked`: bit 0 for the first complete node, 1 the longest, 2 the longest match.
    void search(const Keys &keys, int asked) const
    {
        mc_node_s *node[3] = {root_, root_, root_};
        int32_t len[3] = {77, 77, 77};
        const auto n = [&](int i) { return asked & 1 << i ? &node[i] : nullptr; };
        const auto l = [&](int i) { return asked & 1 << i ? &len[i] : nullptr; };
        const int met = mc_search_exact(root_, keys.data(), static_cast<int>(keys.size()), 0, n(0),
                                        l(0), n(1), l(1), n(2), l(2));
        const auto lengths = lengths_of_stored(keys);
        if (keys.empty())
            return FUZZ_REQUIRE(met == -1 && node[0] == root_ && len[0] == 77);
        const bool ends_early = asked == 1 && !lengths.empty();
        FUZZ_REQUIRE(met == (ends_early ? 0 : static_cast<int>(lengths.size()) - 1));
        if (asked & 1)
            is_stored_at(keys, node[0], len[0], lengths.empty() ? 0 : lengths.front());
        if (asked & 2)
            is_stored_at(keys, node[1], len[1], lengths.empty() ? 0 : lengths.back());
        const bool is_on_way = std::any_of(values_.begin(), values_.end(), [&](const auto &row) {
            return begins_with(row.first, keys);
        });
        if (asked & 4)
            FUZZ_REQUIRE((node[2] != nullptr) == is_on_way &&
                         len[2] == (is_on_way ? static_cast<int32_t>(keys.size()) : 0));
    }

    void find_beginning(const Keys &keys) const
    {
        const auto wild = std::find(keys.begin(), keys.end(), VIRTKEY_WILDCARD);
        const auto first =
            std::find_if(keys.begin(), wild, [&](mkey_t key) { return begins(key); });
        if (first == wild && wild != keys.end())
            return; // the wildcard is not to be given
        const int at = mc_nodestrstr(root_, keys.data(), static_cast<int>(keys.size()));
        FUZZ_REQUIRE(at == (first == keys.end() ? -1 : static_cast<int>(first - keys.begin())));
    }

    // A trie of its own becomes a child of a node that there is; only where no value
    // comes to stand on a way that has one, which mc_addstring would refuse.
    void graft(const Keys &to, mkey_t key, const Keys &below)
    {
        mc_node_s *parent = node_at(to);
        if (!parent || below.empty() || below.size() + to.size() > 30)
            return;
        const bool is_there = mc_node_get_exact_key(parent, key) != nullptr;
        static char text[] = "grafted";
        mc_node_s *child = mc_root_alloc();
        if (mc_addstring(child, below.data(), static_cast<int>(below.size()), 0, text) < 0)
            return mc_root_free(child, nullptr, nullptr);
        mc_key_s *entry = mc_node_add_key(parent, key, child);
        FUZZ_REQUIRE((entry == nullptr) == is_there);
        if (!entry)
            return mc_root_free(child, nullptr, nullptr);
        FUZZ_REQUIRE(entry->key == key && entry->node == child && !mc_node_optimized(parent));
        Keys keys = to;
        keys.push_back(key);
        keys.insert(keys.end(), below.begin(), below.end());
        values_.emplace(keys, text);
    }

    // The entries of the node that keys lead to, for one key of each kind.
    void look_at_node(const Keys &keys, mkey_t key) const
    {
        const mc_node_s *node = node_at(keys);
        if (!node)
            return;
        const mc_key_s *any = entry_of(node, VIRTKEY_WILDCARD);
        const mc_key_s *exact = entry_of(node, key);
        FUZZ_REQUIRE(mc_node_get_exact_key(node, key) == exact);
        FUZZ_REQUIRE(mc_node_get_any_key(node) == any);
        FUZZ_REQUIRE(mc_node_try_key(node, key) == (exact ? exact : any));
    }

    void unoptimize(const Keys &keys)
    {
        mc_node_s *node = node_at(keys);
        if (node)
            mc_node_unoptimized(node);
        FUZZ_REQUIRE(!node || !mc_node_optimized(node));
    }

    void search_root() const
    {
        mc_node_s *match = nullptr;
        int32_t len = 77;
        constexpr mkey_t key = 'a';
        const int result = mc_search(root_, &key, 0, MC_SEARCH_ANY, nullptr, nullptr, nullptr,
                                     nullptr, &match, &len);
        FUZZ_REQUIRE(result == (root_->keys_len > 0 ? 1 : -1) && len == 0);
        FUZZ_REQUIRE(match == (root_->keys_len > 0 ? root_ : nullptr));
    }

    void search_all() const
    {
        for (const auto &[keys, value] : values_)
            search(keys, 7);
    }

  private:
    static const mc_key_s *entry_of(const mc_node_s *node, mkey_t key)
    {
        const mc_key_s *begin = node->keys;
        const mc_key_s *end = begin + node->keys_len;
        const mc_key_s *found =
            std::find_if(begin, end, [=](const mc_key_s &entry) { return entry.key == key; });
        return found == end ? nullptr : found;
    }

    mc_node_s *node_at(const Keys &keys) const
    {
        mc_node_s *node = root_;
        for (const mkey_t key : keys) {
            const mc_key_s *entry = entry_of(node, key);
            if (!entry)
                return nullptr;
            node = entry->node;
        }
        return node;
    }

    bool begins(mkey_t key) const
    {
        return std::any_of(values_.begin(), values_.end(), [&](const auto &row) {
            return row.first[0] == key || row.first[0] == VIRTKEY_WILDCARD;
        });
    }

    bool begins_others(const Keys &keys) const
    {
        return std::any_of(values_.begin(), values_.end(), [&](const auto &row) {
            return row.first.size() > keys.size() && begins_with(row.first, keys);
        });
    }

    bool refuses(const Keys &keys, int flags) const
    {
        if (keys.empty() || keys.size() > 32 ||
            std::count(keys.begin(), keys.end(), VIRTKEY_WILDCARD) > 8)
            return true;
        if (flags & MC_ADD_OVERLAP)
            return false;
        const auto lengths = lengths_of_stored(keys);
        const bool is_prefix = !lengths.empty() && lengths.front() < static_cast<int>(keys.size());
        return is_prefix || (begins_others(keys) && !values_.contains(keys));
    }

    std::vector<int32_t> lengths_of_stored(const Keys &keys) const
    {
        std::vector<int32_t> lengths;
        for (size_t length = 1; length <= keys.size(); length++) {
            if (values_.contains(Keys(keys.begin(), keys.begin() + static_cast<long>(length))))
                lengths.push_back(static_cast<int32_t>(length));
        }
        return lengths;
    }

    void is_stored_at(const Keys &keys, const mc_node_s *node, int32_t len, int32_t wanted) const
    {
        FUZZ_REQUIRE(len == wanted && (node == nullptr) == (wanted == 0));
        if (node)
            FUZZ_REQUIRE(mc_node_value(node) == values_.at(Keys(keys.begin(), keys.begin() + len)));
    }

    mc_node_s *root_;
    std::map<Keys, void *> values_;
};

} // namespace varno_fuzz

#endif
