// Drives varno-tty on a pseudo-terminal, as a person would, and looks at the screen
// and at what becomes of the terminal. Every wait is for something to appear.

#include "../hosts/tty/terminal.h"
#include "support/terminal.h"

#include <varno/prompt.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <pty.h>
#include <string>
#include <string_view>
#include <utmp.h>

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

using varno_test::Guest;

int run_host()
{
    execl(VARNO_TTY_PROGRAM, "varno-tty", nullptr);
    return 127;
}

// The host at its first prompt.
class TtyHost : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(guest.shows_line("varno> |")); }

    Guest guest{24, 80};
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
    guest.type("one two three\027");
    EXPECT_TRUE(guest.shows_line("varno> one two|"));
    guest.type("\033b");
    EXPECT_TRUE(guest.shows_line("varno> one |two"));
    guest.type("\033");
    guest.type("b");
    EXPECT_TRUE(guest.shows_line("varno> |one two"));
    guest.type("\033[1;5C");
    EXPECT_TRUE(guest.shows_line("varno> one |two"));
}

TEST_F(TtyHost, ASequenceThatDoesNotEndBecomesPlainKeysAfterTheDelay)
{
    guest.type("a\033[");
    EXPECT_TRUE(guest.shows_line("varno> a[|"));
    guest.type("D");
    EXPECT_TRUE(guest.shows_line("varno> a[D|"));
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
    Guest guest(24, 30);
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
    EXPECT_TRUE(guest.shows_line("varno> $cdefghij|"));
    guest.type("\001");
    EXPECT_TRUE(guest.shows_line("varno> |abcdefghija$"));
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
        {"frobnicate now",        "% frobnicate now\n  ^\n% No match found\n"},
        {"  frobnicate",          "%   frobnicate\n    ^\n% No match found\n"},
        {"show  version now",     "% show  version now\n                ^\n% No match found\n"},
        {"e hello",               "% e hello\n  ^\n% Input was ambiguous\n"},
        {"show",                  "% show\n      ^\n% Incomplete command\n"},
        {"echo \"abc",            "% echo \"abc\n       ^\n% Input contains mismatched quotes\n"},
        {"show \"\"",             "% show \"\"\n       ^\n% Input was ambiguous\n"},
        {"no \"\" x",             "% no \"\" x\n     ^\n% An empty word has no meaning here\n"},
        {"terminal width \"\"",   "                 ^\n% An empty word has no meaning here\n"},
        {"terminal width 1",      "\nThe width is 20 to 256 columns\n"},
        {"terminal width 0x101",  "\nThe width is 20 to 256 columns\n"},
        {"terminal width 9223372036854775808", "% No match found\n"},
        {"terminal width 9223372036854775807", "\nThe width is 20 to 256 columns\n"},
        {"terminal width -9223372036854775808", "\nThe width is 20 to 256 columns\n"},
        {"show interfaces nowhere", "\nNo such interface\n"},
    };
    // clang-format on
    for (const Refusal &row : refusals) {
        guest.type("\014" + std::string(row.typed) + "\r");
        EXPECT_TRUE(guest.shows(row.shown)) << row.typed;
        EXPECT_TRUE(guest.shows_line("varno> |"));
    }
}

TEST_F(TtyHost, AnOverflowDoesNotSpoilTheNextNumber)
{
    guest.type("terminal width 9223372036854775808\rterminal width 9223372036854775807\r");
    EXPECT_TRUE(guest.shows("9223372036854775807\nThe width is 20 to 256 columns\n"));
}

TEST_F(TtyHost, TheWidthOfTheRowCanBeSet)
{
    guest.type("terminal width 30\r");
    guest.type("abcdefghijabcdefghijabcdefghijabcdefghij");
    EXPECT_TRUE(guest.shows_line("varno> $efghijabcdefghij|"));
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
    EXPECT_TRUE(guest.shows("\ngreet  echo \"good day\" to you\n"));
    guest.type("no alias greet\rgreet\r");
    EXPECT_TRUE(guest.shows("% greet\n  ^\n% No match found\n"));
    guest.type("no alias greet\r");
    EXPECT_TRUE(guest.shows("\nNo such alias\n"));
    guest.type("no alias show\recho end\r");
    EXPECT_TRUE(guest.shows("varno> no alias show\nNo such alias\n"));
}

TEST_F(TtyHost, AnAliasThatRunsItselfEnds)
{
    guest.type("alias loop loop\rloop\r");
    EXPECT_TRUE(guest.shows("\nAliases are nested too deeply\n"));
}

TEST_F(TtyHost, AnAliasMayRemoveItself)
{
    guest.type("alias once no alias once\ronce\ronce\r");
    EXPECT_TRUE(guest.shows("% once\n  ^\n% No match found\n"));
}

