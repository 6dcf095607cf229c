#ifndef VARNO_TELNETD_WORKER_H
#define VARNO_TELNETD_WORKER_H

// One thread's loop and the connections that it serves. But for request_stop, all of
// it runs on that thread once run has begun.

#include <varno/tsession.h>

#include <memory>
#include <unordered_set>
#include <vector>

#include <uv.h>

#include "address.h"
#include "limits.h"
#include "settings.h"

namespace telnetd {

class Connection;
class Listener;

class Worker {
  public:
    static constexpr size_t read_size = 4096;

    Worker(const Settings &settings, Limits &limits);
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    // Takes a listening socket, and clients from it.
    void listen(int socket);

    // Serves a client, and takes both descriptors, which may be one.
    // Returns: NULL, or why not: the descriptors stay the caller's then.
    const char *serve(int input, int output, const Client &client);

    // Returns when it has been told to stop, or has no socket to listen on, and the last
    // connection is gone.
    void run();

    // On any thread: no new clients, and those there are are told and let go.
    void request_stop();

    // For its connections.
    void schedule(Connection &connection); // resume in a turn of the loop that is to come
    void forget(Connection &connection);   // it is gone, but for its handles
    uv_loop_t *loop() { return &loop_; }
    tsession_shared_s *shared() { return shared_; }
    const Settings &settings() const { return settings_; }
    Limits &limits() { return limits_; }
    uv_buf_t room() { return uv_buf_init(buffer_, read_size); }

  private:
    void take_descriptors();
    void stop();
    void resume_scheduled();
    void end_if_done();

    const Settings &settings_;
    Limits &limits_;
    uv_loop_t loop_;
    uv_async_t stop_request_;
    uv_check_t after_events_;
    uv_idle_t no_waiting_; // while a connection is scheduled
    tsession_shared_s *shared_;
    std::unique_ptr<Listener> listener_;
    std::unordered_set<Connection *> connections_;
    std::vector<Connection *> scheduled_;
    char buffer_[read_size] = {}; // of the connection that is being read
};

} // namespace telnetd

#endif
