// varno-telnetd: a device's command line for many telnet clients. Its options, and the
// callbacks of the server with the device's beside them.

#include <varno/platform_default.h>
#include <varno/server.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include "../device/device.h"
#include "log.h"

namespace {

using telnetd::for_log;

// What the command line sets.
struct Settings {
    server_config_s server = SERVER_CONFIG_INIT;
    std::string address = "127.0.0.1";
    uint32_t port = 0, backlog = 0;
    std::vector<std::string> reserved, proxies;
    std::string hostname = "varno";
    std::string secret_file, configuration; // --enable-secret-file, --config
    std::string user, motd_file, log_file;
    bool is_stdio = false;
    bool is_verbose = false;
};

// Sessions

// Of the shell that is a session's user pointer the user pointer is its console, whose host
// this is.
struct Client {
    server_s *server = nullptr;
    uint64_t number = 0; // the server's
    device::Console console;
    std::string name; // #1 192.0.2.1:40000
    int64_t came_at = device::now_ms();
};

device::Console &console_of(void *shell)
{
    return *static_cast<device::Console *>(cli_shell_user(static_cast<cli_shell_s *>(shell)));
}

// Where the session has gone nothing is done.
void do_act(server_s *, tsession_s *s, void *ctx)
{
    const std::unique_ptr<const device::Act> act(static_cast<device::Act *>(ctx));
    if (s)
        (*act)();
}

bool do_later(device::Console &console, uint32_t milliseconds, device::Act act)
{
    auto owned = std::make_unique<device::Act>(std::move(act));
    tsession_s *s = cli_shell_session(console.shell);
    if (server_post_later(s, milliseconds, do_act, owned.get()) != 0)
        return false;
    static_cast<void>(owned.release());
    return true;
}

std::function<void(device::Act)> make_poster(device::Console &console)
{
    const auto &client = *static_cast<const Client *>(console.host);
    return [server = client.server, number = client.number](device::Act act) {
        auto owned = std::make_unique<device::Act>(std::move(act));
        if (server_post(server, number, do_act, owned.get()) == 0)
            static_cast<void>(owned.release());
    };
}

void take_event(tsession_s *, void *user, const tsession_event_s *event)
{
    auto &console = *static_cast<device::Console *>(user);
    device::take_event(console, *event);
    const auto &client = *static_cast<const Client *>(console.host);
    if (event->kind == TSESSION_TERMINAL)
        spdlog::debug("{} is a {}", client.name, for_log(event->text));
    if (event->kind == TSESSION_FAULT)
        spdlog::error("{} internal fault: {}", client.name, for_log(event->text));
}

int begin(server_s *server, void *settings, const server_client_s *who, tsession_config_s *session)
{
    auto client = std::make_unique<Client>();
    client->server = server;
    client->number = who->number;
    client->name = fmt::format("#{} {}", who->number, who->name);
    client->console.host = client.get();
    session->event = take_event;
    session->user = &client->console;
    const cli_shell_config_s shell = device::shell_config(client->console);
    client->console.shell = cli_shell_prepare(&shell, session);
    if (!client->console.shell)
        throw std::bad_alloc();
    server_figures_s figures = {};
    figures.size = sizeof(figures);
    server_get_figures(server, &figures);
    spdlog::info("{} connected, {} of {} sessions", client->name, figures.sessions,
                 static_cast<const Settings *>(settings)->server.max_sessions);
    static_cast<void>(client.release());
    return 0;
}

void ready(server_s *, void *, const server_client_s *who, tsession_s *s)
{
    device::Console &console = console_of(tsession_user(s));
    cli_shell_attach(console.shell, s);
    device::attach(console, who->name);
    device::show_welcome(s);
}

void end(server_s *, void *, const server_client_s *, void *shell, const char *why)
{
    device::Console &console = console_of(shell);
    device::detach(console);
    cli_shell_free(console.shell);
    const std::unique_ptr<const Client> client(static_cast<Client *>(console.host));
    spdlog::info("{} disconnected after {} s: {}", client->name,
                 (device::now_ms() - client->came_at) / 1000, why);
}

void refuse(server_s *, void *, const server_client_s *who, const char *why, unsigned long count)
{
    spdlog::warn("{} refused: {} ({} since the last such line)", who->name, why, count);
}

// Options

// In other programs 010 is eight.
std::string check_decimal(const std::string &text)
{
    const bool is_decimal = !text.empty() && text.find_first_not_of("0123456789") == text.npos &&
                            (text.size() == 1 || text[0] != '0');
    return is_decimal ? "" : text + " is no decimal number";
}

void declare(CLI::App &options, Settings &settings)
{
    const auto number = [&options](const char *name, uint32_t &value, uint32_t by_default,
                                   uint32_t least, uint32_t most, const char *help) {
        value = by_default;
        options.add_option(name, value, help)
            ->check(CLI::Validator(check_decimal, ""))
            ->check(CLI::Range(least, most).description(""))
            ->type_name("N")
            ->capture_default_str();
    };
    const auto text = [&options](const char *name, auto &value, const char *type,
                                 const char *help) {
        return options.add_option(name, value, help)->type_name(type)->allow_extra_args(false);
    };
    server_config_s &server = settings.server;
    constexpr uint32_t many = 1000000, long_time = 10000000;
    options.name("varno-telnetd");
    options.set_version_flag("--version", "varno-telnetd " VARNO_TELNETD_VERSION);
    // clang-format off
    text("--listen", settings.address, "ADDRESS", "Numeric address to listen on")->capture_default_str();
    number("--port",             settings.port,           2323, 0, 65535,
           "TCP port; 0 is any that is free");
    number("--threads",          server.threads,          1,    1, 256,       "Threads that serve");
    number("--max-sessions",     server.max_sessions,     1000, 1, many,      "Sessions at once");
    number("--max-per-address",  server.max_per_address,  100,  1, many,
           "Sessions at once of an address, or of an IPv6 network of 64 bits");
    number("--max-connect-rate", server.max_connect_rate, 0,    0, many,
           "Clients of such an address that are let in within a minute; 0 is any number");
    text("--reserve", settings.reserved, "ADDRESS=N",
         "Sessions that are kept for an address whatever limit is reached; may be repeated");
    number("--idle-timeout",     server.idle_seconds,     600,  0, long_time,
           "Seconds without a key that end a session; 0 is never");
    number("--session-timeout",  server.session_seconds,  0,    0, long_time,
           "Seconds that a session may last; 0 is for ever");
    number("--stall-timeout",    server.stall_seconds,    60,   1, long_time,
           "Seconds after which a client that takes no output is dropped");
    number("--backlog",          settings.backlog,        262144, 131072, 1U << 30,
           "Bytes of output that may wait for a client, 131072 or more; at a quarter its input "
           "and long outputs pause");
    text("--proxy-from", settings.proxies, "ADDRESS",
         "Whose connections begin with a PROXY header, version 2, of the client; may be repeated");
    text("--user", settings.user, "NAME", "User to be once the port is open");
    text("--hostname", settings.hostname, "NAME", "Name of the device, in its prompt");
    text("--config", settings.configuration, "FILE",
         "Configuration to begin with, and to save to; there may be none yet");
    text("--enable-secret-file", settings.secret_file, "FILE",
         "File with a hash of crypt(3), of the secret that \"enable\" asks for; its owner's alone");
    text("--motd", settings.motd_file, "FILE", "File to show before the first prompt");
    text("--log", settings.log_file, "FILE", "File to log to instead of standard error");
    // clang-format on
    options.add_flag("--stdio", settings.is_stdio,
                     "Serve one client on standard input and output, for inetd; log to syslog");
    options.add_flag("--verbose", settings.is_verbose, "Log more");
    options.footer("Numbers are decimal. Sockets that systemd hands over are served instead of "
                   "--listen and --port.\nSIGTERM and SIGINT close all sessions in order and end "
                   "the server; a second one ends it at\nonce. SIGHUP, unless it is ignored, "
                   "opens --log again and reads --motd again.");
}

bool read_motd(const Settings &settings)
{
    std::string problem;
    if (settings.motd_file.empty() || device::read_welcome(settings.motd_file, problem))
        return true;
    spdlog::critical("{}", problem);
    return false;
}

bool open_log(const Settings &settings)
{
    if (settings.log_file.empty() || telnetd::log_to_file(settings.log_file))
        return true;
    spdlog::critical("{}: {}", settings.log_file, std::strerror(errno));
    return false;
}

// Serving

void stop(server_s *server, void *, int signum)
{
    static bool is_stopping = false;
    if (is_stopping) {
        spdlog::warn("{} again: ending at once", strsignal(signum));
        std::_Exit(128 + signum);
    }
    is_stopping = true;
    server_notify("STOPPING=1");
    spdlog::info("{}: closing all sessions", strsignal(signum));
    server_stop(server, "The server is going down");
}

void read_again(server_s *, void *user, int)
{
    auto &settings = *static_cast<Settings *>(user);
    if (open_log(settings) && read_motd(settings))
        spdlog::info("log and message are opened anew");
}

// Whoever has hang-ups ignored, as nohup does, means that.
void take_signals(server_s *server)
{
    struct sigaction hangup = {};
    sigaction(SIGHUP, nullptr, &hangup);
    server_on_signal(server, SIGTERM, stop);
    server_on_signal(server, SIGINT, stop);
    if (hangup.sa_handler != SIG_IGN)
        server_on_signal(server, SIGHUP, read_again);
}

server_config_s config_of(Settings &settings)
{
    server_config_s config = settings.server;
    config.backlog = settings.backlog;
    config.user = &settings;
    config.begin = begin;
    config.ready = ready;
    config.end = end;
    config.refuse = refuse;
    config.before_turn = [](server_s *, void *, tsession_s *s) {
        device::begin_turn(console_of(tsession_user(s)));
    };
    config.after_turn = [](server_s *, void *, tsession_s *s) {
        device::end_turn(console_of(tsession_user(s)));
    };
    config.thread_end = [](server_s *, void *) { device::release_thread(); };
    return config;
}

bool is_loopback(const std::string &address)
{
    return address.starts_with("127.") || address == "::1";
}

// Under inetd standard error is the client: nothing is said there once it is served.
bool serve_standard_input(server_s *server)
{
    if (server_serve(server, STDIN_FILENO, STDOUT_FILENO) == 0) {
        telnetd::log_to_syslog();
        return true;
    }
    spdlog::critical("--stdio: standard input and output are to be sockets or pipes");
    return false;
}

bool open_places(server_s *server, const Settings &settings)
{
    if (settings.is_stdio)
        return serve_standard_input(server);
    const int inherited = server_listen_inherited(server);
    if (inherited < 0)
        spdlog::critical("sockets that were handed over: {}", std::strerror(errno));
    if (inherited > 0)
        spdlog::info("listening on {} sockets that were handed over", inherited);
    if (inherited != 0)
        return inherited > 0;
    const bool has_colons = settings.address.find(':') != settings.address.npos;
    const std::string host = has_colons ? "[" + settings.address + "]" : settings.address;
    const int port =
        server_listen_tcp(server, settings.address.c_str(), static_cast<uint16_t>(settings.port));
    if (port < 0) {
        spdlog::critical("{}:{}: {}", host, settings.port,
                         errno == EINVAL ? "no numeric address" : std::strerror(errno));
        return false;
    }
    if (!is_loopback(settings.address))
        spdlog::warn("Telnet is clear text: whoever is on the way to {}:{} can read and change it",
                     host, port);
    spdlog::info("listening on {}:{}", host, port);
    return true;
}

// ADDRESS=N
bool reserve(server_s *server, const std::string &text)
{
    const size_t equals = std::min(text.rfind('='), text.size());
    const std::string count = text.substr(std::min(equals + 1, text.size()));
    const bool is_number = check_decimal(count).empty() && count.size() < 8;
    if (is_number && server_reserve(server, text.substr(0, equals).c_str(),
                                    static_cast<uint32_t>(std::stoul(count))) == 0)
        return true;
    spdlog::critical("--reserve {}: no ADDRESS=N, an address again, or too many sessions", text);
    return false;
}

bool apply_addresses(server_s *server, const Settings &settings)
{
    for (const std::string &address : settings.proxies) {
        if (server_trust_proxy(server, address.c_str()) != 0) {
            spdlog::critical("--proxy-from {}: no numeric address", address);
            return false;
        }
    }
    return std::all_of(settings.reserved.begin(), settings.reserved.end(),
                       [=](const std::string &text) { return reserve(server, text); });
}

int run(server_s *server, const Settings &settings)
{
    take_signals(server);
    const server_config_s &config = settings.server;
    if (const uint64_t most = server_most_sessions(config.threads); most < config.max_sessions)
        spdlog::warn("there are descriptors for {} of {} sessions", most, config.max_sessions);
    if (!apply_addresses(server, settings) || !open_places(server, settings))
        return EXIT_FAILURE;
    if (!settings.user.empty() && server_become(settings.user.c_str()) != 0) {
        spdlog::critical("--user {}: {}", settings.user,
                         errno == ENOENT ? "no such user" : "its rights cannot be taken");
        return EXIT_FAILURE;
    }
    server_notify("READY=1");
    if (server_run(server) != 0) {
        spdlog::critical("{} threads: {}", config.threads, std::strerror(errno));
        return EXIT_FAILURE;
    }
    if (!settings.is_stdio)
        spdlog::info("ended");
    return EXIT_SUCCESS;
}

int serve(Settings &settings)
{
    if (settings.is_verbose)
        spdlog::set_level(spdlog::level::debug);
    if (!open_log(settings) || !read_motd(settings))
        return EXIT_FAILURE;
    assert_set_handler(tsession_assertion_handler, nullptr);
    const server_config_s config = config_of(settings);
    const std::unique_ptr<server_s, decltype(&server_free)> server(server_create(&config),
                                                                   server_free);
    if (!server) {
        spdlog::critical("{} threads, which take {} descriptors: {}", config.threads,
                         server_least_descriptors(config.threads), std::strerror(errno));
        return EXIT_FAILURE;
    }
    std::string problem;
    if (!device::start({"varno-telnetd", settings.hostname, settings.secret_file,
                        settings.configuration, do_later, make_poster},
                       problem)) {
        spdlog::critical("{}", problem);
        device::stop();
        return EXIT_FAILURE;
    }
    const int status = run(server.get(), settings);
    device::stop();
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App options("A device's command line for telnet clients. Telnet is clear text: use it "
                     "on networks that you trust.");
    Settings settings;
    declare(options, settings);
    CLI11_PARSE(options, argc, argv);
    telnetd::log_to_standard_error();
    try {
        return serve(settings);
    } catch (const std::exception &error) {
        spdlog::critical("{}", error.what());
        return EXIT_FAILURE;
    }
}
