#ifndef VARNO_TESTS_TRIE_H
#define VARNO_TESTS_TRIE_H

// A trie that releases itself, its sequences written as texts: each character is
// the key of its code, * is the wildcard.

#include <varno/mckeys.h>

#include <string>
#include <string_view>
#include <vector>

namespace varno_test {

inline std::vector<mkey_t> sequence(std::string_view text)
{
    std::vector<mkey_t> keys;
    for (const char c : text)
        keys.push_back(c == '*' ? VIRTKEY_WILDCARD : static_cast<unsigned char>(c));
    return keys;
}

// Values are texts, for the traces print them so.
inline void *value_of(const char *text)
{
    return const_cast<char *>(text);
}

inline const char *text_of(const mc_node_s *node)
{
    return node ? static_cast<const char *>(mc_node_value(node)) : nullptr;
}

class Trie {
  public:
    Trie() = default;
    explicit Trie(std::initializer_list<const char *> texts)
    {
        for (const char *text : texts)
            add(text);
    }
    ~Trie() { mc_root_free(root, nullptr, nullptr); }
    Trie(const Trie &) = delete;
    Trie &operator=(const Trie &) = delete;

    // Adds a sequence whose value is its own text.
    int add(const char *text, int flags = 0)
    {
        const auto keys = sequence(text);
        return mc_addstring(root, keys.data(), static_cast<int>(keys.size()), flags,
                            value_of(text));
    }

    // The node that a sequence leads to; NULL when it leaves the trie.
    mc_node_s *at(std::string_view text) const
    {
        mc_node_s *node = root;
        for (const mkey_t key : sequence(text)) {
            const mc_key_s *entry = mc_node_get_exact_key(node, key);
            if (!entry)
                return nullptr;
            node = entry->node;
        }
        return node;
    }

    mc_node_s *root = mc_root_alloc();
};

// The ways from a node to all values below it, in the order of the keys; keys above
// the bytes are cut to their lowest one.
inline std::vector<std::string> paths_with_values(const mc_node_s *node,
                                                  const std::string &path = "")
{
    std::vector<std::string> texts;
    if (node->value)
        texts.push_back(path);
    for (int32_t i = 0; i < node->keys_len; i++) {
        const auto below =
            paths_with_values(node->keys[i].node, path + static_cast<char>(node->keys[i].key));
        texts.insert(texts.end(), below.begin(), below.end());
    }
    return texts;
}

// A node's address as the traces print it.
inline std::string traced(const mc_node_s *node)
{
    return "0x" + std::to_string(reinterpret_cast<size_t>(node));
}

} // namespace varno_test

#endif
