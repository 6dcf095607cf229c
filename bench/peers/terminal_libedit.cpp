// The same program around libedit's el_gets, which waits for a whole line by itself.

#include <cstdio>
#include <string>

#include <histedit.h>

namespace {

char *prompt(EditLine *)
{
    static char text[] = "> ";
    return text;
}

void take_line(History *past, std::string line)
{
    line.pop_back();
    std::fprintf(stderr, "%s\n", line.c_str());
    HistEvent event;
    if (!line.empty())
        history(past, &event, H_ENTER, line.c_str());
}

} // namespace

int main()
{
    EditLine *editor = el_init("varno_terminal", stdin, stdout, stderr);
    History *past = history_init();
    if (!editor || !past)
        return 1;
    HistEvent event;
    history(past, &event, H_SETSIZE, 100);
    el_set(editor, EL_PROMPT, prompt);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_BIND, "^W", "ed-delete-prev-word", nullptr);
    el_set(editor, EL_HIST, history, past);
    int count = 0;
    for (const char *line; (line = el_gets(editor, &count)) && count > 0;)
        take_line(past, {line, static_cast<size_t>(count)});
    history_end(past);
    el_end(editor);
}
