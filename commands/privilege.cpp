// Levels of privilege: asking for one, and dropping it.

#include "shell.h"

#include <varno/commands.h>

#include <cstdint>

namespace varno::commands {
namespace {

constexpr char denied[] = "% access denied\n";

void conclude(cli_shell_s *shell, bool is_right)
{
    shell->check_ticket = 0;
    if (is_right)
        set_level(shell, shell->wanted_level);
    else
        write_error(shell, denied);
}

// An output that has nothing to say yet: what is typed meanwhile is kept, Ctrl-C ends it.
int wait_for_check(tsession_s *, void *user, void *, int is_cancelled)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    if (!is_cancelled && shell->check_ticket != 0)
        return TSESSION_LATER;
    if (!is_cancelled)
        conclude(shell, shell->is_secret_right);
    shell->check_ticket = 0;
    return TSESSION_DONE;
}

// What was asked for is in the shell: a shell asks one question at a time.
void take_answer(tsession_s *s, void *user, void *, const char *answer)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    if (!answer)
        return;
    shell->check_ticket = ++shell->set->last_ticket;
    const int32_t result = shell->authenticate(shell, shell->user, shell->wanted_level, answer);
    if (result != CLI_LATER || tsession_page(s, wait_for_check, nullptr) != 0)
        conclude(shell, result == 0);
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

uint64_t cli_shell_ticket(const cli_shell_s *shell)
{
    return shell->check_ticket;
}

int32_t cli_authenticated(cli_set_s *set, uint64_t ticket, int32_t is_right)
{
    for (cli_shell_s *shell = set->shells; shell; shell = shell->next) {
        if (ticket == 0 || shell->check_ticket != ticket || !shell->session)
            continue;
        shell->check_ticket = 0;
        shell->is_secret_right = is_right != 0;
        tsession_wake(shell->session);
        return 0;
    }
    return -1;
}
