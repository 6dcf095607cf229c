// The device that the host programs serve, through sessions in this process: what its
// commands answer, and what its sessions and threads share.

#include "../hosts/device/configuration.h"
#include "../hosts/device/device.h"
#include "../hosts/device/interfaces.h"
#include "../hosts/device/ping.h"
#include "../hosts/device/reading.h"
#include "../hosts/device/routes.h"
#include "../hosts/device/table.h"
#include "../hosts/device/visitors.h"
#include "support/long_tests.h"
#include "support/memory.h"
#include "support/terminal.h"

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <barrier>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <crypt.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using varno_test::Terminal;

constexpr int rows = 24;
constexpr int columns = 80;

// A session and its terminal.
class Guest {
  public:
    explicit Guest(const std::string &peer = "a test", const char *type = "vt100",
                   int32_t transport = TSESSION_PLAIN)
    {
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.transport = transport;
        config.terminal_type = type;
        config.user = &console_;
        config.output = take_output;
        config.event = take_event;
        console_.host = this;
        cli_shell_config_s shell = device::shell_config(console_);
        shell.session = &config;
        console_.shell = cli_shell_create(&shell);
        device::attach(console_, peer);
        tsession_start(session());
    }

    ~Guest()
    {
        device::detach(console_);
        cli_shell_free(console_.shell);
    }

    Guest(const Guest &) = delete;
    Guest &operator=(const Guest &) = delete;

    // Returns: what was sent for it.
    std::string type(std::string_view text)
    {
        sent_.clear();
        device::take_input(console_, text.data(), text.size());
        return go_on();
    }

    // Returns: what was sent for work that waits for nothing.
    std::string go_on()
    {
        while (tsession_wait(session()) == 0)
            device::time_out(console_);
        return sent_;
    }

    std::string screen() const { return terminal_.text(); }

    // The row with the cursor, up to it.
    std::string row() const
    {
        const auto cursor = static_cast<size_t>(terminal_.cursor_column());
        return terminal_.row(terminal_.cursor_row()).substr(0, cursor);
    }

    int cursor_row() const { return terminal_.cursor_row(); }
    tsession_s *session() { return cli_shell_session(console_.shell); }
    device::Console &console() { return console_; }

    // Runs in the next output callback.
    std::function<void()> meanwhile;
    std::vector<std::pair<uint32_t, device::Act>> timers; // milliseconds, what then

  private:
    static Guest &of(void *user)
    {
        return *static_cast<Guest *>(static_cast<device::Console *>(user)->host);
    }

    static void take_output(tsession_s *, void *user, const char *bytes, size_t count)
    {
        Guest &guest = of(user);
        guest.sent_.append(bytes, count);
        guest.terminal_.feed({bytes, count});
        if (guest.meanwhile)
            std::exchange(guest.meanwhile, nullptr)();
    }

    static void take_event(tsession_s *, void *user, const tsession_event_s *event)
    {
        device::take_event(*static_cast<device::Console *>(user), *event);
    }

    device::Console console_;
    Terminal terminal_{rows, columns};
    std::string sent_;
};

bool do_later(device::Console &console, uint32_t milliseconds, device::Act act)
{
    static_cast<Guest *>(console.host)->timers.emplace_back(milliseconds, std::move(act));
    return milliseconds != 99000;
}

bool has(const std::string &text, std::string_view part)
{
    return text.find(part) != text.npos;
}

size_t count_of(const std::string &text, std::string_view part)
{
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size())
        count++;
    return count;
}

// While it lives there are so many descriptors more, whichever this process was given.
class FewDescriptors {
  public:
    explicit FewDescriptors(int more)
    {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit few = {0, before_.rlim_max};
        while (fcntl(static_cast<int>(few.rlim_cur), F_GETFD) >= 0 || more-- > 0)
            few.rlim_cur++;
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors &) = delete;
    FewDescriptors &operator=(const FewDescriptors &) = delete;

  private:
    rlimit before_ = {};
};

// What other threads have for this one.
class Acts {
  public:
    void add(device::Act act)
    {
        const std::lock_guard lock(mutex_);
        acts_.push_back(std::move(act));
        added_.notify_one();
    }

    void do_next()
    {
        std::unique_lock lock(mutex_);
        added_.wait(lock, [this] { return !acts_.empty(); });
        const std::vector<device::Act> acts = std::exchange(acts_, {});
        lock.unlock();
        for (const device::Act &act : acts)
            act();
    }

    void forget()
    {
        const std::lock_guard lock(mutex_);
        acts_.clear();
    }

  private:
    std::mutex mutex_;
    std::condition_variable added_;
    std::vector<device::Act> acts_;
} acts;

std::function<void(device::Act)> make_poster(device::Console &)
{
    return [](device::Act act) { acts.add(std::move(act)); };
}

class Device : public testing::Test {
  protected:
    void SetUp() override
    {
        std::string problem;
        EXPECT_TRUE(device::start({"device-test", "", "", "", do_later, make_poster}, problem));
    }

    void TearDown() override
    {
        device::release_thread();
        device::stop();
        EXPECT_EQ(tracked_outstanding(nullptr), tracked_outstanding("mkey_t"));
    }
};

struct Answer {
    const char *typed;
    const char *shown; // on an empty screen, from its first row on
};

TEST_F(Device, CommandsAnswer)
{
    // clang-format off
    constexpr Answer answers[] = {
        {"show version",           "> show version\ndevice-test " DEVICE_TEST_VERSION "\n>"},
        {"echo a  \"b  c\"",       "> echo a  \"b  c\"\na b  c\n>"},
        {"show sessions",          "> show sessions\n"
                                   "own    no    idle  peer                   terminal      columns  rows\n"
                                   "*       1       0  a test                 vt100              80    24\n>"},
        {"show history",           "> show history\n>"},
        {"show aliases",           "> show aliases\nname          line\n>"},
        {"show aliases | json",    "> show aliases | json\n[]\n>"},
        {"show numbers 2",         "> show numbers 2\n1\n2\n>"},
        {"show numbers 1000001",   "> show numbers 1000001\n  show numbers 1000001\n"
                                   "               ^\n% COUNT: 1 to 1000000\n"},
        {"timer 99 x",             "> timer 99 x\n% All timers run\n>"},
        {"timer 86401 x",          "> timer 86401 x\n  timer 86401 x\n        ^\n"
                                   "% SECONDS: 1 to 86400\n"},
        {"terminal width 9",       "> terminal width 9\n  terminal width 9\n"
                                   "                 ^\n% COLUMNS: 10 to 512\n"},
        {"no alias show",          "> no alias show\n  no alias show\n           ^\n"
                                   "% NAME: one of your own commands\n"},
        {"alias show exit",        "> alias show exit\n% This name is taken\n>"},
        {"alias ex exit",          "> alias ex exit\n% This name is taken\n>"},
        {"alias e exit",           "> alias e exit\n% This name is taken\n>"},
        {"debug off",              "> debug off\n>"},
        {"prompt \"device# \"",    "> prompt \"device# \"\ndevice#\n"},
        {"prompt a  b",            "> prompt a  b\na b\n"},
        {"alias v show version",   "> alias v show version\n>"},
        {"show interfaces none",   "> show interfaces none\n  show interfaces none\n"
                                   "                  ^\n% NAME: an interface\n  NAME "},
    };
    // clang-format on
    for (const Answer &row : answers) {
        {
            Guest guest;
            guest.type(std::string(row.typed) + "\r");
            std::string screen = guest.screen();
            if (const size_t at = screen.find("*");
                at != screen.npos && std::strstr(row.shown, "*"))
                screen.replace(at, 9, "*       1"); // sessions are numbered through
            EXPECT_EQ(screen.substr(0, std::strlen(row.shown)), row.shown);
        }
    }
}

