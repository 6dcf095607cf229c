// Definitions of commands: lines parsed with and without the filter of libvarno-commands, an
// operation is a line; a large set built, an operation is a definition.

#include "acts.h"
#include "definitions.h"
#include "host.h"

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
        if (cli_set_build(set_, nullptr, nullptr) != 0 ||
            !(shell_ = cli_shell_prepare(&config, &session_)))
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
        for (const char *line : lines_) {
            cli_pmatch_s *matches = nullptr;
            cli_assist_error_s error;
            is_refused_ |= !cli_assist_parse(
                session_.graph, is_filtered_ ? session_.filter : nullptr, line, &matches, &error);
            cli_match_free(matches);
        }
    }

    const char *problem() override { return is_refused_ ? "a line was refused" : nullptr; }

  private:
    std::span<const char *const> lines_;
    bool is_filtered_;
    bool is_refused_ = false;
    cli_set_s *set_ = cli_set_create();
    tsession_config_s session_ = TSESSION_CONFIG_INIT; // with the graph and the filter
    cli_shell_s *shell_ = nullptr;
};

// Rows of output by a batch's command, an operation is a row.
constexpr int64_t rows_a_call = 1000;

int32_t print_rows(cli_call_s *call, void *)
{
    for (int64_t i = 0; i < rows_a_call; i++)
        cli_print(call, "10.0.%d.0/24 via 192.168.1.1 dev eth0\n", static_cast<int>(i % 256));
    return CLI_DONE;
}

constexpr cli_column_s columns[] = {
    {"network", 14, 0}, {"gateway", 12, 0}, {"device", 6, 0}, {"metric", 6, CLI_NUMBER}};

int32_t print_table(cli_call_s *call, void *)
{
    cli_columns(call, columns, std::size(columns));
    for (int64_t i = 0; i < rows_a_call; i++) {
        cli_cell(call, "10.0.%d.0/24", static_cast<int>(i % 256));
        cli_cell(call, "192.168.1.1");
        cli_cell(call, "eth0");
        cli_cell(call, "%d", static_cast<int>(i));
    }
    return CLI_DONE;
}

class OutputAct : public Act {
  public:
    explicit OutputAct(const char *line) : line_(line)
    {
        rows_[0].run = print_rows;
        rows_[1].run = print_table;
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        cli_set_add(set_, nullptr, nullptr, rows_, std::size(rows_));
        if (cli_set_build(set_, nullptr, nullptr) != 0 || !(shell_ = cli_shell_create(&config)))
            give_up("a set");
        operations = rows_a_call;
        allocates = true;
    }

    ~OutputAct() override
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
    }

    void run() override { has_failed_ |= cli_shell_run(shell_, line_) != CLI_DONE; }
    const char *problem() override { return has_failed_ ? "the line failed" : nullptr; }

  private:
    const char *line_;
    bool has_failed_ = false;
    cli_command_s rows_[2] = {command("rows"), command("table")};
    cli_set_s *set_ = cli_set_create();
    cli_shell_s *shell_ = nullptr;
};

// A line of a parent's in a mode that has its commands, too, and in the parent.
constexpr cli_mode_s modes[] = {
    {"outer", nullptr, nullptr, 0, nullptr, nullptr},
    {"inner", "outer", nullptr, CLI_INHERITS, nullptr, nullptr},
};

class InheritAct : public Act {
  public:
    explicit InheritAct(const char *mode)
    {
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.mode = mode;
        for (const cli_mode_s &one : modes)
            cli_set_add_mode(set_, nullptr, &one);
        cli_set_add(set_, nullptr, "outer", rows, std::size(rows));
        cli_set_add(set_, nullptr, "inner", &own_, 1);
        if (cli_set_build(set_, nullptr, nullptr) != 0 ||
            !(shell_ = cli_shell_prepare(&config, &session_)))
            give_up("a set");
        allocates = true;
    }

    ~InheritAct() override
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
    }

    void run() override
    {
        cli_pmatch_s *matches = nullptr;
        cli_assist_error_s error;
        is_refused_ |= !cli_assist_parse(session_.graph, session_.filter, "show route summary",
                                         &matches, &error);
        cli_match_free(matches);
    }

    const char *problem() override { return is_refused_ ? "the line was refused" : nullptr; }

  private:
    bool is_refused_ = false;
    cli_command_s own_ = command("show interface area AREA(0-9)");
    cli_set_s *set_ = cli_set_create();
    tsession_config_s session_ = TSESSION_CONFIG_INIT;
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
    {"commands/line_of_its_mode", [] { return std::unique_ptr<Act>(new InheritAct("outer")); }},
    {"commands/line_of_its_parent", [] { return std::unique_ptr<Act>(new InheritAct("inner")); }},
    {"commands/rows", [] { return std::unique_ptr<Act>(new OutputAct("rows")); }},
    {"commands/rows_that_pass",
     [] { return std::unique_ptr<Act>(new OutputAct("rows | include via.*eth0")); }},
    {"commands/rows_counted", [] { return std::unique_ptr<Act>(new OutputAct("rows | count")); }},
    {"commands/rows_through_four",
     [] {
         return std::unique_ptr<Act>(
             new OutputAct("rows | include via | exclude eth1 | begin 10 | section dev"));
     }},
    {"commands/table_rows", [] { return std::unique_ptr<Act>(new OutputAct("table")); }},
    {"commands/table_rows_as_json",
     [] { return std::unique_ptr<Act>(new OutputAct("table | json")); }},
    {"commands/build_4400", [] { return std::unique_ptr<Act>(new BuildAct); }},
};
// clang-format on

const Topic topic(acts);

} // namespace
} // namespace varno_bench
