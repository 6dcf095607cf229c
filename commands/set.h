#ifndef VARNO_COMMANDS_SET_H
#define VARNO_COMMANDS_SET_H

// A set: rows and types with their owners, and snapshots of what was built from them. A
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
    int64_t uses; // rows and types, of the set and of each snapshot
    bool is_removed;
    cli_released_fn released;
    void *ctx;
};

struct Row {
    const cli_command_s *command;
    Owner *owner;
};

struct Type {
    const cli_type_s *type;
    Owner *owner;
};

struct Snapshot {
    cli_set_s *set;
    int32_t holders; // the set, shells, calls
    Graph graph;
    Array<Row> rows;
    Array<Type> types;
};

inline const cli_pnode_s *root_of(const Snapshot *snapshot)
{
    const bool is_empty = !snapshot || snapshot->graph.roots[0] < 0;
    return is_empty ? &NONE : &snapshot->graph.nodes[static_cast<size_t>(snapshot->graph.roots[0])];
}

Snapshot *hold(Snapshot *snapshot);
// NULL is allowed. Owners may hear that they are released.
void let_go(Snapshot *snapshot);

} // namespace varno::commands

struct cli_set_s {
    varno::commands::Array<varno::commands::Row> rows;
    varno::commands::Array<varno::commands::Type> types;
    varno::commands::Owner *owners;
    varno::commands::Snapshot *current; // NULL: nothing is built yet
    cli_shell_s *shells;
    uint64_t last_ticket;
    int32_t questions; // callbacks of types that have not returned: the graph is being walked
};

#endif
