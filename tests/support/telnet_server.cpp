#include "telnet_server.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace varno_test {
namespace {

constexpr int deadline_ms = 20000;

// Waits for one event; false at the deadline.
bool wait_for(int fd, short events)
{
    pollfd ready = {fd, events, 0};
    return poll(&ready, 1, deadline_ms) == 1;
}

// As much of it as a person wants to read.
std::string end_of(const std::string &text)
{
    return text.substr(text.size() - std::min<size_t>(text.size(), 1000));
}

int connect_to(int port)
{
    const int on = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0)
        << std::strerror(errno);
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    fcntl(fd, F_SETFL, O_NONBLOCK);
    return fd;
}

} // namespace

int TelnetServer::run(std::vector<std::string> options)
{
    std::vector<char *> arguments = {const_cast<char *>("varno-telnetd")};
    for (std::string &option : options)
        arguments.push_back(option.data());
    arguments.push_back(nullptr);
    execv(VARNO_TELNETD_PROGRAM, arguments.data());
    return 127;
}

// A small pipe: a log that nobody reads is soon full.
TelnetServer::TelnetServer(std::vector<std::string> options, rlim_t descriptors)
{
    options.insert(options.begin(), {"--port", "0"});
    int log[2];
    EXPECT_EQ(pipe2(log, O_CLOEXEC), 0);
    fcntl(log[1], F_SETPIPE_SZ, 8192);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const rlimit limit = {descriptors, descriptors};
        if (descriptors > 0)
            setrlimit(RLIMIT_NOFILE, &limit);
        dup2(log[1], STDERR_FILENO);
        _exit(run(std::move(options)));
    }
    close(log[1]);
    log_fd_ = log[0];
    const std::string told = "listening on ";
    EXPECT_TRUE(logs(told) && logs("\n"));
    if (const size_t at = log_.find(told); at != log_.npos)
        port_ = std::atoi(log_.c_str() + log_.rfind(':', log_.find('\n', at)) + 1);
}

