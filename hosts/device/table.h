#ifndef VARNO_DEVICE_TABLE_H
#define VARNO_DEVICE_TABLE_H

// The device's commands, a row each, and the types of their arguments.

#include <span>

#include <varno/commands.h>

namespace device {

std::span<const cli_command_s> commands();
std::span<const cli_type_s> types();

} // namespace device

#endif
