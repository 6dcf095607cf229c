// Reading and printing numeric addresses.

#include "address.h"

#include <algorithm>
#include <iterator>

#include <netinet/in.h>
#include <uv.h>

namespace varno {
namespace {

const sockaddr_in &ip4(const sockaddr_storage &address)
{
    return reinterpret_cast<const sockaddr_in &>(address);
}

const sockaddr_in6 &ip6(const sockaddr_storage &address)
{
    return reinterpret_cast<const sockaddr_in6 &>(address);
}

std::string number(const sockaddr *address)
{
    char text[INET6_ADDRSTRLEN] = "";
    uv_ip_name(address, text, std::size(text));
    return text;
}

Peer describe_ip4(const sockaddr_in &address)
{
    const std::string host = number(reinterpret_cast<const sockaddr *>(&address));
    return {host + ":" + std::to_string(ntohs(address.sin_port)), host, host};
}

Peer describe_ip6(const sockaddr_in6 &address)
{
    const std::string host = number(reinterpret_cast<const sockaddr *>(&address));
    sockaddr_in6 network = address;
    std::fill(network.sin6_addr.s6_addr + 8, std::end(network.sin6_addr.s6_addr), 0);
    return {"[" + host + "]:" + std::to_string(ntohs(address.sin6_port)),
            number(reinterpret_cast<const sockaddr *>(&network)), host};
}

} // namespace

bool parse_address(const std::string &text, uint16_t port, sockaddr_storage &out_address)
{
    out_address = {};
    return uv_ip4_addr(text.c_str(), port, reinterpret_cast<sockaddr_in *>(&out_address)) == 0 ||
           uv_ip6_addr(text.c_str(), port, reinterpret_cast<sockaddr_in6 *>(&out_address)) == 0;
}

socklen_t length_of(const sockaddr_storage &address)
{
    return address.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}

// An IPv4 client of an IPv6 socket is told as what it is.
Peer describe(const sockaddr_storage &address)
{
    if (address.ss_family == AF_INET)
        return describe_ip4(ip4(address));
    if (address.ss_family != AF_INET6)
        return {"local", "local", "local"};
    if (!IN6_IS_ADDR_V4MAPPED(&ip6(address).sin6_addr))
        return describe_ip6(ip6(address));
    sockaddr_in mapped = {};
    mapped.sin_family = AF_INET;
    mapped.sin_port = ip6(address).sin6_port;
    std::copy_n(ip6(address).sin6_addr.s6_addr + 12, sizeof(mapped.sin_addr),
                reinterpret_cast<unsigned char *>(&mapped.sin_addr));
    return describe_ip4(mapped);
}

bool describe_text(const std::string &text, Peer &out_peer)
{
    sockaddr_storage address = {};
    if (text != "local" && !parse_address(text, 0, address))
        return false;
    out_peer = describe(address);
    return true;
}

Peer describe_peer_of(int fd)
{
    sockaddr_storage address = {};
    socklen_t len = sizeof(address);
    getpeername(fd, reinterpret_cast<sockaddr *>(&address), &len);
    Peer peer = describe(address);
    ucred who = {};
    len = sizeof(who);
    if (address.ss_family == AF_UNIX && getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &who, &len) == 0) {
        peer.pid = who.pid;
        peer.uid = who.uid;
        peer.gid = who.gid;
    }
    return peer;
}

} // namespace varno
