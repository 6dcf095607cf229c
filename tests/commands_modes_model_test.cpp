// The same for modes, levels and filters: random rows in three modes, lines that go from one
// to another, against the interpreter with what the modes add to it.

#include "support/long_tests.h"
#include "support/modes_model.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
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

// A person of level 0 at a device's session.
class Person {
  public:
    explicit Person(const std::vector<RowInMode> &rows) : device_(rows)
    {
        tsession_config_s terminal = TSESSION_CONFIG_INIT;
        terminal.is_unpaged = 1;
        terminal.user = &sent_;
        terminal.output = [](tsession_s *, void *sent, const char *bytes, size_t count) {
            static_cast<std::string *>(sent)->append(bytes, count);
        };
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = device_.set();
        config.session = &terminal;
        config.user = &number_;
        shell_ = cli_shell_create(&config);
        tsession_start(cli_shell_session(shell_));
    }
    ~Person() { cli_shell_free(shell_); }
    Person(const Person &) = delete;
    Person &operator=(const Person &) = delete;

    std::string type(const std::string &keys)
    {
        tsession_s *session = cli_shell_session(shell_);
        sent_.clear();
        tsession_input(session, keys.data(), keys.size());
        while (tsession_wait(session) == 0)
            tsession_time_out(session);
        return sent_ + cli_shell_mode(shell_);
    }

    std::string reference(const char *format, uint64_t seed) const
    {
        std::string text;
        const auto append = [](void *out, const char *bytes, size_t count) {
            static_cast<std::string *>(out)->append(bytes, count);
        };
        EXPECT_EQ(cli_set_describe(device_.set(), 0, format, seed, append, &text), 0);
        return text;
    }

  private:
    ModesDevice device_;
    std::string sent_;
    int number_ = 0;
    cli_shell_s *shell_ = nullptr;
};

// Words of some row, whole or begun, fitting or not, and the key after them.
std::string random_keys(Author &author, const std::vector<RowInMode> &rows)
{
    const char *const ends[] = {"?\x15", " ?\x15", "\t\x15", "\t\t\x15", "\r", "\r", "\x10\x15"};
    const char *const prefixes[] = {"", "", "", "do ", "no ", "exit ", "end "};
    std::string line = prefixes[author.below(std::size(prefixes))];
    const std::string &syntax = rows[static_cast<size_t>(author.below(rows.size()))].syntax;
    const int stop = author.below(24);
    for (size_t at = 0; at < syntax.size() && static_cast<int>(at) < stop;) {
        const size_t len = std::max(std::strcspn(syntax.c_str() + at, " []<>{}|!()."), size_t{1});
        const std::string word = syntax.substr(at, len);
        at += len;
        if (std::isalnum(static_cast<unsigned char>(word[0])) == 0)
            continue;
        const bool is_argument = std::isupper(static_cast<unsigned char>(word[0])) != 0;
        if (is_argument)
            line += author.below(2) ? "free " : std::to_string(author.below(40)) + " ";
        else if (author.below(3))
            line += word.substr(0, author.below(2) ? word.size() : 1) + " ";
    }
    if (!line.empty() && author.below(4))
        line.pop_back();
    return line + ends[author.below(std::size(ends))];
}

TEST(CommandsModesModel, RowsAboveALevelLeaveEveryScreenAsItIs)
{
    Author author(150);
    int lines = 0;
    size_t higher = 0;
    for (int d = 0; d < 25 * varno_test::long_tests_factor() && !HasFailure(); d++) {
        std::vector<RowInMode> low = random_rows(author);
        for (RowInMode &row : low)
            row.level = 0;
        std::vector<RowInMode> all = low;
        for (int i = 0; i < 9; i++) {
            const int mode = author.below(mode_count);
            const RowInMode row = {author.definition(), mode, 1 + author.below(15),
                                   mode + 1 < mode_count && author.below(4) == 0,
                                   author.below(4) == 0};
            std::vector<RowInMode> more = all;
            more.insert(more.begin() + author.below(more.size() + 1), row);
            if (ModesDevice(more).errors() == 0)
                all = std::move(more);
        }
        higher += all.size() - low.size();
        if (ModesDevice(low).errors() != 0)
            continue; // rows of several levels had the same words
        Person without(low);
        Person with(all);
        for (const char *format : {"markdown", "man", "json", "walk"})
            EXPECT_EQ(with.reference(format, 7), without.reference(format, 7)) << format;
        for (int i = 0; i < 60 && !HasFailure(); i++, lines++) {
            const std::string keys = random_keys(author, all);
            EXPECT_EQ(with.type(keys), without.type(keys)) << keys;
        }
    }
    EXPECT_GT(lines, 600);
    EXPECT_GT(higher, 50U);
    std::printf("%d lines, %zu rows above\n", lines, higher);
}

} // namespace