TEST_F(Device, NothingIsWrongOrDoubtfulWithItsTable)
{
    std::string findings;
    const auto note = [](void *ctx, const cli_finding_s *finding) {
        *static_cast<std::string *>(ctx) += std::string(finding->syntax) + ": " + finding->text +
                                            " " + std::to_string(finding->column) + "\n";
    };
    cli_set_s *set = cli_set_create();
    for (const cli_type_s &type : device::types())
        EXPECT_EQ(cli_set_add_type(set, nullptr, &type), 0);
    for (const device::ModeRows &one : device::modes()) {
        EXPECT_EQ(cli_set_add_mode(set, nullptr, &one.mode), 0);
        EXPECT_EQ(cli_set_add(set, nullptr, one.mode.name, one.rows.data(), one.rows.size()), 0);
    }
    EXPECT_EQ(cli_set_build(set, note, &findings), 0);
    EXPECT_EQ(findings, "");
    cli_set_free(set);
}

TEST_F(Device, ATimersTextIsShownWhenItsTimeHasCome)
{
    Guest guest;
    EXPECT_FALSE(has(guest.type("timer 5 tea  is ready\r"), "\ntea"));
    guest.type("timer 86400 next day\r");
    ASSERT_EQ(guest.timers.size(), 2U);
    EXPECT_EQ(guest.timers[0].first, 5000U);
    EXPECT_EQ(guest.timers[1].first, 86400000U);
    guest.type("sh");
    guest.timers[0].second();
    EXPECT_EQ(guest.row(), "> sh");
    EXPECT_TRUE(has(guest.screen(), "\ntea  is ready\n> sh"));
}

TEST_F(Device, ASessionHasEightTimersAtOnce)
{
    Guest guest, other;
    for (int i = 0; i < 8; i++)
        EXPECT_FALSE(has(guest.type("timer 5 x\r"), "%"));
    EXPECT_TRUE(has(guest.type("timer 5 x\r"), "% All timers run\r\n"));
    EXPECT_FALSE(has(other.type("timer 5 x\r"), "%"));
    guest.timers[0].second();
    EXPECT_FALSE(has(guest.type("timer 5 x\r"), "%"));
    EXPECT_TRUE(has(guest.type("timer 5 x\r"), "% All timers run\r\n"));
}

TEST(DeviceWithoutTimersAndWakers, SaysSo)
{
    std::string problem;
    device::start({"device-test", "", "", "", nullptr, nullptr}, problem);
    {
        Guest guest;
        EXPECT_TRUE(has(guest.type("timer 5 x\r"), "% There are no timers\r\n"));
        EXPECT_TRUE(has(guest.type("ping 127.0.0.1\r"), "% Nothing can be waited for\r\n"));
    }
    device::release_thread();
    device::stop();
}

TEST_F(Device, ExitAndEndOfInputCloseTheSession)
{
    for (const char *typed : {"exit\r", "quit\r", "logout\r", "\004"}) {
        Guest guest;
        guest.type(typed);
        EXPECT_TRUE(tsession_is_closed(guest.session()));
        EXPECT_EQ(guest.type("echo a\r"), "");
    }
}

TEST_F(Device, ClearLeavesThePromptOnTheFirstRow)
{
    Guest guest;
    guest.type("show numbers 12\rclear\r");
    EXPECT_EQ(guest.screen(), ">\n");
    EXPECT_EQ(guest.cursor_row(), 0);
    guest.type("echo a\r");
    EXPECT_EQ(guest.screen(), "> echo a\na\n>\n");
    Guest dumb("a printer", "dumb");
    EXPECT_FALSE(has(dumb.type("clear\r"), "\033"));
}

// Long outputs

TEST_F(Device, SessionsPageAtTheSameTime)
{
    Guest first;
    Guest second;
    first.type("show numbers 100\r");
    second.type("show numbers 1000\r ");
    first.type(" ");
    EXPECT_TRUE(has(first.screen(), "\n46\n--More--"));
    EXPECT_TRUE(has(second.screen(), "\n46\n--More--"));
    second.type("q");
    EXPECT_EQ(second.row(), "> ");
    first.type("  ");
    EXPECT_TRUE(has(first.screen(), "\n92\n--More--"));
    first.type(" ");
    EXPECT_TRUE(has(first.screen(), "\n100\n>"));
}

TEST_F(Device, ALongOutputMayBeLeftInTheMiddle)
{
    for (const char *command : {"show numbers 100", "show interfaces", "show routes",
                                "show sessions", "show memory", "show history", "show aliases"}) {
        const Guest another;
        Guest guest;
        guest.type("alias one echo 1\ralias two echo 2\rterminal length 2\r" +
                   std::string(command) + "\r");
        EXPECT_EQ(guest.row(), "--More--") << command;
    }
}

TEST_F(Device, ALongHistoryIsNumberedAndPaged)
{
    Guest guest;
    for (int i = 1; i <= 30; i++)
        guest.type("echo " + std::to_string(i) + "\r");
    EXPECT_TRUE(has(guest.type("show history\r"), "   23  echo 23\r\n--More--"));
    EXPECT_TRUE(has(guest.type(" "), "   30  echo 30\r\n   31  show history\r\n"));
}

// The rows' sum, and what the last one says that it is in all.
std::pair<size_t, size_t> sums_of(const std::string &shown)
{
    size_t sum = 0;
    size_t total = 0;
    for (size_t at = shown.find("tag\r\n") + 5; total == 0; at = shown.find("\n", at) + 1) {
        const size_t blocks = std::stoul(shown.substr(at, 8));
        (shown.compare(at + 10, 6, "in all") == 0 ? total : sum) += blocks;
    }
    return {sum, total};
}

TEST_F(Device, TheBooksOfTheAllocatorNameEveryTagThatSessionsUse)
{
    device::first_level = CLI_MOST_LEVEL;
    Guest guest("telnet", "vt100", TSESSION_TELNET);
    device::first_level = 0;
    Guest other;
    guest.type("alias x echo a\r");
    guest.type("terminal length 0\r");
    const std::string shown = guest.type("show memory\r");
    const auto [sum, total] = sums_of(shown);
    EXPECT_GT(total, 100U);
    EXPECT_EQ(sum, total);
    EXPECT_TRUE(has(shown, "       2  tsession_s\r\n"));
    EXPECT_TRUE(
        has(guest.type("show memory | json\r"), "  {\"blocks\": 2, \"tag\": \"tsession_s\"},\r\n"));
    guest.type("configure\rinterface lo\r");
    const auto [sum_there, total_there] =
        sums_of(guest.type("do show memory | exclude \"no such row\"\r"));
    EXPECT_GT(total_there, total);
    EXPECT_EQ(sum_there, total_there);
}

// Aliases

// Filters are of the line that writes: those of the alias' text.
TEST_F(Device, AnAliasTakesNoFilterButItsText)
{
    Guest guest;
    guest.type("alias few show numbers 20 | include 2\r");
    EXPECT_TRUE(has(guest.type("few\r"), "few\r\n2\r\n12\r\n20\r\n> "));
    EXPECT_TRUE(has(guest.type("few | count\r"), "% unknown word"));
}

TEST_F(Device, AnAliasIsItsSessionsOwn)
{
    Guest first;
    Guest second;
    first.type("alias greet echo \"good day\" to you\r");
    EXPECT_TRUE(has(first.type("greet\r"), "\r\ngood day to you\r\n"));
    EXPECT_TRUE(
        has(first.type("show aliases\r"), "\r\ngreet         echo \"good day\" to you\r\n"));
    EXPECT_TRUE(has(first.type("show aliases | json\r"),
                    "\r\n  {\"name\": \"greet\", \"line\": \"echo \\\"good day\\\" to you\"}\r\n"));
    EXPECT_TRUE(has(first.type("alias greet exit\r"), "% This name is taken"));
    EXPECT_TRUE(has(second.type("greet\r"), "% unknown word"));
    EXPECT_TRUE(has(second.type("no alias greet\r"), "% NAME: one of your own commands"));
    EXPECT_FALSE(has(second.type("show aliases\r"), "good day"));
    second.type("alias greet echo bye\r");
    EXPECT_TRUE(has(first.type("greet\r"), "\r\ngood day to you\r\n"));
    EXPECT_TRUE(has(second.type("greet\r"), "\r\nbye\r\n"));
}

