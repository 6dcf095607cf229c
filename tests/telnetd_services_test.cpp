// varno-telnetd as services run: sockets that are handed over, signals, its rights, and what
// keeps a session from idleness.

#include "support/telnet_server.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using varno_test::TelnetClient;
using varno_test::TelnetServer;

constexpr char prompt[] = "varno> ";

std::string text_of(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class TelnetdFiles : public testing::Test {
  protected:
    TelnetdFiles()
    {
        char folder[] = "/tmp/varno-telnetd-XXXXXX";
        folder_ = mkdtemp(folder);
    }
    ~TelnetdFiles() override { std::filesystem::remove_all(folder_); }

    // Waits for a text in a file.
    static testing::AssertionResult has(const std::string &path, const std::string &text)
    {
        for (int waited_ms = 0; waited_ms < 20000; waited_ms += 10) {
            if (text_of(path).find(text) != std::string::npos)
                return testing::AssertionSuccess();
            poll(nullptr, 0, 10);
        }
        return testing::AssertionFailure() << "not in " << path << ": " << text << "\n"
                                           << text_of(path);
    }

    std::string folder_;
};

TEST_F(TelnetdFiles, AConfigurationLongerThanWhatMayWaitIsShownWhole)
{
    std::ofstream(folder_ + "/secret") << varno_test::sesame_hash << "\n";
    ASSERT_EQ(chmod((folder_ + "/secret").c_str(), 0600), 0);
    std::ofstream config(folder_ + "/config");
    for (int vlan = 1; vlan <= 1000; vlan++)
        config << "vlan " << vlan << " name " << std::string(230, 'n') << "\n";
    config.close();
    TelnetServer server({"--backlog", "131072", "--config", folder_ + "/config",
                         "--enable-secret-file", folder_ + "/secret"});
    TelnetClient client(server.port());
    client.send("terminal length 0\renable\rsesame\rshow running-config\recho at the end\r");
    EXPECT_TRUE(client.receives("\r\nvlan 1 name n"));
    EXPECT_TRUE(client.receives("\r\nvlan 1000 name n"));
    EXPECT_TRUE(client.receives("\r\nat the end\r\n"));
}

// Sockets that are handed over

// A listening socket on a free port. Returns: the port.
int listen_somewhere(int &out_fd)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    out_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(out_fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    EXPECT_EQ(listen(out_fd, 10), 0);
    socklen_t len = sizeof(address);
    getsockname(out_fd, reinterpret_cast<sockaddr *>(&address), &len);
    return ntohs(address.sin_port);
}

// Starts it as systemd does, with these descriptors from 3 on.
pid_t start_with(const std::vector<int> &descriptors, std::vector<std::string> options,
                 const std::string &notify = "")
{
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    std::vector<int> copies;
    for (const int fd : descriptors) // out of the way of each other
        copies.push_back(fcntl(fd, F_DUPFD_CLOEXEC, 100));
    for (size_t i = 0; i < copies.size(); i++)
        dup2(copies[i], static_cast<int>(3 + i));
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    setenv("LISTEN_FDS", std::to_string(copies.size()).c_str(), 1);
    if (!notify.empty())
        setenv("NOTIFY_SOCKET", notify.c_str(), 1);
    _exit(TelnetServer::run(std::move(options)));
}

TEST_F(TelnetdFiles, SocketsThatAreHandedOverAreServedAndTheManagerHearsOfIt)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string notify = folder_ + "/notify";
    std::strcpy(address.sun_path, notify.c_str());
    const int manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(manager, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    int one = -1, other = -1, ends[2];
    const int port = listen_somewhere(one), other_port = listen_somewhere(other);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const pid_t pid =
        start_with({one, ends[1], other}, {"--threads", "2", "--log", folder_ + "/log"}, notify);
    for (const int fd : {one, other, ends[1]})
        close(fd);
    char bytes[100] = "";
    EXPECT_EQ(recv(manager, bytes, sizeof(bytes), 0), 7);
    EXPECT_STREQ(bytes, "READY=1");
    EXPECT_TRUE(has(folder_ + "/log", "listening on 3 sockets that were handed over\n"));
    for (const int to : {port, other_port})
        EXPECT_TRUE(TelnetClient(to).receives(prompt));
    TelnetClient connected = TelnetClient::of_descriptor(ends[0]);
    EXPECT_TRUE(connected.receives(prompt));
    kill(pid, SIGTERM);
    EXPECT_TRUE(connected.receives("The server is going down\r\n"));
    EXPECT_TRUE(connected.is_closed());
    EXPECT_EQ(recv(manager, bytes, sizeof(bytes), 0), 10);
    EXPECT_EQ(std::string(bytes, 10), "STOPPING=1");
    connected.reset();
    close(manager);
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0) << text_of(folder_ + "/log");
}

