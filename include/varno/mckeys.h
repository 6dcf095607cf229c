#ifndef VARNO_MCKEYS_H
#define VARNO_MCKEYS_H

/* The key-sequence trie: maps sequences of keys to opaque values. The line
 * editor keeps its bindings in one, the keystroke decoder its escape sequences
 * in another, and a host may keep its own.
 *
 * A trie is its root node, an ordinary node that never carries a value. It is
 * built by one thread (mc_root_alloc, then mc_addstring for each sequence, then
 * mc_optimize once) and is only read from then on: searches change nothing, so
 * a finished trie may be searched by several threads at once.
 *
 * Searches are correct on a trie that was not optimized, only slower: a node's
 * keys are then compared one after the other instead of by binary search.
 * Nobody but the trie's user knows when it is finished. So a host that has bound
 * all keys of a prompt calls mc_optimize on the prompt's keys, as
 * stroker_bindings_prepare does for a decoder.
 *
 * A child stored under VIRTKEY_WILDCARD is its node's wildcard child. It stands
 * for every key that has no child of its own, but only for mc_node_try_key,
 * mc_nodestrstr and mc_search; mc_search_exact takes the code like any other.
 *
 * Values belong to the trie's user; NULL is no value. With debug traces on, a
 * value that mc_addstring stores in an existing node (MC_ADD_OVERLAP) and the
 * value of a node given to mc_search are printed as texts: while those traces
 * can be on, let such values point to terminated strings.
 *
 * What "Requires" says is checked; docs/assertions.md has the reported texts. */

#include <varno/api.h>
#include <varno/keys.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A flag of mc_search: wildcard children are followed too. */
#define MC_SEARCH_ANY 0x1
/* A flag of mc_addstring: one sequence may be the beginning of another. */
#define MC_ADD_OVERLAP 0x2

typedef struct mc_key_s mc_key_s;
typedef struct mc_node_s mc_node_s;

/* One way out of a node. */
struct mc_key_s {
    mkey_t key;      /* distinct within its node */
    mc_node_s *node; /* the child; never NULL in a trie that mc_addstring built */
};

/* One node. Nodes and arrays of keys are the trie's own; read them, but change
 * them through the calls below. */
struct mc_node_s {
    mc_key_s *keys;     /* keys_len entries; NULL without children */
    int32_t keys_len;   /* a count */
    void *value;        /* NULL: no sequence ends here */
    uint32_t optimized; /* not 0: keys are sorted by code, and any is valid */
    mc_key_s *any;      /* the VIRTKEY_WILDCARD entry of keys or NULL; valid while optimized */
};

/* Receives each value of a trie that is released, once; ctx is that of mc_root_free.
 * It must return. */
typedef void (*mc_free_fn)(void *value, void *ctx);

/* Creation and release */

/* Makes an empty root.
 * Returns: the root; NULL without memory.
 * Owns:    the caller; released with mc_root_free. */
VARNO_API mc_node_s *mc_root_alloc(void);

/* Releases a trie; NULL does nothing. A node that claims keys but has no array
 * of them (keys_len above 0, keys NULL) is left alone, and whatever is below it:
 * its value is not handed to free_fn.
 * Calls:   free_fn(value, ctx), unless it is NULL, once for each value, children
 *          first. */
VARNO_API void mc_root_free(mc_node_s *root, mc_free_fn free_fn, void *ctx);

/* One node; root stands for any node of the trie in the calls further below. */

/* Declares a node's keys unsorted: what every insertion into it does. */
VARNO_API void mc_node_unoptimized(mc_node_s *node);

/* Returns: 1 while the node's keys are sorted; else 0. */
VARNO_API int mc_node_optimized(const mc_node_s *node);

/* Adds a child under a key; the node is unsorted from then on.
 * Returns: the new entry, valid until the node's next insertion or sorting; NULL
 *          when the key is there already, when keys and keys_len disagree, or
 *          without memory.
 * Owns:    the trie, from success on; child must have come from mc_root_alloc.
 * Fails:   the node is as it was. */
VARNO_API mc_key_s *mc_node_add_key(mc_node_s *node, mkey_t key, mc_node_s *child);

/* Returns: the entry of the key, which is compared by its code; NULL when there is
 *          none. */
VARNO_API mc_key_s *mc_node_get_exact_key(const mc_node_s *node, mkey_t key);

/* Returns: the VIRTKEY_WILDCARD entry; NULL when there is none. */
VARNO_API mc_key_s *mc_node_get_any_key(const mc_node_s *node);