TEST_F(Device, NoAliasTakesAWordThatACommandBeginsWith)
{
    Guest guest;
    for (const cli_command_s &command : device::modes()[0].rows) {
        if (!command.run || command.level > 0)
            continue; // it is not there
        const std::string word(command.syntax, std::strcspn(command.syntax, " (<"));
        if (word.empty() || std::isupper(static_cast<unsigned char>(word[0])))
            continue;
        for (size_t len = 1; len <= word.size(); len++)
            EXPECT_TRUE(has(guest.type("alias " + word.substr(0, len) + " echo x\r"),
                            "% This name is taken"))
                << word.substr(0, len);
    }
    for (const char *name : {"q", "quit", "lo", "logout", "ex", "exit"})
        EXPECT_TRUE(
            has(guest.type(std::string("alias ") + name + " echo x\r"), "% This name is taken"));
    EXPECT_FALSE(has(guest.type("alias shows echo x\r"), "taken"));
    guest.type("sho hist\r");
    EXPECT_TRUE(has(guest.type("shows\r"), "\r\nx\r\n"));
}

TEST_F(Device, AnAliasCanBeTypedRightBehindTheCommandThatMadeIt)
{
    Guest guest;
    const std::string shown = guest.type("alias x echo one\rx\rno alias x\ralias x echo two\r"
                                         "x\rno alias x\rx\r");
    EXPECT_TRUE(has(shown, "\r\none\r\n"));
    EXPECT_TRUE(has(shown, "\r\ntwo\r\n"));
    EXPECT_EQ(count_of(shown, "% unknown word"), 1U);
}

TEST_F(Device, AnAliasMayRemoveItselfAndTheOneThatRunsIt)
{
    Guest guest;
    guest.type("alias inner no alias outer\ralias outer inner\router\r");
    EXPECT_TRUE(has(guest.type("outer\r"), "% unknown word"));
    guest.type("alias once no alias once\ronce\r");
    EXPECT_TRUE(has(guest.type("once\r"), "% unknown word"));
    guest.type("alias maker alias made echo made\rmaker\r");
    EXPECT_TRUE(has(guest.type("made\r"), "\r\nmade\r\n"));
}

TEST_F(Device, AliasesAreNestedOnlySoDeep)
{
    Guest guest;
    EXPECT_EQ(count_of(guest.type("alias x x\rx\r"), "Aliases are nested too deeply"), 1U);
    EXPECT_TRUE(has(guest.type("alias b echo b\rb\r"), "\r\nb\r\n"));
}

TEST_F(Device, NamesOfAliasesAreCheckedAndThereAreOnlySoMany)
{
    Guest guest;
    for (const char *bad : {"\"a b\"", "\"\"", "a\\?b", "a;b", "nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn"})
        EXPECT_TRUE(has(guest.type("alias " + std::string(bad) + " exit\r"), "A name is 1 to 31"))
            << bad;
    for (int i = 0; i < 32; i++)
        EXPECT_FALSE(has(guest.type("alias n" + std::to_string(i) + " exit\r"), "aliases already"));
    EXPECT_TRUE(has(guest.type("alias more exit\r"), "There are 32 aliases already"));
}

TEST_F(Device, ThePlacesOfErrorsInAliasesAreShown)
{
    Guest guest;
    EXPECT_TRUE(has(guest.type("alias bad show vresion\rbad\r"),
                    "  show vresion\r\n       ^\r\n% unknown word\r\n  version  "));
    EXPECT_TRUE(has(guest.type("bad\r"), "^\r\n% unknown word\r\n  version  "));
}

// Its line is one of the first mode's, wherever "do" runs it.
TEST_F(Device, AnAliasRunsInEveryModeThatHasDo)
{
    device::first_level = CLI_MOST_LEVEL;
    Guest guest;
    device::first_level = 0;
    guest.type("alias greet echo hello\ralias twice do-it\ralias do-it greet\rconfigure\r");
    EXPECT_TRUE(has(guest.type("do greet\r"), "\r\nhello\r\n(config)# "));
    guest.type("interface lo\r");
    EXPECT_TRUE(has(guest.type("do twice\r"), "\r\nhello\r\n(config-if)# "));
    EXPECT_TRUE(has(guest.type("greet\r"), "% unknown word"));
}

// The same session's own aliases change while the list of choices is being written.
TEST_F(Device, AListGoesOnAfterAChangeOfTheAliases)
{
    Guest guest("a", "dumb");
    for (int i = 0; i < 32; i++)
        guest.type("alias n" + std::to_string(i) + " echo n" + std::to_string(i) + "\r");
    EXPECT_TRUE(has(guest.type("?"), "--More--"));
    guest.console().aliases.resize(20);
    const std::string shown = guest.type(" ");
    EXPECT_TRUE(has(shown, "\r\n  n19 "));
    EXPECT_FALSE(has(shown, "\r\n  n20 "));
    EXPECT_EQ(guest.row(), "> ");
}

// Interfaces

TEST_F(Device, ANameThatCannotBeTypedIsNotListed)
{
    const std::vector<std::string> names = {"a b", "",   "q\"",     "q'",       "q\\",  "q?",
                                            "q;",  "\t", "e\033[m", "\303\244", "good", "gone"};
    const auto listed = [&names](const char *begun) {
        std::string text;
        device::list_interfaces(
            names, begun,
            [](void *ctx, const char *name, const char *help) {
                *static_cast<std::string *>(ctx) += std::string(name) + ": " + help + "\n";
            },
            &text);
        return text;
    };
    EXPECT_EQ(listed(""), "good: an interface\ngone: an interface\n");
    EXPECT_EQ(listed("go"), "good: an interface\ngone: an interface\n");
    EXPECT_EQ(listed("gon"), "gone: an interface\n");
    EXPECT_EQ(listed("q"), "");
}

TEST(Reading, IsDoneOnceASecondForAll)
{
    static int reads;
    static bool does_tell;
    reads = 0;
    does_tell = true;
    device::Reading<int> reading([] {
        reads++;
        return does_tell ? std::optional(reads) : std::nullopt;
    });
    EXPECT_EQ(*reading.get(5000), 1);
    EXPECT_EQ(*reading.get(5999), 1);
    EXPECT_EQ(*reading.get(6000), 2);
    reading.forget();
    EXPECT_EQ(*reading.get(6001), 3);
    does_tell = false;
    EXPECT_EQ(*reading.get(6999), 3);
    EXPECT_EQ(reading.get(7001), nullptr);
    does_tell = true;
    EXPECT_EQ(*reading.get(7002), 5);
}

TEST_F(Device, ALiveInterfaceIsCompletedAndShown)
{
    Guest guest;
    guest.type("show interfaces l\t");
    EXPECT_TRUE(has(guest.row(), "> show interfaces lo"));
    const std::string shown = guest.type("\025show interfaces lo\r");
    EXPECT_TRUE(has(shown, "\nlo is "));
    EXPECT_TRUE(has(shown, "\r\n  received "));
    EXPECT_TRUE(has(guest.type("show interfaces\r"), "\nlo is "));
}

// Nothing is made up: no zeros for counters, no "no such interface", no empty list.
TEST_F(Device, WhatTheSystemDoesNotTellIsNotClaimed)
{
    Guest guest;
    // The names are known, and a sanitizer, which opens a descriptor for it, has seen what
    // the commands are made of.
    guest.type("show interfaces lo\r");
    guest.type("show interfaces\r");
    guest.type("show routes\r");
    const auto with_descriptors = [&guest](int more, const char *typed) {
        const FewDescriptors few(more);
        device::forget_interfaces();
        device::forget_routes();
        return guest.type(typed);
    };
    constexpr char not_told[] = "% The system does not tell its interfaces\r\n";
    EXPECT_TRUE(has(with_descriptors(0, "show interfaces lo\r"), not_told));
    EXPECT_TRUE(has(with_descriptors(0, "show interfaces\r"), not_told));
    constexpr char no_routes[] = "% The system does not tell its routes\r\n";
    EXPECT_TRUE(has(with_descriptors(0, "show routes\r"), no_routes));
    EXPECT_FALSE(has(with_descriptors(3, "show routes\r"), no_routes));
    EXPECT_FALSE(has(guest.type("show interfaces\r"), "unknown number"));
}

