// Commands in batches and sessions: what they are given, what people see, calls that go on,
// rows that come and go.

#include "support/assertion.h"
#include "support/command_shells.h"
#include "support/long_tests.h"
#include "support/memory.h"

#include <varno/commands.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// A device whose commands write what they were given.

int32_t show_call(cli_call_s *call, void *user)
{
    const auto *names = static_cast<const char *>(user);
    std::string text = "yes";
    for (const char *name = names; *name; name += std::strlen(name) + 1) {
        text += std::string(" ") + name + "=";
        for (size_t i = 0; i < cli_count(call, name); i++)
            text += (i > 0 ? "," : "") + std::string(cli_text_at(call, name, i));
        if (cli_has(call, name) && cli_count(call, name) == 0)
            text += "given";
    }
    cli_print(call, "%s\n", text.c_str());
    return CLI_DONE;
}

int32_t show_worth(cli_call_s *call, void *)
{
    int32_t family = 0;
    int32_t bits = 0;
    const uint8_t *bytes = cli_address(call, "ADDR", &family, &bits);
    if (bytes)
        cli_print(call, "%d %02x%02x..%02x/%d\n", family, bytes[0], bytes[1], bytes[3], bits);
    else
        cli_print(call, "%" PRId64 "\n", cli_number(call, "N"));
    return CLI_DONE;
}

int32_t refuse(cli_call_s *call, void *)
{
    cli_fail_at(call, "VLAN", "VLAN %s is taken", cli_text(call, "VLAN"));
    return CLI_FAILED;
}

int32_t count_up(cli_call_s *call, void *)
{
    auto *shown = static_cast<int64_t *>(cli_state(call, sizeof(int64_t), nullptr));
    if (!shown || cli_is_cancelled(call))
        return CLI_FAILED;
    cli_print(call, "%" PRId64 "\n", ++*shown);
    return *shown < cli_number(call, "COUNT") ? CLI_MORE : CLI_DONE;
}

// What happened to calls that wait; there is one device a test.
struct Waiting {
    uint64_t ticket = 0;
    int calls = 0, cancelled = 0, states_released = 0;
};
Waiting waiting;

int32_t wait_for_it(cli_call_s *call, void *)
{
    if (!cli_state(call, 8, [](void *) { waiting.states_released++; }))
        return CLI_FAILED;
    if (cli_is_cancelled(call)) {
        cli_print(call, "nobody reads this\n");
        return waiting.cancelled++;
    }
    waiting.ticket = cli_ticket(call);
    if (waiting.calls++ == 0)
        return CLI_LATER;
    cli_print(call, "%s has answered\n", cli_text(call, "HOST"));
    return CLI_DONE;
}

int32_t misspell(cli_call_s *call, void *user)
{
    cli_text(call, static_cast<const char *>(user));
    return CLI_DONE;
}

int32_t run_another(cli_call_s *call, void *)
{
    return cli_shell_run(cli_call_shell(call), cli_text(call, "TEXT"));
}

const char *const interfaces[] = {"eth0", "eth1", "br-lan"};

std::string listed_after;

void list_interfaces(void *, cli_shell_s *, const char *begun, cli_assist_value_fn value, void *ctx)
{
    listed_after = begun;
    for (const char *name : interfaces)
        value(ctx, name, "of this machine");
}

int32_t accept_alias(void *, cli_shell_s *, const char *word, const char **why)
{
    if (std::strlen(word) <= 4)
        return 1;
    *why = "an alias has at most 4 characters";
    return 0;
}

const cli_type_s types[] = {
    {"interface", "an interface", nullptr, list_interfaces, nullptr},
    {"alias", "an alias", accept_alias, nullptr, nullptr},
};

