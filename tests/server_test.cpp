// The server library by itself: places to listen, who is let in, what other threads may ask
// of it. What a client meets is tests/telnetd_test.cpp's and tests/hostile's.

#include <varno/server.h>

#include "../server/limits.h"
#include "../server/proxy_header.h"
#include "support/telnet_server.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace std::string_literals;
using varno_test::TelnetClient;

// A server on a thread of its own, and what its callbacks have told.
class Server {
  public:
    explicit Server(server_config_s config = SERVER_CONFIG_INIT) : server_(create(config)) {}
    ~Server()
    {
        stop();
        server_free(server_);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    server_s *get() { return server_; }

    void start()
    {
        thread_ = std::thread([this] { EXPECT_EQ(server_run(server_), 0); });
    }

    // Listens on a free port, and starts. Returns: the port.
    int start_on_tcp()
    {
        const int port = server_listen_tcp(server_, "127.0.0.1", 0);
        EXPECT_GT(port, 0);
        start();
        return port;
    }

    void stop()
    {
        if (!thread_.joinable())
            return;
        server_stop(server_, "over");
        thread_.join();
    }

    // Waits until a row with this text has been told, and returns it.
    std::string told(const std::string &text)
    {
        std::unique_lock lock(mutex_);
        std::string row;
        const auto is_told = [&] {
            const auto found =
                std::find_if(told_.begin(), told_.end(),
                             [&](const std::string &one) { return one.find(text) != one.npos; });
            row = found == told_.end() ? "" : *found;
            return found != told_.end();
        };
        EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(20), is_told)) << text;
        return row;
    }

    void tell(const std::string &row)
    {
        const std::lock_guard lock(mutex_);
        told_.push_back(row);
        changed_.notify_all();
    }

    server_figures_s figures()
    {
        server_figures_s figures = {};
        figures.size = sizeof(figures);
        server_get_figures(server_, &figures);
        return figures;
    }

  private:
    static Server &of(void *user) { return *static_cast<Server *>(user); }

    server_s *create(server_config_s config)
    {
        config.user = this;
        config.begin = [](server_s *, void *user, const server_client_s *client,
                          tsession_config_s *session) {
            session->line = [](tsession_s *s, void *, const char *line, const cli_pnode_s *,
                               cli_pmatch_s *) {
                tsession_print(s, "ran %s\n", line);
                if (std::strcmp(line, "exit") == 0)
                    tsession_close(s);
            };
            of(user).tell("begin " + std::to_string(client->number) + " " + client->name + " of " +
                          client->address + " pid " + std::to_string(client->pid) + " uid " +
                          std::to_string(client->uid) + " gid " + std::to_string(client->gid));
            return 0;
        };
        config.end = [](server_s *, void *user, const server_client_s *client, void *,
                        const char *why) {
            of(user).tell("end " + std::to_string(client->number) + " " + why);
        };
        config.refuse = [](server_s *, void *user, const server_client_s *client, const char *why,
                           unsigned long count) {
            of(user).tell("refuse " + std::string(client->address) + " " + std::to_string(count) +
                          " " + why);
        };
        server_s *server = server_create(&config);
        EXPECT_NE(server, nullptr);
        return server;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> told_;
    server_s *server_;
    std::thread thread_;
};

int unix_socket(const std::string &path, bool is_client)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto *any = reinterpret_cast<const sockaddr *>(&address);
    EXPECT_EQ(is_client ? connect(fd, any, sizeof(address)) : bind(fd, any, sizeof(address)), 0);
    return fd;
}

// Places to listen

class ServerFiles : public testing::Test {
  protected:
    ServerFiles()
    {
        char folder[] = "/tmp/varno-server-XXXXXX";
        folder_ = mkdtemp(folder);
        path_ = folder_ + "/socket";
    }
    ~ServerFiles() override { std::filesystem::remove_all(folder_); }

    std::string folder_, path_;
};

