// A list of acts; a loop hears of them, or whoever has none waits. Timers, as many as there is
// room for.

#include "acts.h"

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <utility>
#include <vector>

namespace {

std::mutex mutex;
std::condition_variable added;
std::vector<device::Act> acts;
uv_async_t async;
bool has_loop = false;

struct Timer {
    uv_timer_t handle;
    device::Act act;
};

Timer timers[8];

void do_acts(bool is_waited_for)
{
    std::unique_lock lock(mutex);
    if (is_waited_for)
        added.wait(lock, [] { return !acts.empty(); });
    const std::vector<device::Act> own = std::exchange(acts, {});
    lock.unlock();
    for (const device::Act &act : own)
        act();
}

} // namespace

std::function<void(device::Act)> make_poster(device::Console &)
{
    return [](device::Act act) {
        const std::lock_guard lock(mutex);
        acts.push_back(std::move(act));
        added.notify_one();
        if (has_loop)
            uv_async_send(&async);
    };
}

bool do_later(device::Console &, uint32_t milliseconds, device::Act act)
{
    const auto is_free = [](const Timer &timer) {
        return !uv_is_active(reinterpret_cast<const uv_handle_t *>(&timer.handle));
    };
    auto *timer = std::find_if(std::begin(timers), std::end(timers), is_free);
    if (timer == std::end(timers))
        return false;
    timer->act = std::move(act);
    const auto on_time = [](uv_timer_t *handle) { static_cast<Timer *>(handle->data)->act(); };
    return uv_timer_start(&timer->handle, on_time, milliseconds, 0) == 0;
}

void acts_open(uv_loop_t *loop)
{
    uv_async_init(loop, &async, [](uv_async_t *) { do_acts(false); });
    for (Timer &timer : timers) {
        uv_timer_init(loop, &timer.handle);
        timer.handle.data = &timer;
    }
    has_loop = true;
}

void acts_close()
{
    const std::lock_guard lock(mutex);
    has_loop = false;
}

void do_next_acts()
{
    do_acts(true);
}