TelnetServer::~TelnetServer()
{
    if (!is_reaped_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(log_fd_);
}

testing::AssertionResult TelnetServer::logs(std::string_view text)
{
    char bytes[4096];
    while (log_.find(text) == log_.npos) {
        const ssize_t count = wait_for(log_fd_, POLLIN) ? read(log_fd_, bytes, sizeof(bytes)) : 0;
        if (count <= 0)
            return testing::AssertionFailure() << "no \"" << text << "\" in the log:\n" << log_;
        log_.append(bytes, static_cast<size_t>(count));
    }
    return testing::AssertionSuccess();
}

void TelnetServer::send(int signum)
{
    kill(pid_, signum);
}

void TelnetServer::stop()
{
    int status = 0;
    send(SIGSTOP);
    EXPECT_EQ(waitpid(pid_, &status, WUNTRACED), pid_);
    EXPECT_TRUE(WIFSTOPPED(status));
}

// The log ends with the process.
int TelnetServer::wait_for_end()
{
    char bytes[4096];
    ssize_t count = 0;
    while (wait_for(log_fd_, POLLIN) && (count = read(log_fd_, bytes, sizeof(bytes))) > 0)
        log_.append(bytes, static_cast<size_t>(count));
    EXPECT_EQ(count, 0) << "the server does not end:\n" << log_;
    int status = -1;
    if (count == 0)
        is_reaped_ = waitpid(pid_, &status, 0) == pid_;
    return status;
}

size_t TelnetServer::resident_bytes() const
{
    size_t pages = 0;
    std::ifstream("/proc/" + std::to_string(pid_) + "/statm") >> pages >> pages;
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

size_t TelnetServer::descriptors() const
{
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(pid_) + "/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

rlim_t TelnetServer::next_descriptor() const
{
    const std::string all = "/proc/" + std::to_string(pid_) + "/fd/";
    rlim_t next = 0;
    while (std::filesystem::is_symlink(all + std::to_string(next)))
        next++;
    return next;
}

// The name of the program, before what is asked for, has no blanks.
long TelnetServer::processor_ms() const
{
    std::ifstream list("/proc/" + std::to_string(pid_) + "/stat");
    std::string ignored;
    for (int i = 0; i < 13; i++)
        list >> ignored;
    long user = 0, kernel = 0;
    list >> user >> kernel;
    return (user + kernel) * 1000 / sysconf(_SC_CLK_TCK);
}

void TelnetServer::limit_descriptors(rlim_t count)
{
    rlimit limit = {};
    prlimit(pid_, RLIMIT_NOFILE, nullptr, &limit);
    limit.rlim_cur = std::min(count, limit.rlim_max);
    EXPECT_EQ(prlimit(pid_, RLIMIT_NOFILE, &limit, nullptr), 0);
}

void TelnetServer::take_all_memory_away()
{
    rlim_t pages = 0;
    std::ifstream("/proc/" + std::to_string(pid_) + "/statm") >> pages;
    const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    const rlimit limit = {bytes, bytes};
    EXPECT_EQ(prlimit(pid_, RLIMIT_AS, &limit, nullptr), 0);
}

TelnetClient::TelnetClient(int port) : fd_(connect_to(port)) {}

TelnetClient::TelnetClient(TelnetClient &&other) noexcept
    : fd_(std::exchange(other.fd_, -1)), is_over_(other.is_over_), is_reset_(other.is_reset_),
      found_(other.found_), received_(std::move(other.received_))
{}

TelnetClient::~TelnetClient()
{
    if (fd_ >= 0)
        close(fd_);
}

void TelnetClient::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        ASSERT_TRUE(wait_for(fd_, POLLIN | POLLOUT));
        read_some();
        const ssize_t count = send_unread(bytes);
        ASSERT_GE(count, 0);
        bytes.remove_prefix(static_cast<size_t>(count));
    }
}

ssize_t TelnetClient::send_unread(std::string_view bytes)
{
    const ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return count < 0 && errno == EAGAIN ? 0 : count;
}

testing::AssertionResult TelnetClient::has_arrived()
{
    int unacknowledged = 0;
    for (int waited = 0; waited < deadline_ms; waited++) {
        if (ioctl(fd_, SIOCOUTQ, &unacknowledged) == 0 && unacknowledged == 0)
            return testing::AssertionSuccess();
        poll(nullptr, 0, 1);
    }
    return testing::AssertionFailure() << unacknowledged << " bytes are on their way";
}

void TelnetClient::send_half_close()
{
    EXPECT_EQ(shutdown(fd_, SHUT_WR), 0);
}

void TelnetClient::reset()
{
    const linger at_once = {1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
    close(std::exchange(fd_, -1));
}

bool TelnetClient::read_some()
{
    char bytes[4096];
    const ssize_t count = recv(fd_, bytes, sizeof(bytes), MSG_DONTWAIT);
    is_reset_ = is_reset_ || (count < 0 && errno != EAGAIN);
    is_over_ = is_over_ || count == 0 || is_reset_;
    if (count > 0)
        received_.append(bytes, static_cast<size_t>(count));
    return count > 0;
}

bool TelnetClient::has_received(std::string_view text)
{
    while (read_some()) {
    }
    return received_.find(text) != received_.npos;
}

testing::AssertionResult TelnetClient::receives(std::string_view text)
{
    size_t at = 0;
    size_t from = found_;
    while ((at = received_.find(text, from)) == received_.npos) {
        from = std::max(from, received_.size() - std::min(received_.size(), text.size()));
        if (!read_some() && (is_over_ || !wait_for(fd_, POLLIN)))
            return testing::AssertionFailure()
                   << "waited for: " << text << "\nafter:\n"
                   << end_of(received_.substr(0, found_)) << "\namong:\n"
                   << end_of(received_.substr(found_));
    }
    found_ = at + text.size();
    return testing::AssertionSuccess();
}

testing::AssertionResult TelnetClient::receives_any()
{
    while (received_.empty()) {
        if (!read_some() && (is_over_ || !wait_for(fd_, POLLIN)))
            return testing::AssertionFailure() << (is_over_ ? "it has ended" : "nothing has come");
    }
    return testing::AssertionSuccess();
}

bool TelnetClient::is_reset() const
{
    int error = 0;
    socklen_t len = sizeof(error);
    getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &len);
    return is_reset_ || error != 0;
}

testing::AssertionResult TelnetClient::is_closed()
{
    while (!is_over_) {
        if (!read_some() && !is_over_ && !wait_for(fd_, POLLIN))
            return testing::AssertionFailure() << "it stays open; received:\n" << end_of(received_);
    }
    if (is_reset_)
        return testing::AssertionFailure() << "it was reset; received:\n" << end_of(received_);
    return testing::AssertionSuccess();
}

} // namespace varno_test
