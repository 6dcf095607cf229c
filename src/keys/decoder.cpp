// The keystroke decoder: splits input bytes into plain runs and bound sequences
// and delivers both as keys. Waiting, and keeping what was not used, is left to
// the host.

#include "keys/decoder_internal.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "contract.h"

namespace {

constexpr char source_name[] = "stroker";
constexpr char binding_tag[] = "stroker_binding";
constexpr char keys_tag[] = "mkey_t";

constexpr int32_t keys_per_call = 2048;
constexpr int usec_per_sec = 1000000;

void free_binding(stroker_binding *m)
{
    tracked_free(m->virtual_keys, keys_tag);
    tracked_free(m->sequence, keys_tag);
    tracked_free(m, binding_tag);
}

// The array of virtual keys is not released, by contract: a host that freed its
// decoders would lose one array per binding, and so keeps and reuses them.
void release_binding(void *value, void *)
{
    auto *m = static_cast<stroker_binding *>(value);
    tracked_free(m->sequence, keys_tag);
    tracked_free(m, binding_tag);
}

// A terminated array for len keys, zeroed.
mkey_t *alloc_keys(size_t len)
{
    return static_cast<mkey_t *>(tracked_calloc(len + 1, sizeof(mkey_t), keys_tag));
}

stroker_binding *alloc_binding(size_t len, size_t vkeys_len)
{
    auto *m =
        static_cast<stroker_binding *>(tracked_calloc(1, sizeof(stroker_binding), binding_tag));
    if (!m)
        return nullptr;
    m->sequence = alloc_keys(len);
    m->virtual_keys = alloc_keys(vkeys_len);
    if (m->sequence && m->virtual_keys)
        return m;
    free_binding(m);
    return nullptr;
}

// A bound byte is sign-extended while an input byte is zero-extended, and that
// stays so: a caller that binds a byte of 0x80 or above gets a binding that no
// input completes, and input of 0x80 or above is always text.
void fill_binding(stroker_binding *m, const char *seq, size_t len, const mkey_t *vkeys,
                  size_t vkeys_len)
{
    // NOLINTNEXTLINE(bugprone-signed-char-misuse,cert-str34-c)
    const auto extended = [](char byte) {
        return static_cast<mkey_t>(static_cast<signed char>(byte));
    };
    for (size_t i = 0; i < len; i++)
        m->sequence[i] = extended(seq[i]);
    m->sequence_len = static_cast<uint32_t>(len);
    std::copy_n(vkeys, vkeys_len, m->virtual_keys);
    m->virtual_keys_len = static_cast<uint32_t>(vkeys_len);
}

bool is_zero(const timeval &t)
{
    return t.tv_sec == 0 && t.tv_usec == 0;
}

// a - b; what does not fit wraps, since a delay may be any pair of numbers with
// one above 0. How wide the numbers of a timeval are is the platform's choice.
template <typename Number>
Number difference(Number a, Number b)
{
    using Unsigned = std::make_unsigned_t<Number>;
    return static_cast<Number>(static_cast<Unsigned>(a) - static_cast<Unsigned>(b));
}

} // namespace

stroker_s *stroker_create_context(void)
{
    auto *ctx = static_cast<stroker_s *>(tracked_calloc(1, sizeof(stroker_s), "stroker_s"));
    if (!ctx)
        return nullptr;
    ctx->escape_delay = {1, 0};
    ctx->bindings = mc_root_alloc();
    if (ctx->bindings)
        return ctx;
    tracked_free(ctx, "stroker_s");
    return nullptr;
}

void stroker_free_context(stroker_s *ctx)
{
    VARNO_ASSERT(ctx);
    mc_root_free(ctx->bindings, release_binding, nullptr);
    tracked_free(ctx, "stroker_s");
}

void stroker_set_callback_chars(stroker_s *ctx, stroker_chars_fn fn, void *user)
{
    VARNO_ASSERT(ctx);
    VARNO_ASSERT(fn);
    ctx->chars_fn = fn;
    ctx->chars_user = user;
}