// Those of another process are none of its own.
TEST(TelnetdServices, SocketsOfAnotherProcessAreLeftAlone)
{
    setenv("LISTEN_PID", "1", 1);
    setenv("LISTEN_FDS", "1", 1);
    TelnetServer server;
    unsetenv("LISTEN_PID");
    unsetenv("LISTEN_FDS");
    EXPECT_TRUE(TelnetClient(server.port()).receives(prompt));
}

// Signals

TEST_F(TelnetdFiles, AHangUpOpensTheLogAndReadsTheMessageAgain)
{
    const std::string log = folder_ + "/log", motd = folder_ + "/motd";
    std::ofstream(motd) << "the first day\n";
    std::ofstream(log) << "what was there\n";
    TelnetServer server({"--motd", motd, "--verbose"});
    EXPECT_TRUE(TelnetClient(server.port()).receives("the first day\r\n"));
    std::ofstream(motd) << "the second day\n";
    server.send(SIGHUP);
    ASSERT_TRUE(server.logs("log and message are opened anew"));
    TelnetClient client(server.port());
    EXPECT_TRUE(client.receives("the second day\r\n"));
    std::filesystem::remove(motd);
    server.send(SIGHUP);
    ASSERT_TRUE(server.logs("motd cannot be read"));
    EXPECT_TRUE(TelnetClient(server.port()).receives("the second day\r\n")); // it stays
    EXPECT_TRUE(client.receives(prompt));                                    // and so do sessions
}

TEST_F(TelnetdFiles, ALogFileIsAddedToAndLetGoByAHangUp)
{
    const std::string log = folder_ + "/log", old = folder_ + "/log.1";
    std::ofstream(log) << "what was there\n";
    int fd = -1;
    const int port = listen_somewhere(fd);
    const pid_t pid = start_with({fd}, {"--log", log});
    close(fd);
    EXPECT_TRUE(TelnetClient(port).receives(prompt));
    EXPECT_TRUE(has(log, " connected, 1 of 1000 sessions\n"));
    EXPECT_EQ(text_of(log).rfind("what was there\n", 0), 0U);
    std::filesystem::rename(log, old);
    kill(pid, SIGHUP);
    EXPECT_TRUE(has(log, "opened anew\n"));
    const std::string before = text_of(old);
    EXPECT_TRUE(TelnetClient(port).receives(prompt));
    EXPECT_TRUE(has(log, "#2 127.0.0.1:"));
    EXPECT_EQ(text_of(old).find("#2 127"), std::string::npos) << before;
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    // Every line begins with the time and its zone.
    std::istringstream lines(text_of(log));
    const std::regex form(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d \w+: .+)");
    int count = 0;
    for (std::string line; std::getline(lines, line); count++)
        EXPECT_TRUE(std::regex_match(line, form)) << line;
    EXPECT_GE(count, 4);
}

TEST(TelnetdServices, AHangUpThatWasIgnoredStaysIgnored)
{
    std::signal(SIGHUP, SIG_IGN);
    TelnetServer server;
    std::signal(SIGHUP, SIG_DFL);
    server.send(SIGHUP);
    TelnetClient client(server.port());
    EXPECT_TRUE(client.receives(prompt));
    client.reset();
    server.send(SIGTERM);
    EXPECT_EQ(server.wait_for_end(), 0);
    EXPECT_EQ(server.log().find("anew"), std::string::npos);
}

// Rights

