#ifndef VARNO_TTY_BATCH_H
#define VARNO_TTY_BATCH_H

// Commands without a session: no prompt, no echo, no pages. What they write goes to
// standard output; the first error goes to standard error, with its place, and ends
// the batch, as "exit" does.

#include <string>

// Runs commands with ";" between them; one in quotes or after a backslash is text.
// Returns: the exit status, 0 or 1.
int batch_run_text(const std::string &text);

// Runs the lines of a file; those that begin with "#" are comments.
// Returns: the exit status, 0 or 1.
int batch_run_file(const std::string &path);

#endif