void stroker_set_escape_delay(stroker_s *ctx, timeval *t)
{
    VARNO_ASSERT(ctx);
    VARNO_ASSERT(t);
    VARNO_ASSERT(t->tv_sec > 0 || t->tv_usec > 0);
    std::swap(ctx->escape_delay, *t);
    VARNO_DEBUG("escape delay is set to %d.%d", static_cast<int>(ctx->escape_delay.tv_sec),
                static_cast<int>(ctx->escape_delay.tv_usec));
}

int32_t stroker_bind_sequence_to_vkeys(stroker_s *ctx, const char *seq, const mkey_t *vkeys,
                                       int vkeys_len)
{
    VARNO_ASSERT(ctx && seq && vkeys && vkeys_len > 0);
    const size_t len = std::strlen(seq);
    VARNO_ASSERT(len > 0);
    VARNO_ASSERT(len <= 32);
    const auto vkeys_count = static_cast<size_t>(vkeys_len);
    stroker_binding *m = alloc_binding(len, vkeys_count);
    if (!m)
        return -1;
    fill_binding(m, seq, len, vkeys, vkeys_count);
    VARNO_DEBUG("going to add a string of length %d", static_cast<int>(len));
    VARNO_DEBUG("m->sequence len %d", static_cast<int>(m->sequence_len));
    if (mc_addstring(ctx->bindings, m->sequence, static_cast<int>(len), 0, m) < 0) {
        free_binding(m);
        return -1;
    }
    return 0;
}

int32_t stroker_bind_sequence_to_vkey(stroker_s *ctx, const char *seq, mkey_t vkey)
{
    return stroker_bind_sequence_to_vkeys(ctx, seq, &vkey, 1);
}

int stroker_bindings_prepare(stroker_s *ctx)
{
    VARNO_ASSERT(ctx);
    return mc_optimize(ctx->bindings);
}