// Routes

struct Listed {
    const char *line;
    const char *shown; // NULL: nothing
};

std::string text_of(const std::optional<device::Route> &route)
{
    return route ? route->destination + " " + route->via + " " + route->interface + " " +
                       std::to_string(route->metric)
                 : "nothing";
}

TEST_F(Device, RoutesAreReadOnlyAsFarAsTheyReadLikeRoutes)
{
    // As a machine of either byte order has them: the digits of a number of its own.
    const auto number = [](std::initializer_list<unsigned char> bytes) {
        unsigned value = 0;
        std::memcpy(&value, std::data(bytes), sizeof(value));
        char text[9];
        std::snprintf(text, sizeof(text), "%08X", value);
        return std::string(text);
    };
    const std::string net = number({10, 1, 0, 0});
    const std::string gateway = number({10, 1, 2, 3});
    const std::string mask = number({255, 255, 0, 0});
    const std::string end = "\t0\t0\t100\t" + mask + "\t0\t0\t0\n";
    const auto shown = [](const std::string &line) {
        return text_of(device::ipv4_route(line.c_str()));
    };
    EXPECT_EQ(shown("eth0\t" + net + "\t" + gateway + "\t0003" + end),
              "10.1.0.0/16 10.1.2.3 eth0 100");
    EXPECT_EQ(shown("eth0\t" + net + "\t00000000\t0001" + end), "10.1.0.0/16 connected eth0 100");
    EXPECT_EQ(shown("*\t" + net + "\t00000000\t0201" + end), "10.1.0.0/16 unreachable * 100");
    EXPECT_EQ(shown("e\033[m\t" + net + "\t00000000\t0001" + end),
              "10.1.0.0/16 connected e\033[m 100");
    EXPECT_EQ(shown("eth0\t" + net + "\t00000000\t0002" + end), "nothing"); // not up
    for (const char *line : {"", "\n", "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric",
                             "eth0\t00000000", "eth0 x 0 0 0 0 0 0", "eth0\t0\t0\t1\t0\t0\t0\n"})
        EXPECT_EQ(shown(line), "nothing") << line;
}

TEST_F(Device, RoutesOfIpv6LikewiseAndOnlyWhatLeadsSomewhere)
{
#define NOWHERE "00000000000000000000000000000000"
    // clang-format off
    constexpr Listed rows_of_the_list[] = {
        {"fd000000000000000000000000000000 40 " NOWHERE " 00 " NOWHERE
         " 00000100 00000001 00000000 00000001     eth0\n",
         "fd00::/64 connected eth0 256"},
        {NOWHERE " 00 " NOWHERE " 00 fd000000000000000000000000000001"
         " 00000400 00000003 00000000 00000003     eth0\n",
         "::/0 fd00::1 eth0 1024"},
        {"fd010000000000000000000000000000 20 " NOWHERE " 00 " NOWHERE
         " 00000400 00000003 00000000 00200201       lo\n",
         "fd01::/32 unreachable lo 1024"},
        {NOWHERE " 00 " NOWHERE " 00 " NOWHERE " ffffffff 00000001 00000000 00200200       lo\n",
         nullptr},
        {"fd000000000000000000000000000002 80 " NOWHERE " 00 " NOWHERE
         " 00000000 00000003 00000000 80200001     eth0\n", nullptr},
        {"ff000000000000000000000000000000 08 " NOWHERE " 00 " NOWHERE
         " 00000100 00000003 00000000 00000001     eth0\n", nullptr},
        {"fd00000000000000000000000000000 40 " NOWHERE " 00 " NOWHERE
         " 00000100 00000001 00000000 00000001     eth0\n", nullptr},
        {"fd000000000000000000000000000000 ff " NOWHERE " 00 " NOWHERE
         " 00000100 00000001 00000000 00000001     eth0\n", nullptr},
        {"fd000000000000000000000000000000 40 " NOWHERE, nullptr},
        {"", nullptr},
    };
    // clang-format on
#undef NOWHERE
    for (const Listed &row : rows_of_the_list)
        EXPECT_EQ(text_of(device::ipv6_route(row.line)), row.shown ? row.shown : "nothing");
}

TEST_F(Device, TheRoutesOfTheSystemAreShown)
{
    Guest guest;
    guest.type("terminal length 0\r");
    const std::string shown = guest.type("show routes\r");
    EXPECT_TRUE(has(shown, "\r\ndestination         via              interface  metric\r\n"));
    const size_t count = std::stoul(guest.type("show routes | count\r").substr(21));
    EXPECT_EQ(count_of(shown, "\r\n"), count + 2);
    EXPECT_EQ(count_of(guest.type("show routes | json\r"), "  {\"destination\": \""), count);
    EXPECT_EQ(guest.row(), "> ");
}

// Sessions

TEST_F(Device, SessionsAreListedWithWhatTheirTerminalsAre)
{
    Guest own("192.0.2.1 port 1000", "xterm");
    Guest telnet("evil\033[2J", nullptr, TSESSION_TELNET);
    telnet.type({"\377\373\037\377\372\037\0\144\0\036\377\360", 12}); // 100 columns, 30 rows
    telnet.type({"\377\373\030\377\372\030\0screen\377\360", 15});
    EXPECT_TRUE(has(own.type("show sessions\r"), "  screen            100    30\r\n"));
    own.type("terminal width 40\rterminal length 10\r");
    EXPECT_TRUE(has(telnet.type("show sessions\r"), "  xterm              40    10\r\n"));
    const std::string shown = telnet.type("show sessions\r");
    EXPECT_TRUE(has(shown, "       0  192.0.2.1 port 1000    xterm              40    10\r\n"));
    EXPECT_TRUE(has(shown, "       0  evil?[2J               screen            100    30\r\n"));
    EXPECT_EQ(count_of(shown, "\n*"), 1U);
    EXPECT_TRUE(has(shown.substr(shown.find("\n*")).substr(0, 60), "screen"));
}

TEST_F(Device, OnANarrowTerminalTheListIsCutAndItsObjectsAreWhole)
{
    Guest guest("2001:db8:1234:5678:9abc:def0:1234:5678 port 12345");
    const std::string number = std::to_string(guest.console().visitor->number);
    guest.type("terminal width 40\r\014show sessions\r");
    EXPECT_TRUE(has(guest.screen(), "\nown    no    idle  peer                >\n*" +
                                        std::string(8 - number.size(), ' ') + number +
                                        "       0  2001:db8:1234:5678:9>\n>"));
    EXPECT_TRUE(has(guest.type("show sessions | json\r"),
                    "\r\n[\r\n  {\"own\": \"*\", \"no\": " + number +
                        ", \"idle\": 0, "
                        "\"peer\": \"2001:db8:1234:5678:9abc:def0:1234:5678 port 12345\", "
                        "\"terminal\": \"vt100\", \"columns\": 40, \"rows\": 24}\r\n]\r\n"));
}

TEST_F(Device, ASizeThatTheHostHasSetIsSeenWithTheNextInput)
{
    Guest guest;
    tsession_resize(guest.session(), 60, 20);
    EXPECT_TRUE(has(guest.type("show sessions | json\r"), "\"columns\": 60, \"rows\": 20}"));
}

TEST_F(Device, TheSecondsSinceTheLastInputAreListed)
{
    Guest own;
    Guest other("another");
    const auto idle = [&own] {
        const std::string shown = own.type("show sessions\r");
        const size_t row = shown.rfind('\n', shown.find("another")) + 1;
        return std::stol(shown.substr(row + 9, 8));
    };
    other.console().visitor->last_input -= 61 * 1000;
    EXPECT_GE(idle(), 61);
    EXPECT_LT(idle(), 1000);
    other.type("x");
    EXPECT_LT(idle(), 61);
    other.console().visitor->last_input -= 61 * 1000;
    other.go_on();
    device::time_out(other.console()); // what comes by itself is no input
    EXPECT_GE(idle(), 61);
    other.console().visitor->last_input += 122 * 1000; // an input while the list is made
    EXPECT_EQ(idle(), 0);
}

