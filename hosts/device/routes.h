#ifndef VARNO_DEVICE_ROUTES_H
#define VARNO_DEVICE_ROUTES_H

// The system's routes.

#include <optional>
#include <string>

namespace device {

struct Route {
    std::string destination; // with its bits
    std::string via;         // the gateway, or "connected" or "unreachable"
    std::string interface;
    unsigned metric;
};

// Returns: what a row of /proc/net/route says; nothing where that is no route in use.
std::optional<Route> ipv4_route(const char *line);

// The same for /proc/net/ipv6_route. The machine's own addresses and multicast are left out.
std::optional<Route> ipv6_route(const char *line);

// What was read of them is read anew.
void forget_routes();

} // namespace device

#endif
