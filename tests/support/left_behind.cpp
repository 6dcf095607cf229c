#include "left_behind.h"

#include "keys/decoder_internal.h"

#include <varno/platform.h>

#include <vector>

namespace varno_test {
namespace {

void collect_arrays(const mc_node_s *node, std::vector<mkey_t *> &arrays)
{
    if (node->value)
        arrays.push_back(static_cast<stroker_binding *>(node->value)->virtual_keys);
    for (int32_t i = 0; i < node->keys_len; i++)
        collect_arrays(node->keys[i].node, arrays);
}

} // namespace

void free_decoder(stroker_s *decoder)
{
    std::vector<mkey_t *> arrays;
    collect_arrays(decoder->bindings, arrays);
    stroker_free_context(decoder);
    for (mkey_t *array : arrays)
        tracked_free(array, "mkey_t");
}

void release_history_texts(prompt_s *p)
{
    const auto *end = reinterpret_cast<prompt_history_s *>(&p->history);
    for (prompt_history_s *entry = p->history.cqh_first; entry != end; entry = entry->next)
        tracked_free(entry->command, "BYTE*");
}

} // namespace varno_test
