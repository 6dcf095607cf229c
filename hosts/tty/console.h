#ifndef VARNO_TTY_CONSOLE_H
#define VARNO_TTY_CONSOLE_H

// Where commands run and write: a session, or a batch that has none. An action need
// not know which.

#include <varno/tsession.h>

#include <string>

struct Console {
    tsession_s *session; // NULL in a batch
    const char *source;  // of a batch: what an error names,
    int line;            // and which line or command of it
    int alias_depth;     // of aliases that run in one another
    bool is_done;        // a batch ran "exit"
    bool has_failed;     // a batch met an error
};

// Writes what a command has to say: to the session, or to standard output.
void print(Console &console, const char *format, ...) VARNO_PRINTF(2, 3);

// Says why a command is not carried out. A batch says so on standard error, with the
// place, and ends there.
void refuse(Console &console, const char *format, ...) VARNO_PRINTF(2, 3);

// Returns: a text that is no constant of ours, fit to be printed: control characters,
// those of 8 bits too, are question marks.
std::string cleaned(const char *text);

#endif
