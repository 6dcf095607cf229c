// Modes and levels of privilege: where lines lead, what people see, what is not there for them.

#include "support/command_shells.h"
#include "support/long_tests.h"
#include "support/memory.h"

#include <varno/commands.h>

#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Writes the mode, its interface, and the words of the row.
int32_t tell_mode(cli_call_s *call, void *user)
{
    cli_shell_s *shell = cli_call_shell(call);
    const char *name = cli_shell_argument(shell, "NAME");
    cli_print(call, "%s: %s in %s of %s\n", static_cast<const char *>(user), cli_line(call),
              cli_shell_mode(shell), name ? name : "none");
    return CLI_DONE;
}

int32_t fail_always(cli_call_s *call, void *)
{
    cli_fail(call, "it cannot");
    return CLI_FAILED;
}

const cli_mode_s modes[] = {
    {"exec", nullptr, "%h%# ", 0, nullptr, nullptr},
    {"configure", "exec", "%h(config)# ", CLI_DO, nullptr, nullptr},
    {"interface", "configure", "%h(config-%NAME)# ", CLI_DO | CLI_INHERITS, nullptr, nullptr},
    {"address", "interface", "%h(%NAME %ADDRESS-x 100%%)# ", CLI_INHERITS, nullptr, nullptr},
};

cli_command_s row(const char *syntax, const char *help, cli_run_fn run,
                  const char *enters = nullptr, int32_t level = 0, uint32_t flags = 0)
{
    return {syntax, help, run, enters, level, flags, const_cast<char *>(syntax)};
}

const cli_command_s exec_rows[] = {
    row("show", "what there is", nullptr),
    row("show version", "of this program", tell_mode),
    row("configure", "change it", nullptr, "configure"),
    row("enable [LEVEL(0-15)]", "more", cli_enable),
    row("disable", "less", cli_disable),
};
const cli_command_s configure_rows[] = {
    row("hostname HOST", "its name", tell_mode),
    row("interface NAME", "settings of one", nullptr, "interface"),
    row("interface NAME area AREA", "an area", tell_mode),
    row("broken", "never works", fail_always, nullptr),
    row("description TEXT", "of the machine", tell_mode),
};
const cli_command_s interface_rows[] = {
    row("interface NAME area AREA(0-9)", "an area of this one", tell_mode),
    row("description TEXT", "of the interface", tell_mode),
    row("address ADDRESS(ipv4)", "settings of an address", nullptr, "address"),
};
const cli_command_s address_rows[] = {
    row("exit NOW", "another exit", tell_mode),
    row("label TEXT", "what it is called", tell_mode),
};

void tell(void *ctx, const cli_finding_s *finding)
{
    *static_cast<std::string *>(ctx) +=
        std::string(finding->is_error ? "error " : "warning ") +
        (finding->mode ? finding->mode : "-") + ": " + finding->syntax + ": " + finding->text +
        (finding->other ? std::string(": ") + finding->other : "") + "\n";
}

class Modes : public varno_test::CommandShells {
  protected:
    Modes()
    {
        for (const cli_mode_s &mode : modes)
            EXPECT_EQ(cli_set_add_mode(set_, nullptr, &mode), 0);
        add("exec", exec_rows);
        add("configure", configure_rows);
        add("interface", interface_rows);
        add("address", address_rows);
        EXPECT_EQ(cli_set_host(set_, "r1"), 0);
    }

    template <size_t count>
    void add(const char *mode, const cli_command_s (&rows)[count], const void *owner = nullptr)
    {
        EXPECT_EQ(cli_set_add(set_, owner, mode, rows, count), 0);
    }

    std::string build()
    {
        std::string findings;
        cli_set_build(set_, tell, &findings);
        return findings;
    }

    void begin_batch(const char *mode = nullptr, int32_t level = 0)
    {
        cli_shell_config_s config = shell_config();
        config.mode = mode;
        config.level = level;
        make_batch(config);
    }

