#ifndef VARNO_FUZZ_DECODER_CHECK_H
#define VARNO_FUZZ_DECODER_CHECK_H

// A decoder beside a list of its bindings, and a host that keeps what was not used.

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "finding.h"
#include "trie_check.h"

#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/stroker.h>

namespace varno_fuzz {

// A bound byte is a signed number, an input byte an unsigned one.
inline Keys bound_keys(std::string_view sequence)
{
    Keys keys;
    for (const char c : sequence)
        keys.push_back(static_cast<mkey_t>(static_cast<signed char>(c)));
    return keys;
}

inline Keys plain_keys(std::string_view bytes)
{
    Keys keys;
    for (const char c : bytes)
        keys.push_back(static_cast<unsigned char>(c));
    return keys;
}

class DecoderCheck {
  public:
    DecoderCheck() : ctx_(stroker_create_context())
    {
        FUZZ_REQUIRE(ctx_);
        stroker_set_callback_chars(ctx_, take, this);
    }
    // The arrays of virtual keys are never released; what they were is known from firing them.
    ~DecoderCheck()
    {
        std::vector<const mkey_t *> arrays;
        for (const Binding &binding : bindings_)
            arrays.push_back(fire(binding));
        const size_t before = tracked_outstanding("mkey_t");
        stroker_free_context(ctx_);
        FUZZ_REQUIRE(tracked_outstanding("mkey_t") == before - bindings_.size());
        for (size_t i = 0; i < arrays.size(); i++) {
            const Keys &keys = bindings_[i].keys;
            FUZZ_REQUIRE(std::equal(keys.begin(), keys.end(), arrays[i]) &&
                         arrays[i][keys.size()] == 0);
            tracked_free(const_cast<mkey_t *>(arrays[i]), "mkey_t");
        }
    }
    DecoderCheck(const DecoderCheck &) = delete;
    DecoderCheck &operator=(const DecoderCheck &) = delete;

    // Bytes from 0x80 on are left out: what is bound to them never fires.
    void bind(std::string_view bytes, const Keys &vkeys, long fail_after)
    {
        std::string sequence(bytes.substr(0, 32));
        std::erase_if(sequence, [](char c) { return c <= 0; });
        const bool is_bound = std::any_of(bindings_.begin(), bindings_.end(),
                                          [&](const Binding &b) { return b.sequence == sequence; });
        if (sequence.empty() || vkeys.empty() || is_bound)
            return;
        const bool overlaps = std::any_of(bindings_.begin(), bindings_.end(), [&](const auto &b) {
            return b.sequence.starts_with(sequence) || sequence.starts_with(b.sequence);
        });
        tracked_fail_after(fail_after);
        const int result = stroker_bind_sequence_to_vkeys(ctx_, sequence.c_str(), vkeys.data(),
                                                          static_cast<int>(vkeys.size()));
        tracked_fail_after(-1);
        FUZZ_REQUIRE(result == -1 || (result == 0 && !overlaps));
        FUZZ_REQUIRE(result == 0 || overlaps || fail_after > 0);
        if (result == 0)
            bindings_.push_back({sequence, vkeys});
    }

    void prepare() { FUZZ_REQUIRE(stroker_bindings_prepare(ctx_) == 0); }

    // The keys of a stream that ends with a time-out, by the decoder, in parts.
    Keys decode(std::string_view stream, size_t part)
    {
        taken_.clear();
        std::string kept;
        for (size_t at = 0; at < stream.size(); at += part)
            present(kept += stream.substr(at, part));
        if (!kept.empty())
            stroker_consume_timedout(ctx_, reinterpret_cast<const unsigned char *>(kept.data()),
                                     static_cast<int32_t>(kept.size()));
        return taken_;
    }

    // The same by the list.
    Keys expected(std::string_view stream) const
    {
        Keys keys;
        while (!stream.empty()) {
            const auto is_at = [&](const auto &b) { return stream.starts_with(b.sequence); };
            const auto found = std::find_if(bindings_.begin(), bindings_.end(), is_at);
            const auto is_begun = [&](const auto &b) { return b.sequence.starts_with(stream); };
            const bool waits = std::any_of(bindings_.begin(), bindings_.end(), is_begun);
            const bool is_found = found != bindings_.end();
            const size_t used = is_found ? found->sequence.size() : waits ? stream.size() : 1;
            const Keys next = is_found ? found->keys : plain_keys(stream.substr(0, used));
            keys.insert(keys.end(), next.begin(), next.end());
            stream.remove_prefix(used);
        }
        return keys;
    }

  private:
    struct Binding {
        std::string sequence;
        Keys keys;
    };

    static int take(stroker_s *, void *user, const mkey_t *keys, int32_t count)
    {
        auto *self = static_cast<DecoderCheck *>(user);
        FUZZ_REQUIRE(count > 0);
        self->taken_.insert(self->taken_.end(), keys, keys + count);
        self->last_ = keys;
        return 0;
    }

    // Uses up the buffer but for the beginning of a sequence.
    void present(std::string &buffer)
    {
        while (!buffer.empty()) {
            timeval wait = {77, 77};
            const std::vector<unsigned char> block(buffer.begin(), buffer.end());
            const int32_t used =
                stroker_consume(ctx_, block.data(), static_cast<int32_t>(block.size()), &wait);
            FUZZ_REQUIRE(used >= 0 && used <= static_cast<int32_t>(buffer.size()));
            const bool has_all = buffer.size() <= 2048;
            buffer.erase(0, static_cast<size_t>(used));
            FUZZ_REQUIRE(!has_all || buffer.size() < 32);
            FUZZ_REQUIRE(!has_all ||
                         (wait.tv_sec == (buffer.empty() ? 0 : 1) && wait.tv_usec == 0));
            if (has_all)
                return;
        }
    }

    const mkey_t *fire(const Binding &binding)
    {
        FUZZ_REQUIRE(decode(binding.sequence, 32) == binding.keys);
        return last_;
    }

    stroker_s *ctx_;
    std::vector<Binding> bindings_;
    Keys taken_;
    const mkey_t *last_ = nullptr;
};

} // namespace varno_fuzz

#endif
