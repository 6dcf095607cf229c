// Calls that wait; words that users give.

#include "action.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace device {

std::function<void()> waker_of(cli_call_s *call, Console &console)
{
    return [post = host().poster(console), ticket = cli_ticket(call)] {
        post([ticket] { cli_wake(own_commands(), ticket); });
    };
}

bool is_plain_word(const char *word)
{
    const auto is_plain = [](unsigned char c) {
        return std::isgraph(c) && !std::strchr("\"'\\?;", c);
    };
    return *word && std::all_of(word, word + std::strlen(word), is_plain);
}

} // namespace device