// clang-format off
const cli_command_s rows[] = {
    {"show",                                 "what there is",           nullptr,     nullptr, 0, 0, nullptr},
    {"show interfaces [brief|NAME(interface)]", "the interfaces",       show_call,   nullptr, 0, 0, const_cast<char *>("brief\0NAME\0")},
    {"show numbers COUNT(1-100000)",         "a long output",           count_up,    nullptr, 0, 0, nullptr},
    {"vlan VLAN(1-4094)",                    "number of the VLAN",      nullptr,     nullptr, 0, 0, nullptr},
    {"vlan VLAN(1-4094) [name NAME]",        "make a VLAN",             show_call,   nullptr, 0, 0, const_cast<char *>("VLAN\0name\0NAME\0")},
    {"take VLAN(1-4094)",                    "take a VLAN",             refuse,      nullptr, 0, 0, nullptr},
    {"ping HOST [{count COUNT(1-9)|size BYTES(28-65507)|quiet}]",
                                             "ask a host",              show_call,   nullptr, 0, 0, const_cast<char *>("HOST\0COUNT\0BYTES\0quiet\0")},
    {"ping HOST count",                      "how many requests",       nullptr,     nullptr, 0, 0, nullptr},
    {"ping HOST size",                       "bytes of each",           nullptr,     nullptr, 0, 0, nullptr},
    {"ping HOST quiet",                      "the summary alone",       nullptr,     nullptr, 0, 0, nullptr},
    {"echo TEXT...",                         "print words",             show_call,   nullptr, 0, 0, const_cast<char *>("TEXT\0")},
    {"timer SECONDS(1-9) TEXT(line)",        "a message later on",      show_call,   nullptr, 0, 0, const_cast<char *>("SECONDS\0TEXT\0")},
    {"no",                                   "take it back",            nullptr,     nullptr, 0, 0, nullptr},
    {"[no] hostname ![HOST]",                "the machine's name",      show_call,   nullptr, 0, 0, const_cast<char *>("no\0HOST\0")},
    {"set <on|off|level N(-5-5)>$state",     "set it",                  show_call,   nullptr, 0, 0, const_cast<char *>("state\0N\0")},
    {"set on",                               "on",                      nullptr,     nullptr, 0, 0, nullptr},
    {"set off",                              "off",                     nullptr,     nullptr, 0, 0, nullptr},
    {"set level",                            "to a level",              nullptr,     nullptr, 0, 0, nullptr},
    {"worth <N(-5-5)|ADDR(ip/)>",            "what it is worth",        show_worth,  nullptr, 0, 0, nullptr},
    {"alias NAME(alias)",                    "a name",                  show_call,   nullptr, 0, 0, const_cast<char *>("NAME\0")},
    {"user NAME password WORD(secret)",      "a user",                  show_call,   nullptr, 0, 0, const_cast<char *>("NAME\0")},
    {"user",                                 "who may log in",          nullptr,     nullptr, 0, 0, nullptr},
    {"forget WORD",                          "not remembered",          show_call, nullptr, 0, CLI_FORGOTTEN, const_cast<char *>("WORD\0")},
    {"wait HOST",                            "waits",                   wait_for_it, nullptr, 0, 0, nullptr},
    {"misspell NAME",                        "asks for another",        misspell,    nullptr, 0, 0, const_cast<char *>("NAM")},
    {"nameless [NAME]",                      "asks for nothing",        misspell,    nullptr, 0, 0, const_cast<char *>("")},
    {"run TEXT(line)",                       "another line",            run_another, nullptr, 0, 0, nullptr},
};
// clang-format on

void tell(void *ctx, const cli_finding_s *finding)
{
    *static_cast<std::string *>(ctx) += std::string(finding->is_error ? "error " : "warning ") +
                                        std::to_string(finding->column) + " " + finding->syntax +
                                        ": " + finding->text + "\n";
}

class Device : public varno_test::CommandShells {
  protected:
    Device()
    {
        waiting = {};
        for (const cli_type_s &type : types)
            EXPECT_EQ(cli_set_add_type(set_, nullptr, &type), 0);
        EXPECT_EQ(cli_set_add(set_, nullptr, nullptr, rows, std::size(rows)), 0);
        std::string findings;
        EXPECT_EQ(cli_set_build(set_, tell, &findings), 0);
        EXPECT_EQ(findings,
                  "warning 17 show interfaces [brief|NAME(interface)]: a word without help\n"
                  "warning 19 vlan VLAN(1-4094) [name NAME]: a word without help\n");
        make_batch(shell_config());
    }

    // Shows what was sent since it was last asked.
    void begin_session(bool is_unpaged = true)
    {
        make_session(shell_config(), is_unpaged, 10);
        sent_.clear();
    }

    std::vector<std::string> history()
    {
        std::vector<std::string> lines;
        tsession_history(
            session_,
            [](tsession_s *, void *, void *ctx, int32_t, const char *line) {
                static_cast<std::vector<std::string> *>(ctx)->push_back(line);
            },
            &lines);
        return lines;
    }
};

struct Line {
    const char *line;
    const char *written;
};

