#ifndef VARNO_SERVER_INTRODUCTION_H
#define VARNO_SERVER_INTRODUCTION_H

// A connection of a proxy's, until the proxy has said whose it is.

#include <uv.h>

#include "address.h"
#include "proxy_header.h"

namespace varno {

class Worker;

class Introduction {
  public:
    // Takes the descriptor over. It frees itself: with the client let in or refused, or
    // with the connection closed.
    Introduction(Worker &worker, int fd, const Peer &proxy);
    Introduction(const Introduction &) = delete;
    Introduction &operator=(const Introduction &) = delete;

    // Reads what has come.
    void read_header();

    // Closes the connection.
    void give_up();

  private:
    template <typename Act>
    void with_memory(const Act &act);
    void read_some();
    void wait_for_more();
    void finish(const Peer &client, const char *why_refused);
    void free_handles();

    Worker &worker_;
    int fd_;
    const Peer proxy_;
    ProxyHeader header_;
    uv_poll_t poll_;
    uv_timer_t deadline_;
    int open_handles_ = 2;
    bool is_waiting_ = false;
};

} // namespace varno

#endif
