#ifndef VARNO_SERVER_ADDRESS_H
#define VARNO_SERVER_ADDRESS_H

// Network addresses, as numbers only: no name server is ever asked.

#include <cstdint>
#include <string>

#include <sys/socket.h>

namespace varno {

// Who is at the other end.
struct Peer {
    std::string name;    // 192.0.2.1:40000 or [2001:db8::1]:40000
    std::string address; // what a limit by address counts: an IPv4 address, an IPv6 network
                         // of 64 bits, which is what one customer commonly has
    std::string host;    // 192.0.2.1, 2001:db8::1 or local
    int64_t pid = -1;    // of a Unix socket's peer
    int64_t uid = -1;
    int64_t gid = -1;
};

// Returns: false when the text is no numeric address.
bool parse_address(const std::string &text, uint16_t port, sockaddr_storage &out_address);

socklen_t length_of(const sockaddr_storage &address);
Peer describe(const sockaddr_storage &address);

// The same of a numeric address as text, or of "local", with port 0. Returns: false when
// it is neither.
bool describe_text(const std::string &text, Peer &out_peer);

// The peer of a connected descriptor, which may be no socket.
Peer describe_peer_of(int fd);

} // namespace varno

#endif
