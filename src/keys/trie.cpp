// The key-sequence trie: building, sorting, and searching by exact codes. What the
// values mean, and whether a partial match waits for more keys, is left to the line
// editor and the keystroke decoder.

#include "keys/trie_internal.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdlib>

#include "contract.h"

using namespace varno;

namespace {

constexpr char source_name[] = "mckeys";
constexpr char node_tag[] = "mc_node_s";

// What terminals send is shorter. The first bounds recursion over a trie, the second a search
// with wildcards, each of which may double its paths.
constexpr int most_keys = 32;
constexpr int most_wildcards = 8;

// A virtual key is never a character, whatever the locale says of bytes.
bool is_character(mkey_t key)
{
    return key <= 255 && std::isprint(static_cast<int>(key)) != 0;
}

// Traces s[i], with its character where it has one.
void trace_key(const char *what, int i, mkey_t key)
{
    if (!wants_debug())
        return;
    if (is_character(key))
        VARNO_DEBUG("%s s[%d] = %u ('%c')", what, i, key, static_cast<int>(key));
    else
        VARNO_DEBUG("%s s[%d] = %u", what, i, key);
}

// The traces print a node's address in decimal.
size_t address(const void *p)
{
    return reinterpret_cast<size_t>(p);
}

// The one lookup of a code in a node; everything that asks for a child by its code
// comes here. A node that claims keys but has none holds nothing.
mc_key_s *find_key(const mc_node_s *node, mkey_t key)
{
    if (!node->keys || node->keys_len <= 0)
        return nullptr;
    mc_key_s *end = node->keys + node->keys_len;
    mc_key_s *entry = nullptr;
    if (node->optimized)
        entry = std::lower_bound(node->keys, end, key,
                                 [](const mc_key_s &e, mkey_t k) { return e.key < k; });
    else
        entry = std::find_if(node->keys, end, [key](const mc_key_s &e) { return e.key == key; });
    return entry != end && entry->key == key ? entry : nullptr;
}

// A count without its array, or an array without a count, is a record that a host has made by
// hand: nothing is added to it.
bool is_consistent(const mc_node_s *node)
{
    return node->keys ? node->keys_len > 0 : node->keys_len <= 0;
}

} // namespace

mc_node_s *mc_root_alloc(void)
{
    return static_cast<mc_node_s *>(tracked_calloc(1, sizeof(mc_node_s), node_tag));
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
    tracked_free(root, node_tag);
}

// An array that has grown may have moved, and the wildcard's entry with it.
void mc_node_unoptimized(mc_node_s *node)
{
    node->optimized = 0;
    node->any = nullptr;
}

int mc_node_optimized(const mc_node_s *node)
{
    return node->optimized ? 1 : 0;
}

mc_key_s *mc_node_add_key(mc_node_s *node, mkey_t key, mc_node_s *child)
{
    if (!is_consistent(node) || find_key(node, key))
        return nullptr;
    const size_t count = node->keys ? static_cast<size_t>(node->keys_len) : 0;
    auto *keys = static_cast<mc_key_s *>(crealloc(node->keys, sizeof(mc_key_s), count, 1));
    if (!keys)
        return nullptr;
    keys[count] = {key, child};
    node->keys = keys;
    node->keys_len = static_cast<int32_t>(count + 1);
    mc_node_unoptimized(node);
    return &keys[count];
}

mc_key_s *mc_node_get_exact_key(const mc_node_s *node, mkey_t key)
{
    return find_key(node, key);
}

mc_key_s *mc_node_get_any_key(const mc_node_s *node)
{
    return node->optimized ? node->any : find_key(node, VIRTKEY_WILDCARD);
}

