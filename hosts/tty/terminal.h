#ifndef VARNO_TTY_TERMINAL_H
#define VARNO_TTY_TERMINAL_H

// The process's terminal: its size, output, and raw mode, which ends on every way
// out of the process.

#include <cstddef>

struct TerminalSize {
    int columns, rows;
};

// Puts standard input, if it is a terminal, into raw mode. From the first call on,
// exit, a fatal signal and a failed assertion outside of a session give it back as it
// was. Called again after terminal_leave_raw.
void terminal_enter_raw();

// Gives the terminal back as terminal_enter_raw found it. Safe in signal handlers.
void terminal_leave_raw();

// Has terminal_leave_raw send a constant text that undoes what was set on the screen.
void terminal_set_undo(const char *text);

// Writes all of it to standard output, as one call if the system takes it so.
// Returns: false when output fails.
bool terminal_write(const char *bytes, size_t count);

// 0 and 0 where it is not known.
TerminalSize terminal_size();

#endif
