// What makers of devices do without thinking: exceptions, frees, removals and builds in each
// callback, formats and tables that are wrong, types that list anything.

#include "support/assertion.h"
#include "support/command_shells.h"

#include <varno/commands.h>
#include <varno/platform_default.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Act = std::function<int32_t(cli_call_s *)>;

int32_t run_act(cli_call_s *call, void *user)
{
    return (*static_cast<Act *>(user))(call);
}

[[noreturn]] void fail_hard(const char *where = "careless")
{
    throw std::runtime_error(where);
}

struct Plugin {
    int released = 0;
};

void note_released(void *ctx)
{
    static_cast<Plugin *>(ctx)->released++;
}

// A set whose commands "act" and "other" do what the test says; "other" is a plug-in's.
class Careless : public varno_test::CommandShells {
  protected:
    Careless()
    {
        EXPECT_EQ(cli_set_add(set_, nullptr, nullptr, rows_, std::size(rows_)), 0);
        EXPECT_EQ(cli_set_add(set_, &plugin_, nullptr, &other_row_, 1), 0);
    }

    void build() { EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0); }

    void begin()
    {
        build();
        make_batch(shell_config());
        make_session(shell_config());
    }

    Plugin plugin_;
    Act act_ = [](cli_call_s *) { return CLI_DONE; };
    Act other_ = [](cli_call_s *) { return CLI_DONE; };

  private:
    const cli_command_s rows_[2] = {
        {"act [WORD]", "as the test says", run_act, nullptr, 0, 0, &act_},
        {"act WORD", "any word", nullptr, nullptr, 0, 0, nullptr},
    };
    const cli_command_s other_row_ = {"other", "another's", run_act, nullptr, 0, 0, &other_};
};

// Exceptions

TEST_F(Careless, AFindingThatThrowsLeavesTheSetAsItWas)
{
    const cli_command_s doubtful = {"wordless PLACE", nullptr, run_act, nullptr, 0, 0, &act_};
    cli_set_add(set_, nullptr, nullptr, &doubtful, 1);
    EXPECT_THROW(cli_set_build(
                     set_, [](void *, const cli_finding_s *) { fail_hard(); }, nullptr),
                 std::runtime_error);
    begin();
    EXPECT_EQ(run("act"), "");
}

TEST_F(Careless, AStateWhoseReleaseThrowsIsFreedAllTheSame)
{
    act_ = [](cli_call_s *call) {
        cli_state(call, 64, [](void *) { fail_hard(); });
        cli_columns(call, std::begin(std::initializer_list<cli_column_s>{{"a", 1, 0}}), 1);
        return CLI_LATER;
    };
    begin();
    EXPECT_EQ(cli_shell_run(batch_, "act | count"), CLI_LATER);
    EXPECT_THROW(cli_shell_free(batch_), std::runtime_error);
    batch_ = nullptr;
    act_ = [](cli_call_s *call) {
        cli_state(call, 64, [](void *) { fail_hard(); });
        return CLI_DONE;
    };
    EXPECT_THROW(type("act\r"), std::runtime_error);
    EXPECT_TRUE(tsession_is_closed(session_));
}

TEST_F(Careless, WhoThrowsWhenItIsReleasedLeavesNothing)
{
    begin();
    EXPECT_THROW(cli_set_remove(
                     set_, &plugin_, [](void *) { fail_hard(); }, nullptr),
                 std::runtime_error);
    EXPECT_NE(run("other").find("unknown word"), std::string::npos);
}

// A place for files whose functions do what the test says.
struct Files {
    std::function<void *(Files *)> begin = [](Files *files) { return files; };
    std::function<int32_t()> write = [] { return 0; };
    std::function<int32_t(bool)> end = [](bool) { return 0; };

    cli_save_s save = {this,
                       [](cli_shell_s *, void *user, const char *, int32_t, const char **) {
                           return static_cast<Files *>(user)->begin(static_cast<Files *>(user));
                       },
                       [](void *file, const char *, size_t, const char **) {
                           return static_cast<Files *>(file)->write();
                       },
                       [](void *file, int32_t is_whole, const char **) {
                           return static_cast<Files *>(file)->end(is_whole != 0);
                       }};
};

