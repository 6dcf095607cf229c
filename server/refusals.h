#ifndef VARNO_SERVER_REFUSALS_H
#define VARNO_SERVER_REFUSALS_H

// Clients of one thread that are turned away: each hears why, the host hears of the first
// at once and of those of the next second together.

#include <uv.h>

#include "address.h"
#include "server_s.h"

namespace varno {

class Refusals {
  public:
    Refusals(server_s &server, uv_loop_t *loop);
    Refusals(const Refusals &) = delete;
    Refusals &operator=(const Refusals &) = delete;

    // Closes the descriptor.
    void refuse(int fd, const Peer &peer, const char *why);

    // Tells what is untold, and closes the handle. Nothing is refused from then on.
    void end();

  private:
    void tell();

    server_s &server_;
    uv_timer_t rest_; // until the host is told again
    Peer last_;
    const char *why_ = nullptr;
    unsigned long untold_ = 0;
};

} // namespace varno

#endif