TEST(TelnetdServices, AUserIsAllThatItHasOnceThePortIsOpen)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become somebody else";
    TelnetServer server({"--user", "nobody", "--threads", "2"});
    TelnetClient client(server.port());
    EXPECT_TRUE(client.receives(prompt));
    std::ifstream list("/proc/" + std::to_string(server.pid()) + "/status");
    std::string row, found;
    while (std::getline(list, row)) {
        if (row.rfind("Uid:", 0) == 0 || row.rfind("Gid:", 0) == 0 ||
            row.rfind("CapEff:", 0) == 0 || row.rfind("CapPrm:", 0) == 0 ||
            row.rfind("Groups:", 0) == 0)
            found += row + "\n";
    }
    const std::string id = "65534";
    const std::string four = id + "\t" + id + "\t" + id + "\t" + id;
    EXPECT_EQ(found, "Uid:\t" + four + "\nGid:\t" + four +
                         "\nGroups:\t \nCapPrm:\t0000000000000000\nCapEff:\t0000000000000000\n");
}

TEST(TelnetdServices, TooFewDescriptorsForAllSessionsAreWarnedOf)
{
    TelnetServer few({"--max-sessions", "100"}, 100);
    EXPECT_NE(few.log().find("warning: there are descriptors for 76 of 100 sessions"),
              std::string::npos)
        << few.log();
    TelnetServer enough({"--max-sessions", "100"}, 124);
    EXPECT_EQ(enough.log().find("warning"), std::string::npos) << enough.log();
}

// Sessions

// What a program sends to keep its connection is no key.
TEST(TelnetdServices, IdleMeansThatNoKeyIsPressed)
{
    TelnetServer server({"--idle-timeout", "1"});
    TelnetClient kept(server.port()), person(server.port());
    ASSERT_TRUE(kept.receives(prompt));
    for (int turn = 0; turn < 2000 && !kept.has_received("Idle for too long"); turn++) {
        kept.send_unread("\377\361\377\366\377\375\003\377\372\037\0\120\0\030\377\360");
        person.send("x\177");
        poll(nullptr, 0, 10);
    }
    EXPECT_TRUE(kept.receives("Idle for too long\r\n"));
    EXPECT_TRUE(kept.is_closed());
    kept.reset(); // the server waits for that
    EXPECT_TRUE(server.logs("s: idle\n"));
    EXPECT_FALSE(person.has_received("Idle"));
    person.send("echo still here\r");
    EXPECT_TRUE(person.receives("\r\nstill here\r\n"));
}

// A byte that is urgent to TCP, and a telnet Synch (RFC 854), stand where they were sent.
TEST(TelnetdServices, UrgentDataHasItsPlace)
{
    TelnetServer server;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(server.port()));
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    const auto send_urgent = [fd](std::string_view bytes) { // the last one is
        ASSERT_EQ(send(fd, bytes.data(), bytes.size(), MSG_OOB),
                  static_cast<ssize_t>(bytes.size()));
    };
    send_urgent("echo urg");
    send_urgent("ent\377\362");
    send_urgent(" data\r");
    TelnetClient client = TelnetClient::of_descriptor(fd);
    EXPECT_TRUE(client.receives("\r\nurgent data\r\n"));
}

// What a crowd took goes back to the system some time after it has gone.
TEST(TelnetdServices, MemoryOfACrowdIsGivenBack)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "a sanitizer keeps what was freed";
#endif
    TelnetServer server({"--max-per-address", "500"});
    const auto come_and_go = [&server](int count) {
        std::vector<TelnetClient> clients;
        for (int i = 0; i < count; i++) {
            clients.emplace_back(server.port());
            for (int line = 0; line < 100; line++)
                clients.back().send("echo " + std::string(140, 'x') + std::to_string(line) + "\r");
        }
        for (TelnetClient &client : clients) {
            client.send("echo done\r");
            ASSERT_TRUE(client.receives("\r\ndone\r\n"));
        }
        for (TelnetClient &client : clients)
            client.reset();
    };
    come_and_go(1); // what the process needs once is not what they leave
    const size_t before = server.resident_bytes();
    come_and_go(300);
    size_t after = 0;
    for (int tries = 0; tries < 1000; tries++) {
        after = server.resident_bytes();
        if (after < before + (size_t{2} << 20))
            break;
        poll(nullptr, 0, 10);
    }
    EXPECT_LT(after, before + (size_t{2} << 20));
    RecordProperty("left_kib", std::to_string((after - std::min(after, before)) >> 10));
}

} // namespace
