// The example of the whole chain, used by a person at a real telnet client.

#include "support/guest.h"
#include "support/listening_program.h"

#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using varno_test::Guest;
using varno_test::ListeningProgram;

class Person : public Guest {
  public:
    explicit Person(const ListeningProgram &chain, const char *type = "xterm")
        : Guest(
              24, 80,
              [&chain] {
                  const std::string port = std::to_string(chain.port());
                  execlp("telnet", "telnet", "--no-rc", "127.0.0.1", port.c_str(), nullptr);
                  return 127;
              },
              type)
    {
        EXPECT_TRUE(shows_line(">|"));
        EXPECT_TRUE(becomes_raw());
    }

    void expect_end_of(ListeningProgram &chain)
    {
        type("\001\013exit\r");
        EXPECT_TRUE(sends("\r\nBye\r\n")); // the reset clears the screen
        EXPECT_TRUE(shows("Connection closed by foreign host."));
        EXPECT_TRUE(WIFEXITED(wait_for_end()));
        EXPECT_EQ(chain.wait_for_end(), 0);
    }
};

TEST(Chain, ALineIsEditedRunAndRemembered)
{
    ListeningProgram chain(VARNO_CHAIN_PROGRAM);
    Person person(chain);
    person.type("greet wrold\177\177\b\b");
    EXPECT_TRUE(person.shows_line(">greet w|"));
    person.type("orld");
    EXPECT_TRUE(person.shows_line(">greet world|"));
    person.type("\r");
    EXPECT_TRUE(person.shows("\nHello, world\n"));
    EXPECT_TRUE(person.shows_line(">|"));
    person.type("greet\r");
    EXPECT_TRUE(person.shows("\nUsage: greet WHO, exit\n"));
    person.type("\033OA\033OA");
    EXPECT_TRUE(person.shows_line(">greet world|"));
    person.type("\033OD\033b!");
    EXPECT_TRUE(person.shows_line(">greet !|world"));
    person.type("\r");
    EXPECT_TRUE(person.shows("\nHello, !world\n"));
    person.expect_end_of(chain);
}

TEST(Chain, TheTerminalIsSetUpAndReset)
{
    ListeningProgram chain(VARNO_CHAIN_PROGRAM);
    Person person(chain);
    EXPECT_TRUE(person.sends("\033[?1h\033=")) << "the keypad sends the entry's sequences";
    EXPECT_TRUE(person.sends("\033[!p\033[?3;4l\033[4l\033>")) << "as an xterm is initialised";
    person.expect_end_of(chain);
    const size_t bye = person.output().find("Bye");
    EXPECT_NE(person.output().find("\033[?1l\033>", bye), std::string::npos);
}

TEST(Chain, AnEscapeSequenceIsWaitedFor)
{
    ListeningProgram chain(VARNO_CHAIN_PROGRAM);
    Person person(chain);
    person.type("greet a\r");
    EXPECT_TRUE(person.shows("\nHello, a\n"));
    person.type("\033");
    person.type("O");
    person.type("A");
    EXPECT_TRUE(person.shows_line(">greet a|"));
    person.expect_end_of(chain);
}

TEST(Chain, ALongLineScrollsAtEveryWidth)
{
    ListeningProgram chain(VARNO_CHAIN_PROGRAM);
    Person person(chain);
    const std::string line(200, 'a');
    person.type(line);
    EXPECT_TRUE(person.sends(">$a"));
    person.type("\001");
    EXPECT_TRUE(person.shows_line(">|" + std::string(77, 'a') + "$"));
    person.resize(24, 40);
    person.type("\005\001\005b\001");
    EXPECT_TRUE(person.shows_line(">|" + std::string(37, 'a') + "$"));
    person.expect_end_of(chain);
}

} // namespace
