// The trie of key sequences against a map.

#include "trie_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const varno_fuzz::Traced traced(in.flag());
    varno_fuzz::TrieCheck trie;
    while (!in.is_empty()) {
        const int act = in.byte();
        const varno_fuzz::Keys keys = varno_fuzz::read_keys(in);
        if (act % 4 == 0)
            trie.search(keys, act / 4 % 8);
        else if (act % 16 == 5)
            trie.optimize();
        else if (act % 16 == 6)
            trie.graft(keys, static_cast<mkey_t>(act), varno_fuzz::read_keys(in));
        else if (act % 16 == 9)
            trie.unoptimize(keys);
        else
            trie.add(keys, act % 4 == 3 ? MC_ADD_OVERLAP : 0, act >= 224 ? act - 223 : -1);
        trie.find_beginning(keys);
        trie.look_at_node(keys, keys.empty() ? 'a' : keys.back());
        trie.look_at_node({}, keys.empty() ? VIRTKEY_WILDCARD : keys[0]);
        trie.search_root();
    }
    trie.search_all();
    return 0;
}
