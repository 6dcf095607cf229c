// libedit in its unbuffered mode, where el_gets handles one key and returns; that is its
// way to be called from an event loop. It edits only on a terminal, so it gets a
// pseudo-terminal to ask about modes and size; keys come from memory by EL_GETCFN and
// output goes to a stream in memory. It has no horizontal scrolling: a long line wraps.

#include "editor.h"

#include <cstdio>
#include <cstdlib>

#include <histedit.h>
#include <pty.h>

namespace varno_bench {
namespace {

constinit EditLine *editor = nullptr;
constinit History *past = nullptr;
constinit std::string_view pending = {};

[[noreturn]] void give_up(const char *step)
{
    std::perror(step);
    std::exit(1);
}

int next_byte(EditLine *, wchar_t *out)
{
    if (pending.empty())
        return 0;
    *out = static_cast<unsigned char>(pending.front());
    pending.remove_prefix(1);
    return 1;
}

ssize_t write_output(void *, const char *bytes, size_t count)
{
    take_output(bytes, count);
    return static_cast<ssize_t>(count);
}

char *prompt(EditLine *)
{
    static char text[] = "> ";
    return text;
}

FILE *memory_stream(const char *mode)
{
    FILE *stream = fopencookie(nullptr, mode, {nullptr, write_output, nullptr, nullptr});
    if (!stream)
        give_up("fopencookie");
    return stream;
}

int open_terminal()
{
    int master = -1;
    int slave = -1;
    winsize size = {};
    size.ws_row = 24;
    size.ws_col = 80;
    if (openpty(&master, &slave, nullptr, nullptr, &size) != 0)
        give_up("openpty");
    return slave;
}

// A line was entered: the mode is left and entered again, which is how the prompt comes.
void take_line(std::string line)
{
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    note_line(line.c_str());
    HistEvent event;
    if (!line.empty())
        history(past, &event, H_ENTER, line.c_str());
    el_set(editor, EL_UNBUFFERED, 0);
    el_set(editor, EL_UNBUFFERED, 1);
}

} // namespace

void open_editor()
{
    setenv("EDITRC", "/dev/null", 1);
    setenv("TERM", "vt100", 1);
    const int terminal = open_terminal();
    editor = el_init_fd("varno_peer", memory_stream("r"), memory_stream("w"), memory_stream("w"),
                        terminal, terminal, terminal);
    past = history_init();
    if (!editor || !past)
        give_up("el_init_fd");
    HistEvent event;
    history(past, &event, H_SETSIZE, 100);
    el_set(editor, EL_TERMINAL, "vt100");
    el_set(editor, EL_PROMPT, prompt);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_BIND, "^W", "ed-delete-prev-word", nullptr);
    el_set(editor, EL_HIST, history, past);
    el_set(editor, EL_GETCFN, next_byte);
    el_set(editor, EL_UNBUFFERED, 1);
}

void press(std::string_view key)
{
    pending = key;
    int count = 0;
    const char *line = el_gets(editor, &count);
    if (line && count > 0 && (line[count - 1] == '\n' || line[count - 1] == '\r'))
        take_line({line, static_cast<size_t>(count)});
}

} // namespace varno_bench
