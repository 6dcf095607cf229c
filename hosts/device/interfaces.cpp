// The interfaces as the system knows them at the moment: state and addresses from
// getifaddrs, counters from sysfs.

#include "interfaces.h"

#include <cstdio>
#include <cstring>

#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <sys/socket.h>

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

// As they were when the output began, but for their counters.
class Interfaces : public Rows {
  public:
    bool is_known() const { return all_ && !names_.empty(); }

    bool write(Console &console) override
    {
        while (lines_.is_over() && described_ < names_.size())
            describe_next();
        lines_.write(console);
        return !lines_.is_over() || described_ < names_.size();
    }

  private:
    void describe_next()
    {
        if (const ifaddrs *first = find_interface(all_.get(), names_[described_++].c_str()))
            lines_ = Lines(description_of(first));
    }

    const std::vector<std::string> names_ = interface_names();
    const Addresses all_ = read_addresses();
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

void show_interfaces(const Command &command)
{
    auto interfaces = std::make_unique<Interfaces>();
    if (interfaces->is_known())
        write_long(command.console, std::move(interfaces));
    else
        refuse(command.console, not_told);
}

// It may have gone since its node was made.
void show_interface(const Command &command)
{
    const cli_pmatch_s *last = command.matches;
    while (last->next)
        last = last->next;
    const Addresses all = read_addresses();
    if (const ifaddrs *first = find_interface(all.get(), last->node->keyword))
        write_long(command.console, std::make_unique<Lines>(description_of(first)));
    else
        refuse(command.console, "%s", all ? "No such interface\n" : not_told);
}

} // namespace device
