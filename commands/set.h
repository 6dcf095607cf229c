#ifndef VARNO_COMMANDS_SET_H
#define VARNO_COMMANDS_SET_H

// A set: rows, types and modes with their owners, and snapshots of what was built from them. A
// snapshot never changes; shells and calls hold it for as long as they use its graph.

#include "array.h"
#include "automaton.h"
#include "findings.h"

#include <varno/commands.h>

#include <cstdint>

namespace varno::commands {

// Whoever added rows. It goes when it was removed and nothing has its rows any more.
struct Owner {
    Owner *next;
    const void *id;
    int64_t uses; // rows, types and modes, of the set and of each snapshot
    bool is_removed;
    cli_released_fn released;
    void *ctx;
};

// What a command does to the modes once it is done.
enum class Move : uint8_t { stay, enter, leave, leave_all };

struct Row {
    const cli_command_s *command;
    Owner *owner;     // NULL: the library itself
    const char *mode; // as it was added; NULL: the first one
    Move move;
    int32_t of;     // index of the snapshot's mode
    int32_t enters; // index of another; -1: none
};

struct ModeRow {
    const cli_mode_s *mode;
    Owner *owner; // NULL: there is one without a name
};

struct Type {
    const cli_type_s *type;
    Owner *owner;
};

struct Snapshot {
    cli_set_s *set;
    int32_t holders; // the set, shells, calls
    Graph graph;
    Array<Row> rows; // the library's come last
    Array<Type> types;
    Array<ModeRow> modes;
};

// Returns the index of a mode, NULL being the first; -1: there is none of that name.
int32_t find_mode(const Snapshot *snapshot, const char *name);

// What may be typed in a mode by whoever has a level. NULL: nothing is built yet.
const cli_pnode_s *root_of(const Snapshot *snapshot, int32_t mode, int32_t level);

Snapshot *hold(Snapshot *snapshot);
// NULL is allowed. Owners may hear that they are released.
void let_go(Snapshot *snapshot);

} // namespace varno::commands

struct cli_set_s {
    varno::commands::Array<varno::commands::Row> rows;
    varno::commands::Array<varno::commands::Type> types;
    varno::commands::Array<varno::commands::ModeRow> modes;
    char *host; // its name, of prompts; NULL: none
    varno::commands::Owner *owners;
    varno::commands::Snapshot *current; // NULL: nothing is built yet
    cli_shell_s *shells;
    uint64_t freed_shells;
    uint64_t last_ticket;
    int32_t questions; // callbacks of types that have not returned: the graph is being walked
};

#endif
