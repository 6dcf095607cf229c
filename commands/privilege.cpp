// Levels of privilege: asking for one, and dropping it.

#include "shell.h"

#include <varno/commands.h>

#include <cstdint>

namespace varno::commands {
namespace {

constexpr char denied[] = "% access denied\n";

// What was asked for is in the shell: a shell asks one question at a time.
void take_answer(tsession_s *, void *user, void *, const char *answer)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    if (!answer)
        return;
    const int32_t wanted = shell->wanted_level;
    if (shell->authenticate && shell->authenticate(shell, shell->user, wanted, answer) == 0)
        set_level(shell, wanted);
    else
        write_error(shell, denied);
}

} // namespace
} // namespace varno::commands

using namespace varno::commands;

int32_t cli_enable(cli_call_s *call, void *)
{
    cli_shell_s *shell = call->shell;
    const bool is_given = cli_text(call, "LEVEL") != nullptr;
    const auto wanted = is_given ? static_cast<int32_t>(cli_number(call, "LEVEL")) : most_level;
    if (wanted <= shell->level) {
        set_level(shell, wanted);
        return CLI_DONE;
    }
    shell->wanted_level = wanted;
    if (shell->session && shell->authenticate &&
        tsession_ask(shell->session, "Password: ", 1, take_answer, nullptr) == 0)
        return CLI_DONE;
    write_error(shell, denied);
    return CLI_FAILED;
}

int32_t cli_disable(cli_call_s *call, void *)
{
    set_level(call->shell, 0);
    return CLI_DONE;
}