namespace {

// Delivers keys as they are; returns how many.
int32_t stroker_consume_plain_mkey(stroker_s *ctx, const mkey_t *keys, uint32_t len)
{
    const auto count = static_cast<int32_t>(len);
    if (ctx->chars_fn)
        ctx->chars_fn(ctx, ctx->chars_user, keys, count);
    return count;
}

// Delivers, in one run, the keys that can begin no sequence; returns how many.
int32_t skip_plain(stroker_s *ctx, const mkey_t *buf, int32_t buflen)
{
    const int32_t skip = mc_nodestrstr(ctx->bindings, buf, buflen);
    VARNO_DEBUG("skip is %d", skip);
    if (skip < 0)
        VARNO_DEBUG("consuming %d to END as PLAIN", buflen);
    else if (skip > 0)
        VARNO_DEBUG("consuming %d as PLAIN", skip);
    const int32_t plain = skip < 0 ? buflen : skip;
    if (plain > 0)
        stroker_consume_plain_mkey(ctx, buf, static_cast<uint32_t>(plain));
    return plain;
}

// Delivers the virtual keys of a complete sequence; returns its length.
int32_t consume_bound(stroker_s *ctx, const mc_node_s *node, int32_t first_complete_len)
{
    VARNO_DEBUG("got a first complete match");
    VARNO_ASSERT(first_complete_len > 0);
    VARNO_DEBUG("got length %d", first_complete_len);
    const auto *t = static_cast<const stroker_binding *>(node->value);
    VARNO_ASSERT(stroker_consume_plain_mkey(ctx, t->virtual_keys, t->virtual_keys_len));
    VARNO_DEBUG("first complete len: %d, t->sequence_len = %d", first_complete_len,
                static_cast<int>(t->sequence_len));
    VARNO_ASSERT_AS(static_cast<uint32_t>(first_complete_len) == t->sequence_len,
                    "first_complete_len == t->sequence_len");
    return first_complete_len;
}

// Takes one step from a key that can begin a sequence: a complete sequence, or
// the first key alone when its way leaves every sequence. Returns the number of
// keys used: 0 when the input ends inside a sequence.
int32_t match(stroker_s *ctx, const mkey_t *buf, int32_t buflen)
{
    VARNO_ASSERT(ctx && buf && buflen > 0);
    VARNO_DEBUG("Calling mc_search_exact on buf of len %d (first: %u)", buflen, buf[0]);
    mc_node_s *first_complete = nullptr;
    mc_node_s *longest_match = nullptr;
    int32_t first_complete_len = 0;
    int32_t longest_match_len = 0;
    const int met =
        mc_search_exact(ctx->bindings, buf, buflen, 0, &first_complete, &first_complete_len,
                        nullptr, nullptr, &longest_match, &longest_match_len);
    VARNO_DEBUG("mc_search_exact returned %d", met);
    if (first_complete)
        return consume_bound(ctx, first_complete, first_complete_len);
    if (longest_match) {
        VARNO_ASSERT(longest_match_len == buflen);
        return 0;
    }
    return stroker_consume_plain_mkey(ctx, buf, 1);
}

// Returns how many of the keys were used; a rest is the beginning of a sequence.
int32_t consume_keys(stroker_s *ctx, const mkey_t *keys, int32_t len)
{
    int32_t consumed = 0;
    while (consumed < len) {
        consumed += skip_plain(ctx, keys + consumed, len - consumed);
        if (consumed >= len)
            break;
        VARNO_DEBUG("consumed: %d, doing a match", consumed);
        const int32_t used = match(ctx, keys + consumed, len - consumed);
        if (used == 0) {
            VARNO_DEBUG("failed to consume, breaking");
            break;
        }
        consumed += used;
        VARNO_DEBUG("consumed another %d for new total %d", used, consumed);
    }
    return consumed;
}

// The rest of the escape delay, counted from pending_since. No borrow is taken
// from the seconds, neither of the elapsed time nor of the rest. So the rest can
// be a second too long, or fail its check with time left when the second turns; a
// caller meets neither as long as nothing stamps pending_since.
void remaining_wait(const stroker_s *ctx, timeval *out_timeout)
{
    timeval now;
    const int ret = gettimeofday(&now, nullptr);
    VARNO_ASSERT(ret == 0);
    timeval elapsed = {difference(now.tv_sec, ctx->pending_since.tv_sec),
                       difference(now.tv_usec, ctx->pending_since.tv_usec)};
    if (elapsed.tv_usec < 0)
        elapsed.tv_usec += usec_per_sec;
    VARNO_ASSERT(elapsed.tv_sec >= 0);
    VARNO_ASSERT(elapsed.tv_usec >= 0);
    out_timeout->tv_usec = difference(ctx->escape_delay.tv_usec, elapsed.tv_usec);
    if (out_timeout->tv_usec < 0)
        out_timeout->tv_usec += usec_per_sec;
    out_timeout->tv_sec = difference(ctx->escape_delay.tv_sec, elapsed.tv_sec);
    VARNO_ASSERT(out_timeout->tv_sec >= 0);
    VARNO_ASSERT(out_timeout->tv_usec >= 0);
    VARNO_ASSERT(out_timeout->tv_sec > 0 || out_timeout->tv_usec > 0);
}

// Input bytes are zero-extended; see fill_binding.
void convert(const unsigned char *buf, int32_t len, mkey_t *keys)
{
    for (int32_t i = 0; i < len; i++)
        keys[i] = buf[i];
}

} // namespace

int32_t stroker_consume(stroker_s *ctx, const unsigned char *buf, int32_t buflen,
                        timeval *out_timeout)
{
    VARNO_ASSERT(ctx && buf && buflen > 0);
    mkey_t keys[keys_per_call];
    const int32_t len = std::min(buflen, keys_per_call);
    convert(buf, len, keys);
    const int32_t consumed = consume_keys(ctx, keys, len);
    VARNO_DEBUG("consumed: %d, returning", consumed);
    VARNO_ASSERT(out_timeout && ctx);
    if (consumed >= len) {
        ctx->pending_since = {0, 0};
        *out_timeout = {0, 0};
    } else if (is_zero(ctx->pending_since)) {
        *out_timeout = ctx->escape_delay;
    } else {
        remaining_wait(ctx, out_timeout);
    }
    return consumed;
}

int32_t stroker_consume_timedout(stroker_s *ctx, const unsigned char *buf, int32_t buflen)
{
    VARNO_ASSERT(ctx && buf && buflen > 0);
    VARNO_ASSERT(buflen <= 2048);
    mkey_t keys[keys_per_call];
    const int32_t len = std::min(buflen, keys_per_call);
    convert(buf, len, keys);
    stroker_consume_plain_mkey(ctx, keys, static_cast<uint32_t>(len));
    ctx->pending_since = {0, 0};
    return buflen;
}
