// The key-sequence trie: building, freezing, and searching by exact codes or
// with wildcards. What the values mean, and whether a partial match waits for
// more keys, is left to the line editor and the keystroke decoder.

#include "keys/trie_internal.h"

#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "contract.h"
#include "keys/trie_lookup.h"

namespace {

using namespace varno;

constexpr char source_name[] = "mckeys";
constexpr char node_tag[] = "mc_node_s";

constexpr int most_keys = 32;
constexpr int most_wildcards = 8;

// From so many sorted entries on, halving beats scanning.
constexpr int32_t keys_to_halve = 16;

// The reported text spells the wildcard's code out; a host's tools know it so.
#define ASSERT_NO_WILDCARD(condition, left_text)                                                   \
    VARNO_ASSERT_AS(condition, left_text " != (((((mkey_t)0xFFFFFFFE) - 20) - 1))")

// A virtual key is never a character, whatever the locale says of bytes.
bool is_character(mkey_t key)
{
    return key <= 255 && std::isprint(static_cast<int>(key)) != 0;
}

// Traces s[i], with its character where it has one.
#define DEBUG_KEY(what, i, key)                                                                    \
    do {                                                                                           \
        if (!trace_wants(g_varno_trace_module_id, varno::debug_level)) [[likely]]                  \
            break;                                                                                 \
        if (is_character(key))                                                                     \
            VARNO_DEBUG(what " s[%d] = %u ('%c')", i, key, static_cast<int>(key));                 \
        else                                                                                       \
            VARNO_DEBUG(what " s[%d] = %u", i, key);                                               \
    } while (0)

size_t address(const void *p)
{
    return reinterpret_cast<size_t>(p);
}

const char *value_text(const mc_node_s *node)
{
    return node->value ? static_cast<const char *>(node->value) : "(null)";
}

void set_gaps(mc_node_s *node, uint64_t content)
{
    const auto low = static_cast<uint32_t>(content);
    const auto high = static_cast<uint32_t>(content >> 32);
    std::memcpy(reinterpret_cast<char *>(node) + low_gap, &low, sizeof(low));
    std::memcpy(reinterpret_cast<char *>(node) + high_gap, &high, sizeof(high));
}

// Notes the entry at a place; false where the index cannot hold it.
bool note_entry(root_s *root, int32_t place)
{
    const mkey_t key = root->node.keys[place].key;
    if (place >= UINT8_MAX || key == VIRTKEY_WILDCARD)
        return false;
    if (is_indexed(key))
        root->at[slot_of(key)] = static_cast<uint8_t>(place + 1);
    root->has_high_bytes |= key >= 128 && key <= 255;
    return true;
}

// Makes the index agree with the node's keys, of which the first `known` it has.
void update_index(mc_node_s *node, int32_t known)
{
    if (!is_root(node))
        return;
    auto *root = reinterpret_cast<root_s *>(node);
    root->keys_len = -1;
    if (known == 0) {
        root->has_high_bytes = false;
        std::memset(root->at, 0, sizeof(root->at));
    }
    for (int32_t place = known; place < node->keys_len; place++) {
        if (!note_entry(root, place))
            return;
    }
    root->keys = node->keys;
    root->keys_len = node->keys_len;
}

// An index that a change by hand has made invalid stays so, whatever is added.
void drop_index(mc_node_s *node)
{
    if (is_root(node))
        reinterpret_cast<root_s *>(node)->keys_len = -1;
}

// The last entry whose code is not above the key is the only candidate; each
// round keeps it within [at, at + count).
mc_key_s *find_by_halving(const mc_node_s *node, mkey_t key)
{
    mc_key_s *at = node->keys;
    for (int32_t count = node->keys_len; count > 1;) {
        const int32_t half = count / 2;
        at += at[half].key <= key ? half : 0;
        count -= half;
    }
    return at->key == key ? at : nullptr;
}

// A scan of sorted keys ends at the first code that is not below the wanted one.
template <bool is_sorted>
inline bool is_end(const mc_key_s &entry, mkey_t key)
{
    return is_sorted ? entry.key >= key : entry.key == key;
}

template <bool is_sorted>
inline mc_key_s *answer(mc_key_s *end, mkey_t key)
{
    return !is_sorted || end->key == key ? end : nullptr;
}

template <bool is_sorted>
inline mc_key_s *find_by_scan(const mc_node_s *node, mkey_t key)
{
    mc_key_s *entry = node->keys;
    int32_t left = node->keys_len;
    // Four to a round: half the work of one to a round.
    for (; left >= 4; left -= 4, entry += 4) {
        if (is_end<is_sorted>(entry[0], key))
            return answer<is_sorted>(entry, key);
        if (is_end<is_sorted>(entry[1], key))
            return answer<is_sorted>(entry + 1, key);
        if (is_end<is_sorted>(entry[2], key))
            return answer<is_sorted>(entry + 2, key);
        if (is_end<is_sorted>(entry[3], key))
            return answer<is_sorted>(entry + 3, key);
    }
    for (; left > 0; left--, entry++) {
        if (is_end<is_sorted>(*entry, key))
            return answer<is_sorted>(entry, key);
    }
    return nullptr;
}

// A node that claims keys but has none holds nothing.
mc_key_s *find_without_index(const mc_node_s *node, mkey_t key)
{
    if (!node->keys)
        return nullptr;
    if (!node->optimized) [[likely]]
        return find_by_scan<false>(node, key);
    return node->keys_len < keys_to_halve ? find_by_scan<true>(node, key)
                                          : find_by_halving(node, key);
}

// The one lookup of a code in a node; everything that asks for a child by its
// code comes here. An entry that is not what the index says is looked for.
inline mc_key_s *find_indexed(const root_s *root, const mc_node_s *node, mkey_t key)
{
    if (root && is_indexed(key)) {
        if (root->at[slot_of(key)] == 0)
            return nullptr;
        if (mc_key_s *entry = indexed_entry(root, key)) [[likely]]
            return entry;
    } else if (root && key <= 255 && !root->has_high_bytes) {
        return nullptr;
    }
    return find_without_index(node, key);
}

inline mc_key_s *find_key(const mc_node_s *node, mkey_t key)
{
    return find_indexed(index_of(node), node, key);
}

inline mc_key_s *find_any_indexed(const root_s *root, const mc_node_s *node)
{
    if (node->optimized)
        return node->any;
    if (root)
        return nullptr;
    return find_without_index(node, VIRTKEY_WILDCARD);
}

mc_key_s *find_any_key(const mc_node_s *node)
{
    return find_any_indexed(index_of(node), node);
}

bool is_consistent(const mc_node_s *node)
{
    return node->keys ? node->keys_len > 0 : node->keys_len <= 0;
}

mc_node_s *alloc_node(size_t bytes)
{
    return static_cast<mc_node_s *>(tracked_calloc(1, bytes, node_tag));
}

} // namespace

