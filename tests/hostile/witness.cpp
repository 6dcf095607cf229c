#include "witness.h"

#include "sockets.h"

#include <algorithm>
#include <iterator>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace varno_test {
namespace {

constexpr int deadline_ms = 10000; // until a server without a rest is given up
// What docs/security.md promises is 100 ms on a quiet machine; this one may be busy.
constexpr std::chrono::milliseconds slowest_allowed(500);
constexpr int quiet_ms = 200;    // the server has said all for now
constexpr int echo_quiet_ms = 3; // at peace, no more of an echo comes
constexpr int a_moment_ms = 1;   // between two keys

// Editing in mid-line, completion, help, a command, an error, the history. Every key
// shows something, and nothing that others may change; the line is empty at the end.
// clang-format off
constexpr std::string_view keys[] = {
    "e", "c", "h", "o", " ", "k", "e", "t", "l", "e", "\033[D", "t", "\033b", "\033[C", "\177", "K",
    "\r",
    "s", "h", "\t", "?", "v", "e", "r", "\t", "\r",
    "s", "h", "\t", "n", "o", "n", "e", "\r",
    "\033[A", "\177", "x", "\025",
};
// clang-format on

} // namespace

Witness::Witness(int port) : fd_(connect_to(port))
{
    EXPECT_TRUE(hears("varno> "));
    for (const std::string_view key : keys)
        send(key);                      // from then on the history is as at each round's beginning
    EXPECT_TRUE(hears("unknown word")); // among the last answers
    while (read_some(quiet_ms)) {
    }
    learn();
    EXPECT_EQ(echoes_[0] + echoes_[1] + echoes_[2] + echoes_[3], "echo");
}

Witness::~Witness()
{
    if (typing_.joinable()) {
        may_rest_ = true;
        typing_.join();
    }
    close(fd_);
}

void Witness::send(std::string_view bytes)
{
    if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
        note("the connection is gone");
}

bool Witness::read_some(int wait_ms)
{
    pollfd ready = {fd_, POLLIN, 0};
    char bytes[4096];
    const ssize_t count = poll(&ready, 1, wait_ms) == 1 ? recv(fd_, bytes, sizeof(bytes), 0) : 0;
    if (count <= 0)
        return false;
    std::string answers;
    peer_.take({bytes, static_cast<size_t>(count)}, heard_, answers);
    if (!answers.empty())
        send(answers);
    return true;
}

testing::AssertionResult Witness::hears(std::string_view text)
{
    while (heard_.find(text) == heard_.npos) {
        if (!read_some(deadline_ms))
            return testing::AssertionFailure() << "not heard: " << text << "\nbut: " << heard_;
    }
    return testing::AssertionSuccess();
}

void Witness::learn()
{
    echoes_.clear();
    for (const std::string_view key : keys) {
        heard_.clear();
        send(key);
        EXPECT_TRUE(read_some(deadline_ms));
        while (read_some(echo_quiet_ms)) {
        }
        EXPECT_FALSE(heard_.empty());
        echoes_.push_back(heard_);
    }
    heard_.clear();
}

void Witness::type()
{
    typing_ = std::thread([this] {
        while (!may_rest_ && type_round()) {
        }
    });
}

testing::AssertionResult Witness::rest()
{
    may_rest_ = true;
    if (typing_.joinable())
        typing_.join();
    if (wrong_.empty())
        type_round();
    if (wrong_.empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "round " << rounds_ + 1 << ": " << wrong_;
}

bool Witness::type_round()
{
    for (size_t key = 0; key < std::size(keys); key++) {
        const auto typed_at = std::chrono::steady_clock::now();
        send(keys[key]);
        if (!expect(key))
            return false;
        const auto took = std::chrono::steady_clock::now() - typed_at;
        slowest_ = std::max(slowest_, std::chrono::duration_cast<std::chrono::microseconds>(took));
        if (took > slowest_allowed)
            note("key " + std::to_string(key) + " was answered after " +
                 std::to_string(
                     std::chrono::duration_cast<std::chrono::milliseconds>(took).count()) +
                 " ms");
        if (read_some(a_moment_ms)) // a person is not a flood
            note("more than the echo: " + testing::PrintToString(heard_));
    }
    rounds_++;
    return true;
}

bool Witness::expect(size_t key)
{
    const std::string &echo = echoes_[key];
    bool is_in_time = true;
    while (heard_.size() < echo.size() && (is_in_time = read_some(deadline_ms))) {
    }
    if (heard_ != echo)
        note("key " + std::to_string(key) + ": expected " + testing::PrintToString(echo) +
             ", heard " + testing::PrintToString(heard_) + (is_in_time ? "" : ", no more came"));
    heard_.clear();
    return wrong_.empty();
}

void Witness::hang_up()
{
    shutdown(fd_, SHUT_RDWR);
}

void Witness::note(const std::string &what)
{
    if (wrong_.empty())
        wrong_ = what;
}

} // namespace varno_test
