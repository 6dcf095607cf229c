// What a session may set of itself: size, paging, prompt and screen. A batch has no
// terminal: there they do nothing.

#include <algorithm>
#include <string_view>

#include "commands.h"
#include "visitors.h"

namespace device {
namespace {

constexpr int32_t widest = 256;

} // namespace

// Clients of many kinds ask for more than there is, to have no row cut.
int32_t set_width(cli_call_s *call, Console &console)
{
    const auto columns = static_cast<int32_t>(cli_number(call, "COLUMNS"));
    tsession_s *s = session_of(console);
    if (columns > widest)
        cli_print(call, "%d columns is the most: so it is %d\n", widest, widest);
    if (s)
        tsession_resize(s, std::min(columns, widest), tsession_rows(s));
    note_terminal(console);
    return CLI_DONE;
}

int32_t set_length(cli_call_s *call, Console &console)
{
    const auto rows = static_cast<int32_t>(cli_number(call, "ROWS"));
    tsession_s *s = session_of(console);
    if (!s)
        return CLI_DONE;
    tsession_set_paged(s, rows > 0);
    if (rows > 0)
        tsession_resize(s, tsession_columns(s), rows);
    note_terminal(console);
    return CLI_DONE;
}

int32_t set_prompt(cli_call_s *call, Console &console)
{
    std::string text = cli_text(call, "TEXT");
    for (size_t i = 1; i < cli_count(call, "TEXT"); i++)
        text += std::string(" ") + cli_text_at(call, "TEXT", i);
    if (session_of(console))
        tsession_set_prompt(session_of(console), text.c_str());
    return CLI_DONE;
}

// All terminals that a session knows understand it, but for the one without any such.
int32_t clear_screen(cli_call_s *, Console &console)
{
    constexpr std::string_view home_and_erase = "\033[H\033[2J";
    tsession_s *s = session_of(console);
    if (s && std::string_view(tsession_terminal(s)) != "dumb")
        tsession_write(s, home_and_erase.data(), home_and_erase.size());
    return CLI_DONE;
}

} // namespace device
