#ifndef VARNO_TELNETD_CONNECTION_H
#define VARNO_TELNETD_CONNECTION_H

// One client: the session, what it has still to read and to send, and its deadlines.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <uv.h>

#include "../device/device.h"
#include "address.h"
#include "output_queue.h"

namespace telnetd {

class Worker;

class Connection {
  public:
    Connection(Worker &worker, const Client &client);
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // Starts the session; from then on the connection frees itself. The descriptors of
    // input and output, which may be one, are its own now.
    void start(int input, int output);

    // Takes up input that was held back and output that made a pause.
    void resume();

    // Tells the user, and closes the session.
    void dismiss(const char *message, const char *reason);

    // Shows a text later on. Returns: false when too many wait already.
    bool remind(long seconds, const std::string &text);

    bool is_scheduled = false; // its worker's

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

    struct Reminder {
        uint64_t at;
        std::string text;
    };

    // Every way in from the loop: what happens there, and what follows from it.
    template <typename Act>
    void take_turn(const Act &act);

    bool open_streams(int input, int output);
    int open_stream(Stream &stream, int fd);
    bool create_session();
    void free_session();

    void take_bytes(ssize_t count, const char *bytes);
    void take_held();
    size_t next_slice(std::string_view held) const;
    void take_event(const tsession_event_s &event);

    void send(const char *bytes, size_t count);
    void resume_output();
    void note_wait();
    void on_sent(int error);
    void on_shut_down(int status);

    void settle();
    void settle_session();
    void close_session(const char *message, const char *reason);
    void start_draining();
    void start_lingering();
    void tear_down();
    void fail(const char *reason);
    void update_reading();

    uint64_t escape_at() const;
    uint64_t idle_at() const;
    uint64_t stall_ms() const;
    uint64_t stall_at() const;
    void set_alarm();
    void on_alarm();
    void check_escape(uint64_t now);
    void show_reminders(uint64_t now);
    void check_progress(uint64_t now);
    void check_idle(uint64_t now);
    void note_reason(const char *reason);

    Worker &worker_;
    Client client_;
    device::Console console_ = {};
    Phase phase_ = Phase::open;
    const char *reason_ = nullptr; // why it ends, as the log says

    Stream input_ = {};
    std::unique_ptr<Stream> other_output_; // where input and output are not one
    OutputQueue output_;
    uv_timer_t alarm_;
    uv_shutdown_t shutdown_;
    int open_handles_ = 0;

    std::string held_; // input that the session has not been given
    bool is_reading_ = false;
    bool has_read_enough_ = false; // in this turn
    bool has_input_ended_ = false;
    bool is_blocked_ = false; // too much output waits
    bool has_failed_ = false;

    // By the loop's clock, in milliseconds
    uint64_t opened_at_ = 0;
    uint64_t heard_at_ = 0;           // the client has sent something
    uint64_t escape_at_ = UINT64_MAX; // the wait for the rest of a sequence is over
    uint64_t close_at_ = 0;           // once it is closed: whatever is left to send
    std::vector<Reminder> reminders_;
};

} // namespace telnetd

#endif
