#ifndef VARNO_SERVER_OUTPUT_QUEUE_H
#define VARNO_SERVER_OUTPUT_QUEUE_H

// Output that its client has not taken yet, in order.

#include <cstdint>
#include <functional>
#include <string>

#include <uv.h>

namespace varno {

// Lives until its stream is closed.
class OutputQueue {
  public:
    // sent is called by the loop when the system has taken some of what waits, with 0, or
    // with libuv's error: nothing more leaves then.
    explicit OutputQueue(std::function<void(int)> sent) : sent_(std::move(sent)) {}
    OutputQueue(const OutputQueue &) = delete;
    OutputQueue &operator=(const OutputQueue &) = delete;

    // Where it all goes; before the first output.
    void attach(uv_stream_t *stream) { stream_ = stream; }

    // Sends as much as the system takes without a wait, and keeps the rest.
    // Returns: 0, or libuv's error.
    int add(const char *bytes, size_t count);

    size_t size() const { return sending_.size() + waiting_.size(); }
    bool is_empty() const { return sending_.empty(); }

    // Returns: whether the system has taken anything since this was asked last, or since
    //          the oldest bytes began to wait.
    bool has_advanced();
    // When that was, by the loop's clock.
    uint64_t advanced_at() const { return advanced_at_; }

  private:
    int send_waiting();
    void finish(int status);

    const std::function<void(int)> sent_;
    uv_stream_t *stream_ = nullptr;
    uv_write_t request_ = {};
    std::string sending_; // what libuv is about to write,
    std::string waiting_; // and what comes after it
    size_t unsent_seen_ = 0;
    uint64_t advanced_at_ = 0;
};

} // namespace varno

#endif
