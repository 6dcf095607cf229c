#include "decoder_driver.h"

#include "left_behind.h"
#include "spelling.h"

#include <varno/stroker.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace varno_test {
namespace {

constexpr long usec_per_sec = 1000000;

timeval seconds_of(std::string_view text)
{
    const double seconds = std::stod(std::string(text));
    const auto usec = static_cast<long>(seconds * usec_per_sec + 0.5);
    return {usec / usec_per_sec, usec % usec_per_sec};
}

std::string spell(const timeval &t)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%lld.%06lld", static_cast<long long>(t.tv_sec),
                  static_cast<long long>(t.tv_usec));
    return text;
}

// Splits two spelled texts at the first blank that belongs to neither.
std::pair<std::string_view, std::string_view> two_texts(std::string_view rest)
{
    bool quoted = false;
    bool tagged = false;
    for (size_t i = 0; i < rest.size(); i++) {
        quoted ^= rest[i] == '"';
        tagged = rest[i] == '<' || (tagged && rest[i] != '>');
        if (rest[i] == ' ' && !quoted && !tagged)
            return {rest.substr(0, i), rest.substr(i)};
    }
    throw std::invalid_argument("BIND wants bytes and keys: " + std::string(rest));
}

class DecoderDriver : public ScriptDriver {
  public:
    DecoderDriver() { stroker_set_callback_chars(decoder_, take_keys, this); }
    ~DecoderDriver() override { free_decoder(decoder_); }

    void act(std::string_view verb, std::string_view rest) override
    {
        if (verb == "BIND")
            bind(rest);
        else if (verb == "PREPARE")
            stroker_bindings_prepare(decoder_);
        else if (verb == "DELAY")
            set_delay(rest);
        else if (verb == "BYTES")
            feed(bytes_of(rest));
        else if (verb == "TIMEOUT")
            time_out();
        else
            throw std::invalid_argument("no act of a decoder: " + std::string(verb));
    }

    std::optional<std::string> stream(std::string_view verb, std::string_view rest) override
    {
        if (verb != "BYTES")
            return std::nullopt;
        return bytes_of(rest);
    }

    void feed(std::string_view bytes) override
    {
        kept_ += bytes;
        timeval wait = {-1, -1};
        const int32_t used = stroker_consume(decoder_, kept(), kept_len(), &wait);
        happened("used " + std::to_string(used));
        kept_.erase(0, static_cast<size_t>(used));
        if (!kept_.empty() || wait.tv_sec != 0 || wait.tv_usec != 0)
            happened("wait " + spell(wait));
    }

    std::string outcome() override
    {
        return varno_test::spell(keys_) + ", kept " + varno_test::spell(kept_);
    }

  private:
    static int take_keys(stroker_s *, void *user, const mkey_t *keys, int32_t count)
    {
        auto *driver = static_cast<DecoderDriver *>(user);
        const std::vector<mkey_t> delivered(keys, keys + count);
        driver->happened("keys " + varno_test::spell(delivered));
        driver->keys_.insert(driver->keys_.end(), delivered.begin(), delivered.end());
        return 0;
    }

    void bind(std::string_view rest)
    {
        const auto [bytes, keys] = two_texts(rest);
        const auto vkeys = keys_of(keys);
        if (stroker_bind_sequence_to_vkeys(decoder_, bytes_of(bytes).c_str(), vkeys.data(),
                                           static_cast<int>(vkeys.size())) != 0)
            happened("refused");
    }

    void set_delay(std::string_view seconds)
    {
        timeval delay = seconds_of(seconds);
        stroker_set_escape_delay(decoder_, &delay);
        happened("was " + spell(delay));
    }

    void time_out()
    {
        const int32_t used = stroker_consume_timedout(decoder_, kept(), kept_len());
        happened("used " + std::to_string(used));
        kept_.erase(0, static_cast<size_t>(used));
    }

    const unsigned char *kept() const
    {
        return reinterpret_cast<const unsigned char *>(kept_.data());
    }

    int32_t kept_len() const { return static_cast<int32_t>(kept_.size()); }

    stroker_s *decoder_ = stroker_create_context();
    std::string kept_;
    std::vector<mkey_t> keys_;
};

} // namespace

std::unique_ptr<ScriptDriver> make_decoder_driver()
{
    return std::make_unique<DecoderDriver>();
}

} // namespace varno_test
