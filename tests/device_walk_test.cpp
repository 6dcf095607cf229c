// Random walks over the demo device's own commands, by way of its modes: what help lists,
// Tab completes to and parsing takes; what parsing takes, help had listed.

#include "../hosts/device/device.h"
#include "session.h"
#include "support/long_tests.h"
#include "support/walker.h"

#include <cstdio>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using varno_test::Walker;

bool do_later(device::Console &, uint32_t, device::Act)
{
    return true;
}

// Nothing is written anywhere.
const cli_save_s nowhere = {
    nullptr,
    [](cli_shell_s *shell, void *, const char *, int32_t, const char **) -> void * {
        return shell;
    },
    [](void *, const char *, size_t, const char **) -> int32_t { return 0; },
    [](void *, int32_t, const char **) -> int32_t { return 0; },
};

// A session at the device.
class Guest {
  public:
    Guest()
    {
        tsession_config_s session = TSESSION_CONFIG_INIT;
        session.terminal_type = "vt100";
        session.user = &console_;
        session.event = [](tsession_s *, void *user, const tsession_event_s *event) {
            device::take_event(*static_cast<device::Console *>(user), *event);
        };
        cli_shell_config_s config = device::shell_config(console_);
        config.session = &session;
        config.save = &nowhere;
        console_.shell = cli_shell_create(&config);
        device::attach(console_, "a walk");
        tsession_start(cli_shell_session(console_.shell));
    }

    ~Guest()
    {
        device::detach(console_);
        cli_shell_free(console_.shell);
    }

    Guest(const Guest &) = delete;
    Guest &operator=(const Guest &) = delete;

    cli_shell_s &shell() { return *console_.shell; }
    const cli_pnode_s *root() const { return cli_shell_session(console_.shell)->graph; }

    void run(const std::string &line)
    {
        tsession_s *session = cli_shell_session(console_.shell);
        device::take_input(console_, (line + "\r").data(), line.size() + 1);
        while (tsession_wait(session) == 0)
            device::time_out(console_);
    }

  private:
    device::Console console_;
};

// What makes something else of the lines after it, and asks no other machine.
bool is_to_run(const std::string &line)
{
    for (const char *first : {"alias ", "no alias ", "configure", "interface ", "end", "exit"}) {
        if (line.compare(0, std::char_traits<char>::length(first), first) == 0)
            return line.find(" | ") == line.npos;
    }
    return false;
}

constexpr int32_t levels[] = {0, 1, 15, 15};

TEST(DeviceWalk, HelpTabAndParsingAgreeInAllModes)
{
    std::string problem;
    ASSERT_TRUE(device::start({"walk", "", "", "", do_later, nullptr}, problem));
    {
        Guest guest;
        cli_shell_s &shell = guest.shell();
        Walker walker(shell, guest.root());
        std::set<std::string> seen; // modes, and levels there
        const int64_t steps = 3000 * varno_test::long_tests_factor();
        int taken = 0;
        int lines = 0;
        for (; walker.steps() < steps && !testing::Test::HasFailure(); lines++) {
            if (lines % 50 == 0)
                cli_shell_set_level(&shell,
                                    levels[static_cast<size_t>(lines) / 50 % std::size(levels)]);
            const std::string mode = cli_shell_mode(&shell);
            seen.insert(mode + " " + std::to_string(shell.level));
            walker.start_at(guest.root());
            const std::string line = walker.walk();
            walker.check_listed(line);
            taken += walker.check_listed(walker.mutated(line)) ? 1 : 0;
            if (is_to_run(line) && (mode != "exec" || line != "exit"))
                guest.run(line);
        }
        EXPECT_EQ(seen, (std::set<std::string>{"exec 0", "exec 1", "exec 15", "configure 15",
                                               "interface 15"}));
        EXPECT_GT(taken, lines / 20);
        std::printf("%lld steps, %d lines; with a character changed %d taken\n",
                    static_cast<long long>(walker.steps()), lines, taken);
    }
    device::release_thread();
    device::stop();
}

} // namespace
