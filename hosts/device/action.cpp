// Calls that wait; texts that are written line by line, so that they are paged and can be left.

#include "action.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace device {
namespace {

struct Lines {
    Text text;
    size_t at = 0;
};

} // namespace

std::function<void()> waker_of(cli_call_s *call, Console &console)
{
    return [post = host().poster(console), ticket = cli_ticket(call)] {
        post([ticket] { cli_wake(own_commands(), ticket); });
    };
}

int32_t show_lines(cli_call_s *call, Text (*make)(cli_call_s *call))
{
    auto &lines = kept_of<Lines>(call);
    if (!lines.text)
        lines.text = make(call);
    if (!lines.text)
        return CLI_FAILED;
    if (lines.text->empty())
        return CLI_DONE;
    const size_t end = lines.text->find('\n', lines.at) + 1;
    cli_print(call, "%s", lines.text->substr(lines.at, end - lines.at).c_str());
    lines.at = end;
    return end < lines.text->size() ? CLI_MORE : CLI_DONE;
}

bool is_plain_word(const char *word)
{
    const auto is_plain = [](unsigned char c) {
        return std::isgraph(c) && !std::strchr("\"'\\?;", c);
    };
    return *word && std::all_of(word, word + std::strlen(word), is_plain);
}

} // namespace device
