// Raw mode and its restoration, the terminal's type and size. What is written to the
// terminal in between is the session's affair.

#include "terminal.h"

#include <varno/platform_default.h>
#include <varno/termcap_util.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/ioctl.h>
#include <termcap.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr size_t longest_capability = 126; // tcap_get_string asserts it
constexpr int least_columns = 20;          // room for prompt, guards and a scroll step
constexpr int most_columns = 256;          // a display model holds no more

constexpr int fatal_signals[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSEGV};

// Set once, before any handler may read them.
termios found;
bool has_found = false;
char keypad_local[128]; // the capability "ke"

volatile std::sig_atomic_t is_raw = 0;

bool fits(const char *capability)
{
    const char *text = tgetstr(const_cast<char *>(capability), nullptr);
    return !text || std::strlen(text) <= longest_capability;
}

bool all_fit(const char *const *capabilities)
{
    while (*capabilities && fits(*capabilities))
        capabilities++;
    return !*capabilities;
}

bool all_keys_fit()
{
    const termkey_desc_s *row = basic_keys;
    while (row->capability && fits(row->capability))
        row++;
    return !row->capability;
}

bool choose(const char *type)
{
    return tgetent(nullptr, type) == 1 && all_fit(term_init_caps) && all_fit(term_keys_caps) &&
           all_fit(term_reset_caps) && all_keys_fit() && fits("cd");
}

// The handler was reset when it was entered, so the signal now ends the process the
// way it would have without us.
extern "C" void leave_raw_and_die(int signum)
{
    terminal_leave_raw();
    std::raise(signum);
}

void report_assertion(void *, const char *condition, const char *source, int line)
{
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
    assert_set_handler(report_assertion, nullptr);
    std::atexit(terminal_leave_raw);
}

} // namespace

void terminal_choose_type()
{
    const char *wanted = std::getenv("TERM");
    if (!choose(wanted ? wanted : "dumb") && !choose("vt100"))
        choose("dumb");
}

void terminal_enter_raw()
{
    if (!has_found) {
        if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &found) != 0)
            return;
        has_found = true;
        tcap_get_string("ke", keypad_local);
        watch_ways_out();
    }
    // Keys arrive one by one and unchanged; a line feed that is written still goes
    // to the beginning of the next row.
    termios raw = found;
    raw.c_iflag &= ~static_cast<tcflag_t>(BRKINT | ICRNL | INLCR | IGNCR | INPCK | ISTRIP | IXON);
    raw.c_oflag |= OPOST | ONLCR;
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
    [[maybe_unused]] const ssize_t written =
        write(STDOUT_FILENO, keypad_local, std::strlen(keypad_local));
    tcsetattr(STDIN_FILENO, TCSANOW, &found);
}

TerminalSize terminal_size()
{
    winsize size = {};
    if (ioctl(STDIN_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {80, 24};
    return {std::clamp<int>(size.ws_col, least_columns, most_columns), size.ws_row};
}
