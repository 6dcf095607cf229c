#ifndef VARNO_SERVER_CONNECTION_H
#define VARNO_SERVER_CONNECTION_H

// One client: the session, what it has still to read and to send, and its deadlines.

#include <varno/server.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <uv.h>

#include "address.h"
#include "output_queue.h"

namespace varno {

class Worker;

class Connection {
  public:
    Connection(Worker &worker, const Peer &peer, uint64_t number);
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // Starts the session; from then on the connection frees itself. The descriptors of
    // input and output, which may be one, are its own now.
    void start(int input, int output);

    // Does the next of the work that there is: a line, or a millisecond of keys, and a
    // portion of a long output.
    void take_turn();

    // Shows a text on a row of its own.
    void tell(const char *text);
    // The same, and closes the session.
    void dismiss(const char *text, const char *reason);

    // Runs a task, now or later. Returns: -1 without memory.
    void run(server_task_fn task, void *ctx);
    int run_later(uint32_t milliseconds, server_task_fn task, void *ctx);

    uint64_t number() const { return info_.number; }
    const server_client_s &info() const { return info_; }

    // Its worker's.
    bool is_scheduled = false;
    uint64_t had_turn_at = 0;  // by uv_hrtime
    bool had_all_done = false; // after that turn nothing was left to do

  private:
    enum class Phase {
        open,      // the session runs
        draining,  // it is closed: what waits is sent
        lingering, // all is sent and the client told so: it is to close as well
        gone,      // nothing is left but handles that are being closed
    };

    union Stream {
        uv_handle_t handle;
        uv_stream_t stream;
        uv_tcp_t tcp;
        uv_pipe_t pipe;
    };

    struct Later {
        uint64_t at;
        server_task_fn task;
        void *ctx;
    };

    // Every way in from the loop: what happens there, and what follows from it.
    template <typename Act>
    void enter(const Act &act);

    bool open_streams(int input, int output);
    int open_stream(Stream &stream, int fd);
    bool create_session();
    void free_session();

    void take_bytes(ssize_t count, const char *bytes);
    void advance_session();
    void note_wait();
    bool has_work() const;
    void take_line(void *user, const char *line, const cli_pnode_s *action, cli_pmatch_s *matches);
    void take_event(void *user, const tsession_event_s &event);

    void take_output(const char *bytes, size_t count);
    void on_sent(int error);
    void on_shut_down(int status);

    void write_row(const char *text);
    void close_session(const char *text, const char *reason);
    void settle();
    void settle_session();
    void start_draining();
    void start_lingering();
    void tear_down();
    void note_reason(const char *reason);
    void fail(const char *reason);
    void update_reading();

    uint64_t idle_at() const;
    uint64_t over_at() const;
    uint64_t stall_ms() const;
    uint64_t stall_at() const;
    void set_alarm();
    void on_alarm();
    void run_due(uint64_t now);
    void check_idle(uint64_t now);
    void note_keys();

    Worker &worker_;
    const server_config_s &config_; // the server's
    const Peer peer_;
    const server_client_s info_;
    tsession_s *session_ = nullptr;
    void *session_user_ = nullptr;
    tsession_line_fn host_line_ = nullptr;
    tsession_event_fn host_event_ = nullptr;
    bool is_let_in_ = false; // the host has begun something for it
    Phase phase_ = Phase::open;
    const char *reason_ = nullptr; // why it ends, as the host is told

    Stream input_ = {};
    std::unique_ptr<Stream> other_output_; // where input and output are not one
    OutputQueue output_;
    uv_timer_t alarm_;
    uv_shutdown_t shutdown_;
    int open_handles_ = 0;

    uint64_t typed_ = 0; // bytes, as the session counts them
    std::string held_;   // input that the session has not been given
    bool is_reading_ = false;
    bool has_read_enough_ = false; // until its next turn
    bool has_run_line_ = false;    // in this turn
    bool is_time_out_due_ = false; // what the session times is over
    bool has_input_ended_ = false;
    bool is_blocked_ = false; // too much output waits
    bool has_failed_ = false;
    bool is_entered_ = false; // by the loop

    // By the loop's clock, in milliseconds
    uint64_t began_at_ = 0;
    uint64_t typed_at_ = 0;              // somebody has pressed a key
    uint64_t wait_over_at_ = UINT64_MAX; // what the session times is over
    uint64_t close_at_ = 0;              // once it is closed: whatever is left to send
    std::vector<Later> later_;
};

} // namespace varno

#endif
