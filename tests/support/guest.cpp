#include "guest.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <utmp.h>

#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace varno_test {
namespace {

std::string trimmed(std::string text)
{
    const size_t last = text.find_last_not_of(' ');
    text.erase(last == std::string::npos ? 0 : last + 1);
    return text;
}

} // namespace

Guest::Guest(int rows, int columns, const std::function<int()> &body, const char *type)
    : screen_(rows, columns)
{
    const winsize size = {static_cast<unsigned short>(rows), static_cast<unsigned short>(columns),
                          0, 0};
    EXPECT_EQ(openpty(&master_, &slave_, nullptr, nullptr, &size), 0);
    tcgetattr(slave_, &before_);
    pid_ = fork();
    if (pid_ == 0) {
        close(master_);
        login_tty(dup(slave_));
        setenv("TERM", type, 1);
        _exit(body());
    }
    pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    fcntl(master_, F_SETFL, O_NONBLOCK);
}

Guest::~Guest()
{
    if (!is_reaped_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(pidfd_);
    close(slave_);
    if (master_ >= 0)
        close(master_);
}

void Guest::type(std::string_view keys)
{
    while (!keys.empty()) {
        pollfd ready = {master_, POLLIN | POLLOUT, 0};
        ASSERT_EQ(poll(&ready, 1, 10000), 1);
        read_output();
        const ssize_t n = write(master_, keys.data(), keys.size());
        keys.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
    }
}

testing::AssertionResult Guest::shows(std::string_view text)
{
    return wait_for([&] { return screen_.text().find(text) != std::string::npos; },
                    std::string(text));
}

testing::AssertionResult Guest::shows_line(std::string_view line)
{
    return wait_for([&] { return cursor_line() == line; }, std::string(line));
}

testing::AssertionResult Guest::sends(std::string_view bytes)
{
    return wait_for([&] { return output_.find(bytes) != std::string::npos; }, std::string(bytes));
}

testing::AssertionResult Guest::becomes_raw()
{
    return wait_for([this] { return is_raw(); }, "raw mode");
}

std::string Guest::cursor_line() const
{
    std::string row = screen_.row(screen_.cursor_row());
    const auto column = static_cast<size_t>(screen_.cursor_column());
    const std::string right = trimmed(row.substr(column));
    return row.substr(0, column) + "|" + right;
}

void Guest::resize(int rows, int columns)
{
    screen_.resize(rows, columns);
    set_size(rows, columns);
}

void Guest::set_size(int rows, int columns)
{
    const winsize size = {static_cast<unsigned short>(rows), static_cast<unsigned short>(columns),
                          0, 0};
    EXPECT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0);
}

void Guest::send(int signum)
{
    kill(pid_, signum);
}

void Guest::wait_until_stopped()
{
    int status = 0;
    ASSERT_EQ(waitpid(pid_, &status, WUNTRACED), pid_);
    ASSERT_TRUE(WIFSTOPPED(status));
}

int Guest::wait_for_end()
{
    EXPECT_TRUE(wait_for([this] { return has_ended(); }, "the end"));
    int status = 0;
    waitpid(pid_, &status, 0);
    is_reaped_ = true;
    return status;
}

void Guest::hang_up()
{
    close(master_);
    master_ = -1;
}

bool Guest::is_as_before() const
{
    termios now = {};
    tcgetattr(slave_, &now);
    return now.c_iflag == before_.c_iflag && now.c_oflag == before_.c_oflag &&
           now.c_cflag == before_.c_cflag && now.c_lflag == before_.c_lflag &&
           std::memcmp(now.c_cc, before_.c_cc, sizeof(now.c_cc)) == 0;
}

bool Guest::is_raw() const
{
    termios now = {};
    tcgetattr(slave_, &now);
    return (now.c_lflag & (ICANON | ECHO | ISIG)) == 0;
}

bool Guest::has_ended() const
{
    pollfd ready = {pidfd_, POLLIN, 0};
    return poll(&ready, 1, 0) == 1;
}

bool Guest::read_output()
{
    char bytes[4096];
    const ssize_t n = master_ < 0 ? 0 : read(master_, bytes, sizeof(bytes));
    if (n <= 0)
        return false;
    output_.append(bytes, static_cast<size_t>(n));
    screen_.feed({bytes, static_cast<size_t>(n)});
    return true;
}

// Reads on, and looks again after whatever comes, up to a generous deadline; and every few
// milliseconds, for a terminal's settings change without a byte.
testing::AssertionResult Guest::wait_for(const std::function<bool()> &is_so,
                                         const std::string &what)
{
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::seconds(20);
    while (true) {
        do {
            if (is_so())
                return testing::AssertionSuccess();
        } while (read_output());
        if (clock::now() >= deadline || has_ended())
            break;
        pollfd ready[] = {{master_, POLLIN, 0}, {pidfd_, POLLIN, 0}};
        poll(ready, 2, 5);
    }
    while (read_output()) {
    }
    if (is_so())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "waited for: " << what << "\nscreen:\n"
                                       << screen_.text() << "cursor: " << cursor_line();
}

} // namespace varno_test
