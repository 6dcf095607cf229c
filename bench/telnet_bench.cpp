// Telnet streams through the parser as its own host would call it, and through a
// session's front, which also answers negotiation and bounds what it keeps. The memchr act
// is the yardstick for plain data: the same bytes, searched for the same byte.

#include "telnet_acts.h"

#include <input/telnet_front.h>

#include <varno/telnet_parser.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace varno_bench {
namespace {

[[noreturn]] void give_up()
{
    std::fprintf(stderr, "cannot make a telnet parser\n");
    std::exit(1);
}

class ParserAct : public TelnetAct {
  public:
    // Of an option that it does not know the parser leaves the last byte as data.
    explicit ParserAct(Stream stream) : TelnetAct(stream, "\xf0"), ctx_(telnet_create_context())
    {
        if (!ctx_)
            give_up();
        telnet_set_callback_recv(ctx_, take_data, this);
        telnet_set_callback_trace(
            ctx_, [](telparser_s *, void *, const char *) {}, nullptr);
        telnet_set_callback_naws(ctx_, take_window, this);
        telnet_set_callback_term(ctx_, take_terminal, this);
    }

    ~ParserAct() override { telnet_free_context(ctx_); }

  protected:
    // What the parser leaves is kept, and new bytes go after it; without any they are read
    // where they are.
    void read(const char *from, size_t count) override
    {
        const char *unread = from;
        if (!left_.empty()) {
            left_.append(from, count);
            unread = left_.data();
            count = left_.size();
        }
        const size_t used = consume(unread, count);
        if (used < count || !left_.empty())
            left_ = std::string(unread + used, count - used);
    }

  private:
    // The parser is called as long as it uses any, since it stops after the last command.
    size_t consume(const char *unread, size_t count)
    {
        const auto *buf = reinterpret_cast<const unsigned char *>(unread);
        size_t used = 0;
        while (used < count) {
            const int32_t n = telnet_consume(ctx_, buf + used, static_cast<int32_t>(count - used));
            if (n == 0)
                break;
            used += static_cast<size_t>(n);
        }
        return used;
    }

    static int take_data(telparser_s *, void *user, const unsigned char *buf, int32_t len)
    {
        static_cast<ParserAct *>(user)->note_data(reinterpret_cast<const char *>(buf),
                                                  static_cast<size_t>(len));
        return 0;
    }

    static void take_window(telparser_s *, void *user, int width, int height)
    {
        static_cast<ParserAct *>(user)->note_window(width, height);
    }

    static void take_terminal(telparser_s *, void *user, const char *, int32_t)
    {
        static_cast<ParserAct *>(user)->note_terminal();
    }

    telparser_s *ctx_;
    std::string left_;
};

class FrontAct : public TelnetAct {
  public:
    explicit FrontAct(Stream stream) : TelnetAct(stream)
    {
        varno::TelnetEvents events = {};
        events.user = this;
        events.data = [](void *user, const unsigned char *from, size_t count) {
            static_cast<FrontAct *>(user)->note_data(reinterpret_cast<const char *>(from), count);
        };
        events.size = [](void *user, int columns, int rows) {
            static_cast<FrontAct *>(user)->note_window(columns, rows);
        };
        events.terminal = [](void *user, const char *) {
            static_cast<FrontAct *>(user)->note_terminal();
        };
        events.interrupt = [](void *) {};
        events.brk = [](void *) {};
        events.are_you_there = [](void *) {};
        events.reply = [](void *, const unsigned char *, size_t) {};
        front_.begin(events);
    }

  protected:
    void read(const char *from, size_t count) override
    {
        front_.consume(reinterpret_cast<const unsigned char *>(from), count);
    }

  private:
    varno::TelnetFront front_;
};

class MemchrAct : public Act {
  public:
    MemchrAct() : text_(plain_text(stream_bytes))
    {
        operations = stream_bytes / 1024;
        bytes = stream_bytes;
    }

    // Volatile, so that the search is not left out.
    void run() override { found_ = std::memchr(text_.data(), TN_NVT_IAC, text_.size()); }

    const char *problem() override { return found_ ? "found a byte that is not there" : nullptr; }

  private:
    const std::string text_;
    const void *volatile found_ = nullptr;
};

template <class TheAct, Stream stream>
std::unique_ptr<Act> act()
{
    return std::make_unique<TheAct>(stream);
}

std::unique_ptr<Act> memchr_64k()
{
    return std::make_unique<MemchrAct>();
}

// clang-format off
constexpr ActRow rows[] = {
    {"memchr/plain_64k",                        memchr_64k},
    {"telnet/plain_64k",                        act<ParserAct, Stream::plain_64k>},
    {"telnet/plain_reads_256",                  act<ParserAct, Stream::plain_256>},
    {"telnet/plain_single_bytes",               act<ParserAct, Stream::plain_1>},
    {"telnet/commands_every_64",                act<ParserAct, Stream::commands_every_64>},
    {"telnet/subnegotiations_every_16",         act<ParserAct, Stream::subnegotiations_every_16>},
    {"telnet_session/plain_64k",                act<FrontAct, Stream::plain_64k>},
    {"telnet_session/plain_reads_256",          act<FrontAct, Stream::plain_256>},
    {"telnet_session/plain_single_bytes",       act<FrontAct, Stream::plain_1>},
    {"telnet_session/commands_every_64",        act<FrontAct, Stream::commands_every_64>},
    {"telnet_session/subnegotiations_every_16", act<FrontAct, Stream::subnegotiations_every_16>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
