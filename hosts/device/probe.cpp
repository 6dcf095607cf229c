#include "probe.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <unistd.h>

namespace device {
namespace {

constexpr uint16_t echo_port = 7; // whether it answers or refuses, the host is there

} // namespace

Probe::~Probe()
{
    give_up();
}

void Probe::aim(const sockaddr *address, socklen_t len)
{
    std::memcpy(&address_, address, len);
    address_len_ = len;
    getnameinfo(address, len, name_, sizeof(name_), nullptr, 0, NI_NUMERICHOST);
    auto *port = address_.ss_family == AF_INET6
                     ? &reinterpret_cast<sockaddr_in6 *>(&address_)->sin6_port
                     : &reinterpret_cast<sockaddr_in *>(&address_)->sin_port;
    *port = htons(echo_port);
}

int Probe::send(uint16_t number, size_t bytes)
{
    give_up();
    number_ = htons(number);
    const bool is_v6 = address_.ss_family == AF_INET6;
    const int protocol = is_v6 ? static_cast<int>(IPPROTO_ICMPV6) : static_cast<int>(IPPROTO_ICMP);
    constexpr int flags = SOCK_NONBLOCK | SOCK_CLOEXEC;
    socket_ = ::socket(address_.ss_family, SOCK_DGRAM | flags, protocol);
    is_echo_ = socket_ >= 0;
    if (!is_echo_)
        socket_ = ::socket(address_.ss_family, SOCK_STREAM | flags, 0);
    if (socket_ < 0)
        return errno;
    const int error = is_echo_ ? send_echo(bytes) : connect();
    if (error != 0)
        give_up();
    return error;
}

int Probe::send_echo(size_t bytes) const
{
    std::string message(sizeof(icmphdr) + bytes, 'v');
    icmphdr header = {}; // the same for both families; the system adds sum and identifier
    header.type = address_.ss_family == AF_INET6 ? static_cast<uint8_t>(ICMP6_ECHO_REQUEST)
                                                 : uint8_t{ICMP_ECHO};
    header.un.echo.sequence = number_;
    std::memcpy(message.data(), &header, sizeof(header));
    const ssize_t sent = sendto(socket_, message.data(), message.size(), 0,
                                reinterpret_cast<const sockaddr *>(&address_), address_len_);
    return sent < 0 ? errno : 0;
}

// One that is refused at once is an answer.
int Probe::connect() const
{
    if (::connect(socket_, reinterpret_cast<const sockaddr *>(&address_), address_len_) == 0 ||
        errno == EINPROGRESS || errno == ECONNREFUSED)
        return 0;
    return errno;
}

// The system gives a socket the answers to its own requests alone.
int Probe::answer() const
{
    if (is_echo_) {
        icmphdr header = {};
        const ssize_t count = recv(socket_, &header, sizeof(header), 0);
        if (count < 0)
            return errno;
        const bool is_whole = count == static_cast<ssize_t>(sizeof(header));
        return is_whole && header.un.echo.sequence == number_ ? 0 : EAGAIN;
    }
    int error = 0;
    socklen_t len = sizeof(error);
    getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &len);
    return error == ECONNREFUSED ? 0 : error;
}

void Probe::give_up()
{
    if (socket_ >= 0)
        close(std::exchange(socket_, -1));
}

} // namespace device
