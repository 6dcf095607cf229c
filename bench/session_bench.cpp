// What a session costs a server: to set up, to take down, and to keep idle. An
// operation is one session; a pass is 16, opened together. The acts that end with the
// sessions open show in their `heap` and `blocks` what an idle one holds. A decoder
// leaves one array for each of its bindings behind when it is released: that is what
// remains after "open_and_close".
//
// "begin_and_end" and "idle_heap" are telnet sessions of the session library, which
// share decoders, commands and keys: what a server has for each client. An operation of
// "type_60" is a key.

#include "acts.h"
#include "host.h"

#include <varno/telnet_parser.h>
#include <varno/tsession.h>

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

void drop(tsession_s *, void *, const char *, size_t) {}

// Telnet sessions, begun: the opening is sent and the prompt stands. Those of a pass
// stay open until the pass after the next, so that the one whose heap is counted finds
// nothing that another has given back.
class TelnetAct : public Act {
  public:
    explicit TelnetAct(bool is_ended) : is_ended_(is_ended), shared_(tsession_shared_create())
    {
        if (!shared_)
            give_up("tsession_shared_create");
        operations = static_cast<int64_t>(older_.size());
        allocates = true;
    }

    ~TelnetAct() override
    {
        prepare();
        prepare();
        tsession_shared_free(shared_);
    }

    void prepare() override
    {
        for (tsession_s *&s : older_) {
            tsession_free(s);
            s = nullptr;
        }
        older_.swap(newer_);
    }

    void run() override
    {
        for (tsession_s *&s : newer_) {
            s = open();
            if (is_ended_) {
                tsession_free(s);
                s = nullptr;
            }
        }
    }

    const char *problem() override
    {
        for (const tsession_s *s : newer_) {
            if (!s != is_ended_ || (s && tsession_is_closed(s)))
                return "a session is not as it is to be";
        }
        return nullptr;
    }

  private:
    tsession_s *open()
    {
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.transport = TSESSION_TELNET;
        config.terminal_type = "vt100";
        config.shared = shared_;
        config.output = drop;
        tsession_s *s = tsession_create(&config);
        if (!s)
            give_up("tsession_create");
        tsession_start(s);
        return s;
    }

    const bool is_ended_;
    tsession_shared_s *shared_;
    std::array<tsession_s *, 64> older_ = {};
    std::array<tsession_s *, 64> newer_ = {};
};

// The whole of a session for a key: 60 reads of one byte on plain bytes, each a call
// whose output the host gets.
class TypingAct : public Act {
  public:
    TypingAct() : shared_(tsession_shared_create())
    {
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.shared = shared_;
        config.output = drop;
        s_ = shared_ ? tsession_create(&config) : nullptr;
        if (!s_)
            give_up("tsession_create");
        tsession_start(s_);
        operations = static_cast<int64_t>(line_60.size());
    }

    ~TypingAct() override
    {
        tsession_free(s_);
        tsession_shared_free(shared_);
    }

    void prepare() override { tsession_input(s_, "\025", 1); }

    void run() override
    {
        for (const char &byte : line_60)
            tsession_input(s_, &byte, 1);
    }

    const char *problem() override
    {
        return tsession_is_closed(s_) ? "the session is closed" : nullptr;
    }

  private:
    tsession_shared_s *shared_;
    tsession_s *s_;
};

std::unique_ptr<Act> type_60()
{
    return std::make_unique<TypingAct>();
}

template <bool is_ended>
std::unique_ptr<Act> telnet()
{
    return std::make_unique<TelnetAct>(is_ended);
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
    {"session/begin_and_end",                telnet<true>},
    {"session/idle_heap",                    telnet<false>},
    {"session/type_60_at_end",               type_60},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
