#ifndef VARNO_KEYS_TRIE_INTERNAL_H
#define VARNO_KEYS_TRIE_INTERNAL_H

// The recursive engine of mc_search, with external linkage so that it can be
// tested by itself: mc_search never hands it a sequence.

#include <varno/mckeys.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Searches s[0..slen) from node on, exactly and, with MC_SEARCH_ANY, through the
 * wildcard children too. Where both ways complete at the same depth, the exact
 * one wins the shortest result and the wildcard the other two. The work doubles
 * with each wildcard child on the way. All results are mandatory; they are NULL
 * and 0 where nothing was found, and are so before any deeper level is entered.
 * Requires: "!slen || s[0] != (((((mkey_t)0xFFFFFFFE) - 20) - 1))", at each level. */
VARNO_API void mc_search_level(mc_node_s *node, const mkey_t *s, int slen, int flags,
                               mc_node_s **shortest_complete, int32_t *shortest_complete_len,
                               mc_node_s **longest_complete, int32_t *longest_complete_len,
                               mc_node_s **longest_match, int32_t *longest_match_len);

#ifdef __cplusplus
}
#endif

#endif