TEST_F(ServerFiles, AUnixSocketTellsWhoIsThere)
{
    {
        Server server;
        ASSERT_EQ(server_listen_unix(server.get(), path_.c_str(), 0600), 0);
        struct stat status = {};
        ASSERT_EQ(stat(path_.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600U);
        server.start();
        TelnetClient client = TelnetClient::of_descriptor(unix_socket(path_, true));
        EXPECT_TRUE(client.receives("> "));
        EXPECT_EQ(server.told("begin"), "begin 1 local of local pid " + std::to_string(getpid()) +
                                            " uid " + std::to_string(getuid()) + " gid " +
                                            std::to_string(getgid()));
        client.send("hello\r");
        EXPECT_TRUE(client.receives("ran hello\r\n"));
    }
    EXPECT_FALSE(std::filesystem::exists(path_)); // it goes with the server
}

TEST_F(ServerFiles, AUnixSocketTakesThePlaceOfOneThatNobodyListensOn)
{
    close(unix_socket(path_, false));
    Server server, other;
    EXPECT_EQ(server_listen_unix(server.get(), path_.c_str(), 0600), 0);
    EXPECT_EQ(server_listen_unix(other.get(), path_.c_str(), 0600), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(server_listen_unix(other.get(), (folder_ + "/" + std::string(200, 'x')).c_str(), 0),
              -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(server_listen_unix(other.get(), (folder_ + "/no/socket").c_str(), 0600), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ServerFiles, ASocketThatListensAlreadyIsTakenOver)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.threads = 3;
    Server server(config);
    const int fd = unix_socket(path_, false);
    EXPECT_EQ(server_listen_fd(server.get(), fd), -1); // it does not listen
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(server_listen_fd(server.get(), 1000), -1);
    EXPECT_EQ(errno, EBADF);
    ASSERT_EQ(listen(fd, 10), 0); // it is open still
    ASSERT_EQ(server_listen_fd(server.get(), fd), 0);
    server.start();
    std::vector<TelnetClient> clients;
    for (int i = 0; i < 12; i++)
        clients.push_back(TelnetClient::of_descriptor(unix_socket(path_, true)));
    for (TelnetClient &client : clients)
        EXPECT_TRUE(client.receives("> "));
}

TEST(Server, AClientOnDescriptorsIsServedToItsEnd)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    Server server;
    const int file = open("/dev/null", O_RDWR | O_CLOEXEC);
    EXPECT_EQ(server_serve(server.get(), file, file), -1); // that cannot be waited for
    EXPECT_EQ(errno, EINVAL);
    close(file);
    ASSERT_EQ(server_serve(server.get(), ends[0], ends[0]), 0);
    server.start();
    TelnetClient client = TelnetClient::of_descriptor(ends[1]);
    client.send("exit\r");
    EXPECT_TRUE(client.is_closed());
    server.told("end 1 logged out");
}

// What a configuration may be

TEST(Server, AnEarlierRecordIsTakenAndAWrongOneIsNot)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.backlog = 1; // of which an earlier caller knows nothing
    config.size = offsetof(server_config_s, max_per_address);
    server_s *server = server_create(&config);
    EXPECT_NE(server, nullptr);
    server_figures_s figures = {};
    figures.size = offsetof(server_figures_s, accepted);
    figures.sessions = figures.accepted = 77;
    server_get_figures(server, &figures);
    EXPECT_EQ(figures.sessions, 0U);
    EXPECT_EQ(figures.accepted, 77U);
    EXPECT_EQ(server_listen_tcp(server, "localhost", 0), -1);
    EXPECT_EQ(errno, EINVAL);
    server_free(server);
    server_free(nullptr);
    config.size = sizeof(config);
    EXPECT_EQ(server_create(&config), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

// Other threads

struct Task {
    Server &server;
    std::string name;
};

// Says where it ran.
void run_task(server_s *, tsession_s *s, void *ctx)
{
    const std::unique_ptr<const Task> task(static_cast<Task *>(ctx));
    task->server.tell("task " + task->name + (s ? " with" : " without"));
    if (s)
        tsession_print(s, "result %s of %s\n", task->name.c_str(), server_client(s)->name);
}

TEST(Server, ResultsOfOtherThreadsReachTheirSessionsInOrder)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.threads = 2;
    Server server(config);
    const int port = server.start_on_tcp();
    TelnetClient client(port);
    EXPECT_TRUE(client.receives("> "));
    const std::string row = server.told("begin");
    const uint64_t number = std::stoull(row.substr(6));
    EXPECT_EQ(server_client(nullptr), nullptr); // on this thread there is no session
    for (const char *name : {"one", "two", "three"})
        ASSERT_EQ(server_post(server.get(), number, run_task, new Task{server, name}), 0);
    for (const char *name : {"one", "two", "three"})
        EXPECT_TRUE(client.receives("result " + std::string(name) + " of 127.0.0.1:"));
    client.send("exit\r");
    EXPECT_TRUE(client.is_closed());
    client.reset();
    server.told("end");
    ASSERT_EQ(server_post(server.get(), number, run_task, new Task{server, "late"}), 0);
    EXPECT_EQ(server.told("task late"), "task late without");
    server.stop();
    const auto task = std::make_unique<Task>(Task{server, "never"});
    EXPECT_EQ(server_post(server.get(), number, run_task, task.get()), -1);
}

TEST(Server, AMessageToAllReachesTheSessionsOfEveryThread)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.threads = 3;
    Server server(config);
    const int port = server.start_on_tcp();
    std::vector<TelnetClient> clients;
    for (int i = 0; i < 9; i++) {
        clients.emplace_back(port);
        EXPECT_TRUE(clients.back().receives("> "));
        clients.back().send("half a li");
        EXPECT_TRUE(clients.back().receives("half a li"));
    }
    ASSERT_EQ(server_tell_all(server.get(), "tea \033[31mtime"), 0);
    for (TelnetClient &client : clients) {
        EXPECT_TRUE(client.receives("tea ?[31mtime\r\n"));
        EXPECT_TRUE(client.receives("half a li"));
    }
}

TEST(Server, FiguresCountWhatHasHappened)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.max_sessions = 2;
    Server server(config);
    const int port = server.start_on_tcp();
    TelnetClient one(port), two(port);
    one.send("a line\r");
    EXPECT_TRUE(one.receives("ran a line\r\n"));
    EXPECT_TRUE(two.receives("> "));
    TelnetClient three(port);
    EXPECT_TRUE(three.is_closed());
    server.told("refuse 127.0.0.1 1 Too many sessions");
    const server_figures_s figures = server.figures();
    EXPECT_EQ(figures.sessions, 2U);
    EXPECT_EQ(figures.accepted, 2U);
    EXPECT_EQ(figures.refused, 1U);
    EXPECT_EQ(figures.bytes_in, std::strlen("a line\r"));
    EXPECT_EQ(figures.bytes_out, one.received().size() + two.received().size());
    EXPECT_GT(figures.slowest_turn_us, 0U);
    one.reset();
    server.told("end");
    EXPECT_EQ(server.figures().sessions, 1U);
}