TEST_F(Careless, FilesThatThrowLeaveNothing)
{
    Files files;
    act_ = [](cli_call_s *call) {
        cli_print(call, "a row\n");
        return CLI_DONE;
    };
    build();
    cli_shell_config_s config = shell_config();
    config.save = &files.save;
    make_batch(config);
    files.begin = [](Files *) -> void * { fail_hard(); };
    EXPECT_THROW(run("act | include a | save x"), std::runtime_error);
    files.begin = [](Files *one) { return one; };
    files.write = []() -> int32_t { fail_hard(); };
    EXPECT_THROW(run("act | include a | save x"), std::runtime_error);
    files.write = [] { return 0; };
    files.end = [](bool) -> int32_t { fail_hard(); };
    EXPECT_THROW(run("act | include a | save x"), std::runtime_error);
    act_ = [](cli_call_s *call) {
        cli_print(call, "a row\n");
        fail_hard();
        return CLI_DONE;
    };
    EXPECT_THROW(run("act | include a | save x"), std::runtime_error);
}

TEST_F(Careless, WhoThrowsWhenItIsCancelledIsReleasedAndNoOtherWaits)
{
    std::vector<const cli_shell_s *> cancelled;
    other_ = [&](cli_call_s *call) {
        if (!cli_is_cancelled(call))
            return CLI_LATER;
        cancelled.push_back(cli_call_shell(call));
        fail_hard();
        return CLI_FAILED;
    };
    begin();
    cli_shell_run(batch_, "other");
    type("other\r");
    EXPECT_THROW(cli_set_remove(set_, &plugin_, note_released, &plugin_), std::runtime_error);
    EXPECT_EQ(cancelled.size(), 2U);
    EXPECT_EQ(plugin_.released, 1);
    EXPECT_TRUE(tsession_is_closed(session_));
}

TEST_F(Careless, AFaultOfWhoIsCancelledEndsItsSessionAlone)
{
    assert_set_handler(tsession_assertion_handler, nullptr);
    other_ = [&](cli_call_s *call) {
        if (!cli_is_cancelled(call))
            return CLI_LATER;
        cli_text(call, "MISSPELT");
        return CLI_FAILED;
    };
    begin();
    type("other\r");
    EXPECT_EQ(cli_set_remove(set_, &plugin_, note_released, &plugin_), 0);
    assert_set_handler(nullptr, nullptr);
    EXPECT_EQ(plugin_.released, 1);
    EXPECT_TRUE(tsession_is_closed(session_));
}

TEST_F(Careless, ATypeThatThrowsIsAskedAgain)
{
    static bool throws;
    const cli_type_s thrower = {
        "thrower", "a thrower",
        [](void *, cli_shell_s *, const char *, const char **) -> int32_t {
            return throws ? (fail_hard(), 0) : 1;
        },
        [](void *, cli_shell_s *, const char *, cli_assist_value_fn value, void *ctx) {
            if (throws)
                fail_hard();
            value(ctx, "one", nullptr);
        },
        nullptr};
    const cli_command_s row = {"take NAME(thrower)", "one", run_act, nullptr, 0, 0, &act_};
    cli_set_add_type(set_, nullptr, &thrower);
    cli_set_add(set_, nullptr, nullptr, &row, 1);
    begin();
    throws = true;
    EXPECT_THROW(run("take one"), std::runtime_error);
    EXPECT_THROW(cli_shell_check(batch_, "take one", nullptr), std::runtime_error);
    EXPECT_THROW(type("take ?"), std::runtime_error);
    EXPECT_TRUE(tsession_is_closed(session_));
    const auto drop = [](void *, const char *, size_t) {};
    EXPECT_THROW(cli_set_describe(set_, 15, "walk", 1, drop, nullptr), std::runtime_error);
    throws = false;
    EXPECT_EQ(cli_shell_run(batch_, "take one"), CLI_DONE);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
}

TEST_F(Careless, OutputThatThrowsEndsTheCall)
{
    int released = 0;
    static int *counted;
    counted = &released;
    act_ = [](cli_call_s *call) {
        cli_state(call, 1, [](void *) { ++*counted; });
        cli_print(call, "a row\n");
        return CLI_MORE;
    };
    build();
    cli_shell_config_s config = shell_config();
    config.output = [](void *, const char *, size_t) { fail_hard(); };
    cli_shell_s *shell = cli_shell_create(&config);
    EXPECT_THROW(cli_shell_run(shell, "act"), std::runtime_error);
    EXPECT_THROW(cli_shell_run(shell, "act | include a"), std::runtime_error);
    EXPECT_THROW(cli_shell_run(shell, "unknown"), std::runtime_error);
    cli_shell_free(shell);
    EXPECT_EQ(released, 2);
}

