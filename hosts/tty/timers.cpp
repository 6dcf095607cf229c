// Timers of the event loop, as many as there is room for.

#include "timers.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace {

struct Timer {
    uv_timer_t handle;
    char text[258]; // a line, its end and the terminator
};

Timer timers[8];

void on_time(uv_timer_t *handle)
{
    const auto *timer = reinterpret_cast<const Timer *>(handle);
    tsession_write_clean(static_cast<tsession_s *>(handle->data), timer->text);
}

} // namespace

void timers_open(uv_loop_t *loop)
{
    for (Timer &timer : timers)
        uv_timer_init(loop, &timer.handle);
}

bool timer_start(device::Console &console, long seconds, const std::string &text)
{
    const auto is_free = [](const Timer &timer) {
        return !uv_is_active(reinterpret_cast<const uv_handle_t *>(&timer.handle));
    };
    auto *timer = std::find_if(std::begin(timers), std::end(timers), is_free);
    if (timer == std::end(timers))
        return false;
    std::string line = text.substr(0, std::size(timer->text) - 2) + "\n";
    std::memcpy(timer->text, line.c_str(), line.size() + 1);
    timer->handle.data = cli_shell_session(console.shell);
    return uv_timer_start(&timer->handle, on_time, static_cast<uint64_t>(seconds) * 1000, 0) == 0;
}
