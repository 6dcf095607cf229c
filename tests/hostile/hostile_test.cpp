// Attacks on a running varno-telnetd. While each goes on somebody else types, and is to
// notice nothing; the server is to hold no more memory than it may.

#include "../support/long_tests.h"
#include "../support/telnet_server.h"
#include "attacks.h"
#include "peak_memory.h"
#include "sockets.h"
#include "witness.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define IS_SANITIZED 1
#endif
#endif

namespace {

using namespace varno_test;

// The output that may wait for a client, one turn's more, and the session.
constexpr long most_kib_each = 256 + 64 + 16;

// The server echoes again, too.
constexpr char end_of_anything[] = "\xff\xf0\xff\xf0\033[201~\003q\003\xff\xfd\x01";

// A sanitizer's own memory is no matter of ours.
bool may_grow_to(long kib, long most_kib)
{
#ifdef IS_SANITIZED
    most_kib = 1 << 20;
#endif
    return kib <= most_kib;
}

class Hostile : public testing::Test {
  protected:
    explicit Hostile(std::vector<std::string> options = {}, rlim_t descriptors = 0)
        : server_(with_limits(std::move(options)), descriptors), witness_(server_.port()),
          memory_(server_.pid())
    {}

    // The attack is over: nobody has noticed, and it cost no more than this, for each.
    void expect_peace(long clients, long most_kib)
    {
        EXPECT_TRUE(witness_.rest());
        EXPECT_GT(witness_.rounds(), 0);
        const long each = memory_.grown() / clients;
        EXPECT_TRUE(may_grow_to(each, most_kib)) << each << " KiB";
        std::printf("peak %ld KiB for each of %ld clients; the slowest of the others' echoes took "
                    "%.1f ms, in %ld rounds\n",
                    each, clients, static_cast<double>(witness_.slowest_echo().count()) / 1000,
                    witness_.rounds());
    }

    void expect_orderly_end()
    {
        server_.send(SIGTERM);
        EXPECT_TRUE(witness_.hears("The server is going down"));
        witness_.hang_up();
        EXPECT_EQ(server_.wait_for_end(), 0) << server_.log();
    }

    TelnetServer server_;
    Witness witness_;
    PeakMemory memory_;

  private:
    static std::vector<std::string> with_limits(std::vector<std::string> options)
    {
        options.insert(options.begin(), {"--max-per-address", "500"});
        return options;
    }
};

// Bytes

class HostileBytes : public Hostile, public testing::WithParamInterface<Attack> {
  protected:
    void attack(TelnetClient &client)
    {
        for (int i = 0; i < GetParam().times; i++)
            send(client, GetParam().bytes);
    }

    // Some are sent byte by byte as well.
    void send_in_bytes(TelnetClient &client)
    {
        constexpr size_t most = 5000;
        for (const char &byte : GetParam().bytes.substr(0, most))
            send(client, {&byte, 1});
    }

    // To a session that is to end it may end at any byte.
    void send(TelnetClient &client, std::string_view bytes)
    {
        if (!GetParam().is_end)
            client.send(bytes);
        else
            client.send_unread(bytes);
    }