TEST_F(Careless, ACommandMayHaveABatchOfItsOwnAndFreeAnother)
{
    bool is_cancelled = false;
    other_ = [&](cli_call_s *call) {
        is_cancelled = cli_is_cancelled(call) != 0;
        return CLI_LATER;
    };
    act_ = [&](cli_call_s *) {
        const cli_shell_config_s config = shell_config();
        cli_shell_s *own = cli_shell_create(&config);
        EXPECT_EQ(cli_shell_run(own, "other"), CLI_LATER);
        cli_shell_free(own);
        EXPECT_TRUE(is_cancelled);
        cli_shell_free(std::exchange(batch_, nullptr)); // whose call waits
        return CLI_DONE;
    };
    begin();
    EXPECT_EQ(cli_shell_run(batch_, "other"), CLI_LATER);
    EXPECT_NE(type("act\r").find("> "), std::string::npos);
    EXPECT_EQ(batch_, nullptr);
}

// Frees

TEST_F(Careless, AShellIsFreedByTheCallThatARemovalCancels)
{
    other_ = [&](cli_call_s *call) {
        if (!cli_is_cancelled(call))
            return CLI_LATER;
        (cli_call_shell(call) == batch_ ? batch_ : shell_) = nullptr;
        cli_shell_free(cli_call_shell(call));
        EXPECT_EQ(cli_has(call, "other"), 1); // still good
        return CLI_FAILED;
    };
    begin();
    cli_shell_run(batch_, "other");
    type("other\r");
    EXPECT_EQ(cli_set_remove(set_, &plugin_, note_released, &plugin_), 0);
    EXPECT_EQ(plugin_.released, 1);
    EXPECT_EQ(batch_, nullptr);
    EXPECT_EQ(shell_, nullptr);
}

TEST_F(Careless, ABatchThatIsFreedByItsOwnCallCancelsIt)
{
    int calls = 0;
    bool is_cancelled = false;
    act_ = [&](cli_call_s *call) {
        is_cancelled = cli_is_cancelled(call) != 0;
        if (calls++ == 0)
            cli_shell_free(cli_call_shell(call));
        return CLI_MORE;
    };
    build();
    make_batch(shell_config());
    EXPECT_EQ(cli_shell_run(batch_, "act"), CLI_FAILED);
    batch_ = nullptr;
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(is_cancelled);
}

// Hosts that free a shell, build or name the host where a prompt of it is sent.
class AtThePrompt : public Careless {
  protected:
    void begin_three()
    {
        build();
        tsession_config_s terminal = TSESSION_CONFIG_INIT;
        terminal.user = this;
        terminal.output = [](tsession_s *, void *user, const char *, size_t) {
            auto *test = static_cast<AtThePrompt *>(user);
            if (const auto act = std::exchange(test->on_output_, {}))
                act();
        };
        cli_shell_config_s config = shell_config();
        config.session = &terminal;
        for (cli_shell_s *&shell : shells_) {
            shell = cli_shell_create(&config);
            tsession_start(cli_shell_session(shell));
        }
    }

    void TearDown() override
    {
        for (cli_shell_s *shell : shells_)
            cli_shell_free(shell);
        CommandShells::TearDown();
    }

    const cli_mode_s mode_ = {"first", nullptr, "%h$ ", 0, nullptr, nullptr};
    cli_shell_s *shells_[3] = {};
    std::function<void()> on_output_;
};

TEST_F(AtThePrompt, AnyShellMayBeFreed)
{
    cli_set_add_mode(set_, nullptr, &mode_);
    begin_three();
    for (const size_t i : {size_t{1}, size_t{0}, size_t{2}}) {
        on_output_ = [this, i] { cli_shell_free(std::exchange(shells_[i], nullptr)); };
        EXPECT_EQ(cli_set_host(set_, ("r" + std::to_string(i)).c_str()), 0);
        EXPECT_EQ(shells_[i], nullptr);
    }
}