// Who is let in. All clients of these tests are 127.0.0.1.

TEST(Server, RefusalsAreToldAtOnceAndThenTogether)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.max_connect_rate = 2;
    Server server(config);
    const int port = server.start_on_tcp();
    std::vector<TelnetClient> clients;
    for (int i = 0; i < 12; i++)
        clients.emplace_back(port);
    EXPECT_TRUE(clients[0].receives("> "));
    EXPECT_TRUE(clients[1].receives("> "));
    for (size_t i = 2; i < clients.size(); i++) {
        EXPECT_TRUE(clients[i].is_closed());
        EXPECT_EQ(clients[i].received(),
                  "Too many connections from your address, try again later\r\n");
    }
    server.told("refuse 127.0.0.1 1 Too many connections");
    server.told("refuse 127.0.0.1 9 Too many connections");
}

TEST(Server, ReservedSessionsAreNobodyElses)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.max_sessions = 3;
    config.max_per_address = 1;
    Server server(config);
    EXPECT_EQ(server_reserve(server.get(), "nobody", 1), -1);
    EXPECT_EQ(server_reserve(server.get(), "192.0.2.1", 4), -1);
    EXPECT_EQ(server_reserve(server.get(), "192.0.2.1", 1), 0);
    EXPECT_EQ(server_reserve(server.get(), "192.0.2.1", 1), -1); // it has its share
    EXPECT_EQ(server_reserve(server.get(), "127.0.0.1", 2), 0);
    EXPECT_EQ(server_reserve(server.get(), "local", 1), -1); // no more are left
    const int port = server.start_on_tcp();
    TelnetClient one(port), two(port), three(port);
    EXPECT_TRUE(one.receives("> "));
    EXPECT_TRUE(two.receives("> "));
    EXPECT_TRUE(three.receives("Too many sessions, try again later\r\n"));
}

