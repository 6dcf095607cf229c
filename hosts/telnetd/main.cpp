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
#include <fstream>
#include <memory>
#include <string>

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
    std::string address = "127.0.0.1"; // to listen on, numeric
    uint16_t port = 2323;              // 0: any that is free
    bool is_stdio = false;             // one client on standard input and output instead
    bool is_verbose = false;
    std::string motd_file;
    std::string motd; // what is shown before the first prompt
};

// Sessions

constexpr size_t most_reminders = 8;

// A session's user pointer is its console, whose host this is.
struct Client {
    device::Console console = {};
    std::string name;
    int64_t came_at = device::now_ms();
    size_t reminders = 0;
};

struct Reminder {
    Client &client;
    std::string text;
};

device::Console &console_of(const tsession_s *s)
{
    return *static_cast<device::Console *>(tsession_user(s));
}

bool remind(device::Console &console, long seconds, const std::string &text)
{
    auto &client = *static_cast<Client *>(console.host);
    if (client.reminders >= most_reminders)
        return false;
    auto reminder = std::make_unique<Reminder>(Reminder{client, text + "\n"});
    const auto show = [](server_s *, tsession_s *s, void *ctx) {
        const std::unique_ptr<const Reminder> due(static_cast<Reminder *>(ctx));
        if (!s)
            return;
        due->client.reminders--;
        tsession_write_clean(s, due->text.c_str());
    };
    const auto milliseconds = static_cast<uint32_t>(seconds) * 1000;
    if (server_post_later(console.session, milliseconds, show, reminder.get()) != 0)
        return false;
    static_cast<void>(reminder.release());
    client.reminders++;
    return true;
}

void take_event(tsession_s *s, void *, const tsession_event_s *event)
{
    device::take_event(console_of(s), *event);
    const auto &client = *static_cast<const Client *>(console_of(s).host);
    if (event->kind == TSESSION_TERMINAL)
        spdlog::debug("{} is a {}", client.name, for_log(event->text));
    if (event->kind == TSESSION_FAULT)
        spdlog::error("{} internal fault: {}", client.name, for_log(event->text));
}

int begin(server_s *server, void *settings, const server_client_s *who, tsession_config_s *session)
{
    auto client = std::make_unique<Client>();
    client->name = who->name;
    client->console.host = client.get();
    session->prompt = "varno> ";
    session->graph = device::graph();
    session->line = device::run_line;
    session->event = take_event;
    session->user = &client->console;
    server_figures_s figures = {};
    figures.size = sizeof(figures);
    server_get_figures(server, &figures);
    spdlog::info("{} connected, {} of {} sessions", who->name, figures.sessions,
                 static_cast<const Settings *>(settings)->server.max_sessions);
    static_cast<void>(client.release());
    return 0;
}

void ready(server_s *, void *settings, const server_client_s *who, tsession_s *s)
{
    console_of(s).session = s;
    device::attach(console_of(s), who->name);
    tsession_write_clean(s, static_cast<const Settings *>(settings)->motd.c_str());
}

void end(server_s *, void *, const server_client_s *who, void *console, const char *why)
{
    device::detach(*static_cast<device::Console *>(console));
    const std::unique_ptr<const Client> client(
        static_cast<Client *>(static_cast<device::Console *>(console)->host));
    spdlog::info("{} disconnected after {} s: {}", who->name,
                 (device::now_ms() - client->came_at) / 1000, why);
}

void refuse(server_s *, void *, const server_client_s *who, const char *why, unsigned long count)
{
    spdlog::warn("{} refused: {} ({} since the last such line)", who->name, why, count);
}

// Options

template <typename Number>
void declare_number(CLI::App &options, const char *name, Number &value, Number least, Number most,
                    const std::string &help)
{
    options.add_option(name, value, help)
        ->check(CLI::Range(least, most).description(""))
        ->type_name("N")
        ->capture_default_str();
}

