// Drives varno-telnetd: with Debian's telnet client on a pseudo-terminal, as a person
// would, and with bare sockets, as nobody should.

#include "../server/address.h"
#include "support/guest.h"
#include "support/telnet_server.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using varno_test::Guest;
using varno_test::TelnetClient;
using varno_test::TelnetServer;

constexpr char prompt[] = "varno> ";
constexpr char paste_off[] = "\033[?2004l";

// AddressSanitizer cannot do with less memory than it wants.
#ifdef __SANITIZE_ADDRESS__
constexpr bool is_memory_limitable = false;
#else
constexpr bool is_memory_limitable = true;
#endif

struct Ended {
    int status;
    std::string text; // of both its streams
};

// Runs the program with these words of a shell to its end.
Ended run_to_end(const std::string &words, const std::string &before = "")
{
    const std::string command =
        before + " exec timeout 20 " + VARNO_TELNETD_PROGRAM + " " + words + " </dev/null 2>&1";
    FILE *program = popen(command.c_str(), "re");
    char bytes[16384];
    const size_t count = std::fread(bytes, 1, sizeof(bytes), program);
    return {pclose(program), {bytes, count}};
}

bool has(const std::string &text, std::string_view part)
{
    return text.find(part) != text.npos;
}

// A TCP socket as the system lists it.
struct Socket {
    unsigned port;  // its own
    unsigned state; // 1: connected, 10: listening
    unsigned unsent;
    unsigned timer;
};

std::vector<Socket> sockets_of(int port)
{
    std::ifstream list("/proc/net/tcp");
    std::string row;
    std::vector<Socket> sockets;
    while (std::getline(list, row)) {
        Socket one = {};
        if (std::sscanf(row.c_str(), "%*d: %*x:%x %*x:%*x %x %x:%*x %x:", &one.port, &one.state,
                        &one.unsent, &one.timer) == 4 &&
            static_cast<int>(one.port) == port)
            sockets.push_back(one);
    }
    return sockets;
}

// Returns: how many have this port, state and timer.
int count_sockets(int port, unsigned state, int timer)
{
    int count = 0;
    for (const Socket &one : sockets_of(port))
        count += one.state == state && (timer < 0 || static_cast<int>(one.timer) == timer);
    return count;
}

// Returns: how much the system holds for the slowest client.
unsigned most_unsent(int port)
{
    unsigned most = 0;
    for (const Socket &one : sockets_of(port))
        most = std::max(most, one.unsent);
    return most;
}

// As --backlog: a quarter of it is more than the system takes when the client reads nothing.
constexpr char much_waits[] = "4194304";

// Returns when the server has had so many turns. In each a long output takes up to 64 KiB
// of what may wait for its client, so one that nobody reads comes to rest.
void take_turns(TelnetClient &client, int turns = 100)
{
    for (int turn = 0; turn < turns; turn++) {
        client.send("echo turn\r");
        ASSERT_TRUE(client.receives("\r\nturn\r\n"));
    }
}

// A long output of a client that reads nothing comes to rest, while another one types.
void let_output_rest(TelnetClient &other, TelnetClient &silent)
{
    ASSERT_TRUE(silent.receives(prompt));
    silent.send_unread("terminal length 0\rshow numbers 1000000\r");
    take_turns(other);
}

// Returns when a second has gone by for the server.
void take_a_second(TelnetClient &client)
{
    client.send("timer 1 later\r");
    EXPECT_TRUE(client.receives("\r\n"));
    EXPECT_TRUE(client.receives("later\r\n"));
}

// A real telnet client at its first prompt.
class Person : public Guest {
  public:
    explicit Person(const TelnetServer &server, int rows = 24, int columns = 80)
        : Guest(rows, columns, [&server] { return run_client(server.port()); })
    {
        EXPECT_TRUE(shows_line("varno> |"));
        EXPECT_TRUE(is_raw()); // the server echoes
    }

    // A command of the client's own, behind its escape character.
    void command(const std::string &line)
    {
        type("\035");
        EXPECT_TRUE(shows_line("telnet> |"));
        type(line + "\r");
        EXPECT_TRUE(becomes_raw());
    }

  private:
    static int run_client(int port)
    {
        execlp("telnet", "telnet", "--no-rc", "127.0.0.1", std::to_string(port).c_str(), nullptr);
        return 127;
    }
};

TEST(TelnetdWithARealClient, TypesEditsAndLogsOut)
{
    TelnetServer server;
    Person person(server);
    person.type("ecso hello\033[D\033OD");
    EXPECT_TRUE(person.shows_line("varno> ecso hel|lo"));
    person.type("\001\033f\033[D\033[D\b");
    EXPECT_TRUE(person.shows_line("varno> ec|o hello"));
    person.type("xh\033[D\033[D\033[3~\r");
    EXPECT_TRUE(person.shows("\nhello\n"));
    person.type("\033[A");
    EXPECT_TRUE(person.shows_line("varno> echo hello|"));
    person.type("\025exit\r");
    EXPECT_TRUE(person.shows("Connection closed by foreign host."));
    EXPECT_TRUE(WIFEXITED(person.wait_for_end()));
    EXPECT_TRUE(person.is_as_before());
    EXPECT_TRUE(server.logs("s: logged out\n"));
}

TEST(TelnetdWithARealClient, HelpAndCompletion)
{
    TelnetServer server;
    Person person(server);
    person.type("sh\t?");
    EXPECT_TRUE(person.shows("varno> show\n  version           the version of this program\n"));
    EXPECT_TRUE(person.shows_line("varno> show |"));
    person.type("ver\t\r");
    EXPECT_TRUE(person.shows("varno> show version\nvarno-telnetd "));
    person.type("show nothing\r");
    EXPECT_TRUE(person.shows("^\n% unknown word\n"));
}

