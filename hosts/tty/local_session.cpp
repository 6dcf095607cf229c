// What a session on a local terminal needs: the event loop, bytes in and out, the
// wait for an escape sequence, size changes, and the signals of a terminal.

#include "local_session.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include <sysexits.h>
#include <unistd.h>
#include <uv.h>

#include "../device/device.h"
#include "acts.h"
#include "saved_files.h"
#include "terminal.h"

namespace {

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGTERM};
constexpr int other_signals[] = {SIGWINCH, SIGTSTP, SIGCONT};
constexpr char paste_off[] = "\033[?2004l";

struct Local {
    device::Console console;
    uv_loop_t *loop = nullptr;
    union {
        uv_stream_t stream;
        uv_tty_t tty;
        uv_pipe_t pipe;
    } input;
    bool is_file = false; // input is one: always ready, and nothing that a loop waits for
    bool is_reading = false;
    bool has_input_ended = false;
    bool has_output_failed = false;
    uv_timer_t escape_timer;
    uv_prepare_t before_waiting;
    uv_idle_t more; // of a long output, or of a file
    uv_signal_t signals[std::size(ending_signals) + std::size(other_signals)];
    char fault[256] = "";
    int status = 0;
};

Local local;

tsession_s *session()
{
    return cli_shell_session(local.console.shell);
}

char bytes[16384]; // of input

// What the session calls

void write_output(tsession_s *, void *, const char *text, size_t count)
{
    local.has_output_failed = local.has_output_failed || !terminal_write(text, count);
}

void take_event(tsession_s *, void *, const tsession_event_s *event)
{
    device::take_event(local.console, *event);
    if (event->kind == TSESSION_FAULT) {
        std::snprintf(local.fault, std::size(local.fault), "%s", event->text);
        local.status = EX_SOFTWARE;
    }
}

// A process that dies gives the terminal back as a session does that ends. Terminals that
// do not know bracketed paste ignore the end of it, all but the one without sequences.
void set_undo()
{
    const bool has_sequences = std::string_view(tsession_terminal(session())) != "dumb";
    terminal_set_undo(has_sequences ? paste_off : "");
}

// Events of the loop

void on_escape_delay(uv_timer_t *)
{
    device::time_out(local.console);
}

void take_input(ssize_t count)
{
    if (count > 0)
        device::take_input(local.console, bytes, static_cast<size_t>(count));
    local.has_input_ended = local.has_input_ended || count < 0;
    uv_timer_stop(&local.escape_timer); // if there is still a wait, it begins anew
}

void read_file()
{
    const ssize_t count = read(STDIN_FILENO, bytes, std::size(bytes));
    take_input(count > 0 ? count : -1);
}

void on_more(uv_idle_t *)
{
    if (tsession_wait(session()) == 0)
        device::time_out(local.console);
    else if (local.is_file)
        read_file();
}

void on_ending_signal(uv_signal_t *, int signum)
{
    local.status = 128 + signum;
    tsession_close(session());
}

// The terminal is handed over before the process stops; raise returns when it goes
// on, and SIGCONT then takes the terminal back.
void stop_process()
{
    terminal_leave_raw();
    std::raise(SIGSTOP);
}

void on_other_signal(uv_signal_t *, int signum)
{
    tsession_s *s = session();
    if (signum == SIGTSTP) {
        stop_process();
        return;
    }
    if (signum == SIGCONT) {
        terminal_enter_raw();
        tsession_set_terminal(s, tsession_terminal(s)); // sets it up again
        set_undo();
    }
    const TerminalSize size = terminal_size();
    tsession_resize(s, size.columns, size.rows);
}

void read_while_wanted(bool is_wanted)
{
    if (local.is_file || is_wanted == local.is_reading)
        return;
    local.is_reading = is_wanted;
    const auto give_room = [](uv_handle_t *, size_t, uv_buf_t *room) {
        *room = uv_buf_init(bytes, std::size(bytes));
    };
    const auto on_input = [](uv_stream_t *, ssize_t count, const uv_buf_t *) { take_input(count); };
    if (is_wanted)
        uv_read_start(&local.input.stream, give_room, on_input);
    else
        uv_read_stop(&local.input.stream);
}

