// The list of sessions. Another session is never asked anything: a row is made of what
// its own thread has left here.

#include "visitors.h"

#include <algorithm>
#include <map>
#include <mutex>
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

std::string row_of(const Visitor &visitor, bool is_this_one)
{
    const int64_t idle = now_ms() - visitor.last_input.load(std::memory_order_relaxed);
    char columns[80];
    std::snprintf(columns, sizeof(columns), "%c%5lu  %-12s  %3d x %-3d  %6ld  ",
                  is_this_one ? '*' : ' ', visitor.number, visitor.terminal.c_str(),
                  visitor.columns, visitor.rows,
                  static_cast<long>(std::max<int64_t>(idle, 0) / 1000));
    return columns + visitor.peer + "\n";
}

struct Shown {
    bool is_begun;
    unsigned long last; // by number
};

// Returns: the row of the next session, none when there is no other.
std::string next_row(Shown &shown, const Visitor *own)
{
    const std::lock_guard lock(list.mutex);
    const auto next = list.visitors.upper_bound(shown.last);
    if (next == list.visitors.end())
        return {};
    shown.last = next->first;
    return row_of(next->second, &next->second == own);
}

bool has_more(const Shown &shown)
{
    const std::lock_guard lock(list.mutex);
    return list.visitors.upper_bound(shown.last) != list.visitors.end();
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

// A session a call: others may come and go between two.
int32_t show_sessions(cli_call_s *call, Console &console)
{
    auto *shown = static_cast<Shown *>(cli_state(call, sizeof(Shown), nullptr));
    if (!shown)
        throw std::bad_alloc();
    if (std::exchange(shown->is_begun, true))
        cli_print(call, "%s", next_row(*shown, console.visitor).c_str());
    else
        cli_print(call, "    No  Terminal      Size         Idle  Peer\n");
    return has_more(*shown) ? CLI_MORE : CLI_DONE;
}

} // namespace device
