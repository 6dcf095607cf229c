#ifndef VARNO_FUZZ_PROXY_CHECK_H
#define VARNO_FUZZ_PROXY_CHECK_H

// A model of the PROXY protocol's header, version 2: said over the whole text at once.

#include "../server/proxy_header.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <netinet/in.h>

namespace varno_fuzz {

// "unfinished", "wrong", or how many bytes were taken and which address they name: its
// bytes and its port's.
inline std::string take_header(varno::ProxyHeader &header, std::string_view text, size_t part)
{
    size_t at = 0;
    while (header.wanted() > 0) {
        const size_t count = std::min({header.wanted(), part, text.size() - at});
        if (count == 0)
            return "unfinished";
        if (!header.take(reinterpret_cast<const unsigned char *>(text.data()) + at, count))
            return "wrong";
        at += count;
    }
    std::string result = std::to_string(at) + " ";
    const auto &ip4 = reinterpret_cast<const sockaddr_in &>(header.client());
    const auto &ip6 = reinterpret_cast<const sockaddr_in6 &>(header.client());
    const auto bytes = [](const auto &record) {
        return std::string(reinterpret_cast<const char *>(&record), sizeof(record));
    };
    if (header.client().ss_family == AF_INET)
        return result + bytes(ip4.sin_addr) + bytes(ip4.sin_port);
    if (header.client().ss_family == AF_INET6)
        return result + bytes(ip6.sin6_addr) + bytes(ip6.sin6_port);
    return result + (header.has_client() ? "local" : "itself");
}

inline std::string header_of(std::string_view text)
{
    const std::string_view signature("\r\n\r\n\0\r\nQUIT\n", 12);
    if (text.substr(0, 12) != signature.substr(0, text.size()))
        return "wrong";
    if (text.size() < 16)
        return "unfinished";
    const int command = text[12], family = text[13];
    const auto count = static_cast<size_t>(static_cast<unsigned char>(text[14]) * 256 +
                                           static_cast<unsigned char>(text[15]));
    if ((command != 0x20 && command != 0x21) || count > 4080)
        return "wrong";
    const bool is_proxied = command == 0x21;
    if (is_proxied && !((family == 0x11 && count >= 12) || (family == 0x21 && count >= 36) ||
                        (family == 0x31 && count >= 216) || family == 0))
        return "wrong";
    if (text.size() < 16 + count)
        return "unfinished";
    const std::string result = std::to_string(16 + count) + " ";
    if (is_proxied && family == 0x11)
        return result + std::string(text.substr(16, 4)) + std::string(text.substr(24, 2));
    if (is_proxied && family == 0x21)
        return result + std::string(text.substr(16, 16)) + std::string(text.substr(48, 2));
    return result + (is_proxied && family == 0x31 ? "local" : "itself");
}

} // namespace varno_fuzz

#endif
