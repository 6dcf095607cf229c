#ifndef VARNO_TTY_ACTS_H
#define VARNO_TTY_ACTS_H

// What is to be done later on this thread, the only one that has a console: as other
// threads bring it, or when its time has come.

#include <cstdint>
#include <functional>

#include <uv.h>

#include "../device/device.h"

// As the device's host has them. A batch, which has no loop, starts no timer.
std::function<void(device::Act)> make_poster(device::Console &console);
bool do_later(device::Console &console, uint32_t milliseconds, device::Act act);

// From now on the loop does them; it is told so before it is closed.
void acts_open(uv_loop_t *loop);
void acts_close();

// Waits for what other threads bring next, and does it: without a loop.
void do_next_acts();

#endif
