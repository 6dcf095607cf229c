#ifndef VARNO_TESTS_MODES_MODEL_H
#define VARNO_TESTS_MODES_MODEL_H

// The plain interpreter of definitions with what modes, levels and filters add to it, a device of
// the same rows, and an author of both.

#include "command_model.h"
#include "shell.h"

#include <varno/commands.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace varno_test {

// The second has "do", the third that and the second's commands.
inline constexpr cli_mode_s modes[] = {
    {"exec", nullptr, nullptr, 0, nullptr, nullptr},
    {"conf", "exec", nullptr, CLI_DO, nullptr, nullptr},
    {"sub", "conf", nullptr, CLI_DO | CLI_INHERITS, nullptr, nullptr},
};
inline constexpr int mode_count = static_cast<int>(std::size(modes));

struct RowInMode {
    std::string syntax;
    int mode;
    int level;
    bool enters; // the next mode
    bool is_unpiped;
};

// The numbers of what modes have by themselves.
enum { exit_command = -2, end_command = -3 };

inline PartRef part_of(const std::string &notation)
{
    return Parser(notation).read();
}

inline PartRef group(char kind, std::vector<PartRef> parts)
{
    return std::make_shared<Part>(Part{kind, "", "", false, std::move(parts)});
}

// "[| filter ...]", with as many filters as may still come; after json few are left.
inline PartRef pipe_of(int filters, bool is_json)
{
    if (filters == 0)
        return group('s', {});
    const PartRef more = pipe_of(filters - 1, is_json);
    std::vector<PartRef> alternatives = {group('s', {part_of("no-more"), more}),
                                         part_of("save NAME [force]")};
    for (const char *filter : {"include PATTERN(pattern)", "exclude PATTERN(pattern)",
                               "begin PATTERN(pattern)", "section PATTERN(pattern)", "count"}) {
        if (!is_json)
            alternatives.push_back(group('s', {part_of(filter), more}));
    }
    if (!is_json)
        alternatives.push_back(group('s', {part_of("json"), pipe_of(filters - 1, true)}));
    const auto bar = std::make_shared<Part>(Part{'k', "|", "", false, {}});
    return group('[', {group('s', {bar, group('<', std::move(alternatives))})});
}

// Of commands with the same words the first one is there: the others' ends and filters are not.
inline std::vector<Next> next_of(const std::vector<Thread> &threads)
{
    std::vector<Next> all = Model::next(threads);
    const auto end =
        std::find_if(all.begin(), all.end(), [](const Next &one) { return !one.word; });
    if (end == all.end())
        return all;
    const int first = end->thread.definition;
    std::erase_if(all, [first](const Next &one) {
        return (!one.word || one.word->text == "|") && one.thread.definition != first;
    });
    return all;
}

inline std::set<std::string> choices_of(const std::vector<Next> &all)
{
    std::set<std::string> texts;
    for (const Next &one : Model::possible(all))
        texts.insert(one.word ? one.word->text : "<cr>");
    return texts;
}

class ModesModel {
  public:
    explicit ModesModel(const std::vector<RowInMode> &definitions) : definitions_(definitions)
    {
        const PartRef pipe = pipe_of(4, false);
        for (const RowInMode &one : definitions_)
            pipes_.push_back(one.is_unpiped || one.enters ? group('s', {}) : pipe);
    }

    // What a line may begin with, in the order in which equal words are preferred.
    std::vector<Thread> start(int mode, int level) const
    {
        std::vector<Thread> threads;
        add_own(threads, mode, level);
        if (mode > 0)
            threads.push_back({exit_command, false, {{part_of("exit")}}, ""});
        if (mode > 0)
            threads.push_back({end_command, false, {{part_of("end")}}, ""});
        if ((modes[mode].flags & CLI_INHERITS) != 0)
            add_own(threads, mode - 1, level);
        if ((modes[mode].flags & CLI_DO) != 0) {
            std::vector<Thread> first;
            add_own(first, 0, level);
            for (Thread &thread : first) {
                thread.rest.push_back({part_of("do")});
                thread.is_done_here = true;
                threads.push_back(thread);
            }
        }
        return threads;
    }

    // "command in mode", or "reason at index".
    std::string run(const std::vector<std::string> &words, int &mode, int level) const
    {
        std::vector<Thread> threads = start(mode, level);
        size_t at = 0;
        for (const std::string &word : words) {
            const std::vector<Next> all = next_of(threads);
            std::string key;
            const int reason = Model::decide(all, word, key);
            if (reason != CLI_ASSIST_OK)
                return std::to_string(reason) + " at " + std::to_string(at);
            threads = Model::follow(all, key, word);
            at += word.size() + 1;
        }
        for (const Next &one : Model::possible(next_of(threads))) {
            if (!one.word) {
                move(one.thread, mode);
                return std::to_string(one.thread.definition) + " in " + modes[mode].name;
            }
        }
        return std::to_string(CLI_ASSIST_INCOMPLETE) + " at " + std::to_string(at - 1);
    }

  private:
    void add_own(std::vector<Thread> &threads, int mode, int level) const
    {
        for (size_t i = 0; i < definitions_.size(); i++) {
            const RowInMode &one = definitions_[i];
            if (one.mode != mode || one.level > level)
                continue;
            const auto number = static_cast<int>(i);
            const bool is_negatable = one.syntax.compare(0, 5, "[no] ") == 0;
            const PartRef part = part_of(one.syntax.substr(is_negatable ? 5 : 0));
            threads.push_back({number, false, {{pipes_[i]}, {part}}, ""});
            if (is_negatable)
                threads.push_back({number, true, {{pipes_[i]}, {part}, {part_of("no")}}, ""});
        }
    }

