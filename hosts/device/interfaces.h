#ifndef VARNO_DEVICE_INTERFACES_H
#define VARNO_DEVICE_INTERFACES_H

// The system's network interfaces.

#include <vector>

#include "commands.h"

namespace device {

// Returns: their names at the moment, in the system's order; none when it does not tell.
std::vector<std::string> interface_names();

// What was read of them is read anew.
void forget_interfaces();

void show_interfaces(const Command &command);
// Shows the one that the last word names.
void show_interface(const Command &command);

} // namespace device

#endif
