#ifndef VARNO_DEVICE_INTERFACES_H
#define VARNO_DEVICE_INTERFACES_H

// The system's network interfaces.

#include <string>
#include <vector>

#include <varno/commands.h>

namespace device {

// Calls value for those of the names that begin so and can be typed as they stand.
void list_interfaces(const std::vector<std::string> &names, const char *begun,
                     cli_assist_value_fn value, void *ctx);

// What was read of them is read anew.
void forget_interfaces();

} // namespace device

#endif
