// The commands that concern nothing but their console and this process.

#include "commands.h"

#include <varno/platform_default.h>

#include <cstdio>

namespace device {
namespace {

// What is live under a tag of the libraries, the last row: in all.
constexpr const char *tags[] = {
    "BYTE",           "BYTE*",
    "cli_call_s",     "cli_call_state",
    "cli_call_text",  "cli_call_words",
    "cli_pmatch_s",   "cli_pnode_s",
    "cli_set_host",   "cli_set_s",
    "cli_shell_s",    "commands_array",
    "mc_node_s",      "mkey_t",
    "OutputBuffer",   "Owner",
    "prompt_clink_s", "prompt_command_s",
    "Question",       "prompt_s",
    "Snapshot",       "stroker_binding",
    "stroker_s",      "telparser_s",
    "tsession_s",     "tsession_shared_s",
    nullptr,
};

// The entry after those that were shown.
struct HistoryRow {
    cli_call_s *call;
    int32_t shown;
    bool has_more;
};

void take_entry(tsession_s *, void *, void *ctx, int32_t number, const char *line)
{
    auto &row = *static_cast<HistoryRow *>(ctx);
    if (number == row.shown + 1)
        cli_print(row.call, "%5d  %s\n", number, line);
    row.has_more = number > row.shown + 1;
}

} // namespace

int32_t show_version(cli_call_s *call, Console &)
{
    cli_print(call, "%s %s\n", host().program, VARNO_VERSION);
    return CLI_DONE;
}

int32_t show_history(cli_call_s *call, Console &console)
{
    HistoryRow row = {call, kept_of<int32_t>(call)++, false};
    if (session_of(console))
        tsession_history(session_of(console), take_entry, &row);
    return row.has_more ? CLI_MORE : CLI_DONE;
}

// Other threads go on meanwhile, so the total need not be the sum.
int32_t show_memory(cli_call_s *call, Console &)
{
    return show_lines(call, [](cli_call_s *) {
        std::string text = "  blocks  tag\n";
        for (const char *tag : tags) {
            char row[80];
            std::snprintf(row, sizeof(row), "%8zu  %s\n", tracked_outstanding(tag),
                          tag ? tag : "in all");
            text += row;
        }
        return std::make_shared<const std::string>(text);
    });
}

int32_t show_numbers(cli_call_s *call, Console &)
{
    auto &shown = kept_of<int64_t>(call);
    cli_print(call, "%lld\n", static_cast<long long>(++shown));
    return shown < cli_number(call, "COUNT") ? CLI_MORE : CLI_DONE;
}

int32_t echo(cli_call_s *call, Console &)
{
    const size_t count = cli_count(call, "TEXT");
    for (size_t i = 0; i < count; i++)
        cli_print(call, "%s%c", cli_text_at(call, "TEXT", i), i + 1 < count ? ' ' : '\n');
    return CLI_DONE;
}

int32_t start_timer(cli_call_s *call, Console &console)
{
    const auto seconds = static_cast<long>(cli_number(call, "SECONDS"));
    if (!session_of(console))
        cli_fail(call, "A batch does not wait");
    else if (!host().start_timer)
        cli_fail(call, "There are no timers");
    else if (!host().start_timer(console, seconds, cli_text(call, "TEXT")))
        cli_fail(call, "All timers run");
    else
        return CLI_DONE;
    return CLI_FAILED;
}

int32_t end_session(cli_call_s *, Console &console)
{
    if (session_of(console))
        tsession_close(session_of(console));
    console.is_done = true;
    return CLI_DONE;
}

} // namespace device
