#ifndef VARNO_TTY_LOCAL_SESSION_H
#define VARNO_TTY_LOCAL_SESSION_H

// Runs a session on standard input and output until it ends.
// Returns: the exit status: 0; 1 when it could not begin; 70 after a fault; 128 and
//          the signal that ended it.
int run_local_session();

#endif