TEST(TelnetdWithARealClient, TheLineFollowsTheWindow)
{
    TelnetServer server;
    Person person(server);
    const std::string text = "echo " + std::string(45, 'x') + " end";
    person.type(text);
    EXPECT_TRUE(person.shows_line("varno> " + text + "|"));
    person.resize(12, 40);
    EXPECT_TRUE(person.sends("varno> $")); // it scrolls
    person.resize(24, 100);
    EXPECT_TRUE(person.shows_line("varno> " + text + "|"));
    person.type("\025show sessions\r");
    EXPECT_TRUE(person.shows("xterm             100    24\n"));
}

TEST(TelnetdWithARealClient, InterruptsAndTheClientsOwnCommands)
{
    TelnetServer server;
    Person person(server);
    person.type("echo unwanted");
    EXPECT_TRUE(person.shows_line("varno> echo unwanted|"));
    person.type("\003");
    EXPECT_TRUE(person.shows_line("varno> |"));
    person.command("send ayt");
    EXPECT_TRUE(person.shows("[Yes]\n"));
    person.type("echo broken");
    EXPECT_TRUE(person.shows_line("varno> echo broken|"));
    person.command("send brk");
    EXPECT_TRUE(person.shows_line("varno> |"));
    person.command("send ao ayt");
    person.command("send ip ec ayt");
    person.type("echo whole\r");
    EXPECT_TRUE(person.shows("\nwhole\n"));
    EXPECT_EQ(person.output().find("\nunwanted"), std::string::npos);
    EXPECT_EQ(person.output().find("\nbroken"), std::string::npos);
}

TEST(TelnetdWithARealClient, LongOutputsComeInPages)
{
    TelnetServer server;
    Person person(server);
    person.type("show numbers 100\r");
    EXPECT_TRUE(person.shows("\n23\n--More--"));
    person.type(" ");
    EXPECT_TRUE(person.shows("\n46\n--More--"));
    person.type("\r");
    EXPECT_TRUE(person.shows("\n47\n--More--"));
    person.type("q");
    EXPECT_TRUE(person.shows_line("varno> |"));
    EXPECT_EQ(person.output().find("\n48"), std::string::npos);
}

TEST(TelnetdWithARealClient, APasteOfManyLinesRunsEachInTurn)
{
    TelnetServer server;
    Person person(server);
    std::string paste, expected;
    for (int line = 1; line <= 200; line++)
        paste += "echo the line with number " + std::to_string(line) + "\r";
    person.type(paste + "echo en");
    person.type("d\r");
    EXPECT_TRUE(person.shows("\nend\nvarno>"));
    size_t at = 0;
    for (int line = 1; line <= 200 && at != std::string::npos; line++)
        at = person.output().find("\nthe line with number " + std::to_string(line) + "\r\n", at);
    EXPECT_NE(at, std::string::npos);
}

TEST(TelnetdWithARealClient, TwoClientsSeeEachOtherAndAMessage)
{
    TelnetServer server({"--threads", "2"});
    Person one(server), other(server, 30, 90);
    one.type("timer 1 tea is ready\recho unharm");
    other.type("show sessions\r");
    EXPECT_TRUE(other.shows("     80    24\n"));
    EXPECT_TRUE(other.shows("     90    30\n"));
    EXPECT_TRUE(one.shows("\ntea is ready\n"));
    EXPECT_TRUE(one.shows_line("varno> echo unharm|"));
    one.type("\025\004");
    EXPECT_TRUE(one.shows("Connection closed"));
    EXPECT_TRUE(server.logs("disconnected"));
    other.type("clear\rshow sessions\r");
    EXPECT_TRUE(other.shows("     90    30\n"));
}

TEST(TelnetdWithARealClient, ATermSignalTellsAllAndGivesTheTerminalsBack)
{
    TelnetServer server({"--threads", "2"});
    Person one(server), other(server);
    one.type("echo half a li");
    EXPECT_TRUE(one.shows_line("varno> echo half a li|"));
    server.send(SIGTERM);
    EXPECT_EQ(server.wait_for_end(), 0) << server.log();
    for (Person *person : {&one, &other}) {
        EXPECT_TRUE(person->shows("The server is going down\n"));
        EXPECT_TRUE(person->shows("Connection closed by foreign host."));
        EXPECT_TRUE(person->sends(paste_off));
        EXPECT_TRUE(WIFEXITED(person->wait_for_end()));
        EXPECT_TRUE(person->is_as_before());
    }
}

// Bare sockets

TEST(Telnetd, OneByteAtATime)
{
    TelnetServer server;
    TelnetClient client(server.port());
    for (const char byte : std::string("\377\373\037\377\372\037\0\120\0\030\377\360"
                                       "echo byte by byte\r\n",
                                       32))
        client.send({&byte, 1});
    EXPECT_TRUE(client.receives("\r\nbyte by byte\r\n"));
    EXPECT_TRUE(client.receives(prompt));
}

// The message comes after the wait for the rest, whatever the machine's load.
TEST(Telnetd, ASequenceThatDoesNotEndIsDroppedAfterAWhile)
{
    TelnetServer server;
    TelnetClient client(server.port());
    client.send("timer 1 later\ra\033[");
    EXPECT_TRUE(client.receives("\r\n"));
    EXPECT_TRUE(client.receives("later\r\n"));
    client.send("D\r");
    EXPECT_TRUE(client.receives("\r\n  aD\r\n"));
    EXPECT_LT(server.processor_ms(), 400); // it has been at rest
}

