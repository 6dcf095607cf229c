// varno-tty as the forced command of a real OpenSSH server on the loopback interface,
// driven with the ssh client.

#include "support/guest.h"
#include "support/ssh_server.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

using varno_test::Guest;
using varno_test::SshServer;

class SshLogin : public testing::Test {
  protected:
    void SetUp() override
    {
        if (!SshServer::is_installed())
            GTEST_SKIP() << "there is no SSH server";
        server.start(VARNO_TTY_PROGRAM);
    }

    SshServer server;
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