    void begin_session(int32_t level = 0)
    {
        cli_shell_config_s config = shell_config();
        config.level = level;
        config.user = this;
        config.authenticate = [](cli_shell_s *shell, void *user, int32_t wanted,
                                 const char *secret) {
            auto *test = static_cast<Modes *>(user);
            test->asked_for_ = wanted;
            test->ticket_ = cli_shell_ticket(shell);
            if (test->act_)
                test->act_();
            return test->answers_later_             ? int32_t{CLI_LATER}
                   : std::string(secret) == "xyzzy" ? 0
                                                    : -1;
        };
        make_session(config);
    }

    int32_t asked_for_ = -1;
    bool answers_later_ = false; // of the function that looks at secrets
    uint64_t ticket_ = 0;        // of the check
    std::function<void()> act_;  // what it does besides
};

TEST_F(Modes, ABatchGoesFromModeToMode)
{
    EXPECT_EQ(build(), "warning interface: description TEXT: the parent's command of the same "
                       "words is hidden by this one: description TEXT\n");
    begin_batch();
    // clang-format off
    const struct {
        const char *line;
        const char *written;
        const char *mode;
    } steps[] = {
        {"show version", "show version: show version in exec of none\n", "exec"},
        {"exit", "  exit\n  ^\n% unknown word\n", "exec"},
        {"do show version", "  do show version\n  ^\n% unknown word\n", "exec"},
        {"conf", "", "configure"},
        {"show version", "  show version\n  ^\n% unknown word\n", "configure"},
        {"do show version", "show version: do show version in configure of none\n", "configure"},
        {"do", "  do\n    ^\n% incomplete command\n", "configure"},
        {"interface eth0", "", "interface"},
        {"description x", "description TEXT: description x in interface of eth0\n", "interface"},
        {"interface eth1 area 10", "interface NAME area AREA: interface eth1 area 10 in configure of none\n", "configure"},
        {"description x", "description TEXT: description x in configure of none\n", "configure"},
        {"interface eth1", "", "interface"},
        {"interface eth1 area 1", "interface NAME area AREA(0-9): interface eth1 area 1 in interface of eth1\n", "interface"},
        {"interface eth2", "", "interface"},
        {"address 10.1.2.3", "", "address"},
        {"label x", "label TEXT: label x in address of eth2\n", "address"},
        {"label", "  label\n       ^\n% incomplete command\n", "address"},
        {"exit now", "exit NOW: exit now in address of eth2\n", "address"},
        {"exit", "", "interface"},
        {"address 10.1.2.3", "", "address"},
        {"broken", "% it cannot\n", "configure"},
        {"interface eth3", "", "interface"},
        {"do configure", "", "configure"},
        {"interface eth4", "", "interface"},
        {"end", "", "exec"},
    };
    // clang-format on
    for (const auto &one : steps) {
        EXPECT_EQ(run(one.line), one.written) << one.line;
        EXPECT_STREQ(cli_shell_mode(batch_), one.mode) << one.line;
    }
}

TEST_F(Modes, PromptsSayWhereOneIs)
{
    build();
    begin_session();
    EXPECT_EQ(type(""), "");
    EXPECT_EQ(type("conf\r"), "conf\nr1(config)# ");
    EXPECT_EQ(type("int eth0\r"), "int eth0\nr1(config-eth0)# ");
    EXPECT_EQ(type("address 10.1.2.3\r"), "address 10.1.2.3\nr1(eth0 10.1.2.3-x 100%)# ");
    EXPECT_EQ(type("broken\r"), "broken\n% it cannot\nr1(config)# ");
    EXPECT_EQ(type("interface an-interface-with-a-long-name\r"),
              "interface an-interface-with-a-long-name\n-interface-with-a-long-name)# ");
    type("shov\x1a");
    EXPECT_EQ(cli_set_host(set_, "r2"), 0);
    EXPECT_NE(type("\x7fw version\r").find("show version in exec"), std::string::npos) << sent_;
    EXPECT_EQ(sent_.substr(sent_.size() - 4), "r2> ");
    EXPECT_EQ(type("\x1a"), "\a"); // there is no mode to leave
    std::string host;
    for (const char *part : {"0123456789", "\xe2\x82\xac", "\xf0\x9f\x98\x80"}) {
        for (int i = 0; i < 100; i++)
            host += part;
        EXPECT_EQ(cli_set_host(set_, host.c_str()), 0);
        type("show version\r");
        const std::string end =
            *part == '0' ? "2345678901234567890123456789" : std::string(28, '?');
        EXPECT_EQ(sent_.substr(sent_.size() - 31), "\n" + end + "> ") << part;
    }
}

