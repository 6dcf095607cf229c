#ifndef VARNO_TTY_WAKES_H
#define VARNO_TTY_WAKES_H

// What other threads bring: calls of this one that are to go on.

#include <cstdint>
#include <functional>

#include <uv.h>

#include "../device/device.h"

// As the device's host has it.
std::function<void()> make_waker(device::Console &console, uint64_t ticket);

// From now on the loop runs them; it is told so before it is closed.
void wakes_open(uv_loop_t *loop);
void wakes_close();

// Waits for the next, and runs it: without a loop.
void wait_for_wake();

#endif
