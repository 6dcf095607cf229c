#ifndef VARNO_SERVER_LISTENER_H
#define VARNO_SERVER_LISTENER_H

// A listening socket and who is let in.

#include <uv.h>

#include "address.h"

namespace varno {

class Worker;

// Opens a socket that listens; several may share a port, if all of them say so.
// Returns: -1 with errno.
int open_tcp_socket(const sockaddr_storage &address, bool is_shared);
int open_unix_socket(const char *path, unsigned mode);

class Listener {
  public:
    // Takes over the socket.
    Listener(Worker &worker, int socket);
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    // Lets nobody in any more. It frees itself once its handles are closed.
    void stop();

  private:
    void start();
    void hold_off();
    void take_clients();
    void admit(int fd);

    Worker &worker_;
    int socket_;
    uv_poll_t poll_;
    uv_timer_t hold_off_;
    int open_handles_ = 2;
};

} // namespace varno

#endif
