// What calls write: rows, why they fail, how far they are.

#include "output.h"

#include "shell.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>

namespace varno::commands {
namespace {

constexpr int32_t most_progress_columns = 256; // what is wider is cut with a mark
constexpr size_t most_progress_bytes = size_t{4} * most_progress_columns;

// What it has written so far is shown before why it fails.
void end_output(cli_call_s *call)
{
    call->has_failed = true;
    if (call->pipe)
        end_pipe(call->pipe, false);
    end_progress(call);
}

} // namespace

void fail(cli_call_s *call, const char *text)
{
    end_output(call);
    write_error(call->shell, "% ");
    write_error(call->shell, text);
    write_error(call->shell, "\n");
}

void fail_at(cli_call_s *call, const cli_pmatch_s *word, const char *text)
{
    end_output(call);
    cli_assist_error_s error = {};
    error.reason = CLI_ASSIST_UNKNOWN;
    error.at = word->pos;
    strlcpy2(error.why, text, std::size(error.why) - 1);
    const tsession_s *session = call->shell->session;
    explain(call->shell, call->line, error, session ? tsession_columns(session) : 0);
}

void explain(cli_shell_s *shell, const char *line, const cli_assist_error_s &error, int32_t columns)
{
    char few[2 * CLI_ASSIST_MAX_LINE + CLI_ASSIST_MAX_WHY + 16];
    const int32_t room = static_cast<int32_t>(std::size(few));
    const int32_t len = cli_assist_format_error(line, &error, columns, few, room);
    if (len < room)
        return write_error(shell, few);
    auto *rows = static_cast<char *>(tracked_malloc(static_cast<size_t>(len) + 1, text_tag));
    if (!rows) {
        write_error(shell, "% ");
        write_error(shell, *error.why ? error.why : cli_assist_strreason(error.reason));
        write_error(shell, "\n");
        return;
    }
    cli_assist_format_error(line, &error, columns, rows, len + 1);
    try {
        write_error(shell, rows);
    } catch (...) {
        tracked_free(rows, text_tag);
        throw;
    }
    tracked_free(rows, text_tag);
}

void write_output(cli_call_s *call, const char *text)
{
    if (call->pipe) {
        write_through(call->pipe, text);
        return;
    }
    end_progress(call);
    write_clean(call->shell, text);
}

void end_progress(cli_call_s *call)
{
    if (call->progress_columns > 0)
        tsession_write(call->shell->session, "\n", 1);
    call->progress_columns = 0;
}

} // namespace varno::commands

using namespace varno::commands;

void cli_print(cli_call_s *call, const char *format, ...)
{
    if (call->is_cancelled)
        return;
    va_list arguments;
    va_start(arguments, format);
    const bool is_whole =
        with_text(format, arguments, [call](const char *text) { write_output(call, text); });
    va_end(arguments);
    if (!is_whole)
        fail(call, "out of memory");
}

void cli_fail(cli_call_s *call, const char *format, ...)
{
    if (call->is_cancelled)
        return;
    va_list arguments;
    va_start(arguments, format);
    with_text(format, arguments, [call](const char *text) { fail(call, text); });
    va_end(arguments);
}

void cli_fail_at(cli_call_s *call, const char *name, const char *format, ...)
{
    const cli_pmatch_s *word = find_argument(call, name, 0);
    if (!word)
        word = find_choice(call, name);
    if (call->is_cancelled)
        return;
    va_list arguments;
    va_start(arguments, format);
    with_text(format, arguments, [call, word](const char *text) {
        if (word)
            fail_at(call, word, text);
        else
            fail(call, text);
    });
    va_end(arguments);
}

// The row stays when something else is written, or the call ends, but for a message without
// columns: what comes next is then written over it.
void cli_progress(cli_call_s *call, const char *format, ...)
{
    tsession_s *session = call->shell->session;
    if (call->is_cancelled || !session || call->shell->is_unattended)
        return;
    va_list arguments;
    va_start(arguments, format);
    with_text(format, arguments, [call, session](const char *text) {
        constexpr char mark[] = ">";
        char cleaned[most_progress_bytes];
        tsession_clean(cleaned, std::size(cleaned), text);
        const int32_t most = std::clamp(tsession_columns(session), 2, most_progress_columns) - 1;
        int32_t columns = 0;
        size_t len = tsession_fit(cleaned, most, &columns);
        const bool is_cut = cleaned[len] != '\0';
        if (is_cut)
            len = tsession_fit(cleaned, most - 1, &columns);
        columns += is_cut ? 1 : 0;
        char row[size_t{2} * most_progress_columns + most_progress_bytes];
        const bool is_first = call->progress_columns == 0;
        const int32_t left = std::max(call->progress_columns - columns, 0);
        const int written = std::snprintf(
            row, std::size(row), "%s%.*s%s%*s%s", is_first ? "" : "\r", static_cast<int>(len),
            cleaned, is_cut ? mark : "", left, "", is_first || columns > 0 ? "" : "\r");
        tsession_write(session, row, static_cast<size_t>(written));
        call->progress_columns = columns;
    });
    va_end(arguments);
}
