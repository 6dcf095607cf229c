#ifndef VARNO_DEVICE_TABLE_H
#define VARNO_DEVICE_TABLE_H

// The device's modes, their commands, a row each, and the types of arguments.

#include <span>

#include <varno/commands.h>

namespace device {

// The commands of a mode.
struct ModeRows {
    cli_mode_s mode;
    std::span<const cli_command_s> rows;
};

// In the order in which they are added: parents first.
std::span<const ModeRows> modes();
std::span<const cli_type_s> types();

// All of them to an empty set. Returns false without memory.
bool add_to(cli_set_s *set);

} // namespace device

#endif
