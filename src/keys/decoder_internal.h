#ifndef VARNO_KEYS_DECODER_INTERNAL_H
#define VARNO_KEYS_DECODER_INTERNAL_H

// The decoder's records, for the decoder and for tests of what no public call can
// bring about.

#include <varno/mckeys.h>
#include <varno/stroker.h>

struct stroker_s {
    stroker_chars_fn chars_fn; // NULL: keys are dropped
    void *chars_user;
    timeval escape_delay;
    timeval pending_since; // zero: not stamped; nothing stamps it
    mc_node_s *bindings;   // values are binding records
};

// What a bound sequence stands for; the arrays end with a 0 after their keys.
struct stroker_binding {
    mkey_t *sequence;
    uint32_t sequence_len; // 1..32
    mkey_t *virtual_keys;
    uint32_t virtual_keys_len; // at least 1
};

#endif