struct Visit {
    uint64_t ms;
    const char *who; // comes, or leaves where "-" is before it
    const char *why; // NULL: it is let in
};

struct LimitCase {
    const char *name;
    uint32_t sessions, per_address, rate;
    uint32_t reserved; // for "own"
    std::vector<Visit> visits;
};

constexpr char full[] = "Too many sessions, try again later";
constexpr char too_many[] = "Too many sessions from your address";
constexpr char too_fast[] = "Too many connections from your address, try again later";

TEST(ServerLimits, HoldForEachVisit)
{
    // clang-format off
    const LimitCase rows[] = {
        {"all sessions",          2, 2, 0, 0, {{0, "a", nullptr}, {0, "b", nullptr}, {0, "c", full},
                                               {0, "-a", nullptr}, {0, "c", nullptr}}},
        {"an address's",          9, 1, 0, 0, {{0, "a", nullptr}, {0, "a", too_many}, {0, "b", nullptr},
                                               {0, "-a", nullptr}, {0, "a", nullptr}}},
        {"two a minute",          9, 9, 2, 0, {{0, "a", nullptr}, {1, "a", nullptr}, {2, "a", too_fast},
                                               {2, "b", nullptr}, {29999, "a", too_fast}, {30000, "a", nullptr},
                                               {30001, "a", too_fast}, {90001, "a", nullptr},
                                               {90002, "a", nullptr}, {90003, "a", too_fast}}},
        {"leaving is no excuse",  9, 9, 1, 0, {{0, "a", nullptr}, {0, "-a", nullptr}, {59999, "a", too_fast},
                                               {60000, "a", nullptr}}},
        {"more than a thousand",  9, 9, 90000, 0, {{0, "a", nullptr}, {0, "a", nullptr}}},
        {"one's own",             2, 1, 1, 1, {{0, "a", nullptr}, {0, "b", full}, {0, "own", nullptr},
                                               {0, "own", full}, {0, "-own", nullptr}, {0, "b", full},
                                               {0, "own", nullptr}, {0, "-own", nullptr}, {0, "own", nullptr},
                                               {0, "-a", nullptr}, {0, "b", nullptr}}},
        {"one's own and more",    3, 2, 0, 1, {{0, "own", nullptr}, {0, "own", nullptr}, {0, "own", too_many},
                                               {0, "a", nullptr}, {0, "b", full}, {0, "-own", nullptr},
                                               {0, "b", nullptr}, {0, "c", full}, {0, "-own", nullptr},
                                               {0, "c", full}, {0, "own", nullptr}}},
    };
    // clang-format on
    for (const LimitCase &row : rows) {
        server_config_s config = SERVER_CONFIG_INIT;
        config.max_sessions = row.sessions;
        config.max_per_address = row.per_address;
        config.max_connect_rate = row.rate;
        varno::Limits limits(config);
        ASSERT_TRUE(row.reserved == 0 || limits.reserve("own", row.reserved));
        for (size_t i = 0; i < row.visits.size(); i++) {
            const Visit &visit = row.visits[i];
            if (*visit.who == '-')
                limits.leave(visit.who + 1);
            else
                EXPECT_STREQ(limits.enter(visit.who, visit.ms), visit.why) << row.name << " " << i;
        }
    }
}

// However many addresses there are, the memory for their rates is bounded.
TEST(ServerLimits, AddressesThatAreTooManyAreNotCounted)
{
    varno::ConnectRate rate(1);
    for (int i = 0; i < 65536; i++)
        ASSERT_TRUE(rate.admits(std::to_string(i), 1));
    EXPECT_FALSE(rate.admits("7", 2));
    EXPECT_TRUE(rate.admits("another", 2));
    EXPECT_TRUE(rate.admits("another", 2));
    EXPECT_TRUE(rate.admits("another", 60001)); // the others are forgotten
    EXPECT_FALSE(rate.admits("another", 60002));
}

// Proxies

const std::string signature = "\r\n\r\n\0\r\nQUIT\n"s;

// A header of this command and family, with the bytes after the fixed part.
std::string header(char command, char family, const std::string &rest)
{
    return signature + command + family + static_cast<char>(rest.size() >> 8) +
           static_cast<char>(rest.size()) + rest;
}

