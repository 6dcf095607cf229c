// Many sessions while owners of rows and types come and go: nothing grows, each owner is
// released once.

#include "support/heap_bytes.h"
#include "support/long_tests.h"

#include <varno/commands.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::heap_bytes;

struct Owner {
    int id = 0;
    int released = 0;
    int calls = 0;
    int cancelled = 0;
};

int32_t wait_for_ever(cli_call_s *call, void *user)
{
    auto *owner = static_cast<Owner *>(user);
    if (cli_is_cancelled(call)) {
        owner->cancelled++;
        return CLI_FAILED;
    }
    owner->calls++;
    return cli_state(call, 64, nullptr) ? CLI_LATER : CLI_FAILED;
}

int32_t answer(cli_call_s *call, void *)
{
    cli_print(call, "%s\n", cli_text(call, "NAME"));
    return CLI_DONE;
}

void list_names(void *, cli_shell_s *, const char *, cli_assist_value_fn value, void *ctx)
{
    for (const char *name : {"one", "two"})
        value(ctx, name, nullptr);
}

const cli_type_s name_type = {"name", "a name", nullptr, list_names, nullptr};
const cli_command_s own_row = {"show NAME", "what there is", answer, nullptr, 0, 0, nullptr};

// What an owner adds; a session then waits in a command of it.
class Plugin {
  public:
    explicit Plugin(int number)
        : wait_("plug" + std::to_string(number) + " wait [{for NAME(name)|quiet}]"),
          answer_("plug" + std::to_string(number) + " NAME(name)")
    {
        owner.id = number;
        rows_[0] = {wait_.c_str(), "waits", wait_for_ever, nullptr, 0, 0, &owner};
        rows_[1] = {answer_.c_str(), "answers", answer, nullptr, 0, 0, nullptr};
    }

    bool add(cli_set_s *set)
    {
        return cli_set_add_type(set, this, &name_type) == 0 &&
               cli_set_add(set, this, nullptr, rows_, std::size(rows_)) == 0 &&
               cli_set_build(set, nullptr, nullptr) == 0;
    }

    bool remove(cli_set_s *set)
    {
        return cli_set_remove(
                   set, this, [](void *ctx) { static_cast<Owner *>(ctx)->released++; }, &owner) ==
               0;
    }

    std::string line() const { return "plug" + std::to_string(owner.id) + " wait for one"; }

    Owner owner;

  private:
    std::string wait_;
    std::string answer_;
    cli_command_s rows_[2];
};

TEST(CommandsOwners, ComeAndGoUnderManySessionsAndLeaveNothing)
{
    const int factor = varno_test::long_tests_factor();
    const int sessions = std::min(1000, 50 * factor);
    const int turns = std::min(10000, 200 * factor);
    const size_t blocks_at_first = tracked_outstanding(nullptr);
    cli_set_s *set = cli_set_create();
    ASSERT_EQ(cli_set_add(set, nullptr, nullptr, &own_row, 1), 0);
    ASSERT_EQ(cli_set_build(set, nullptr, nullptr), 0);
    std::vector<cli_shell_s *> shells;
    const tsession_config_s terminal = TSESSION_CONFIG_INIT;
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set;
    for (int i = 0; i < sessions; i++) {
        config.session = i % 4 == 3 ? nullptr : &terminal;
        shells.push_back(cli_shell_create(&config));
    }
    std::mt19937 random(14);
    std::vector<size_t> blocks;
    std::vector<size_t> bytes;
    blocks.reserve(static_cast<size_t>(turns));
    bytes.reserve(static_cast<size_t>(turns));
    int64_t waited = 0;
    for (int turn = 0; turn < turns; turn++) {
        Plugin plugin(turn % 7);
        ASSERT_TRUE(plugin.add(set));
        const std::string line = plugin.line();
        std::vector<cli_shell_s *> used;
        for (int i = 0; i < 5; i++) {
            used.push_back(shells[random() % shells.size()]);
            cli_shell_run(used.back(), line.c_str());
        }
        waited += plugin.owner.calls;
        ASSERT_GT(plugin.owner.calls, 0);
        ASSERT_TRUE(plugin.remove(set));
        ASSERT_EQ(plugin.owner.released, 1);
        ASSERT_EQ(plugin.owner.cancelled, plugin.owner.calls);
        ASSERT_FALSE(plugin.remove(set));
        for (const cli_shell_s *shell : used) {
            tsession_s *s = cli_shell_session(shell);
            while (s && tsession_wait(s) == 0)
                tsession_time_out(s);
        }
        if (turn % 50 == 49) {
            blocks.push_back(tracked_outstanding(nullptr));
            bytes.push_back(heap_bytes());
        }
    }
    // What a session needs for its first output is there after some turns, and stays.
    for (cli_shell_s *shell : shells)
        EXPECT_EQ(cli_shell_run(shell, "show me"), CLI_DONE);
    if (factor >= 50) {
        const size_t settled = blocks.size() / 2;
        EXPECT_EQ(blocks.back(), blocks[settled]);
        EXPECT_LE(bytes.back(), bytes[settled]);
        std::printf("%d sessions, %d turns, %lld calls cancelled, %zu blocks, %zu bytes\n",
                    sessions, turns, static_cast<long long>(waited), blocks.back(), bytes.back());
    }
    for (cli_shell_s *shell : shells)
        cli_shell_free(shell);
    cli_set_free(set);
    EXPECT_EQ(tracked_outstanding(nullptr), blocks_at_first);
}

} // namespace
