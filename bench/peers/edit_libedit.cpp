// libedit in its unbuffered mode, where el_wgets handles one key and returns; that is its
// way to be called from an event loop. (el_gets does the same and encodes the whole line
// anew for each key.) The acts of "editor_line" show the other way, one el_wgets for a
// whole line, in which a program can do nothing else until Enter. It edits only on a
// terminal, so it gets a pseudo-terminal to ask about modes and size; keys come from memory
// by EL_GETCFN and output goes to a stream in memory. It has no horizontal scrolling: a
// long line wraps.

#include "../acts.h"
#include "editor.h"
#include "key_scripts.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <histedit.h>
#include <pty.h>

namespace varno_bench {
namespace {

constinit EditLine *editor = nullptr;
constinit HistoryW *past = nullptr;
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

wchar_t *prompt(EditLine *)
{
    static wchar_t text[] = L"> ";
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

void open_editor_unbuffered(bool is_unbuffered)
{
    setenv("EDITRC", "/dev/null", 1);
    setenv("TERM", "vt100", 1);
    const int terminal = open_terminal();
    editor = el_init_fd("varno_peer", memory_stream("r"), memory_stream("w"), memory_stream("w"),
                        terminal, terminal, terminal);
    past = history_winit();
    if (!editor || !past)
        give_up("el_init_fd");
    HistEventW event;
    history_w(past, &event, H_SETSIZE, 100);
    el_set(editor, EL_TERMINAL, "vt100");
    el_wset(editor, EL_PROMPT, prompt);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_BIND, "^W", "ed-delete-prev-word", nullptr);
    el_wset(editor, EL_HIST, history_w, past);
    el_wset(editor, EL_GETCFN, next_byte);
    el_set(editor, EL_UNBUFFERED, is_unbuffered ? 1 : 0);
}

bool is_end(wchar_t character)
{
    return character == L'\n' || character == L'\r';
}

// A line was entered: the mode is left and entered again, which is how the prompt comes.
void take_line(const std::wstring &line)
{
    note_line(std::string(line.begin(), line.end()).c_str());
    HistEventW event;
    if (!line.empty())
        history_w(past, &event, H_ENTER, line.c_str());
    el_set(editor, EL_UNBUFFERED, 0);
    el_set(editor, EL_UNBUFFERED, 1);
}

// A line typed and entered within one call. An operation is a key, Enter included.
class LineAct : public Act {
  public:
    explicit LineAct(const KeyScript &script)
    {
        for (const std::string &key : script.keys)
            line_ += key;
        keys_ = line_ + "\r";
        operations = static_cast<int64_t>(keys_.size());
        allocates = true;
    }

    void prepare() override
    {
        if (!editor)
            open_editor_unbuffered(false);
    }

    void run() override
    {
        pending = keys_;
        entered_ = el_wgets(editor, &count_);
    }

    const char *problem() override
    {
        const auto len = static_cast<size_t>(count_);
        const bool is_whole =
            entered_ && len == line_.size() + 1 && std::equal(line_.begin(), line_.end(), entered_);
        return is_whole && output.bytes > 0 ? nullptr : "the line is not what was typed";
    }

  private:
    std::string line_;
    std::string keys_;
    const wchar_t *entered_ = nullptr;
    int count_ = 0;
};

template <size_t number>
std::unique_ptr<Act> line()
{
    return std::make_unique<LineAct>(key_scripts().at(number));
}

// clang-format off
constexpr ActRow rows[] = {
    {"editor_line/type_60_at_end",     line<0>},
    {"editor_line/type_200_scrolling", line<1>},
};
// clang-format on

const Topic topic(rows);

} // namespace

void open_editor()
{
    open_editor_unbuffered(true);
}

void press(std::string_view key)
{
    pending = key;
    int count = 0;
    const wchar_t *line = el_wgets(editor, &count);
    if (!line || count <= 0 || !is_end(line[count - 1]))
        return;
    while (count > 0 && is_end(line[count - 1]))
        count--;
    take_line({line, static_cast<size_t>(count)});
}

} // namespace varno_bench
