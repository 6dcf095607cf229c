// varno-telnetd: a device's command line for many telnet clients.

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>

#include <CLI/CLI.hpp>
#include <arpa/inet.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include "log.h"
#include "service.h"

namespace {

using telnetd::Settings;

struct Choices {
    Settings settings;
    std::string motd_file;
    bool is_verbose = false;
};

std::string check_address(const std::string &text)
{
    in6_addr address;
    const bool is_numeric = inet_pton(AF_INET, text.c_str(), &address) == 1 ||
                            inet_pton(AF_INET6, text.c_str(), &address) == 1;
    return is_numeric ? "" : text + " is no numeric address";
}

template <typename Number>
void declare_number(CLI::App &options, const char *name, Number &value, Number least, Number most,
                    const std::string &help)
{
    options.add_option(name, value, help)
        ->check(CLI::Range(least, most).description(""))
        ->type_name("N")
        ->capture_default_str();
}

void declare(CLI::App &options, Choices &choices)
{
    Settings &settings = choices.settings;
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
        ->check(CLI::Validator(check_address, ""))
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
    options.add_option("--motd", choices.motd_file, "File to show before the first prompt")
        ->type_name("FILE");
    options.add_flag("--stdio", choices.settings.is_stdio,
                     "Serve one client on standard input and output, for inetd; log to syslog");
    options.add_flag("--verbose", choices.is_verbose, "Log more");
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

bool is_stream(int fd)
{
    struct stat status;
    return fstat(fd, &status) == 0 && (S_ISSOCK(status.st_mode) || S_ISFIFO(status.st_mode));
}

bool has_client()
{
    return is_stream(STDIN_FILENO) && is_stream(STDOUT_FILENO);
}

int run(Choices &choices)
{
    if (choices.is_verbose)
        spdlog::set_level(spdlog::level::debug);
    if (!choices.motd_file.empty() && !read_motd(choices.motd_file, choices.settings.motd))
        return EXIT_FAILURE;
    if (!choices.settings.is_stdio || has_client())
        return serve(choices.settings);
    spdlog::critical("--stdio: standard input and output are to be sockets or pipes");
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App options("A device's command line for telnet clients. Telnet is clear text: use it "
                     "on networks that you trust.");
    Choices choices;
    declare(options, choices);
    CLI11_PARSE(options, argc, argv);
    if (choices.settings.is_stdio && has_client())
        telnetd::log_to_syslog();
    else
        telnetd::log_to_standard_error();
    try {
        return run(choices);
    } catch (const std::exception &error) {
        spdlog::critical("{}", error.what());
        return EXIT_FAILURE;
    }
}