/* Returns: the entry of the key; without one the wildcard entry; NULL when there is
 *          neither. */
VARNO_API mc_key_s *mc_node_try_key(const mc_node_s *node, mkey_t key);

/* Compares two entries, left and right, by their codes as unsigned numbers, as qsort
 * and bsearch want it; either side may also be a bare mkey_t.
 * Requires: neither side is NULL.
 * Returns:  -1, 0 or 1: left is the smaller one, they are equal, or it is the greater
 *           one. */
VARNO_API int mc_key_compare(const void *left, const void *right);

/* Building */

/* Sorts the keys of all nodes at and below root. An insertion undoes it for the
 * node that it changes.
 * Requires: each entry leads to a node.
 * Returns:  0. */
VARNO_API int mc_optimize(mc_node_s *root);

/* Adds the sequence s[0..len) with its value. With flags 0 no sequence may be
 * the beginning of another: the one added second is refused.
 * Requires: the very same sequence has not been added before.
 * Returns:  0; 1 when the sequence was the beginning of others and its value was
 *           stored on their way (MC_ADD_OVERLAP only); -1 when root, s or value
 *           is NULL, len is not 1..32, s holds VIRTKEY_WILDCARD more than 8
 *           times, the sequence overlaps another without MC_ADD_OVERLAP, or
 *           without memory.
 * Fails:    the trie is as it was, and value still the caller's. */
VARNO_API int mc_addstring(mc_node_s *root, const mkey_t *s, int len, int flags, void *value);

/* Searching. All results are optional: each pointer may be NULL. */

/* Follows s[0..len) by exact codes; flags have no meaning, pass 0. A complete node is
 * one with a value; each length is the number of keys of s up to its node, in
 * first_complete_len, longest_complete_len and longest_match_len. first_complete is
 * the shortest stored sequence that s begins with, longest_complete the longest;
 * longest_match is set when s as a whole leads to a node of the trie (on the way of a
 * stored sequence, its end included), its length is then len. What was not found is
 * NULL and 0. With first_complete asked for, and neither longest_complete nor
 * longest_match, the walk ends at the first complete node, and the other results stay
 * NULL and 0, even when that node is reached by the last key.
 *
 * In a trie built with flags 0: first_complete set, a sequence is complete;
 * longest_match alone set, more keys may complete one; neither set, no
 * continuation of s ever will.
 * Returns: the number of complete nodes met, less one: -1 when there was none;
 *          -1 too, results untouched, when root or s is NULL or len is below 1. */
VARNO_API int mc_search_exact(mc_node_s *root, const mkey_t *s, int len, int flags,
                              mc_node_s **first_complete, int32_t *first_complete_len,
                              mc_node_s **longest_complete, int32_t *longest_complete_len,
                              mc_node_s **longest_match, int32_t *longest_match_len);

/* Searches with wildcards, both ways where both exist. It answers only for a len of 0
 * or less, about root itself; a positive len is always refused, so whoever wants to
 * search a sequence calls mc_search_exact. A bit of flags other than MC_SEARCH_ANY
 * hands the call to mc_search_exact, which refuses such a len.
 * Requires: with a negative len, s[0], which is read, is not VIRTKEY_WILDCARD.
 * Returns:  1 when a node that was asked for was found (root as shortest_complete and
 *           longest_complete if it has a value, as longest_match if it has children;
 *           shortest_complete_len, longest_complete_len and longest_match_len, counts
 *           of keys, are 0); -1 when none was (results NULL and 0), and -1 with the
 *           results untouched when root or s is NULL or len is above 0. */
VARNO_API int mc_search(mc_node_s *root, const mkey_t *s, int len, int flags,
                        mc_node_s **shortest_complete, int32_t *shortest_complete_len,
                        mc_node_s **longest_complete, int32_t *longest_complete_len,
                        mc_node_s **longest_match, int32_t *longest_match_len);

/* Requires: a node.
 * Returns:  its value; NULL without one. */
VARNO_API void *mc_node_value(const mc_node_s *node);

/* Finds the first key at which a stored sequence could begin: one for which node,
 * usually the root, has a child, the wildcard child included.
 * Requires: no key up to the one found is VIRTKEY_WILDCARD.
 * Returns:  its index in s[0..len); -1 when there is none, node or s is NULL, or
 *           len is below 1. */
VARNO_API int mc_nodestrstr(const mc_node_s *node, const mkey_t *s, int len);

#ifdef __cplusplus
}
#endif

#endif
