// Callbacks of the server, with the device's beside them.

#include "service.h"

#include <varno/platform_default.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <spdlog/spdlog.h>
#include <unistd.h>

#include "../device/device.h"
#include "log.h"

namespace telnetd {
namespace {

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

const Settings &settings_of(void *user)
{
    return *static_cast<const Settings *>(user);
}

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

int begin(server_s *server, void *user, const server_client_s *who, tsession_config_s *session)
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
                 settings_of(user).server.max_sessions);
    static_cast<void>(client.release());
    return 0;
}

void ready(server_s *, void *user, const server_client_s *who, tsession_s *s)
{
    console_of(s).session = s;
    device::attach(console_of(s), who->name);
    tsession_write_clean(s, settings_of(user).motd.c_str());
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

server_config_s config_of(const Settings &settings)
{
    server_config_s config = settings.server;
    config.user = const_cast<Settings *>(&settings);
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

bool open_places(server_s *server, const Settings &settings)
{
    if (settings.is_stdio)
        return server_serve(server, STDIN_FILENO, STDOUT_FILENO) == 0;
    const bool has_colons = settings.address.find(':') != settings.address.npos;
    const std::string host = has_colons ? "[" + settings.address + "]" : settings.address;
    const int port = server_listen_tcp(server, settings.address.c_str(), settings.port);
    if (port < 0) {
        spdlog::critical("{}:{}: {}", host, settings.port, std::strerror(errno));
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

} // namespace

int serve(const Settings &settings)
{
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

} // namespace telnetd