TEST_F(TtyHost, AliasNamesAreChecked)
{
    const std::string name(32, 'n');
    for (const std::string &bad : {std::string("\"a b\""), std::string("\"\""), name}) {
        guest.type("\014alias " + bad + " exit\r");
        EXPECT_TRUE(guest.shows("\nA name is 1 to 31 printable characters")) << bad;
    }
    guest.type("alias echo exit\r");
    EXPECT_TRUE(guest.shows("\nThis name is taken\n"));
    std::string many;
    for (int i = 0; i <= 32; i++)
        many += "alias n" + std::to_string(i) + " exit\r";
    guest.type(many);
    EXPECT_TRUE(guest.shows("\nThere are 32 aliases already\n"));
    guest.type("exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
}

TEST_F(TtyHost, HelpListsWhatMayComeNext)
{
    guest.type("show in?");
    EXPECT_TRUE(
        guest.shows("varno> show in\n  interfaces    the interfaces of the machine\nvarno> "));
    guest.type("terfaces ?");
    EXPECT_TRUE(guest.shows("\n  <cr>"));
    EXPECT_TRUE(guest.shows("\n  NAME"));
    EXPECT_TRUE(guest.shows_line("varno> show interfaces |"));
}

TEST_F(TtyHost, TabFinishesTheOnlyKeyword)
{
    guest.type("sh\t");
    EXPECT_TRUE(guest.shows_line("varno> show |"));
    guest.type("\tver\t");
    EXPECT_TRUE(guest.shows_line("varno> show version |"));
}

TEST_F(TtyHost, EveryLineOfALongPasteRuns)
{
    std::string paste;
    for (int i = 1; i <= 200; i++)
        paste += "echo line " + std::to_string(i) + "\r";
    guest.type(paste);
    EXPECT_TRUE(guest.shows("\nline 200\nvarno>\n"));
    size_t at = 0;
    for (int i = 1; i <= 200 && at != std::string::npos; i++) {
        at = guest.output().find("\r\nline " + std::to_string(i) + "\r\n", at);
        EXPECT_NE(at, std::string::npos) << i;
    }
}

// Ways out

TEST_F(TtyHost, ExitAndEndOfInputGiveTheTerminalBack)
{
    EXPECT_TRUE(guest.is_raw());
    guest.type("exit\r");
    EXPECT_EQ(guest.wait_for_end(), 0);
    EXPECT_TRUE(guest.is_as_before());
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
    Guest guest(24, 80);
    ASSERT_TRUE(guest.shows_line("varno> |"));
    ASSERT_TRUE(guest.is_raw());
    guest.send(GetParam());
    const int status = guest.wait_for_end();
    EXPECT_TRUE(guest.is_as_before());
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

TEST(TtyHostTerminal, AFailedAssertionGivesTheTerminalBackAndIsReported)
{
    Guest guest(24, 80, [] {
        terminal_choose_type();
        terminal_enter_raw();
        prompt_set_dirty(nullptr);
        return 0;
    });
    EXPECT_EQ(WTERMSIG(guest.wait_for_end()), SIGABRT);
    EXPECT_TRUE(guest.is_as_before());
    EXPECT_TRUE(guest.shows("assertion failed: p (prompt_manip:"));
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

// What a shell command prints that feeds varno-tty without a terminal.
std::string piped(const std::string &command)
{
    std::string text;
    FILE *pipe = popen(command.c_str(), "r");
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;)
        text += static_cast<char>(c);
    EXPECT_EQ(pclose(pipe), 0);
    return text;
}

TEST(TtyHostPipe, ReadsKeysFromAPipeAndFromAFileToTheEnd)
{
    const std::string program = VARNO_TTY_PROGRAM;
    const std::string from_pipe = piped("printf 'echo a b\\recho c' | TERM=dumb " + program);
    EXPECT_NE(from_pipe.find("varno> echo a b\r\na b\n"), std::string::npos) << from_pipe;
    EXPECT_NE(from_pipe.find("varno> echo c"), std::string::npos) << from_pipe;
    EXPECT_EQ(from_pipe.find("\nc\n"), std::string::npos) << from_pipe;
    EXPECT_EQ(piped("TERM=dumb " + program + " </dev/null"), "\rvarno> \n");
}

// Each write to such a socket arrives as a packet of its own.
TEST(TtyHostPipe, TheOutputOfARoundIsOneWrite)
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
    EXPECT_EQ(next(), "echo one\r\none\n\rvarno> echo two\r\ntwo\n\rvarno> ec");
    close(keys[1]);
    EXPECT_EQ(next(), "\n");
    EXPECT_EQ(next(), "");
    int status = -1;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
    close(keys[0]);
    close(screen[0]);
}

} // namespace
