// The system's network interfaces as it knows them at the moment: state and
// addresses from getifaddrs, counters from sysfs.

#include "interfaces.h"

#include <cstdio>
#include <cstring>

#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <sys/socket.h>

namespace {

// The name is the kernel's own, not what a user typed.
unsigned long long read_counter(const char *name, const char *counter)
{
    char path[128];
    std::snprintf(path, sizeof(path), "/sys/class/net/%s/statistics/%s", name, counter);
    unsigned long long value = 0;
    if (FILE *file = std::fopen(path, "re")) {
        if (std::fscanf(file, "%llu", &value) != 1)
            value = 0;
        std::fclose(file);
    }
    return value;
}

void print_address(Console &console, const sockaddr *address)
{
    const socklen_t len =
        address->sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    char text[NI_MAXHOST];
    if (getnameinfo(address, len, text, sizeof(text), nullptr, 0, NI_NUMERICHOST) == 0)
        print(console, "  address %s\n", text);
}

void print_interface(Console &console, const ifaddrs *all, const char *name)
{
    for (const ifaddrs *entry = all; entry; entry = entry->ifa_next) {
        if (std::strcmp(entry->ifa_name, name) == 0) {
            print(console, "%s is %s\n", cleaned(name).c_str(),
                  entry->ifa_flags & IFF_UP ? "up" : "down");
            break;
        }
    }
    for (const ifaddrs *entry = all; entry; entry = entry->ifa_next) {
        const sockaddr *address = entry->ifa_addr;
        if (address && std::strcmp(entry->ifa_name, name) == 0 &&
            (address->sa_family == AF_INET || address->sa_family == AF_INET6))
            print_address(console, address);
    }
    print(console, "  received %llu bytes in %llu packets, sent %llu bytes in %llu packets\n",
          read_counter(name, "rx_bytes"), read_counter(name, "rx_packets"),
          read_counter(name, "tx_bytes"), read_counter(name, "tx_packets"));
}

} // namespace

bool interfaces_print(Console &console, const char *name)
{
    ifaddrs *all = nullptr;
    struct if_nameindex *names = if_nameindex();
    if (getifaddrs(&all) != 0)
        all = nullptr;
    bool has_printed = false;
    for (const struct if_nameindex *entry = names; entry && entry->if_name; entry++) {
        if (name && std::strcmp(entry->if_name, name) != 0)
            continue;
        print_interface(console, all, entry->if_name);
        has_printed = true;
    }
    freeifaddrs(all);
    if_freenameindex(names);
    return has_printed;
}