// The session's own, where no mode has one.
TEST(PromptWithoutModes, KeepsItsEnd)
{
    static const cli_command_s rows[] = {row("show", "what there is", tell_mode)};
    std::string sent;
    tsession_config_s terminal = TSESSION_CONFIG_INIT;
    terminal.prompt = "a-prompt-that-is-longer-than-thirty-characters> ";
    terminal.user = &sent;
    terminal.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(user)->append(bytes, count);
    };
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = cli_set_create();
    config.session = &terminal;
    EXPECT_EQ(cli_set_add(config.set, nullptr, nullptr, rows, 1), 0);
    EXPECT_EQ(cli_set_build(config.set, nullptr, nullptr), 0);
    cli_shell_s *shell = cli_shell_create(&config);
    tsession_start(cli_shell_session(shell));
    EXPECT_EQ(sent, "\ronger-than-thirty-characters> ");
    cli_shell_free(shell);
    cli_set_free(config.set);
}

TEST_F(Modes, ModesAreListedAndCompleted)
{
    build();
    begin_session();
    type("conf\rint eth0\r");
    EXPECT_EQ(type("?"), "\n"
                         "  hostname          its name\n"
                         "  interface         settings of one\n"
                         "  broken            never works\n"
                         "  description       of the interface\n"
                         "  address           settings of an address\n"
                         "  exit              leave this mode\n"
                         "  end               go back to the first mode\n"
                         "  do                run a command of the first mode\n"
                         "r1(config-eth0)# ");
    EXPECT_EQ(type("do ?"), "do \n"
                            "  show              what there is\n"
                            "  configure         change it\n"
                            "  enable            more\n"
                            "  disable           less\n"
                            "r1(config-eth0)# do ");
    EXPECT_EQ(type("sh\tv\t"), "show version ");
}

TEST_F(Modes, ASecretOpensALevel)
{
    build();
    begin_session();
    type("enable\r");
    EXPECT_EQ(type("wrong\r"), "\n% access denied\nr1> ");
    EXPECT_EQ(asked_for_, 15);
    EXPECT_EQ(cli_shell_level(shell_), 0);
    type("enable 7\r");
    EXPECT_EQ(type("xyzzy\r"), "\nr1> ");
    type("enable\r");
    EXPECT_EQ(type("xyzzy\r"), "\nr1# ");
    EXPECT_EQ(type("enable 7\r"), "enable 7\nr1> ");
    EXPECT_EQ(asked_for_, 15);
    EXPECT_EQ(cli_shell_level(shell_), 7);
    EXPECT_EQ(type("enable 3\r"), "enable 3\nr1> ");
    EXPECT_EQ(cli_shell_level(shell_), 3);
    type("enable\r");
    type("\x03");
    EXPECT_EQ(cli_shell_level(shell_), 3);
    EXPECT_EQ(type("conf\rdo disable\r"), "conf\nr1(config)# do disable\nr1> ");
    EXPECT_EQ(cli_shell_level(shell_), 0);
    begin_batch();
    EXPECT_EQ(run("enable"), "% access denied\n");
    for (const int32_t level : {-1, 99}) {
        begin_batch(nullptr, level);
        EXPECT_EQ(cli_shell_level(batch_), level < 0 ? 0 : 15);
    }
}