// A root that has lost its index is a node like any other.
mc_node_s *mc_root_alloc(void)
{
    mc_node_s *root = alloc_node(has_gaps ? sizeof(root_s) : sizeof(mc_node_s));
    if (root && has_gaps)
        set_gaps(root, address(root));
    return root;
}

// Recursion goes as deep as the longest sequence: 32 levels for what
// mc_addstring built.
void mc_root_free(mc_node_s *root, mc_free_fn free_fn, void *ctx)
{
    if (!root || (root->keys_len > 0 && !root->keys))
        return;
    for (int32_t i = 0; i < root->keys_len; i++)
        mc_root_free(root->keys[i].node, free_fn, ctx);
    if (free_fn && root->value)
        free_fn(root->value, ctx);
    tracked_free(root->keys, "BYTE");
    // What comes to stand here next is no root.
    if (has_gaps)
        set_gaps(root, 0);
    tracked_free(root, node_tag);
}

void mc_node_unoptimized(mc_node_s *node)
{
    node->optimized = 0;
    node->any = nullptr;
}

int mc_node_optimized(const mc_node_s *node)
{
    return node->optimized ? 1 : 0;
}

namespace {

// Adds an entry that is not there yet.
mc_key_s *append_key(mc_node_s *node, mkey_t key, mc_node_s *child)
{
    if (!is_consistent(node))
        return nullptr;
    const bool has_index = index_of(node);
    const size_t count = node->keys ? static_cast<size_t>(node->keys_len) : 0;
    auto *keys = static_cast<mc_key_s *>(crealloc(node->keys, sizeof(mc_key_s), count, 1));
    if (!keys)
        return nullptr;
    keys[count] = {key, child};
    node->keys = keys;
    node->keys_len = static_cast<int32_t>(count + 1);
    mc_node_unoptimized(node);
    if (has_index)
        update_index(node, static_cast<int32_t>(count));
    else
        drop_index(node);
    return &keys[count];
}

} // namespace