TEST_F(AtThePrompt, AllShellsMayBeFreedWhileTheSetIsBuilt)
{
    begin_three();
    cli_set_add_mode(set_, nullptr, &mode_);
    on_output_ = [this] {
        for (cli_shell_s *&shell : shells_)
            cli_shell_free(std::exchange(shell, nullptr));
    };
    build();
    EXPECT_EQ(shells_[0], nullptr);
}

TEST_F(AtThePrompt, TheSetMayBeBuiltOnceMore)
{
    begin_three();
    cli_set_add_mode(set_, nullptr, &mode_);
    on_output_ = [this] { EXPECT_EQ(cli_set_remove(set_, &plugin_, note_released, &plugin_), 0); };
    build();
    EXPECT_EQ(plugin_.released, 1);
    for (cli_shell_s *shell : shells_)
        EXPECT_NE(cli_shell_check(shell, "other", nullptr), CLI_ASSIST_OK);
}

TEST_F(AtThePrompt, AnExceptionLeavesAllShellsWithTheNewCommands)
{
    begin_three();
    cli_set_add_mode(set_, nullptr, &mode_);
    on_output_ = [] { fail_hard(); };
    EXPECT_THROW(cli_set_remove(set_, &plugin_, note_released, &plugin_), std::runtime_error);
    EXPECT_EQ(plugin_.released, 1);
    for (cli_shell_s *shell : shells_)
        EXPECT_NE(cli_shell_check(shell, "other", nullptr), CLI_ASSIST_OK);
}

// Removals

TEST_F(Careless, AnOwnerMayBeRemovedWhereItsRowsAreSaved)
{
    Files files;
    other_ = [](cli_call_s *call) {
        cli_print(call, "a row\n");
        return CLI_DONE;
    };
    const auto remove = [this] {
        EXPECT_EQ(cli_set_remove(set_, &plugin_, note_released, &plugin_), 0);
        EXPECT_EQ(plugin_.released, 0); // its call is not over
    };
    const std::function<void()> removals[] = {
        [&] {
            files.begin = [&](Files *one) {
                remove();
                return one;
            };
        },
        [&] {
            files.write = [&, is_first = true]() mutable {
                if (std::exchange(is_first, false))
                    remove();
                return 0;
            };
        },
        [&] {
            files.end = [&](bool) {
                remove();
                return 0;
            };
        },
    };
    build();
    cli_shell_config_s config = shell_config();
    config.save = &files.save;
    const cli_command_s again = {"other", "another's", run_act, nullptr, 0, 0, &other_};
    for (const auto &removal : removals) {
        files = Files();
        config.save = &files.save;
        files.save.user = &files;
        plugin_.released = 0;
        make_batch(config);
        removal();
        EXPECT_EQ(run("other | save x"), "");
        EXPECT_EQ(plugin_.released, 1);
        EXPECT_EQ(cli_set_add(set_, &plugin_, nullptr, &again, 1), 0);
        build();
    }
    make_batch(shell_config());
}

// Answers

TEST_F(Careless, AnAnswerThatThereIsNotIsAFailure)
{
    act_ = [](cli_call_s *) { return 7; };
    begin();
    EXPECT_EQ(cli_shell_run(batch_, "act"), CLI_FAILED);
    EXPECT_EQ(cli_shell_run(shell_, "act"), CLI_FAILED);
    EXPECT_NE(type("act x\r").find("> "), std::string::npos);
}

TEST_F(Careless, WhoWaitsWithoutATicketOrHasEndedIsWokenByNobody)
{
    static uint64_t ticket;
    static cli_set_s *asked;
    ticket = 0;
    asked = set_;
    act_ = [](cli_call_s *call) {
        if (ticket > 0)
            return CLI_DONE;
        ticket = cli_ticket(call);
        cli_state(call, 1, [](void *) { EXPECT_EQ(cli_wake(asked, ticket), -1); });
        return CLI_LATER;
    };
    other_ = [](cli_call_s *) { return CLI_LATER; };
    begin();
    type("other\r");
    EXPECT_EQ(cli_wake(set_, 0), -1);
    EXPECT_EQ(cli_shell_run(batch_, "act"), CLI_LATER);
    EXPECT_EQ(cli_wake(set_, ticket), 0);
    EXPECT_EQ(cli_shell_resume(batch_), CLI_DONE);
    EXPECT_NE(type("\x03").find("> "), std::string::npos);
}

// Modes