TEST_F(Device, ASessionThatHasEndedIsNotListed)
{
    Guest own;
    {
        Guest other("another");
        EXPECT_TRUE(has(own.type("show sessions\r"), "another"));
    }
    EXPECT_FALSE(has(own.type("show sessions\r"), "another"));
}

TEST_F(Device, SessionsMayEndWhileTheirListIsPaged)
{
    Guest own;
    auto second = std::make_unique<Guest>("second");
    auto third = std::make_unique<Guest>("third");
    own.type("terminal length 2\rshow sessions\r\r");
    EXPECT_EQ(own.row(), "--More--");
    second.reset();
    const std::string shown = own.type("    ");
    EXPECT_FALSE(has(shown, "second"));
    EXPECT_TRUE(has(shown, "third"));
    third.reset();
    const Guest fourth;
    own.type("show sessions\r");
    EXPECT_EQ(own.row(), "--More--");
    own.type("q");
    EXPECT_EQ(own.row(), "> ");
}

// Traces

TEST_F(Device, TracesAreOffAtFirstAndOnlyOfTheSessionThatAsks)
{
    Guest own;
    Guest other;
    EXPECT_EQ(g_trace_max_level, 6);
    EXPECT_FALSE(has(own.type("echo a\r"), "(debug)"));
    own.type("debug on\rdebug on\r");
    EXPECT_EQ(g_trace_max_level, 6); // but in its turns
    EXPECT_TRUE(has(own.type("echo b\r"), "(debug): Got token [echo], trying to match\r\n"));
    other.meanwhile = [] { EXPECT_EQ(g_trace_max_level, 6); };
    EXPECT_FALSE(has(other.type("echo c\r"), "(debug)"));
    own.meanwhile = [] { EXPECT_EQ(g_trace_max_level, 7); };
    own.type("echo c\r");
    EXPECT_EQ(g_trace_max_level, 6);
    other.type("debug on\r");
    own.type("debug off\r");
    EXPECT_FALSE(has(own.type("echo d\r"), "(debug)"));
    EXPECT_TRUE(has(other.type("echo d\r"), "(debug)"));
    other.type("debug off\r");
    EXPECT_EQ(g_trace_max_level, 6);
}

TEST_F(Device, TracesStandBehindWhatTheCallDidAndTheLineBelowThem)
{
    Guest guest;
    guest.type("debug on\r");
    const std::string shown = guest.type("echo b\rab");
    EXPECT_LT(shown.find("\r\nb\r\n"), shown.find("(debug)"));
    EXPECT_EQ(guest.row(), "> ab");
}

// More is listed than is gathered at once, so the other has its turn in the middle.
TEST_F(Device, TracesGoOnBehindAnothersTurn)
{
    Guest guest("a", "dumb");
    Guest other("b");
    const std::string help(190, 'h');
    for (int i = 0; i < 32; i++)
        guest.type("alias n" + std::to_string(i) + " echo " + help + "\r");
    guest.type("debug on\r");
    bool has_typed = false;
    guest.meanwhile = [&] { has_typed = !other.type("x").empty(); };
    const std::string lists(12, '?');
    const std::string shown = guest.type(lists + "\025echo b\r");
    EXPECT_TRUE(has_typed);
    EXPECT_TRUE(has(shown, "(debug): Got token [echo], trying to match\r\n"));
}

TEST_F(Device, TracesOfOneCallAreBoundedAndTheOthersCounted)
{
    Guest guest;
    guest.type("debug on\r");
    const std::string keys(2000, '\002');
    const std::string shown = guest.type(keys);
    EXPECT_LT(shown.size(), 4096 + keys.size() * 4 + 1000);
    EXPECT_TRUE(has(shown, " more)\r\n"));
    EXPECT_FALSE(has(guest.type("\r"), " more)\r\n"));
}

TEST_F(Device, TheTracesOfASessionThatEndsAreNotWantedAnyMore)
{
    {
        Guest guest;
        guest.type("debug on\r");
        guest.meanwhile = [&] { device::detach(guest.console()); };
        guest.type("echo a\r");
        EXPECT_EQ(g_trace_max_level, 6);
        EXPECT_TRUE(has(guest.type("debug on\r"), "% Only a session is traced"));
    }
    Guest guest;
    guest.type("debug on\rexit\r");
}

TEST_F(Device, AFileHearsTheTracesOfAllSessions)
{
    char *text = nullptr;
    size_t count = 0;
    FILE *file = open_memstream(&text, &count);
    device::trace_to(file);
    {
        Guest guest;
        EXPECT_FALSE(has(guest.type("echo a\rdebug on\rdebug off\r"), "(debug)"));
        EXPECT_FALSE(has(guest.type("echo b\r"), "(debug)"));
    }
    device::stop();
    std::fclose(file);
    EXPECT_EQ(count_of(text, "(debug): Got token [echo], trying to match\n"), 2U);
    EXPECT_EQ(g_trace_max_level < 0, true);
    std::free(text);
}

// Batches

TEST_F(Device, ABatchHasNoTerminal)
{
    device::Console console;
    std::string written[2]; // output, errors
    console.host = written;
    cli_shell_config_s config = device::shell_config(console);
    config.output = [](void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(static_cast<device::Console *>(user)->host)[0].append(bytes,
                                                                                         count);
    };
    config.errors = [](void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(static_cast<device::Console *>(user)->host)[1].append(bytes,
                                                                                         count);
    };
    console.shell = cli_shell_create(&config);
    for (const char *line : {"alias hi echo good day", "hi", "terminal length 0", "prompt x",
                             "clear", "", "show history", "no alias hi"})
        EXPECT_EQ(cli_shell_run(console.shell, line), CLI_DONE) << line;
    for (const char *line : {"hi", "terminal width 1", "timer 1 x", "debug on"})
        EXPECT_EQ(cli_shell_run(console.shell, line), CLI_FAILED) << line;
    EXPECT_EQ(written[0], "good day\n");
    EXPECT_EQ(written[1], "  hi\n  ^\n% unknown word\n"
                          "  terminal width 1\n                 ^\n% COLUMNS: 10 to 512\n"
                          "% A batch does not wait\n% Only a session is traced\n");
    EXPECT_FALSE(console.is_done);
    cli_shell_run(console.shell, "exit");
    EXPECT_TRUE(console.is_done);
    cli_shell_free(console.shell);
}

// Configuration

// What a batch of level 15 writes for these lines.
std::string run_lines(const std::vector<std::string> &lines)
{
    device::Console console;
    std::string written;
    console.host = &written;
    cli_shell_config_s config = device::shell_config(console);
    config.level = CLI_MOST_LEVEL;
    config.output = [](void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(static_cast<device::Console *>(user)->host)
            ->append(bytes, count);
    };
    console.shell = cli_shell_create(&config);
    for (const std::string &line : lines)
        EXPECT_EQ(cli_shell_run(console.shell, line.c_str()), CLI_DONE) << line << written;
    cli_shell_free(console.shell);
    return written;
}

// What such a batch is told of the last of them.
std::string run_refused(const std::vector<std::string> &lines)
{
    device::Console console;
    std::string told;
    console.host = &told;
    cli_shell_config_s config = device::shell_config(console);
    config.mode = "configure";
    config.level = CLI_MOST_LEVEL;
    config.output = [](void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(static_cast<device::Console *>(user)->host)
            ->append(bytes, count);
    };
    console.shell = cli_shell_create(&config);
    for (const std::string &line : lines) {
        const int32_t wanted = &line == &lines.back() ? CLI_FAILED : CLI_DONE;
        EXPECT_EQ(cli_shell_run(console.shell, line.c_str()), wanted) << line << told;
    }
    cli_shell_free(console.shell);
    return told;
}

std::string file_with(const std::string &text)
{
    const std::string path = testing::TempDir() + "varno-device-" + std::to_string(getpid());
    std::ofstream(path) << text;
    chmod(path.c_str(), 0600);
    return path;
}

