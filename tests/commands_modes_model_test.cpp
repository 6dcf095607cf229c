// The same for modes, levels and filters: random rows in three modes, lines that go from one
// to another, against the interpreter with what the modes add to it.

#include "support/long_tests.h"
#include "support/modes_model.h"

#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace varno_test;

TEST(CommandsModesModel, AgreesOnModesLevelsAndFilters)
{
    Author author(15);
    int run = 0;
    int refused = 0;
    int moved = 0;
    int piped = 0;
    const int devices = 60 * varno_test::long_tests_factor();
    for (int d = 0; d < devices && !testing::Test::HasFailure(); d++) {
        const std::vector<RowInMode> rows = random_rows(author);
        const ModesModel model(rows);
        ModesDevice device(rows);
        ASSERT_EQ(device.errors(), 0);
        int mode = 0;
        for (int i = 0; i < 80 && !testing::Test::HasFailure(); i++) {
            const int level = author.below(8) == 0 ? levels[author.below(std::size(levels))]
                                                   : device.shell()->level;
            mode = level < device.shell()->level ? 0 : mode;
            cli_shell_set_level(device.shell(), level);
            std::vector<std::string> words = walk(author, model.start(mode, level), device);
            if (i % 2 == 1)
                mutate(author, words);
            if (words.empty())
                continue;
            const int before = mode;
            const std::string line = joined(words);
            const std::string expected = model.run(words, mode, level);
            std::string all;
            for (const RowInMode &one : rows)
                all += std::string(modes[one.mode].name) + (one.enters ? "> " : ": ") + one.syntax +
                       (one.level > 0 ? " (5)\n" : "\n");
            EXPECT_EQ(device.run(line), expected)
                << line << " in " << modes[before].name << " at " << level << "\n"
                << all;
            const bool is_run = expected.find(" in ") != expected.npos;
            (is_run ? run : refused)++;
            moved += before != mode ? 1 : 0;
            piped += is_run && line.find(" | ") != line.npos ? 1 : 0;
        }
    }
    EXPECT_GT(run, devices * 10);
    EXPECT_GT(refused, devices * 10);
    EXPECT_GT(moved, devices);
    EXPECT_GT(piped, devices);
    std::printf("%d run, %d moved, %d with filters, %d refused\n", run, moved, piped, refused);
}

} // namespace