// The interrupt is let in with what stands behind it, up to the middle of a sequence; the
// rest of it waits longer than a client may take to send it.
TEST(Telnetd, ASequenceWhoseEndIsHeldBackIsWhole)
{
    TelnetServer server({"--backlog", much_waits});
    TelnetClient other(server.port()), client(server.port());
    let_output_rest(other, client);
    std::string typed = "\003echo ab";
    while (typed.size() < 254)
        typed += "\377\361";
    client.send_unread(typed + "\033[" + "Dc\r");
    take_a_second(other);
    EXPECT_TRUE(client.receives("\r\nacb\r\n"));
}

TEST(Telnetd, ThereAreOnlySoManyTimers)
{
    TelnetServer server;
    TelnetClient client(server.port());
    for (int i = 0; i < 8; i++)
        client.send("timer 1000 x\r");
    take_turns(client, 1);
    EXPECT_FALSE(client.has_received("All timers run"));
    client.send("timer 1000 x\r");
    EXPECT_TRUE(client.receives("All timers run\r\n"));
}

// Reads nothing, and asks for more and more.
TEST(Telnetd, AClientThatNeverReadsCostsLittleAndIsDropped)
{
    TelnetServer server({"--stall-timeout", "2"});
    TelnetClient other(server.port());
    ASSERT_TRUE(other.receives(prompt));
    TelnetClient silent(server.port());
    ASSERT_TRUE(silent.receives(prompt));
    silent.send("terminal length 0\r");
    const size_t before = server.resident_bytes();
    size_t most = 0;
    unsigned most_in_system = 0;
    size_t sent = 0;
    int answers = 0;
    const std::string line = "show numbers 1000000\r";
    for (ssize_t count = 0; count >= 0; sent += static_cast<size_t>(count)) {
        count = silent.send_unread(line);
        if (count > 0 && count < static_cast<ssize_t>(line.size()))
            count = silent.send_unread("\r");
        if (count <= 0 && answers < 1000) { // the other is served all the while
            other.send("echo " + std::to_string(++answers) + "\r");
            EXPECT_TRUE(other.receives("\r\n" + std::to_string(answers) + "\r\n"));
            most_in_system = std::max(most_in_system, most_unsent(server.port()));
        }
        most = std::max(most, server.resident_bytes());
    }
    EXPECT_GT(answers, 0);
    EXPECT_LT(most_in_system, 256U << 10);
    EXPECT_TRUE(server.logs("the client takes no output"));
    RecordProperty("bytes_sent", std::to_string(sent));
    RecordProperty("growth", std::to_string(most - before));
    if (is_memory_limitable) { // a sanitizer's own memory is no matter of ours
        EXPECT_LT(most - before, size_t{2} << 20);
    }
    other.send("show sessions\r");
    EXPECT_TRUE(other.receives("\r\n*"));
}

// It has taken a part of what the server is about to send.
TEST(Telnetd, AClientThatStopsReadingIsDropped)
{
    TelnetServer server({"--stall-timeout", "4", "--backlog", much_waits});
    TelnetClient other(server.port()), client(server.port());
    let_output_rest(other, client);
    EXPECT_TRUE(client.receives("\r\n60000\r\n"));
    EXPECT_TRUE(server.logs("s: the client takes no output\n"));
}

// While output waits only an interrupt is let in, and with it what stands around it.
TEST(Telnetd, AnswersThatAreNotReadEndASessionThatAsksForThemAllTheTime)
{
    TelnetServer server({"--backlog", "131072"});
    TelnetClient other(server.port()), client(server.port());
    let_output_rest(other, client);
    std::string questions;
    for (int i = 0; i < 2000; i++)
        questions += "\377\366";
    size_t sent = 0;
    for (ssize_t count = 0; count >= 0 && sent < size_t{1} << 20;
         sent += static_cast<size_t>(count))
        count = client.send_unread(questions.substr(sent % 2));
    EXPECT_TRUE(server.logs("s: too much output waits\n"));
    take_turns(other, 1);
}

// What is typed ahead of a short output belongs to the line behind it, also in the turn in
// which the client has taken some of what waited.
TEST(Telnetd, WhatIsTypedAheadIsKeptWhileTheClientIsSlow)
{
    TelnetServer server;
    TelnetClient other(server.port()), client(server.port());
    ASSERT_TRUE(client.receives(prompt));
    const std::string words(200, 'x');
    for (int round = 0; round < 4; round++) {
        std::string lines;
        for (int line = 0; line < 2000; line++)
            lines += "show numbers 3\recho " + words + std::to_string(line) + "\r\377\361";
        client.send(lines);
        take_turns(other);
        for (int line = 0; line < 2000; line++)
            ASSERT_TRUE(client.receives("\r\n" + words + std::to_string(line) + "\r\n"));
    }
}

// The others' turn comes between two reads, however much there is to read.
TEST(Telnetd, AFloodOfInputIsTakenAReadAtATime)
{
    TelnetServer server;
    TelnetClient flood(server.port()), other(server.port());
    ASSERT_TRUE(flood.receives(prompt));
    ASSERT_TRUE(other.receives(prompt));
    std::string nothing;
    for (int i = 0; i < 8192; i++)
        nothing += "\377\361";
    server.stop();
    flood.send(nothing + "show sessions\r");
    ASSERT_TRUE(flood.has_arrived());
    other.send("terminal width 77\r");
    ASSERT_TRUE(other.has_arrived());
    server.send(SIGCONT);
    EXPECT_TRUE(flood.receives("     77    24\r\n"));
}