class Leveled : public varno_test::CommandShells {
  protected:
    Leveled()
    {
        for (const cli_mode_s &mode : modes_)
            cli_set_add_mode(set_, nullptr, &mode);
        cli_set_add(set_, nullptr, nullptr, &row_, 1);
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    }

    Act act_;
    const cli_mode_s modes_[2] = {
        {"exec", nullptr, nullptr, 0, nullptr, nullptr},
        {"configure", "exec", nullptr, 0, nullptr, nullptr},
    };
    const cli_command_s row_ = {"configure", "change it", run_act, "configure", 15, 0, &act_};
};

TEST_F(Leveled, WhoLosesTheLevelOfAModeOnTheWayThereDoesNotGetThere)
{
    uint64_t ticket = 0;
    act_ = [&](cli_call_s *call) {
        if (ticket > 0)
            return CLI_DONE;
        ticket = cli_ticket(call);
        return CLI_LATER;
    };
    cli_shell_config_s config = shell_config();
    config.level = 15;
    make_batch(config);
    EXPECT_EQ(cli_shell_run(batch_, "configure"), CLI_LATER);
    cli_shell_set_level(batch_, 0);
    EXPECT_EQ(cli_wake(set_, ticket), 0);
    EXPECT_EQ(cli_shell_resume(batch_), CLI_FAILED);
    EXPECT_STREQ(cli_shell_mode(batch_), "exec");
}

TEST_F(Leveled, WhoIsOnTheWayToAModeThatIsRemovedStays)
{
    static const int owner = 0;
    const cli_mode_s mode = {"vlan", "exec", nullptr, 0, nullptr, nullptr};
    const cli_command_s row = {"vlan", "make one", run_act, "vlan", 0, 0, &act_};
    EXPECT_EQ(cli_set_add_mode(set_, &owner, &mode), 0);
    EXPECT_EQ(cli_set_add(set_, &owner, nullptr, &row, 1), 0);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    make_batch(shell_config());
    act_ = [this](cli_call_s *) {
        EXPECT_EQ(cli_set_remove(set_, &owner, nullptr, nullptr), 0);
        return CLI_DONE;
    };
    EXPECT_EQ(run("vlan"), "% the mode is gone\n");
    EXPECT_STREQ(cli_shell_mode(batch_), "exec");
}

TEST_F(Leveled, WhoLooksAtSecretsMayThrowOrFreeTheShell)
{
    static const cli_command_s enable = {
        "enable [LEVEL(0-15)]", "more", cli_enable, nullptr, 0, 0, nullptr};
    EXPECT_EQ(cli_set_add(set_, nullptr, nullptr, &enable, 1), 0);
    EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    cli_shell_config_s config = shell_config();
    config.authenticate = [](cli_shell_s *, void *, int32_t, const char *) -> int32_t {
        fail_hard();
    };
    make_session(config);
    type("enable\r");
    EXPECT_THROW(type("secret\r"), std::runtime_error);
    EXPECT_TRUE(tsession_is_closed(session_));
    EXPECT_EQ(cli_shell_level(shell_), 0);
    for (const int32_t answer : {0, -1, int32_t{CLI_LATER}}) {
        static int32_t result;
        result = answer;
        config.authenticate = [](cli_shell_s *shell, void *, int32_t, const char *) {
            cli_shell_free(shell);
            return result;
        };
        make_session(config);
        type("enable\r");
        tsession_input(session_, "secret\r", 7);
        shell_ = nullptr;
    }
}

// A mode whose configuration is written in several calls, and waits between them.
class Written : public Careless {
  protected:
    Written()
    {
        cli_set_add_mode(set_, nullptr, &mode_);
        cli_set_add_mode(set_, nullptr, &other_mode_);
        cli_set_add(set_, nullptr, nullptr, &show_row_, 1);
        begin();
    }

    Act write_;

  private:
    const cli_mode_s mode_ = {"first", nullptr, nullptr, 0, run_act, &write_};
    const cli_mode_s other_mode_ = {"second", "first", nullptr, 0, run_act, &write_};
    const cli_command_s show_row_ = {"show [SECTION]", "it", cli_show_config, nullptr, 0, 0,
                                     nullptr};
};

