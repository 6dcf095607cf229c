// Aliases: commands that a user has named, for the own session alone.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>

#include "commands.h"
#include "nesting.h"
#include "table.h"

namespace device {
namespace {

// One alias runs one command, so a line runs no more than so many, and one.
constexpr int deepest_alias = 8;
constexpr size_t most_aliases = 32;
constexpr size_t longest_alias_name = 31;

auto find(std::vector<Alias> &aliases, const char *name)
{
    return std::find_if(aliases.begin(), aliases.end(),
                        [name](const Alias &alias) { return alias.name == name; });
}

Console &console_of(const cli_shell_s *shell)
{
    return *static_cast<Console *>(cli_shell_user(shell));
}

int32_t accept_command(void *, cli_shell_s *shell, const char *word, const char **why)
{
    std::vector<Alias> &aliases = console_of(shell).aliases;
    if (find(aliases, word) != aliases.end())
        return 1;
    *why = "unknown word"; // any command could have stood there
    return 0;
}

void list_aliases(void *, cli_shell_s *shell, const char *begun, cli_assist_value_fn value,
                  void *ctx)
{
    if (!cli_shell_user(shell))
        return; // nobody's, who writes random lines
    for (const Alias &alias : console_of(shell).aliases) {
        if (alias.name.starts_with(begun))
            value(ctx, alias.name.c_str(), alias.text.c_str());
    }
}

struct Shown {
    std::optional<std::vector<Alias>> aliases; // as they were at the first call
    size_t count = 0;
};

// A name that a command has, or begins with, would take that command from its user.
bool is_taken(cli_shell_s *shell, const char *name)
{
    cli_shell_check(shell, nullptr, nullptr); // in the mode that it is in
    return cli_shell_check(shell, name, nullptr) != CLI_ASSIST_UNKNOWN;
}

} // namespace

const cli_type_s alias_types[] = {
    {"alias", "one of your own commands", nullptr, list_aliases, nullptr},
    {"own", "one of your own commands", accept_command, list_aliases, nullptr},
};

int32_t show_aliases(cli_call_s *call, Console &console)
{
    constexpr static cli_column_s columns[] = {{"name", 12, 0}, {"line", 0, 0}};
    auto &[aliases, count] = kept_of<Shown>(call);
    if (!aliases)
        aliases = console.aliases;
    cli_columns(call, columns, std::size(columns));
    if (count == aliases->size())
        return CLI_DONE;
    const Alias &alias = (*aliases)[count++];
    cli_cell(call, "%s", alias.name.c_str());
    cli_cell(call, "%s", alias.text.c_str());
    return count < aliases->size() ? CLI_MORE : CLI_DONE;
}

int32_t add_alias(cli_call_s *call, Console &console)
{
    const char *name = cli_text(call, "NAME");
    if (!is_plain_word(name) || std::strlen(name) > longest_alias_name)
        cli_fail(call, "A name is 1 to %zu printable characters, none of \" ' \\ ? ;",
                 longest_alias_name);
    else if (is_taken(console.shell, name))
        cli_fail(call, "This name is taken");
    else if (console.aliases.size() >= most_aliases)
        cli_fail(call, "There are %zu aliases already", most_aliases);
    else {
        console.aliases.push_back({name, cli_text(call, "TEXT")});
        return CLI_DONE;
    }
    return CLI_FAILED;
}

int32_t remove_alias(cli_call_s *call, Console &console)
{
    console.aliases.erase(find(console.aliases, cli_text(call, "NAME")));
    return CLI_DONE;
}

// A copy is run: the line may remove the alias. It is one of the first mode's, where "do" has led
// here from another, too.
int32_t run_alias(cli_call_s *call, Console &console)
{
    if (console.alias_depth >= deepest_alias) {
        cli_fail(call, "Aliases are nested too deeply");
        return CLI_FAILED;
    }
    const bool is_first_mode = modes()[0].mode.name == std::string(cli_shell_mode(console.shell));
    const std::string text =
        (is_first_mode ? "" : "do ") + find(console.aliases, cli_text(call, "ALIAS"))->text;
    const Nesting nesting(console.alias_depth);
    return cli_shell_run(console.shell, text.c_str()) == CLI_FAILED ? CLI_FAILED : CLI_DONE;
}

} // namespace device
