// Nobody waits for somebody else: a person types, in a process of its own, while others
// flood the server with lines and keys, each as fast as it is answered.

#include "../support/long_tests.h"
#include "../support/telnet_server.h"
#include "sockets.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace varno_test;
using Clock = std::chrono::steady_clock;

// What docs/security.md promises is 100 ms on a quiet machine; this one may be busy.
constexpr long most_ms = 500;
constexpr int pause_ms = 20; // between two keys

constexpr int short_keys = 10; // of the ordinary run
constexpr int long_keys = 25;  // as often as VARNO_LONG_TESTS says

// Some tenths of a second of work for whoever looks whether a secret is it.
constexpr char costly_hash[] =
    "$6$rounds=500000$salt$0000000000000000000000000000000000000000000000000000000000000000"
    "0000000000000000000000\n";

// When it is run: by ten clients, by 95 as well, or in long runs alone.
enum class Run { by_ten, by_many, in_long_runs };

struct Flood {
    const char *name;
    const char *first; // once
    const char *then;  // again and again
    Run run = Run::by_ten;
    const char *secret = costly_hash;
};

void PrintTo(const Flood &flood, std::ostream *out)
{
    *out << flood.name;
}

// clang-format off
constexpr Flood floods[] = {
    {"Interfaces",    "terminal length 0\r", "show interfaces\r", Run::by_many},
    {"OneInterface",  "terminal length 0\r", "show interfaces lo\r"},
    {"Routes",        "terminal length 0\r", "show routes\r"},
    {"Sessions",      "terminal length 0\r", "show sessions\r"},
    {"Memory",        "terminal length 0\r", "show memory\r"},
    {"History",       "terminal length 0\r", "show history\r"},
    {"Numbers",       "terminal length 0\r", "show numbers 1000000\r", Run::by_many},
    {"Version",       "",                    "show version\r"},
    {"Echo",          "",                    "echo one two three\r"},
    {"WrongCommands", "",                    "nonsense\r"},
    {"BlankLines",    "",                    "\r"},
    {"Tabs",          "show ",               "\t", Run::by_many},
    {"Help",          "show ",               "?"},
    {"Pages",         "",                    "show numbers 1000\r     q"},
    {"Aliases",       "",                    "alias x echo x\rx\rno alias x\r", Run::by_many},
    {"Prompts",       "",                    "prompt one> \rprompt two> \r"},
    {"Keys",          "",                    "abc\001def\005\025"},
    {"Secrets",       "",                    "enable\rwrong\r", Run::by_many},
    {"Filters",       "terminal length 0\r", "show numbers 1000000 | include nothing\r"},
    {"Pings",         "",                    "ping 127.0.0.1 count 1 quiet\r", Run::in_long_runs},
    {"ShowAliases",   "terminal length 0\ralias a echo 1\ralias b echo 2\ralias c echo 3\r",
                                             "show aliases\r", Run::in_long_runs},
    {"Saving",        "enable\rsesame\r",    "write memory\r", Run::in_long_runs, sesame_hash},
};
// clang-format on

// What the person's process tells: that it has logged in, then the slowest echo.
struct Told {
    bool is_over;
    long slowest_ms; // -1: it was not served
};

// Types so many keys.
void type_keys(int port, int count, int told_to)
{
    const auto tell = [told_to](Told told) {
        if (write(told_to, &told, sizeof(told)) != sizeof(told))
            _exit(1);
    };
    TelnetClient client(port);
    bool is_served = static_cast<bool>(client.receives("varno> "));
    client.send("?");
    is_served = is_served && client.receives("varno> ");
    tell({false, 0});
    long slowest = 0;
    for (int key = 0; key < count && is_served; key++) {
        const auto typed_at = Clock::now();
        // Other letters than those that stand there, so that each has an echo.
        const std::string letter(1, static_cast<char>((key / 26 % 2 ? 'A' : 'a') + key % 26));
        client.send(key % 26 == 0 ? "\025" + letter : letter);
        is_served = static_cast<bool>(client.receives(letter));
        const auto took = Clock::now() - typed_at;
        slowest = std::max<long>(
            slowest, std::chrono::duration_cast<std::chrono::milliseconds>(took).count());
        poll(nullptr, 0, pause_ms);
    }
    tell({true, is_served ? slowest : -1});
}

