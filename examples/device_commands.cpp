// A device of five commands in C++: lines from standard input are run one after the other.
// Handlers take what the syntax has; what does not fit does not compile.

#include <varno/commands.hpp>

#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <string>

namespace {

using varno::Call;
using varno::command;

std::map<int64_t, std::string> vlans;

int32_t remove_vlan(Call &call, int64_t vlan)
{
    return vlans.erase(vlan) > 0 ? CLI_DONE : call.fail_at("VLAN", "there is no such VLAN");
}

// clang-format off
const cli_command_s rows[] = {
    varno::row<"show">("what there is"),
    varno::row<"no">("take something back"),
    varno::row<"vlan VLAN(1-4094) name">("its name"),
    command<"vlan VLAN(1-4094) [name NAME]">(
        [](Call &, int64_t vlan, std::optional<std::string_view> name) {
            vlans[vlan] = name.value_or("");
        }, "make or name a VLAN"),
    command<"no vlan VLAN(1-4094)", remove_vlan>("remove a VLAN"),
    command<"show vlans">(
        [](Call &call) {
            for (const auto &[vlan, name] : vlans)
                call.print(vlan, " ", name, "\n");
        }, "the VLANs"),
    command<"show network NET(ip/)">(
        [](Call &call, const varno::Address &net) {
            call.print("IPv", net.family, ", ", net.bits, " bits\n");
        }, "what a network is"),
    command<"echo TEXT...">(
        [](Call &call, varno::Words words) {
            for (const std::string_view word : words)
                call.print(word, "\n");
        }, "print words, one a row"),
};
// clang-format on

void tell_finding(void *, const cli_finding_s *finding)
{
    std::cerr << finding->syntax << ", column " << finding->column << ": " << finding->text << '\n';
}

} // namespace

int main()
{
    const std::unique_ptr<cli_set_s, decltype(&cli_set_free)> set(cli_set_create(), cli_set_free);
    if (!set || cli_set_add(set.get(), nullptr, nullptr, rows, std::size(rows)) != 0 ||
        cli_set_build(set.get(), tell_finding, nullptr) != 0)
        return 1;
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set.get();
    config.output = [](void *, const char *bytes, size_t count) {
        std::fwrite(bytes, 1, count, stdout);
    };
    const std::unique_ptr<cli_shell_s, decltype(&cli_shell_free)> shell(cli_shell_create(&config),
                                                                        cli_shell_free);
    bool is_fine = shell != nullptr;
    for (std::string line; shell && std::getline(std::cin, line);)
        is_fine = cli_shell_run(shell.get(), line.c_str()) == CLI_DONE && is_fine;
    return is_fine ? 0 : 1;
}
