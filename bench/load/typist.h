#ifndef VARNO_BENCH_TYPIST_H
#define VARNO_BENCH_TYPIST_H

// One telnet session and who types in it, a key at a time.

#include "../../tests/support/telnet_peer.h"

#include <functional>
#include <string>

#include <uv.h>

namespace varno_load {

class Typist {
  public:
    // Called for each piece of output.
    using OutputFn = std::function<void(bool is_first)>;
    // Called once, when there is no session or no longer one.
    using EndFn = std::function<void(bool was_open, const char *why)>;

    // Begins at a place of its own in what is typed.
    Typist(size_t place, OutputFn on_output, EndFn on_end);
    Typist(const Typist &) = delete;
    Typist &operator=(const Typist &) = delete;

    void connect(uv_loop_t *loop, uint16_t port);

    // Whether its first output has come, and no end.
    bool is_open() const { return is_open_; }

    // Returns: false when the key did not leave.
    bool type_next_key();

  private:
    void start();
    void take(std::string_view bytes);
    void end(const char *why);
    bool send(std::string_view bytes);

    size_t place_;
    OutputFn on_output_;
    EndFn on_end_;
    varno_test::TelnetPeer client_;
    uv_tcp_t tcp_;
    uv_connect_t request_;
    bool is_open_ = false;
    bool has_ended_ = false;
};

} // namespace varno_load

#endif