// clang-format off
constexpr Line lines[] = {
    {"",                             ""},
    {"  # a comment",                ""},
    {"! another",                    ""},
    {"show interfaces",              "yes brief= NAME=\n"},
    {"sh int br",                    "  sh int br\n         ^\n% ambiguous word\n"},
    {"sh int bri",                   "yes brief=given NAME=\n"},
    {"sh int br-lan",                "yes brief= NAME=br-lan\n"},
    {"sh int eth",                   "  sh int eth\n         ^\n% NAME: an interface\n"},
    {"vlan 010 name \"a b\"",        "yes VLAN=010 name=given NAME=a b\n"},
    {"vlan 5000 name blue",          "  vlan 5000 name blue\n       ^\n% VLAN: 1 to 4094\n"},
    {"vlan \"\"",                    "  vlan \"\"\n       ^\n% VLAN: 1 to 4094\n"},
    {"vlan 5 nam",                   "  vlan 5 nam\n            ^\n% incomplete command\n"},
    {"take 7",                       "  take 7\n       ^\n% VLAN 7 is taken\n"},
    {"ping a",                       "yes HOST=a COUNT= BYTES= quiet=\n"},
    {"ping a quiet size 28 count 9", "yes HOST=a COUNT=9 BYTES=28 quiet=given\n"},
    {"ping a size 1400 size 9",      "  ping a size 1400 size 9\n                   ^\n% given already\n"},
    {"ping a qu s 30 qui",           "  ping a qu s 30 qui\n                 ^\n% given already\n"},
    {"ping a size 27",               "  ping a size 27\n              ^\n% BYTES: 28 to 65507\n"},
    {"echo a 'b c' d",               "yes TEXT=a,b c,d\n"},
    {"timer 5 it's | \"text ",       "yes SECONDS=5 TEXT=it's | \"text\n"},
    {"timer 5 \"a\\ b\"",            "yes SECONDS=5 TEXT=\"a\\ b\"\n"},
    {"timer 5",                      "  timer 5\n         ^\n% incomplete command\n"},
    {"timer 'x it",                  "  timer 'x it\n        ^\n% unmatched quote\n"},
    {"hostname r1",                  "yes no= HOST=r1\n"},
    {"hostname",                     "  hostname\n          ^\n% incomplete command\n"},
    {"no hostname",                  "yes no=given HOST=\n"},
    {"no hostname r1",               "yes no=given HOST=r1\n"},
    {"set of",                       "yes state=off N=\n"},
    {"set l -5",                     "yes state=level N=-5\n"},
    {"set l -0",                     "  set l -0\n        ^\n% N: -5 to 5\n"},
    {"set o",                        "  set o\n      ^\n% ambiguous word\n"},
    {"worth -3",                     "-3\n"},
    {"worth 10.1.2.3/8",             "4 0a01..03/8\n"},
    {"worth fe80::/10",              "6 fe80..00/10\n"},
    {"worth 9",                      "  worth 9\n        ^\n% unknown word\n"},
    {"alias abcd",                   "yes NAME=abcd\n"},
    {"alias \"\"",                   "  alias \"\"\n        ^\n% NAME: an alias\n"},
    {"alias abcde",                  "  alias abcde\n        ^\n% an alias has at most 4 characters\n"},
    {"echo \x1b[2J\xc2\x9b",         "yes TEXT=?[2J?\n"},
    {"nothing",                      "  nothing\n  ^\n% unknown word\n"},
    {"show numbers 3",               "1\n2\n3\n"},
};
// clang-format on

TEST_F(Device, GivesCommandsTheirArguments)
{
    for (const Line &one : lines)
        EXPECT_EQ(run(one.line), one.written) << one.line;
}

// Definitions whose words are hard to tell from one another.
// clang-format off
const cli_command_s hard_rows[] = {
    {"turn <[the] light|<up|down>|{left|right} N(1-9)>$way",
     "turn it",           show_call,   nullptr, 0, 0, const_cast<char *>("way\0N\0")},
    {"ask {a|b}",  "ask",               show_call, nullptr, 0, 0, const_cast<char *>("a\0b\0")},
    {"ask a <NAME|abc>", "ask somebody",      show_call, nullptr, 0, 0, const_cast<char *>("a\0NAME\0abc\0")},
    {"match <N(5-20)|PATTERN(pattern)>", "a number, or rows", show_call, nullptr, 0, 0, const_cast<char *>("N\0PATTERN\0")},
};

constexpr Line hard_lines[] = {
    {"turn light",                   "yes way=light N=\n"},
    {"turn the light",               "yes way=the N=\n"},
    {"turn do",                      "yes way=down N=\n"},
    {"turn right left 3",            "yes way=right N=3\n"},
    {"ask a",                        "yes a=given b=\n"},
    {"ask b a",                      "yes a=given b=given\n"},
    {"ask a a",                      "  ask a a\n        ^\n% given already\n"},
    {"ask a \"a\"",                  "  ask a \"a\"\n        ^\n% given already\n"},
    {"ask a somebody",               "yes a=given NAME=somebody abc=\n"},
    {"ask a abc",                    "yes a=given NAME= abc=given\n"},
    {"match 7",                      "yes N=7 PATTERN=\n"},
    {"match 21",                     "yes N= PATTERN=21\n"},
};
// clang-format on

TEST_F(Device, TellsWordsApart)
{
    EXPECT_EQ(cli_set_add(set_, nullptr, nullptr, hard_rows, std::size(hard_rows)), 0);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    for (const Line &one : hard_lines)
        EXPECT_EQ(run(one.line), one.written) << one.line;
}

