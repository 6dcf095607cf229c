// varno-tty: the event loop around one session on standard input and output. A round
// is one event, what it changes, and one write.

#include "session.h"
#include "terminal.h"

#include <varno/platform_default.h>
#include <varno/termcap_util.h>
#include <varno/varno.h>

#include <CLI/CLI.hpp>
#include <cassert>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <string>

#include <unistd.h>
#include <uv.h>

namespace {

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGTERM};
constexpr int other_signals[] = {SIGWINCH, SIGTSTP, SIGCONT};

struct Program {
    Session session;
    uv_loop_t *loop;
    union {
        uv_stream_t stream;
        uv_tty_t tty;
        uv_pipe_t pipe;
    } input;
    uv_timer_t escape_timer;
    uv_signal_t signals[std::size(ending_signals) + std::size(other_signals)];
    int status;
};

Program program = {};
char output[65536]; // a round's, longer ones take more than one write

void end_round()
{
    session_end_round(program.session);
    if (program.session.is_done)
        uv_stop(program.loop);
}

// Input

void on_escape_delay(uv_timer_t *)
{
    session_timed_out(program.session);
    end_round();
}

void take_input(int32_t count)
{
    const uint64_t wait = session_input(program.session, count);
    uv_timer_stop(&program.escape_timer);
    if (wait > 0)
        uv_timer_start(&program.escape_timer, on_escape_delay, wait, 0);
    end_round();
}

void end_input()
{
    session_timed_out(program.session);
    program.session.is_done = true;
    end_round();
}

// Bytes are read behind those that the decoder has left, and no more than it takes.
uv_buf_t input_room()
{
    Session &session = program.session;
    return uv_buf_init(reinterpret_cast<char *>(session.bytes) + session.nbytes,
                       unsigned(sizeof(session.bytes)) - unsigned(session.nbytes));
}

void on_input(uv_stream_t *, ssize_t count, const uv_buf_t *)
{
    if (count > 0)
        take_input(int32_t(count));
    else if (count < 0)
        end_input();
}

int start_reading()
{
    auto &input = program.input;
    const bool is_tty = uv_guess_handle(STDIN_FILENO) == UV_TTY;
    int error = is_tty ? uv_tty_init(program.loop, &input.tty, STDIN_FILENO, 0)
                       : uv_pipe_init(program.loop, &input.pipe, 0);
    if (error == 0 && !is_tty)
        error = uv_pipe_open(&input.pipe, STDIN_FILENO);
    if (error != 0)
        return error;
    const auto give_room = [](uv_handle_t *, size_t, uv_buf_t *buffer) { *buffer = input_room(); };
    return uv_read_start(&input.stream, give_room, on_input);
}

// A file is always ready, and nothing that an event loop waits for.
void read_file()
{
    ssize_t count = 1;
    while (count > 0 && !program.session.is_done) {
        const uv_buf_t room = input_room();
        count = read(STDIN_FILENO, room.base, room.len);
        if (count > 0)
            take_input(int32_t(count));
    }
    end_input();
}

// Signals

void on_ending_signal(uv_signal_t *, int signum)
{
    program.status = 128 + signum;
    program.session.is_done = true;
    end_round();
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
    if (signum == SIGTSTP) {
        stop_process();
        return;
    }
    if (signum == SIGCONT) {
        terminal_enter_raw();
        tcap_emit_caps(term_keys_caps, std::putchar);
    }
    session_resize(program.session);
    end_round();
}

void watch_signals()
{
    uv_signal_t *handle = program.signals;
    for (const int signum : ending_signals) {
        uv_signal_init(program.loop, handle);
        uv_signal_start(handle++, on_ending_signal, signum);
    }
    for (const int signum : other_signals) {
        uv_signal_init(program.loop, handle);
        uv_signal_start(handle++, on_other_signal, signum);
    }
    std::signal(SIGPIPE, SIG_IGN); // output that fails ends the session in order
}

void run_loop()
{
    uv_timer_init(program.loop, &program.escape_timer);
    watch_signals();
    end_round(); // the first prompt
    if (uv_guess_handle(STDIN_FILENO) == UV_FILE)
        read_file();
    else if (const int error = start_reading(); error != 0) {
        std::fprintf(stderr, "varno-tty: standard input: %s\n", uv_strerror(error));
        program.status = 1;
        return;
    }
    if (!program.session.is_done)
        uv_run(program.loop, UV_RUN_DEFAULT);
}

void close_loop()
{
    const auto close = [](uv_handle_t *handle, void *) { uv_close(handle, nullptr); };
    uv_walk(program.loop, close, nullptr);
    uv_run(program.loop, UV_RUN_DEFAULT);
    uv_loop_close(program.loop);
}

// Traces

void write_trace(void *file, int, int, const char *text)
{
    std::fprintf(static_cast<FILE *>(file), "%s\n", text);
}

bool start_trace(const std::string &path)
{
    FILE *file = std::fopen(path.c_str(), "we");
    if (!file || varno_trace_init() != 0)
        return false;
    trace_set_level(g_varno_trace_module_id, 7);
    trace_set_sink(write_trace, file);
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App options("A command line on this terminal. Type ? for what can be typed.");
    std::string trace;
    options.set_version_flag("--version", "varno-tty " VARNO_TTY_VERSION);
    options.add_option("--trace", trace, "Write the library's debug traces to this file");
    CLI11_PARSE(options, argc, argv);
    if (!trace.empty() && !start_trace(trace)) {
        std::perror(trace.c_str());
        return 1;
    }

    std::setvbuf(stdout, output, _IOFBF, sizeof(output));
    program.loop = uv_default_loop();
    terminal_choose_type();
    terminal_enter_raw();
    if (session_open(program.session))
        run_loop();
    else
        program.status = 1;
    session_close(program.session);
    close_loop();
    terminal_leave_raw();
    // Only the decoder's arrays of keys stay behind, as stroker_free_context says.
    assert(tracked_outstanding(nullptr) == tracked_outstanding("mkey_t"));
    return program.status;
}
