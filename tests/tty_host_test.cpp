// Drives varno-tty on a pseudo-terminal, as a person would, and looks at the screen
// and at what becomes of the terminal; runs batches and looks at what they print.

#include "../hosts/device/device.h"
#include "../hosts/tty/local_session.h"
#include "../hosts/tty/terminal.h"
#include "support/guest.h"
#include "support/shell_command.h"

#include <varno/prompt.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using varno_test::Guest;
using varno_test::Ran;
using varno_test::run;

int run_host()
{
    execl(VARNO_TTY_PROGRAM, "varno-tty", nullptr);
    return 127;
}

TEST(TtyHostName, StandsInThePrompt)
{
    Guest guest(24, 80, [] {
        execl(VARNO_TTY_PROGRAM, "varno-tty", "--hostname", "router7", nullptr);
        return 127;
    });
    EXPECT_TRUE(guest.shows_line("router7> |"));
    guest.type("quit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
}

// The host at its first prompt.
class TtyHost : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(guest.shows_line("varno> |")); }

    Guest guest{24, 80, run_host};
};

TEST_F(TtyHost, RunsATypedLineAndPromptsAgain)
{
    guest.type("echo hello  world\r");
    EXPECT_TRUE(guest.shows("varno> echo hello  world\nhello world\n"));
    EXPECT_TRUE(guest.shows_line("varno> |"));
    guest.type("show version\n");
    EXPECT_TRUE(guest.shows("varno-tty "));
}

TEST_F(TtyHost, EditsInTheMiddleWithBothFormsOfTheArrows)
{
    guest.type("shw");
    EXPECT_TRUE(guest.shows_line("varno> shw|"));
    guest.type("\033[D");
    EXPECT_TRUE(guest.shows_line("varno> sh|w"));
    guest.type("\033OD");
    EXPECT_TRUE(guest.shows_line("varno> s|hw"));
    guest.type("\033OC");
    EXPECT_TRUE(guest.shows_line("varno> sh|w"));
    guest.type("o");
    EXPECT_TRUE(guest.shows_line("varno> sho|w"));
}

TEST_F(TtyHost, KeysThatTerminalsSendDifferentlyAllWork)
{
    guest.type("abcdef");
    for (const char *backspace : {"\177", "\b"}) {
        guest.type(backspace);
        guest.type("x\033[H");
        EXPECT_TRUE(guest.shows_line("varno> |abcdex"));
        guest.type("\033[4~\177f\033[1~");
        EXPECT_TRUE(guest.shows_line("varno> |abcdef"));
        guest.type("\033OF");
        EXPECT_TRUE(guest.shows_line("varno> abcdef|"));
    }
    guest.type("\033OH\033[3~\033[5~\033[2~");
    EXPECT_TRUE(guest.shows_line("varno> |bcdef"));
    guest.type("\003");
    EXPECT_TRUE(guest.shows_line("varno> |"));
}

TEST_F(TtyHost, MovesAndDeletesByWords)
{
    guest.type("one two three\027\177");
    EXPECT_TRUE(guest.shows_line("varno> one two|"));
    guest.type("\033b");
    EXPECT_TRUE(guest.shows_line("varno> one |two"));
    guest.type("\033");
    guest.type("b");
    EXPECT_TRUE(guest.shows_line("varno> |one two"));
    guest.type("\033[1;5C");
    EXPECT_TRUE(guest.shows_line("varno> one |two"));
}

// The message comes after the delay, whatever the machine's load.
TEST_F(TtyHost, ASequenceThatDoesNotEndIsDroppedAfterTheDelay)
{
    guest.type("timer 1 later\ra\033[");
    EXPECT_TRUE(guest.shows("\nlater\n"));
    guest.type("D");
    EXPECT_TRUE(guest.shows_line("varno> aD|"));
}

TEST_F(TtyHost, APasteThatGrowsTheLineBehindTheCursorIsShownWhole)
{
    guest.type("show ip\033b");
    EXPECT_TRUE(guest.shows_line("varno> show |ip"));
    guest.type("\001\013a\001b");
    EXPECT_TRUE(guest.shows_line("varno> b|a"));
}

TEST_F(TtyHost, ExecuteAndRestoreOfAClearingCommandKeepsTheRowRight)
{
    const std::string xs(100, 'x');
    const std::string ys(50, 'y');
    guest.type("delete-command " + xs + " " + ys);
    EXPECT_TRUE(guest.shows_line("varno> $" + xs.substr(0, 19) + " " + ys + "|"));
    guest.type("\033b");
    EXPECT_TRUE(guest.shows_line("varno> $" + xs.substr(0, 19) + " |" + ys));
    guest.type("\033\024");
    EXPECT_TRUE(guest.shows_line("varno> $" + xs.substr(0, 67) + " |yy$"));
}