TEST_F(Device, AConfigurationIsWrittenAsTheCommandsThatMakeIt)
{
    EXPECT_EQ(run_lines({"show running-config"}), "");
    EXPECT_EQ(
        run_lines({"configure", "hostname r1", "vlan 7 name \"blue sky\"", "vlan 9", "vlan 10",
                   "no vlan 10", "username anna level 3", "username bert",
                   "ip route 10.0.0.0/8 10.1.1.1", "interface lo", "ip address 127.0.0.2/8",
                   "description it's \"ours\" | all", "shutdown", "ip route ::/0 fe80::1", "end",
                   "show running-config"}),
        "hostname r1\nusername anna level 3\nusername bert level 1\n"
        "vlan 7 name \"blue sky\"\nvlan 9\n"
        "ip route 10.0.0.0/8 10.1.1.1\nip route ::/0 fe80::1\n"
        "interface lo\n description it's \"ours\" | all\n ip address 127.0.0.2/8\n shutdown\n");
    EXPECT_EQ(run_lines({"show run conf | include vlan"}), "vlan 7 name \"blue sky\"\nvlan 9\n");
    EXPECT_EQ(run_lines({"show running-config configure | count"}), "7\n");
    for (const char *line : {"show run int", "show running-config interface lo"})
        EXPECT_EQ(run_lines({line}), "interface lo\n description it's \"ours\" | all\n"
                                     " ip address 127.0.0.2/8\n shutdown\n");
    EXPECT_EQ(run_lines({"configure", "interface lo", "no description", "no shutdown",
                         "no ip address", "no ip route ::/0", "no hostname", "no username bert",
                         "no vlan 7", "end", "show running-config"}),
              "username anna level 3\nvlan 9\nip route 10.0.0.0/8 10.1.1.1\n");
}

struct Refused {
    std::vector<std::string> lines; // the last is refused
    const char *why;
};

TEST_F(Device, ALineIsTakenBackAsItWasTyped)
{
    run_lines({"configure", "hostname r1", "vlan 7 name blue", "vlan 7", "username anna level 3",
               "username anna", "ip route 10.0.0.0/8 10.1.1.1", "interface lo", "description one",
               "ip address 10.1.1.1/8"});
    const std::string text = "hostname r1\nusername anna level 3\nvlan 7 name blue\n"
                             "ip route 10.0.0.0/8 10.1.1.1\n"
                             "interface lo\n description one\n ip address 10.1.1.1/8\n";
    EXPECT_EQ(run_lines({"show running-config"}), text);
    const Refused refusals[] = {
        {{"no hostname r2"}, "% There is none"},
        {{"interface lo", "no description two"}, "% There is none"},
        {{"interface lo", "no ip address 10.1.1.2/8"}, "% There is none"},
        {{"no vlan 8"}, "% There is none"},
        {{"no vlan 7 name red"}, "% There is none"},
        {{"no username anna level 4"}, "% There is none"},
        {{"no ip route 10.0.0.0/8 10.1.1.2"}, "% There is none"},
        {{"no ip route 10.0.0.0/9"}, "% There is none"},
        {{"username \"a\tb\""}, "% it has control characters, or is no UTF-8"},
        {{"username a\xff"}, "% it has control characters, or is no UTF-8"},
        {{"vlan 9 name \"a\033[2J\""}, "% it has control characters, or is no UTF-8"},
        {{"interface lo", "description a\tb"}, "% it has control characters, or is no UTF-8"},
        {{"hostname 012345678901234567890"},
         "% 1 to 20 printable characters, no blank and none of \" ' \\ ? ;"},
    };
    for (const Refused &row : refusals)
        EXPECT_TRUE(has(run_refused(row.lines), row.why)) << row.lines.back();
    EXPECT_EQ(run_lines({"show running-config"}), text);
    run_lines({"configure", "no hostname r1", "no vlan 7 name blue", "no username anna",
               "no ip route 10.0.0.0/8 10.1.1.1", "interface lo", "no description one",
               "no ip address 10.1.1.1/8"});
    EXPECT_EQ(run_lines({"show running-config"}), "");
}

TEST_F(Device, AnAddressIsTheSameHoweverItIsTyped)
{
    run_lines({"configure", "ip route 10.1.2.3/8 10.1.1.1", "ip route 10.0.0.0/8 10.1.1.2",
               "ip route ::0/0 FE80:0::1", "ip route 0:0::/0 fe80::0001",
               "ip route 2001:DB8:ffff::1/33 ::ffff:10.0.0.1",
               "ip route 192.0.2.255/31 ::", "interface lo", "ip address FD00:0:0::1/64"});
    EXPECT_EQ(run_lines({"show running-config"}),
              "ip route 10.0.0.0/8 10.1.1.2\nip route 192.0.2.254/31 ::\n"
              "ip route 2001:db8:8000::/33 ::ffff:10.0.0.1\nip route ::/0 fe80::1\n"
              "interface lo\n ip address fd00::1/64\n");
    std::string problem;
    const std::string written = run_lines({"show running-config"});
    device::forget_configuration();
    EXPECT_TRUE(device::read_configuration(file_with(written), problem)) << problem;
    EXPECT_EQ(run_lines({"show running-config"}), written);
    run_lines({"configure", "no ip route 10.9.9.9/8 10.1.1.2", "no ip route 0::/0",
               "no ip route 2001:db8:8000::/33", "no ip route 192.0.2.254/31 0::0", "interface lo",
               "no ip address fd00:0::1/64"});
    EXPECT_EQ(run_lines({"show running-config"}), "");
}

// What a line's word has to be like, for a text that is kept byte by byte.
std::string quoted(const std::string &value)
{
    std::string made = "\"";
    for (const char c : value)
        made += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
    return made + "\"";
}

// Words as the device writes them: with quotes only where a line would be another without.
std::string written_word(const std::string &value)
{
    return value.empty() || value == "|" || value.find_first_of(" \"'\\") != value.npos
               ? quoted(value)
               : value;
}

// A state of the device, as a plain model of it, and lines that lead there.
struct RandomState {
    explicit RandomState(std::mt19937 &source) : random(source)
    {
        lines = {"configure"};
        for (size_t i = random() % 20; i > 0; i--)
            add_line();
        if (random() % 2)
            set("no hostname", hostname, "");
        lines.push_back("interface lo");
        description = random() % 4 ? "x" + text() + "y" : "";
        lines.push_back(description.empty() ? "no description" : "description " + description);
        is_shut_down = random() % 2;
        lines.push_back(is_shut_down ? "shutdown" : "no shutdown");
        lines.insert(lines.end(), {"end", "show running-config"});
    }

    unsigned number(unsigned most) { return 1 + static_cast<unsigned>(random() % most); }

    std::string text()
    {
        static const char *const parts[] = {"a",  "b",  " ",  "  ", "\"", "'",  "\\",
                                            "|",  ";",  "?",  "#",  "!",  "%s", "\xc3\xa9",
                                            "no", "|x", "--", "$",  "{",  ">",  "| save"};
        std::string made;
        for (size_t i = random() % 12; i > 0; i--)
            made += parts[random() % std::size(parts)];
        return made;
    }

    void set(const std::string &line, std::string &value, const std::string &to)
    {
        lines.push_back(line);
        value = to;
    }

    void add_line()
    {
        const std::string name = random() % 9 ? text() + "n" : "|";
        const unsigned vlan = number(30), level = number(15);
        const std::string net = "10." + std::to_string(number(9)) + ".0.0/16";
        switch (random() % 7) {
        case 0:
            return set("hostname h" + std::to_string(vlan), hostname, "h" + std::to_string(vlan));
        case 1:
            return set("vlan " + std::to_string(vlan) + " name " + quoted(name), vlans[vlan], name);
        case 2:
            lines.push_back("vlan " + std::to_string(vlan));
            vlans.try_emplace(vlan);
            return;
        case 3:
            lines.push_back("username " + quoted(name) + " level " + std::to_string(level));
            users[name] = level;
            return;
        case 4:
            return set("ip route " + net + " fe80::" + std::to_string(vlan), routes[net],
                       "fe80::" + std::to_string(vlan));
        case 5:
            if (!users.empty())
                lines.push_back("no username " + quoted(users.begin()->first));
            users.erase(users.begin(), users.empty() ? users.begin() : std::next(users.begin()));
            return;
        default:
            if (vlans.erase(vlan) > 0)
                lines.push_back("no vlan " + std::to_string(vlan));
        }
    }

