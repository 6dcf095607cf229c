#ifndef VARNO_TESTS_TELNET_SERVER_H
#define VARNO_TESTS_TELNET_SERVER_H

// varno-telnetd as a process, and a client that is nothing but a socket. Every wait is
// for something to appear, with a deadline.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/types.h>

namespace varno_test {

// For --enable-secret-file: of "sesame", by crypt(3).
constexpr char sesame_hash[] = "$6$abc$e2Lo8KyRg4tXBVW0NXmQCHiSAsja.ud6LSBAsbOerZnTqsFLzlMDQ"
                               "AhrATRdDz1O5s/i/VE54xxJEmVRizB6f.";

// A server on a free port of 127.0.0.1, listening.
class TelnetServer {
  public:
    // No more descriptors than these, but 0 is as many as there are.
    explicit TelnetServer(std::vector<std::string> options = {}, rlim_t descriptors = 0);
    ~TelnetServer();
    TelnetServer(const TelnetServer &) = delete;
    TelnetServer &operator=(const TelnetServer &) = delete;

    int port() const { return port_; }
    pid_t pid() const { return pid_; }

    // Waits for a text in the log.
    testing::AssertionResult logs(std::string_view text);
    const std::string &log() const { return log_; }

    void send(int signum);
    // Stops the process, as SIGCONT has it go on: meanwhile all that is sent gathers.
    void stop();
    // The status that waitpid gives.
    int wait_for_end();

    size_t resident_bytes() const;
    size_t descriptors() const;
    rlim_t next_descriptor() const; // that it would be given
    long processor_ms() const;      // what it has used of that time
    // From now on it may have no more.
    void limit_descriptors(rlim_t count);
    // From now on it gets no more from the system than it has.
    void take_all_memory_away();

    // What runs it in the place of this process.
    static int run(std::vector<std::string> options);

  private:
    pid_t pid_ = -1;
    int log_fd_ = -1;
    int port_ = 0;
    bool is_reaped_ = false;
    std::string log_;
};

class TelnetClient {
  public:
    explicit TelnetClient(int port);
    // Takes a descriptor that is connected.
    static TelnetClient of_descriptor(int fd) { return TelnetClient(fd, 0); }
    TelnetClient(TelnetClient &&other) noexcept;
    ~TelnetClient();

    // Sends all of it, reading along.
    void send(std::string_view bytes);
    // Sends what can be sent at once, and reads nothing; -1 when the server has gone.
    ssize_t send_unread(std::string_view bytes);
    // Waits until the server's system has all that was sent.
    testing::AssertionResult has_arrived();
    void send_half_close();
    void reset();

    // Reads what has come; is it anywhere in all of that?
    bool has_received(std::string_view text);
    // Waits for a text after those that were found before.
    testing::AssertionResult receives(std::string_view text);
    // Waits for the first words, whatever they are.
    testing::AssertionResult receives_any();
    // Reads to the end, which is in order: nothing is lost.
    testing::AssertionResult is_closed();
    // It came to another end, or has since.
    bool is_reset() const;

    const std::string &received() const { return received_; }

  private:
    TelnetClient(int fd, int) : fd_(fd) {}
    bool read_some();

    int fd_ = -1;
    bool is_over_ = false;
    bool is_reset_ = false;
    size_t found_ = 0;
    std::string received_;
};

} // namespace varno_test

#endif
