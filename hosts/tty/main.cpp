// varno-tty: a device's command line on this terminal, as a batch, or under sshd.

#include <varno/platform_default.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <CLI/CLI.hpp>

#include "../device/device.h"
#include "acts.h"
#include "batch.h"
#include "local_session.h"
#include "saved_files.h"

namespace {

struct Choices {
    std::string trace, commands, file;
    std::string hostname = "varno";
    std::string secret_file, configuration, save_directory;
    bool has_commands = false, has_file = false;
};

bool start_trace(const std::string &path)
{
    FILE *file = std::fopen(path.c_str(), "we");
    if (file)
        device::trace_to(file);
    return file != nullptr;
}

// A forced command of sshd's finds what the client wanted to run there instead.
int run(const Choices &choices)
{
    const char *ssh_command = std::getenv("SSH_ORIGINAL_COMMAND");
    if (choices.has_file)
        return batch_run_file(choices.file);
    if (choices.has_commands)
        return batch_run_text(choices.commands);
    if (ssh_command)
        return batch_run_text(ssh_command);
    return run_local_session();
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App options("A command line on this terminal. Type ? for what can be typed.");
    Choices choices;
    options.set_version_flag("--version", "varno-tty " VARNO_TTY_VERSION);
    auto *commands = options.add_option("-c", choices.commands,
                                        "Run these commands, with ; between them; without it "
                                        "those of $SSH_ORIGINAL_COMMAND, which sshd sets");
    auto *file =
        options.add_option("-f", choices.file, "Run the commands of this file, one a line");
    commands->excludes(file);
    options.add_option("--hostname", choices.hostname, "Name of the device, in its prompt")
        ->type_name("NAME")
        ->capture_default_str();
    options.add_option("--level", device::first_level, "Level of the commands at first, 0 to 15")
        ->check(CLI::Range(0, 15).description(""))
        ->type_name("N");
    options
        .add_option("--enable-secret-file", choices.secret_file,
                    "File with a hash of crypt(3), of the secret that \"enable\" asks for; its "
                    "owner's alone")
        ->type_name("FILE");
    options
        .add_option("--config", choices.configuration,
                    "Configuration to begin with, and to save to; there may be none yet")
        ->type_name("FILE");
    options
        .add_option("--save-directory", choices.save_directory,
                    "Directory that \"| save NAME\" writes files to; without it there is no such "
                    "filter")
        ->type_name("DIR");
    options.add_option("--trace", choices.trace, "Write the library's debug traces to this file");
    CLI11_PARSE(options, argc, argv);
    choices.has_commands = commands->count() > 0;
    choices.has_file = file->count() > 0;
    std::string problem;
    if (!device::start({"varno-tty", choices.hostname, choices.secret_file, choices.configuration,
                        do_later, make_poster},
                       problem)) {
        std::fprintf(stderr, "varno-tty: %s\n", problem.c_str());
        device::stop();
        return EXIT_FAILURE;
    }
    if (!choices.trace.empty() && !start_trace(choices.trace)) {
        std::perror(choices.trace.c_str());
        return EXIT_FAILURE;
    }
    if (!choices.save_directory.empty() && !saved_files_open(choices.save_directory)) {
        std::perror(choices.save_directory.c_str());
        return EXIT_FAILURE;
    }

    const int status = run(choices);
    device::stop();
    // Only the decoders' arrays of keys stay, as stroker_free_context says.
    assert(tracked_outstanding(nullptr) == tracked_outstanding("mkey_t"));
    return status;
}