    void expect_outcome(TelnetClient &client)
    {
        const Attack &attack = GetParam();
        if (attack.is_end) {
            EXPECT_TRUE(client.is_closed());
        } else {
            client.send(end_of_anything);
            client.send("echo still here\r");
            EXPECT_TRUE(client.receives("\r\nstill here\r\n"));
        }
        if (attack.shows) {
            EXPECT_NE(client.received().find(attack.shows), std::string::npos);
        }
        if (attack.never) {
            EXPECT_EQ(client.received().find(attack.never), std::string::npos);
        }
    }
};

TEST_P(HostileBytes, DisturbNobody)
{
    constexpr int count = 5;
    witness_.type();
    std::vector<std::thread> clients;
    for (int i = 0; i < count; i++) {
        clients.emplace_back([this, i] {
            TelnetClient client(server_.port());
            if (i == 0)
                send_in_bytes(client);
            else
                attack(client);
            expect_outcome(client);
        });
    }
    for (std::thread &client : clients)
        client.join();
    expect_peace(count, most_kib_each);
    expect_orderly_end();
}

INSTANTIATE_TEST_SUITE_P(All, HostileBytes, testing::ValuesIn(attacks()),
                         [](const auto &param) { return std::string(param.param.name); });

// Behaviour

// Connections that are made and left as they are.
std::vector<TelnetClient> connect_many(int port, int count)
{
    std::vector<TelnetClient> clients;
    for (int i = 0; i < count; i++)
        clients.emplace_back(port);
    return clients;
}

TEST_F(Hostile, OneByteOfEveryKindAtATime)
{
    witness_.type();
    std::vector<TelnetClient> clients = connect_many(server_.port(), 20);
    const std::string bytes = "show ver\xff\xfb\x1f\xff\xfa\x1f\x01\x02\x03\x04\xff\xf0\033[A\r";
    for (const char &byte : bytes) {
        for (TelnetClient &client : clients)
            client.send({&byte, 1});
    }
    for (TelnetClient &client : clients)
        EXPECT_TRUE(client.receives("varno-telnetd"));
    expect_peace(20, most_kib_each);
}

// Each asks for far more than may wait for it, and reads nothing.
TEST_F(Hostile, NeverReaders)
{
    witness_.type();
    std::vector<TelnetClient> clients;
    for (int i = 0; i < 20; i++) {
        const int fd = connect_to(server_.port(), 4096);
        clients.push_back(TelnetClient::of_descriptor(fd));
        clients.back().send_unread("terminal length 0\rshow numbers 1000000\r");
    }
    const std::string flood(1 << 16, '?');
    for (int round = 0; round < 50; round++) {
        for (TelnetClient &client : clients)
            EXPECT_GE(client.send_unread(flood), 0);
    }
    expect_peace(20, most_kib_each);
}

TEST(HostileStalled, NeverReadersAreDropped)
{
    TelnetServer server({"--stall-timeout", "1"});
    Witness witness(server.port());
    TelnetClient client = TelnetClient::of_descriptor(connect_to(server.port(), 4096));
    witness.type();
    client.send_unread("terminal length 0\rshow numbers 1000000\r");
    EXPECT_TRUE(server.logs("the client takes no output"));
    EXPECT_TRUE(witness.rest());
}

// A window of one segment, emptied a byte at a time.
TEST_F(Hostile, AByteIsReadAtATime)
{
    const int fd = connect_to(server_.port(), 1);
    witness_.type();
    const std::string command = "terminal length 0\rshow numbers 3000\recho that is all\r";
    EXPECT_EQ(send(fd, command.data(), command.size(), 0), static_cast<ssize_t>(command.size()));
    std::string heard;
    char byte = 0;
    while (heard.find("\r\nthat is all\r\n") == heard.npos && recv(fd, &byte, 1, 0) == 1)
        heard += byte;
    EXPECT_NE(heard.find("\r\n3000\r\n"), heard.npos);
    close(fd);
    expect_peace(1, most_kib_each);
}

TEST_F(Hostile, HalfClosedAndSilent)
{
    witness_.type();
    const std::vector<TelnetClient> silent = connect_many(server_.port(), 100);
    std::vector<TelnetClient> half_closed = connect_many(server_.port(), 100);
    for (TelnetClient &client : half_closed)
        client.send_half_close();
    for (TelnetClient &client : half_closed)
        EXPECT_TRUE(client.is_closed());
    expect_peace(200, most_kib_each);
}

TEST_F(Hostile, ResetsAtAnyMoment)
{
    witness_.type();
    const std::string typed = "terminal length 0\rshow numbers 1000000\r\xff\xfa\x18";
    for (size_t i = 0; i < 400; i++) {
        TelnetClient client(server_.port());
        client.send_unread(typed.substr(0, i % (typed.size() + 1)));
        client.reset();
    }
    EXPECT_TRUE(TelnetClient(server_.port()).receives("varno> "));
    expect_peace(1, 4096);
    expect_orderly_end();
}

// Sends back whatever it gets: commands, echoes, errors. The two may come to rest.
TEST_F(Hostile, AMirror)
{
    witness_.type();
    const int fd = connect_to(server_.port());
    char bytes[4096];
    const timeval patience = {0, 100'000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    long turned = 0;
    for (int rests = 0; turned < 1 << 20 && rests < 100 && witness_.rounds() <= 3;) {
        const ssize_t count = recv(fd, bytes, sizeof(bytes), 0);
        if (count < 0 && errno == EAGAIN) {
            rests++;
            continue;
        }
        if (count <= 0 || send(fd, bytes, static_cast<size_t>(count), MSG_NOSIGNAL) <= 0)
            break;
        turned += count;
    }
    EXPECT_GT(turned, 0);
    close(fd);
    expect_peace(1, most_kib_each);
}

// 100,000 with VARNO_LONG_TESTS=50.
TEST_F(Hostile, ManyConnectAndDisconnect)
{
    const int count = 2000 * long_tests_factor();
    for (int i = 0; i < 500; i++) { // what the process needs once is not what each leaves
        TelnetClient client(server_.port());
        client.send("\r"); // who types waits for no prompt
        EXPECT_TRUE(client.receives("varno> "));
    }
    const PeakMemory from_now_on(server_.pid());
    witness_.type();
    for (int i = 0; i < count; i++) {
        TelnetClient client(server_.port());
        client.send("\r");
        EXPECT_TRUE(client.receives("varno> "));
        client.send("show version\r");
        client.reset(); // thousands of ends that linger would use up the ports
    }
    const long left = from_now_on.grown_still();
    std::printf("%ld KiB more after %d sessions\n", left, count);
    EXPECT_TRUE(may_grow_to(left, 1024)) << left << " KiB";
    expect_peace(1, 8192);
    expect_orderly_end();
}

TEST(HostileDescriptors, ThoseThereAreAreServedWithoutMore)
{
    TelnetServer server({}, 40);
    Witness witness(server.port());
    witness.type();
    {
        std::vector<TelnetClient> clients = connect_many(server.port(), 100);
        EXPECT_TRUE(clients.front().receives("varno> "));
        EXPECT_TRUE(clients.back().receives("Too many sessions"));
    }
    EXPECT_TRUE(witness.rest());
    bool is_let_in = false; // once the server has seen that the others hung up
    for (int tries = 0; tries < 10000 && !is_let_in; tries++)
        is_let_in = bool(TelnetClient(server.port()).receives("varno> "));
    EXPECT_TRUE(is_let_in);
}

TEST_F(Hostile, TheEndUnderLoad)
{
    std::vector<TelnetClient> clients = connect_many(server_.port(), 50);
    for (TelnetClient &client : clients)
        client.send_unread("terminal length 0\rshow numbers 1000000\r");
    server_.send(SIGTERM);
    for (TelnetClient &client : clients)
        client.send_unread(std::string(1 << 16, '?'));
    EXPECT_TRUE(witness_.hears("The server is going down"));
    witness_.hang_up();
    EXPECT_EQ(server_.wait_for_end(), 0) << server_.log();
}

// Sets LD_PRELOAD for the processes that are started while it lives.
class Preloaded {
  public:
    explicit Preloaded(const char *library)
    {
        const char *set = std::getenv("ASAN_OPTIONS");
        asan_options_ = set ? set : "";
        setenv("ASAN_OPTIONS", (asan_options_ + ":verify_asan_link_order=0").c_str(), 1);
        setenv("LD_PRELOAD", library, 1);
    }
    ~Preloaded()
    {
        unsetenv("LD_PRELOAD");
        setenv("ASAN_OPTIONS", asan_options_.c_str(), 1);
    }

  private:
    std::string asan_options_;
};

// One thread serves both.
TEST(HostileDisk, NobodyWaitsForADiskThatTakesItsTime)
{
    std::string folder = testing::TempDir() + "varno-disk-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::ofstream(folder + "/secret") << varno_test::sesame_hash << "\n";
    chmod((folder + "/secret").c_str(), 0600);
    auto preloaded = std::make_unique<Preloaded>(VARNO_FAILING_FILES);
    setenv("VARNO_FAILING_CALL", "4", 1); // fsync
    setenv("VARNO_FAILING_HOW", (folder + "/now").c_str(), 1);
    TelnetServer server(
        {"--config", folder + "/config", "--enable-secret-file", folder + "/secret"});
    preloaded.reset();
    TelnetClient saving(server.port());
    saving.send("enable\rsesame\rconfigure\rvlan 7\rend\rwrite memory\recho saved\r");
    EXPECT_TRUE(saving.receives("write memory\r\n"));
    EXPECT_TRUE(server.logs("[fsync]"));
    TelnetClient other(server.port());
    other.send("echo here\r");
    EXPECT_TRUE(other.receives("\r\nhere\r\n"));
    EXPECT_FALSE(saving.has_received("\r\nsaved\r\n"));
    std::ofstream(folder + "/now").close();
    EXPECT_TRUE(saving.receives("\r\nsaved\r\n"));
    EXPECT_TRUE(std::filesystem::exists(folder + "/config"));
    server.send(SIGTERM);
    EXPECT_EQ(server.wait_for_end(), 0) << server.log();
    std::filesystem::remove_all(folder);
}

// The server's memory fails once for each client, wherever it asks for some.
TEST(HostileMemory, AClientThatThereIsNoMemoryForLeavesItsPlaceToTheNext)
{
    auto preloaded = std::make_unique<Preloaded>(VARNO_FAILING_NEW);
    constexpr int count = 40;
    TelnetServer server({"--max-sessions", std::to_string(count)});
    preloaded.reset();
    int refused = 0;
    for (int i = 0; i < count; i++) {
        TelnetClient client(server.port());
        refused += !client.receives("varno> ");
        client.reset(); // at once gone
    }
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, count);
    bool are_let_in = false; // once the server has seen that those have gone
    for (int tries = 0; tries < 1000 && !are_let_in; tries++) {
        are_let_in = true;
        std::vector<TelnetClient> clients = connect_many(server.port(), count);
        for (TelnetClient &client : clients)
            are_let_in = client.receives("varno> ") && are_let_in;
        for (TelnetClient &client : clients)
            client.reset();
    }
    EXPECT_TRUE(are_let_in);
    server.send(SIGTERM);
    EXPECT_EQ(server.wait_for_end(), 0) << server.log();
    std::printf("%d of %d clients were refused\n", refused, count);
}

// "show history" breaks a precondition of the library here.
TEST(HostileFault, AFailedAssertionEndsItsSessionAlone)
{
    auto preloaded = std::make_unique<Preloaded>(VARNO_FAILING_HISTORY);
    TelnetServer server;
    preloaded.reset();
    Witness witness(server.port());
    witness.type();
    for (int i = 0; i < 5; i++) {
        TelnetClient client(server.port());
        client.send("echo before\rshow history\recho behind\r");
        EXPECT_TRUE(client.receives("\r\nbefore\r\n"));
        EXPECT_TRUE(client.receives("internal fault"));
        EXPECT_TRUE(client.is_closed());
        EXPECT_EQ(client.received().find("\r\nbehind"), std::string::npos);
    }
    EXPECT_TRUE(server.logs("internal fault: buf && buflen > 0 && ctx"));
    EXPECT_TRUE(witness.rest());
    witness.hang_up();
    server.send(SIGTERM);
    EXPECT_EQ(server.wait_for_end(), 0) << server.log();
}

} // namespace
