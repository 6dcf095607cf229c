#ifndef VARNO_DEVICE_ROUTES_H
#define VARNO_DEVICE_ROUTES_H

// The system's routes.

#include <optional>
#include <string>

namespace device {

// Returns: a row of /proc/net/route as it is shown; none for one that is no route in use.
std::optional<std::string> ipv4_route(const char *line);

// The same for /proc/net/ipv6_route. The machine's own addresses and multicast are not shown.
std::optional<std::string> ipv6_route(const char *line);

// What was read of them is read anew.
void forget_routes();

} // namespace device

#endif