// After whatever happened: what there is to wait for. Input that has ended ends the
// session when its last output is out.
void before_waiting(uv_prepare_t *)
{
    tsession_s *s = session();
    if (local.has_input_ended && !tsession_has_more(s))
        tsession_close(s);
    if (tsession_is_closed(s) || local.has_output_failed)
        uv_stop(local.loop);
    read_while_wanted(tsession_wants_input(s) != 0);
    const int32_t wait = tsession_wait(s);
    if (wait <= 0)
        uv_timer_stop(&local.escape_timer);
    else if (!uv_is_active(reinterpret_cast<uv_handle_t *>(&local.escape_timer)))
        uv_timer_start(&local.escape_timer, on_escape_delay, static_cast<uint64_t>(wait), 0);
    if (local.is_file || wait == 0)
        uv_idle_start(&local.more, on_more);
    else
        uv_idle_stop(&local.more);
}

// Set-up

int start_reading()
{
    auto &input = local.input;
    const uv_handle_type type = uv_guess_handle(STDIN_FILENO);
    local.is_file = type == UV_FILE;
    if (local.is_file)
        return 0;
    int error = type == UV_TTY ? uv_tty_init(local.loop, &input.tty, STDIN_FILENO, 0)
                               : uv_pipe_init(local.loop, &input.pipe, 0);
    if (error == 0 && type != UV_TTY)
        error = uv_pipe_open(&input.pipe, STDIN_FILENO);
    if (error == 0)
        read_while_wanted(true);
    return error;
}

template <size_t count>
uv_signal_t *watch(uv_signal_t *handle, const int (&signals)[count], uv_signal_cb callback)
{
    for (const int signum : signals) {
        uv_signal_init(local.loop, handle);
        uv_signal_start(handle++, callback, signum);
    }
    return handle;
}

void open_loop()
{
    local.loop = uv_default_loop();
    uv_timer_init(local.loop, &local.escape_timer);
    uv_idle_init(local.loop, &local.more);
    uv_prepare_init(local.loop, &local.before_waiting);
    uv_prepare_start(&local.before_waiting, before_waiting);
    acts_open(local.loop);
    watch(watch(local.signals, ending_signals, on_ending_signal), other_signals, on_other_signal);
    std::signal(SIGPIPE, SIG_IGN); // output that fails ends the session in order
}

void close_loop()
{
    acts_close();
    const auto close = [](uv_handle_t *handle, void *) { uv_close(handle, nullptr); };
    uv_walk(local.loop, close, nullptr);
    uv_run(local.loop, UV_RUN_DEFAULT);
    uv_loop_close(local.loop);
}

void create_shell()
{
    const TerminalSize size = terminal_size();
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.terminal_type = std::getenv("TERM");
    config.columns = size.columns;
    config.rows = size.rows;
    config.is_unpaged = !isatty(STDIN_FILENO); // nobody would answer
    config.user = &local.console;
    config.output = write_output;
    config.event = take_event;
    cli_shell_config_s shell = device::shell_config(local.console);
    shell.session = &config;
    shell.save = saved_files();
    local.console.shell = cli_shell_create(&shell);
}

// Reading begins first, so that what may go wrong there meets no half-drawn screen.
void run_loop()
{
    if (const int error = start_reading(); error != 0) {
        std::snprintf(local.fault, std::size(local.fault), "standard input: %s",
                      uv_strerror(error));
        local.status = EXIT_FAILURE;
        return;
    }
    device::attach(local.console, "this terminal");
    set_undo();
    tsession_start(session());
    uv_run(local.loop, UV_RUN_DEFAULT);
    tsession_close(session());
}

} // namespace

int run_local_session()
{
    open_loop(); // first: from now on no signal ends the process in raw mode
    terminal_enter_raw();
    create_shell();
    if (local.console.shell)
        run_loop();
    else
        local.status = EXIT_FAILURE;
    close_loop();
    device::detach(local.console);
    cli_shell_free(local.console.shell);
    device::release_thread();
    terminal_leave_raw();
    if (local.fault[0])
        std::fprintf(stderr, "varno-tty: %s\n", local.fault);
    return local.status;
}
