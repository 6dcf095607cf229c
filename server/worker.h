#ifndef VARNO_SERVER_WORKER_H
#define VARNO_SERVER_WORKER_H

// One thread's loop and the connections that it serves. But for put, all of it runs on
// that thread once run has begun.

#include <varno/tsession.h>

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <uv.h>

#include "address.h"
#include "refusals.h"
#include "server_s.h"

namespace varno {

class Connection;
class Introduction;
class Listener;

// What another thread wants of a worker.
struct Letter {
    enum class Kind { stop, tell, task };
    Kind kind;
    std::string text; // of stop and tell
    uint64_t client;  // of task, like all that follow
    server_task_fn task;
    void *ctx;
};

class Worker {
  public:
    static constexpr size_t read_size = 4096;

    Worker(server_s &server, size_t index);
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    // Before run: takes a listening socket, or a client's descriptors, which may be one.
    void listen_on(int socket) { sockets_.push_back(socket); }
    void serve_first(int input, int output) { first_clients_.push_back({input, output}); }

    // Returns when it has been told to stop, or has no socket to listen on, and the last
    // connection is gone.
    void run();

    // On any thread. Returns: false when it has ended.
    bool put(Letter letter);

    // For its listeners: each takes the descriptor over. Meets somebody who has come: a
    // client, or a proxy that is to say whose client it brings; serves a client, if there
    // is room; turns one away.
    void meet(int fd, const Peer &peer);
    void let_in(int fd, const Peer &peer);
    void refuse(int fd, const Peer &peer, const char *why) { refusals_.refuse(fd, peer, why); }
    void forget(Introduction &introduction) { introductions_.erase(&introduction); }

    // For its connections.
    void schedule(Connection &connection); // it has work to do, in a turn that is to come
    void forget(Connection &connection);   // it is gone, but for its handles
    void know(const tsession_s *session, Connection &connection);
    void forget(const tsession_s *session) { by_session_.erase(session); }
    uv_loop_t *loop() { return &loop_; }
    tsession_shared_s *shared() { return shared_; }
    server_s &server() { return server_; }
    uv_buf_t room() { return uv_buf_init(buffer_, read_size); }

    // Returns: the connection of a session of this thread; NULL when there is none.
    static Connection *connection_of(const tsession_s *session);

  private:
    void take_descriptors();
    const char *serve(int input, int output, const Peer &peer);
    void trim_memory();
    void serve_first_clients();
    void take_letters();
    void take(const Letter &letter);
    void stop(const std::string &text);
    void take_turns();
    Connection *next_in_turn();
    bool close_mailbox();
    void end_if_done();

    server_s &server_;
    const size_t index_;
    uint64_t clients_ = 0; // that there have been
    uv_loop_t loop_;
    uv_async_t mail_;
    uv_check_t after_events_;
    uv_idle_t no_waiting_; // while a connection is scheduled
    uv_timer_t quiet_;     // some time after many connections have ended
    Refusals refusals_;
    tsession_shared_s *shared_ = nullptr;
    std::vector<int> sockets_;
    std::vector<std::pair<int, int>> first_clients_;
    std::vector<Listener *> listeners_; // each frees itself when it has stopped
    std::unordered_set<Introduction *> introductions_;
    std::unordered_map<uint64_t, Connection *> connections_; // by number
    std::unordered_map<const tsession_s *, Connection *> by_session_;
    std::deque<Connection *> fresh_; // have work to do, and had none for a while
    std::deque<Connection *> ring_;  // have more work to do
    int fresh_turns_ = 0;            // one after another
    unsigned ended_ = 0;             // connections whose memory may be kept by the C library
    char buffer_[read_size] = {};    // of the connection that is being read

    std::mutex mutex_;
    std::vector<Letter> letters_; // with the mutex held, as are the next
    std::optional<Letter> stop_;
    bool has_ended_ = false;
};

} // namespace varno

#endif
