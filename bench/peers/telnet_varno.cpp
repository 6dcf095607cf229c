// The telnet parser as its own host would call it, and the session's filter with the
// parser behind it, which also answers negotiation and bounds what it keeps.

#include "telnet_acts.h"

#include <input/telnet_front.h>

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
    explicit ParserAct(Stream stream) : TelnetAct(stream), ctx_(telnet_create_context())
    {
        if (!ctx_)
            give_up();
        telnet_set_callback_recv(ctx_, take_data, this);
        telnet_set_callback_trace(
            ctx_, [](telparser_s *, void *, const char *) {}, nullptr);
        telnet_set_callback_naws(ctx_, take_window, this);
    }

    ~ParserAct() override { telnet_free_context(ctx_); }

  protected:
    // What the parser leaves is kept, and new bytes go behind it; without any they are read
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
    // The parser is called as long as it uses any, since it stops behind the last command.
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

    telparser_s *ctx_;
    std::string left_;
};

class FilterAct : public TelnetAct {
  public:
    explicit FilterAct(Stream stream) : TelnetAct(stream)
    {
        varno::TelnetEvents events = {};
        events.user = this;
        events.data = [](void *user, const unsigned char *from, size_t count) {
            static_cast<FilterAct *>(user)->note_data(reinterpret_cast<const char *>(from), count);
        };
        events.size = [](void *user, int columns, int rows) {
            static_cast<FilterAct *>(user)->note_window(columns, rows);
        };
        events.terminal = [](void *, const char *) {};
        events.interrupt = [](void *) {};
        events.brk = [](void *) {};
        events.are_you_there = [](void *) {};
        events.reply = [](void *, const unsigned char *, size_t) {};
        if (!filter_.begin(events))
            give_up();
    }

    ~FilterAct() override { filter_.end(); }

  protected:
    void read(const char *from, size_t count) override
    {
        filter_.consume(reinterpret_cast<const unsigned char *>(from), count);
    }

  private:
    varno::TelnetFilter filter_;
};

template <class TheAct, Stream stream>
std::unique_ptr<Act> act()
{
    return std::make_unique<TheAct>(stream);
}

// clang-format off
constexpr ActRow rows[] = {
    {"telnet/plain_64k",                       act<ParserAct, Stream::plain_64k>},
    {"telnet/plain_reads_256",                 act<ParserAct, Stream::plain_256>},
    {"telnet/plain_single_bytes",              act<ParserAct, Stream::plain_1>},
    {"telnet/command_every_64",                act<ParserAct, Stream::command_every_64>},
    {"telnet/subnegotiation_every_16",         act<ParserAct, Stream::subnegotiation_every_16>},
    {"telnet_session/plain_64k",               act<FilterAct, Stream::plain_64k>},
    {"telnet_session/plain_reads_256",         act<FilterAct, Stream::plain_256>},
    {"telnet_session/plain_single_bytes",      act<FilterAct, Stream::plain_1>},
    {"telnet_session/command_every_64",        act<FilterAct, Stream::command_every_64>},
    {"telnet_session/subnegotiation_every_16", act<FilterAct, Stream::subnegotiation_every_16>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