TEST(Telnetd, ALongOutputCanBeInterruptedAndWhatIsTypedAheadIsKept)
{
    TelnetServer server;
    TelnetClient other(server.port()), client(server.port());
    ASSERT_TRUE(client.receives(prompt));
    client.send_unread("terminal length 0\rshow numbers 100000\recho typed ahead\r");
    take_turns(other);
    EXPECT_TRUE(client.receives("\r\n100000\r\n"));
    EXPECT_TRUE(client.receives("\r\ntyped ahead\r\n"));
    for (const std::string interrupt : {"\003", "\377\364", "\377\363"}) {
        const size_t before = client.received().size();
        client.send("show numbers 1000000\r");
        EXPECT_TRUE(client.receives("\r\n20000\r\n"));
        client.send(interrupt + "echo over\r");
        EXPECT_TRUE(client.receives("\r\nover\r\n"));
        EXPECT_LT(client.received().size() - before, size_t{4} << 20);
    }
}

// A close with input that has not been read would be a reset.
TEST(Telnetd, TheLastWordsArriveWhateverIsTypedBehindThem)
{
    TelnetServer server;
    TelnetClient other(server.port()), client(server.port());
    ASSERT_TRUE(client.receives(prompt));
    server.stop();
    client.send("echo goodbye\rexit\r" + std::string(20000, 'x'));
    ASSERT_TRUE(client.has_arrived());
    server.send(SIGCONT);
    EXPECT_TRUE(client.receives("\r\ngoodbye\r\n"));
    EXPECT_TRUE(client.is_closed());
    take_turns(other, 1);
    EXPECT_FALSE(client.is_reset());
    client.reset();
    EXPECT_TRUE(server.logs("s: logged out\n"));
}

TEST(Telnetd, AHalfClosedClientGetsWhatItHasAskedFor)
{
    TelnetServer server;
    TelnetClient client(server.port());
    client.send("terminal length 0\rshow numbers 50000\recho the last words\r");
    client.send_half_close();
    EXPECT_TRUE(client.receives("\r\n50000\r\n"));
    EXPECT_TRUE(client.receives("\r\nthe last words\r\n"));
    EXPECT_TRUE(client.is_closed());
    EXPECT_TRUE(server.logs("s: the client has hung up\n"));
}

TEST(Telnetd, AResetConnectionIsLoggedAsOne)
{
    TelnetServer server;
    TelnetClient client(server.port());
    ASSERT_TRUE(client.receives(prompt));
    client.send("timer 10 nobody\r");
    ASSERT_TRUE(client.receives(prompt));
    client.reset();
    EXPECT_TRUE(server.logs("s: connection reset by peer\n"));
    EXPECT_TRUE(TelnetClient(server.port()).receives(prompt));
}

TEST(Telnetd, ARefusedClientHearsWhy)
{
    TelnetServer server({"--max-sessions", "3", "--max-per-address", "2"});
    TelnetClient one(server.port());
    EXPECT_TRUE(one.receives(prompt));
    {
        TelnetClient two(server.port()), three(server.port());
        EXPECT_TRUE(two.receives(prompt));
        EXPECT_TRUE(three.is_closed());
        EXPECT_EQ(three.received(), "Too many sessions from your address\r\n");
    }
    EXPECT_TRUE(server.logs("disconnected"));
    EXPECT_TRUE(TelnetClient(server.port()).receives(prompt)); // there is room again

    TelnetServer full({"--max-sessions", "1"});
    TelnetClient first(full.port());
    EXPECT_TRUE(first.receives(prompt));
    TelnetClient second(full.port());
    EXPECT_TRUE(second.is_closed());
    EXPECT_EQ(second.received(), "Too many sessions, try again later\r\n");
    EXPECT_TRUE(full.logs("refused: Too many sessions"));
}

TEST(Telnetd, ARefusedClientThatHasTypedHearsWhyAsWell)
{
    TelnetServer server({"--max-sessions", "1"});
    TelnetClient one(server.port());
    ASSERT_TRUE(one.receives(prompt));
    server.stop();
    TelnetClient refused(server.port());
    refused.send("echo a\r");
    ASSERT_TRUE(refused.has_arrived());
    server.send(SIGCONT);
    EXPECT_TRUE(refused.is_closed());
    EXPECT_EQ(refused.received(), "Too many sessions, try again later\r\n");
    take_turns(one, 1);
    EXPECT_FALSE(refused.is_reset());
}

// A line a second; it says how many there were.
TEST(Telnetd, RefusalsDoNotFillTheLog)
{
    TelnetServer server({"--max-sessions", "1"});
    TelnetClient one(server.port());
    ASSERT_TRUE(one.receives(prompt));
    for (int i = 0; i < 50; i++)
        EXPECT_TRUE(TelnetClient(server.port()).is_closed());
    take_a_second(one);
    EXPECT_TRUE(TelnetClient(server.port()).is_closed());
    take_a_second(one); // by then the last one has been told
    one.reset();
    EXPECT_TRUE(server.logs("disconnected"));
    int lines = 0, refused = 0;
    for (size_t at = 0; (at = server.log().find(" (", at)) != std::string::npos; at++) {
        int count = 0;
        if (std::sscanf(server.log().c_str() + at, " (%d since the last such line)", &count) == 1) {
            lines++;
            refused += count;
        }
    }
    EXPECT_EQ(refused, 51) << server.log();
    EXPECT_LT(lines, 50);
}

