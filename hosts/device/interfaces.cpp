// The interfaces as the system knew them within the last second: state and addresses from
// getifaddrs, counters from sysfs.

#include "interfaces.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <sys/socket.h>

#include "reading.h"

namespace device {
namespace {

constexpr char not_told[] = "The system does not tell its interfaces\n";

using Addresses = std::unique_ptr<ifaddrs, decltype(&freeifaddrs)>;

Addresses read_addresses()
{
    ifaddrs *all = nullptr;
    return {getifaddrs(&all) == 0 ? all : nullptr, freeifaddrs};
}

// The name is the kernel's own, not what a user typed.
std::string read_counter(const char *name, const char *counter)
{
    char path[128];
    std::snprintf(path, sizeof(path), "/sys/class/net/%s/statistics/%s", name, counter);
    std::string count = "an unknown number of";
    if (FILE *file = std::fopen(path, "re")) {
        char digits[21];
        if (std::fscanf(file, "%20[0-9]", digits) == 1)
            count = digits;
        std::fclose(file);
    }
    return count;
}

std::string counters_of(const char *name)
{
    return "  received " + read_counter(name, "rx_bytes") + " bytes in " +
           read_counter(name, "rx_packets") + " packets, sent " + read_counter(name, "tx_bytes") +
           " bytes in " + read_counter(name, "tx_packets") + " packets\n";
}

// Returns: nothing for an address of the link.
std::string address_row(const sockaddr *address)
{
    if (!address || (address->sa_family != AF_INET && address->sa_family != AF_INET6))
        return {};
    const socklen_t len =
        address->sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    char text[NI_MAXHOST];
    if (getnameinfo(address, len, text, sizeof(text), nullptr, 0, NI_NUMERICHOST) != 0)
        return {};
    return std::string("  address ") + text + "\n";
}

// Every interface has at least one entry, for its own address on the link.
const ifaddrs *find_interface(const ifaddrs *all, const char *name)
{
    while (all && std::strcmp(all->ifa_name, name) != 0)
        all = all->ifa_next;
    return all;
}

// first: of the interface's entries.
std::string description_of(const ifaddrs *first)
{
    const char *name = first->ifa_name;
    std::string text = cleaned(name) + (first->ifa_flags & IFF_UP ? " is up\n" : " is down\n");
    for (const ifaddrs *entry = first; entry; entry = find_interface(entry->ifa_next, name))
        text += address_row(entry->ifa_addr);
    return text + counters_of(name);
}

struct Interface {
    std::string name;
    std::string description; // rows
};

std::optional<std::vector<Interface>> read_interfaces()
{
    const Addresses all = read_addresses();
    std::vector<Interface> interfaces;
    for (const std::string &name : interface_names()) {
        if (const ifaddrs *first = find_interface(all.get(), name.c_str()))
            interfaces.push_back({name, description_of(first)});
    }
    if (interfaces.empty())
        return {};
    return interfaces;
}

Reading<std::vector<Interface>> reading(read_interfaces);

class Interfaces : public Rows {
  public:
    explicit Interfaces(std::shared_ptr<const std::vector<Interface>> all) : all_(std::move(all)) {}

    bool write(Console &console) override
    {
        if (lines_.is_over())
            lines_ = Lines((*all_)[described_++].description);
        lines_.write(console);
        return !lines_.is_over() || described_ < all_->size();
    }

  private:
    const std::shared_ptr<const std::vector<Interface>> all_; // as they were in the beginning
    size_t described_ = 0;
    Lines lines_; // of the interface described last
};

} // namespace

std::vector<std::string> interface_names()
{
    const std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)> all(if_nameindex(),
                                                                                if_freenameindex);
    std::vector<std::string> names;
    for (const struct if_nameindex *entry = all.get(); entry && entry->if_name; entry++)
        names.push_back(entry->if_name);
    return names;
}

void forget_interfaces()
{
    reading.forget();
}

void show_interfaces(const Command &command)
{
    if (auto all = reading.get())
        write_long(command.console, std::make_unique<Interfaces>(std::move(all)));
    else
        refuse(command.console, not_told);
}

// It may have gone since its node was made.
void show_interface(const Command &command)
{
    const cli_pmatch_s *last = command.matches;
    while (last->next)
        last = last->next;
    const auto all = reading.get();
    if (!all)
        return refuse(command.console, not_told);
    const auto is_it = [last](const Interface &one) { return one.name == last->node->keyword; };
    const auto found = std::find_if(all->begin(), all->end(), is_it);
    if (found == all->end())
        return refuse(command.console, "No such interface\n");
    write_long(command.console, std::make_unique<Lines>(found->description));
}

} // namespace device