TEST_F(Written, AModeMayWaitBetweenItsLines)
{
    uint64_t ticket = 0;
    int states = 0;
    write_ = [&](cli_call_s *call) {
        auto *calls = static_cast<int *>(cli_state(call, sizeof(int), nullptr));
        states += *calls == 0;
        cli_config(call, "line %d", ++*calls);
        ticket = cli_ticket(call);
        return *calls == 1 ? CLI_LATER : *calls == 2 ? CLI_MORE : CLI_DONE;
    };
    EXPECT_EQ(run("show"), "line 1\n");
    EXPECT_EQ(cli_wake(set_, ticket), 0);
    EXPECT_EQ(cli_shell_resume(batch_), CLI_LATER); // of the second mode
    EXPECT_EQ(cli_wake(set_, ticket), 0);
    EXPECT_EQ(cli_shell_resume(batch_), CLI_DONE);
    EXPECT_EQ(written_, "line 1\nline 2\nline 3\nline 1\nline 2\nline 3\n");
    EXPECT_EQ(states, 2);
}

TEST_F(Written, AModeThatFailsOrThrowsEndsTheWhole)
{
    int calls = 0;
    write_ = [&](cli_call_s *call) {
        calls++;
        cli_config(call, "a line");
        return cli_is_cancelled(call) ? CLI_DONE : CLI_FAILED;
    };
    EXPECT_EQ(cli_shell_run(batch_, "show"), CLI_FAILED);
    EXPECT_EQ(calls, 1);
    write_ = [&](cli_call_s *) -> int32_t { fail_hard(); };
    EXPECT_THROW(run("show second | count"), std::runtime_error);
}

TEST_F(Written, WhoIsCancelledHearsOfItOnce)
{
    int cancelled = 0;
    write_ = [&](cli_call_s *call) {
        cancelled += cli_is_cancelled(call);
        return CLI_LATER;
    };
    type("show\r");
    type("\x03");
    EXPECT_EQ(cancelled, 1);
    EXPECT_NE(type("act x\r").find("> "), std::string::npos);
}

// Lines

TEST_F(Careless, ALineOfAnyLengthHearsWhatIsWrongWithIt)
{
    begin();
    EXPECT_EQ(run("act " + std::string(4092, 'x')), "");
    for (const size_t len : {4093U, 5000U, 100000U}) {
        const std::string told = run("act " + std::string(len, 'x'));
        EXPECT_TRUE(told.ends_with("^\n% line too long\n")) << len;
    }
}

// Formats and tables

TEST_F(Careless, AConfigurationsFormatThatIsWrongIsAFaultAndLeavesNothing)
{
    static const char *format;
    act_ = [](cli_call_s *call) {
        void (*const config)(cli_call_s *, const char *, ...) = cli_config;
        config(call, format, "x", "y");
        return CLI_DONE;
    };
    begin();
    for (const char *wrong :
         {"a %5d", "a %ls", "a %lc", "a %f", "a %", "a %n", "a %-c", "a %*d", "a %s %p", "a %hs"}) {
        format = wrong;
        EXPECT_ASSERTION(run("act"), "is_known(one)", "commands_config");
    }
}

TEST_F(Careless, NumbersOfAConfigurationHaveTheirSizes)
{
    act_ = [](cli_call_s *call) {
        cli_config(call, "%hhu %hd %zd %td %ld %llu %jx %zu", static_cast<unsigned char>(200),
                   static_cast<short>(-2), static_cast<ssize_t>(-3), static_cast<ptrdiff_t>(-4),
                   -5L, 18446744073709551615ULL, static_cast<uintmax_t>(255),
                   static_cast<size_t>(7));
        return CLI_DONE;
    };
    begin();
    EXPECT_EQ(run("act"), "200 -2 -3 -4 -5 18446744073709551615 ff 7\n");
}

TEST_F(Careless, ColumnsOfAnyWidthAreATable)
{
    static constexpr cli_column_s columns[] = {
        {"a", INT32_MIN, 0}, {"b", INT32_MAX, CLI_NUMBER}, {"c", -1, CLI_NUMBER}, {"d", 3, 0}};
    act_ = [](cli_call_s *call) {
        cli_columns(call, columns, std::size(columns));
        for (const char *cell : {"1", "2", "3", "4"})
            cli_cell(call, "%s", cell);
        return CLI_DONE;
    };
    begin();
    const std::string table = run("act");
    EXPECT_EQ(table.substr(0, 3), "a  ");
    EXPECT_LT(table.size(), 20000U);
    EXPECT_NE(type("act\r").find("1  "), std::string::npos);
    EXPECT_NE(run("act | json").find(R"({"a": "1", "b": 2, "c": 3, "d": "4"})"), std::string::npos);
}

