// A list of tickets; a loop hears of them, or whoever has none waits.

#include "wakes.h"

#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace {

std::mutex mutex;
std::condition_variable added;
std::vector<uint64_t> tickets;
uv_async_t async;
bool has_loop = false;

std::vector<uint64_t> take_tickets(bool is_waited_for)
{
    std::unique_lock lock(mutex);
    if (is_waited_for)
        added.wait(lock, [] { return !tickets.empty(); });
    return std::exchange(tickets, {});
}

void run_wakes(bool is_waited_for)
{
    for (const uint64_t ticket : take_tickets(is_waited_for))
        device::wake(ticket);
}

} // namespace

std::function<void()> make_waker(device::Console &, uint64_t ticket)
{
    return [ticket] {
        const std::lock_guard lock(mutex);
        tickets.push_back(ticket);
        added.notify_one();
        if (has_loop)
            uv_async_send(&async);
    };
}

void wakes_open(uv_loop_t *loop)
{
    uv_async_init(loop, &async, [](uv_async_t *) { run_wakes(false); });
    has_loop = true;
}

void wakes_close()
{
    const std::lock_guard lock(mutex);
    has_loop = false;
}

void wait_for_wake()
{
    run_wakes(true);
}
