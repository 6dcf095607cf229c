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

#include <crypt.h>
#include <sys/stat.h>

#include "clean_text.h"
#include "commands.h"

namespace device {
namespace {

constexpr size_t most_things = 1000; // of each kind
constexpr size_t longest_name = 20;

struct Port {
    std::string description;
    std::string address;
    bool is_shut_down = false;
};

struct Configuration {
    std::string hostname; // empty: as the host was started
    std::map<std::string, int64_t> users;
    std::map<int64_t, std::string> vlans;
    std::map<std::string, std::string> routes;
    std::map<std::string, Port> ports;
};

struct Shared {
    std::mutex mutex;
    Configuration now;
    std::atomic<uint64_t> names = 0; // how often it was named
};

Shared shared;
std::string secret_hash; // of what lets its user have any level

// Of a call that writes it: all at first, and as it was then.
Configuration &left_to_write(cli_call_s *call)
{
    auto &left = kept_of<std::optional<Configuration>>(call);
    if (!left) {
        const std::lock_guard lock(shared.mutex);
        left = shared.now;
    }
    return *left;
}

// Makes or changes an entry, or takes it back; value: nothing where the line has none. What
// is there already stays as it is then, and is taken back whatever it is.
template <typename Map, typename Value = typename Map::mapped_type>
int32_t change(Map Configuration::*map, cli_call_s *call, const typename Map::key_type &key,
               const std::optional<Value> &value, const Value &by_default)
{
    const std::lock_guard lock(shared.mutex);
    Map &entries = shared.now.*map;
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

// Changes the interface that the shell's mode is of.
template <typename Change>
int32_t change_port(cli_call_s *call, const Change &change)
{
    const std::string name = cli_shell_argument(cli_call_shell(call), "NAME");
    const std::lock_guard lock(shared.mutex);
    change(shared.now.ports[name]);
    return CLI_DONE;
}

const char *text_or_nothing(cli_call_s *call, const char *name)
{
    return cli_has(call, "no") ? "" : cli_text(call, name);
}

void write_port(cli_call_s *call, const std::string &name, const Port &port)
{
    if (port.description.empty() && port.address.empty() && !port.is_shut_down)
        return;
    cli_config(call, "interface %s", name.c_str());
    if (!port.description.empty())
        cli_config(call, " description %-s", port.description.c_str());
    if (!port.address.empty())
        cli_config(call, " ip address %s", port.address.c_str());
    if (port.is_shut_down)
        cli_config(call, " shutdown");
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

int32_t set_hostname(cli_call_s *call, Console &)
{
    const std::string name = text_or_nothing(call, "HOST");
    if (name.size() > longest_name || (!cli_has(call, "no") && !is_plain_word(name.c_str()))) {
        cli_fail_at(call, "HOST", "1 to %zu printable characters, no blank and none of \" ' \\ ? ;",
                    longest_name);
        return CLI_FAILED;
    }
    const std::lock_guard lock(shared.mutex);
    shared.now.hostname = name;
    shared.names++;
    return CLI_DONE;
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
    std::optional<std::string> name;
    if (cli_has(call, "NAME"))
        name = cli_text(call, "NAME");
    return is_printable(call, "NAME")
               ? change(&Configuration::vlans, call, cli_number(call, "VLAN"), name, std::string())
               : CLI_FAILED;
}

int32_t set_route(cli_call_s *call, Console &)
{
    std::optional<std::string> gateway;
    if (cli_has(call, "GATEWAY"))
        gateway = cli_text(call, "GATEWAY");
    return change(&Configuration::routes, call, cli_text(call, "NET"), gateway, std::string());
}

int32_t set_description(cli_call_s *call, Console &)
{
    if (!is_printable(call, "TEXT"))
        return CLI_FAILED;
    return change_port(call, [text = std::string(text_or_nothing(call, "TEXT"))](Port &port) {
        port.description = text;
    });
}

int32_t set_address(cli_call_s *call, Console &)
{
    return change_port(call, [text = std::string(text_or_nothing(call, "NET"))](Port &port) {
        port.address = text;
    });
}

int32_t set_shutdown(cli_call_s *call, Console &)
{
    return change_port(call,
                       [is_up = cli_has(call, "no")](Port &port) { port.is_shut_down = !is_up; });
}

// A line a call, of what is left: a long one waits where its reader does.
int32_t write_configuration(cli_call_s *call, Console &)
{
    Configuration &left = left_to_write(call);
    if (!left.hostname.empty()) {
        cli_config(call, "hostname %s", std::exchange(left.hostname, "").c_str());
    } else if (!left.users.empty()) {
        const auto user = left.users.extract(left.users.begin());
        cli_config(call, "username %s level %" PRId64, user.key().c_str(), user.mapped());
    } else if (!left.vlans.empty()) {
        const auto vlan = left.vlans.extract(left.vlans.begin());
        if (vlan.mapped().empty())
            cli_config(call, "vlan %" PRId64, vlan.key());
        else
            cli_config(call, "vlan %" PRId64 " name %s", vlan.key(), vlan.mapped().c_str());
    } else if (!left.routes.empty()) {
        const auto route = left.routes.extract(left.routes.begin());
        cli_config(call, "ip route %s %s", route.key().c_str(), route.mapped().c_str());
    } else {
        return CLI_DONE;
    }
    return CLI_MORE;
}

// All of them, or the one that the line asks for.
int32_t write_interfaces(cli_call_s *call, Console &)
{
    Configuration &left = left_to_write(call);
    if (left.ports.empty())
        return CLI_DONE;
    const auto port = left.ports.extract(left.ports.begin());
    if (!cli_has(call, "NAME") || port.key() == cli_text(call, "NAME"))
        write_port(call, port.key(), port.mapped());
    return CLI_MORE;
}

void forget_configuration()
{
    const std::lock_guard lock(shared.mutex);
    shared.now = {};
    shared.names++;
}

void follow_name(cli_set_s *set, uint64_t &generation)
{
    const uint64_t names = shared.names.load(std::memory_order_acquire);
    if (names == generation)
        return;
    std::string name;
    {
        const std::lock_guard lock(shared.mutex);
        name = shared.now.hostname.empty() ? host().name : shared.now.hostname;
    }
    if (cli_set_host(set, name.c_str()) == 0)
        generation = names;
}

int32_t authenticate(cli_shell_s *, void *, int32_t, const char *secret)
{
    const auto room = std::make_unique<crypt_data>();
    const char *hash = crypt_r(secret, secret_hash.c_str(), room.get());
    const bool is_it = hash && *hash != '*' && secret_hash == hash;
    explicit_bzero(room.get(), sizeof(*room));
    return is_it ? 0 : -1;
}

bool read_secret(const std::string &path, std::string &out_problem)
{
    struct stat status = {};
    std::ifstream file(path);
    if (!std::getline(file, secret_hash) || secret_hash.empty() || stat(path.c_str(), &status) != 0)
        out_problem = path + " has no hash in its first line, or cannot be read";
    else if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        out_problem = path + " is not its owner's alone: chmod 600 makes it so";
    return out_problem.empty();
}

} // namespace device