// The left guard that a scroll brings takes the column that the scroll has won.
TEST_F(TtyHost, AJumpThatMustScrollTwiceIsDrawn)
{
    guest.type(std::string(77, 'a') + " " + std::string(100, 'b') + "\001");
    EXPECT_TRUE(guest.shows_line("varno> |" + std::string(71, 'a') + "$"));
    guest.type("\033f");
    EXPECT_TRUE(guest.shows_line("varno> $" + std::string(61, 'a') + " |bbbbbbbb$"));
}

TEST(TtyHostNarrow, ALineLongerThanTheRowScrollsBetweenGuards)
{
    Guest guest(24, 30, run_host);
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("abcdefghijabcdefghijabcdefghijabcdefghij");
    EXPECT_TRUE(guest.shows_line("varno> $efghijabcdefghij|"));
    guest.type("\001");
    EXPECT_TRUE(guest.shows_line("varno> |abcdefghijabcdefghija$"));
}

TEST_F(TtyHost, AResizeIsFollowed)
{
    guest.type("abcdefghijabcdefghijabcdefghijabcdefghij");
    EXPECT_TRUE(guest.shows_line("varno> abcdefghijabcdefghijabcdefghijabcdefghij|"));
    guest.resize(24, 30);
    EXPECT_TRUE(guest.shows_line("varno> $efghijabcdefghij|"));
    guest.resize(24, 80);
    guest.type("\001");
    EXPECT_TRUE(guest.shows_line("varno> |abcdefghijabcdefghijabcdefghijabcdefghij"));
}

TEST_F(TtyHost, AnAbsurdSizeIsClamped)
{
    guest.set_size(1, 1);
    guest.type("abcdefghijabcdefghijabcdefghijabcdefghij");
    EXPECT_TRUE(guest.shows_line("> $ghij|"));
    guest.type("\001");
    EXPECT_TRUE(guest.shows_line("> |abcdef$"));
}

TEST_F(TtyHost, TheHistoryIsBrowsedAndListed)
{
    guest.type("echo one\recho two\r\033[A");
    EXPECT_TRUE(guest.shows_line("varno> echo two|"));
    guest.type("\033OA");
    EXPECT_TRUE(guest.shows_line("varno> echo one|"));
    guest.type("\033[B");
    EXPECT_TRUE(guest.shows_line("varno> echo two|"));
    guest.type("\025show history\r");
    EXPECT_TRUE(guest.shows("    1  echo one\n    2  echo two\nvarno>\n"));
}

struct Refusal {
    const char *typed;
    const char *shown;
};

TEST_F(TtyHost, SaysWhatIsWrongAndWhere)
{
    // clang-format off
    constexpr Refusal refusals[] = {
        {"frobnicate now",        "  frobnicate now\n  ^\n% unknown word\n  show  "},
        {"  frobnicate",          "    frobnicate\n    ^\n% unknown word\n  show  "},
        {"show  version now",     "  show  version now\n                ^\n% unknown word\n  |                 filter the output\n"},
        {"e hello",               "  e hello\n  ^\n% ambiguous word\n  echo  "},
        {"show",                  "  show\n      ^\n% incomplete command\n  version  "},
        {"echo \"abc",            "  echo \"abc\n       ^\n% unmatched quote\n"},
        {"no \"\" x",             "  no \"\" x\n     ^\n% empty word\n"},
        {"terminal width \"\"",   "                 ^\n% COLUMNS: 10 to 512\n"},
        {"terminal width 1",      "                 ^\n% COLUMNS: 10 to 512\n"},
        {"terminal width 0x101",  "                 ^\n% COLUMNS: 10 to 512\n"},
        {"terminal length 513",   "                  ^\n% ROWS: 0 to 512\n"},
        {"show numbers 1000001",  "               ^\n% COUNT: 1 to 1000000\n"},
        {"timer 0 text",          "        ^\n% SECONDS: 1 to 86400\n"},
        {"terminal width 9223372036854775808", "                 ^\n% COLUMNS: 10 to 512\n"},
        {"terminal width -9223372036854775808", "                 ^\n% COLUMNS: 10 to 512\n"},
        {"show interfaces nowhere", "                  ^\n% NAME: an interface\n  NAME "},
        {"no alias show",         "           ^\n% NAME: one of your own commands\n"},
        {"ping localhost size 28 size 29", "                       ^\n% given already\n  count "},
    };
    // clang-format on
    for (const Refusal &row : refusals) {
        guest.type("\014" + std::string(row.typed) + "\r");
        EXPECT_TRUE(guest.shows(row.shown)) << row.typed;
        EXPECT_TRUE(guest.shows_line("varno> |"));
    }
}

