// The example of the whole chain, used by a person at a real telnet client.

#include "support/guest.h"

#include <string>

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using varno_test::Guest;

// The example's process, listening.
class Chain {
  public:
    Chain()
    {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl(VARNO_CHAIN_PROGRAM, "chain", "0", nullptr);
            _exit(127);
        }
        close(ends[1]);
        FILE *from = fdopen(ends[0], "r");
        EXPECT_EQ(std::fscanf(from, "port %d", &port_), 1);
        std::fclose(from);
    }
    ~Chain()
    {
        if (is_running_)
            kill(pid_, SIGKILL);
        wait_for_end();
    }
    Chain(const Chain &) = delete;
    Chain &operator=(const Chain &) = delete;

    int port() const { return port_; }

    // The status that waitpid gives.
    int wait_for_end()
    {
        if (is_running_)
            waitpid(pid_, &status_, 0);
        is_running_ = false;
        return status_;
    }

  private:
    pid_t pid_ = -1;
    int port_ = 0;
    int status_ = -1;
    bool is_running_ = true;
};

class Person : public Guest {
  public:
    explicit Person(const Chain &chain, const char *type = "xterm")
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

    void expect_end_of(Chain &chain)
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
    Chain chain;
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
    Chain chain;
    Person person(chain);
    EXPECT_TRUE(person.sends("\033[?1h\033=")) << "the keypad sends the entry's sequences";
    EXPECT_TRUE(person.sends("\033[!p\033[?3;4l\033[4l\033>")) << "as an xterm is initialised";
    person.expect_end_of(chain);
    const size_t bye = person.output().find("Bye");
    EXPECT_NE(person.output().find("\033[?1l\033>", bye), std::string::npos);
}

TEST(Chain, AnEscapeSequenceIsWaitedFor)
{
    Chain chain;
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
    Chain chain;
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