    void move(const Thread &thread, int &mode) const
    {
        if (thread.definition == exit_command) {
            mode--;
        } else if (thread.definition == end_command) {
            mode = 0;
        } else {
            const RowInMode &one = definitions_[static_cast<size_t>(thread.definition)];
            if (one.enters || !thread.is_done_here)
                mode = one.mode + (one.enters ? 1 : 0);
        }
    }

    std::vector<RowInMode> definitions_;
    std::vector<PartRef> pipes_;
};

// The library's side.

inline int32_t note_call(cli_call_s *call, void *user)
{
    *static_cast<int *>(cli_shell_user(cli_call_shell(call))) = *static_cast<const int *>(user);
    return CLI_DONE;
}

inline const cli_save_s nowhere = {
    nullptr,
    [](cli_shell_s *shell, void *, const char *, int32_t, const char **) -> void * {
        return shell;
    },
    [](void *, const char *, size_t, const char **) -> int32_t { return 0; },
    [](void *, int32_t, const char **) -> int32_t { return 0; },
};

class ModesDevice {
  public:
    explicit ModesDevice(const std::vector<RowInMode> &definitions)
    {
        for (const cli_mode_s &mode : modes)
            cli_set_add_mode(set_, nullptr, &mode);
        for (const RowInMode &one : definitions) {
            syntaxes_.push_back(one.syntax);
            numbers_.push_back(static_cast<int>(numbers_.size()));
            cli_command_s row = {};
            row.syntax = syntaxes_.back().c_str();
            row.help = "help";
            row.run = note_call;
            row.enters = one.enters ? modes[one.mode + 1].name : nullptr;
            row.level = one.level;
            row.flags = one.is_unpiped ? CLI_UNPIPED : 0;
            row.user = &numbers_.back();
            rows_.push_back(row);
            cli_set_add(set_, nullptr, modes[one.mode].name, &rows_.back(), 1);
        }
        errors_ = cli_set_build(set_, nullptr, nullptr);
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.user = &number_;
        config.save = &nowhere;
        shell_ = cli_shell_create(&config);
    }

    ~ModesDevice()
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
    }

    ModesDevice(const ModesDevice &) = delete;
    ModesDevice &operator=(const ModesDevice &) = delete;

    int errors() const { return errors_; }
    cli_set_s *set() const { return set_; }
    cli_shell_s *shell() const { return shell_; }

    std::string run(const std::string &line)
    {
        cli_assist_error_s error;
        cli_shell_check(shell_, nullptr, nullptr);
        if (cli_shell_check(shell_, line.c_str(), &error) != CLI_ASSIST_OK)
            return std::to_string(error.reason) + " at " + std::to_string(error.at);
        const size_t at = line.find_first_not_of(' ');
        number_ = line.compare(at, 2, "en") == 0 ? end_command : exit_command;
        EXPECT_EQ(cli_shell_run(shell_, line.c_str()), CLI_DONE) << line;
        return std::to_string(number_) + " in " + cli_shell_mode(shell_);
    }

    std::set<std::string> choices(const std::string &line) const
    {
        std::set<std::string> texts;
        cli_assist_help(
            varno::commands::root_of(shell_->snapshot, varno::commands::mode_of(shell_->modes),
                                     shell_->level),
            &shell_->filter, line.c_str(), static_cast<int32_t>(line.size()),
            [](void *user, const cli_pnode_s *, const char *text, const char *) {
                static_cast<std::set<std::string> *>(user)->insert(text);
            },
            &texts);
        return texts;
    }

  private:
    std::deque<std::string> syntaxes_;
    std::deque<int> numbers_;
    std::deque<cli_command_s> rows_;
    cli_set_s *set_ = cli_set_create();
    cli_shell_s *shell_ = nullptr;
    int errors_ = -1;
    int number_ = 0;
};

// Of shells; rows have 0, 5 and 6.
inline constexpr int levels[] = {0, 4, 5, 6};

// Rows that can stand together.
inline std::vector<RowInMode> random_rows(Author &author)
{
    std::vector<RowInMode> rows;
    for (int i = 0; i < 9; i++) {
        const int mode = i % mode_count;
        const bool enters = i < mode_count - 1; // there is a way into each
        const int level = enters || author.below(3) ? 0 : 5 + author.below(2);
        rows.push_back({author.definition(), mode, level, enters, author.below(4) == 0});
        if (ModesDevice(rows).errors() > 0)
            rows.pop_back();
    }
    return rows;
}

// A walk along the model, checking at each word what help lists.
inline std::vector<std::string> walk(Author &author, std::vector<Thread> threads,
                                     const ModesDevice &device)
{
    std::vector<std::string> words;
    for (int steps = 0; steps < 14; steps++) {
        const std::string before = joined(words) + (words.empty() ? "" : " ");
        const std::vector<Next> all = next_of(threads);
        EXPECT_EQ(device.choices(before), choices_of(all)) << before;
        const std::vector<Next> possible = Model::possible(all);
        if (possible.empty())
            break; // a first mode without a row, or it went on by an option that was given
        const Next &one = possible[static_cast<size_t>(author.below(possible.size()))];
        if (!one.word)
            break;
        words.push_back(author.word_for(*one.word));
        std::string key;
        if (Model::decide(all, words.back(), key) != CLI_ASSIST_OK)
            break;
        threads = Model::follow(all, key, words.back());
    }
    return words;
}

} // namespace varno_test

#endif
