#ifndef VARNO_TTY_TIMERS_H
#define VARNO_TTY_TIMERS_H

// Messages that come later on, while somebody may be typing: a few timers.

#include <string>

#include <uv.h>

#include "../device/device.h"

void timers_open(uv_loop_t *loop);

// Has the session print a text when the time is over; the loop's end drops it.
// Returns: false when all timers run.
bool timer_start(device::Console &console, long seconds, const std::string &text);

#endif