TEST(Telnetd, AllTheDescriptorsThatItMayHaveAreUsed)
{
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few = {32, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    TelnetServer server;
    setrlimit(RLIMIT_NOFILE, &before);
    std::vector<TelnetClient> clients;
    for (int i = 0; i < 40; i++) {
        clients.emplace_back(server.port());
        ASSERT_TRUE(clients.back().receives(prompt));
    }
}

// The next client waits in the system's queue meanwhile.
TEST(Telnetd, AShortageOfDescriptorsThatLastsCostsNoTime)
{
    TelnetServer server;
    TelnetClient one(server.port());
    ASSERT_TRUE(one.receives(prompt));
    server.limit_descriptors(3);
    TelnetClient next(server.port());
    const long before = server.processor_ms();
    take_a_second(one);
    EXPECT_LT(server.processor_ms() - before, 150);
    server.limit_descriptors(RLIM_INFINITY);
    EXPECT_TRUE(next.receives(prompt));
    server.limit_descriptors(server.next_descriptor()); // the spare one is there again
    EXPECT_TRUE(TelnetClient(server.port()).receives("(no descriptors)\r\n"));
}

TEST(Telnetd, WithoutDescriptorsClientsAreRefusedAndThoseThereAreServed)
{
    TelnetServer server({"--threads", "2"}, 48);
    std::vector<std::unique_ptr<TelnetClient>> clients;
    bool is_served = true;
    while (is_served && clients.size() < 60) {
        clients.push_back(std::make_unique<TelnetClient>(server.port()));
        is_served = static_cast<bool>(clients.back()->receives(prompt));
    }
    ASSERT_FALSE(is_served);
    EXPECT_EQ(clients.back()->received(),
              "Too many sessions, try again later (no descriptors)\r\n");
    clients[0]->send("echo still here\r");
    EXPECT_TRUE(clients[0]->receives("\r\nstill here\r\n"));
    clients[1].reset();
    EXPECT_TRUE(server.logs("disconnected"));
    EXPECT_TRUE(TelnetClient(server.port()).receives(prompt));
}

// Listeners share the process's descriptors: none may lose what it refuses clients with
// to a client of another's.
TEST(Telnetd, EveryClientHearsSomethingHoweverManyComeWithoutDescriptors)
{
    if (!is_memory_limitable)
        GTEST_SKIP() << "UndefinedBehaviorSanitizer takes descriptors for its own checks";
    TelnetServer server({"--threads", "8"}, 100);
    for (int turn = 0; turn < 10; turn++) {
        std::vector<TelnetClient> clients;
        for (int i = 0; i < 60; i++)
            clients.emplace_back(server.port());
        for (TelnetClient &client : clients)
            ASSERT_TRUE(client.receives_any());
    }
}

TEST(Telnetd, AnIdleSessionIsToldAndClosed)
{
    TelnetServer server({"--idle-timeout", "1"});
    TelnetClient busy(server.port()), client(server.port());
    for (int turn = 0; turn < 500000 && !client.has_received("Idle for too long"); turn++)
        ASSERT_NO_FATAL_FAILURE(take_turns(busy, 1));
    EXPECT_TRUE(client.receives("Idle for too long\r\n"));
    EXPECT_TRUE(client.is_closed());
    client.reset();
    EXPECT_TRUE(server.logs("s: idle\n"));
    take_turns(busy, 1);
}

TEST(Telnetd, ACommandThatWaitsKeepsNoIdleSession)
{
    TelnetServer server({"--idle-timeout", "2"});
    TelnetClient client(server.port());
    client.send("terminal length 0\rping 127.0.0.1 count 1000\r");
    EXPECT_TRUE(client.receives("Idle for too long\r\n"));
    EXPECT_TRUE(client.has_received("request 2: "));
    EXPECT_FALSE(client.has_received("request 30: "));
    EXPECT_TRUE(client.is_closed());
}

// One output is all made and waits, the other rests. The third client came later, so when
// it has been idle for too long the readers' time was over as well.
TEST(Telnetd, ReadingALongOutputIsNoIdleness)
{
    TelnetServer server({"--idle-timeout", "1", "--backlog", much_waits});
    TelnetClient one(server.port()), two(server.port());
    one.send("terminal length 0\rshow numbers 100000\r");
    two.send("terminal length 0\rshow numbers 300000\r");
    EXPECT_TRUE(one.receives("\r\n100\r\n"));
    EXPECT_TRUE(two.receives("\r\n100\r\n"));
    TelnetClient other(server.port());
    EXPECT_TRUE(other.receives("Idle for too long\r\n"));
    one.send_unread("echo still here\r");
    two.send_unread("echo still here\r");
    EXPECT_TRUE(one.receives("\r\n100000\r\n"));
    EXPECT_TRUE(one.receives("\r\nstill here\r\n"));
    EXPECT_TRUE(two.receives("\r\n300000\r\n"));
    EXPECT_TRUE(two.receives("\r\nstill here\r\n"));
}

TEST(Telnetd, AFileIsShownBeforeTheFirstPrompt)
{
    char path[] = "/tmp/varno-motd-XXXXXX";
    close(mkstemp(path));
    std::ofstream(path) << std::string("Authorised users only\n\033[31mr\0d", 30)
                        << "\nGr\u00fc\u00df Gott \u2013 \u6f22\u5b57 \U0001f600 \x9b";
    TelnetServer server({"--motd", path});
    unlink(path);
    TelnetClient client(server.port());
    EXPECT_TRUE(client.receives("Authorised users only\r\n?[31mr?d\r\n"));
    EXPECT_TRUE(client.receives("Gr\u00fc\u00df Gott \u2013 \u6f22\u5b57 \U0001f600 ?\r\n"));
    EXPECT_TRUE(client.receives(prompt));
}

TEST(Telnetd, FourThreadsServeOneListOfSessions)
{
    TelnetServer server({"--threads", "4"});
    std::vector<TelnetClient> clients;
    for (int i = 0; i < 40; i++)
        clients.emplace_back(server.port());
    for (TelnetClient &client : clients)
        EXPECT_TRUE(client.receives(prompt));
    clients[7].send("terminal length 0\rshow sessions\r");
    EXPECT_TRUE(clients[7].receives("\r\n       40  "));
    clients[3].send("terminal width 77\r");
    EXPECT_TRUE(clients[3].receives(prompt));
    for (TelnetClient &client : clients) {
        client.send("terminal length 0\rshow sessions\r");
        EXPECT_TRUE(client.receives("     77    24\r\n"));
        EXPECT_TRUE(client.receives("   40  "));
    }
    server.send(SIGINT);
    for (TelnetClient &client : clients) {
        EXPECT_TRUE(client.receives("The server is going down\r\n"));
        EXPECT_TRUE(client.is_closed());
    }
    EXPECT_EQ(server.wait_for_end(), 0);
}

TEST(Telnetd, TheEndWaitsForNobodyForLong)
{
    TelnetServer server;
    TelnetClient client(server.port());
    ASSERT_TRUE(client.receives(prompt));
    server.send(SIGTERM);
    ASSERT_TRUE(server.logs("closing all sessions"));
    EXPECT_EQ(server.wait_for_end(), 0); // the client has not closed
    EXPECT_TRUE(client.receives("The server is going down\r\n"));
}

TEST(Telnetd, TheLastWordsStandBehindAllThatWaits)
{
    TelnetServer server({"--backlog", much_waits});
    TelnetClient other(server.port()), slow(server.port());
    let_output_rest(other, slow);
    other.reset();
    server.send(SIGTERM);
    ASSERT_TRUE(server.logs("closing all sessions"));
    EXPECT_TRUE(slow.receives("The server is going down\r\n"));
    EXPECT_TRUE(slow.is_closed());
}

TEST(Telnetd, TheEndWaitsForNobodyWhoReadsNothing)
{
    TelnetServer server({"--stall-timeout", "1", "--backlog", much_waits});
    TelnetClient other(server.port()), silent(server.port());
    let_output_rest(other, silent);
    other.reset();
    server.send(SIGTERM);
    EXPECT_EQ(server.wait_for_end(), 0);
}

TEST(Telnetd, ASecondSignalEndsItAtOnce)
{
    TelnetServer server;
    TelnetClient client(server.port());
    ASSERT_TRUE(client.receives(prompt));
    server.send(SIGTERM);
    ASSERT_TRUE(server.logs("closing all sessions"));
    server.send(SIGINT);
    const int status = server.wait_for_end();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
}

TEST(Telnetd, APortServesOneServer)
{
    for (const char *threads : {"1", "3"}) {
        TelnetServer server({"--threads", threads});
        const std::string port = std::to_string(server.port());
        const std::string command = std::string(VARNO_TELNETD_PROGRAM) + " --threads " + threads +
                                    " --port " + port + " 2>&1";
        FILE *other = popen(command.c_str(), "re");
        char line[256] = "";
        EXPECT_NE(std::fgets(line, sizeof(line), other), nullptr);
        EXPECT_NE(std::string(line).find("127.0.0.1:" + port + ": Address already in use"),
                  std::string::npos)
            << line;
        EXPECT_EQ(WEXITSTATUS(pclose(other)), 1);
    }
}

TEST(Telnetd, OnAnyOtherAddressItWarns)
{
    EXPECT_TRUE(TelnetServer({"--listen", "0.0.0.0"}).logs("Telnet is clear text"));
    TelnetServer local({"--listen", "127.0.0.2"});
    EXPECT_EQ(local.log().find("warning"), std::string::npos);
}

// The log is a full pipe here, as nobody reads it.
TEST(Telnetd, ALogThatNobodyReadsStopsNobody)
{
    TelnetServer server;
    for (int i = 0; i < 100; i++) {
        TelnetClient client(server.port());
        client.send("exit\r");
        ASSERT_TRUE(client.is_closed());
    }
    EXPECT_TRUE(server.logs("connected"));
    TelnetClient client(server.port());
    EXPECT_TRUE(server.logs(" lines lost)\n"));
    client.reset();
    server.send(SIGTERM);
    EXPECT_EQ(server.wait_for_end(), 0);
    EXPECT_EQ(server.log().find(" lines lost)\n"), server.log().rfind(" lines lost)\n"));
}

TEST(Telnetd, AClientThatDisappearsInAnyStateLeavesNothingBehind)
{
    TelnetServer server({"--max-sessions", "2"});
    TelnetClient watcher(server.port());
    ASSERT_TRUE(watcher.receives(prompt));
    // There is room for the next when the one before is gone.
    const auto next_client = [&server] {
        auto client = std::make_unique<TelnetClient>(server.port());
        while (!client->receives(prompt) && client->received().rfind("Too many", 0) == 0)
            client = std::make_unique<TelnetClient>(server.port());
        return client;
    };
    const size_t descriptors = (next_client(), server.descriptors());
    constexpr std::string_view states[] = {
        "",
        "\377",
        "\377\372\037",
        "echo x",
        "\033[",
        "\003",
        "show numbers 1000\r",
        "terminal length 0\rshow numbers 1000000\r",
        "terminal length 2\rshow routes\r",
        "terminal length 2\rshow interfaces\r",
        "timer 1 x\r",
        "debug on\rshow sessions\r",
        "????????",
        "exit\r",
    };
    for (const std::string_view state : states) {
        next_client()->send(state); // and closes
        auto half = next_client();
        half->send(state);
        half->send_half_close();
        half.reset();
        auto client = next_client();
        client->send(state);
        client->reset();
    }
    watcher.send("terminal length 0\rshow sessions\r");
    EXPECT_TRUE(watcher.receives("\r\n*"));
    EXPECT_EQ((next_client(), server.descriptors()), descriptors);
}

TEST(Telnetd, ATermSignalEndsLongOutputsAndQuestions)
{
    TelnetServer server;
    std::vector<TelnetClient> clients;
    for (const char *typed : {"show numbers 1000\r", "terminal length 2\rshow routes\r",
                              "terminal length 0\rshow numbers 1000000\r", "echo ???"}) {
        clients.emplace_back(server.port());
        ASSERT_TRUE(clients.back().receives(prompt));
        clients.back().send(typed);
        ASSERT_TRUE(clients.back().receives("\r\n"));
    }
    server.send(SIGTERM);
    for (TelnetClient &client : clients) {
        EXPECT_TRUE(client.receives("The server is going down\r\n"));
        EXPECT_TRUE(client.is_closed());
    }
    EXPECT_EQ(server.wait_for_end(), 0) << server.log();
}

// Every connection asks for more than there is.
TEST(Telnetd, WithoutMemoryConnectionsEndAndTheOthersAreServed)
{
    if (!is_memory_limitable)
        GTEST_SKIP();
    TelnetServer server({"--backlog", "40000000"});
    TelnetClient modest(server.port());
    ASSERT_TRUE(modest.receives(prompt));
    std::vector<TelnetClient> clients;
    for (int i = 0; i < 50; i++) {
        clients.emplace_back(server.port());
        ASSERT_TRUE(clients.back().receives(prompt));
    }
    server.take_all_memory_away();
    for (TelnetClient &client : clients)
        client.send_unread("terminal length 0\rshow numbers 1000000\r");
    EXPECT_TRUE(server.logs("s: out of memory\n"));
    for (TelnetClient &client : clients)
        client.reset();
    modest.send("echo still here\r");
    EXPECT_TRUE(modest.receives("\r\nstill here\r\n"));
    EXPECT_TRUE(TelnetClient(server.port()).receives(prompt));
}

TEST(Telnetd, EachThreadHasASocketOfThePort)
{
    TelnetServer one, five({"--threads", "5"});
    EXPECT_EQ(count_sockets(one.port(), 0xa, -1), 1);
    EXPECT_EQ(count_sockets(five.port(), 0xa, -1), 5);
}

TEST(Telnetd, TheSystemWatchesConnectionsForClientsThatHaveVanished)
{
    TelnetServer server;
    TelnetClient client(server.port());
    ASSERT_TRUE(client.receives(prompt));
    int watched = 0;
    for (int tries = 0; watched == 0 && tries < 10000; tries++) // until all is acknowledged
        watched = count_sockets(server.port(), 1, 2);
    EXPECT_EQ(watched, 1);
}

TEST(Telnetd, ServesClientsOfBothKindsOfAddress)
{
    if (std::ifstream("/proc/net/if_inet6").peek() == EOF)
        GTEST_SKIP() << "no IPv6 here";
    TelnetServer local({"--listen", "::1"});
    EXPECT_FALSE(has(local.log(), "warning"));
    EXPECT_TRUE(has(local.log(), "listening on [::1]:"));
    TelnetServer server({"--listen", "::", "--max-per-address", "1", "--threads", "2"});
    EXPECT_TRUE(has(server.log(), "Telnet is clear text"));
    TelnetClient old(server.port());
    EXPECT_TRUE(old.receives(prompt));
    TelnetClient another(server.port());
    EXPECT_TRUE(another.is_closed());
    EXPECT_EQ(another.received(), "Too many sessions from your address\r\n");
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    address.sin6_port = htons(static_cast<uint16_t>(server.port()));
    const int fd = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    TelnetClient other = TelnetClient::of_descriptor(fd);
    EXPECT_TRUE(other.receives(prompt));
    other.send("show sessions\r");
    EXPECT_TRUE(other.receives("  127.0.0.1:"));
    EXPECT_TRUE(other.receives("  [::1]:"));
}

struct Described {
    const char *address;
    const char *name;
    const char *group; // that has so many sessions
};

TEST(TelnetdAddress, ClientsOfAnIpv6NetworkAreOneGroup)
{
    // clang-format off
    constexpr Described rows[] = {
        {"192.0.2.1",          "192.0.2.1:23",            "192.0.2.1"},
        {"192.0.2.2",          "192.0.2.2:23",            "192.0.2.2"},
        {"::ffff:192.0.2.1",   "192.0.2.1:23",            "192.0.2.1"},
        {"2001:db8:1:2::1",    "[2001:db8:1:2::1]:23",    "2001:db8:1:2::"},
        {"2001:db8:1:2:ff::1", "[2001:db8:1:2:ff::1]:23", "2001:db8:1:2::"},
        {"2001:db8:1:3::1",    "[2001:db8:1:3::1]:23",    "2001:db8:1:3::"},
    };
    // clang-format on
    for (const Described &row : rows) {
        sockaddr_storage address;
        ASSERT_TRUE(varno::parse_address(row.address, 23, address));
        EXPECT_EQ(varno::describe(address).name, row.name);
        EXPECT_EQ(varno::describe(address).address, row.group);
    }
}

// What it says of itself and of what it was told

TEST(TelnetdOptions, HelpAndVersionAreInTheUsualForm)
{
    const Ended version = run_to_end("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.text, "varno-telnetd " TELNETD_TEST_VERSION "\n");
    const Ended help = run_to_end("--help");
    EXPECT_EQ(help.status, 0);
    for (const char *option :
         {"--listen", "--port", "--threads", "--max-sessions", "--max-per-address",
          "--max-connect-rate", "--reserve", "--idle-timeout", "--session-timeout",
          "--stall-timeout", "--backlog", "--proxy-from", "--user", "--motd", "--log", "--stdio",
          "--verbose"})
        EXPECT_TRUE(has(help.text, "\n  " + std::string(option))) << option;
}

struct Refused {
    const char *words;
    const char *why;
};

TEST(TelnetdOptions, WhatCannotBeIsRefusedBeforeAnythingIsServed)
{
    // clang-format off
    constexpr Refused rows[] = {
        {"--port 65536",                      "--port: Value 65536 not in range 0 to 65535"},
        {"--port telnet",                     "--port: "},
        {"--threads 0",                       "--threads: Value 0 not in range 1 to 256"},
        {"--max-sessions 0",                  "--max-sessions: Value 0 not in range"},
        {"--max-per-address 0",               "--max-per-address: Value 0 not in range"},
        {"--idle-timeout -1",                 "--idle-timeout: -1 is no decimal number"},
        {"--port 010",                        "--port: 010 is no decimal number"},
        {"--port 0x10",                       "--port: 0x10 is no decimal number"},
        {"--port ''",                         "--port:  is no decimal number"},
        {"--port 0 --reserve 127.0.0.1",      "--reserve 127.0.0.1: no ADDRESS=N"},
        {"--port 0 --reserve 127.0.0.1=010",  "--reserve 127.0.0.1=010: no ADDRESS=N"},
        {"--port 0 --reserve localhost=1",    "--reserve localhost=1: no ADDRESS=N"},
        {"--port 0 --reserve ::1=1001",       "--reserve ::1=1001: no ADDRESS=N"},
        {"--port 0 --proxy-from localhost",   "--proxy-from localhost: no numeric address"},
        {"--port 0 --log /nonexistent/log",   "/nonexistent/log: No such file or directory"},
        {"--port 0 --user nobody-at-all",     "--user nobody-at-all: no such user"},
        {"--port 0 --user root",              "--user root: its rights cannot be taken"},
        {"--idle-timeout 99999999999999999",  "--idle-timeout: "},
        {"--backlog 131071",                  "--backlog: Value 131071 not in range"},
        {"--listen localhost",                "localhost:2323: no numeric address"},
        {"--listen ''",                       ":2323: no numeric address"},
        {"--port 0 --listen 192.0.2.1",       "192.0.2.1:0: Cannot assign requested address"},
        {"--bogus",                           "--bogus"},
        {"telnet",                            "telnet"},
        {"--port 0 --motd /nonexistent",      "/nonexistent cannot be read, or has more than 8192"},
        {"--port 0 --motd /",                 "/ cannot be read, or has more than 8192"},
        {"--port 0 --motd /dev/zero",         "/dev/zero cannot be read, or has more than 8192"},
    };
    // clang-format on
    for (const Refused &row : rows) {
        const Ended ended = run_to_end(row.words);
        EXPECT_TRUE(WIFEXITED(ended.status) && WEXITSTATUS(ended.status) != 0 &&
                    WEXITSTATUS(ended.status) != 124)
            << row.words << " " << ended.status;
        EXPECT_TRUE(has(ended.text, row.why)) << ended.text;
    }
}

TEST(TelnetdOptions, DescriptorsThatAreTooFewForTheThreadsAreCountedBefore)
{
    for (int descriptors = 14; descriptors <= 40; descriptors += 2) {
        const std::string limit = "ulimit -n " + std::to_string(descriptors) + ";";
        const Ended ended = run_to_end("--threads 8 --port 0", limit);
        EXPECT_EQ(WEXITSTATUS(ended.status), EXIT_FAILURE) << ended.text;
        EXPECT_TRUE(has(ended.text, "8 threads, which take 80 descriptors: Too many open files\n"));
    }
}

TEST(TelnetdOptions, ThreadsThatThereIsNoMemoryForAreNamed)
{
    if (!is_memory_limitable)
        GTEST_SKIP();
    const Ended ended = run_to_end("--port 0 --threads 256", "ulimit -v 400000;");
    EXPECT_TRUE(WIFEXITED(ended.status));
    EXPECT_EQ(WEXITSTATUS(ended.status), 1);
    EXPECT_TRUE(has(ended.text, " threads: Resource temporarily unavailable\n")) << ended.text;
}

// As inetd would start it.
TEST(TelnetdStdio, ServesOneClientOnASocket)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(ends[1], fd);
        _exit(TelnetServer::run({"--stdio"}));
    }
    close(ends[1]);
    TelnetClient client = TelnetClient::of_descriptor(ends[0]);
    EXPECT_TRUE(client.receives(prompt));
    client.send("echo from inetd\rexit\r");
    EXPECT_TRUE(client.receives("\r\nfrom inetd\r\n"));
    EXPECT_TRUE(client.is_closed());
    EXPECT_EQ(client.received().find("info"), std::string::npos);
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(TelnetdStdio, ServesPipesAndTakesNoFile)
{
    const std::string program = VARNO_TELNETD_PROGRAM;
    FILE *served =
        popen(("printf 'echo through a pipe\\r' | " + program + " --stdio").c_str(), "re");
    char bytes[4096] = "";
    const size_t count = std::fread(bytes, 1, sizeof(bytes), served);
    EXPECT_NE(std::string(bytes, count).find("\r\nthrough a pipe\r\n"), std::string::npos);
    EXPECT_EQ(pclose(served), 0);
    const Ended refused = run_to_end("--stdio");
    EXPECT_EQ(WEXITSTATUS(refused.status), 1);
    EXPECT_TRUE(has(refused.text, "standard input and output are to be sockets or pipes"));
}

} // namespace
