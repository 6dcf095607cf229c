// libtelnet: telnet_recv, and an event handler that counts data, reads window sizes and
// counts terminal types.

#include "../telnet_acts.h"

#include <cstdio>
#include <cstdlib>

#include <libtelnet.h>

namespace varno_bench {
namespace {

constexpr telnet_telopt_t options[] = {
    {TELNET_TELOPT_NAWS, TELNET_WONT, TELNET_DO},
    {TELNET_TELOPT_TTYPE, TELNET_WONT, TELNET_DO},
    {-1, 0, 0},
};

class LibtelnetAct : public TelnetAct {
  public:
    explicit LibtelnetAct(Stream stream)
        : TelnetAct(stream), telnet_(telnet_init(options, take_event, 0, this))
    {
        if (!telnet_) {
            std::fprintf(stderr, "cannot make a libtelnet context\n");
            std::exit(1);
        }
        allocates = true;
    }

    ~LibtelnetAct() override { telnet_free(telnet_); }

  protected:
    void read(const char *from, size_t count) override { telnet_recv(telnet_, from, count); }

  private:
    static void take_event(telnet_t *, telnet_event_t *event, void *user)
    {
        auto *act = static_cast<LibtelnetAct *>(user);
        if (event->type == TELNET_EV_DATA)
            act->note_data(event->data.buffer, event->data.size);
        else if (event->type == TELNET_EV_SUBNEGOTIATION)
            act->take_subnegotiation(event->sub.telopt, event->sub.buffer, event->sub.size);
        else if (event->type == TELNET_EV_TTYPE)
            act->note_terminal();
    }

    void take_subnegotiation(int option, const char *buffer, size_t size)
    {
        const auto *b = reinterpret_cast<const unsigned char *>(buffer);
        if (option == TELNET_TELOPT_NAWS && size == 4)
            note_window(b[0] << 8 | b[1], b[2] << 8 | b[3]);
    }

    telnet_t *telnet_;
};

template <Stream stream>
std::unique_ptr<Act> act()
{
    return std::make_unique<LibtelnetAct>(stream);
}

// clang-format off
constexpr ActRow rows[] = {
    {"telnet/plain_64k",                act<Stream::plain_64k>},
    {"telnet/plain_reads_256",          act<Stream::plain_256>},
    {"telnet/plain_single_bytes",       act<Stream::plain_1>},
    {"telnet/commands_every_64",        act<Stream::commands_every_64>},
    {"telnet/subnegotiations_every_16", act<Stream::subnegotiations_every_16>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
