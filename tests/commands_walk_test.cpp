// Random walks over generated definitions: what help lists, Tab completes to and parsing
// takes; what parsing takes, help had listed.

#include "bench/definitions.h"
#include "support/long_tests.h"
#include "support/walker.h"

#include <varno/commands.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace {

using varno_test::Walker;

int32_t run(cli_call_s *, void *)
{
    return CLI_DONE;
}

TEST(CommandsWalk, HelpTabAndParsingAgree)
{
    const varno_bench::Definitions definitions(600, run);
    cli_set_s *set = cli_set_create();
    cli_set_add(set, nullptr, nullptr, definitions.rows().data(), definitions.rows().size());
    EXPECT_EQ(cli_set_build(set, nullptr, nullptr), 0);
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set;
    cli_shell_s *shell = cli_shell_create(&config);

    Walker walker(*shell, varno::commands::root_of(shell->snapshot, 0, 0));
    const int walks = 400 * varno_test::long_tests_factor();
    int taken = 0;
    int refused = 0;
    for (int i = 0; i < walks && !testing::Test::HasFailure(); i++) {
        const std::string line = walker.walk();
        EXPECT_TRUE(walker.check_listed(line)) << line;
        (walker.check_listed(walker.mutated(line)) ? taken : refused)++;
    }
    EXPECT_GT(taken, walks / 20);
    EXPECT_GT(refused, walks / 20);
    std::printf("%lld steps; with a character changed %d taken, %d refused\n",
                static_cast<long long>(walker.steps()), taken, refused);
    cli_shell_free(shell);
    cli_set_free(set);
}

} // namespace