TEST_F(Careless, ARowThatIsNotFinishedIsShown)
{
    static constexpr cli_column_s columns[] = {{"a", 3, 0}, {"b", 3, 0}};
    act_ = [](cli_call_s *call) {
        cli_columns(call, columns, std::size(columns));
        cli_cell(call, "one");
        return CLI_DONE;
    };
    begin();
    EXPECT_EQ(run("act"), "a    b\none  \n");
    EXPECT_EQ(run("act | json"), "[\n  {\"a\": \"one\", \"b\": \"\"}\n]\n");
}

// Types

// What a type lists may be anything; help, Tab and lines take what can be typed.
class Listed : public varno_test::CommandShells {
  protected:
    Listed()
    {
        cli_set_add_type(set_, nullptr, &type_);
        cli_set_add(set_, nullptr, nullptr, &row_, 1);
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
        make_batch(shell_config());
        make_session(shell_config());
    }

    static void list(void *user, cli_shell_s *, const char *, cli_assist_value_fn value, void *ctx)
    {
        for (const std::optional<std::string> &one : static_cast<Listed *>(user)->values_)
            value(ctx, one ? one->c_str() : nullptr, nullptr);
    }

    std::vector<std::optional<std::string>> values_;

  private:
    const cli_type_s type_ = {"value", "a value", nullptr, list, this};
    const cli_command_s row_ = {"take NAME(value)",
                                "one",
                                [](cli_call_s *call, void *) {
                                    cli_print(call, "<%s>\n", cli_text(call, "NAME"));
                                    return int32_t{CLI_DONE};
                                },
                                nullptr,
                                0,
                                0,
                                nullptr};
};

TEST_F(Listed, ValuesThatAreNoneArePassedOver)
{
    values_ = {std::nullopt, "", "one", std::nullopt};
    EXPECT_EQ(run("take one"), "<one>\n");
    EXPECT_NE(run("take \"\"").find("NAME: a value"), std::string::npos);
    EXPECT_NE(type("take \t").find("take one "), std::string::npos);
}

TEST_F(Listed, AValueThatIsToldTwiceIsNotAmbiguous)
{
    values_ = {"one", "one", "one"};
    EXPECT_EQ(run("take one"), "<one>\n");
    EXPECT_NE(type("take o\t\r").find("<one>"), std::string::npos);
}

TEST_F(Listed, ControlCharactersAreNeitherShownNorTyped)
{
    values_ = {"a\033[2Jb", "a\nb", "a\rexit\r"};
    const std::string help = type("take ?\x15");
    EXPECT_EQ(help.find("\033[2J"), std::string::npos) << help;
    EXPECT_EQ(help.find("a\nb"), std::string::npos) << help;
    values_ = {"a\rtake b\r", "b"};
    EXPECT_EQ(type("take a\t").find("<b>"), std::string::npos);
}

TEST_F(Listed, BlanksAndQuotesAreTypedSoThatTheyAreRead)
{
    values_ = {"a \"b\" 'c' \\d"};
    EXPECT_NE(type("take a\t\r").find("<" + *values_[0] + ">"), std::string::npos);
}

TEST_F(Listed, ThereMayBeThousands)
{
    values_.clear();
    for (int i = 0; i < 10000; i++)
        values_.push_back("value-" + std::to_string(i));
    EXPECT_EQ(run("take value-9999"), "<value-9999>\n");
    EXPECT_NE(run("take value-x").find("NAME: a value"), std::string::npos);
    EXPECT_NE(type("take v\t12\r").find("<value-12>"), std::string::npos);
    EXPECT_NE(type("take ?").find("value-7"), std::string::npos);
}

TEST_F(Listed, AValueThatNoLineHasRoomForIsHarmless)
{
    values_ = {std::string(100000, 'x'), std::string(300, 'y')};
    for (const char *keys : {"take \t\t\x15", "take ?\x15", "take x\t\t\r\x15", "take y\t\r\x15"})
        EXPECT_FALSE(type(keys).empty());
    EXPECT_FALSE(tsession_is_closed(session_));
}

} // namespace