// A wildcard stands for every code that has no entry of its own.
mc_key_s *mc_node_try_key(const mc_node_s *node, mkey_t key)
{
    mc_key_s *exact = find_key(node, key);
    return exact ? exact : mc_node_get_any_key(node);
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

// Only a node that is sorted may be halved; the mark comes last, once all below is in order.
int mc_optimize(mc_node_s *n)
{
    mc_node_unoptimized(n);
    if (n->keys_len > 1)
        std::qsort(n->keys, static_cast<size_t>(n->keys_len), sizeof(mc_key_s), mc_key_compare);
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

// Where a sequence leaves the trie.
struct Insertion {
    mc_node_s *node;
    int known;          // keys of the sequence that lead up to node
    bool follows_value; // a proper beginning of the sequence ends another one
};

// A value at the sequence's own last node does not count as one that it follows: that is its
// own place, taken.
Insertion find_insertion(mc_node_s *root, const mkey_t *s, int len)
{
    Insertion at{root, 0, false};
    for (; at.known < len; at.known++) {
        const int i = at.known;
        trace_key("looking for", i, s[i]);
        const mc_key_s *entry = find_key(at.node, s[i]);
        at.follows_value |= at.node->value != nullptr;
        if (!entry) {
            trace_key("no key for", i, s[i]);
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
    VARNO_DEBUG("set 0x%zu value = [%s]", address(t), static_cast<const char *>(value));
    return 1;
}

// A node for s[j].
mc_node_s *new_child(int j, mkey_t key)
{
    mc_node_s *child = mc_root_alloc();
    if (!child || !wants_debug())
        return child;
    if (is_character(key))
        VARNO_DEBUG("allocating new child 0x%zu at %d -- s[%d] = '%c'", address(child), j, j,
                    static_cast<int>(key));
    else
        VARNO_DEBUG("allocating new child 0x%zu at %d -- s[%d] = (%u)", address(child), j, j, key);
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
        // A node that could not be attached is nobody's yet.
        mc_node_s *next = new_child(j, s[j]);
        if (next && !mc_node_add_key(last, s[j], next)) {
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
    if (!wants_debug())
        return;
    if (is_character(s[i]))
        VARNO_DEBUG("starting at %d (s[%d] = '%c'), going to add", i, i, static_cast<int>(s[i]));
    else
        VARNO_DEBUG("starting at %d (s[%d] = (%d)), going to add", i, i, static_cast<int>(s[i]));
}

// Adds s[i..len) below a node. The new chain is attached whole and last, so
// that a failure leaves everything that stood before, the node included.
int extend(mc_node_s *node, const mkey_t *s, int i, int len, void *value)
{
    trace_start(s, i);
    mc_node_s *last = nullptr;
    mc_node_s *first = make_chain(s, i, len, &last);
    if (!first)
        return -1;
    if (!mc_node_add_key(node, s[i], first)) {
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
    if (len > most_keys || len <= 0 || !root || !s || !value)
        return -1;
    if (std::count(s, s + len, VIRTKEY_WILDCARD) > most_wildcards)
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

// Each output is written once, at the end and in this order: the last one counts for a
// caller that hands one variable in twice.
int mc_search_exact(mc_node_s *root, const mkey_t *s, int len, int, mc_node_s **first_complete,
                    int32_t *first_complete_len, mc_node_s **longest_complete,
                    int32_t *longest_complete_len, mc_node_s **longest_match,
                    int32_t *longest_match_len)
{
    if (!root || !s || len <= 0)
        return -1;
    // Who asks for nothing beyond the first complete node is not made to wait for the rest.
    const bool first_only = first_complete && !longest_complete && !longest_match;
    Found first{};
    Found longest{};
    mc_node_s *n = root;
    int count = -1; // of complete nodes, less one
    int i = 0;
    VARNO_DEBUG("Going to search downward..");
    for (; i < len; i++) {
        trace_key("considering", i, s[i]);
        const mc_key_s *entry = find_key(n, s[i]);
        if (!entry) {
            VARNO_DEBUG("no match for s[%d] (%u)", i, s[i]);
            break;
        }
        n = entry->node;
        if (!n->value) {
            VARNO_DEBUG("node for s[%d] does not have a value", i);
            continue;
        }
        VARNO_DEBUG("found a node with value at %d", i);
        count++;
        if (!first.node)
            first = {n, i + 1};
        if (first_only)
            break;
        longest = {n, i + 1};
    }
    const Found match = i == len ? Found{n, len} : Found{};
    put(first, first_complete, first_complete_len);
    put(longest, longest_complete, longest_complete_len);
    put(match, longest_match, longest_match_len);
    VARNO_DEBUG("returning %d", count);
    return count;
}

void *mc_node_value(const mc_node_s *n)
{
    VARNO_ASSERT(n);
    return n->value;
}

// Where in s a sequence may begin: the editor inserts what comes before it as text.
int mc_nodestrstr(const mc_node_s *node, const mkey_t *s, int len)
{
    if (len < 1 || !node || !s)
        return -1;
    for (int i = 0; i < len; i++) {
        VARNO_ASSERT_AS(s[i] != VIRTKEY_WILDCARD, "s[i] != (((((mkey_t)0xFFFFFFFE) - 20) - 1))");
        if (mc_node_try_key(node, s[i]))
            return i;
    }
    return -1;
}