    std::string written() const
    {
        std::string made = hostname.empty() ? "" : "hostname " + hostname + "\n";
        for (const auto &[name, level] : users)
            made += "username " + written_word(name) + " level " + std::to_string(level) + "\n";
        for (const auto &[vlan, name] : vlans)
            made += "vlan " + std::to_string(vlan) +
                    (name.empty() ? "" : " name " + written_word(name)) + "\n";
        for (const auto &[net, gateway] : routes)
            made += "ip route " + net + " " + gateway + "\n";
        if (!description.empty() || is_shut_down)
            made += "interface lo\n";
        if (!description.empty())
            made += " description " + description + "\n";
        return made + (is_shut_down ? " shutdown\n" : "");
    }

    std::mt19937 &random;
    std::vector<std::string> lines;
    std::string hostname, description;
    std::map<std::string, unsigned> users;
    std::map<unsigned, std::string> vlans;
    std::map<std::string, std::string> routes;
    bool is_shut_down = false;
};

TEST_F(Device, AConfigurationThatIsReadBackIsTheSame)
{
    std::mt19937 random(4);
    for (int i = 0; i < 100 * varno_test::long_tests_factor() && !HasFailure(); i++) {
        const RandomState state(random);
        const std::string written = run_lines(state.lines);
        EXPECT_EQ(written, state.written());
        device::forget_configuration();
        std::string problem;
        EXPECT_TRUE(device::read_configuration(file_with(written), problem)) << problem << written;
        EXPECT_EQ(run_lines({"show running-config"}), written);
        device::forget_configuration();
    }
}

TEST_F(Device, AConfigurationIsReadBackThoughAnInterfaceHasGone)
{
    std::string problem;
    const std::string text = "interface gone0\n description was here\n shutdown\n"
                             "interface lo\n description stays\n";
    EXPECT_TRUE(device::read_configuration(file_with(text), problem)) << problem;
    EXPECT_EQ(run_lines({"show running-config"}), text);
    EXPECT_EQ(run_lines({"show running-config interface gone0 | count"}), "3\n");
    EXPECT_TRUE(has(run_refused({"do show interfaces gone0"}), "% NAME: an interface"));
    Guest guest;
    cli_shell_set_level(guest.console().shell, 15);
    const std::string listed = guest.type("show running-config interface ?\025");
    EXPECT_TRUE(has(listed, "  gone0             configured, but not there\r\n"));
    EXPECT_TRUE(has(listed, "  lo                an interface\r\n"));
    run_lines({"configure", "interface gone0", "no shutdown", "no description"});
    EXPECT_EQ(run_lines({"show running-config"}), "interface lo\n description stays\n");
    // Once nothing is said of it any more it is as unknown as any other.
    EXPECT_TRUE(has(run_refused({"interface gone0"}), "% NAME: an interface"));
    for (const char *name : {"a-name-of-16-cha", "\"a b\"", "\"\"", "a?b"}) {
        const std::string path = file_with("interface " + std::string(name) + "\n");
        EXPECT_FALSE(device::read_configuration(path, problem)) << name;
        EXPECT_EQ(problem, path + ":1:11: NAME: an interface");
    }
    EXPECT_TRUE(device::read_configuration(file_with("interface of-15-characte\n"), problem));
}

TEST_F(Device, NoMoreInterfacesAreConfiguredThanThereMayBeOfAnyThing)
{
    std::string text;
    for (int i = 1; i <= 1001; i++)
        text += "interface g" + std::to_string(i) + "\n no shutdown\n shutdown\n";
    std::string problem;
    const std::string path = file_with(text);
    EXPECT_FALSE(device::read_configuration(path, problem));
    EXPECT_EQ(problem, path + ":3003: There are 1000 already");
}

TEST_F(Device, AFileOfConfigurationIsLookedAtAsAWholeFirst)
{
    std::string problem;
    const std::string path =
        file_with("hostname changed\ninterface lo\n shutdown\nvlan 5000\n\n# so\n foo\nvlan\n");
    EXPECT_FALSE(device::read_configuration(path, problem));
    EXPECT_EQ(problem, path + ":4:6: VLAN: 1 to 4094\n" + path + ":7:2: unknown word\n" + path +
                           ":8:5: incomplete command");
    EXPECT_EQ(run_lines({"show running-config"}), "");
    std::string many;
    for (int i = 0; i < 12; i++)
        many += "secret\n";
    EXPECT_FALSE(device::read_configuration(file_with(many), problem));
    EXPECT_EQ(std::count(problem.begin(), problem.end(), '\n'), 10);
    EXPECT_TRUE(has(problem, "\n" + path + ": and 2 more"));
    EXPECT_FALSE(has(problem, "secret"));
    EXPECT_FALSE(device::read_configuration(file_with({"vlan 1\0\n", 8}), problem));
    EXPECT_EQ(problem, path + ":1:1: a byte 0");
    EXPECT_FALSE(device::read_configuration(testing::TempDir(), problem));
    EXPECT_EQ(problem, testing::TempDir() + ": Is a directory");
    problem.clear();
    EXPECT_TRUE(device::read_configuration("/nonexistent/file", problem)); // none was saved yet
    EXPECT_EQ(problem, "");
}

// What only running it tells.
TEST_F(Device, AFileOfConfigurationWhoseLineFailsLeavesNothing)
{
    std::string text = "hostname changed\n";
    for (int i = 1; i <= 1001; i++)
        text += "vlan " + std::to_string(i) + "\n";
    std::string problem;
    const std::string path = file_with(text);
    EXPECT_FALSE(device::read_configuration(path, problem));
    EXPECT_EQ(problem, path + ":1002: There are 1000 already");
    EXPECT_EQ(run_lines({"show running-config"}), "");
    EXPECT_FALSE(
        device::read_configuration(file_with("hostname " + std::string(21, 'x')), problem));
    EXPECT_EQ(problem, path + ":1: 1 to 20 printable characters, no blank and none of \" ' \\ ? ;");
}

TEST(DeviceWithFiles, TakesNothingButAHashForASecret)
{
    for (const char *line : {"open sesame\n", "*\n", "$6$salt\n", "\n"}) {
        std::string problem;
        const std::string path = file_with(line);
        EXPECT_FALSE(device::start({"device-test", "", path, "", do_later, make_poster}, problem));
        EXPECT_TRUE(has(problem, "has no hash of crypt(3) in its first line")) << line;
        device::stop();
        unlink(path.c_str());
    }
}

TEST(DeviceWithFiles, AsksForASecretAndSavesItsConfiguration)
{
    const std::string secret = file_with(std::string(crypt("open sesame", "$6$salt")) + "\n");
    const std::string saved = secret + ".config";
    std::string problem;
    chmod(secret.c_str(), 0640);
    EXPECT_FALSE(device::start({"device-test", "", secret, "", do_later, make_poster}, problem));
    EXPECT_TRUE(has(problem, "chmod 600"));
    device::stop();
    chmod(secret.c_str(), 0600);
    problem.clear();
    ASSERT_TRUE(device::start({"device-test", "", secret, saved, do_later, make_poster}, problem));
    {
        Guest guest, other;
        EXPECT_TRUE(has(guest.type("configure\r"), "% unknown word"));
        EXPECT_FALSE(has(guest.type("enable\rwrong\r"), "% access denied"));
        acts.do_next();
        EXPECT_TRUE(has(guest.go_on(), "% access denied"));
        guest.type("enable\ropen sesame\r");
        acts.do_next();
        EXPECT_FALSE(has(guest.go_on(), "sesame"));
        EXPECT_EQ(guest.row(), "# ");
        guest.type("configure\rhostname r1\r");
        EXPECT_EQ(guest.row(), "r1(config)# ");
        EXPECT_EQ((other.type("\r"), other.row()), "r1> ");
        guest.type("interface lo\rshutdown\r");
        EXPECT_EQ(guest.row(), "r1(config-if)# ");
        guest.type("\032write memory\r");
        acts.do_next();
        guest.go_on();
        EXPECT_EQ(guest.row(), "r1# ");
        EXPECT_FALSE(has(guest.type("show history\r"), "sesame"));
        guest.type("disable\r");
        EXPECT_EQ(guest.row(), "r1> ");
        EXPECT_TRUE(has(guest.type("configure\r"), "% unknown word"));
    }
    std::stringstream text;
    text << std::ifstream(saved).rdbuf();
    EXPECT_EQ(text.str(), "hostname r1\ninterface lo\n shutdown\n");
    unlink(saved.c_str());
    unlink(secret.c_str());
    device::release_thread();
    device::stop();
}

