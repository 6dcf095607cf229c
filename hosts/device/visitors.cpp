// The list of sessions. Another session is never asked anything: a row is made of what
// its own thread has left here.

#include "visitors.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include <time.h>

namespace device {
namespace {

struct List {
    std::mutex mutex;
    std::map<unsigned long, Visitor> visitors; // by number
    unsigned long last_number = 0;
};

List list;

using Position = std::map<unsigned long, Visitor>::const_iterator;

std::string row_of(const Visitor &visitor, bool is_this_one)
{
    const int64_t idle = now_ms() - visitor.last_input.load(std::memory_order_relaxed);
    char columns[80];
    std::snprintf(columns, sizeof(columns), "%c%5lu  %-12s  %3d x %-3d  %6ld  ",
                  is_this_one ? '*' : ' ', visitor.number, visitor.terminal.c_str(),
                  visitor.columns, visitor.rows,
                  static_cast<long>(std::max<int64_t>(idle, 0) / 1000));
    return columns + cleaned(visitor.peer) + "\n";
}

// A session a call, by number: sessions may come and go between two.
class Sessions : public Rows {
  public:
    bool write(Console &console) override
    {
        const std::string row = std::exchange(is_begun_, true)
                                    ? take_row(console.visitor)
                                    : "    No  Terminal      Size         Idle  Peer\n";
        print(console, "%s", row.c_str());
        const std::lock_guard lock(list.mutex);
        return next() != list.visitors.end();
    }

  private:
    // Nothing is written with the mutex held.
    std::string take_row(const Visitor *own)
    {
        const std::lock_guard lock(list.mutex);
        const auto visitor = next();
        if (visitor == list.visitors.end())
            return {};
        shown_ = visitor->first;
        return row_of(visitor->second, &visitor->second == own);
    }

    Position next() const { return list.visitors.upper_bound(shown_); }

    bool is_begun_ = false;
    unsigned long shown_ = 0;
};

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
    Visitor &visitor = *std::exchange(console.visitor, nullptr);
    stop_debugging(visitor);
    const std::lock_guard lock(list.mutex);
    list.visitors.erase(visitor.number);
}

// Only this thread writes here, so it may compare without the mutex.
void note_terminal(Console &console)
{
    const tsession_s *s = console.session;
    Visitor *visitor = console.visitor;
    if (!visitor || (visitor->columns == tsession_columns(s) && visitor->rows == tsession_rows(s) &&
                     visitor->terminal == tsession_terminal(s)))
        return;
    const std::lock_guard lock(list.mutex);
    visitor->columns = tsession_columns(s);
    visitor->rows = tsession_rows(s);
    visitor->terminal = tsession_terminal(s);
}

void show_sessions(const Command &command)
{
    write_long(command.console, std::make_unique<Sessions>());
}

} // namespace device
