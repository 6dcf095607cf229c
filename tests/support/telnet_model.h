#ifndef VARNO_TESTS_TELNET_MODEL_H
#define VARNO_TESTS_TELNET_MODEL_H

// A plain model of the telnet parser: one step at a time, no search is shared.

#include "spelling.h"
#include "telnet_host.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace varno_test {

// What one call of the parser makes of a stream.
class TelnetModel {
  public:
    TelnetModel(std::string_view stream, unsigned char after) : stream_(stream), after_(after) {}

    std::vector<TelnetEvent> events;
    bool failed = false;

    size_t run()
    {
        size_t run_start = 0;
        for (size_t at = 0; at < stream_.size();) {
            if (byte(at) != 255) {
                at++;
                continue;
            }
            if (at > run_start) {
                trace("Have some text buffered up");
                data(run_start, at);
            }
            const size_t n = command(at);
            if (failed)
                return 0;
            trace("NVT processing consumed " + std::to_string(n) + "\n");
            if (n == 0)
                return at;
            at += n;
            run_start = at;
            if (at >= stream_.size())
                return at;
        }
        if (run_start == 0)
            data(0, stream_.size());
        return run_start == 0 ? stream_.size() : run_start;
    }

  private:
    int byte(size_t at) const
    {
        EXPECT_LE(at, stream_.size());
        return at < stream_.size() ? static_cast<unsigned char>(stream_[at]) : after_;
    }

    bool is_end(size_t at) const
    {
        return at + 1 < stream_.size() && byte(at) == 255 && byte(at + 1) == 240;
    }

    void trace(std::string text) { events.push_back({"trace", std::move(text)}); }

    void data(size_t from, size_t to)
    {
        events.push_back({"data", std::string(stream_.substr(from, to - from))});
    }

    size_t command(size_t at)
    {
        if (at + 1 == stream_.size())
            return 0;
        const int code = byte(at + 1);
        const char *const names[] = {"NOP", "DATAMARK", "BRK",   "INTERRUPT", "ABRT",
                                     "AYT", "ECHAR",    "ELINE", "GA"};
        if (code == 250)
            return message(at);
        if (code > 250 && code < 255) {
            const char *const requests[] = {"WILL", "WONT", "request DO", "request DONT"};
            trace(std::string("Client ") + requests[code - 251] + " option " +
                  std::to_string(byte(at + 2)));
            return 3;
        }
        if (code == 255)
            data(at + 1, at + 2);
        else if (code == 243)
            events.push_back({"brk", ""});
        else if (code == 240)
            trace("Saw IAC SE without corresponding IAC SB");
        else if (code < 240)
            trace("Invalid NVT command " + std::to_string(code));
        else
            trace(std::string("Discarding command ") + names[code - 241] + " (" +
                  std::to_string(code) + ")");
        return 2;
    }

    size_t message(size_t at)
    {
        const size_t n = option(at);
        if (failed)
            return 0;
        trace(n == 0 ? "Could not consume sub-opt message"
                     : "Consumed a sub-opt message of length " + std::to_string(n));
        return n;
    }

    size_t option(size_t at)
    {
        size_t end = at + 3;
        while (end < stream_.size() && !(is_end(end) && byte(end - 1) != 255))
            end++;
        if (end >= stream_.size())
            return 0;
        switch (byte(at + 2)) {
        case 31:
            return window(at, end);
        case 24:
            return terminal(at, end);
        default:
            return other(at);
        }
    }

    size_t window(size_t at, size_t end)
    {
        if (stream_.size() - at < 9)
            return 0;
        if (!is_end(at + 7)) {
            trace("saw malformed NAWS message: missing IAC SE");
            return 6;
        }
        const int width = byte(at + 3) * 256 + byte(at + 4);
        const int height = byte(at + 5) * 256 + byte(at + 6);
        events.push_back({"naws", std::to_string(width) + " " + std::to_string(height)});
        failed = end + 2 - at != 9;
        if (failed)
            events.push_back({"assertion", "telnet_parser \"len == 9\""});
        return 9;
    }

    size_t terminal(size_t at, size_t end)
    {
        if (byte(at + 3) != 0) {
            trace("malformed termtype message: cmd " + std::to_string(byte(at + 3)) + " is not IS");
            return end + 2 - at;
        }
        std::string name(stream_.substr(at + 4, end - at - 4));
        if (name.empty() || name.size() > 40) {
            trace("termtype message termlength is too large: " + std::to_string(name.size()));
            return end + 2 - at;
        }
        bool plain = true;
        for (char &c : name) {
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c + ('a' - 'A'));
            plain = plain && c > ' ' && c < 127;
        }
        events.push_back({"term", plain ? name : spell(name)});
        return end + 2 - at;
    }

    size_t other(size_t at)
    {
        const std::string code = std::to_string(byte(at + 2));
        trace("Skipping unsupported options negotiation for option: " + code);
        size_t j = 2;
        while (byte(at + j) != 255)
            j++;
        if (byte(at + j + 1) == 240) {
            trace("Consuming unsupported option: " + code + " (len: " + std::to_string(j + 1) +
                  ")");
            return j + 1;
        }
        trace("Saw an IAC command within the SB/SE: " + std::to_string(byte(at + j + 1)));
        return j - 1;
    }

    std::string_view stream_;
    unsigned char after_;
};

// Presents until nothing gets it on; each call must agree with the model.
inline void expect_as_model(TelnetHost &host, std::string_view bytes)
{
    std::string buffer = host.kept() + std::string(bytes);
    while (!buffer.empty()) {
        TelnetModel model(buffer, host.byte_after);
        const size_t used = model.run();
        const auto got = host.present(bytes);
        ASSERT_EQ(host.take_events(), model.events) << spell(buffer);
        ASSERT_EQ(got.has_value(), !model.failed);
        if (!got)
            return;
        ASSERT_EQ(static_cast<size_t>(*got), used) << spell(buffer);
        // Only a command cut off at the beginning uses nothing.
        ASSERT_EQ(used == 0, buffer[0] == '\xff' && host.kept() == buffer);
        if (used == 0)
            return;
        bytes = {};
        buffer = host.kept();
    }
}

} // namespace varno_test

#endif
