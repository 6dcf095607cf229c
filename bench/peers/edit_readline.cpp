// GNU readline through its callback interface, one byte a call as it wants it, without
// a terminal: its getc function reads from memory, its output stream writes
// there. Horizontal scrolling, so that it has one row; no bell, no bracketed paste.

#include "editor.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <readline/history.h>
#include <readline/readline.h>

namespace varno_bench {
namespace {

constinit std::string_view pending = {};

int next_byte(FILE *)
{
    if (pending.empty())
        return EOF;
    const int byte = static_cast<unsigned char>(pending.front());
    pending.remove_prefix(1);
    return byte;
}

// Nothing is typed ahead: each key comes when the one before has been handled.
int is_more_there()
{
    return !pending.empty();
}

ssize_t write_output(void *, const char *bytes, size_t count)
{
    take_output(bytes, count);
    return static_cast<ssize_t>(count);
}

void take_line(char *line)
{
    note_line(line ? line : "");
    if (line && *line)
        add_history(line);
    std::free(line);
}

FILE *memory_stream(const char *mode)
{
    FILE *stream = fopencookie(nullptr, mode, {nullptr, write_output, nullptr, nullptr});
    if (!stream) {
        std::perror("fopencookie");
        std::exit(1);
    }
    return stream;
}

} // namespace

void open_editor()
{
    setenv("INPUTRC", "/dev/null", 1);
    rl_terminal_name = "vt100";
    rl_instream = memory_stream("r");
    rl_outstream = memory_stream("w");
    rl_getc_function = next_byte;
    rl_input_available_hook = is_more_there;
    rl_prep_term_function = nullptr;
    rl_deprep_term_function = nullptr;
    rl_catch_signals = 0;
    rl_catch_sigwinch = 0;
    rl_change_environment = 0;
    rl_initialize();
    rl_tty_set_echoing(1);
    rl_set_screen_size(24, 80);
    rl_variable_bind("horizontal-scroll-mode", "on");
    rl_variable_bind("bell-style", "none");
    rl_variable_bind("enable-bracketed-paste", "off");
    stifle_history(100);
    rl_callback_handler_install("> ", take_line);
}

void press(std::string_view key)
{
    pending = key;
    while (!pending.empty())
        rl_callback_read_char();
}

} // namespace varno_bench