TEST_F(Modes, ASecretMayBeCheckedElsewhere)
{
    build();
    begin_session();
    answers_later_ = true;
    type("enable\r");
    EXPECT_EQ(type("xyzzy\r"), "\n");
    EXPECT_EQ(type("show version\r"), ""); // it waits, in order
    EXPECT_EQ(cli_shell_level(shell_), 0);
    EXPECT_EQ(cli_authenticated(set_, ticket_ + 1, 1), -1);
    EXPECT_EQ(cli_authenticated(set_, ticket_, 1), 0);
    EXPECT_EQ(cli_authenticated(set_, ticket_, 1), -1);
    EXPECT_EQ(type(""), "r1# show version\nshow version: show version in exec of none\nr1# ");
    EXPECT_EQ(cli_shell_level(shell_), 15);

    type("disable\renable 3\r");
    EXPECT_EQ(type("xyzzy\r"), "\n");
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0); // a new graph is of no matter
    EXPECT_EQ(cli_authenticated(set_, ticket_, 0), 0);
    EXPECT_EQ(type(""), "% access denied\nr1> ");
    EXPECT_EQ(cli_shell_level(shell_), 0);
    EXPECT_EQ(asked_for_, 3);
}

TEST_F(Modes, WhatIsFoundTooLateOpensNothing)
{
    build();
    begin_session();
    answers_later_ = true;
    EXPECT_EQ(cli_shell_ticket(shell_), 0U); // nothing is being checked
    EXPECT_EQ(cli_authenticated(set_, 0, 1), -1);
    type("enable\r");
    type("xyzzy\r");
    const uint64_t first = ticket_;
    EXPECT_EQ(type("\x03"), "r1> ");
    EXPECT_EQ(cli_authenticated(set_, first, 1), -1);
    type("enable\r");
    type("xyzzy\r");
    EXPECT_NE(ticket_, first);
    EXPECT_EQ(cli_authenticated(set_, first, 1), -1);
    EXPECT_EQ(type(""), "");
    EXPECT_EQ(cli_shell_level(shell_), 0);
    cli_shell_free(std::exchange(shell_, nullptr));
    EXPECT_EQ(cli_authenticated(set_, ticket_, 1), -1);
}

TEST_F(Modes, ASecretsCheckMayEndAtOnceOrNeverBegin)
{
    build();
    begin_session();
    answers_later_ = true;
    act_ = [this] { EXPECT_EQ(cli_authenticated(set_, ticket_, 1), 0); };
    type("enable\r");
    EXPECT_EQ(type("xyzzy\r"), "\nr1# ");

    // A ticket whose function has answered already is nobody's.
    type("disable\renable\r");
    answers_later_ = false;
    act_ = nullptr;
    EXPECT_EQ(type("wrong\r"), "\n% access denied\nr1> ");
    EXPECT_EQ(cli_authenticated(set_, ticket_, 1), -1);

    // The session asks its user something else: there it cannot wait.
    answers_later_ = true;
    act_ = [this] { tsession_ask(session_, "Name: ", 0, nullptr, nullptr); };
    type("enable\r");
    EXPECT_EQ(type("xyzzy\r"), "\n% access denied\nName: ");
    EXPECT_EQ(cli_authenticated(set_, ticket_, 1), -1);
    act_ = nullptr;
    type("\r");

    act_ = [this] { cli_shell_free(std::exchange(shell_, nullptr)); };
    type("enable\r");
    tsession_input(session_, "xyzzy\r", 6);
    EXPECT_EQ(cli_authenticated(set_, ticket_, 1), -1);
}

