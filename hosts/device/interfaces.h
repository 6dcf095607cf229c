#ifndef VARNO_DEVICE_INTERFACES_H
#define VARNO_DEVICE_INTERFACES_H

// The system's network interfaces.

#include <memory>
#include <string>
#include <vector>

#include <varno/commands.h>

namespace device {

// Returns: those that there are; NULL when the system does not tell.
std::shared_ptr<const std::vector<std::string>> interface_names();

// What a user hears then.
inline constexpr char interfaces_not_told[] = "The system does not tell its interfaces";

// Calls value for those of the names that begin so and can be typed as they stand.
void list_interfaces(const std::vector<std::string> &names, const char *begun,
                     cli_assist_value_fn value, void *ctx);

// What was read of them is read anew.
void forget_interfaces();

} // namespace device

#endif
