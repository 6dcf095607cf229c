#ifndef VARNO_TESTS_WITNESS_H
#define VARNO_TESTS_WITNESS_H

// A well-behaved user of a server that others attack. It types the same round of keys
// again and again on a thread of its own, and holds each echo against the one it had
// when the server was at peace: every byte, nothing more, and in time.

#include "../support/telnet_peer.h"

#include <atomic>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace varno_test {

class Witness {
  public:
    // Logs in and learns the echoes.
    explicit Witness(int port);
    ~Witness();
    Witness(const Witness &) = delete;
    Witness &operator=(const Witness &) = delete;

    // Types on and on, until rest.
    void type();

    // Ends the round that is being typed, once there was one whole; then types another.
    // Returns: what was wrong with an echo.
    testing::AssertionResult rest();

    // Waits for a text, for when the server itself ends the session.
    testing::AssertionResult hears(std::string_view text);

    void hang_up();

    std::chrono::microseconds slowest_echo() const { return slowest_; }
    long rounds() const { return rounds_; }

  private:
    bool read_some(int wait_ms);
    void send(std::string_view bytes);
    void learn();
    bool type_round();
    bool expect(size_t key);
    void note(const std::string &what);

    int fd_;
    TelnetPeer peer_;
    std::string heard_; // and not looked at yet
    std::vector<std::string> echoes_;
    std::thread typing_;
    std::atomic<bool> may_rest_ = false;
    std::atomic<long> rounds_ = 0;
    std::chrono::microseconds slowest_{0};
    std::string wrong_; // the first thing that was
};

} // namespace varno_test

#endif