mc_key_s *mc_node_add_key(mc_node_s *node, mkey_t key, mc_node_s *child)
{
    if (!is_consistent(node) || find_key(node, key))
        return nullptr;
    return append_key(node, key, child);
}

mc_key_s *mc_node_get_exact_key(const mc_node_s *node, mkey_t key)
{
    return find_key(node, key);
}

mc_key_s *mc_node_get_any_key(const mc_node_s *node)
{
    return find_any_key(node);
}

mc_key_s *mc_node_try_key(const mc_node_s *node, mkey_t key)
{
    const root_s *root = index_of(node);
    mc_key_s *exact = find_indexed(root, node, key);
    return exact ? exact : find_any_indexed(root, node);
}

int mc_key_compare(const void *left, const void *right)
{
    VARNO_ASSERT(left);
    VARNO_ASSERT(right);
    // An entry begins with its code, so a bare code may stand on either side.
    const mkey_t l = *static_cast<const mkey_t *>(left);
    const mkey_t r = *static_cast<const mkey_t *>(right);
    return l < r ? -1 : l > r;
}

int mc_optimize(mc_node_s *n)
{
    mc_node_unoptimized(n);
    if (n->keys_len > 1)
        std::qsort(n->keys, static_cast<size_t>(n->keys_len), sizeof(mc_key_s), mc_key_compare);
    update_index(n, 0);
    mc_key_s *any = nullptr;
    for (int32_t i = 0; i < n->keys_len; i++) {
        VARNO_ASSERT(n->keys[i].node);
        mc_optimize(n->keys[i].node);
        if (n->keys[i].key == VIRTKEY_WILDCARD)
            any = &n->keys[i];
    }
    n->any = any;
    n->optimized = 1;
    return 0;
}

namespace {

bool is_acceptable(const mkey_t *s, int len)
{
    int wildcards = 0;
    for (int i = 0; i < len; i++)
        wildcards += s[i] == VIRTKEY_WILDCARD;
    return wildcards <= most_wildcards;
}

// Where a sequence leaves the trie.
struct Insertion {
    mc_node_s *node;
    int known;          // keys of the sequence that lead up to node
    bool follows_value; // a proper beginning of the sequence ends another one
};

Insertion find_insertion(mc_node_s *root, const mkey_t *s, int len)
{
    Insertion at{root, 0, false};
    for (; at.known < len; at.known++) {
        const int i = at.known;
        DEBUG_KEY("looking for", i, s[i]);
        const mc_key_s *entry = find_key(at.node, s[i]);
        at.follows_value |= at.node->value != nullptr;
        if (!entry) {
            DEBUG_KEY("no key for", i, s[i]);
            break;
        }
        at.node = entry->node;
    }
    return at;
}

// The whole sequence exists: it begins others, or was added before.
int add_value(mc_node_s *t, int flags, void *value)
{
    VARNO_ASSERT(!t->value);
    VARNO_ASSERT(t->keys_len > 0);
    if (!(flags & MC_ADD_OVERLAP)) {
        VARNO_DEBUG("last node was a substring node -- we cannot add");
        return -1;
    }
    t->value = value;
    VARNO_DEBUG("set 0x%zu value = [%s]", address(t), value_text(t));
    return 1;
}

// The trace of a node made for s[j].
void trace_new_child(const mc_node_s *child, int j, mkey_t key)
{
    if (is_character(key))
        VARNO_DEBUG("allocating new child 0x%zu at %d -- s[%d] = '%c'", address(child), j, j,
                    static_cast<int>(key));
    else
        VARNO_DEBUG("allocating new child 0x%zu at %d -- s[%d] = (%u)", address(child), j, j, key);
}

mc_node_s *new_child(int j, mkey_t key)
{
    mc_node_s *child = alloc_node(sizeof(mc_node_s));
    if (child && trace_wants(g_varno_trace_module_id, varno::debug_level)) [[unlikely]]
        trace_new_child(child, j, key);
    return child;
}

// Makes the nodes for s[i..len) as a chain that nothing refers to yet, and its
// last node through out_last. Returns the first; NULL and nothing left without
// memory.
mc_node_s *make_chain(const mkey_t *s, int i, int len, mc_node_s **out_last)
{
    mc_node_s *first = new_child(i, s[i]);
    mc_node_s *last = first;
    for (int j = i + 1; last && j < len; j++) {
        mc_node_s *next = new_child(j, s[j]);
        if (next && !append_key(last, s[j], next)) {
            mc_root_free(next, nullptr, nullptr);
            next = nullptr;
        }
        last = next;
    }
    if (!last) {
        mc_root_free(first, nullptr, nullptr);
        return nullptr;
    }
    *out_last = last;
    return first;
}

void trace_start(const mkey_t *s, int i)
{
    if (is_character(s[i]))
        VARNO_DEBUG("starting at %d (s[%d] = '%c'), going to add", i, i, static_cast<int>(s[i]));
    else
        VARNO_DEBUG("starting at %d (s[%d] = (%d)), going to add", i, i, static_cast<int>(s[i]));
}

// Hangs s[i..len) below a node. The new chain is attached whole and last, so
// that a failure leaves everything that stood before, the node included.
int extend(mc_node_s *node, const mkey_t *s, int i, int len, void *value)
{
    if (trace_wants(g_varno_trace_module_id, varno::debug_level)) [[unlikely]]
        trace_start(s, i);
    mc_node_s *last = nullptr;
    mc_node_s *first = make_chain(s, i, len, &last);
    if (!first)
        return -1;
    if (!append_key(node, s[i], first)) {
        mc_root_free(first, nullptr, nullptr);
        return -1;
    }
    VARNO_DEBUG("setting value for node 0x%zu", address(last));
    last->value = value;
    return 0;
}

} // namespace

