#include "session_play.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "finding.h"
#include "session/session.h"
#include "session_check.h"

#include <varno/platform_default.h>

namespace varno_fuzz {
namespace {

// How far a very long output comes in a call depends on what the call has gathered before.
constexpr int rows_of_one_call = 100;

std::string without_count(const std::string &event)
{
    constexpr std::string_view cancelled = "cancelled after ";
    return event.starts_with(cancelled) ? std::string(cancelled) : event;
}

using varno_test::SessionHost;

constexpr int rows = 12;
constexpr int widest = 256;

// clang-format off
constexpr const char *terminal_types[] = {
    "xterm", "vt100", "vt102", "vt220", "linux", "screen", "tmux", "rxvt", "rxvt-unicode",
    "putty", "cygwin", "ansi", "dumb", "nonsense",
};
// clang-format on

void on_assertion(void *, const char *condition, const char *source, int line)
{
    if (std::strcmp(condition, "p && m") == 0)
        tsession_assertion_handler(nullptr, condition, source, line);
    found(condition, source, line);
}

tsession_config_s config_of(int transport, const char *terminal_type)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = transport;
    config.terminal_type = terminal_type;
    config.rows = rows;
    config.graph = SessionHost::graph();
    return config;
}

} // namespace

tsession_shared_s *process_shared()
{
    static tsession_shared_s *shared = nullptr;
    if (shared)
        return shared;
    shared = tsession_shared_create();
    tsession_config_s config = config_of(TSESSION_PLAIN, nullptr);
    config.shared = shared;
    SessionHost host(config);
    for (const char *type : terminal_types)
        tsession_set_terminal(host.session(), type);
    return shared;
}

void handle_assertions()
{
    assert_set_handler(on_assertion, nullptr);
}

SessionPlay::SessionPlay(int transport, InputReader &in)
{
    handle_assertions();
    const int flags = in.byte();
    tsession_config_s config =
        config_of(transport, terminal_types[in.below(std::size(terminal_types))]);
    config.shared = process_shared();
    config.columns = in.byte();
    config.is_unpaged = flags & 1;
    config.history_limit = flags & 2 ? 2 : 0;
    config.prompt = flags & 4 ? "a prompt of thirty characters# " : nullptr;
    host_ = std::make_unique<SessionHost>(config);
    host_->long_rows = flags & 8 ? 6000 : 30;
    columns_ = tsession_columns(host_->session());
    is_wide_ = (flags & 16) == 0;
    if (is_wide_)
        host_->terminal().resize(rows, widest);
    host_->take_output_calls();
    host_->take_sent();
}

void SessionPlay::run(InputReader in, size_t part)
{
    while (!in.is_empty() && host_->session()) {
        const std::string_view rest = in.rest();
        const auto is_act = [](char c) { return (static_cast<uint8_t>(c) & 0xf0) == 0x80; };
        const auto act = std::find_if(rest.begin(), rest.end(), is_act);
        const auto run = static_cast<size_t>(act - rest.begin());
        if (run > 0)
            input(in.take(std::min(run, part)));
        else
            by_host(in.byte(), in);
    }
    tracked_fail_after(-1);
}

std::string SessionPlay::screen() const
{
    return host_->terminal().text() + host_->row();
}

void SessionPlay::input(std::string_view bytes)
{
    // A block of its own: a read past it is seen.
    const std::vector<char> block(bytes.begin(), bytes.end());
    // An interrupt drops what was typed before it, as far as it has not been taken.
    if (bytes.find_first_of("\003\363\364") != bytes.npos)
        are_events_comparable_ = is_screen_comparable_ = false;
    host_->hand_over({block.data(), block.size()});
    after_call(block.size());
    while (host_->session() && tsession_wait(host_->session()) == 0) {
        tsession_time_out(host_->session());
        after_call(0);
    }
}

void SessionPlay::by_host(int act, InputReader &in)
{
    tsession_s *s = host_->session();
    switch (act & 15) {
    case 0:
        FUZZ_REQUIRE(tsession_wait(s) >= -1 && tsession_wait(s) <= 500);
        tsession_time_out(s);
        break;
    case 1:
        tsession_print(s, "%s\n", "message");
        break;
    case 2:
        is_writable_ = !is_writable_;
        tsession_set_writable(s, is_writable_);
        break;
    case 3:
        drain();
        break;
    case 4: // until the next act 5, or the end
        is_without_memory_ = true;
        are_events_comparable_ = is_screen_comparable_ = false;
        tracked_fail_after(1 + in.below(64));
        break;
    case 5:
        tracked_fail_after(-1);
        is_without_memory_ = false;
        break;
    default:
        change(act & 15, in);
        break;
    }
    after_call(0);
}

