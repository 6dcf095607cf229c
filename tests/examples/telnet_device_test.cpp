// The examples of devices for telnet clients, used by two people at real ones.

#include "support/guest.h"
#include "support/listening_program.h"

#include <csignal>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using varno_test::Guest;
using varno_test::ListeningProgram;

class Person : public Guest {
  public:
    explicit Person(const ListeningProgram &device)
        : Guest(24, 80, [&device] {
              const std::string port = std::to_string(device.port());
              execlp("telnet", "telnet", "--no-rc", "127.0.0.1", port.c_str(), nullptr);
              return 127;
          })
    {
        EXPECT_TRUE(shows_line("demo> |"));
        EXPECT_TRUE(becomes_raw());
    }
};

TEST(TelnetDevice, ServesTwoPeopleUntilItIsToldToEnd)
{
    ListeningProgram device(VARNO_TELNET_DEVICE_PROGRAM);
    {
        Person one(device), other(device);
        one.type("sh\t?");
        EXPECT_TRUE(one.shows("time              the clock"));
        one.type("ti\r");
        EXPECT_TRUE(one.shows_line("demo> |"));
        other.type("echo hxi\033[D\177\r"); // a typing error, mended
        EXPECT_TRUE(other.shows("\nhi\n"));
        other.type("ecko\r");
        EXPECT_TRUE(other.shows("unknown word"));
        other.type("exit\r");
        EXPECT_TRUE(other.shows("Connection closed by foreign host."));
        device.send(SIGTERM);
        EXPECT_TRUE(one.shows("The server is going down"));
        EXPECT_TRUE(one.shows("Connection closed by foreign host."));
    }
    EXPECT_EQ(device.wait_for_end(), 0);
}

// What one changes the other sees; who waits keeps nobody waiting.
TEST(WholeDevice, HasModesTypesAndCommandsThatTakeTime)
{
    ListeningProgram device(VARNO_WHOLE_DEVICE_PROGRAM);
    {
        Person one(device), other(device);
        one.type("wait 1\recho\r");
        other.type("conf\r");
        EXPECT_TRUE(other.shows_line("demo(config)# |"));
        other.type("vlan 5000 x\r");
        EXPECT_TRUE(other.shows("vlan 5000 x\n       ^\n% VLAN: 1 to 4094\n"));
        other.type("vlan 7 " + std::string(33, 'n') + "\r");
        EXPECT_TRUE(other.shows("% 32 characters at most\n"));
        other.type("vlan 7 \"blue sky\"\rvlan 4094 last\rvlan 9 x\rno vlan 9\rend\r");
        EXPECT_TRUE(other.shows_line("demo> |"));
        EXPECT_TRUE(one.shows("demo> wait 1\nover\ndemo> echo\n"));
        one.type("show vlans\r");
        EXPECT_TRUE(one.shows("demo> show vlans\n   7  blue sky\n4094  last\ndemo>\n"));
        other.type("wait 60\r\003exit\r");
        EXPECT_TRUE(other.shows("Connection closed by foreign host."));
        one.type("wait 60\r");
        device.send(SIGTERM);
        EXPECT_TRUE(one.shows("Connection closed by foreign host."));
    }
    EXPECT_EQ(device.wait_for_end(), 0);
}

} // namespace