TEST_F(Device, WhatIsWrongWithALineOfABatchMayGoAnotherWay)
{
    struct Written {
        std::string output, errors;
    } written;
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set_;
    config.user = &written;
    config.output = [](void *user, const char *bytes, size_t count) {
        static_cast<Written *>(user)->output.append(bytes, count);
    };
    config.errors = [](void *user, const char *bytes, size_t count) {
        static_cast<Written *>(user)->errors.append(bytes, count);
    };
    cli_shell_s *shell = cli_shell_create(&config);
    for (const char *line : {"vlan 7", "vlan 0", "take 7", "show numbers 2"})
        cli_shell_run(shell, line);
    EXPECT_EQ(written.output, "yes VLAN=7 name= NAME=\n1\n2\n");
    EXPECT_EQ(written.errors, "  vlan 0\n       ^\n% VLAN: 1 to 4094\n"
                              "  take 7\n       ^\n% VLAN 7 is taken\n");
    cli_shell_free(shell);
}

TEST_F(Device, ASessionThatSomebodyElseMakesAndFreesIsAShellsToo)
{
    struct Told {
        bool is_closed = false;
    } told;
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set_;
    for (const bool is_shell_first : {false, true}) {
        told = {};
        waiting = {};
        tsession_config_s terminal = TSESSION_CONFIG_INIT;
        terminal.is_unpaged = 1;
        terminal.user = &told;
        terminal.event = [](tsession_s *, void *user, const tsession_event_s *event) {
            static_cast<Told *>(user)->is_closed |= event->kind == TSESSION_CLOSED;
        };
        cli_shell_s *shell = cli_shell_prepare(&config, &terminal);
        ASSERT_NE(shell, nullptr);
        EXPECT_EQ(cli_shell_prepare(&config, &terminal), nullptr); // it has a shell
        EXPECT_EQ(cli_shell_session(shell), nullptr);
        EXPECT_EQ(cli_shell_run(shell, "echo a"), CLI_FAILED);
        terminal.user = shell; // whoever makes it has its own output
        tsession_s *session = tsession_create(&terminal);
        cli_shell_attach(shell, session);
        EXPECT_EQ(cli_shell_session(shell), session);
        EXPECT_EQ(tsession_user(session), shell);
        tsession_start(session);
        EXPECT_EQ(cli_shell_run(shell, "echo a"), CLI_DONE);
        tsession_input(session, "wait x\r", 7);
        EXPECT_EQ(waiting.calls, 1);
        if (is_shell_first)
            cli_shell_free(shell);
        else
            tsession_free(session);
        EXPECT_TRUE(told.is_closed);
        EXPECT_EQ(waiting.cancelled, 1);
        if (is_shell_first) {
            EXPECT_TRUE(tsession_is_closed(session));
            tsession_free(session);
            continue;
        }
        EXPECT_EQ(cli_shell_session(shell), nullptr);
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0); // and tells no session that has gone
        EXPECT_EQ(cli_wake(set_, waiting.ticket), -1);
        EXPECT_EQ(cli_shell_run(shell, "echo a"), CLI_FAILED);
        cli_shell_free(shell);
    }
    tsession_config_s terminal = TSESSION_CONFIG_INIT;
    cli_shell_free(cli_shell_prepare(&config, &terminal)); // its session was never made
}

TEST_F(Device, SaysWhetherALineCouldBeRun)
{
    cli_assist_error_s error;
    EXPECT_EQ(cli_shell_check(batch_, "vlan 7", nullptr), CLI_ASSIST_OK);
    EXPECT_EQ(cli_shell_check(batch_, "vlan 5000", &error), CLI_ASSIST_UNKNOWN);
    EXPECT_EQ(error.at, 5);
    EXPECT_STREQ(error.why, "VLAN: 1 to 4094");
    EXPECT_EQ(written_, "");
}

TEST_F(Device, TellsHowALineEnded)
{
    EXPECT_EQ(cli_shell_run(batch_, "ping a"), CLI_DONE);
    EXPECT_EQ(cli_shell_run(batch_, "take 7"), CLI_FAILED);
    EXPECT_EQ(cli_shell_run(batch_, "pong"), CLI_FAILED);
    begin_session();
    EXPECT_EQ(cli_shell_run(shell_, "ping a"), CLI_DONE);
    EXPECT_EQ(cli_shell_run(shell_, "take 7"), CLI_FAILED);
    EXPECT_EQ(cli_shell_run(shell_, "pong"), CLI_FAILED);
    EXPECT_EQ(cli_shell_run(shell_, "# nothing"), CLI_DONE);
}