TEST_F(TtyHost, TheWidthOfTheRowCanBeSet)
{
    guest.type("terminal width 30\r");
    guest.type("abcdefghijabcdefghijabcdefghijabcdefghij");
    EXPECT_TRUE(guest.shows_line("varno> $efghijabcdefghij|"));
}

// Clients of all kinds ask for the most that any device knows.
TEST_F(TtyHost, AWidthThatIsTooMuchIsKeptAsTheMost)
{
    guest.type("terminal width 511\r");
    EXPECT_TRUE(guest.shows("varno> terminal width 511\n256 columns is the most: so it is 256\n"));
    guest.type("show sessions\r");
    EXPECT_TRUE(guest.shows("      256    24\n"));
}

TEST_F(TtyHost, ShowsTheInterfacesOfTheSystem)
{
    guest.type("show interfaces lo\r");
    EXPECT_TRUE(guest.shows("lo is "));
    EXPECT_TRUE(guest.shows(" bytes in "));
}

TEST_F(TtyHost, AnAliasIsAddedRunAndRemoved)
{
    guest.type("alias greet echo \"good day\" to you\rgreet\r");
    EXPECT_TRUE(guest.shows("\ngood day to you\n"));
    guest.type("show aliases\r");
    EXPECT_TRUE(guest.shows("\ngreet         echo \"good day\" to you\n"));
    guest.type("no alias greet\rgreet\r");
    EXPECT_TRUE(guest.shows("  greet\n  ^\n% unknown word\n"));
    guest.type("alias v show version\rv\r");
    EXPECT_TRUE(guest.shows("varno> v\nvarno-tty "));
}

TEST_F(TtyHost, AnAliasThatRunsItselfEnds)
{
    guest.type("alias turn turn\rturn\r");
    EXPECT_TRUE(guest.shows("\n% Aliases are nested too deeply\n"));
}

TEST_F(TtyHost, AnAliasMayRemoveItself)
{
    guest.type("alias once no alias once\ronce\ronce\r");
    EXPECT_TRUE(guest.shows("  once\n  ^\n% unknown word\n"));
}

