#ifndef VARNO_DEVICE_H
#define VARNO_DEVICE_H

// A small device's command line for the Linux machine it runs on, as a host sees it.
// One device serves the sessions of all threads of a process; every function but
// start and stop may run on any of them, each session on its own.

#include <varno/tsession.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace device {

struct Visitor; // a session's entry in what "show sessions" lists

// Where commands run and write: a session, or a batch that has none. An action need
// not know which. It is the user pointer of its session.
struct Console {
    tsession_s *session; // NULL in a batch
    Visitor *visitor;    // NULL outside of attach and detach
    const char *source;  // of a batch: what an error names,
    int line;            // and which line or command of it
    int alias_depth;     // of aliases that run in one another
    bool is_done;        // a batch ran "exit"
    bool has_failed;     // a batch met an error
    void *host;          // the host's own
};

// What a device needs of its host.
struct Host {
    const char *program; // of "show version"
    // Has the session print a text later on. Returns: false when it cannot. NULL: no timers.
    bool (*start_timer)(Console &console, long seconds, const std::string &text);
};

// Once per process, before its first session; registers the library's traces and
// receives them.
void start(const Host &host);
// Has the library's traces of all sessions written to a file as well, until stop; before
// the first one.
void trace_to(FILE *file);
// After the last session.
void stop();

// The first alternative of a session's parse graph: this thread's, made at its first
// call. It stays the first until release_thread.
cli_pnode_s *graph();
// Releases what the device keeps for this thread, when its sessions are freed.
void release_thread();

// Lists a session that has been created, whose user pointer is the console. Control
// characters of the peer's name are shown as question marks.
void attach(Console &console, const std::string &peer);
// Before the session is freed.
void detach(Console &console);

// Before and after calls on a session in which lines may run: brings the dynamic commands
// up to date and, with "debug on", shows the library's traces of the calls. The console
// outlives them, the session may end.
void begin_turn(Console &console);
void end_turn(Console &console);
// tsession_input as such a turn.
void take_input(Console &console, const void *bytes, size_t count);

// tsession_time_out, with the same before and after it.
void time_out(Console &console);

// Returns: a time that only goes on, in milliseconds, to a few of them.
int64_t now_ms();

// The line callback of a session, and what its event callback is to pass on.
void run_line(tsession_s *s, void *console, const char *line, const cli_pnode_s *action,
              cli_pmatch_s *matches);
void take_event(Console &console, const tsession_event_s &event);

// Matches a line and runs it, or says what is wrong with it: for a batch.
void run_text(Console &console, const char *line);

} // namespace device

#endif
