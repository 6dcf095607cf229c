// Random walks over generated definitions: what help lists, Tab completes to and parsing
// takes; what parsing takes, help had listed.

#include "bench/definitions.h"
#include "modes.h"
#include "shell.h"
#include "support/long_tests.h"

#include <varno/commands.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno::commands::ArgumentType;
using varno::commands::TypeKind;

struct Choice {
    const cli_pnode_s *node;
    std::string text;
};

class Walker {
  public:
    explicit Walker(int count) : definitions_(count, run)
    {
        const auto &rows = definitions_.rows();
        cli_set_add(set_, nullptr, nullptr, rows.data(), rows.size());
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        shell_ = cli_shell_create(&config);
    }

    ~Walker()
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
    }

    Walker(const Walker &) = delete;
    Walker &operator=(const Walker &) = delete;

    // Goes as help says until a command ends. Returns the line.
    std::string walk()
    {
        std::string line;
        for (int steps = 0; steps < 40; steps++) {
            const std::vector<Choice> listed = help(line);
            EXPECT_FALSE(listed.empty()) << line;
            if (listed.empty())
                break;
            const Choice &one = listed[random_() % listed.size()];
            if (one.node->type == PNODE_EOLS) {
                EXPECT_EQ(reason(line), CLI_ASSIST_OK) << line;
                break;
            }
            const std::string word = word_for(one);
            complete(line, word, one);
            line += (line.empty() ? "" : " ") + word;
            const int32_t now = reason(line);
            EXPECT_TRUE(now == CLI_ASSIST_OK || now == CLI_ASSIST_INCOMPLETE) << line;
            line += " ";
            line.pop_back();
        }
        return line;
    }

    // One character is another, is left out or comes twice.
    std::string mutated(std::string line)
    {
        if (line.empty())
            return line;
        const size_t at = random_() % line.size();
        switch (random_() % 3) {
        case 0:
            line.erase(at, 1);
            break;
        case 1:
            line.insert(at, 1, line[at]);
            break;
        default:
            line[at] = "a1 .:/-g"[random_() % 8];
        }
        return line;
    }

    // Whatever words of a line are taken, help had listed. Returns whether all are.
    bool check_listed(const std::string &line)
    {
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        const bool is_taken =
            cli_assist_parse(root(), &shell_->filter, line.c_str(), &matches, &error) != nullptr;
        for (const cli_pmatch_s *word = matches; word; word = word->next) {
            const bool is_end = word->node->type == PNODE_EOLS;
            const std::string before =
                is_end ? line + " " : line.substr(0, static_cast<size_t>(word->pos));
            EXPECT_TRUE(is_listed(before, word->node)) << line << ": " << word->token;
        }
        cli_match_free(matches);
        return is_taken;
    }

  private:
    static int32_t run(cli_call_s *, void *) { return CLI_DONE; }

    const cli_pnode_s *root() const
    {
        return varno::commands::root_of(shell_->snapshot, 0, shell_->level);
    }

    int32_t reason(const std::string &line)
    {
        cli_assist_error_s error;
        return cli_shell_check(shell_, line.c_str(), &error);
    }

    std::vector<Choice> help(const std::string &before)
    {
        std::vector<Choice> listed;
        const std::string line = before.empty() || before.back() == ' ' ? before : before + " ";
        cli_assist_help(
            root(), &shell_->filter, line.c_str(), static_cast<int32_t>(line.size()),
            [](void *ctx, const cli_pnode_s *node, const char *text, const char *) {
                static_cast<std::vector<Choice> *>(ctx)->push_back({node, text});
            },
            &listed);
        return listed;
    }

    bool is_listed(const std::string &before, const cli_pnode_s *node)
    {
        for (const Choice &one : help(before)) {
            if (one.node == node)
                return true;
        }
        return false;
    }

    // The whole keyword, what stands before its last characters, or a value of the type.
    std::string word_for(const Choice &choice)
    {
        if (choice.node->type == PNODE_KEYWORD)
            return choice.text;
        const auto &types = shell_->snapshot->graph.types;
        const ArgumentType &type = types[static_cast<size_t>(choice.node->aux_int)];
        switch (type.kind) {
        case TypeKind::range:
            return std::to_string(type.least +
                                  static_cast<int64_t>(random_()) % (type.most - type.least + 1));
        case TypeKind::ipv4:
            return "10.0.0." + std::to_string(random_() % 256);
        case TypeKind::ip_prefix:
            return random_() % 2 ? "10.0.0.0/8" : "fe80::/10";
        case TypeKind::ipv6:
            return "2001:db8::" + std::to_string(random_() % 9999);
        case TypeKind::mac:
            return "00:1a:2b:3c:4d:5e";
        case TypeKind::hex:
            return "0x" + std::to_string(random_());
        default:
            return "zz" + std::to_string(random_() % 100);
        }
    }

    // Tab after the beginning of a word that is listed makes a beginning of it; a word that
    // it ends with a blank is one that parsing takes.
    void complete(const std::string &before, const std::string &word, const Choice &choice)
    {
        const std::string begun =
            (before.empty() ? "" : before + " ") + word.substr(0, 1 + random_() % word.size());
        cli_assist_completion_s completion;
        cli_assist_complete(root(), &shell_->filter, begun.c_str(),
                            static_cast<int32_t>(begun.size()), &completion);
        const std::string completed = begun + completion.insert;
        const bool is_whole = completed.back() == ' ' && completed.size() > begun.size();
        if (is_whole) {
            const int32_t now = reason(completed);
            EXPECT_TRUE(now == CLI_ASSIST_OK || now == CLI_ASSIST_INCOMPLETE) << completed;
        } else if (choice.node->type == PNODE_KEYWORD) {
            EXPECT_TRUE(help(completed.substr(0, completed.rfind(' ') + 1)).size() > 0);
        }
    }

    varno_bench::Definitions definitions_;
    cli_set_s *set_ = cli_set_create();
    cli_shell_s *shell_ = nullptr;
    std::mt19937 random_{11};
};

TEST(CommandsWalk, HelpTabAndParsingAgree)
{
    Walker walker(600);
    const int walks = 1000 * varno_test::long_tests_factor();
    int taken = 0;
    int refused = 0;
    for (int i = 0; i < walks && !testing::Test::HasFailure(); i++) {
        const std::string line = walker.walk();
        EXPECT_TRUE(walker.check_listed(line)) << line;
        (walker.check_listed(walker.mutated(line)) ? taken : refused)++;
    }
    EXPECT_GT(taken, walks / 20);
    EXPECT_GT(refused, walks / 20);
    std::printf("%d walks; with a character changed %d taken, %d refused\n", walks, taken, refused);
}

} // namespace
