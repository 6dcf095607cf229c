// The list of sessions. Another session is never asked anything: a row is made of what
// its own thread has left here.

#include "visitors.h"

#include <algorithm>
#include <cinttypes>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include <time.h>

#include "commands.h"
#include "secrets.h"

namespace device {
namespace {

struct List {
    std::mutex mutex;
    std::map<unsigned long, Visitor> visitors; // by number
    unsigned long last_number = 0;
};

List list;

struct Row {
    unsigned long number;
    bool is_own;
    int64_t idle_ms;
    std::string peer;
    std::string terminal;
    int columns;
    int rows;
};

// Returns: the row of the session after that number; nothing when there is no other.
std::optional<Row> next_row(unsigned long last, const Visitor *own)
{
    const std::lock_guard lock(list.mutex);
    const auto next = list.visitors.upper_bound(last);
    if (next == list.visitors.end())
        return {};
    const Visitor &visitor = next->second;
    const int64_t idle_ms = now_ms() - visitor.last_input.load(std::memory_order_relaxed);
    return Row{visitor.number, &visitor == own,  std::max<int64_t>(idle_ms, 0),
               visitor.peer,   visitor.terminal, visitor.columns,
               visitor.rows};
}

bool has_more(unsigned long last)
{
    const std::lock_guard lock(list.mutex);
    return list.visitors.upper_bound(last) != list.visitors.end();
}

} // namespace

int64_t now_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void attach(Console &console, const std::string &peer)
{
    {
        const std::lock_guard lock(list.mutex);
        const unsigned long number = ++list.last_number;
        console.visitor = &list.visitors[number];
        console.visitor->number = number;
        console.visitor->peer = peer;
        console.visitor->last_input = now_ms();
    }
    note_terminal(console);
}

void detach(Console &console)
{
    if (!console.visitor)
        return;
    console.is_debugging = false;
    forget_check(console);
    const Visitor &visitor = *std::exchange(console.visitor, nullptr);
    const std::lock_guard lock(list.mutex);
    list.visitors.erase(visitor.number);
}

// Only this thread writes here, so it may compare without the mutex.
void note_terminal(Console &console)
{
    const tsession_s *s = session_of(console);
    Visitor *visitor = console.visitor;
    if (!visitor || !s ||
        (visitor->columns == tsession_columns(s) && visitor->rows == tsession_rows(s) &&
         visitor->terminal == tsession_terminal(s)))
        return;
    const std::lock_guard lock(list.mutex);
    visitor->columns = tsession_columns(s);
    visitor->rows = tsession_rows(s);
    visitor->terminal = tsession_terminal(s);
}

// What a command that waits writes by itself is no input.
void note_input(Console &console)
{
    const tsession_s *s = session_of(console);
    Visitor *visitor = console.visitor;
    if (!visitor || !s || visitor->typed == tsession_typed(s))
        return;
    visitor->typed = tsession_typed(s);
    visitor->last_input.store(now_ms(), std::memory_order_relaxed);
}

// A session a call: others may come and go between two.
int32_t show_sessions(cli_call_s *call, Console &console)
{
    constexpr static cli_column_s columns[] = {
        {"own", 3, 0},       {"no", 4, CLI_NUMBER},      {"idle", 6, CLI_NUMBER}, {"peer", 21, 0},
        {"terminal", 12, 0}, {"columns", 7, CLI_NUMBER}, {"rows", 4, CLI_NUMBER}};
    auto &last = kept_of<unsigned long>(call); // number of the one that was shown last
    cli_columns(call, columns, std::size(columns));
    const std::optional<Row> row = next_row(last, console.visitor);
    if (!row)
        return CLI_DONE;
    last = row->number;
    cli_cell(call, "%s", row->is_own ? "*" : "");
    cli_cell(call, "%lu", row->number);
    cli_cell(call, "%" PRId64, row->idle_ms / 1000);
    cli_cell(call, "%s", row->peer.c_str());
    cli_cell(call, "%s", row->terminal.c_str());
    cli_cell(call, "%d", row->columns);
    cli_cell(call, "%d", row->rows);
    return has_more(last) ? CLI_MORE : CLI_DONE;
}

} // namespace device
