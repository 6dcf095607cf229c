#ifndef VARNO_KEYS_TRIE_LOOKUP_H
#define VARNO_KEYS_TRIE_LOOKUP_H

// How a key is found in a node of the trie. Inline, since the editor and the decoder
// ask their roots about each key.

#include <varno/mckeys.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "contract.h"

namespace varno {

// The keys that an index knows: the virtual keys, and behind them, where the codes begin
// anew, the 7-bit ones.
constexpr mkey_t first_indexed = VIRTKEY_WILDCARD + 1;
constexpr uint32_t indexed_keys = 128 - first_indexed;

// A root of mc_root_alloc has an index of its keys behind its node, so that a key of a
// long, unsorted root costs one look. The node itself stays as it is declared. With a
// wildcard child, or too many keys, the index is not valid.
struct root_s {
    mc_node_s node;
    const mc_key_s *keys;     // what the index is of; it counts only while these are
    int32_t keys_len;         // the node's own
    bool has_high_bytes;      // 128..255: not in the index, and seldom in a root
    uint8_t at[indexed_keys]; // 1 + the place of each key's entry; 0: there is none
};

// Where the index has a key.
inline uint32_t slot_of(mkey_t key)
{
    return key - first_indexed;
}

inline bool is_indexed(mkey_t key)
{
    return slot_of(key) < indexed_keys;
}

// What tells such a root: its own address, in the two gaps of its node. No copy of it and
// no node made elsewhere has that.
constexpr size_t low_gap = offsetof(mc_node_s, keys_len) + sizeof(int32_t);
constexpr size_t high_gap = offsetof(mc_node_s, optimized) + sizeof(uint32_t);
constexpr bool has_gaps = low_gap + sizeof(uint32_t) == offsetof(mc_node_s, value) &&
                          high_gap + sizeof(uint32_t) == offsetof(mc_node_s, any);

inline uint32_t gap(const mc_node_s *node, size_t offset)
{
    uint32_t content;
    std::memcpy(&content, reinterpret_cast<const char *>(node) + offset, sizeof(content));
    return content;
}

inline bool is_root(const mc_node_s *node)
{
    const uint64_t self = reinterpret_cast<size_t>(node);
    return has_gaps && gap(node, low_gap) == static_cast<uint32_t>(self) &&
           gap(node, high_gap) == static_cast<uint32_t>(self >> 32);
}

// The node's index; NULL without a valid one.
inline const root_s *index_of(const mc_node_s *node)
{
    if (!is_root(node)) [[unlikely]]
        return nullptr;
    const auto *root = reinterpret_cast<const root_s *>(node);
    return root->keys == node->keys && root->keys_len == node->keys_len ? root : nullptr;
}

// The entry of a key that is indexed. NULL without one, which proves that there is none
// only where the slot is empty: an entry may have been changed by hand.
inline mc_key_s *indexed_entry(const root_s *root, mkey_t key)
{
    const int place = root->at[slot_of(key)];
    if (place == 0)
        return nullptr;
    mc_key_s *entry = &root->node.keys[place - 1];
    return entry->key == key ? entry : nullptr;
}

// As mc_nodestrstr, from s[i] on, whatever the node is.
int first_bound_from(const mc_node_s *node, const mkey_t *s, int len, int i);

// As mc_nodestrstr, for a node that is there and at least one key. Pasted text comes here:
// most keys are indexed and have no child.
[[gnu::always_inline]] inline int first_bound(const mc_node_s *node, const mkey_t *s, int len)
{
    const root_s *root = index_of(node);
    if (!root || node->any) [[unlikely]]
        return first_bound_from(node, s, len, 0);
    int i = 0;
    do {
        if (!is_indexed(s[i])) [[unlikely]]
            return first_bound_from(node, s, len, i);
        if (root->at[slot_of(s[i])] != 0)
            return indexed_entry(root, s[i]) ? i : first_bound_from(node, s, len, i);
    } while (++i < len);
    return -1;
}

// Where keys lead that are followed by exact codes, to the end of the shortest sequence.
struct Walk {
    mc_node_s *complete; // that end; NULL: the keys begin with no sequence
    int32_t len;         // keys that led to the end, or as far as they go on; else 0
    bool goes_on;        // there is no end, and all keys lead on
};

// What the editor and the decoder ask mc_search_exact for, asked without its ten arguments
// while nobody listens.
Walk walk_keys(mc_node_s *root, const mkey_t *s, int len);

// The same by way of mc_search_exact, which traces.
inline Walk walk_traced(mc_node_s *root, const mkey_t *s, int len)
{
    mc_node_s *first_complete = nullptr;
    mc_node_s *longest_match = nullptr;
    int32_t first_complete_len = 0;
    int32_t longest_match_len = 0;
    mc_search_exact(root, s, len, 0, &first_complete, &first_complete_len, nullptr, nullptr,
                    &longest_match, &longest_match_len);
    if (first_complete)
        return {first_complete, first_complete_len, false};
    return {nullptr, longest_match_len, longest_match != nullptr};
}

// A single bound key is most of what is ever asked: that is told without a call.
[[gnu::always_inline]] inline Walk walk_exact(mc_node_s *root, const mkey_t *s, int len)
{
    if (!is_silent()) [[unlikely]]
        return walk_traced(root, s, len);
    const root_s *index = index_of(root);
    const mc_key_s *entry = index && is_indexed(*s) ? indexed_entry(index, *s) : nullptr;
    if (entry && entry->node->value)
        return {entry->node, 1, false};
    return walk_keys(root, s, len);
}

} // namespace varno

#endif
