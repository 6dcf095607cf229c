#ifndef VARNO_TESTS_TELNET_HOST_H
#define VARNO_TESTS_TELNET_HOST_H

// The host's side of one telnet connection: presents what arrives with one byte
// past it, keeps what was not used, and writes down what the parser reports.

#include "assertion.h"
#include "spelling.h"

#include <varno/telnet_parser.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace varno_test {

struct TelnetEvent {
    std::string kind; // data, trace, naws, term, brk, assertion
    std::string text; // raw for data and trace, else as scripts write it

    bool operator==(const TelnetEvent &) const = default;
};

inline std::string as_script(const TelnetEvent &event)
{
    if (event.kind == "data" || event.kind == "trace")
        return event.kind + " " + spell(event.text);
    return event.text.empty() ? event.kind : event.kind + " " + event.text;
}

class TelnetHost {
  public:
    TelnetHost() : ctx_(telnet_create_context())
    {
        telnet_set_callback_recv(ctx_, received, this);
        telnet_set_callback_send(ctx_, sent, this);
        telnet_set_callback_trace(ctx_, traced, this);
        telnet_set_callback_naws(ctx_, sized, this);
        telnet_set_callback_term(ctx_, named, this);
        telnet_set_callback_brk(ctx_, broke, this);
    }
    ~TelnetHost() { telnet_free_context(ctx_); }
    TelnetHost(const TelnetHost &) = delete;
    TelnetHost &operator=(const TelnetHost &) = delete;

    unsigned char byte_after = 0;

    telparser_s *context() { return ctx_; }
    const std::string &kept() const { return kept_; }
    bool has_ended() const { return ended_; }

    // One call of the parser, with what was kept before the new bytes. The
    // heap block ends right after the one byte that may be read, or right at the
    // buffer's end where no request can miss its option byte.
    // Returns the bytes used; none after a failed assertion, which ends it all.
    std::optional<int32_t> present(std::string_view bytes)
    {
        if (ended_)
            return std::nullopt;
        const size_t dropped = std::min(owed_, bytes.size());
        owed_ -= dropped;
        kept_ += bytes.substr(dropped);
        if (kept_.empty())
            return std::nullopt;
        const size_t after = may_miss_option() ? 1 : 0;
        const auto block = std::make_unique<unsigned char[]>(kept_.size() + after);
        std::memcpy(block.get(), kept_.data(), kept_.size());
        if (after)
            block[kept_.size()] = byte_after;
        return consume(block.get());
    }

    // Presents what was kept again, as long as that gets it on.
    void settle()
    {
        while (present({}).value_or(0) > 0) {
        }
    }

    std::vector<TelnetEvent> take_events() { return std::exchange(events_, {}); }

    // All that was reported but the traces, adjacent data as one, and the rest.
    std::string outcome() const
    {
        std::string text;
        std::string data;
        for (const TelnetEvent &event : log_) {
            if (event.kind == "data") {
                data += event.text;
                continue;
            }
            text += with_data(data) + as_script(event) + "\n";
        }
        text += with_data(data) + "kept " + spell(kept_);
        return text + " owed " + std::to_string(owed_);
    }

  private:
    bool may_miss_option() const
    {
        const size_t count = kept_.size();
        const auto last = static_cast<unsigned char>(kept_.back());
        return count >= 2 && kept_[count - 2] == '\xff' && last >= TN_NVT_WILL &&
               last <= TN_NVT_DONT;
    }

    std::optional<int32_t> consume(const unsigned char *block)
    {
        const auto count = static_cast<int32_t>(kept_.size());
        int32_t used = -1;
        const auto failed = assertion_of([&] { used = telnet_consume(ctx_, block, count); });
        if (failed) {
            happened("assertion", failed->source + " " + spell(failed->condition));
            ended_ = true;
            kept_.clear();
            return std::nullopt;
        }
        EXPECT_GE(used, 0);
        EXPECT_LE(used, count + (may_miss_option() ? 1 : 0));
        owed_ = used > count ? 1 : 0;
        kept_.erase(0, static_cast<size_t>(used));
        return used;
    }

    void happened(const char *kind, std::string text)
    {
        events_.push_back({kind, std::move(text)});
        if (events_.back().kind != "trace")
            log_.push_back(events_.back());
    }

    static std::string with_data(std::string &data)
    {
        return data.empty() ? "" : "data " + spell(std::exchange(data, {})) + "\n";
    }

    static TelnetHost &host_of(telparser_s *ctx, void *user)
    {
        auto &host = *static_cast<TelnetHost *>(user);
        EXPECT_EQ(ctx, host.ctx_);
        return host;
    }

    static int received(telparser_s *ctx, void *user, const unsigned char *buf, int32_t len)
    {
        EXPECT_GT(len, 0);
        host_of(ctx, user).happened(
            "data", {reinterpret_cast<const char *>(buf), static_cast<size_t>(len)});
        return -1; // ignored
    }

    static int sent(telparser_s *, void *, const unsigned char *, int32_t)
    {
        ADD_FAILURE() << "the parser sent something";
        return 0;
    }

    static void traced(telparser_s *ctx, void *user, const char *text)
    {
        host_of(ctx, user).happened("trace", text);
    }

    static void sized(telparser_s *ctx, void *user, int width, int height)
    {
        host_of(ctx, user).happened("naws", std::to_string(width) + " " + std::to_string(height));
    }

    static void named(telparser_s *ctx, void *user, const char *name, int32_t len)
    {
        EXPECT_GT(len, 0);
        EXPECT_EQ(name[len], '\0');
        const std::string text(name, static_cast<size_t>(len));
        const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
            return std::isgraph(static_cast<unsigned char>(c)) != 0;
        });
        host_of(ctx, user).happened("term", plain ? text : spell(text));
    }

    static void broke(telparser_s *ctx, void *user) { host_of(ctx, user).happened("brk", ""); }

    telparser_s *ctx_;
    std::string kept_;
    size_t owed_ = 0; // bytes to drop from what arrives next
    bool ended_ = false;
    std::vector<TelnetEvent> events_;
    std::vector<TelnetEvent> log_;
};

} // namespace varno_test

#endif