void SessionPlay::change(int act, InputReader &in)
{
    tsession_s *s = host_->session();
    switch (act) {
    case 6:
        return tsession_resize(s, in.byte() * 2, rows);
    case 7:
        return tsession_set_prompt(s, std::string(in.take_until('\0')).c_str());
    case 8:
        return tsession_set_terminal(s, terminal_types[in.below(std::size(terminal_types))]);
    case 9:
        return tsession_write_clean(s, std::string(in.take_until('\0')).c_str());
    case 10:
        tsession_ask(s, std::string(in.take_until('\0')).c_str(), in.byte() & 1, nullptr, nullptr);
        return;
    case 11:
        return page();
    case 12:
        return tsession_set_paged(s, in.byte() & 1);
    case 13:
        return tsession_set_graph(s, in.byte() & 1 ? SessionHost::graph() : nullptr);
    case 14:
        return tsession_history(
            s,
            [](tsession_s *, void *, void *, int32_t number, const char *line) {
                FUZZ_REQUIRE(number > 0 && *line);
            },
            nullptr);
    default:
        return tsession_close(s);
    }
}

void SessionPlay::page()
{
    produced_ = 0;
    if (tsession_page(host_->session(), produce, this) == 0)
        producing_++;
}

int SessionPlay::produce(tsession_s *s, void *, void *ctx, int is_cancelled)
{
    auto *self = static_cast<SessionPlay *>(ctx);
    const bool has_more = !is_cancelled && self->produced_++ < 40;
    if (!is_cancelled)
        tsession_print(s, "produced %d\n", self->produced_);
    return has_more;
}

// A host whose client reads on.
void SessionPlay::drain()
{
    is_writable_ = true;
    tsession_set_writable(host_->session(), 1);
    for (int calls = 0; tsession_wait(host_->session()) == 0; calls++) {
        FUZZ_REQUIRE(calls < 10000 || is_without_memory_);
        if (calls > 10000)
            return;
        tsession_time_out(host_->session());
    }
}

void SessionPlay::after_call(size_t bytes_in)
{
    for (std::string &event : host_->take_events())
        events_.push_back(host_->long_rows > rows_of_one_call ? without_count(event) : event);
    check_output(bytes_in);
    if (!host_->session()) {
        is_screen_comparable_ = false; // what its last call had gathered is not sent
        return;
    }
    const tsession_s *s = host_->session();
    check_record(s);
    const bool fits = is_wide_ || s->columns == columns_;
    columns_ = fits ? columns_ : 0; // once rows have wrapped they stay so
    is_screen_comparable_ &= s->prompt->display_offset == 0 && fits;
    // What a client shows by itself is not on this terminal.
    has_echoed_ |= s->transport == TSESSION_TELNET && s->is_started &&
                   s->telnet.us(varno::option_echo) == varno::OptionState::no;
    is_screen_comparable_ &= !has_echoed_;
    if (!is_without_memory_ && !has_echoed_ && fits)
        check_row(s, host_->terminal());
}

// A call's output leaves at once unless it is much; what a byte can bring about, lists
// and commands apart, is a few rows.
void SessionPlay::check_output(size_t bytes_in)
{
    const size_t sent = host_->take_sent().size();
    const auto calls = static_cast<size_t>(host_->take_output_calls());
    FUZZ_REQUIRE(calls <= 1 + sent / 1024 || is_without_memory_);
    FUZZ_REQUIRE(sent <= 200000 + bytes_in * 2000 || bytes_in == 0 ||
                 host_->long_rows > rows_of_one_call);
    is_screen_comparable_ &= sent < varno::output_capacity / 2; // lists have an end
}

void play_whole_and_cut(int transport, const uint8_t *data, size_t size)
{
    process_shared();
    const Books books;
    InputReader in(data, size);
    const size_t part = 1 + static_cast<size_t>(in.below(16));
    InputReader again = in;
    SessionPlay whole(transport, in);
    whole.run(in, size);
    SessionPlay cut(transport, again);
    cut.run(again, part);
    if (whole.are_events_comparable())
        FUZZ_REQUIRE(whole.events() == cut.events());
    if (whole.is_screen_comparable() && cut.is_screen_comparable())
        FUZZ_REQUIRE(whole.screen() == cut.screen());
}

} // namespace varno_fuzz