int mc_addstring(mc_node_s *root, const mkey_t *s, int len, int flags, void *value)
{
    if (len > most_keys || len <= 0 || !root || !s || !value || !is_acceptable(s, len))
        return -1;
    const Insertion at = find_insertion(root, s, len);
    VARNO_DEBUG("going to insert at node 0x%zu (root: 0x%zu)", address(at.node), address(root));
    if (at.follows_value && !(flags & MC_ADD_OVERLAP)) {
        VARNO_DEBUG("we found a value in the parent chain -- can't add");
        return -1;
    }
    if (at.known == len)
        return add_value(at.node, flags, value);
    return extend(at.node, s, at.known, len, value);
}

namespace {

// One answer of a search: a node, and how many keys led to it.
struct Found {
    mc_node_s *node;
    int32_t len;
};

// The three answers of a search.
struct Answers {
    Found shortest;
    Found longest;
    Found match;
};

void put(const Found &found, mc_node_s **out_node, int32_t *out_len)
{
    if (out_node)
        *out_node = found.node;
    if (out_len)
        *out_len = found.len;
}

// Every output of a search is optional.
void put_results(const Answers &found, mc_node_s **shortest, int32_t *shortest_len,
                 mc_node_s **longest, int32_t *longest_len, mc_node_s **match, int32_t *match_len)
{
    put(found.shortest, shortest, shortest_len);
    put(found.longest, longest, longest_len);
    put(found.match, match, match_len);
}

// The traces of a search that nobody follows cost nothing, not even a test.
#define SEARCH_DEBUG(...)                                                                          \
    do {                                                                                           \
        if constexpr (is_traced)                                                                   \
            VARNO_DEBUG(__VA_ARGS__);                                                              \
    } while (0)

// Returns the number of complete nodes met, less one.
template <bool is_traced>
inline int search_exact(mc_node_s *n, const mkey_t *s, int len, bool first_only, Answers &found)
{
    int count = -1;
    SEARCH_DEBUG("Going to search downward..");
    for (int i = 0; i < len; i++) {
        if constexpr (is_traced)
            DEBUG_KEY("considering", i, s[i]);
        const mc_key_s *entry = find_key(n, s[i]);
        if (!entry) {
            SEARCH_DEBUG("no match for s[%d] (%u)", i, s[i]);
            return count;
        }
        n = entry->node;
        if (!n->value) {
            SEARCH_DEBUG("node for s[%d] does not have a value", i);
            continue;
        }
        SEARCH_DEBUG("found a node with value at %d", i);
        if (count++ < 0)
            found.shortest = {n, i + 1};
        if (first_only)
            return count;
        found.longest = {n, i + 1};
    }
    found.match = {n, len};
    return count;
}

#undef SEARCH_DEBUG

// A search of any kind, traced where somebody listens.
[[gnu::noinline]] int search_keys(mc_node_s *root, const mkey_t *s, int len, int,
                                  mc_node_s **first_complete, int32_t *first_complete_len,
                                  mc_node_s **longest_complete, int32_t *longest_complete_len,
                                  mc_node_s **longest_match, int32_t *longest_match_len)
{
    if (!root || !s || len <= 0)
        return -1;
    const bool first_only = first_complete && !longest_complete && !longest_match;
    Answers found{};
    const bool is_traced = trace_wants(g_varno_trace_module_id, varno::debug_level);
    const int count = is_traced ? search_exact<true>(root, s, len, first_only, found)
                                : search_exact<false>(root, s, len, first_only, found);
    put_results(found, first_complete, first_complete_len, longest_complete, longest_complete_len,
                longest_match, longest_match_len);
    VARNO_DEBUG("returning %d", count);
    return count;
}

// All of two pointers and more are set. Pointers of one process share bits; where some
// do not, the answer is no, and the question takes the longer way.
template <typename... Pointers>
inline bool are_set(Pointers... pointers)
{
    return (reinterpret_cast<uintptr_t>(pointers) & ...) != 0;
}

// Looks a key up without calls: by the index, or by a scan. False where that is not
// enough to tell.
[[gnu::always_inline]] inline bool find_at_once(const mc_node_s *n, mkey_t key,
                                                const mc_key_s *&out_entry)
{
    const root_s *root = index_of(n);
    if (!root) {
        const bool is_scanned = n->keys && (!n->optimized || n->keys_len < keys_to_halve);
        if (is_scanned)
            out_entry = n->optimized ? find_by_scan<true>(n, key) : find_by_scan<false>(n, key);
        return is_scanned;
    }
    if (!is_indexed(key))
        return false;
    out_entry = indexed_entry(root, key);
    return out_entry || root->at[slot_of(key)] == 0;
}

// Asked for the first complete node and the longest match, which are one node where no
// node on the way has a value, as in all tries without overlaps. Nobody listens to traces.
[[gnu::noinline]] int search_usual(mc_node_s *root, const mkey_t *s, int len, mc_node_s **match,
                                   mc_node_s **complete, int32_t *complete_len, int32_t *match_len)
{
    mc_node_s *n = root;
    const mkey_t *key = s;
    for (int left = len;; key++) {
        const mc_key_s *entry = nullptr;
        if (!find_at_once(n, *key, entry)) [[unlikely]]
            break;
        if (!entry) {
            *match = *complete = nullptr;
            *match_len = *complete_len = 0;
            return -1;
        }
        n = entry->node;
        if (--left == 0) {
            const bool is_complete = n->value;
            // In this order, for a caller that hands one variable in twice.
            *complete = is_complete ? n : nullptr;
            *complete_len = is_complete ? len : 0;
            *match = n;
            *match_len = len;
            return is_complete ? 0 : -1;
        }
        if (n->value) [[unlikely]]
            break;
    }
    return search_keys(root, s, len, 0, complete, complete_len, nullptr, nullptr, match, match_len);
}

} // namespace

