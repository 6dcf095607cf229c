#ifndef VARNO_TELNETD_LISTENER_H
#define VARNO_TELNETD_LISTENER_H

// A listening socket and who is let in.

#include <uv.h>

#include "address.h"
#include "settings.h"

namespace telnetd {

class Worker;

// Opens a socket that listens; several may share a port, if all of them say so.
// Returns: -1 with errno.
int open_socket(const sockaddr_storage &address, bool is_shared);

class Listener {
  public:
    Listener(Worker &worker, int socket);
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    // Frees itself once its handles are closed.
    void stop();

  private:
    void start();
    void pause();
    void accept_some();
    void admit(int fd, const sockaddr_storage &address);
    void refuse(int fd, const sockaddr_storage &address, const char *why);

    Worker &worker_;
    int socket_;
    uv_poll_t poll_;
    uv_timer_t pause_;
    int open_handles_ = 2;
    uint64_t refusal_logged_at_ = 0;
    unsigned long refusals_ = 0; // since then
};

} // namespace telnetd

#endif
