/* A program in C++20 on the installed command library: a batch of a command. */

#include <varno/commands.hpp>

#include <string>

static std::string written;

static const cli_command_s rows[] = {
    varno::command<"vlan VLAN(1-4094) [name NAME]">(
        [](varno::Call &call, int64_t vlan, std::optional<std::string_view> name) {
            call.print(vlan, " is ", name.value_or("nameless"));
        },
        "make a VLAN"),
};

int main()
{
    cli_set_s *set = cli_set_create();
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set;
    config.output = [](void *, const char *bytes, size_t count) { written.append(bytes, count); };
    if (!set || cli_set_add(set, nullptr, nullptr, rows, 1) != 0 ||
        cli_set_build(set, nullptr, nullptr) != 0)
        return 1;
    cli_shell_s *shell = cli_shell_create(&config);
    if (!shell || cli_shell_run(shell, "vlan 7 name blue") != CLI_DONE)
        return 1;
    cli_shell_free(shell);
    cli_set_free(set);
    return written == "7 is blue" ? 0 : 1;
}
