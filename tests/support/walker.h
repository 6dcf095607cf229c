#ifndef VARNO_TESTS_WALKER_H
#define VARNO_TESTS_WALKER_H

// Random walks over the commands of a shell: what help lists, Tab completes to and parsing
// takes; what parsing takes, help had listed.

#include "shell.h"

#include <varno/cli_assist.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace varno_test {

class Walker {
  public:
    // root: what lines begin with.
    Walker(const cli_shell_s &shell, const cli_pnode_s *root) : shell_(shell), root_(root) {}

    // From now on they begin elsewhere.
    void start_at(const cli_pnode_s *root) { root_ = root; }

    int64_t steps() const { return steps_; }

    // Goes as help says until a command ends. Returns the line.
    std::string walk()
    {
        std::string line;
        for (int words = 0; words < 40; words++) {
            std::vector<Choice> listed = help(line + (line.empty() ? "" : " "));
            EXPECT_FALSE(listed.empty()) << line;
            std::erase_if(listed, [this](const Choice &one) { return is_unknown(one); });
            if (listed.empty())
                break;
            const Choice &one = listed[random_() % listed.size()];
            if (one.node->type == PNODE_EOLS) {
                EXPECT_EQ(reason(line), CLI_ASSIST_OK) << line;
                break;
            }
            const std::string word = is_label(one) ? word_for(one) : one.text;
            line += line.empty() ? "" : " ";
            check_completion(line, word.substr(0, random_() % (word.size() + 1)));
            line += word;
            steps_++;
            const int32_t now = reason(line);
            EXPECT_TRUE(now == CLI_ASSIST_OK || now == CLI_ASSIST_INCOMPLETE) << line;
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
            cli_assist_parse(root_, &shell_.filter, line.c_str(), &matches, &error) != nullptr;
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
    struct Choice {
        const cli_pnode_s *node;
        std::string text;
    };

    int32_t reason(const std::string &line) const
    {
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error = {};
        cli_assist_parse(root_, &shell_.filter, line.c_str(), &matches, &error);
        cli_match_free(matches);
        return error.reason;
    }

    std::vector<Choice> help(const std::string &line) const
    {
        std::vector<Choice> listed;
        cli_assist_help(
            root_, &shell_.filter, line.c_str(), static_cast<int32_t>(line.size()),
            [](void *ctx, const cli_pnode_s *node, const char *text, const char *) {
                static_cast<std::vector<Choice> *>(ctx)->push_back({node, text});
            },
            &listed);
        return listed;
    }

    bool is_listed(const std::string &before, const cli_pnode_s *node) const
    {
        const std::vector<Choice> listed = help(before);
        return std::any_of(listed.begin(), listed.end(),
                           [node](const Choice &one) { return one.node == node; });
    }

    // An argument's name, not one of its values, which are listed after it.
    static bool is_label(const Choice &one)
    {
        return one.node->type == PNODE_STRING && one.text == one.node->keyword;
    }

    const varno::commands::ArgumentType &type_of(const Choice &one) const
    {
        return shell_.snapshot->graph.types[static_cast<size_t>(one.node->aux_int)];
    }

    // Of a program's own types only values that it lists are known.
    bool is_unknown(const Choice &one) const
    {
        return is_label(one) && type_of(one).kind == varno::commands::TypeKind::registered;
    }

    std::string word_for(const Choice &one)
    {
        using varno::commands::TypeKind;
        const varno::commands::ArgumentType &type = type_of(one);
        switch (type.kind) {
        case TypeKind::range:
            return std::to_string(type.least +
                                  static_cast<int64_t>(random_()) % (type.most - type.least + 1));
        case TypeKind::ip:
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

    // What a word can become, but for the end of the line.
    std::vector<Choice> words(const std::string &line) const
    {
        std::vector<Choice> listed = help(line);
        std::erase_if(listed, [](const Choice &one) { return one.node->type == PNODE_EOLS; });
        return listed;
    }

    // Tab goes as far as all keywords and values agree that help lists for the beginning of a
    // word, and sets a blank after what can be nothing else.
    void check_completion(const std::string &before, const std::string &begun) const
    {
        std::vector<Choice> listed = words(before + begun);
        std::erase_if(listed, is_label);
        std::string agreed = listed.empty() ? begun : listed[0].text;
        for (const Choice &one : listed) {
            const auto differ =
                std::mismatch(agreed.begin(), agreed.end(), one.text.begin(), one.text.end());
            agreed.erase(differ.first, agreed.end());
        }
        const std::vector<Choice> whole = words(before + agreed);
        const auto is_only = [&](const Choice &one) { return one.node == listed[0].node; };
        if (listed.size() == 1 && std::all_of(whole.begin(), whole.end(), is_only))
            agreed += " ";
        cli_assist_completion_s completion;
        const std::string line = before + begun;
        cli_assist_complete(root_, &shell_.filter, line.c_str(), static_cast<int32_t>(line.size()),
                            &completion);
        EXPECT_EQ(begun + completion.insert, agreed) << "after \"" << before << "\"";
    }

    const cli_shell_s &shell_;
    const cli_pnode_s *root_;
    std::mt19937 random_{11};
    int64_t steps_ = 0;
};

} // namespace varno_test

#endif
