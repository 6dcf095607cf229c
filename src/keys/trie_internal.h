#ifndef VARNO_KEYS_TRIE_INTERNAL_H
#define VARNO_KEYS_TRIE_INTERNAL_H

// What the trie's two modules share, and the recursive engine of mc_search.

#include <varno/mckeys.h>

namespace varno {

// One answer of a search: a node, and how many keys led to it.
struct Found {
    mc_node_s *node;
    int32_t len;
};

// Every output of a search is optional.
inline void put(const Found &found, mc_node_s **out_node, int32_t *out_len)
{
    if (out_node)
        *out_node = found.node;
    if (out_len)
        *out_len = found.len;
}

} // namespace varno

extern "C" {

/* Searches s[0..slen) from node on, exactly and, with MC_SEARCH_ANY, through the
 * wildcard children too. It has external linkage so that it can be tested by itself:
 * mc_search never hands it a sequence. Where both ways complete at the same depth,
 * the exact one wins the shortest result and the wildcard the other two. The work
 * doubles with each wildcard child on the way. All results are mandatory; they are
 * NULL and 0 where nothing was found, and are so before any deeper level is entered.
 * Requires: "!slen || s[0] != (((((mkey_t)0xFFFFFFFE) - 20) - 1))", at each level. */
VARNO_API void mc_search_level(mc_node_s *node, const mkey_t *s, int slen, int flags,
                               mc_node_s **shortest_complete, int32_t *shortest_complete_len,
                               mc_node_s **longest_complete, int32_t *longest_complete_len,
                               mc_node_s **longest_match, int32_t *longest_match_len);
}

#endif
