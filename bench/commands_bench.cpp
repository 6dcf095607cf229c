// Definitions of commands: lines parsed with and without the filter of libvarno-commands, an
// operation is a line; a large set built, an operation is a definition.

#include "acts.h"
#include "definitions.h"
#include "host.h"

#include "modes.h"
#include "set.h"
#include "shell.h"

#include <varno/commands.h>

#include <iterator>

namespace varno_bench {
namespace {

int32_t run_nothing(cli_call_s *, void *)
{
    return CLI_DONE;
}

cli_command_s command(const char *syntax)
{
    cli_command_s row = {};
    row.syntax = syntax;
    row.help = "help";
    row.run = run_nothing;
    return row;
}

const cli_command_s rows[] = {
    command("show interface counters"),
    command("show interface brief"),
    command("show route summary"),
    command("clear interface counters"),
    command("route NET(ip/) via GATEWAY(ip) distance DISTANCE(1-255)"),
    command("vlan VLAN(1-4094) mac MAC(mac) port PORT(0-65535)"),
};

const char *const plain_lines[] = {"show interface counters", "sh int br", "show route summary",
                                   "cl int count"};
const char *const typed_lines[] = {"route 10.0.0.0/8 via 192.168.1.1 distance 20",
                                   "route 2001:db8::/32 via fe80::1 distance 255",
                                   "vlan 4094 mac 00:1a:2b:3c:4d:5e port 8080"};

// One parse of each line by the graph of a set.
class LinesAct : public Act {
  public:
    LinesAct(std::span<const char *const> lines, bool is_filtered)
        : lines_(lines), is_filtered_(is_filtered)
    {
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        cli_set_add(set_, nullptr, nullptr, rows, std::size(rows));
        if (cli_set_build(set_, nullptr, nullptr) != 0 || !(shell_ = cli_shell_create(&config)))
            give_up("a set");
        operations = static_cast<int64_t>(lines_.size());
        allocates = true;
    }

    ~LinesAct() override
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
    }

    void run() override
    {
        const cli_pnode_s *root = varno::commands::root_of(shell_->snapshot, 0, 0);
        for (const char *line : lines_) {
            cli_pmatch_s *matches = nullptr;
            cli_assist_error_s error;
            is_refused_ |= !cli_assist_parse(root, is_filtered_ ? &shell_->filter : nullptr, line,
                                             &matches, &error);
            cli_match_free(matches);
        }
    }

    const char *problem() override { return is_refused_ ? "a line was refused" : nullptr; }

  private:
    std::span<const char *const> lines_;
    bool is_filtered_;
    bool is_refused_ = false;
    cli_set_s *set_ = cli_set_create();
    cli_shell_s *shell_ = nullptr;
};

class BuildAct : public Act {
  public:
    BuildAct()
    {
        operations = static_cast<int64_t>(definitions_.rows().size());
        allocates = true;
        cli_set_add(set_, nullptr, nullptr, definitions_.rows().data(), definitions_.rows().size());
    }

    ~BuildAct() override { cli_set_free(set_); }

    void run() override { errors_ = cli_set_build(set_, nullptr, nullptr); }
    const char *problem() override { return errors_ == 0 ? nullptr : "the set was not built"; }

  private:
    Definitions definitions_{4400, run_nothing};
    cli_set_s *set_ = cli_set_create();
    int32_t errors_ = -1;
};

// clang-format off
const ActRow acts[] = {
    {"commands/plain_lines_without",
     [] { return std::unique_ptr<Act>(new LinesAct(plain_lines, false)); }},
    {"commands/plain_lines",
     [] { return std::unique_ptr<Act>(new LinesAct(plain_lines, true)); }},
    {"commands/typed_lines_without",
     [] { return std::unique_ptr<Act>(new LinesAct(typed_lines, false)); }},
    {"commands/typed_lines",
     [] { return std::unique_ptr<Act>(new LinesAct(typed_lines, true)); }},
    {"commands/build_4400", [] { return std::unique_ptr<Act>(new BuildAct); }},
};
// clang-format on

const Topic topic(acts);

} // namespace
} // namespace varno_bench
