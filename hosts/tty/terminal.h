#ifndef VARNO_TTY_TERMINAL_H
#define VARNO_TTY_TERMINAL_H

// The process's terminal: its type, its size, and raw mode, which ends on every way
// out of the process.

struct TerminalSize {
    int columns, rows;
};

// Selects $TERM for the termcap interface; a simple type instead where that one is
// unknown, or has capabilities too long for the library to send.
void terminal_choose_type();

// Puts standard input, if it is a terminal, into raw mode. From the first call on,
// exit, a fatal signal and a failed assertion give it back as it was. Called again
// after terminal_leave_raw.
void terminal_enter_raw();

// Gives the terminal back as terminal_enter_raw found it. Safe in signal handlers.
void terminal_leave_raw();

// Clamped to what a prompt can be drawn in; 80x24 where it is not known.
TerminalSize terminal_size();

#endif
