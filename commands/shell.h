#ifndef VARNO_COMMANDS_SHELL_H
#define VARNO_COMMANDS_SHELL_H

// Shells and their calls.

#include "modes.h"
#include "pipes.h"
#include "set.h"
#include "table.h"
#include "types.h"

#include <varno/commands.h>

#include <cstddef>
#include <cstdint>

namespace varno::commands {

constexpr size_t own_prompt_capacity = 32; // no session shows more

}

struct cli_call_s {
    cli_call_s *next; // of the shell's
    cli_shell_s *shell;
    varno::commands::Snapshot *snapshot;
    const varno::commands::Row *row; // of the snapshot
    int32_t form;                    // of the snapshot's graph, if it is followed; else -1
    const char *line;
    const cli_pmatch_s *words; // [words, end_word): the command's own
    const cli_pmatch_s *end_word;
    cli_pmatch_s *kept_words; // those and the line, once the call goes on; else the parse's
    char *kept_text;
    varno::commands::Pipe *pipe; // NULL: what it writes is shown as it is
    varno::commands::Table table;
    int32_t progress_columns; // of the row that says how far it is; 0: there is none
    int32_t config_mode;      // whose configuration is being written
    bool is_mode_begun;
    void *state;
    void (*release_state)(void *state);
    uint64_t ticket;              // 0: none was asked for
    varno::commands::Value value; // of the address asked for last
    bool has_failed;              // it has been told why
    bool is_running;
    bool is_cancel_asked; // while it was running
    bool is_cancelled;
    bool is_over; // cancelled while the session still has its output open
    bool is_late; // it has nothing to say before it is woken
    bool is_woken;
};

struct cli_shell_s {
    cli_shell_s *next; // of the set's
    cli_set_s *set;
    varno::commands::Snapshot *snapshot;
    cli_call_s *calls;
    tsession_s *session; // NULL: a batch
    cli_assist_filter_s filter;
    void *user;
    cli_output_fn output; // of a batch
    cli_output_fn errors; // of a batch
    tsession_output_fn host_output;
    tsession_event_fn host_event;
    tsession_free_key_fn host_key;
    tsession_refused_fn host_refused;
    void *host_user;
    varno::commands::Entered *modes;   // NULL: the first one
    varno::commands::Entered *checked; // where the lines that are checked lead
    int32_t level;
    int32_t wanted_level;  // by the question that is asked
    uint64_t check_ticket; // of the secret that is being checked; 0: none is
    bool is_secret_right;  // the last that was
    cli_authenticate_fn authenticate;
    const cli_save_s *save;                                // NULL: nothing is saved
    char own_prompt[varno::commands::own_prompt_capacity]; // of a first mode without one
    bool is_unattended;                                    // nobody looks at its screen
    bool is_checking;                                      // checked counts
    bool is_asked_to_check; // what types ask about the modes is about those
    int32_t result;         // of the call that was run last
    int32_t depth;          // calls on it, and of it on the program, that have not returned
    int32_t lines;          // that the program runs itself
    bool is_free_asked;
    bool is_closed_told;
    bool is_others;                   // the session is freed by somebody else
    char why[CLI_ASSIST_MAX_WHY + 1]; // the filter's reason
};

namespace varno::commands {

// Help, completion and prompt are those of the shell's mode and level from now on.
void show_mode(cli_shell_s *shell);
void set_level(cli_shell_s *shell, int32_t level);

// All shells have what the set was built from last, and its name. What they show goes to their
// hosts, which may free any of them.
void update_shells(cli_set_s *set);
// A word that may be a secret is in a line.
void see_secret(cli_shell_s *shell);
// The next line that is checked is looked at where the shell is.
void end_check(cli_shell_s *shell);
void cancel_calls_of(cli_set_s *set, const Owner *owner);
void write_clean(cli_shell_s *shell, const char *text);
// What is wrong: in a batch it goes another way.
void write_error(cli_shell_s *shell, const char *text);

// Calls (call.cpp)

// Begins a call and runs it the first time. The result is CLI_DONE, CLI_FAILED, or that of a call
// that goes on, which out_call then is.
int32_t begin_call(cli_shell_s *shell, const char *line, const cli_pnode_s *action,
                   const cli_pmatch_s *matches, cli_call_s **out_call);
// Calls its function again. Anything but CLI_MORE and CLI_LATER has ended the call.
int32_t go_on(cli_call_s *call);
// Calls its function for the last time; one that is running is cancelled after it.
void cancel(cli_call_s *call);
// Lets its record go.
void end_call(cli_call_s *call);
// The call's own memory.
void release_state(cli_call_s *call);

// A word of the syntax: an argument, a keyword, or the name of a choice.
bool has_name(const cli_call_s *call, const char *name);
// The index-th word of an argument; NULL: there is none.
const cli_pmatch_s *find_argument(const cli_call_s *call, const char *name, size_t index);
// The word that is the choice of <a|b>$name.
const cli_pmatch_s *find_choice(const cli_call_s *call, const char *name);

} // namespace varno::commands

#endif