class Flooder {
  public:
    Flooder(int port, const Flood &flood) : fd_(connect_to(port)), text_(flood.first)
    {
        fcntl(fd_, F_SETFL, O_NONBLOCK);
        for (again_at_ = text_.size(); text_.size() < 4096; text_ += flood.then) {
        }
    }
    ~Flooder() { close(fd_); }
    Flooder(const Flooder &) = delete;
    Flooder &operator=(const Flooder &) = delete;

    int fd() const { return fd_; }

    // Reads and sends what there is and what goes.
    void act()
    {
        char ignored[65536];
        while (recv(fd_, ignored, sizeof(ignored), 0) > 0) {
        }
        const ssize_t sent = send(fd_, text_.data() + at_, text_.size() - at_, MSG_NOSIGNAL);
        at_ += static_cast<size_t>(std::max<ssize_t>(sent, 0));
        if (at_ == text_.size())
            at_ = again_at_;
    }

  private:
    const int fd_;
    std::string text_;
    size_t again_at_;
    size_t at_ = 0;
};

// Returns: the slowest of a person's echoes while so many flood, in milliseconds.
long slowest_echo(const TelnetServer &server, const Flood &flood, int count, int keys)
{
    int told[2];
    EXPECT_EQ(pipe(told), 0);
    const pid_t person = fork();
    if (person == 0) {
        type_keys(server.port(), keys, told[1]);
        _exit(0);
    }
    close(told[1]);
    Told last = {};
    EXPECT_EQ(read(told[0], &last, sizeof(last)), static_cast<ssize_t>(sizeof(last)));
    std::vector<std::unique_ptr<Flooder>> flooders;
    std::vector<pollfd> ready;
    for (int i = 0; i < count; i++) {
        flooders.push_back(std::make_unique<Flooder>(server.port(), flood));
        ready.push_back({flooders.back()->fd(), POLLIN | POLLOUT, 0});
    }
    ready.push_back({told[0], POLLIN, 0});
    while (ready.back().revents == 0) {
        poll(ready.data(), ready.size(), -1);
        for (size_t i = 0; i < flooders.size(); i++) {
            if (ready[i].revents != 0)
                flooders[i]->act();
        }
    }
    EXPECT_EQ(read(told[0], &last, sizeof(last)), static_cast<ssize_t>(sizeof(last)));
    waitpid(person, nullptr, 0);
    close(told[0]);
    return last.is_over ? last.slowest_ms : -1;
}

class Fairness : public testing::TestWithParam<Flood> {
  protected:
    void SetUp() override
    {
        std::ofstream(secret_file_) << GetParam().secret;
        std::ofstream configuration(configuration_);
        for (int i = 1; i <= 1000; i++)
            configuration << "vlan " << i << " name number" << i << "\n";
    }

    void TearDown() override
    {
        unlink(secret_file_.c_str());
        unlink(configuration_.c_str());
    }

    void expect_echoes(const std::vector<int> &counts, int keys, const char *threads)
    {
        chmod(secret_file_.c_str(), S_IRUSR | S_IWUSR);
        const TelnetServer server({"--max-per-address", "500", "--threads", threads,
                                   "--enable-secret-file", secret_file_, "--config",
                                   configuration_});
        for (const int count : counts) {
            const long slowest = slowest_echo(server, GetParam(), count, keys);
            EXPECT_GE(slowest, 0) << "the person was not served";
            EXPECT_LE(slowest, most_ms) << count << " clients";
            std::printf("%s from %d clients with %s threads: slowest echo %ld ms\n",
                        GetParam().name, count, threads, slowest);
        }
    }

    const std::string secret_file_ =
        testing::TempDir() + "varno-fairness-" + std::to_string(getpid());
    const std::string configuration_ = secret_file_ + "-configuration";
};

TEST_P(Fairness, AKeyIsAnsweredInTime)
{
    if (long_tests_factor() > 1) {
        expect_echoes({1, 10, 95}, long_keys * long_tests_factor(), "1");
        expect_echoes({1, 10, 95}, long_keys * long_tests_factor(), "4");
        return;
    }
    if (GetParam().run == Run::in_long_runs)
        GTEST_SKIP() << "a long run has it";
    expect_echoes({10}, short_keys, "1");
    if (GetParam().run == Run::by_many)
        expect_echoes({95}, short_keys, "4");
}

INSTANTIATE_TEST_SUITE_P(All, Fairness, testing::ValuesIn(floods),
                         [](const auto &row) { return std::string(row.param.name); });

} // namespace