TEST_F(Device, ANameThatTheSyntaxLacksIsAFault)
{
    EXPECT_ASSERTION(run("misspell x"), "has_name(call, name)", "commands_call");
    EXPECT_ASSERTION(run("nameless"), "has_name(call, name)", "commands_call");
    EXPECT_EQ(run("vlan 7"), "yes VLAN=7 name= NAME=\n");
}

TEST_F(Device, ABatchGoesOnWhenItIsWoken)
{
    EXPECT_EQ(cli_shell_run(batch_, "wait router7"), CLI_LATER);
    EXPECT_EQ(cli_shell_run(batch_, "vlan 7"), CLI_FAILED);
    EXPECT_EQ(cli_shell_resume(batch_), CLI_LATER);
    EXPECT_EQ(cli_wake(set_, waiting.ticket + 1), -1);
    EXPECT_EQ(cli_wake(set_, waiting.ticket), 0);
    EXPECT_EQ(cli_shell_resume(batch_), CLI_DONE);
    EXPECT_EQ(written_, "router7 has answered\n");
    EXPECT_EQ(cli_wake(set_, waiting.ticket), -1);
    EXPECT_EQ(cli_shell_resume(batch_), CLI_DONE);
    EXPECT_EQ(waiting.states_released, 1);
}

TEST_F(Device, AFreedBatchCancelsWhatWaits)
{
    cli_shell_run(batch_, "wait router7");
    cli_shell_free(batch_);
    batch_ = nullptr;
    EXPECT_EQ(waiting.cancelled, 1);
    EXPECT_EQ(waiting.states_released, 1);
    EXPECT_EQ(cli_wake(set_, waiting.ticket), -1);
}

TEST_F(Device, ASessionExplainsAndCompletes)
{
    begin_session();
    EXPECT_EQ(type("vlan ?"), "vlan \n  VLAN              number of the VLAN, 1 to 4094\n> vlan ");
    EXPECT_EQ(type("9 ?"), "9 \n  name\n"
                           "  |                 filter the output\n"
                           "  <cr>              make a VLAN\n> vlan 9 ");
    type("\x15");
    EXPECT_EQ(type("ping a size 30 ?"), "ping a size 30 \n"
                                        "  count             how many requests\n"
                                        "  quiet             the summary alone\n"
                                        "  |                 filter the output\n"
                                        "  <cr>              ask a host\n> ping a size 30 ");
    EXPECT_EQ(type("co\t3\t"), "\acount 3");
    EXPECT_NE(type("\r").find("yes HOST=a COUNT=3 BYTES=30 quiet=\n"), std::string::npos);
    EXPECT_EQ(type("show interfaces et\t"), "show interfaces eth");
    EXPECT_NE(type("?").find("  eth0              of this machine\n"
                             "  eth1              of this machine\n"),
              std::string::npos);
    EXPECT_EQ(listed_after, "eth"); // what is begun is told
    type("\x15");
    EXPECT_EQ(type("alias abcde?"), "alias abcde\n  NAME              an alias\n> alias abcde");
}

TEST_F(Device, ARowEndsTheSessionAndNoBatch)
{
    const cli_command_s row = {"quit", "leave", cli_leave, nullptr, 0, 0, nullptr};
    EXPECT_EQ(cli_set_add(set_, nullptr, nullptr, &row, 1), 0);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    EXPECT_EQ(cli_shell_run(batch_, "quit"), CLI_DONE);
    EXPECT_EQ(run("vlan 7"), "yes VLAN=7 name= NAME=\n");
    begin_session();
    EXPECT_FALSE(is_closed_);
    type("quit\rvlan 7\r");
    EXPECT_TRUE(is_closed_);
    EXPECT_EQ(sent_.find("yes"), sent_.npos);
}

TEST_F(Device, ALongOutputIsPagedAndEnds)
{
    begin_session(false);
    EXPECT_EQ(type("show numbers 1000\r"),
              "show numbers 1000\n1\n2\n3\n4\n5\n6\n7\n8\n9\n--More--");
    EXPECT_EQ(cli_shell_run(shell_, "vlan 7"), CLI_FAILED);
    EXPECT_NE(type("q").find("> "), std::string::npos);
    EXPECT_NE(type("vlan 7\r").find("yes VLAN=7"), std::string::npos);
}

TEST_F(Device, ALateAnswerKeepsWhatIsTypedMeanwhile)
{
    begin_session();
    EXPECT_EQ(type("wait router7\rvlan 7\r").find("VLAN="), std::string::npos);
    EXPECT_EQ(cli_wake(set_, waiting.ticket), 0);
    const std::string sent = type("");
    const size_t answered = sent.find("router7 has answered\n");
    ASSERT_NE(answered, std::string::npos);
    EXPECT_NE(sent.find("yes VLAN=7", answered), std::string::npos);
    EXPECT_EQ(cli_wake(set_, waiting.ticket), -1);
}

