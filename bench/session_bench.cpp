// What a session costs a server: to set up, to take down, and to keep idle. An
// operation is one session; a pass is 16, opened together. The acts that end with the
// sessions open show in their `heap` and `blocks` what an idle one holds. A decoder
// leaves one array for each of its bindings behind when it is released: that is what
// remains after "open_and_close".

#include "acts.h"
#include "host.h"

#include <varno/telnet_parser.h>

#include <array>

namespace varno_bench {
namespace {

// The parts of a session; any may be missing.
struct Parts {
    prompt_s *prompt;
    telparser_s *telnet;
    stroker_s *decoder;
};

enum Which : unsigned { prompt_part = 1, telnet_part = 2, decoder_part = 4, all_parts = 7 };

Parts open_parts(unsigned which)
{
    return {which & prompt_part ? open_prompt() : nullptr,
            which & telnet_part ? telnet_create_context() : nullptr,
            which & decoder_part ? open_decoder() : nullptr};
}

void close_parts(Parts &parts)
{
    if (parts.decoder)
        stroker_free_context(parts.decoder);
    telnet_free_context(parts.telnet);
    if (parts.prompt)
        close_prompt(parts.prompt);
    parts = {};
}

class SessionAct : public Act {
  public:
    explicit SessionAct(unsigned which) : which_(which)
    {
        operations = static_cast<int64_t>(sessions_.size());
        allocates = true;
    }

    ~SessionAct() override { close_all(); }

    const char *problem() override
    {
        close_all();
        open_all();
        for (const Parts &parts : sessions_) {
            if (!parts.prompt != !(which_ & prompt_part) ||
                !parts.telnet != !(which_ & telnet_part) ||
                !parts.decoder != !(which_ & decoder_part))
                return "a part is missing";
            if (parts.prompt && !prompt_get_command(parts.prompt, "execute"))
                return "a command is missing";
        }
        return nullptr;
    }

  protected:
    void open_all()
    {
        for (Parts &parts : sessions_)
            parts = open_parts(which_);
    }

    void close_all()
    {
        for (Parts &parts : sessions_)
            close_parts(parts);
    }

  private:
    const unsigned which_;
    std::array<Parts, 16> sessions_ = {};
};

class OpenAct : public SessionAct {
  public:
    using SessionAct::SessionAct;
    void prepare() override { close_all(); }
    void run() override { open_all(); }
};

class OpenAndCloseAct : public SessionAct {
  public:
    using SessionAct::SessionAct;
    void prepare() override { close_all(); }

    void run() override
    {
        open_all();
        close_all();
    }
};

template <unsigned which>
std::unique_ptr<Act> open()
{
    return std::make_unique<OpenAct>(which);
}

template <unsigned which>
std::unique_ptr<Act> open_and_close()
{
    return std::make_unique<OpenAndCloseAct>(which);
}

// clang-format off
constexpr ActRow rows[] = {
    {"session/open_prompt",                  open<prompt_part>},
    {"session/open_telnet_parser",           open<telnet_part>},
    {"session/open_decoder",                 open<decoder_part>},
    {"session/open_all",                     open<all_parts>},
    {"session/open_and_close_prompt",        open_and_close<prompt_part>},
    {"session/open_and_close_telnet_parser", open_and_close<telnet_part>},
    {"session/open_and_close_decoder",       open_and_close<decoder_part>},
    {"session/open_and_close_all",           open_and_close<all_parts>},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
