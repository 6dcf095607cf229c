#ifndef VARNO_DEVICE_TRACES_H
#define VARNO_DEVICE_TRACES_H

// The library's debug traces, shown in the session whose input brought them about.

#include <cstddef>

#include "commands.h"

namespace device {

// Traces of one call: as many as there is room for, the others are counted.
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

// Gathers the traces of this thread, as long as it lives, for a session that wants them.
// The session may end meanwhile.
class TracedCall {
  public:
    explicit TracedCall(const Console &console);
    ~TracedCall();
    TracedCall(const TracedCall &) = delete;
    TracedCall &operator=(const TracedCall &) = delete;

  private:
    const std::shared_ptr<Traces> traces_;
    Traces *const outer_;
};

void open_traces();
void close_traces();

void start_debugging(const Command &command);
void stop_debugging(const Command &command);
// The same for a session that ends.
void stop_debugging(Visitor &visitor);

} // namespace device

#endif