TEST_F(Modes, ACheckFollowsModesAndRunsNothing)
{
    build();
    begin_batch("configure");
    const char *const good[] = {"hostname r7",
                                "interface eth0",
                                "do show version",
                                "description x",
                                "# a comment",
                                "",
                                "interface eth0 area 0",
                                "address 10.0.0.1",
                                "label x",
                                "exit",
                                "interface eth1",
                                "hostname r8",
                                "end",
                                "show version",
                                "configure"};
    for (const char *line : good)
        EXPECT_EQ(cli_shell_check(batch_, line, nullptr), *line ? CLI_ASSIST_OK : CLI_ASSIST_EMPTY)
            << line;
    EXPECT_EQ(cli_shell_check(batch_, "label x", nullptr), CLI_ASSIST_UNKNOWN);
    EXPECT_EQ(cli_shell_check(batch_, "interface eth1", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(cli_shell_check(batch_, "address 10.1.1.1", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(cli_shell_check(batch_, nullptr, nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(cli_shell_check(batch_, "address 10.1.1.1", nullptr), CLI_ASSIST_UNKNOWN);
    EXPECT_EQ(cli_shell_check(batch_, "interface eth1", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(written_, "");
    run("broken");
    EXPECT_EQ(cli_shell_check(batch_, "address 10.1.1.1", nullptr), CLI_ASSIST_UNKNOWN);
    written_.clear();
    EXPECT_STREQ(cli_shell_mode(batch_), "configure");
    EXPECT_EQ(written_, "");
}

// What a type asks about the modes is about those that lines would have led to.
TEST_F(Modes, ATypeKnowsTheModeThatALineIsCheckedIn)
{
    const cli_type_s same = {"same", "the interface's name",
                             [](void *, cli_shell_s *shell, const char *word, const char **) {
                                 const char *name = cli_shell_argument(shell, "NAME");
                                 return int32_t{name && std::string(name) == word};
                             },
                             nullptr, nullptr};
    const cli_command_s rows[] = {row("confirm WORD(same)", "its name", tell_mode)};
    EXPECT_EQ(cli_set_add_type(set_, nullptr, &same), 0);
    add("interface", rows);
    build();
    begin_batch("configure");
    run("interface eth0");
    EXPECT_EQ(cli_shell_check(batch_, "confirm eth0", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(cli_shell_check(batch_, "confirm eth1", nullptr), CLI_ASSIST_UNKNOWN);
    EXPECT_EQ(cli_shell_check(batch_, "interface eth1", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(cli_shell_check(batch_, "confirm eth1", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(run("confirm eth0"), "confirm WORD(same): confirm eth0 in interface of eth0\n");
}

TEST_F(Modes, AModeThatIsRemovedIsLeft)
{
    static const cli_mode_s mode = {"vlan", "configure", "%h(vlan %VLAN)# ", 0, nullptr, nullptr};
    const cli_command_s enters[] = {row("vlan VLAN(1-4094)", "one", nullptr, "vlan")};
    const int owner = 0;
    EXPECT_EQ(cli_set_add_mode(set_, &owner, &mode), 0);
    add("configure", enters, &owner);
    build();
    begin_session();
    begin_batch("configure");
    EXPECT_EQ(run("vlan 7"), "");
    EXPECT_EQ(type("conf\rvlan 7\r"), "conf\nr1(config)# vlan 7\nr1(vlan 7)# ");
    EXPECT_EQ(cli_set_remove(set_, &owner, nullptr, nullptr), 0);
    EXPECT_STREQ(cli_shell_mode(shell_), "configure");
    EXPECT_STREQ(cli_shell_mode(batch_), "configure");
    EXPECT_EQ(type("\r"), "\nr1(config)# ");
    begin_batch("vlan");
    EXPECT_EQ(batch_, nullptr);
}

// A mode in another of the same owner's; one that comes after them has another number then.
TEST_F(Modes, WhatIsInAModeThatIsRemovedIsLeftToo)
{
    static const cli_mode_s outer = {"outer", "configure", nullptr, 0, nullptr, nullptr};
    static const cli_mode_s inner = {"inner", "outer", nullptr, 0, nullptr, nullptr};
    static const cli_mode_s later = {"later", "configure", nullptr, 0, nullptr, nullptr};
    static const cli_mode_s last = {"last", "later", nullptr, 0, nullptr, nullptr};
    static uint64_t ticket = 0;
    const auto wait_once = [](cli_call_s *call, void *) -> int32_t {
        const bool is_again = ticket != 0;
        ticket = cli_ticket(call);
        return is_again ? CLI_DONE : CLI_LATER;
    };
    ticket = 0;
    const cli_command_s outwards[] = {row("outer", "one", nullptr, "outer"),
                                      row("later", "another", nullptr, "later")};
    const cli_command_s inwards[] = {row("inner", "in there", nullptr, "inner")};
    const cli_command_s onwards[] = {row("last", "once it is woken", wait_once, "last")};
    const int owner = 0;
    for (const cli_mode_s *mode : {&outer, &inner})
        EXPECT_EQ(cli_set_add_mode(set_, &owner, mode), 0);
    for (const cli_mode_s *mode : {&later, &last})
        EXPECT_EQ(cli_set_add_mode(set_, nullptr, mode), 0);
    EXPECT_EQ(cli_set_add(set_, &owner, "configure", &outwards[0], 1), 0);
    EXPECT_EQ(cli_set_add(set_, nullptr, "configure", &outwards[1], 1), 0);
    add("outer", inwards, &owner);
    add("later", onwards);
    build();
    begin_session();
    begin_batch("inner");
    EXPECT_EQ(cli_shell_check(batch_, "unknown", nullptr), CLI_ASSIST_UNKNOWN);
    type("conf\rlater\rlast\r");
    EXPECT_EQ(cli_set_remove(set_, &owner, nullptr, nullptr), 0);
    EXPECT_STREQ(cli_shell_mode(batch_), "configure");
    EXPECT_EQ(cli_shell_check(batch_, "hostname x", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(cli_wake(set_, ticket), 0);
    type("");
    EXPECT_STREQ(cli_shell_mode(shell_), "last");
    type("exit\r");
    EXPECT_STREQ(cli_shell_mode(shell_), "later");
    type("exit\r");
    EXPECT_STREQ(cli_shell_mode(shell_), "configure");
}

TEST_F(Modes, WhatIsWrongWithModesIsFound)
{
    static const cli_mode_s wrong[] = {{"a", "nowhere", nullptr, 0, nullptr, nullptr},
                                       {"exec", "exec", nullptr, 0, nullptr, nullptr},
                                       {"b", nullptr, nullptr, 0, nullptr, nullptr}};
    for (const cli_mode_s &mode : wrong)
        EXPECT_EQ(cli_set_add_mode(set_, nullptr, &mode), 0);
    const cli_command_s rows[] = {row("one", "goes nowhere", nullptr, "nowhere"),
                                  row("two", "goes too far", nullptr, "interface"),
                                  row("three", "is too high", tell_mode, nullptr, 16)};
    add("exec", rows);
    EXPECT_EQ(cli_set_add(set_, nullptr, "nowhere", rows, 1), 0);
    const std::string parent = ": the first mode has no parent, the others' come before them\n";
    EXPECT_EQ(build(), "error a: a" + parent + "error exec: exec: another mode has this name\n" +
                           "error b: b" + parent +
                           "warning interface: description TEXT: the parent's command of the same "
                           "words is hidden by this one: description TEXT\n"
                           "error exec: one: no mode of this name is registered\n"
                           "error exec: two: a command enters only a mode whose parent is its own\n"
                           "error exec: three: a level is 0 to 15\n"
                           "error nowhere: one: no mode of this name is registered\n");
}

TEST_F(Modes, HiddenCommandsAreNotListed)
{
    const cli_command_s rows[] = {row("shutdown", "stop", tell_mode, nullptr, 0, CLI_HIDDEN),
                                  row("show tech [NAME]", "all", tell_mode, nullptr, 0, CLI_HIDDEN),
                                  row("show tech", "what nobody asks for", nullptr),
                                  row("show tech NAME", "of what", nullptr)};
    add("exec", rows);
    build();
    begin_session();
    EXPECT_EQ(type("sh\t"), "show ");
    EXPECT_EQ(type("?").find("tech"), std::string::npos);
    type("tech a\r");
    EXPECT_NE(sent_.find("show tech [NAME]: show tech a in exec"), std::string::npos) << sent_;
    EXPECT_NE(type("show tec\r").find("unknown word"), std::string::npos);
    EXPECT_EQ(type("show tech ?").find("NAME"), std::string::npos) << sent_;
    type("\x15");
    EXPECT_NE(type("shutdown\r").find("shutdown: shutdown in exec"), std::string::npos);
    EXPECT_NE(type("shutdow\r").find("unknown word"), std::string::npos);
}

// Rows above a shell's level come first, in the middle and last; they share words with others,
// have help of their own, and would make words and values ambiguous.
const cli_command_s high_first[] = {
    row("zone NAME", "a zone", tell_mode, nullptr, 15),
    row("show secrets", "all that is secret", tell_mode, nullptr, 15),
    row("show version detail", "of each part", tell_mode, nullptr, 1),
    row("vlan VLAN(5000-6000)", "a secret VLAN", tell_mode, nullptr, 15),
    row("vlan NAME", "any VLAN", tell_mode, nullptr, 2),
    row("conceal", "hide it", nullptr, "hide", 7),
};
const cli_command_s low[] = {
    row("vlan VLAN(1-4094) [name NAME]", "a VLAN", tell_mode),
    row("vlan VLAN(1-4094)", "its number", nullptr),
    row("show secrets brief", "what may be known", tell_mode),
    row("ping HOST [{count COUNT(1-9)|quiet}]", "ask a host", tell_mode),
};
const cli_command_s high_last[] = {
    row("ping HOST loud", "ask it loudly", tell_mode, nullptr, 15),
    row("showroom", "another", tell_mode, nullptr, 15),
    row("show", "everything", tell_mode, nullptr, 3),
};
const cli_command_s high_inner[] = {
    row("describe TEXT...", "all of it", tell_mode, nullptr, 15),
    row("hostname HOST", "of this mode", tell_mode, nullptr, 15),
    row("exit", "another exit", tell_mode, nullptr, 15),
};

// A line of words, some cut short, and the keys that end it.
std::string random_keys(std::mt19937 &random)
{
    const char *const words[] = {
        "show",      "version", "secrets",     "brief",   "detail",    "vlan", "5",
        "5500",      "name",    "blue",        "zone",    "configure", "do",   "exit",
        "interface", "eth0",    "ping",        "count",   "quiet",     "loud", "showroom",
        "end",       "area",    "description", "conceal", "hostname"};
    const char *const ends[] = {"?\x15", "\t\x15", "\r", "\r", " ?\x15", " \t\r"};
    const char *const phrases[] = {"configure", "interface eth0", "ping a count 5 quiet count",
                                   "show secrets brief"};
    std::string keys = random() % 3 == 0 ? phrases[random() % std::size(phrases)] : "";
    for (auto count = random() % 5; count > 0; count--) {
        const std::string word = words[random() % std::size(words)];
        keys +=
            (keys.empty() ? "" : " ") + word.substr(0, random() % 3 ? word.size() : random() % 8);
    }
    return keys + ends[random() % std::size(ends)];
}

TEST_F(Modes, WhatIsAboveALevelLeavesNoTrace)
{
    static const cli_mode_s hide = {"hide", "exec", "hidden> ", 0, nullptr, nullptr};
    add("exec", low);
    build();
    begin_session();
    tsession_s *plain = session_;
    cli_shell_s *plain_shell = std::exchange(shell_, nullptr);
    cli_set_s *plain_set = std::exchange(set_, cli_set_create());
    for (const cli_mode_s &mode : modes)
        EXPECT_EQ(cli_set_add_mode(set_, nullptr, &mode), 0);
    EXPECT_EQ(cli_set_add_mode(set_, nullptr, &hide), 0);
    add("exec", high_first);
    add("interface", high_inner);
    add("exec", exec_rows);
    add("exec", low);
    add("exec", high_last);
    add("configure", configure_rows);
    add("interface", interface_rows);
    add("address", address_rows);
    EXPECT_EQ(cli_set_host(set_, "r1"), 0);
    const std::string findings = build();
    EXPECT_EQ(findings.find("error"), std::string::npos) << findings;
    begin_session();
    std::mt19937 random(15);
    const int lines = 4000 * varno_test::long_tests_factor();
    std::string seen;
    for (int i = 0; i < lines && !HasFailure(); i++) {
        const std::string keys = random_keys(random);
        const std::string sent = type(keys);
        std::swap(plain, session_);
        EXPECT_EQ(sent, type(keys)) << keys;
        std::swap(plain, session_);
        seen += sent;
    }
    for (const char *text : {"a VLAN", "given already", "ambiguous", "(config-eth0)#", "brief"})
        EXPECT_NE(seen.find(text), std::string::npos) << text;
    cli_shell_set_level(shell_, 15);
    EXPECT_NE(type("end\rshow s?").find("all that is secret"), std::string::npos) << sent_;
    cli_shell_free(plain_shell);
    cli_set_free(plain_set);
}

// It is not run, or it is: there is no half of it.
TEST_F(Modes, WithoutMemoryALineLeavesTheModesAsTheyWere)
{
    build();
    const struct {
        std::vector<const char *> way;
        const char *line;
        const char *before;
        const char *after;
    } rows[] = {
        {{}, "configure", "exec", "configure"},
        {{"configure"}, "interface eth0", "configure", "interface"},
        {{"configure", "interface eth0"}, "interface eth1", "interface", "interface"},
        {{"configure", "interface eth0"}, "do configure", "interface", "configure"},
        {{"configure", "interface eth0"}, "do show version", "interface", "interface"},
        {{"configure", "interface eth0"}, "end", "interface", "exec"},
    };
    for (const auto &row : rows) {
        for (const bool has_session : {false, true}) {
            int32_t result = CLI_FAILED;
            int n = 0;
            while (result != CLI_DONE && n < 1000) {
                begin_session();
                begin_batch();
                cli_shell_s *shell = has_session ? shell_ : batch_;
                for (const char *line : row.way)
                    EXPECT_EQ(cli_shell_run(shell, line), CLI_DONE) << line;
                tracked_fail_after(++n);
                result = cli_shell_run(shell, row.line);
                tracked_fail_after(-1);
                const bool is_left = std::string(row.line) == "interface eth1";
                if (result != CLI_DONE && is_left) // to run a parent's command leaves the mode
                    EXPECT_STRNE(cli_shell_mode(shell), "exec") << row.line << " " << n;
                else
                    EXPECT_STREQ(cli_shell_mode(shell), result == CLI_DONE ? row.after : row.before)
                        << row.line << " " << n;
            }
            EXPECT_GT(n, 1) << row.line;
            EXPECT_EQ(result, CLI_DONE) << row.line;
        }
    }
}

TEST(ModesWithoutMemory, NothingIsLeftBehind)
{
    for (const bool has_session : {false, true}) {
        const int failures = varno_test::fail_each_allocation([&](const auto &fail_from_here) {
            const tsession_config_s terminal = TSESSION_CONFIG_INIT;
            bool is_done = false;
            fail_from_here();
            cli_set_s *set = cli_set_create();
            cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
            config.set = set;
            config.session = has_session ? &terminal : nullptr;
            if (set && cli_set_add_mode(set, nullptr, &modes[0]) == 0 &&
                cli_set_add_mode(set, nullptr, &modes[1]) == 0 &&
                cli_set_add_mode(set, nullptr, &modes[2]) == 0 &&
                cli_set_add_mode(set, nullptr, &modes[3]) == 0 &&
                cli_set_add(set, nullptr, "exec", exec_rows, std::size(exec_rows)) == 0 &&
                cli_set_add(set, nullptr, "configure", configure_rows, 2) == 0 &&
                cli_set_build(set, nullptr, nullptr) == 0) {
                cli_shell_s *shell = cli_shell_create(&config);
                is_done = shell && cli_shell_run(shell, "configure") == CLI_DONE &&
                          cli_shell_run(shell, "interface eth0") == CLI_DONE &&
                          cli_shell_check(shell, "hostname r2", nullptr) == CLI_ASSIST_OK &&
                          cli_set_host(set, "r3") == 0 && cli_shell_run(shell, "end") == CLI_DONE;
                cli_shell_free(shell);
            }
            cli_set_free(set);
            return is_done;
        });
        EXPECT_GT(failures, 30);
    }
}

} // namespace