const std::string tcp4 = "\xc0\0\2\1\x7f\0\0\1\x9c\x40\0\x17"s; // 192.0.2.1:40000 to 127.0.0.1:23
const std::string tcp6 = "\x20\1\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\1"
                         "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1\x9c\x41\0\x17"s;

// What a header says: the client, "itself", or "wrong".
std::string read(const varno::ProxyHeader &header)
{
    char host[INET6_ADDRSTRLEN] = "";
    if (!header.has_client())
        return "itself";
    if (header.client().ss_family == AF_UNIX)
        return "local";
    if (header.client().ss_family == AF_INET6) {
        const auto &address = reinterpret_cast<const sockaddr_in6 &>(header.client());
        inet_ntop(AF_INET6, &address.sin6_addr, host, sizeof(host));
        return host + " "s + std::to_string(ntohs(address.sin6_port));
    }
    const auto &address = reinterpret_cast<const sockaddr_in &>(header.client());
    inet_ntop(AF_INET, &address.sin_addr, host, sizeof(host));
    return host + " "s + std::to_string(ntohs(address.sin_port));
}

// As a connection gives it: in pieces of so many bytes, and more after it.
std::string take_in_pieces(const std::string &bytes, size_t piece)
{
    varno::ProxyHeader header;
    size_t at = 0;
    while (header.wanted() > 0) {
        const size_t count = std::min({header.wanted(), piece, bytes.size() - at});
        if (count == 0)
            return "unfinished";
        if (!header.take(reinterpret_cast<const unsigned char *>(bytes.data()) + at, count))
            return "wrong";
        at += count;
    }
    return read(header) + " then " + bytes.substr(at);
}

struct HeaderCase {
    const char *name;
    std::string bytes;
    const char *result;
};

TEST(ProxyHeader, SaysWhoseTheConnectionIs)
{
    const std::string wrong_signature = "\r\n\r\n\0\r\nQUIX\n"s;
    // clang-format off
    const HeaderCase rows[] = {
        {"IPv4",                 header('\x21', '\x11', tcp4) + "ls",              "192.0.2.1 40000 then ls"},
        {"IPv6",                 header('\x21', '\x21', tcp6) + "ls",              "2001:db8::1 40001 then ls"},
        {"Unix",                 header('\x21', '\x31', std::string(216, 'x')),    "local then "},
        {"more after it",        header('\x21', '\x11', tcp4 + "\x20\0\5what!"s),  "192.0.2.1 40000 then "},
        {"as much as there may", header('\x21', '\x11', tcp4 + std::string(4068, 't')), "192.0.2.1 40000 then "},
        {"too much",             header('\x21', '\x11', tcp4 + std::string(4069, 't')), "wrong"},
        {"the proxy itself",     header('\x20', '\0', ""),                         "itself then "},
        {"itself, and addresses", header('\x20', '\x11', tcp4),                    "itself then "},
        {"itself, any family",   header('\x20', '\x77', "x"),                      "itself then "},
        {"a client not known",   header('\x21', '\0', "xyz") + "ls",               "itself then ls"},
        {"short addresses",      header('\x21', '\x11', tcp4.substr(1)),           "wrong"},
        {"short IPv6",           header('\x21', '\x21', tcp4),                     "wrong"},
        {"short Unix",           header('\x21', '\x31', std::string(215, 'x')),    "wrong"},
        {"datagrams",            header('\x21', '\x12', tcp4),                     "wrong"},
        {"no such family",       header('\x21', '\x41', tcp6),                     "wrong"},
        {"no such command",      header('\x22', '\x11', tcp4),                     "wrong"},
        {"version 1",            "PROXY TCP4 192.0.2.1 127.0.0.1 40000 23\r\n",    "wrong"},
        {"version 3",            header('\x31', '\x11', tcp4),                     "wrong"},
        {"another signature",    wrong_signature + "\x21\x11\0\x0c"s + tcp4,       "wrong"},
        {"telnet",               "\xff\xfb\x1f",                                   "wrong"},
        {"nothing",              "",                                               "unfinished"},
        {"half a signature",     signature.substr(0, 6),                           "unfinished"},
        {"half the addresses",   header('\x21', '\x11', tcp4).substr(0, 22),       "unfinished"},
    };
    // clang-format on
    for (const HeaderCase &row : rows) {
        for (size_t piece = 1; piece <= row.bytes.size() + 1; piece++)
            ASSERT_EQ(take_in_pieces(row.bytes, piece), row.result) << row.name << " by " << piece;
    }
}

