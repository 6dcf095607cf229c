// The device's state in maps, by what names each thing; commands that change it, and the
// lines of configuration that make it again.

#include "configuration.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include <arpa/inet.h>
#include <net/if.h>

#include "clean_text.h"
#include "commands.h"
#include "interfaces.h"

namespace device {
namespace {

constexpr size_t most_things = 1000; // of each kind
constexpr size_t longest_name = 20;

struct Port {
    std::string description;
    std::string address;
    bool is_shut_down = false;

    bool operator==(const Port &) const = default;
};

struct Configuration {
    std::string hostname; // empty: as the host was started
    std::map<std::string, int64_t> users;
    std::map<int64_t, std::string> vlans;
    std::map<std::string, std::string> routes;
    std::map<std::string, Port> ports; // with something to be said of them
};

struct Shared {
    std::mutex mutex;
    std::shared_ptr<Configuration> now = std::make_shared<Configuration>();
    bool is_looked_at = false;       // now, or has been: it stays as it is
    std::atomic<uint64_t> names = 0; // how often it was named
};

Shared shared;

// Returns: it as it is now, for as long as that is looked at: the same for all who do.
std::shared_ptr<const Configuration> look()
{
    const std::lock_guard lock(shared.mutex);
    shared.is_looked_at = true;
    return shared.now;
}

// With the mutex.
Configuration &to_change()
{
    if (std::exchange(shared.is_looked_at, false))
        shared.now = std::make_shared<Configuration>(*shared.now);
    return *shared.now;
}

// Makes or changes an entry, or takes it back; value: nothing where the line has none. What
// is there already stays as it is then, and is taken back whatever it is.
template <typename Map, typename Value = typename Map::mapped_type>
int32_t change(Map Configuration::*map, cli_call_s *call, const typename Map::key_type &key,
               const std::optional<Value> &value, const Value &by_default)
{
    const std::lock_guard lock(shared.mutex);
    Map &entries = to_change().*map;
    const auto found = entries.find(key);
    const bool is_there = found != entries.end();
    const bool is_same = is_there && (!value || *value == found->second);
    if (cli_has(call, "no") && is_same) {
        entries.erase(found);
    } else if (cli_has(call, "no")) {
        cli_fail(call, "There is none");
        return CLI_FAILED;
    } else if (!is_there && entries.size() >= most_things) {
        cli_fail(call, "There are %zu already", most_things);
        return CLI_FAILED;
    } else if (!is_same) {
        entries[key] = value.value_or(by_default);
    }
    return CLI_DONE;
}

// Changes the interface that the shell's mode is of. Returns: what change does.
template <typename Change>
int32_t change_port(cli_call_s *call, const Change &change)
{
    const std::string name = cli_shell_argument(cli_call_shell(call), "NAME");
    const std::lock_guard lock(shared.mutex);
    auto &ports = to_change().ports;
    int32_t result = change(ports[name]);
    if (ports[name] == Port()) {
        ports.erase(name);
    } else if (ports.size() > most_things) {
        ports.erase(name);
        cli_fail(call, "There are %zu already", most_things);
        result = CLI_FAILED;
    }
    return result;
}

// Sets a text to what the line gives, or takes it back; where the line gives one, that one alone.
int32_t change_text(cli_call_s *call, const std::optional<std::string> &given, std::string &text)
{
    const bool is_no = cli_has(call, "no") != 0;
    if (is_no && given && text != *given) {
        cli_fail(call, "There is none");
        return CLI_FAILED;
    }
    text = is_no ? "" : given.value_or("");
    return CLI_DONE;
}

std::optional<std::string> given_text(cli_call_s *call, const char *name)
{
    return cli_has(call, name) ? std::optional<std::string>(cli_text(call, name)) : std::nullopt;
}

enum class Spelling { address, address_with_bits, network };

// However it was typed, it has one spelling. Of a network the bits that do not count are 0.
std::optional<std::string> given_address(cli_call_s *call, const char *name, Spelling spelling)
{
    int32_t family = 0;
    int32_t bits = 0;
    const uint8_t *given = cli_address(call, name, &family, &bits);
    if (!given)
        return {};
    uint8_t bytes[sizeof(in6_addr)] = {};
    for (int32_t i = 0; i < (family == 4 ? 4 : 16); i++) {
        const int32_t counting = std::clamp(bits - i * 8, 0, 8);
        const int32_t mask = spelling == Spelling::network ? 0xff00 >> counting : 0xff;
        bytes[i] = static_cast<uint8_t>(given[i] & mask);
    }
    char text[INET6_ADDRSTRLEN];
    std::string spelled = inet_ntop(family == 4 ? AF_INET : AF_INET6, bytes, text, sizeof(text));
    return spelling == Spelling::address ? spelled : spelled + "/" + std::to_string(bits);
}

// What a call that writes the configuration has come to: that which is next.
struct Writing {
    std::shared_ptr<const Configuration> all;
    bool is_named;
    decltype(Configuration::users)::const_iterator user;
    decltype(Configuration::vlans)::const_iterator vlan;
    decltype(Configuration::routes)::const_iterator route;
    decltype(Configuration::ports)::const_iterator port;
};

Writing &writing_of(cli_call_s *call)
{
    auto &writing = kept_of<Writing>(call);
    if (const auto all = writing.all ? nullptr : look())
        writing = {all,
                   false,
                   all->users.begin(),
                   all->vlans.begin(),
                   all->routes.begin(),
                   all->ports.begin()};
    return writing;
}

void write_port(cli_call_s *call, const std::string &name, const Port &port)
{
    cli_config(call, "interface %s", name.c_str());
    if (!port.description.empty())
        cli_config(call, " description %-s", port.description.c_str());
    if (!port.address.empty())
        cli_config(call, " ip address %s", port.address.c_str());
    if (port.is_shut_down)
        cli_config(call, " shutdown");
}

std::vector<std::string> configured_interfaces()
{
    const std::lock_guard lock(shared.mutex);
    std::vector<std::string> names;
    for (const auto &[name, port] : shared.now->ports)
        names.push_back(name);
    return names;
}

bool contains(const std::vector<std::string> &names, const char *name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

// What was saved is read back though an interface has gone meanwhile, and can be taken back then.
int32_t accept_port(void *, cli_shell_s *shell, const char *word, const char **why)
{
    if (!is_plain_word(word) || std::strlen(word) >= IFNAMSIZ)
        return 0;
    const auto *console = static_cast<const Console *>(cli_shell_user(shell));
    if ((console && console->is_reading_back) || contains(configured_interfaces(), word))
        return 1;
    const auto names = interface_names();
    if (!names)
        *why = interfaces_not_told;
    return names && contains(*names, word);
}

void list_ports(void *, cli_shell_s *, const char *begun, cli_assist_value_fn value, void *ctx)
{
    const auto names = interface_names();
    if (names)
        list_interfaces(*names, begun, value, ctx);
    for (const std::string &name : configured_interfaces()) {
        if (name.starts_with(begun) && !(names && contains(*names, name.c_str())))
            value(ctx, name.c_str(), "configured, but not there");
    }
}

// The configuration can be written again only as what can be printed.
bool is_printable(cli_call_s *call, const char *name)
{
    const char *text = cli_text(call, name);
    if (!text || (cleaned(text) == text && !std::strchr(text, '\t')))
        return true;
    cli_fail_at(call, name, "it has control characters, or is no UTF-8");
    return false;
}

} // namespace

const cli_type_s port_type = {"port", "an interface", accept_port, list_ports, nullptr};

int32_t set_hostname(cli_call_s *call, Console &)
{
    const char *name = cli_text(call, "HOST");
    if (!cli_has(call, "no") && (std::strlen(name) > longest_name || !is_plain_word(name))) {
        cli_fail_at(call, "HOST", "1 to %zu printable characters, no blank and none of \" ' \\ ? ;",
                    longest_name);
        return CLI_FAILED;
    }
    const std::lock_guard lock(shared.mutex);
    const int32_t result = change_text(call, given_text(call, "HOST"), to_change().hostname);
    shared.names++;
    return result;
}

int32_t set_user(cli_call_s *call, Console &)
{
    std::optional<int64_t> level;
    if (cli_has(call, "LEVEL"))
        level = cli_number(call, "LEVEL");
    return is_printable(call, "NAME")
               ? change(&Configuration::users, call, cli_text(call, "NAME"), level, int64_t{1})
               : CLI_FAILED;
}

int32_t set_vlan(cli_call_s *call, Console &)
{
    return is_printable(call, "NAME")
               ? change(&Configuration::vlans, call, cli_number(call, "VLAN"),
                        given_text(call, "NAME"), std::string())
               : CLI_FAILED;
}

int32_t set_route(cli_call_s *call, Console &)
{
    return change(&Configuration::routes, call, *given_address(call, "NET", Spelling::network),
                  given_address(call, "GATEWAY", Spelling::address), std::string());
}

int32_t set_description(cli_call_s *call, Console &)
{
    if (!is_printable(call, "TEXT"))
        return CLI_FAILED;
    return change_port(call, [call](Port &port) {
        return change_text(call, given_text(call, "TEXT"), port.description);
    });
}

int32_t set_address(cli_call_s *call, Console &)
{
    return change_port(call, [call](Port &port) {
        return change_text(call, given_address(call, "NET", Spelling::address_with_bits),
                           port.address);
    });
}

int32_t set_shutdown(cli_call_s *call, Console &)
{
    return change_port(call, [is_up = cli_has(call, "no")](Port &port) {
        port.is_shut_down = !is_up;
        return CLI_DONE;
    });
}

// A line a call, so that a long configuration waits where its reader does.
int32_t write_configuration(cli_call_s *call, Console &)
{
    Writing &writing = writing_of(call);
    const Configuration &all = *writing.all;
    if (!std::exchange(writing.is_named, true)) {
        if (!all.hostname.empty())
            cli_config(call, "hostname %s", all.hostname.c_str());
    } else if (writing.user != all.users.end()) {
        const auto &[name, level] = *writing.user++;
        cli_config(call, "username %s level %" PRId64, name.c_str(), level);
    } else if (writing.vlan != all.vlans.end()) {
        const auto &[vlan, name] = *writing.vlan++;
        if (name.empty())
            cli_config(call, "vlan %" PRId64, vlan);
        else
            cli_config(call, "vlan %" PRId64 " name %s", vlan, name.c_str());
    } else if (writing.route != all.routes.end()) {
        const auto &[net, gateway] = *writing.route++;
        cli_config(call, "ip route %s %s", net.c_str(), gateway.c_str());
    } else {
        return CLI_DONE;
    }
    return CLI_MORE;
}

// All of them, or the one that the line asks for.
int32_t write_interfaces(cli_call_s *call, Console &)
{
    Writing &writing = writing_of(call);
    if (writing.port == writing.all->ports.end())
        return CLI_DONE;
    const auto &[name, port] = *writing.port++;
    if (!cli_has(call, "NAME") || name == cli_text(call, "NAME"))
        write_port(call, name, port);
    return CLI_MORE;
}

void forget_configuration()
{
    const std::lock_guard lock(shared.mutex);
    to_change() = {};
    shared.names++;
}

void follow_name(cli_set_s *set, uint64_t &generation)
{
    const uint64_t names = shared.names.load(std::memory_order_acquire);
    if (names == generation)
        return;
    std::string name = host().name;
    {
        const std::lock_guard lock(shared.mutex);
        if (!shared.now->hostname.empty())
            name = shared.now->hostname;
    }
    if (cli_set_host(set, name.c_str()) == 0)
        generation = names;
}

} // namespace device
