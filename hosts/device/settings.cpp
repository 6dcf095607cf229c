// Size, paging, prompt and screen of the session that a command runs in.

#include "settings.h"

#include <string_view>

#include "visitors.h"

namespace device {
namespace {

void resize(Console &console, long columns, long rows)
{
    tsession_resize(console.session, static_cast<int32_t>(columns), static_cast<int32_t>(rows));
    note_terminal(console);
}

} // namespace

void set_width(const Command &command)
{
    long columns = 0;
    const tsession_s *s = command.console.session;
    if (take_number(command, "COLUMNS", 20, 256, columns) && s)
        resize(command.console, columns, tsession_rows(s));
}

void set_length(const Command &command)
{
    long rows = 0;
    tsession_s *s = command.console.session;
    if (!take_number(command, "ROWS", 0, 512, rows) || !s)
        return;
    tsession_set_paged(s, rows > 0);
    if (rows > 0)
        resize(command.console, tsession_columns(s), rows);
}

void set_prompt(const Command &command)
{
    if (command.console.session)
        tsession_set_prompt(command.console.session, text_from(command, "TEXT"));
}

// All terminals that a session knows understand it, but for the one without any such.
void clear_screen(const Command &command)
{
    constexpr std::string_view home_and_erase = "\033[H\033[2J";
    tsession_s *s = command.console.session;
    if (s && std::string_view(tsession_terminal(s)) != "dumb")
        tsession_write(s, home_and_erase.data(), home_and_erase.size());
}

} // namespace device
