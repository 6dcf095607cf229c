#ifndef VARNO_DEVICE_TRACES_H
#define VARNO_DEVICE_TRACES_H

// The library's debug traces, shown in the session whose input brought them about.

#include <cstddef>

#include "device.h"

namespace device {

// Traces of one turn: as many as there is room for, the others are counted.
class Traces {
  public:
    void add(const char *text);
    // Writes what has been gathered, and forgets it.
    void show(tsession_s *s);

  private:
    char bytes_[4096];
    size_t used_ = 0;
    size_t dropped_ = 0;
};

void open_traces();
void close_traces();

// Before and after a console's turn: traces are made only while one that wants them has its
// turn, so that they cost the others nothing.
void begin_tracing(Console &console);
void end_tracing(Console &console);

} // namespace device

#endif
