#ifndef VARNO_TESTS_GUEST_H
#define VARNO_TESTS_GUEST_H

// A process on a pseudo-terminal of its own, driven as a person would, with the screen
// that this person would see. Every wait is for something to appear, with a deadline.

#include "terminal.h"

#include <functional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/types.h>
#include <termios.h>

namespace varno_test {

// Our copy of the process's side stays open, so that the terminal's attributes can be
// read when the process is gone.
class Guest {
  public:
    // The process runs body and exits with its result.
    Guest(int rows, int columns, const std::function<int()> &body, const char *type = "xterm");
    ~Guest();
    Guest(const Guest &) = delete;
    Guest &operator=(const Guest &) = delete;

    // Types all of it, reading along: neither side may wait for the other.
    void type(std::string_view keys);

    testing::AssertionResult shows(std::string_view text);

    // Waits for the row of the cursor; "|" is the cursor.
    testing::AssertionResult shows_line(std::string_view line);

    // Waits for bytes that were sent, on the screen or not any more.
    testing::AssertionResult sends(std::string_view bytes);

    // Output follows when it does.
    testing::AssertionResult becomes_raw();

    std::string cursor_line() const;

    void resize(int rows, int columns);

    // What the process is told; SIGWINCH comes with it.
    void set_size(int rows, int columns);

    void send(int signum);
    void wait_until_stopped();

    // The status that waitpid gives, when the process has ended.
    int wait_for_end();

    void hang_up();

    bool is_as_before() const;
    bool is_raw() const;

    const std::string &output() const { return output_; }

  private:
    bool has_ended() const;
    bool read_output();
    testing::AssertionResult wait_for(const std::function<bool()> &is_so, const std::string &what);

    Terminal screen_;
    int master_ = -1;
    int slave_ = -1;
    int pidfd_ = -1;
    pid_t pid_ = -1;
    termios before_ = {};
    bool is_reaped_ = false;
    std::string output_;
};

} // namespace varno_test

#endif
