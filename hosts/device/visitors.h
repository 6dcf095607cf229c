#ifndef VARNO_DEVICE_VISITORS_H
#define VARNO_DEVICE_VISITORS_H

// The sessions of all threads, as they are listed to one another.

#include <atomic>
#include <cstdint>
#include <string>

#include "device.h"

namespace device {

// Written by the session's own thread; what others read, with the mutex of the list.
struct Visitor {
    unsigned long number;
    std::string peer;
    std::string terminal;
    int columns = 0;
    int rows = 0;
    uint64_t typed = 0;                  // bytes, as the session counts them
    std::atomic<int64_t> last_input = 0; // in milliseconds, as now_ms has it
};

// Copies the terminal's type and size as they are in force now.
void note_terminal(Console &console);

// Notes whether something has been typed.
void note_input(Console &console);

} // namespace device

#endif
