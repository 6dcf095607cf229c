#include "telnet_server.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
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
    : fd_(std::exchange(other.fd_, -1)), is_over_(other.is_over_), found_(other.found_),
      received_(std::move(other.received_))
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
    is_over_ = is_over_ || count == 0 || (count < 0 && errno != EAGAIN);
    if (count > 0)
        received_.append(bytes, static_cast<size_t>(count));
    return count > 0;
}

testing::AssertionResult TelnetClient::receives(std::string_view text)
{
    size_t at = 0;
    while ((at = received_.find(text, found_)) == received_.npos) {
        if (!read_some() && (is_over_ || !wait_for(fd_, POLLIN)))
            return testing::AssertionFailure() << "waited for: " << text << "\nbehind:\n"
                                               << received_.substr(0, found_) << "\namong:\n"
                                               << received_.substr(found_);
    }
    found_ = at + text.size();
    return testing::AssertionSuccess();
}

testing::AssertionResult TelnetClient::is_closed()
{
    while (!is_over_) {
        if (!read_some() && !is_over_ && !wait_for(fd_, POLLIN))
            return testing::AssertionFailure() << "it stays open; received:\n" << received_;
    }
    return testing::AssertionSuccess();
}

} // namespace varno_test