// The usual question, about the first complete node and the longest match, goes the short
// way, as long as nobody listens to traces.
int mc_search_exact(mc_node_s *root, const mkey_t *s, int len, int flags,
                    mc_node_s **first_complete, int32_t *first_complete_len,
                    mc_node_s **longest_complete, int32_t *longest_complete_len,
                    mc_node_s **longest_match, int32_t *longest_match_len)
{
    if (longest_complete || longest_complete_len || !are_set(first_complete, first_complete_len) ||
        !are_set(longest_match, longest_match_len) || !are_set(root, s) || len <= 0 || !is_silent())
        return search_keys(root, s, len, flags, first_complete, first_complete_len,
                           longest_complete, longest_complete_len, longest_match,
                           longest_match_len);
    const root_s *index = len == 1 && is_indexed(*s) ? index_of(root) : nullptr;
    const mc_key_s *entry = index ? indexed_entry(index, *s) : nullptr;
    if (!entry || !entry->node->value)
        return search_usual(root, s, len, longest_match, first_complete, first_complete_len,
                            longest_match_len);
    *first_complete = *longest_match = entry->node;
    *first_complete_len = *longest_match_len = 1;
    return 0;
}

// A third walk beside those of mc_search_exact: its answer fits two registers, and it ends
// at the first value.
Walk varno::walk_keys(mc_node_s *root, const mkey_t *s, int len)
{
    const mc_node_s *n = root;
    for (int i = 0; i < len; i++) {
        const mc_key_s *entry = find_key(n, s[i]);
        if (!entry)
            return {nullptr, 0, false};
        if (entry->node->value)
            return {entry->node, i + 1, false};
        n = entry->node;
    }
    return {nullptr, len, true};
}

