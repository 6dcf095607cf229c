#ifndef VARNO_DEVICE_ALIASES_H
#define VARNO_DEVICE_ALIASES_H

// The device's aliases: commands that its users have named, the same in all sessions.

#include <cstdint>

#include "commands.h"
#include "dynamic_nodes.h"

namespace device {

// Brings a thread's nodes up to date when the aliases have changed since it last did.
// generation: of the nodes, 0 at first.
void follow_aliases(DynamicNodes &nodes, uint64_t &generation);

// Removes them all.
void forget_aliases();

void show_aliases(const Command &command);
void add_alias(const Command &command);
void remove_alias(const Command &command);
// Runs the line that the first word stands for.
void run_alias(const Command &command);

} // namespace device

#endif