// Every byte of a whole header may be another one: never more than the header is taken.
TEST(ProxyHeader, AnyByteMayBeWrong)
{
    const std::string right = header('\x21', '\x21', tcp6 + "\1\0\1h"s);
    for (size_t at = 0; at < right.size(); at++) {
        for (int byte = 0; byte < 256; byte++) {
            std::string bytes = right;
            bytes[at] = static_cast<char>(byte);
            const std::string whole = take_in_pieces(bytes, bytes.size());
            ASSERT_EQ(whole, take_in_pieces(bytes, 1)) << at << " " << byte;
            if (at < signature.size() && bytes != right) {
                ASSERT_EQ(whole, "wrong") << at << " " << byte;
            }
        }
    }
}

struct Introduced : testing::Test {
    Introduced()
    {
        EXPECT_EQ(server_trust_proxy(server.get(), "balancer"), -1);
        EXPECT_EQ(server_trust_proxy(server.get(), "127.0.0.1"), 0);
        port = server.start_on_tcp();
    }

    static server_config_s one_each()
    {
        server_config_s config = SERVER_CONFIG_INIT;
        config.max_per_address = 1;
        return config;
    }

    Server server{one_each()};
    int port = 0;
};

TEST_F(Introduced, ClientsAreCountedAndNamedAsTheProxySays)
{
    TelnetClient one(port), two(port), same(port), itself(port);
    one.send(header('\x21', '\x11', tcp4) + "early\r");
    EXPECT_TRUE(one.receives("ran early\r\n"));
    EXPECT_NE(server.told("192.0.2.1").find("192.0.2.1:40000 of 192.0.2.1 pid -1"),
              std::string::npos);
    for (const char &byte : header('\x21', '\x21', tcp6))
        two.send({&byte, 1});
    two.send("cut\r");
    EXPECT_TRUE(two.receives("ran cut\r\n"));
    server.told("[2001:db8::1]:40001 of 2001:db8::");
    same.send(header('\x21', '\x11', tcp4));
    EXPECT_TRUE(same.is_closed());
    EXPECT_EQ(same.received(), "Too many sessions from your address\r\n");
    server.told("refuse 192.0.2.1 1 Too many");
    itself.send(header('\x20', '\0', ""));
    EXPECT_TRUE(itself.receives("> "));
    server.told("of 127.0.0.1");
}

TEST_F(Introduced, WithoutAHeaderNobodyIsServed)
{
    TelnetClient telnet(port), silent(port), half(port);
    { // as a balancer looks whether somebody answers
        const TelnetClient look(port);
    }
    half.send(signature.substr(0, 5));
    telnet.send("echo a\r");
    EXPECT_TRUE(telnet.is_closed());
    EXPECT_EQ(telnet.received(), "A proxy's client without a PROXY header, version 2\r\n");
    for (TelnetClient *late : {&silent, &half}) {
        EXPECT_TRUE(late->is_closed());
        EXPECT_EQ(late->received(), "A proxy's client without a PROXY header in time\r\n");
    }
    EXPECT_EQ(server.figures().accepted, 0U);
    EXPECT_EQ(server.figures().refused, 3U);
}

TEST_F(Introduced, ThoseWhoAreYetToBeAreBoundedAndEndWithTheServer)
{
    std::vector<TelnetClient> silent;
    for (int i = 0; i < 256; i++)
        silent.emplace_back(port);
    TelnetClient next(port);
    EXPECT_TRUE(next.is_closed());
    EXPECT_EQ(next.received(), "Too many sessions, try again later\r\n");
    server.stop();
    for (TelnetClient &client : silent)
        EXPECT_TRUE(client.is_closed());
}

// Deadlines

TEST(Server, ASessionHasItsTime)
{
    server_config_s config = SERVER_CONFIG_INIT;
    config.session_seconds = 1;
    Server server(config);
    TelnetClient client(server.start_on_tcp());
    client.send("half a li");
    EXPECT_TRUE(client.receives("The time of this session is over\r\n"));
    EXPECT_TRUE(client.is_closed());
    client.reset();
    server.told("end 1 session time-out");
}

} // namespace
