// The commands that concern nothing but their console and this process.

#include "commands.h"

#include <varno/platform_default.h>

#include <algorithm>
#include <iterator>

namespace device {
namespace {

// What is live under a tag of the libraries, the last row: in all.
constexpr const char *tags[] = {
    "Aside",
    "BYTE",
    "BYTE*",
    "cli_call_s",
    "cli_call_state",
    "cli_call_text",
    "cli_call_words",
    "cli_pmatch_s",
    "cli_pnode_s",
    "cli_set_host",
    "cli_set_s",
    "cli_shell_s",
    "commands_array",
    "Entered",
    "Entered_arguments",
    "mc_node_s",
    "mkey_t",
    "OutputBuffer",
    "Owner",
    "Pattern",
    "Pipe",
    "prompt_clink_s",
    "prompt_command_s",
    "prompt_s",
    "Question",
    "Snapshot",
    "stroker_binding",
    "stroker_s",
    "telparser_s",
    "tsession_s",
    "tsession_shared_s",
    "TypeAhead",
    nullptr,
};

struct Memory {
    size_t blocks[std::size(tags)] = {};
    size_t shown = 0; // rows
};

constexpr size_t most_timers = 8; // of a session

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

// A row a call, of what was there at the first. Other threads go on meanwhile, so the total
// need not be the sum.
int32_t show_memory(cli_call_s *call, Console &)
{
    constexpr static cli_column_s columns[] = {{"blocks", 8, CLI_NUMBER}, {"tag", 0, 0}};
    auto &[blocks, shown] = kept_of<Memory>(call);
    if (shown == 0)
        std::transform(std::begin(tags), std::end(tags), blocks, tracked_outstanding);
    cli_columns(call, columns, std::size(columns));
    cli_cell(call, "%zu", blocks[shown]);
    cli_cell(call, "%s", tags[shown] ? tags[shown] : "in all");
    return ++shown < std::size(tags) ? CLI_MORE : CLI_DONE;
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
    const auto milliseconds = static_cast<uint32_t>(cli_number(call, "SECONDS")) * 1000;
    const auto show = [&console, text = std::string(cli_text(call, "TEXT")) + "\n"] {
        console.timers--;
        tsession_write_clean(session_of(console), text.c_str());
    };
    if (!session_of(console)) {
        cli_fail(call, "A batch does not wait");
        return CLI_FAILED;
    }
    if (!host().do_later) {
        cli_fail(call, "There are no timers");
        return CLI_FAILED;
    }
    if (console.timers >= most_timers || !host().do_later(console, milliseconds, show)) {
        cli_fail(call, "All timers run");
        return CLI_FAILED;
    }
    console.timers++;
    return CLI_DONE;
}

int32_t end_session(cli_call_s *, Console &console)
{
    if (session_of(console))
        tsession_close(session_of(console));
    console.is_done = true;
    return CLI_DONE;
}

} // namespace device
