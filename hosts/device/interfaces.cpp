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

#include "commands.h"
#include "reading.h"

namespace device {
namespace {

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
    std::string text = std::string(name) + (first->ifa_flags & IFF_UP ? " is up\n" : " is down\n");
    for (const ifaddrs *entry = first; entry; entry = find_interface(entry->ifa_next, name))
        text += address_row(entry->ifa_addr);
    return text + counters_of(name);
}

// Nothing when the system does not tell.
std::optional<std::vector<std::string>> read_names()
{
    const std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)> all(if_nameindex(),
                                                                                if_freenameindex);
    if (!all)
        return {};
    std::vector<std::string> names;
    for (const struct if_nameindex *entry = all.get(); entry->if_name; entry++)
        names.push_back(entry->if_name);
    return names;
}

struct Interface {
    std::string name;
    std::string description; // rows
};

std::optional<std::vector<Interface>> read_interfaces()
{
    const Addresses all = read_addresses();
    std::vector<Interface> interfaces;
    for (const std::string &name : read_names().value_or(std::vector<std::string>())) {
        if (const ifaddrs *first = find_interface(all.get(), name.c_str()))
            interfaces.push_back({name, description_of(first)});
    }
    if (interfaces.empty())
        return {};
    return interfaces;
}

Reading<std::vector<Interface>> reading(read_interfaces);

Reading<std::vector<std::string>> names_reading(read_names);

int32_t accept_interface(void *, cli_shell_s *, const char *word, const char **why)
{
    const auto names = interface_names();
    if (!names)
        *why = interfaces_not_told;
    return names && std::find(names->begin(), names->end(), word) != names->end();
}

void list_read_names(void *, cli_shell_s *, const char *begun, cli_assist_value_fn value, void *ctx)
{
    if (const auto names = interface_names())
        list_interfaces(*names, begun, value, ctx);
}

struct Shown {
    std::string text;
    size_t at = 0;
};

// Returns: false when there is nothing, and why has been said.
bool describe_interfaces(cli_call_s *call, std::string &out_text)
{
    const auto all = reading.get();
    const char *name = cli_text(call, "NAME");
    if (!all) {
        cli_fail(call, interfaces_not_told);
        return false;
    }
    for (const Interface &one : *all)
        out_text += !name || one.name == name ? one.description : "";
    if (out_text.empty())
        cli_fail_at(call, "NAME", "No such interface"); // it has gone meanwhile
    return !out_text.empty();
}

} // namespace

const cli_type_s interface_type = {"interface", "an interface", accept_interface, list_read_names,
                                   nullptr};

std::shared_ptr<const std::vector<std::string>> interface_names()
{
    return names_reading.get();
}

void list_interfaces(const std::vector<std::string> &names, const char *begun,
                     cli_assist_value_fn value, void *ctx)
{
    for (const std::string &name : names) {
        if (name.starts_with(begun) && is_plain_word(name.c_str()))
            value(ctx, name.c_str(), "an interface");
    }
}

void forget_interfaces()
{
    reading.forget();
    names_reading.forget();
}

// A row a call, so that they are paged and can be left.
int32_t show_interfaces(cli_call_s *call, Console &)
{
    auto &[text, at] = kept_of<Shown>(call);
    if (text.empty() && !describe_interfaces(call, text))
        return CLI_FAILED;
    const size_t end = text.find('\n', at) + 1;
    cli_print(call, "%s", text.substr(at, end - at).c_str());
    at = end;
    return end < text.size() ? CLI_MORE : CLI_DONE;
}

} // namespace device
