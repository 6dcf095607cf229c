// varno-tty as the forced command of a real OpenSSH server on the loopback interface,
// driven with the ssh client. Server, keys and configuration are the test's own.

#include "support/guest.h"

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
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using varno_test::Guest;

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

// A server that runs nothing but varno-tty, for the user who runs the test.
class Server {
  public:
    void start()
    {
        make_directory();
        make_key(directory_ + "/host");
        make_key(directory_ + "/user");
        // Another process may take the port before the server does.
        for (int tries = 0; tries < 5 && !is_listening_; tries++) {
            stop();
            launch();
        }
        ASSERT_TRUE(is_listening_) << "sshd says:\n" << log_;
    }

    ~Server()
    {
        stop();
        if (!directory_.empty())
            std::filesystem::remove_all(directory_);
    }

    // In place of the calling process.
    int run_client(const char *terminal_option, const char *command)
    {
        const std::string port = std::to_string(port_);
        const std::string known_hosts = "UserKnownHostsFile=" + directory_ + "/known_hosts";
        const std::string key = directory_ + "/user";
        const std::string address = user_ + "@127.0.0.1";
        execlp("ssh", "ssh", terminal_option, "-F", "none", "-p", port.c_str(), "-i", key.c_str(),
               "-o", known_hosts.c_str(), "-o", "IdentitiesOnly=yes", "-o", "IdentityAgent=none",
               "-o", "BatchMode=yes", "-o", "LogLevel=ERROR", address.c_str(), command, nullptr);
        return 127;
    }

  private:
    void make_directory()
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

    void write_configuration()
    {
        std::ofstream(directory_ + "/config")
            << "ListenAddress 127.0.0.1\n"
            << "Port " << port_ << "\n"
            << "HostKey " << directory_ << "/host\n"
            << "AuthorizedKeysFile " << directory_ << "/user.pub\n"
            << "ForceCommand " << VARNO_TTY_PROGRAM << "\n"
            << "PermitRootLogin yes\nPasswordAuthentication no\n"
            << "KbdInteractiveAuthentication no\nUsePAM no\nStrictModes no\nPidFile none\n"
            << "PrintMotd no\nPrintLastLog no\n"
            << sanitizer_settings();
        std::string host_key;
        std::getline(std::ifstream(directory_ + "/host.pub"), host_key);
        std::ofstream(directory_ + "/known_hosts")
            << "[127.0.0.1]:" << port_ << " " << host_key << "\n";
    }

    void launch()
    {
        port_ = free_port();
        write_configuration();
        int log[2];
        ASSERT_EQ(pipe2(log, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(log[1], STDERR_FILENO);
            execl(server_program, server_program, "-D", "-e", "-f",
                  (directory_ + "/config").c_str(), nullptr);
            _exit(127);
        }
        close(log[1]);
        log_fd_ = log[0];
        wait_until_listening();
    }

    void wait_until_listening()
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

    void stop()
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
            close(log_fd_);
        }
        pid_ = -1;
    }

    std::string directory_;
    std::string user_;
    std::string log_;
    int port_ = 0;
    int log_fd_ = -1;
    pid_t pid_ = -1;
    bool is_listening_ = false;
};

class SshLogin : public testing::Test {
  protected:
    void SetUp() override
    {
        if (access(server_program, X_OK) != 0)
            GTEST_SKIP() << "there is no " << server_program;
        server.start();
    }

    Server server;
};

TEST_F(SshLogin, ALoginIsASessionOnTheClientsTerminal)
{
    Guest guest(24, 80, [this] { return server.run_client("-tt", nullptr); });
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("sh\tver\t");
    EXPECT_TRUE(guest.shows_line("varno> show version |"));
    guest.type("\r");
    EXPECT_TRUE(guest.shows("\nvarno-tty "));
    guest.type("show in?");
    EXPECT_TRUE(guest.shows("\n  interfaces        the interfaces of the machine\n"));
    EXPECT_TRUE(guest.shows_line("varno> show in|"));
    guest.type("\025echo abc\033[D\033OD\177x\r");
    EXPECT_TRUE(guest.shows("\nxbc\n"));
    EXPECT_TRUE(guest.sends("\033[?2004h"));
    guest.type("exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
    EXPECT_TRUE(guest.sends("\033[?2004l"));
}

TEST_F(SshLogin, TheSizeOfTheClientsTerminalIsFollowed)
{
    Guest guest(24, 80, [this] { return server.run_client("-tt", nullptr); });
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("abcdefghijabcdefghijabcdefghijabcdefghij");
    EXPECT_TRUE(guest.shows_line("varno> abcdefghijabcdefghijabcdefghijabcdefghij|"));
    guest.resize(10, 30);
    EXPECT_TRUE(guest.shows_line("varno> $efghijabcdefghij|"));
    guest.type("\003show numbers 100\r");
    EXPECT_TRUE(guest.shows("\n9\n--More--\n"));
    guest.type("q\004");
    EXPECT_EQ(guest.wait_for_end(), 0);
}

TEST_F(SshLogin, ACommandOfTheClientRunsAsABatch)
{
    Guest shown(24, 80, [this] { return server.run_client("-T", "show version; echo 'a;  b'"); });
    EXPECT_TRUE(shown.sends("varno-tty "));
    EXPECT_TRUE(shown.sends("\na;  b\r\n"));
    EXPECT_EQ(shown.wait_for_end(), 0);
    EXPECT_EQ(shown.output().find("varno>"), std::string::npos);

    Guest refused(24, 80, [this] { return server.run_client("-T", "echo a; cat /etc/passwd"); });
    EXPECT_TRUE(refused.sends("command:2: % unknown word"));
    EXPECT_EQ(WEXITSTATUS(refused.wait_for_end()), 1);
}

} // namespace