namespace {

// Each level of the prefix search answers for itself: a length counts the keys
// consumed below that level.

// The three answers as the traces spell them.
#define RESULTS "%s %d %s %d %s %d"
#define SPELLED(res)                                                                               \
    (res).shortest.node ? "SHORT" : "!s", (res).shortest.len, (res).longest.node ? "LONG" : "!l",  \
        (res).longest.len, (res).match.node ? "MATCH" : "!m", (res).match.len

Found one_up(const Found &found)
{
    return found.node ? Found{found.node, found.len + 1} : Found{};
}

// The shorter of two answers; a tie goes to the exact way.
Found shorter(const Found &exact, const Found &any)
{
    if (!exact.node || !any.node)
        return one_up(exact.node ? exact : any);
    return one_up(any.len < exact.len ? any : exact);
}

// The longer of two answers; a tie goes to the wildcard, unlike above: so a
// caller that asks for both learns of both ways.
Found longer(const Found &exact, const Found &any)
{
    if (!exact.node || !any.node)
        return one_up(exact.node ? exact : any);
    return one_up(exact.len <= any.len ? any : exact);
}

Answers end_of_input(mc_node_s *node, int slen)
{
    Answers res{};
    VARNO_DEBUG("%d: end of recursion", slen);
    if (node->value) {
        VARNO_DEBUG("%d: we have value, setting SC and LC", slen);
        res.shortest.node = res.longest.node = node;
    }
    if (node->keys_len > 0) {
        VARNO_DEBUG("%d: we have children, setting longest match", slen);
        res.match.node = node;
    }
    VARNO_DEBUG("%d: returning US at end of recursion.. ", slen);
    return res;
}

Answers search_level(mc_node_s *node, const mkey_t *s, int slen, int flags);

// Explores the exact and the wildcard child and merges what they found.
Answers search_children(const mc_node_s *node, const mkey_t *s, int slen, int flags)
{
    Answers exact{};
    Answers any{};
    const mc_key_s *exact_key = find_key(node, s[0]);
    if (exact_key) {
        VARNO_DEBUG("%d: have an EXACT child", slen);
        exact = search_level(exact_key->node, s + 1, slen - 1, flags);
    }
    const mc_key_s *any_key = nullptr;
    if (flags & MC_SEARCH_ANY) {
        VARNO_DEBUG("%d: going to allow ANY child", slen);
        any_key = find_any_key(node);
    }
    if (any_key) {
        VARNO_DEBUG("%d: have an ANY child", slen);
        any = search_level(any_key->node, s + 1, slen - 1, flags);
    }
    if (exact_key)
        VARNO_DEBUG("%d: child EXACT returned: " RESULTS, slen, SPELLED(exact));
    if (any_key)
        VARNO_DEBUG("%d: child ANY returned: " RESULTS, slen, SPELLED(any));
    const Answers res{shorter(exact.shortest, any.shortest), longer(exact.longest, any.longest),
                      longer(exact.match, any.match)};
    if (exact_key || any_key)
        VARNO_DEBUG("%d: unified child res: " RESULTS, slen, SPELLED(res));
    return res;
}

// A node's own value takes the place of what was found below it, as the shortest
// and, where there is none, as the longest. Only the nodes are replaced: the
// lengths go on describing the child's result, so a caller takes a length as
// this node's only where no longer sequence goes through it.
void override_by_value(Answers &res, mc_node_s *node, int slen)
{
    if (!node->value)
        return;
    VARNO_DEBUG("%d: overriding shortest complete", slen);
    res.shortest.node = node;
    if (!res.longest.node) {
        VARNO_DEBUG("%d: no longest complete, overriding", slen);
        res.longest.node = node;
    }
}

// The first thing at each level.
void check_first_key(const mkey_t *s, int slen)
{
    ASSERT_NO_WILDCARD(!slen || s[0] != VIRTKEY_WILDCARD, "!slen || s[0]");
}

Answers search_level(mc_node_s *node, const mkey_t *s, int slen, int flags)
{
    check_first_key(s, slen);
    VARNO_DEBUG("%d: ENTERED -- slen: %d", slen, slen);
    if (slen < 1)
        return end_of_input(node, slen);
    VARNO_DEBUG("%d: LOOKING FOR s[0] = [ %c ]", slen, static_cast<int>(s[0]));
    Answers res = search_children(node, s, slen, flags);
    VARNO_DEBUG("%d: interim results: " RESULTS, slen, SPELLED(res));
    override_by_value(res, node, slen);
    VARNO_DEBUG("%d: RETURNING slen %d: " RESULTS "\n", slen, slen, SPELLED(res));
    return res;
}

} // namespace

