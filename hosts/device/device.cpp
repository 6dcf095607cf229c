// The device as its hosts see it: the commands of each thread, and turns of its sessions.

#include "device.h"

#include <csignal>
#include <new>
#include <stdexcept>

#include "configuration.h"
#include "ping.h"
#include "secrets.h"
#include "table.h"
#include "traces.h"
#include "visitors.h"

namespace device {
namespace {

Host the_host = {};

// This thread's commands: a set is used by one thread.
thread_local cli_set_s *own_set = nullptr;
thread_local uint64_t own_name = UINT64_MAX; // of its prompts

[[noreturn]] void give_up(cli_set_s *set, const std::string &findings)
{
    cli_set_free(set);
    if (findings.empty())
        throw std::bad_alloc();
    throw std::logic_error(findings);
}

cli_set_s *build_set()
{
    cli_set_s *set = cli_set_create();
    std::string findings;
    const auto note = [](void *ctx, const cli_finding_s *finding) {
        *static_cast<std::string *>(ctx) +=
            std::string(finding->syntax) + ": " + finding->text + "\n";
    };
    if (!set || !add_to(set) || cli_set_build(set, note, &findings) != 0)
        give_up(set, findings);
    return set;
}

} // namespace

int32_t first_level = 0;

Console::Console() = default;
Console::~Console() = default;

const Host &host()
{
    return the_host;
}

bool start(const Host &host, std::string &out_problem)
{
    the_host = host;
    the_host.poster = nullptr;     // a command of a file may not wait
    std::signal(SIGXFSZ, SIG_IGN); // a file that grows too long is an error, not the end
    open_traces();
    const bool is_started =
        (host.secret_file.empty() || read_secret(host.secret_file, out_problem)) &&
        (host.configuration.empty() || read_configuration(host.configuration, out_problem));
    the_host.poster = host.poster;
    return is_started;
}

void stop()
{
    stop_pings();
    stop_saving();
    stop_checks();
    close_traces();
    forget_configuration();
}

cli_shell_config_s shell_config(Console &console)
{
    if (!own_set)
        own_set = build_set();
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = own_set;
    config.user = &console;
    config.level = first_level;
    config.authenticate = the_host.secret_file.empty() ? nullptr : check_secret;
    follow_name(own_set, own_name);
    return config;
}

void release_thread()
{
    cli_set_free(own_set);
    own_set = nullptr;
    own_name = UINT64_MAX;
}

void begin_turn(Console &console)
{
    follow_name(own_set, own_name);
    note_terminal(console);
    begin_tracing(console);
}

void end_turn(Console &console)
{
    follow_name(own_set, own_name);
    note_input(console);
    end_tracing(console);
}

namespace {

template <typename Call>
void call_session(Console &console, const Call &call)
{
    begin_turn(console);
    try {
        call(cli_shell_session(console.shell));
    } catch (...) {
        end_turn(console);
        throw;
    }
    end_turn(console);
}

} // namespace

void take_input(Console &console, const void *bytes, size_t count)
{
    call_session(console, [=](tsession_s *s) { tsession_input(s, bytes, count); });
}

void time_out(Console &console)
{
    call_session(console, [](tsession_s *s) { tsession_time_out(s); });
}

cli_set_s *own_commands()
{
    return own_set;
}

void take_event(Console &console, const tsession_event_s &event)
{
    if (event.kind == TSESSION_END_OF_INPUT)
        tsession_close(cli_shell_session(console.shell));
    if (event.kind == TSESSION_SIZE || event.kind == TSESSION_TERMINAL)
        note_terminal(console);
}

} // namespace device