// A device that takes some tenths of a second to look at a secret.
class SlowSecret : public testing::Test {
  protected:
    void SetUp() override
    {
        std::string problem;
        const std::string path =
            file_with(std::string(crypt("open sesame", "$6$rounds=500000$salt")) + "\n");
        EXPECT_TRUE(device::start({"device-test", "", path, "", do_later, make_poster}, problem));
        unlink(path.c_str());
    }

    void TearDown() override
    {
        device::stop();
        device::release_thread();
        acts.forget();
    }
};

TEST_F(SlowSecret, KeepsOnlyWhoAskedWaiting)
{
    Guest asking, other;
    EXPECT_TRUE(has(asking.type("enable\ropen sesame\recho a\r"), "Password: "));
    EXPECT_TRUE(has(other.type("echo b\r"), "\r\nb\r\n"));
    EXPECT_EQ(asking.type(""), "");
    acts.do_next();
    EXPECT_TRUE(has(asking.go_on(), "# echo a\r\na\r\n"));
}

TEST_F(SlowSecret, ThatWasCancelledIsNotLookedAt)
{
    Guest first, second;
    first.type("enable\ropen sesame\r");
    second.type("enable\ropen sesame\r");
    EXPECT_TRUE(has(second.type("\003"), "> "));
    second.type("enable\rwrong\r");
    {
        Guest gone;
        gone.type("enable\ropen sesame\r");
    }
    acts.do_next();
    first.go_on();
    EXPECT_EQ(first.row(), "# ");
    acts.do_next();
    EXPECT_TRUE(has(second.go_on(), "% access denied\r\n> "));
    EXPECT_TRUE(first.type("enable 15\r").find("Password") == std::string::npos);
}

TEST_F(SlowSecret, IsNotAskedForByAnyNumberAtOnce)
{
    std::deque<Guest> guests;
    bool is_refused = false;
    while (!is_refused && guests.size() < 150)
        is_refused = has(guests.emplace_back().type("enable\ropen sesame\r"),
                         "% Too many ask for it, try again later\r\n% access denied\r\n> ");
    EXPECT_GT(guests.size(), 100U);
    EXPECT_LT(guests.size(), 150U);
}

// Answers that come later

TEST_F(Device, APingIsAnsweredAndTheCommandHoldsThePrompt)
{
    Guest guest;
    EXPECT_FALSE(has(guest.type("ping 127.0.0.1 count 2\recho after it\r"), "after it"));
    std::string shown;
    while (!has(shown, "\nafter it\r\n")) {
        acts.do_next();
        shown += guest.go_on();
    }
    EXPECT_TRUE(has(shown, "\nrequest 1: "));
    EXPECT_TRUE(has(shown, "\nrequest 2: "));
    EXPECT_TRUE(has(shown, " ms\r\n2 requests, 2 answers, "));
    EXPECT_LT(shown.find("2 requests, 2 answers, "), shown.find("after it"));
}

TEST_F(Device, AQuietPingShowsHowFarItIsUntilItsSummaryTakesTheRow)
{
    Guest guest;
    std::string shown = guest.type("ping 127.0.0.1 count 2 quiet\r");
    while (guest.row() != "> ") {
        acts.do_next();
        shown += guest.go_on();
    }
    EXPECT_TRUE(has(shown, "1 of 2 requests, 1 answers"));
    EXPECT_TRUE(has(guest.screen(), "> ping 127.0.0.1 count 2 quiet\n2 requests, 2 answers, "));
}

TEST_F(Device, APingThatThereAreNoDescriptorsForSaysSo)
{
    Guest guest;
    const auto is_answered = [&guest] {
        guest.type("ping 127.0.0.1 count 1\r");
        std::string shown;
        while (!has(shown, " requests, ")) {
            acts.do_next();
            shown += guest.go_on();
        }
        return has(shown, "1 requests, 1 answers, ");
    };
    // The sanitizer, too, needs descriptors, for types that it has not met.
    EXPECT_TRUE(is_answered());
    device::stop_pings();
    for (const int more : {0, 1}) {
        const FewDescriptors few(more);
        EXPECT_TRUE(has(guest.type("ping 127.0.0.1\r"), "% There is no thread for it\r\n"));
    }
    EXPECT_TRUE(is_answered());
}

TEST_F(Device, APingThatNobodyWaitsForEnds)
{
    Guest guest;
    std::string shown = guest.type("ping 127.0.0.1 count 1000 interval 60\r");
    while (!has(shown, "\nrequest 1: ")) {
        acts.do_next();
        shown += guest.go_on();
    }
    guest.type("\003");
    EXPECT_EQ(guest.row(), "> ");
    EXPECT_TRUE(has(guest.type("echo still here\r"), "\r\nstill here\r\n"));
    guest.type("ping 127.0.0.1 count 1000 interval 60\r"); // and with its session
}

TEST_F(Device, APingSaysWhyItFails)
{
    Guest guest;
    for (const char *host : {"256.0.0.1.invalid", "\"a b\""}) {
        std::string shown = guest.type("ping " + std::string(host) + " quiet\r");
        while (!has(shown, "\n> ")) {
            acts.do_next();
            shown += guest.go_on();
        }
        EXPECT_TRUE(has(shown, "% ")) << host;
    }
}

// Threads

// A session on each of two threads, step by step.
void on_two_threads(const std::function<void(Guest &guest, int own, std::barrier<> &step)> &act)
{
    std::barrier<> step(2);
    const auto run = [&](int own) {
        {
            Guest guest("thread " + std::to_string(own));
            step.arrive_and_wait();
            act(guest, own, step);
            step.arrive_and_wait();
        }
        device::release_thread();
    };
    std::thread other(run, 1);
    run(0);
    other.join();
}

TEST_F(Device, SessionsOfTwoThreadsSeeEachOther)
{
    on_two_threads([](Guest &guest, int own, std::barrier<> &step) {
        const std::string others = std::to_string(1 - own);
        guest.type("alias greet" + std::to_string(own) + " echo hello\r");
        step.arrive_and_wait();
        EXPECT_TRUE(has(guest.type("greet" + others + "\r"), "unknown word"));
        EXPECT_TRUE(has(guest.type("show sessions\r"), "thread " + others));
    });
}

TEST_F(Device, TwoThreadsDoAllAtOnce)
{
    on_two_threads([](Guest &guest, int own, std::barrier<> &) {
        const std::string name = "n" + std::to_string(own);
        size_t traces = 0;
        for (int i = 0; i < 50; i++) {
            guest.type("alias " + name + " echo done\rdebug on\r");
            const std::string shown =
                guest.type(name + "\rterminal width 4" + std::to_string(i % 10) + "\r");
            EXPECT_TRUE(has(shown, "\r\ndone\r\n"));
            traces += has(shown, "(debug)");
            guest.type("show sessions\rshow memory\rshow aliases\rshow interfaces lo\rqqq");
            guest.type("debug off\rno alias " + name + "\r");
        }
        EXPECT_EQ(traces, 50U);
    });
    EXPECT_EQ(g_trace_max_level, 6);
}

} // namespace
