#ifndef VARNO_TTY_SESSION_H
#define VARNO_TTY_SESSION_H

// One session: the decoder and the prompt, chained. All output goes to standard
// output, which the caller flushes once a round by session_end_round.

#include <varno/prompt.h>
#include <varno/stroker.h>

struct Session {
    stroker_s *decoder;
    prompt_s *prompt;
    unsigned char bytes[2048]; // what the decoder may be given at once
    int32_t nbytes;            // bytes kept of a sequence that has only begun
    mkey_t keys[2048 + 32];    // one call's keys and those kept before
    int32_t nkeys;
    int32_t shown_offset; // of the row as it was drawn last
    bool is_done;         // set by whoever ends the session; acted on between rounds
};

// Sends the terminal's initialisation and sets both objects up.
// Returns: false without memory.
bool session_open(Session &session);

// Sends the terminal's reset and releases both objects.
void session_close(Session &session);

// Takes count bytes that were read to session.bytes + session.nbytes; there is room
// for sizeof(bytes) - nbytes.
// Returns: the milliseconds to wait for the rest of a sequence; 0: nothing is kept.
uint64_t session_input(Session &session, int32_t count);

// The wait is over: the kept bytes are keys of their own.
void session_timed_out(Session &session);

// Takes over the terminal's size, and draws the row afresh where it stands.
void session_resize(Session &session);

// What a command calls instead of prompt_start_output: draws the line first, which
// may have come with the key that runs the command, so that it is seen as well.
void session_start_output(Session &session);

// Draws what the round has changed and flushes standard output. Output that fails
// ends the session.
void session_end_round(Session &session);

#endif