TEST_F(Device, AnInterruptAndAFreeCancel)
{
    begin_session();
    type("wait router7\r");
    EXPECT_NE(type("\x03").find("> "), std::string::npos);
    EXPECT_EQ(waiting.cancelled, 1);
    waiting.calls = 0;
    type("wait router7\r");
    cli_shell_free(shell_);
    shell_ = nullptr;
    EXPECT_EQ(waiting.cancelled, 2);
    EXPECT_EQ(waiting.states_released, 2);
    EXPECT_TRUE(is_closed_);
    EXPECT_EQ(sent_.find("nobody"), std::string::npos);
}

TEST_F(Device, SecretsAreNotRemembered)
{
    begin_session();
    type("vlan 7\ruser bob password hunter2\ruser bob password hunter2 more\rforget me\r");
    type("user bob password hunter3?\x15");
    type("vlan 8 bad\r");
    EXPECT_EQ(history(), (std::vector<std::string>{"vlan 7", "vlan 8 bad"}));
    EXPECT_NE(type("run forget it\r").find("yes WORD=it\n"), std::string::npos);
    EXPECT_EQ(history(), (std::vector<std::string>{"vlan 7", "vlan 8 bad", "run forget it"}));
    type("user bob pasword hunter2\rusre bob password hunter2\ruser bob hunter2\r");
    type("user bob 'password hunter2\rhunter2\rvlan 9 bad\ruser bob\r");
    EXPECT_EQ(history(), (std::vector<std::string>{"vlan 7", "vlan 8 bad", "run forget it",
                                                   "vlan 9 bad", "user bob"}));
    type("user bob password \r"); // has none yet
    EXPECT_EQ(history().back(), "user bob password ");
}

// Rows that come and go

struct Plugin {
    int id;
    int released = 0;
};

void note_released(void *ctx)
{
    static_cast<Plugin *>(ctx)->released++;
}

const cli_command_s plugin_rows[] = {
    {"plug wait HOST", "waits", wait_for_it, nullptr, 0, 0, nullptr},
    {"plug in", "plugged in", show_call, nullptr, 0, 0, const_cast<char *>("in\0")},
    {"plug", "a plug-in's", nullptr, nullptr, 0, 0, nullptr},
};

TEST_F(Device, ARemovedOwnerIsReleasedWhenNothingUsesIt)
{
    begin_session();
    Plugin plugin = {};
    EXPECT_EQ(cli_set_remove(set_, &plugin, note_released, &plugin), -1);
    EXPECT_EQ(cli_set_add(set_, &plugin, nullptr, plugin_rows, std::size(plugin_rows)), 0);
    EXPECT_NE(run("plug in").find("unknown word"), std::string::npos);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    EXPECT_EQ(run("plug in"), "yes in=given\n");
    type("plug wait router7\r");
    EXPECT_EQ(cli_set_remove(set_, &plugin, note_released, &plugin), 0);
    EXPECT_EQ(plugin.released, 1);
    EXPECT_EQ(waiting.cancelled, 1);
    EXPECT_NE(type("plug in\r").find("unknown word"), std::string::npos);
    EXPECT_EQ(cli_wake(set_, waiting.ticket), -1);
}

int32_t unplug(cli_call_s *call, void *user)
{
    auto *plugin = static_cast<Plugin *>(user);
    if (cli_is_cancelled(call))
        return CLI_FAILED;
    EXPECT_EQ(cli_set_remove(static_cast<cli_set_s *>(cli_shell_user(cli_call_shell(call))), plugin,
                             note_released, plugin),
              0);
    EXPECT_EQ(plugin->released, 0); // this very call still uses it
    cli_print(call, "%s\n", cli_text(call, "NAME"));
    return CLI_LATER;
}

TEST_F(Device, AnOwnerMayRemoveItselfInItsOwnCall)
{
    Plugin plugin = {};
    const cli_command_s row = {"unplug NAME", "go", unplug, nullptr, 0, 0, &plugin};
    EXPECT_EQ(cli_set_add(set_, &plugin, nullptr, &row, 1), 0);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    tsession_config_s terminal = TSESSION_CONFIG_INIT;
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set_;
    config.user = set_;
    config.session = &terminal;
    for (const auto *session : {config.session, static_cast<const tsession_config_s *>(nullptr)}) {
        plugin.released = 0;
        config.session = session;
        cli_shell_s *shell = cli_shell_create(&config);
        EXPECT_EQ(cli_shell_run(shell, "unplug me"), CLI_FAILED);
        EXPECT_EQ(plugin.released, 1);
        cli_shell_free(shell);
        EXPECT_EQ(cli_set_add(set_, &plugin, nullptr, &row, 1), 0);
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    }
}