void declare(CLI::App &options, Settings &settings)
{
    server_config_s &server = settings.server;
    server.threads = 1;
    server.max_sessions = 1000;
    server.max_per_address = 100;
    server.idle_seconds = 600;
    server.stall_seconds = 60;
    server.backlog = 262144;
    options.name("varno-telnetd");
    options.set_version_flag("--version", "varno-telnetd " VARNO_TELNETD_VERSION);
    options.add_option("--listen", settings.address, "Numeric address to listen on")
        ->type_name("ADDRESS")
        ->capture_default_str();
    declare_number<uint16_t>(options, "--port", settings.port, 0, 65535,
                             "TCP port; 0 is any that is free");
    declare_number(options, "--threads", server.threads, 1U, 256U, "Threads that serve");
    declare_number(options, "--max-sessions", server.max_sessions, 1U, 1000000U,
                   "Sessions at once");
    declare_number(options, "--max-per-address", server.max_per_address, 1U, 1000000U,
                   "Sessions at once of an address, or of an IPv6 network of 64 bits");
    declare_number(options, "--idle-timeout", server.idle_seconds, 0U, 10000000U,
                   "Seconds without input that end a session; 0 is never");
    declare_number(options, "--stall-timeout", server.stall_seconds, 1U, 10000000U,
                   "Seconds after which a client that takes no output is dropped");
    declare_number<size_t>(options, "--backlog", server.backlog, 131072, size_t{1} << 30,
                           "Bytes of output that may wait for a client, 131072 or more; at a "
                           "quarter its input and long outputs pause");
    options.add_option("--motd", settings.motd_file, "File to show before the first prompt")
        ->type_name("FILE");
    options.add_flag("--stdio", settings.is_stdio,
                     "Serve one client on standard input and output, for inetd; log to syslog");
    options.add_flag("--verbose", settings.is_verbose, "Log more");
    options.footer("SIGTERM, SIGINT and SIGHUP close all sessions in order and end the server; "
                   "a second one\nends it at once.");
}

// Shown to everybody who connects, so not without bound.
bool read_motd(const std::string &path, std::string &out_text)
{
    constexpr size_t most = 8192;
    std::ifstream file(path);
    out_text.resize(most + 1);
    file.read(out_text.data(), most + 1);
    out_text.resize(static_cast<size_t>(file.gcount()));
    std::replace(out_text.begin(), out_text.end(), '\0', '?'); // where the text would end
    if (!out_text.empty() && out_text.back() != '\n')
        out_text += '\n';
    if (file.eof())
        return true;
    spdlog::critical("{} cannot be read, or has more than {} bytes", path, most);
    return false;
}

// Serving

void on_signal(server_s *server, void *, int signum)
{
    static bool is_stopping = false;
    if (is_stopping) {
        spdlog::warn("{} again: ending at once", strsignal(signum));
        std::_Exit(128 + signum);
    }
    is_stopping = true;
    spdlog::info("{}: closing all sessions", strsignal(signum));
    server_stop(server, "The server is going down");
}

server_config_s config_of(Settings &settings)
{
    server_config_s config = settings.server;
    config.user = &settings;
    config.begin = begin;
    config.ready = ready;
    config.end = end;
    config.refuse = refuse;
    config.before_turn = [](server_s *, void *, tsession_s *s) {
        device::begin_turn(console_of(s));
    };
    config.after_turn = [](server_s *, void *, tsession_s *s) { device::end_turn(console_of(s)); };
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
    const bool has_colons = settings.address.find(':') != settings.address.npos;
    const std::string host = has_colons ? "[" + settings.address + "]" : settings.address;
    const int port = server_listen_tcp(server, settings.address.c_str(), settings.port);
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

int run(server_s *server, const Settings &settings)
{
    for (const int signum : {SIGTERM, SIGINT, SIGHUP})
        server_on_signal(server, signum, on_signal);
    if (!open_places(server, settings))
        return EXIT_FAILURE;
    if (server_run(server) != 0) {
        spdlog::critical("{} threads: {}", settings.server.threads, std::strerror(errno));
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
    if (!settings.motd_file.empty() && !read_motd(settings.motd_file, settings.motd))
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
    device::start({"varno-telnetd", remind});
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
