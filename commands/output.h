#ifndef VARNO_COMMANDS_OUTPUT_H
#define VARNO_COMMANDS_OUTPUT_H

// What calls write.

#include <varno/commands.h>
#include <varno/platform.h>

#include <cstdarg>
#include <cstdio>
#include <iterator>

namespace varno::commands {

constexpr char text_tag[] = "cli_call_text";

// Rows of output, through the call's filters.
void write_output(cli_call_s *call, const char *text);

// Why it fails, on a row of its own; word: with the line, and a caret under it. Whatever its
// function answers, it is not done.
void fail(cli_call_s *call, const char *text);
void fail_at(cli_call_s *call, const cli_pmatch_s *word, const char *text);

// What is wrong with a line, on a screen of so many columns; 0: they are unknown. Of a line that is
// too long, without memory, the reason alone.
void explain(cli_shell_s *shell, const char *line, const cli_assist_error_s &error,
             int32_t columns);

// What comes next stands below the row of progress.
void end_progress(cli_call_s *call);

// Calls act with a formatted text. Returns false when that was without memory the beginning of it.
template <typename Act>
VARNO_PRINTF(1, 0)
bool with_text(const char *format, va_list arguments, Act act)
{
    char few[1024];
    va_list again;
    va_copy(again, arguments);
    const int len = std::vsnprintf(few, std::size(few), format, arguments);
    const bool is_short = len < static_cast<int>(std::size(few));
    char *all = is_short
                    ? nullptr
                    : static_cast<char *>(tracked_malloc(static_cast<size_t>(len) + 1, text_tag));
    if (all)
        std::vsnprintf(all, static_cast<size_t>(len) + 1, format, again);
    va_end(again);
    try {
        act(all ? all : few);
    } catch (...) {
        tracked_free(all, text_tag);
        throw;
    }
    tracked_free(all, text_tag);
    return is_short || all;
}

} // namespace varno::commands

#endif
