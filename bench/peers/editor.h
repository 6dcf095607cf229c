#ifndef VARNO_BENCH_EDITOR_H
#define VARNO_BENCH_EDITOR_H

// The line editor that a program compares, one to a process: fed from memory, its output
// gathered in memory, prompt "> ", a vt100 of 80 columns and 24 rows, 100 lines of
// history. edit_NAME.cpp has the editor, edit_acts.cpp the acts on it.

#include <string>
#include <string_view>

namespace varno_bench {

// Opens it; the prompt stands. Ends the program if that fails.
void open_editor();

// Gives it the bytes of one key, and waits for all it does about it.
void press(std::string_view key);

// For the editors: a line was entered. The one that was last is kept for the check.
void note_line(const char *line);
const std::string &entered_line();

// For the editors: text for the terminal; kept, over what is older, and counted.
void take_output(const char *bytes, size_t count);

} // namespace varno_bench

#endif
