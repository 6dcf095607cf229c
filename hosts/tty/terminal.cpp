// Raw mode and its restoration, the terminal's size, and writing to it. What is
// written is the session's affair.

#include "terminal.h"

#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int fatal_signals[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSEGV};

// Set before any handler may read them.
termios found;
bool has_found = false;
const char *undo = "";

volatile std::sig_atomic_t is_raw = 0;

// The handler was reset when it was entered, so the signal now ends the process the
// way it would have without us.
extern "C" void leave_raw_and_die(int signum)
{
    terminal_leave_raw();
    std::raise(signum);
}

// Inside a session the first call does not return: that session ends with an event.
void on_assertion(void *ctx, const char *condition, const char *source, int line)
{
    tsession_assertion_handler(ctx, condition, source, line);
    terminal_leave_raw();
    std::fprintf(stderr, "assertion failed: %s (%s:%d)\n", condition, source, line);
}

// On a stack of its own: an overflow of the ordinary one is a fatal signal too.
void watch_ways_out()
{
    static char stack[65536];
    const stack_t alternative = {.ss_sp = stack, .ss_flags = 0, .ss_size = sizeof(stack)};
    sigaltstack(&alternative, nullptr);

    struct sigaction action = {};
    action.sa_handler = leave_raw_and_die;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_ONSTACK);
    for (const int signum : fatal_signals)
        sigaction(signum, &action, nullptr);
    std::atexit(terminal_leave_raw);
}

} // namespace

void terminal_enter_raw()
{
    assert_set_handler(on_assertion, nullptr);
    if (!has_found) {
        if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &found) != 0)
            return;
        has_found = true;
        watch_ways_out();
    }
    // Keys arrive one by one and bytes leave unchanged.
    termios raw = found;
    raw.c_iflag &= ~static_cast<tcflag_t>(BRKINT | ICRNL | INLCR | IGNCR | INPCK | ISTRIP | IXON);
    raw.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    raw.c_cflag |= CS8;
    raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | IEXTEN | ISIG);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    is_raw = 1;
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

// Only calls that are allowed in a signal handler.
void terminal_leave_raw()
{
    if (!is_raw)
        return;
    is_raw = 0;
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, undo, std::strlen(undo));
    tcsetattr(STDIN_FILENO, TCSANOW, &found);
}

void terminal_set_undo(const char *text)
{
    undo = text;
}

bool terminal_write(const char *bytes, size_t count)
{
    while (count > 0) {
        const ssize_t written = write(STDOUT_FILENO, bytes, count);
        if (written < 0 && errno == EAGAIN) {
            pollfd output = {STDOUT_FILENO, POLLOUT, 0};
            poll(&output, 1, -1);
        } else if (written < 0 && errno != EINTR) {
            return false;
        } else if (written > 0) {
            bytes += written;
            count -= static_cast<size_t>(written);
        }
    }
    return true;
}

TerminalSize terminal_size()
{
    winsize size = {};
    if (ioctl(STDIN_FILENO, TIOCGWINSZ, &size) != 0)
        return {0, 0};
    return {size.ws_col, size.ws_row};
}
