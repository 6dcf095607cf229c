#ifndef VARNO_DEVICE_H
#define VARNO_DEVICE_H

// A small device's command line for the Linux machine it runs on, as a host sees it.
// One device serves the sessions of all threads of a process; every function but
// start and stop may run on any of them, each session on its own.

#include <varno/commands.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace device {

struct Visitor; // a session's entry in what "show sessions" lists
class Traces;

// A line that a user has named.
struct Alias {
    std::string name;
    std::string text;
};

// Where commands run and write: a session, or a batch that has none. It is the user
// pointer of its shell.
struct Console {
    cli_shell_s *shell = nullptr;
    Visitor *visitor = nullptr;     // NULL outside of attach and detach
    std::vector<Alias> aliases;     // its user's own
    int alias_depth = 0;            // of aliases that run in one another
    bool is_debugging = false;      // it wants the library's traces
    std::unique_ptr<Traces> traces; // of its turn, while it wants them
    Traces *outer_traces = nullptr; // of the turn around its own
    bool is_done = false;           // a batch ran "exit"
    bool is_reading_back = false;   // runs a saved file's lines, whose interfaces may have gone
    size_t timers = 0;              // that run
    void *host = nullptr;           // the host's own

    Console();
    ~Console();
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;
};

// Something that is to be done on a console's own thread.
using Act = std::function<void()>;

// What a device needs of its host.
struct Host {
    const char *program;     // of "show version"
    std::string name;        // of the device, in its prompt
    std::string secret_file; // with the hash, of crypt(3), of what "enable" asks for; may be empty
    std::string configuration; // file to begin with, and to save to; may be empty
    // Has an act done so many milliseconds later, unless the console goes before that. Returns:
    // false when it cannot. NULL: no timers.
    bool (*do_later)(Console &console, uint32_t milliseconds, Act act);
    // Returns: what any thread may call to have an act done, as long as the console is there.
    //          NULL: no command may wait.
    std::function<void(Act)> (*poster)(Console &console);
};

// Once per process, before its first session; registers the library's traces and
// receives them, and reads the configuration.
// Returns: false, and what is wrong, when a file of the host's cannot be used.
bool start(const Host &host, std::string &out_problem);
// Has the library's traces of all sessions written to a file as well, until stop; before
// the first one.
void trace_to(FILE *file);
// After the last session.
void stop();

// Returns: what start was given; all empty before.
const Host &host();

// What a console's level is at first.
extern int32_t first_level;

// Returns: how a console's shell is to be, with this thread's commands; the host adds its
//          session, or where a batch writes.
cli_shell_config_s shell_config(Console &console);
// Releases what the device keeps for this thread, when its shells are freed.
void release_thread();

// Lists a console's session. Control characters of the peer's name are shown as question
// marks.
void attach(Console &console, const std::string &peer);
// Before the session is freed, or after it.
void detach(Console &console);

// Takes the message that sessions begin with from a file, at any time.
// Returns: false, and what is wrong, when it stays as it is.
bool read_welcome(const std::string &path, std::string &out_problem);
// Shows it, if there is one.
void show_welcome(tsession_s *s);

// Before and after calls on a session in which lines may run: notes what has been typed and,
// with "debug on", shows the library's traces of the calls. The console outlives them, the
// session may end.
void begin_turn(Console &console);
void end_turn(Console &console);
// tsession_input as such a turn.
void take_input(Console &console, const void *bytes, size_t count);
// tsession_time_out, with the same before and after it.
void time_out(Console &console);

// Returns: this thread's commands; NULL before its first shell.
cli_set_s *own_commands();

// Returns: a time that only goes on, in milliseconds, to a few of them.
int64_t now_ms();

// What the event callback of a session is to pass on.
void take_event(Console &console, const tsession_event_s &event);

} // namespace device

#endif
