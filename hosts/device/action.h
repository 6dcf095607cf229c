#ifndef VARNO_DEVICE_ACTION_H
#define VARNO_DEVICE_ACTION_H

// What the functions of commands have in common: what they are given, and what they keep from
// one call to the next.

#include <memory>
#include <new>
#include <string>

#include "device.h"

namespace device {

// A command's function, with the console that it runs on.
using Action = int32_t(cli_call_s *call, Console &console);

// What a row of the table names. A call that nobody waits for any more ends by itself: what
// it keeps is released.
template <Action *action>
int32_t run(cli_call_s *call, void *)
{
    if (cli_is_cancelled(call))
        return CLI_FAILED;
    try {
        return action(call, *static_cast<Console *>(cli_shell_user(cli_call_shell(call))));
    } catch (const std::bad_alloc &) {
        cli_fail(call, "Out of memory");
        return CLI_FAILED;
    }
}

// Returns: what a command keeps until it ends, made at its first call.
template <typename Kept>
Kept &kept_of(cli_call_s *call)
{
    const auto release = [](void *state) { delete *static_cast<Kept **>(state); };
    auto **kept = static_cast<Kept **>(cli_state(call, sizeof(Kept *), release));
    if (!kept)
        throw std::bad_alloc();
    if (!*kept)
        *kept = std::make_unique<Kept>().release();
    return **kept;
}

// Returns: what any thread may call to have a call go on, as often as it likes. Where the host has
//          a poster.
std::function<void()> waker_of(cli_call_s *call, Console &console);

// Returns: whether a word can be typed as it stands: printable characters, at least
//          one, and none that quotes, escapes or separates, or asks for help.
bool is_plain_word(const char *word);

// Returns: a console's session; NULL in a batch.
inline tsession_s *session_of(const Console &console)
{
    return cli_shell_session(console.shell);
}

} // namespace device

#endif
