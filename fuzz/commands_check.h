#ifndef VARNO_FUZZ_COMMANDS_CHECK_H
#define VARNO_FUZZ_COMMANDS_CHECK_H

// A device of some definitions, with a batch and a session. Of each line help, completion,
// check and run have to agree.

#include <deque>
#include <set>
#include <string>
#include <string_view>

#include "finding.h"
#include "notation_check.h"
#include "shell.h"

namespace varno_fuzz {

class CommandsCheck {
  public:
    // Definitions, a line each. "---" begins a mode, the child of the one before; ">" before
    // a syntax enters the next mode; a digit and ":" before it are its level.
    explicit CommandsCheck(std::string_view text) : set_(cli_set_create())
    {
        add_modes(text);
        cli_set_add_type(set_, nullptr, &interface_type);
        is_built_ = cli_set_build(set_, require_place, nullptr) == 0;
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.level = 5;
        config.user = &runs_;
        batch_ = cli_shell_create(&config);
        const tsession_config_s terminal = TSESSION_CONFIG_INIT;
        config.session = &terminal;
        session_ = cli_shell_create(&config);
    }

    ~CommandsCheck()
    {
        cli_shell_free(session_);
        cli_shell_free(batch_);
        cli_set_free(set_);
    }

    CommandsCheck(const CommandsCheck &) = delete;
    CommandsCheck &operator=(const CommandsCheck &) = delete;

    bool is_built() const { return is_built_; }

    void run(const std::string &line, int fail_after)
    {
        if (line.size() > CLI_ASSIST_MAX_LINE)
            return;
        check_words(line);
        cli_shell_check(batch_, nullptr, nullptr);
        const int32_t reason = cli_shell_check(batch_, line.c_str(), nullptr);
        tracked_fail_after(fail_after > 0 ? fail_after : -1);
        const int before = runs_;
        const int32_t result = cli_shell_run(batch_, line.c_str());
        tracked_fail_after(-1);
        FUZZ_REQUIRE(runs_ - before <= 1);
        FUZZ_REQUIRE(result == CLI_DONE || result == CLI_FAILED);
        FUZZ_REQUIRE(runs_ == before || reason == CLI_ASSIST_OK);
        FUZZ_REQUIRE((result == CLI_DONE) == (reason == CLI_ASSIST_OK) || fail_after > 0 ||
                     runs_ == before);
    }

    void type(std::string_view keys)
    {
        tsession_s *s = cli_shell_session(session_);
        tsession_start(s);
        tsession_input(s, keys.data(), keys.size());
        while (tsession_wait(s) == 0)
            tsession_time_out(s);
    }

  private:
    void add_modes(std::string_view text)
    {
        size_t mode = 0;
        cli_set_add_mode(set_, nullptr, &modes[0]);
        for (std::string line : lines_of(text)) {
            if (line == "---") {
                if (mode + 1 < std::size(modes))
                    cli_set_add_mode(set_, nullptr, &modes[++mode]);
                continue;
            }
            cli_command_s row = {};
            if (line.size() > 1 && line[1] == ':') {
                row.level = line[0] & 15;
                line.erase(0, 2);
            }
            if (!line.empty() && line[0] == '>' && mode + 1 < std::size(modes)) {
                row.enters = modes[mode + 1].name;
                line.erase(0, 1);
            }
            syntaxes_.push_back(line);
            row.syntax = syntaxes_.back().c_str();
            row.help = "help";
            row.run = count;
            rows_.push_back(row);
            cli_set_add(set_, nullptr, modes[mode].name, &rows_.back(), 1);
        }
    }

    static int32_t count(cli_call_s *call, void *)
    {
        ++*static_cast<int *>(cli_shell_user(cli_call_shell(call)));
        for (const char *name : {"A", "NAME", "N", "a", "b"}) {
            if (is_name(call, name)) {
                cli_has(call, name);
                cli_number(call, name);
                cli_address(call, name, nullptr, nullptr);
                cli_print(call, "%zu %s\n", cli_count(call, name), cli_line(call));
            }
        }
        return CLI_DONE;
    }

    // An argument's name that the syntax has as a word.
    static bool is_name(const cli_call_s *call, const char *name)
    {
        const std::string syntax = std::string(" ") + call->row->command->syntax + " ";
        return syntax.find(" " + std::string(name) + " ") != syntax.npos;
    }

    static void require_place(void *, const cli_finding_s *finding)
    {
        FUZZ_REQUIRE(finding->column >= 0);
        FUZZ_REQUIRE(finding->column <= static_cast<int>(std::strlen(finding->syntax)));
        FUZZ_REQUIRE(*finding->text != '\0');
    }

    static void list_values(void *, cli_shell_s *, const char *, cli_assist_value_fn value,
                            void *ctx)
    {
        for (const char *text : {"eth0", "eth1", "a"})
            value(ctx, text, nullptr);
    }

    const cli_pnode_s *root() const
    {
        return varno::commands::root_of(batch_->snapshot, varno::commands::mode_of(batch_->modes),
                                        batch_->level);
    }

    std::set<std::string> choices(const std::string &line) const
    {
        std::set<std::string> texts;
        cli_assist_help(
            root(), &batch_->filter, line.c_str(), static_cast<int32_t>(line.size()),
            [](void *user, const cli_pnode_s *, const char *text, const char *) {
                static_cast<std::set<std::string> *>(user)->insert(text);
            },
            &texts);
        return texts;
    }

    // What parsing takes, help had listed; a keyword that help lists may be typed.
    void check_words(const std::string &line) const
    {
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        cli_assist_parse(root(), &batch_->filter, line.c_str(), &matches, &error);
        for (const cli_pmatch_s *word = matches; word; word = word->next) {
            const std::string before = line.substr(0, static_cast<size_t>(word->pos));
            const std::set<std::string> listed = choices(before);
            const bool is_value = word->node->type == PNODE_STRING;
            FUZZ_REQUIRE(is_value || listed.count(word->node->keyword) == 1);
            FUZZ_REQUIRE(!listed.empty());
        }
        cli_match_free(matches);
        cli_assist_completion_s completion;
        cli_assist_complete(root(), &batch_->filter, line.c_str(),
                            static_cast<int32_t>(line.size()), &completion);
    }

    static constexpr cli_type_s interface_type = {"interface", "an interface", nullptr, list_values,
                                                  nullptr};
    static constexpr cli_mode_s modes[] = {
        {"exec", nullptr, "%h> ", 0, nullptr, nullptr},
        {"configure", "exec", "%h(config)# ", CLI_DO, nullptr, nullptr},
        {"interface", "configure", "%h(%NAME)# ", CLI_DO | CLI_INHERITS, nullptr, nullptr},
    };

    cli_set_s *set_;
    bool is_built_ = false;
    int runs_ = 0;
    std::deque<std::string> syntaxes_;
    std::deque<cli_command_s> rows_;
    cli_shell_s *batch_ = nullptr;
    cli_shell_s *session_ = nullptr;
};

} // namespace varno_fuzz

#endif
