// Routes as the kernel lists them under /proc/net, believed only as far as each row reads
// like one.

#include "routes.h"

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include <arpa/inet.h>

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

std::string with_bits(const std::string &address, unsigned bits)
{
    return address + '/' + std::to_string(bits);
}

std::string way_of(unsigned flags, const std::string &gateway)
{
    return flags & is_rejected ? "unreachable" : flags & has_gateway ? gateway : "connected";
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
bool append_routes(std::vector<Route> &out_routes, const char *path,
                   std::optional<Route> (*route_of)(const char *))
{
    const File file(std::fopen(path, "re"));
    if (is_refused(file))
        return false;
    char row[256];
    while (read_row(file.get(), row)) {
        if (std::optional<Route> route = route_of(row))
            out_routes.push_back(std::move(*route));
    }
    return true;
}

std::optional<std::vector<Route>> read_routes()
{
    std::vector<Route> routes;
    if (append_routes(routes, "/proc/net/route", ipv4_route) &&
        append_routes(routes, "/proc/net/ipv6_route", ipv6_route))
        return routes;
    return {};
}

Reading<std::vector<Route>> reading(read_routes);

struct Shown {
    std::shared_ptr<const std::vector<Route>> routes;
    size_t count = 0;
};

} // namespace

std::optional<Route> ipv4_route(const char *line)
{
    char interface[16];
    unsigned destination = 0;
    unsigned gateway = 0;
    unsigned flags = 0;
    unsigned metric = 0;
    unsigned mask = 0;
    if (std::sscanf(line, "%15s %8x %8x %4x %*d %*u %u %8x", interface, &destination, &gateway,
                    &flags, &metric, &mask) != 6 ||
        !(flags & is_up))
        return {};
    const auto bits = static_cast<unsigned>(std::popcount(mask));
    return Route{with_bits(ipv4_address(destination), bits), way_of(flags, ipv4_address(gateway)),
                 interface, metric};
}

std::optional<Route> ipv6_route(const char *line)
{
    char destination[33];
    char gateway[33];
    char interface[16];
    unsigned bits = 0;
    unsigned metric = 0;
    unsigned flags = 0;
    std::string network;
    std::string router;
    if (std::sscanf(line, "%32[0-9a-f] %2x %*32[0-9a-f] %*2x %32[0-9a-f] %8x %*8x %*8x %8x %15s",
                    destination, &bits, gateway, &metric, &flags, interface) != 6 ||
        bits > 128 || (flags & (is_up | is_local | is_anycast)) != is_up || metric == no_metric ||
        std::strncmp(destination, "ff", 2) == 0 || !read_ipv6_address(destination, network) ||
        !read_ipv6_address(gateway, router))
        return {};
    return Route{with_bits(network, bits), way_of(flags, router), interface, metric};
}

void forget_routes()
{
    reading.forget();
}

int32_t show_routes(cli_call_s *call, Console &)
{
    constexpr static cli_column_s columns[] = {
        {"destination", 18, 0}, {"via", 15, 0}, {"interface", 9, 0}, {"metric", 6, CLI_NUMBER}};
    auto &[routes, count] = kept_of<Shown>(call);
    if (!routes)
        routes = reading.get();
    if (!routes) {
        cli_fail(call, "The system does not tell its routes");
        return CLI_FAILED;
    }
    cli_columns(call, columns, std::size(columns));
    if (count == routes->size())
        return CLI_DONE;
    const Route &route = (*routes)[count++];
    cli_cell(call, "%s", route.destination.c_str());
    cli_cell(call, "%s", route.via.c_str());
    cli_cell(call, "%s", route.interface.c_str());
    cli_cell(call, "%u", route.metric);
    return count < routes->size() ? CLI_MORE : CLI_DONE;
}

} // namespace device