TEST_F(Device, WhatCannotBeBuiltChangesNothing)
{
    const cli_command_s wrong[] = {
        {"vlan OTHER(5-6)", "overlaps", show_call, nullptr, 0, 0, nullptr},
        {"open [", "open", show_call, nullptr, 0, 0, nullptr},
    };
    Plugin plugin = {};
    EXPECT_EQ(cli_set_add(set_, &plugin, nullptr, wrong, std::size(wrong)), 0);
    std::string findings;
    EXPECT_EQ(cli_set_build(set_, tell, &findings), 2);
    EXPECT_NE(findings.find("error 5 vlan OTHER(5-6): two types here take the same words\n"
                            "error 6 open [: an alternative is empty\n"),
              std::string::npos)
        << findings;
    EXPECT_EQ(run("vlan 7"), "yes VLAN=7 name= NAME=\n");
    EXPECT_EQ(cli_set_remove(set_, nullptr, nullptr, nullptr), -1); // the wrong rows stay
    EXPECT_EQ(cli_set_remove(set_, &plugin, note_released, &plugin), 0);
    EXPECT_EQ(plugin.released, 1);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
}

TEST(Commands, ASetWithoutRowsKnowsNoWord)
{
    cli_set_s *set = cli_set_create();
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    EXPECT_EQ(cli_shell_create(&config), nullptr); // no set
    config.set = set;
    cli_shell_s *shell = cli_shell_create(&config);
    EXPECT_EQ(cli_shell_run(shell, "word"), CLI_FAILED);
    EXPECT_EQ(cli_set_build(set, nullptr, nullptr), 0);
    EXPECT_EQ(cli_shell_check(shell, "word", nullptr), CLI_ASSIST_UNKNOWN);
    EXPECT_ASSERTION(cli_set_free(set), "!set->shells", "commands_set");
    cli_shell_free(shell);
    cli_set_free(set);
    cli_set_free(nullptr);
    cli_shell_free(nullptr);
}

TEST(Commands, WithoutMemoryNothingIsLeftBehind)
{
    for (const bool has_session : {false, true}) {
        const int failures = varno_test::fail_each_allocation([&](const auto &fail_from_here) {
            waiting = {};
            const tsession_config_s terminal = TSESSION_CONFIG_INIT;
            bool is_done = false;
            Plugin plugin = {};
            fail_from_here();
            cli_set_s *set = cli_set_create();
            cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
            config.set = set;
            config.session = has_session ? &terminal : nullptr;
            if (set && cli_set_add_type(set, &plugin, &types[0]) == 0 &&
                cli_set_add(set, &plugin, nullptr, plugin_rows, std::size(plugin_rows)) == 0 &&
                cli_set_build(set, nullptr, nullptr) == 0) {
                cli_shell_s *shell = cli_shell_create(&config);
                is_done = shell && cli_shell_run(shell, "plug in") == CLI_DONE &&
                          cli_shell_run(shell, "plug wait router7") == CLI_LATER &&
                          cli_set_remove(set, &plugin, note_released, &plugin) == 0 &&
                          plugin.released == 1;
                cli_shell_free(shell);
                EXPECT_EQ(waiting.cancelled, waiting.calls); // whoever had begun was ended
            }
            cli_set_free(set);
            return is_done;
        });
        EXPECT_GT(failures, 30);
    }
}

// A value that is the beginning of a keyword, and a word that two types take.
TEST(Commands, AWholeValueComesFirstOfWhatIsNoWholeKeyword)
{
    const cli_type_s listed = {"listed", "a value", nullptr,
                               [](void *, cli_shell_s *, const char *, cli_assist_value_fn value,
                                  void *ctx) { value(ctx, "br", nullptr); },
                               nullptr};
    const cli_type_s any = {
        "any", "anything",
        [](void *, cli_shell_s *, const char *, const char **) -> int32_t { return 1; }, nullptr,
        nullptr};
    const char *names = "VALUE\0OTHER\0";
    const cli_command_s both[] = {
        {"show <brief|VALUE(listed)>", "help", show_call, nullptr, 0, 0,
         const_cast<char *>("brief\0VALUE\0")},
        {"set <VALUE(listed)|OTHER(any)>", "help", show_call, nullptr, 0, 0,
         const_cast<char *>(names)},
    };
    cli_set_s *set = cli_set_create();
    cli_set_add_type(set, nullptr, &listed);
    cli_set_add_type(set, nullptr, &any);
    cli_set_add(set, nullptr, nullptr, both, std::size(both));
    EXPECT_EQ(cli_set_build(set, nullptr, nullptr), 0);
    std::string written;
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set;
    config.user = &written;
    config.output = [](void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(user)->append(bytes, count);
    };
    cli_shell_s *shell = cli_shell_create(&config);
    for (const char *line : {"show br", "show bri", "set br", "set bri"})
        cli_shell_run(shell, line);
    EXPECT_EQ(written, "yes brief= VALUE=br\n"
                       "yes brief=given VALUE=\n"
                       "yes VALUE=br OTHER=\n"
                       "yes VALUE= OTHER=bri\n");
    cli_shell_free(shell);
    cli_set_free(set);
}

