// Routes as the kernel lists them under /proc/net, believed only as far as each row reads
// like one.

#include "routes.h"

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>

#include "clean_text.h"
#include "commands.h"
#include "reading.h"

namespace device {
namespace {

// Flags of both lists, as linux/route.h and linux/ipv6_route.h have them.
enum : unsigned {
    is_up = 0x1,
    has_gateway = 0x2,
    is_rejected = 0x200,
    is_anycast = 0x100000,
    is_local = 0x80000000,
};

constexpr unsigned no_metric = 0xffffffff; // of the entry that stands for "no route"

struct Route {
    std::string destination;
    unsigned bits; // of the destination that count
    std::string gateway;
    const char *interface;
    unsigned flags;
    unsigned metric;
};

std::string spelled(const Route &route)
{
    std::string text = route.destination + '/' + std::to_string(route.bits);
    if (route.flags & is_rejected)
        text += " unreachable";
    else if (route.flags & has_gateway)
        text += " via " + route.gateway;
    else
        text += " connected";
    return text + " on " + cleaned(route.interface) + ", metric " + std::to_string(route.metric);
}

// An address as the list has it: the bytes in their order, read as this machine's number.
std::string ipv4_address(unsigned value)
{
    const in_addr address = {value};
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof(text));
}

bool read_ipv6_address(const char *digits, std::string &out)
{
    in6_addr address;
    if (std::strlen(digits) != 2 * sizeof(address))
        return false;
    for (unsigned char &byte : address.s6_addr) {
        unsigned value = 0;
        if (std::sscanf(digits, "%2x", &value) != 1)
            return false;
        byte = static_cast<unsigned char>(value);
        digits += 2;
    }
    char text[INET6_ADDRSTRLEN];
    out = inet_ntop(AF_INET6, &address, text, sizeof(text));
    return true;
}

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

using File = std::unique_ptr<FILE, FileCloser>;

// Reads a row, and as much of one that is too long as there is room for.
bool read_row(FILE *file, char (&row)[256])
{
    if (!file || !std::fgets(row, sizeof(row), file))
        return false;
    for (int c = '\n'; !std::strchr(row, '\n') && (c = std::fgetc(file)) != EOF && c != '\n';) {
    }
    return true;
}

// A list that there is, but that cannot be read.
bool is_refused(const File &file)
{
    return !file && errno != ENOENT;
}

// Appends the routes of a list. Returns: false when it is there and cannot be read.
bool append_routes(std::string &out_text, const char *path,
                   std::optional<std::string> (*route_of)(const char *))
{
    const File file(std::fopen(path, "re"));
    if (is_refused(file))
        return false;
    char row[256];
    while (read_row(file.get(), row)) {
        if (const std::optional<std::string> route = route_of(row))
            out_text += *route + "\n";
    }
    return true;
}

std::optional<std::string> read_routes()
{
    std::string text;
    if (append_routes(text, "/proc/net/route", ipv4_route) &&
        append_routes(text, "/proc/net/ipv6_route", ipv6_route))
        return text;
    return {};
}

Reading<std::string> reading(read_routes);

} // namespace

std::optional<std::string> ipv4_route(const char *line)
{
    char interface[16];
    unsigned destination = 0;
    unsigned gateway = 0;
    unsigned mask = 0;
    Route route = {};
    if (std::sscanf(line, "%15s %8x %8x %4x %*d %*u %u %8x", interface, &destination, &gateway,
                    &route.flags, &route.metric, &mask) != 6 ||
        !(route.flags & is_up))
        return {};
    route.destination = ipv4_address(destination);
    route.bits = static_cast<unsigned>(std::popcount(mask));
    route.gateway = ipv4_address(gateway);
    route.interface = interface;
    return spelled(route);
}

std::optional<std::string> ipv6_route(const char *line)
{
    char destination[33];
    char gateway[33];
    char interface[16];
    Route route = {};
    if (std::sscanf(line, "%32[0-9a-f] %2x %*32[0-9a-f] %*2x %32[0-9a-f] %8x %*8x %*8x %8x %15s",
                    destination, &route.bits, gateway, &route.metric, &route.flags,
                    interface) != 6 ||
        route.bits > 128 || (route.flags & (is_up | is_local | is_anycast)) != is_up ||
        route.metric == no_metric || std::strncmp(destination, "ff", 2) == 0 ||
        !read_ipv6_address(destination, route.destination) ||
        !read_ipv6_address(gateway, route.gateway))
        return {};
    route.interface = interface;
    return spelled(route);
}

void forget_routes()
{
    reading.forget();
}

int32_t show_routes(cli_call_s *call, Console &)
{
    return show_lines(call, [](cli_call_s *first) -> Text {
        Text routes = reading.get();
        if (!routes)
            cli_fail(first, "The system does not tell its routes");
        return routes;
    });
}

} // namespace device
