#ifndef VARNO_DEVICE_PING_H
#define VARNO_DEVICE_PING_H

// Requests to other hosts, on a thread of their own: a command waits for what it brings.

namespace device {

// Ends all of them, and the thread. Nobody waits for one any more.
void stop_pings();

} // namespace device

#endif
