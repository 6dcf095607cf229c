// Byte by byte: a header that cannot be one is refused with its first wrong byte.

#include "proxy_header.h"

#include <cstring>
#include <iterator>

#include <netinet/in.h>

namespace varno {
namespace {

constexpr unsigned char signature[] = {'\r', '\n', '\r', '\n', '\0', '\r',
                                       '\n', 'Q',  'U',  'I',  'T',  '\n'};
constexpr size_t command_at = 12;
constexpr size_t family_at = 13;
constexpr size_t count_at = 14;

constexpr unsigned char local = 0x20; // version 2, and the command
constexpr unsigned char proxied = 0x21;

// Families with a stream, and what their addresses take.
constexpr unsigned char unknown = 0x00;
constexpr unsigned char tcp4 = 0x11;
constexpr unsigned char tcp6 = 0x21;
constexpr unsigned char unix_stream = 0x31;
constexpr size_t tcp4_size = 12;
constexpr size_t tcp6_size = 36;
constexpr size_t unix_size = 216;

} // namespace

bool ProxyHeader::take(const unsigned char *bytes, size_t count)
{
    while (count > 0) {
        if (!take_byte(*bytes))
            return false;
        bytes++;
        count--;
    }
    return true;
}

bool ProxyHeader::take_byte(unsigned char byte)
{
    if (taken_ < sizeof(signature) && byte != signature[taken_])
        return false;
    if (taken_ < std::size(bytes_))
        bytes_[taken_] = byte;
    taken_++;
    if (taken_ == fixed && !take_fixed_part())
        return false;
    if (taken_ == whole_)
        read_client();
    return true;
}

bool ProxyHeader::take_fixed_part()
{
    const size_t count = size_t{bytes_[count_at]} << 8 | bytes_[count_at + 1];
    const unsigned char command = bytes_[command_at];
    const unsigned char family = bytes_[family_at];
    const size_t least = family == tcp4          ? tcp4_size
                         : family == tcp6        ? tcp6_size
                         : family == unix_stream ? unix_size
                                                 : 0;
    const bool is_known = family == unknown || least > 0;
    whole_ = fixed + count;
    return whole_ <= most &&
           (command == local || (command == proxied && is_known && count >= least));
}

// The client's address stands first, and both ports last.
void ProxyHeader::read_client()
{
    if (bytes_[command_at] != proxied)
        return;
    const unsigned char *from = bytes_ + fixed;
    if (bytes_[family_at] == tcp4) {
        auto &address = reinterpret_cast<sockaddr_in &>(client_);
        address.sin_family = AF_INET;
        std::memcpy(&address.sin_addr, from, sizeof(address.sin_addr));
        std::memcpy(&address.sin_port, from + 8, sizeof(address.sin_port));
    } else if (bytes_[family_at] == tcp6) {
        auto &address = reinterpret_cast<sockaddr_in6 &>(client_);
        address.sin6_family = AF_INET6;
        std::memcpy(&address.sin6_addr, from, sizeof(address.sin6_addr));
        std::memcpy(&address.sin6_port, from + 32, sizeof(address.sin6_port));
    } else if (bytes_[family_at] == unix_stream) {
        client_.ss_family = AF_UNIX;
    }
}

} // namespace varno