// Tickets that come late, twice and for the dead; shells and owners that come and go.
TEST(Commands, RandomEventsWakeNobodyElse)
{
    struct Guest {
        cli_shell_s *shell;
        uint64_t ticket; // of the call that waits; 0: none does
    };
    static int answered;
    const cli_command_s row = {"wait",
                               "waits",
                               [](cli_call_s *call, void *) -> int32_t {
                                   auto *guest =
                                       static_cast<Guest *>(cli_shell_user(cli_call_shell(call)));
                                   if (cli_is_cancelled(call)) {
                                       guest->ticket = 0;
                                       return CLI_FAILED;
                                   }
                                   if (guest->ticket == 0) {
                                       guest->ticket = cli_ticket(call);
                                       return CLI_LATER;
                                   }
                                   EXPECT_EQ(guest->ticket, cli_ticket(call));
                                   guest->ticket = 0;
                                   answered++;
                                   return CLI_DONE;
                               },
                               nullptr,
                               0,
                               0,
                               nullptr};
    const size_t before = tracked_outstanding(nullptr);
    const tsession_config_s terminal = TSESSION_CONFIG_INIT;
    cli_set_s *set = cli_set_create();
    std::vector<std::unique_ptr<Guest>> guests;
    std::vector<uint64_t> tickets = {0};
    std::set<uint64_t> used;
    std::mt19937 random(7);
    int released = 0;
    int removed = 0;
    int woken = 0;
    answered = 0;
    const int owner = 0;
    cli_set_add(set, &owner, nullptr, &row, 1);
    cli_set_build(set, nullptr, nullptr);
    const int events = 20000 * varno_test::long_tests_factor();
    for (int i = 0; i < events; i++) {
        const unsigned what = random() % 16;
        Guest *guest = guests.empty() ? nullptr : guests[random() % guests.size()].get();
        if (what == 0 && guests.size() < 20) {
            guests.push_back(std::make_unique<Guest>());
            cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
            config.set = set;
            config.session = random() % 2 ? &terminal : nullptr;
            config.user = guests.back().get();
            guests.back()->shell = cli_shell_create(&config);
        } else if (what == 1 && guest) {
            cli_shell_free(guest->shell);
            std::erase_if(guests, [guest](const auto &one) { return one.get() == guest; });
        } else if (what == 2) {
            EXPECT_EQ(cli_set_remove(
                          set, &owner, [](void *ctx) { ++*static_cast<int *>(ctx); }, &released),
                      0);
            EXPECT_EQ(released, ++removed);
            for (const auto &one : guests)
                EXPECT_EQ(one->ticket, 0U);
            cli_set_add(set, &owner, nullptr, &row, 1);
            EXPECT_EQ(cli_set_build(set, nullptr, nullptr), 0);
        } else if (what < 8 && guest) {
            const bool was_waiting = guest->ticket != 0;
            const int32_t result = cli_shell_run(guest->shell, "wait");
            EXPECT_TRUE(was_waiting || result == CLI_LATER || cli_shell_session(guest->shell));
            if (guest->ticket != 0 && !was_waiting) {
                EXPECT_TRUE(used.insert(guest->ticket).second) << "a ticket that was another's";
                tickets.push_back(guest->ticket);
            }
        } else {
            const size_t of = what < 12 ? std::min<size_t>(tickets.size(), 10) : tickets.size();
            const uint64_t ticket = tickets[tickets.size() - 1 - random() % of];
            Guest *waits = nullptr;
            for (const auto &one : guests)
                waits = ticket != 0 && one->ticket == ticket ? one.get() : waits;
            EXPECT_EQ(cli_wake(set, ticket), waits ? 0 : -1);
            const int before_it = answered;
            for (const auto &one : guests) {
                tsession_s *session = cli_shell_session(one->shell);
                if (!session)
                    cli_shell_resume(one->shell);
                while (session && tsession_wait(session) == 0)
                    tsession_time_out(session);
            }
            EXPECT_EQ(answered - before_it, waits ? 1 : 0);
            woken += waits != nullptr;
        }
    }
    EXPECT_GT(woken, events / 200);
    EXPECT_GT(removed, events / 50);
    for (const auto &guest : guests)
        cli_shell_free(guest->shell);
    cli_set_free(set);
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

} // namespace
