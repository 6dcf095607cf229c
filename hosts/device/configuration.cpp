// The device's state in maps, by what names each thing; commands that change it, and the
// lines of configuration that make it again.

#include "configuration.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>

#include <crypt.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

Configuration copy()
{
    const std::lock_guard lock(shared.mutex);
    return shared.now;
}

// Sets or removes an entry. Returns: false when there are too many, or there is none to remove.
template <typename Map, typename Key, typename Value>
bool change(Map Configuration::*map, cli_call_s *call, const Key &key, const Value &value)
{
    const std::lock_guard lock(shared.mutex);
    Map &entries = shared.now.*map;
    if (cli_has(call, "no")) {
        if (entries.erase(key) > 0)
            return true;
        cli_fail(call, "There is none");
        return false;
    }
    if (entries.size() >= most_things && !entries.contains(key)) {
        cli_fail(call, "There are %zu already", most_things);
        return false;
    }
    entries[key] = value;
    return true;
}

int32_t result_of(bool is_done)
{
    return is_done ? CLI_DONE : CLI_FAILED;
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

// A batch that may do everything, in the mode that configures; what it writes is gathered.
class Batch {
  public:
    explicit Batch(const char *mode)
    {
        cli_shell_config_s config = shell_config(console_);
        console_.host = &written_;
        config.mode = mode;
        config.level = CLI_MOST_LEVEL;
        config.output = [](void *console, const char *bytes, size_t count) {
            static_cast<std::string *>(static_cast<Console *>(console)->host)->append(bytes, count);
        };
        console_.shell = cli_shell_create(&config);
        if (!console_.shell)
            throw std::bad_alloc();
    }
    ~Batch() { cli_shell_free(console_.shell); }
    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

    cli_shell_s *shell() { return console_.shell; }
    const std::string &written() const { return written_; }

  private:
    Console console_;
    std::string written_;
};

// A crash at any moment leaves the old file or the new one. Returns: 0, or errno.
int write_file(const std::string &path, const std::string &text)
{
    const std::string temporary = path + ".new";
    const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW,
                        S_IRUSR | S_IWUSR);
    if (fd < 0)
        return errno;
    bool is_written = true;
    for (size_t at = 0; is_written && at < text.size();) {
        const ssize_t count = write(fd, text.data() + at, text.size() - at);
        is_written = count > 0;
        at += is_written ? static_cast<size_t>(count) : 0;
    }
    is_written = is_written && fsync(fd) == 0;
    const int error = errno;
    if (close(fd) != 0 || !is_written) {
        unlink(temporary.c_str());
        return is_written ? errno : error;
    }
    return rename(temporary.c_str(), path.c_str()) == 0 ? 0 : errno;
}

} // namespace

int32_t set_hostname(cli_call_s *call, Console &)
{
    const std::string name = text_or_nothing(call, "HOST");
    if (name.size() > longest_name || (!cli_has(call, "no") && !is_plain_word(name.c_str()))) {
        cli_fail_at(call, "HOST", "1 to %zu printable characters", longest_name);
        return CLI_FAILED;
    }
    const std::lock_guard lock(shared.mutex);
    shared.now.hostname = name;
    shared.names++;
    return CLI_DONE;
}

int32_t set_user(cli_call_s *call, Console &)
{
    const int64_t level = cli_has(call, "LEVEL") ? cli_number(call, "LEVEL") : 1;
    return result_of(
        change(&Configuration::users, call, std::string(cli_text(call, "NAME")), level));
}

int32_t set_vlan(cli_call_s *call, Console &)
{
    const std::string name = cli_has(call, "NAME") ? cli_text(call, "NAME") : "";
    return result_of(change(&Configuration::vlans, call, cli_number(call, "VLAN"), name));
}

int32_t set_route(cli_call_s *call, Console &)
{
    const std::string gateway = text_or_nothing(call, "GATEWAY");
    return result_of(
        change(&Configuration::routes, call, std::string(cli_text(call, "NET")), gateway));
}

int32_t set_description(cli_call_s *call, Console &)
{
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

int32_t write_configuration(cli_call_s *call, Console &)
{
    const Configuration all = copy();
    if (!all.hostname.empty())
        cli_config(call, "hostname %s", all.hostname.c_str());
    for (const auto &[name, level] : all.users)
        cli_config(call, "username %s level %d", name.c_str(), static_cast<int>(level));
    for (const auto &[vlan, name] : all.vlans) {
        if (name.empty())
            cli_config(call, "vlan %d", static_cast<int>(vlan));
        else
            cli_config(call, "vlan %d name %s", static_cast<int>(vlan), name.c_str());
    }
    for (const auto &[net, gateway] : all.routes)
        cli_config(call, "ip route %s %s", net.c_str(), gateway.c_str());
    return CLI_DONE;
}

int32_t write_interfaces(cli_call_s *call, Console &)
{
    for (const auto &[name, port] : copy().ports)
        write_port(call, name, port);
    return CLI_DONE;
}

int32_t save_configuration(cli_call_s *call, Console &)
{
    if (host().configuration.empty()) {
        cli_fail(call, "There is no file for it");
        return CLI_FAILED;
    }
    Batch batch("exec");
    cli_shell_run(batch.shell(), "show running-config | no-more");
    if (const int error = write_file(host().configuration, batch.written())) {
        cli_fail(call, "%s", std::strerror(error));
        return CLI_FAILED;
    }
    return CLI_DONE;
}

bool read_configuration(const std::string &path, std::string &out_problem)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    if (file.bad() || !file.is_open()) {
        out_problem = path + ": " + std::strerror(errno);
        return errno == ENOENT; // none was saved yet
    }
    Batch batch("configure");
    for (const bool is_checked : {false, true}) {
        for (size_t i = 0; i < lines.size(); i++) {
            const std::string place = path + ":" + std::to_string(i + 1) + ": ";
            cli_assist_error_s error;
            const int32_t reason = cli_shell_check(batch.shell(), lines[i].c_str(), &error);
            if (!is_checked && reason != CLI_ASSIST_OK && reason != CLI_ASSIST_EMPTY) {
                out_problem = place + (*error.why ? error.why : cli_assist_strreason(reason));
                return false;
            }
            if (is_checked && cli_shell_run(batch.shell(), lines[i].c_str()) != CLI_DONE) {
                out_problem = place + batch.written();
                return false;
            }
        }
        cli_shell_check(batch.shell(), nullptr, nullptr);
    }
    return true;
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
    const Configuration all = copy();
    if (cli_set_host(set, all.hostname.empty() ? host().name.c_str() : all.hostname.c_str()) == 0)
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