TEST_F(TtyHost, AliasNamesAreChecked)
{
    const std::string name(32, 'n');
    for (const std::string &bad : {std::string("\"a b\""), std::string("\"\""), name}) {
        guest.type("\014alias " + bad + " exit\r");
        EXPECT_TRUE(guest.shows("\n% A name is 1 to 31 printable characters")) << bad;
    }
    guest.type("alias echo exit\r");
    EXPECT_TRUE(guest.shows("\n% This name is taken\n"));
    std::string many;
    for (int i = 0; i <= 32; i++)
        many += "alias n" + std::to_string(i) + " exit\r";
    guest.type(many);
    EXPECT_TRUE(guest.shows("\n% There are 32 aliases already\n"));
    guest.type("exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
}

TEST_F(TtyHost, HelpListsWhatMayComeNext)
{
    guest.type("show in?");
    EXPECT_TRUE(
        guest.shows("varno> show in\n  interfaces        the interfaces of the machine\nvarno> "));
    guest.type("terfaces ?");
    EXPECT_TRUE(guest.shows("\n  <cr>"));
    EXPECT_TRUE(guest.shows("\n  lo                an interface\n"));
    EXPECT_TRUE(guest.shows_line("varno> show interfaces |"));
}

TEST_F(TtyHost, TabFinishesTheOnlyKeyword)
{
    guest.type("sh\t");
    EXPECT_TRUE(guest.shows_line("varno> show |"));
    guest.type("\tver\t");
    EXPECT_TRUE(guest.shows_line("varno> show version |"));
}

TEST_F(TtyHost, TheSecondTabListsWhatAWordCanBecome)
{
    guest.type("\t\t");
    EXPECT_TRUE(guest.shows("\n  show              what there is\n"));
    EXPECT_TRUE(guest.shows("\n  exit              end the session\n"));
    guest.type("echo \"a?\tb\"\r");
    EXPECT_TRUE(guest.shows("\na? b\n"));
}

TEST_F(TtyHost, AnAliasIsCompletedLikeAnyCommand)
{
    guest.type("alias greet echo hi\rgr\t");
    EXPECT_TRUE(guest.shows_line("varno> greet |"));
    guest.type("\r");
    EXPECT_TRUE(guest.shows("\nhi\n"));
}

TEST_F(TtyHost, AnErrorInAnAliasPointsIntoItsText)
{
    guest.type("alias bad show vresion\rbad\r");
    EXPECT_TRUE(guest.shows("varno> bad\n  show vresion\n       ^\n% unknown word\n  version  "));
}

TEST_F(TtyHost, AMessageComesAboveTheLineBeingTyped)
{
    guest.type("timer 1 \"tea is ready\" now\rshow inter\002\002");
    EXPECT_TRUE(guest.shows_line("varno> show int|er"));
    EXPECT_TRUE(guest.shows("\n\"tea is ready\" now\nvarno> show inter\n"));
    EXPECT_TRUE(guest.shows_line("varno> show int|er"));
    guest.type("\005\tlo\r");
    EXPECT_TRUE(guest.shows("lo is "));
}

TEST_F(TtyHost, OnlySoManyTimersRun)
{
    std::string timers;
    for (int i = 0; i < 9; i++)
        timers += "timer 1000 " + std::to_string(i) + "\r";
    guest.type(timers);
    EXPECT_TRUE(guest.shows("varno> timer 1000 8\n% All timers run\n"));
    guest.type("exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
}

// Long outputs

TEST_F(TtyHost, ALongOutputIsShownByPages)
{
    guest.type("show numbers 100\r");
    EXPECT_TRUE(guest.shows("\n23\n--More--\n"));
    guest.type("\r");
    EXPECT_TRUE(guest.shows("\n24\n--More--\n"));
    guest.type(" ");
    EXPECT_TRUE(guest.shows("25\n"));
    EXPECT_TRUE(guest.shows("\n47\n--More--\n"));
    guest.type("q");
    EXPECT_TRUE(guest.shows("\n47\nvarno>\n"));
    guest.type("show numbers 23\r");
    EXPECT_TRUE(guest.shows("\n23\nvarno>\n"));
}

TEST_F(TtyHost, TheLengthOfAPageCanBeSetAndPagingTurnedOff)
{
    guest.type("terminal length 5\rshow numbers 100\r");
    EXPECT_TRUE(guest.shows("\n4\n--More--\n"));
    guest.type("\003");
    EXPECT_TRUE(guest.shows_line("varno> |"));
    guest.type("terminal length 0\rshow numbers 1000\r");
    EXPECT_TRUE(guest.shows("\n999\n1000\nvarno>\n"));
}

TEST_F(TtyHost, ALongHistoryIsShownByPages)
{
    std::string lines;
    for (int i = 1; i <= 30; i++)
        lines += "echo " + std::to_string(i) + "\r";
    guest.type(lines + "show history\r");
    EXPECT_TRUE(guest.shows("\n   23  echo 23\n--More--\n"));
    guest.type(" ");
    EXPECT_TRUE(guest.shows("\n   30  echo 30\n   31  show history\nvarno>\n"));
}

TEST_F(TtyHost, CtrlCEndsALongOutputThatRuns)
{
    guest.type("terminal length 0\rshow numbers 1000000\r");
    EXPECT_TRUE(guest.sends("\n5000\r\n"));
    guest.type("\003");
    EXPECT_TRUE(guest.shows_line("varno> |"));
    EXPECT_EQ(guest.output().find("\n1000000\r\n"), std::string::npos);
    guest.type("echo still here\r");
    EXPECT_TRUE(guest.shows("\nstill here\n"));
}

// Answers that come later

TEST_F(TtyHost, APingIsAnsweredRowByRowAndCtrlCEndsIt)
{
    guest.type("ping 127.0.0.1 count 1\recho typed ahead\r");
    EXPECT_TRUE(guest.shows("\n1 requests, 1 answers, "));
    EXPECT_TRUE(guest.shows("\ntyped ahead\nvarno>\n"));
    guest.type("ping 127.0.0.1 interval 60\r");
    EXPECT_TRUE(guest.shows("varno> ping 127.0.0.1 interval 60\nrequest 1: "));
    guest.type("\003");
    EXPECT_TRUE(guest.shows_line("varno> |"));
}

// Asking other hosts

bool write_file(const char *path, const std::string &text)
{
    std::ofstream file(path);
    file << text << std::flush;
    return file.good();
}

// This process is alone with a loopback of its own, as root of nothing else; nobody may send
// echo requests there, or it may. Returns: false where the system allows no such thing.
bool enter_own_network(bool may_send_echoes)
{
    const std::string user = "0 " + std::to_string(getuid()) + " 1";
    const std::string group = "0 " + std::to_string(getgid()) + " 1";
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return false;
    ifreq up = {};
    std::strcpy(up.ifr_name, "lo");
    up.ifr_flags = IFF_UP;
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool is_up = ioctl(any, SIOCSIFFLAGS, &up) == 0;
    close(any);
    return write_file("/proc/self/setgroups", "deny") && write_file("/proc/self/uid_map", user) &&
           write_file("/proc/self/gid_map", group) && is_up &&
           (!may_send_echoes || write_file("/proc/sys/net/ipv4/ping_group_range", "0 0"));
}

bool has_own_networks()
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(enter_own_network(true) ? 0 : 1);
    int status = -1;
    waitpid(pid, &status, 0);
    return status == 0;
}

struct Way {
    bool may_send_echoes;
    const char *answer; // to a request to 127.0.0.1, and to one to ::1
    const char *v6_answer;
};

// clang-format off
constexpr Way ways[] = {
    {true,  "1400 bytes from 127.0.0.1 in ",               "1400 bytes from ::1 in "},
    {false, "127.0.0.1 has answered a connection in ", "::1 has answered a connection in "},
};
// clang-format on

TEST(TtyHostPing, SendsEchoRequestsWhereItMayAndElseConnects)
{
    if (!has_own_networks())
        GTEST_SKIP() << "no networks of one's own here";
    for (const Way &way : ways) {
        Guest guest(24, 80,
                    [&way] { return enter_own_network(way.may_send_echoes) ? run_host() : 1; });
        ASSERT_TRUE(guest.shows_line("varno> |"));
        guest.type("ping 127.0.0.1 count 2 size 1400\r");
        EXPECT_TRUE(guest.shows(std::string("\nrequest 1: ") + way.answer));
        EXPECT_TRUE(guest.shows(std::string("\nrequest 2: ") + way.answer));
        EXPECT_TRUE(guest.shows("\n2 requests, 2 answers, "));
        guest.type("ping ::1 count 1 size 1400\r");
        EXPECT_TRUE(guest.shows(std::string("\nrequest 1: ") + way.v6_answer));
        EXPECT_TRUE(guest.shows("\n1 requests, 1 answers, "));
        guest.type("ping 127.0.0.1 count 1 size 65507 quiet\r");
        EXPECT_TRUE(guest.shows(" quiet\n1 requests, 1 answers, "));
        guest.type("ping 192.0.2.1 count 1\r");
        EXPECT_TRUE(guest.shows("\nrequest 1: network is unreachable\n"
                                "% 192.0.2.1 does not answer\n"));
    }
}

TEST(TtyHostPing, AHostThatIsSilentDoesNotAnswer)
{
    if (!has_own_networks())
        GTEST_SKIP() << "no networks of one's own here";
    Guest guest(24, 80, [] {
        const bool is_silent =
            enter_own_network(true) && write_file("/proc/sys/net/ipv4/icmp_echo_ignore_all", "1");
        return is_silent ? run_host() : 1;
    });
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("ping 127.0.0.1 count 1\r");
    EXPECT_TRUE(guest.shows("\nrequest 1: no answer\n% 127.0.0.1 does not answer\n"));
}

// Pastes

// Together they write more than is gathered at once.
TEST_F(TtyHost, EveryLineOfAPasteRunsThoughEachWritesManyRows)
{
    std::string lines = "terminal length 0\r";
    for (int i = 1; i <= 100; i++)
        lines += "show numbers 300\r";
    guest.type(lines + "echo end\r");
    EXPECT_TRUE(guest.shows("\nend\nvarno>\n"));
    size_t runs = 0;
    for (size_t at = 0; (at = guest.output().find("\n300\r\n", at)) != std::string::npos; at++)
        runs++;
    EXPECT_EQ(runs, 100U);
}

void expect_all_ran(const std::string &output)
{
    size_t at = 0;
    for (int i = 1; i <= 200 && at != std::string::npos; i++) {
        at = output.find("\r\nline " + std::to_string(i) + "\r\n", at);
        EXPECT_NE(at, std::string::npos) << i;
    }
}

std::string two_hundred_lines(const char *end)
{
    std::string lines;
    for (int i = 1; i <= 200; i++)
        lines += "echo line " + std::to_string(i) + end;
    return lines;
}

TEST_F(TtyHost, EveryLineOfALongPasteRuns)
{
    guest.type(two_hundred_lines("\r"));
    EXPECT_TRUE(guest.shows("\nline 200\nvarno>\n"));
    expect_all_ran(guest.output());
}

TEST_F(TtyHost, ABracketedPasteRunsLineByLineAndItsTabsAreBlanks)
{
    EXPECT_TRUE(guest.sends("\033[?2004h"));
    guest.type("\033[200~" + two_hundred_lines("\n") + "echo\tthe ?rest\033[201~");
    EXPECT_TRUE(guest.shows("\nline 200\nvarno> echo the ?rest\n"));
    expect_all_ran(guest.output());
    EXPECT_TRUE(guest.shows_line("varno> echo the ?rest|"));
}

// Ways out

TEST_F(TtyHost, ExitAndEndOfInputGiveTheTerminalBack)
{
    EXPECT_TRUE(guest.is_raw());
    guest.type("exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
    EXPECT_TRUE(guest.is_as_before());
    EXPECT_TRUE(guest.sends("\033[?2004l"));
}

TEST_F(TtyHost, ControlDEndsOnlyOnAnEmptyLine)
{
    guest.type("ab\001\004");
    EXPECT_TRUE(guest.shows_line("varno> |b"));
    guest.type("\004\004");
    EXPECT_EQ(guest.wait_for_end(), 0);
    EXPECT_TRUE(guest.is_as_before());
}

TEST_F(TtyHost, AHangUpEndsTheProcess)
{
    guest.hang_up();
    const int status = guest.wait_for_end();
    EXPECT_TRUE(WIFEXITED(status));
}

TEST_F(TtyHost, AStopGivesTheTerminalBackAndGoingOnTakesItAgain)
{
    guest.type("abc");
    EXPECT_TRUE(guest.shows_line("varno> abc|"));
    guest.send(SIGTSTP);
    guest.wait_until_stopped();
    EXPECT_TRUE(guest.is_as_before());
    guest.send(SIGCONT);
    EXPECT_TRUE(guest.becomes_raw());
    EXPECT_TRUE(guest.shows_line("varno> abc|"));
    guest.type("\003exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
    EXPECT_TRUE(guest.is_as_before());
}

class TtyHostSignal : public testing::TestWithParam<int> {};

TEST_P(TtyHostSignal, GivesTheTerminalBack)
{
    Guest guest(24, 80, run_host);
    ASSERT_TRUE(guest.shows_line("varno> |"));
    ASSERT_TRUE(guest.is_raw());
    guest.send(GetParam());
    const int status = guest.wait_for_end();
    EXPECT_TRUE(guest.is_as_before());
    EXPECT_TRUE(guest.sends("\033[?2004l"));
    const bool is_orderly = GetParam() == SIGTERM || GetParam() == SIGINT || GetParam() == SIGHUP;
    if (is_orderly)
        EXPECT_EQ(WEXITSTATUS(status), 128 + GetParam());
    else
        EXPECT_EQ(WTERMSIG(status), GetParam());
}

INSTANTIATE_TEST_SUITE_P(EachSignal, TtyHostSignal,
                         testing::Values(SIGTERM, SIGINT, SIGHUP, SIGABRT, SIGSEGV, SIGQUIT),
                         [](const auto &signal) {
                             return std::string(sigabbrev_np(signal.param));
                         });

TEST(TtyHostTerminal, AnAssertionOutsideOfASessionGivesTheTerminalBackAndAborts)
{
    Guest guest(24, 80, [] {
        terminal_enter_raw();
        prompt_set_dirty(nullptr);
        return 0;
    });
    EXPECT_EQ(WTERMSIG(guest.wait_for_end()), SIGABRT);
    EXPECT_TRUE(guest.is_as_before());
    EXPECT_TRUE(guest.shows("assertion failed: p (prompt_manip:"));
}

// The host with a command that makes the library assert.
int run_host_with_fault()
{
    static cli_command_s fault = {};
    fault.syntax = fault.help = "fault";
    fault.run = [](cli_call_s *, void *) {
        prompt_set_dirty(nullptr);
        return int32_t{CLI_DONE};
    };
    device::Console console;
    std::string problem;
    device::start({"varno-tty", "varno", "", "", nullptr, nullptr}, problem);
    cli_set_s *set = device::shell_config(console).set;
    if (cli_set_add(set, nullptr, nullptr, &fault, 1) != 0 ||
        cli_set_build(set, nullptr, nullptr) != 0)
        return 1;
    return run_local_session();
}

TEST(TtyHostTerminal, AFaultOfTheSessionGivesTheTerminalBackAndEndsTheProgram)
{
    Guest guest(24, 80, run_host_with_fault);
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("fault\r");
    const int status = guest.wait_for_end();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 70);
    EXPECT_TRUE(guest.is_as_before());
    EXPECT_TRUE(guest.sends("\033[?2004l"));
    EXPECT_TRUE(guest.shows("internal fault, this session ends\n"));
    EXPECT_TRUE(guest.shows("\nvarno-tty: p (prompt_manip:"));
}

class TtyHostType : public testing::TestWithParam<const char *> {};

TEST_P(TtyHostType, WorksOnThisTerminal)
{
    Guest guest(24, 80, run_host, GetParam());
    ASSERT_TRUE(guest.shows_line("varno> |"));
    guest.type("echp\177o hi\r");
    EXPECT_TRUE(guest.shows("\nhi\n"));
    guest.type("ab\bc\033OD\033[D\033[C");
    EXPECT_TRUE(guest.shows_line("varno> a|c"));
    guest.type("\003exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
}

INSTANTIATE_TEST_SUITE_P(EachType, TtyHostType,
                         testing::Values("xterm", "screen", "vt100", "linux", "dumb", "ansi",
                                         "no-such-terminal"),
                         [](const auto &type) {
                             std::string name = type.param;
                             std::erase(name, '-');
                             return name;
                         });

// Without a terminal

const std::string program = VARNO_TTY_PROGRAM;

struct Batch {
    const char *arguments;
    const char *output; // standard error's too
    int status;
};

TEST(TtyHostBatch, RunsCommandsUpToTheFirstError)
{
    // clang-format off
    constexpr Batch batches[] = {
        {"-c 'echo one; echo  two ;echo three'",   "one\ntwo\nthree\n", 0},
        {"-c ''",                                  "", 0},
        {"-c ' ; ;echo a; '",                      "a\n", 0},
        {"-c 'echo \"a;b\" ; echo c\\;d'",     "a;b\nc;d\n", 0},
        {"-c \"echo 'a; b'\"",                   "a; b\n", 0},
        {"-c 'echo a; exit; echo b'",              "a\n", 0},
        {"-c 'show numbers 3'",                    "1\n2\n3\n", 0},
        {"-c 'alias hi echo good day; hi'",        "good day\n", 0},
        {"-c 'terminal length 0; show history'",   "", 0},
        {"-c 'echo \"\033[2J\"'",               "?[2J\n", 0},
        {"-c 'echo a; no such thing; echo b'",
         "a\n  no such thing\n     ^\ncommand:2: % unknown word\n", 1},
        {"-c 'echo \"a; echo b'",                 "  echo \"a; echo b\n       ^\n"
                                                   "command:1: % unmatched quote\n", 1},
        {"-c 'debug on; echo b'",                  "command:1: % Only a session is traced\n", 1},
        {"-c 'show numbers 0'",                    "  show numbers 0\n               ^\n"
                                                   "command:1: % COUNT: 1 to 1000000\n", 1},
        {"-c 'timer 1 x'",                         "command:1: % A batch does not wait\n", 1},
        {"-c 'alias x x; x'",                      "command:2: % Aliases are nested too deeply\n", 1},
        {"-c 'echo a; echo b' --hostname r1",      "a\nb\n", 0},
        {"-c 'ping 127.0.0.1 count 1 quiet | x'",  "  ping 127.0.0.1 count 1 quiet | x\n"
                                                   "                                 ^\n"
                                                   "command:1: % unknown word\n", 1},
        {"-f /nonexistent/file",
         "varno-tty: /nonexistent/file: No such file or directory\n", 1},
    };
    // clang-format on
    for (const Batch &row : batches) {
        const Ran ran = run(program + " " + row.arguments + " 2>&1 </dev/null");
        EXPECT_EQ(ran.text, row.output) << row.arguments;
        EXPECT_EQ(ran.status, row.status) << row.arguments;
    }
}

TEST(TtyHostBatch, RunsTheLinesOfAFileAndNamesTheOneInError)
{
    const std::string path = testing::TempDir() + "varno-batch-" + std::to_string(getpid());
    std::ofstream(path) << "# a comment\n\necho one; two\r\n  echo three\nshow vresion\necho no\n";
    const Ran ran = run(program + " -f " + path + " 2>&1");
    EXPECT_EQ(ran.status, 1);
    const std::string expected =
        "one; two\nthree\n  show vresion\n       ^\n" + path + ":5: % unknown word\n";
    EXPECT_EQ(ran.text, expected);
    std::ofstream(path) << "echo a\necho b" << '\0' << "c\n";
    EXPECT_EQ(run(program + " -f " + path + " 2>&1").text, "a\n" + path + ":2: % a byte 0\n");
    std::ofstream(path) << "echo a\necho " << std::string(5000, 'x') << "\n";
    EXPECT_TRUE(run(program + " -f " + path + " 2>&1")
                    .text.ends_with("^\n" + path + ":2: % line too long\n"));
    std::ofstream(path) << "echo last line";
    EXPECT_EQ(run(program + " -f " + path).text, "last line\n");
    unlink(path.c_str());
}

TEST(TtyHostBatch, WaitsForACommandThatWaits)
{
    const Ran ran =
        run(program + " -c 'ping 127.0.0.1 count 1; alias pp ping 127.0.0.1 count 1 quiet;"
                      " pp; echo after it' 2>&1 </dev/null");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.text.substr(0, 11), "request 1: ");
    EXPECT_EQ(std::count(ran.text.begin(), ran.text.end(), '\n'), 4);
    EXPECT_NE(ran.text.find("\n1 requests, 1 answers, "), std::string::npos) << ran.text;
    EXPECT_NE(ran.text.find(" ms\nafter it\n"), std::string::npos) << ran.text;
    const Ran failed = run(program + " -c 'ping nothing.invalid; echo no' 2>&1 </dev/null");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.text.substr(0, 13), "command:1: % ");
}

TEST(TtyHostBatch, OutputThatFailsIsAnError)
{
    EXPECT_EQ(run(program + " -c 'show numbers 9' 2>&1 >/dev/full").text,
              "varno-tty: standard output: No space left on device\n");
    EXPECT_EQ(run(program + " -c 'echo a' >/dev/full 2>&1").status, 1);
}

TEST(TtyHostBatch, TheCommandThatSshdHandsOverIsRun)
{
    EXPECT_EQ(run("SSH_ORIGINAL_COMMAND='echo a; echo b' " + program).text, "a\nb\n");
    EXPECT_EQ(run("SSH_ORIGINAL_COMMAND='echo a' " + program + " -c 'echo c'").text, "c\n");
}

TEST(TtyHostBatch, AMillionRowsTakeNoMoreMemoryThanAFew)
{
    const auto resident = [](const char *rows) {
        const pid_t pid = fork();
        if (pid == 0) {
            dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
            const std::string command = std::string("show numbers ") + rows;
            execl(VARNO_TTY_PROGRAM, "varno-tty", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        int status = -1;
        rusage usage = {};
        EXPECT_EQ(wait4(pid, &status, 0, &usage), pid);
        EXPECT_EQ(status, 0);
        return usage.ru_maxrss;
    };
    // The rows alone are 6.9 MB. An instrumented process has what its stack needs only
    // after some thousand rows.
    EXPECT_LT(resident("1000000"), resident("10000") + 4096);
}

std::string piped(const std::string &command)
{
    const Ran ran = run(command);
    EXPECT_EQ(ran.status, 0);
    return ran.text;
}

TEST(TtyHostPipe, ReadsKeysFromAPipeAndFromAFileToTheEnd)
{
    const std::string from_pipe = piped("printf 'echo a b\\recho c' | TERM=dumb " + program);
    EXPECT_NE(from_pipe.find("varno> echo a b\r\na b\r\n"), std::string::npos) << from_pipe;
    EXPECT_NE(from_pipe.find("varno> echo c"), std::string::npos) << from_pipe;
    EXPECT_EQ(from_pipe.find("\nc\r"), std::string::npos) << from_pipe;
    EXPECT_EQ(piped("TERM=dumb " + program + " </dev/null"), "\rvarno> \r\n");
}

TEST(TtyHostPipe, ALongOutputIsCompleteThoughTheInputHasEnded)
{
    const std::string text = piped("printf 'show numbers 100000\\r' | TERM=dumb " + program);
    EXPECT_NE(text.find("\n99999\r\n100000\r\n"), std::string::npos);
    EXPECT_EQ(text.find("More"), std::string::npos);
}

// Each write to such a socket arrives as a packet of its own.
TEST(TtyHostPipe, TheOutputOfALineIsOneWrite)
{
    int keys[2];
    int screen[2];
    ASSERT_EQ(pipe(keys), 0);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, screen), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(keys[0], STDIN_FILENO);
        dup2(screen[1], STDOUT_FILENO);
        close(keys[1]);
        setenv("TERM", "dumb", 1);
        _exit(run_host());
    }
    close(screen[1]);
    char packet[4096];
    const auto next = [&] {
        const ssize_t n = recv(screen[0], packet, sizeof(packet), 0);
        return std::string(packet, n > 0 ? static_cast<size_t>(n) : 0);
    };
    EXPECT_EQ(next(), "\rvarno> ");
    EXPECT_EQ(write(keys[1], "echo one\recho two\rec", 20), 20);
    EXPECT_EQ(next(), "echo one\r\none\r\nvarno> ");
    EXPECT_EQ(next(), "echo two\r\ntwo\r\nvarno> ");
    EXPECT_EQ(next(), "ec");
    close(keys[1]);
    EXPECT_EQ(next(), "\r\n");
    EXPECT_EQ(next(), "");
    int status = -1;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
    close(keys[0]);
    close(screen[0]);
}

} // namespace
