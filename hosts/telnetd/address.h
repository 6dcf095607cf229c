#ifndef VARNO_TELNETD_ADDRESS_H
#define VARNO_TELNETD_ADDRESS_H

// Network addresses, as numbers only: no name server is ever asked.

#include <cstdint>
#include <string>

#include <sys/socket.h>

namespace telnetd {

// Who is at the other end.
struct Client {
    std::string name;  // 192.0.2.1:40000 or [2001:db8::1]:40000
    std::string group; // what --max-per-address counts: an IPv4 address, an IPv6 network of
                       // 64 bits, which is what one customer commonly has
};

// Returns: false when the text is no numeric address.
bool parse_address(const std::string &text, uint16_t port, sockaddr_storage &out_address);

socklen_t length_of(const sockaddr_storage &address);
bool is_loopback(const sockaddr_storage &address);
Client describe(const sockaddr_storage &address);

} // namespace telnetd

#endif
