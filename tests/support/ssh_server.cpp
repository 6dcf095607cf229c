#include "ssh_server.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <pwd.h>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace varno_test {
namespace {

constexpr char server_program[] = "/usr/sbin/sshd";

// The system's choice of a port, which is above 10000.
int free_port()
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(address);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), len), 0);
    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &len);
    close(fd);
    return ntohs(address.sin_port);
}

// The sanitizers' options, which a server does not hand on by itself.
std::string sanitizer_settings()
{
    std::string settings;
    for (const char *name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        if (const char *value = std::getenv(name))
            settings += std::string(" ") + name + "=" + value;
    }
    return settings.empty() ? "" : "SetEnv" + settings + "\n";
}

void make_key(const std::string &path)
{
    const std::string command = "ssh-keygen -q -t ed25519 -N '' -C test -f " + path;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

} // namespace

bool SshServer::is_installed()
{
    return access(server_program, X_OK) == 0;
}

SshServer::~SshServer()
{
    stop();
    if (!directory_.empty())
        std::filesystem::remove_all(directory_);
}

void SshServer::start(const std::string &forced_command)
{
    make_directory();
    make_key(directory_ + "/host");
    make_key(directory_ + "/user");
    // Another process may take the port before the server does.
    for (int tries = 0; tries < 5 && !is_listening_; tries++) {
        stop();
        launch(forced_command);
    }
    ASSERT_TRUE(is_listening_) << "sshd says:\n" << log_;
}

int SshServer::run_client(const char *terminal_option, const char *command)
{
    const std::string port = std::to_string(port_);
    const std::string known_hosts = "UserKnownHostsFile=" + directory_ + "/known_hosts";
    const std::string key = directory_ + "/user";
    const std::string address = user_ + "@127.0.0.1";
    execlp("ssh", "ssh", terminal_option, "-F", "none", "-p", port.c_str(), "-i", key.c_str(), "-o",
           known_hosts.c_str(), "-o", "IdentitiesOnly=yes", "-o", "IdentityAgent=none", "-o",
           "BatchMode=yes", "-o", "LogLevel=ERROR", address.c_str(), command, nullptr);
    return 127;
}

void SshServer::make_directory()
{
    char name[] = "/tmp/varno-sshd-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    directory_ = name;
    const passwd *user = getpwuid(getuid());
    ASSERT_NE(user, nullptr);
    user_ = user->pw_name;
    // A server that root starts wants its compiled-in empty directory.
    const bool is_there = getuid() != 0 || mkdir("/run/sshd", 0755) == 0 || errno == EEXIST;
    ASSERT_TRUE(is_there) << std::strerror(errno);
}

void SshServer::write_configuration(const std::string &forced_command)
{
    std::ofstream(directory_ + "/config")
        << "ListenAddress 127.0.0.1\n"
        << "Port " << port_ << "\n"
        << "HostKey " << directory_ << "/host\n"
        << "AuthorizedKeysFile " << directory_ << "/user.pub\n"
        << "ForceCommand " << forced_command << "\n"
        << "PermitRootLogin yes\nPasswordAuthentication no\n"
        << "KbdInteractiveAuthentication no\nUsePAM no\nStrictModes no\nPidFile none\n"
        << "PrintMotd no\nPrintLastLog no\n"
        << sanitizer_settings();
    std::string host_key;
    std::getline(std::ifstream(directory_ + "/host.pub"), host_key);
    std::ofstream(directory_ + "/known_hosts")
        << "[127.0.0.1]:" << port_ << " " << host_key << "\n";
}

void SshServer::launch(const std::string &forced_command)
{
    port_ = free_port();
    write_configuration(forced_command);
    int log[2];
    ASSERT_EQ(pipe2(log, O_CLOEXEC), 0);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(log[1], STDERR_FILENO);
        execl(server_program, server_program, "-D", "-e", "-f", (directory_ + "/config").c_str(),
              nullptr);
        _exit(127);
    }
    close(log[1]);
    log_fd_ = log[0];
    wait_until_listening();
}

void SshServer::wait_until_listening()
{
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::seconds(20);
    while (log_.find("Server listening on") == log_.npos) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now());
        pollfd ready = {log_fd_, POLLIN, 0};
        char bytes[1024];
        if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) != 1)
            return;
        const ssize_t count = read(log_fd_, bytes, sizeof(bytes));
        if (count <= 0)
            return; // it has ended
        log_.append(bytes, static_cast<size_t>(count));
    }
    is_listening_ = true;
}

void SshServer::stop()
{
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        close(log_fd_);
    }
    pid_ = -1;
}

} // namespace varno_test