void mc_search_level(mc_node_s *node, const mkey_t *s, int slen, int flags,
                     mc_node_s **shortest_complete, int32_t *shortest_complete_len,
                     mc_node_s **longest_complete, int32_t *longest_complete_len,
                     mc_node_s **longest_match, int32_t *longest_match_len)
{
    check_first_key(s, slen);
    // A deeper level's assertion may leave by throwing.
    put_results({}, shortest_complete, shortest_complete_len, longest_complete,
                longest_complete_len, longest_match, longest_match_len);
    const Answers res = search_level(node, s, slen, flags);
    put_results(res, shortest_complete, shortest_complete_len, longest_complete,
                longest_complete_len, longest_match, longest_match_len);
}

// The guard on len is the reverse of mc_search_exact's, and meant: a caller that
// passes a sequence gets a refusal, never a search whose work doubles with each
// wildcard; what is answered is about root alone.
int mc_search(mc_node_s *root, const mkey_t *s, int len, int flags, mc_node_s **shortest_complete,
              int32_t *shortest_complete_len, mc_node_s **longest_complete,
              int32_t *longest_complete_len, mc_node_s **longest_match, int32_t *longest_match_len)
{
    if (!root || !s || len > 0)
        return -1;
    put_results({}, shortest_complete, shortest_complete_len, longest_complete,
                longest_complete_len, longest_match, longest_match_len);
    VARNO_DEBUG("N is 0x%zu, value = %s", address(root), value_text(root));
    if (flags & ~MC_SEARCH_ANY)
        return mc_search_exact(root, s, len, flags, shortest_complete, shortest_complete_len,
                               longest_complete, longest_complete_len, longest_match,
                               longest_match_len);
    const Answers res = search_level(root, s, len, flags);
    put_results(res, shortest_complete, shortest_complete_len, longest_complete,
                longest_complete_len, longest_match, longest_match_len);
    const bool found = (shortest_complete && res.shortest.node) ||
                       (longest_complete && res.longest.node) || (longest_match && res.match.node);
    return found ? 1 : -1;
}

void *mc_node_value(const mc_node_s *n)
{
    VARNO_ASSERT(n);
    return n->value;
}

int varno::first_bound_from(const mc_node_s *node, const mkey_t *s, int len, int i)
{
    // A wildcard child takes whatever the first key is.
    const bool takes_any = find_any_key(node) != nullptr;
    for (; i < len; i++) {
        ASSERT_NO_WILDCARD(s[i] != VIRTKEY_WILDCARD, "s[i]");
        if (takes_any || find_key(node, s[i]))
            return i;
    }
    return -1;
}

int mc_nodestrstr(const mc_node_s *node, const mkey_t *s, int len)
{
    return len < 1 || !node || !s ? -1 : first_bound(node, s, len);
}
