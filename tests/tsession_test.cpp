// The session's contract that scripts cannot show: lifetimes, memory, faults,
// several sessions on one thread, and random input of every kind.

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "session/session.h"
#include "support/long_tests.h"
#include "support/session_host.h"
#include "support/traces.h"

#include <varno/cli_assist.h>
#include <varno/platform_default.h>
#include <varno/tsession.h>
#include <varno/varno.h>

#include <gtest/gtest.h>

#include <malloc.h>

namespace {

using namespace std::string_view_literals;
using varno_test::SessionHost;
using varno_test::Terminal;
using varno_test::Traces;

tsession_shared_s *shared_for_tests();

tsession_config_s config_of(int transport = TSESSION_PLAIN)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = transport;
    config.terminal_type = "xterm";
    config.columns = 60;
    config.rows = 12;
    config.graph = SessionHost::graph();
    config.shared = shared_for_tests();
    return config;
}

// Sessions of a test share what stays for the process: the decoders and a buffer,
// there before anything is counted.
tsession_shared_s *shared_for_tests()
{
    static tsession_shared_s *shared = nullptr;
    if (!shared) {
        shared = tsession_shared_create();
        SessionHost first(config_of());
        tsession_set_terminal(first.session(), "linux");
    }
    return shared;
}

class Session : public testing::Test {
  protected:
    Session()
    {
        shared_for_tests();
        assert_set_handler(tsession_assertion_handler, nullptr);
    }

    ~Session() override { assert_set_handler(nullptr, nullptr); }
};

using Events = std::vector<std::string>;

TEST_F(Session, AllOutputOfOneCallLeavesInOneCallback)
{
    SessionHost host(config_of());
    EXPECT_EQ(host.take_output_calls(), 1);
    host.input("show version\rhello\x01world");
    EXPECT_EQ(host.take_output_calls(), 2) << "a call runs a line";
    host.input("hello\x01world\x05");
    EXPECT_EQ(host.take_output_calls(), 1);
    tsession_print(host.session(), "news %d\n", 1);
    EXPECT_EQ(host.take_output_calls(), 1);
    host.input("\x1b[1;2Q");
    EXPECT_EQ(host.take_output_calls(), 0) << "nothing to say";
}

TEST_F(Session, OutputBeyondWhatIsGatheredLeavesEarlierAndWhole)
{
    SessionHost host(config_of());
    host.take_sent();
    const std::string much(200000, 'x');
    tsession_write(host.session(), much.data(), much.size());
    const std::string sent = host.take_sent();
    EXPECT_NE(sent.find(much), sent.npos);
    EXPECT_GT(host.take_output_calls(), 1);
}

TEST_F(Session, InputBeforeTheStartAndAfterTheEndIsIgnored)
{
    int calls = 0;
    tsession_config_s config = config_of();
    config.user = &calls;
    config.output = [](tsession_s *, void *user, const char *, size_t) {
        ++*static_cast<int *>(user);
    };
    tsession_s *s = tsession_create(&config);
    tsession_input(s, "show version\r", 13);
    EXPECT_EQ(calls, 0);
    tsession_start(s);
    EXPECT_EQ(calls, 1);
    tsession_close(s);
    calls = 0;
    tsession_input(s, "show version\r", 13);
    tsession_time_out(s);
    tsession_write(s, "x", 1);
    tsession_resize(s, 80, 24);
    tsession_start(s);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(tsession_is_closed(s), 1);
    tsession_free(s);
    tsession_free(nullptr);
}

TEST_F(Session, WithoutCallbacksNothingIsCalled)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.shared = shared_for_tests();
    tsession_s *s = tsession_create(&config);
    tsession_start(s);
    tsession_input(s, "show\r\x03\x04?\t", 9);
    tsession_close(s);
    tsession_free(s);
}

TEST_F(Session, WithoutAGraphTheHostGetsTheLine)
{
    tsession_config_s config = config_of();
    config.graph = nullptr;
    SessionHost host(config);
    host.input("any 'thing?\r");
    EXPECT_EQ(host.take_events(), Events({"line any 'thing?"}));
}

TEST_F(Session, MayBeFreedInItsOwnCallback)
{
    SessionHost host(config_of());
    host.input("free\rshow version\r");
    EXPECT_EQ(host.take_events(), Events({"line free", "over"}));
}

TEST_F(Session, MayBeFreedWhileALongOutputOrAQuestionRuns)
{
    for (const char *line : {"show long\r", "login\rabc", "sure\r"}) {
        const size_t before = tracked_outstanding(nullptr);
        {
            SessionHost host(config_of());
            host.input(line);
        }
        EXPECT_EQ(tracked_outstanding(nullptr), before) << line;
    }
}

TEST_F(Session, AFaultEndsOneSessionAndNoOther)
{
    SessionHost first(config_of());
    SessionHost second(config_of());
    first.input("fault\r");
    const Events events = first.take_events();
    EXPECT_EQ(events, Events({"line fault", "fault p && m (cli_parse", "over"}));
    EXPECT_EQ(tsession_is_closed(first.session()), 1);
    second.input("show version\r");
    EXPECT_EQ(second.take_events(), Events({"line show version"}));
}

TEST_F(Session, AFaultMayBeLeftToThePlatform)
{
    tsession_config_s config = config_of();
    config.leave_assertions = 1;
    SessionHost host(config);
    EXPECT_DEATH(host.input("fault\r"), "");
}

TEST_F(Session, AnAssertionOutsideASessionIsThePlatformsAffair)
{
    EXPECT_DEATH(cli_match_by_node(nullptr, nullptr), "");
}

// One session's command writes to another that shares its thread's buffers.
struct Neighbours {
    tsession_s *other;
    std::string sent[2];
};

TEST_F(Session, ACommandMayWriteToAnotherSession)
{
    SessionHost other(config_of());
    tsession_config_s config = config_of();
    config.graph = nullptr;
    Neighbours neighbours = {other.session(), {}};
    config.user = &neighbours;
    config.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
        static_cast<Neighbours *>(user)->sent[0].append(bytes, count);
    };
    config.line = [](tsession_s *s, void *user, const char *line, const cli_pnode_s *,
                     cli_pmatch_s *) {
        tsession_print(s, "before\n");
        tsession_print(static_cast<Neighbours *>(user)->other, "%s\n", line);
        tsession_print(s, "after\n");
    };
    tsession_s *s = tsession_create(&config);
    tsession_start(s);
    neighbours.sent[0].clear();
    other.input("typing");
    tsession_input(s, "hello\r", 6);
    EXPECT_EQ(neighbours.sent[0], "hello\r\nbefore\r\nafter\r\n> ");
    EXPECT_EQ(other.row(), "> typing|");
    EXPECT_EQ(other.terminal().row(0).substr(0, 5), "hello");
    tsession_free(s);
}

// A host whose callbacks do what a test says.
struct Scripted {
    tsession_s *session = nullptr;
    std::function<void(tsession_s *)> line = [](tsession_s *) {};
    std::function<int(tsession_s *, int)> produce = [](tsession_s *, int) { return 0; };
    std::function<void(tsession_s *, const char *)> answer = [](tsession_s *, const char *) {};
    std::function<void(tsession_s *)> output = [](tsession_s *) {};
    std::function<void(tsession_s *, int)> event = [](tsession_s *, int) {};
    std::string sent;

    explicit Scripted(int transport = TSESSION_PLAIN)
    {
        tsession_config_s config = config_of(transport);
        config.graph = nullptr;
        config.user = this;
        config.line = [](tsession_s *s, void *user, const char *, const cli_pnode_s *,
                         cli_pmatch_s *) { static_cast<Scripted *>(user)->line(s); };
        config.output = [](tsession_s *s, void *user, const char *bytes, size_t count) {
            static_cast<Scripted *>(user)->sent.append(bytes, count);
            static_cast<Scripted *>(user)->output(s);
        };
        config.event = [](tsession_s *s, void *user, const tsession_event_s *told) {
            static_cast<Scripted *>(user)->event(s, told->kind);
        };
        session = tsession_create(&config);
        tsession_start(session);
    }

    void input(std::string_view bytes) { tsession_input(session, bytes.data(), bytes.size()); }

    static int call_produce(tsession_s *s, void *user, void *, int is_cancelled)
    {
        return static_cast<Scripted *>(user)->produce(s, is_cancelled);
    }

    static void call_answer(tsession_s *s, void *user, void *, const char *answer)
    {
        static_cast<Scripted *>(user)->answer(s, answer);
    }
};

TEST_F(Session, ALongOutputIsCancelledOnceHoweverItEnds)
{
    const std::function<void(tsession_s *)> ends[] = {
        [](tsession_s *s) { tsession_close(s); },
        [](tsession_s *s) { tsession_free(s); },
        [](tsession_s *s) { tsession_input(s, "q", 1); },
        [](tsession_s *) { cli_match_by_node(nullptr, nullptr); },
    };
    for (const auto &end : ends) {
        for (const bool in_producer : {false, true}) {
            Scripted host;
            bool is_inside = false;
            int cancelled = 0;
            host.produce = [&](tsession_s *s, int is_cancelled) {
                EXPECT_FALSE(is_inside) << "called inside itself";
                is_inside = true;
                cancelled += is_cancelled;
                tsession_write(s, "row\n", 4);
                is_inside = is_inside && &end != &ends[3]; // which does not come back
                if (in_producer && !is_cancelled)
                    end(s);
                is_inside = false;
                return 1;
            };
            host.line = [&](tsession_s *s) {
                EXPECT_EQ(tsession_page(s, Scripted::call_produce, nullptr), 0);
                if (!in_producer)
                    end(s);
            };
            host.input("x\r");
            if (&end != &ends[1])
                tsession_free(host.session);
            EXPECT_EQ(cancelled, 1) << "way " << &end - ends << " in producer " << in_producer;
        }
    }
}

TEST_F(Session, AQuestionIsAnsweredOnceHoweverItEnds)
{
    const std::function<void(tsession_s *)> ends[] = {
        [](tsession_s *s) { tsession_close(s); },
        [](tsession_s *s) { tsession_free(s); },
        [](tsession_s *) { cli_match_by_node(nullptr, nullptr); },
    };
    for (const auto &end : ends) {
        Scripted host;
        int answers = 0;
        host.answer = [&](tsession_s *, const char *answer) {
            EXPECT_EQ(answer, nullptr);
            answers++;
        };
        host.line = [&](tsession_s *s) {
            tsession_ask(s, "? ", 0, Scripted::call_answer, nullptr);
            end(s);
        };
        host.input("x\r");
        if (&end != &ends[1])
            tsession_free(host.session);
        EXPECT_EQ(answers, 1) << "way " << &end - ends;
    }
}

// Its end shows then, beside the end of the answer.
TEST_F(Session, AQuestionWiderThanANewWindowTakesSeveralRows)
{
    Scripted host;
    host.answer = [](tsession_s *, const char *answer) { EXPECT_STREQ(answer, "abcdefghijkl"); };
    host.line = [](tsession_s *s) {
        tsession_ask(s, "Which one of the many names is it to be? ", 0, Scripted::call_answer,
                     nullptr);
    };
    host.input("x\r");
    host.input("abcdefghijkl");
    host.sent.clear();
    tsession_resize(host.session, 20, 24);
    EXPECT_NE(host.sent.find("Which one of the \r\nmany names is it \r\nto be? abcdefghijkl"),
              std::string::npos)
        << host.sent;
    host.input("\r");
    tsession_free(host.session);
}

TEST_F(Session, NothingIsSentOnceItIsFreed)
{
    Scripted host;
    host.sent.clear();
    host.line = [](tsession_s *s) {
        tsession_free(s);
        tsession_print(s, "more\n");
    };
    host.input("x\r\x03\x04y");
    EXPECT_EQ(host.sent, "");
}

TEST_F(Session, AnOutputCallbackMayWriteCloseAndFree)
{
    Scripted host;
    bool has_written = false;
    host.sent.clear();
    host.output = [&](tsession_s *s) {
        if (std::exchange(has_written, true))
            return;
        const std::string more(2000, 'y');
        tsession_write(s, more.data(), more.size());
    };
    const std::string much(65000, 'x');
    tsession_write(host.session, much.data(), much.size());
    EXPECT_EQ(std::count(host.sent.begin(), host.sent.end(), 'x'), 65000);
    EXPECT_EQ(std::count(host.sent.begin(), host.sent.end(), 'y'), 2000);
    host.output = [](tsession_s *s) { tsession_close(s); };
    host.input("a");
    EXPECT_EQ(tsession_is_closed(host.session), 1);
    tsession_free(host.session);
    Scripted freed;
    freed.output = [](tsession_s *s) { tsession_free(s); };
    freed.input("a");
}

TEST_F(Session, AFaultInAnyCallbackEndsItsSession)
{
    const auto fail = [] { cli_match_by_node(nullptr, nullptr); };
    Scripted in_output;
    in_output.output = [&](tsession_s *) { fail(); };
    in_output.input("a");
    EXPECT_EQ(tsession_is_closed(in_output.session), 1);
    Scripted in_event;
    in_event.event = [&](tsession_s *, int kind) {
        if (kind == TSESSION_INTERRUPT)
            fail();
    };
    in_event.input("\x03");
    EXPECT_EQ(tsession_is_closed(in_event.session), 1);
    Scripted outer;
    Scripted inner;
    inner.output = [&](tsession_s *) { fail(); };
    outer.line = [&](tsession_s *) { inner.input("a"); };
    outer.input("x\r");
    EXPECT_EQ(tsession_is_closed(inner.session), 1) << "the session that it happened in";
    EXPECT_EQ(tsession_is_closed(outer.session), 0);
    for (Scripted *host : {&in_output, &in_event, &outer, &inner}) {
        host->output = [](tsession_s *) {};
        tsession_free(host->session);
    }
}

TEST_F(Session, AnExceptionOfACallbackClosesItsSession)
{
    Scripted host;
    host.line = [](tsession_s *) { throw std::string("mine"); };
    EXPECT_THROW(host.input("x\r"), std::string);
    EXPECT_EQ(tsession_is_closed(host.session), 1);
    host.input("y\r");
    tsession_free(host.session);
}

// The history, oldest first.
Events remembered_by(tsession_s *s)
{
    Events lines;
    tsession_history(
        s,
        [](tsession_s *, void *, void *ctx, int32_t, const char *line) {
            static_cast<Events *>(ctx)->push_back(line);
        },
        &lines);
    return lines;
}

TEST_F(Session, AConfigurationThatIsNotKnownIsRefused)
{
    const std::function<void(tsession_config_s &)> changes[] = {
        [](tsession_config_s &config) { config.size = 0; },
        [](tsession_config_s &config) { config.transport = TSESSION_BATCH + 1; },
        [](tsession_config_s &config) { config.columns = -1; },
        [](tsession_config_s &config) { config.history_limit = -2; },
        [](tsession_config_s &config) { config.escape_wait_ms = -1; },
    };
    for (const auto &change : changes) {
        tsession_config_s config = config_of();
        change(config);
        EXPECT_EQ(tsession_create(&config), nullptr) << &change - changes;
    }
    struct Later {
        tsession_config_s config = config_of();
        long unknown = 0;
    } later;
    later.config.size = sizeof(later);
    tsession_s *s = tsession_create(&later.config);
    EXPECT_NE(s, nullptr) << "a member that is not set";
    tsession_free(s);
    later.unknown = 1;
    EXPECT_EQ(tsession_create(&later.config), nullptr);
    tsession_config_s early = config_of();
    early.size = offsetof(tsession_config_s, filter);
    s = tsession_create(&early);
    EXPECT_NE(s, nullptr) << "a program of an earlier version";
    tsession_free(s);
}

TEST_F(Session, ItsEndIsToldOnceAndLast)
{
    const std::function<void(tsession_s *)> ends[] = {
        [](tsession_s *s) { tsession_close(s); },
        [](tsession_s *s) { tsession_free(s); },
        [](tsession_s *) { cli_match_by_node(nullptr, nullptr); },
    };
    for (const auto &end : ends) {
        Scripted host;
        int told = 0;
        bool is_over = false;
        host.event = [&](tsession_s *, int kind) {
            EXPECT_FALSE(is_over);
            is_over = kind == TSESSION_CLOSED;
            told += is_over;
        };
        host.produce = [&](tsession_s *, int) {
            EXPECT_FALSE(is_over);
            return 1;
        };
        host.output = [&](tsession_s *) { EXPECT_FALSE(is_over); };
        host.line = [&](tsession_s *s) {
            tsession_page(s, Scripted::call_produce, nullptr);
            end(s);
        };
        host.input("x\r");
        EXPECT_EQ(told, 1);
        if (&end != &ends[1])
            tsession_free(host.session);
        EXPECT_EQ(told, 1);
    }
}

TEST_F(Session, ALineIsRememberedAfterItsCommandWhichMaySayHow)
{
    Scripted host;
    Events seen;
    host.line = [&](tsession_s *s) {
        seen = remembered_by(s);
        if (seen.size() == 1)
            tsession_history_amend(s, "password ***");
        else if (seen.size() == 2)
            tsession_history_amend(s, nullptr);
    };
    host.input("one\r");
    EXPECT_EQ(seen, Events());
    host.input("password secret\r");
    EXPECT_EQ(remembered_by(host.session), Events({"one", "password ***"}));
    host.input("never\r");
    EXPECT_EQ(remembered_by(host.session), Events({"one", "password ***"}));
    EXPECT_EQ(tsession_history_add(host.session, "added"), 0);
    EXPECT_EQ(tsession_history_add(host.session, std::string(256, 'x').c_str()), -1);
    EXPECT_EQ(tsession_history_amend(host.session, "amended"), 0);
    EXPECT_EQ(remembered_by(host.session), Events({"one", "password ***", "amended"}));
    EXPECT_EQ(tsession_history_amend(host.session, nullptr), 0);
    EXPECT_EQ(remembered_by(host.session), Events({"one", "password ***"}));
    tsession_history_clear(host.session);
    EXPECT_EQ(remembered_by(host.session), Events());
    EXPECT_EQ(tsession_history_amend(host.session, nullptr), -1);
    tsession_history_set_limit(host.session, -1);
    host.input("off\r");
    EXPECT_EQ(remembered_by(host.session), Events());
    tsession_free(host.session);
}

// 160 characters a line on the average, and always the newest.
TEST_F(Session, AHistoryOfLongLinesIsShorter)
{
    Scripted host;
    const auto add = [&](int count, size_t len) {
        for (int i = 0; i < count; i++)
            ASSERT_EQ(
                tsession_history_add(host.session,
                                     (std::to_string(100 + i) + std::string(len - 3, 'x')).c_str()),
                0);
    };
    add(120, 160);
    EXPECT_EQ(remembered_by(host.session).size(), 100U);
    add(120, 250);
    const Events seen = remembered_by(host.session);
    ASSERT_EQ(seen.size(), 64U);
    EXPECT_EQ(seen.front().substr(0, 4), "156x");
    EXPECT_EQ(seen.back().substr(0, 4), "219x");
    host.input("\033[A\033[A\r");
    EXPECT_EQ(remembered_by(host.session).back().substr(0, 4), "218x");
    tsession_history_clear(host.session);
    tsession_history_set_limit(host.session, 1);
    add(3, 255);
    EXPECT_EQ(remembered_by(host.session).size(), 1U);
    tsession_free(host.session);
}

TEST_F(Session, ALineOfTheHostsRunsAsIfTyped)
{
    std::string sent;
    tsession_config_s config = config_of();
    config.user = &sent;
    config.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
        static_cast<std::string *>(user)->append(bytes, count);
    };
    config.line = [](tsession_s *s, void *, const char *line, const cli_pnode_s *, cli_pmatch_s *) {
        tsession_print(s, "ran %s\n", line);
    };
    tsession_s *s = tsession_create(&config); // and never started
    EXPECT_EQ(tsession_run_line(s, "show version"), CLI_ASSIST_OK);
    EXPECT_EQ(tsession_run_line(s, "# a comment"), CLI_ASSIST_OK);
    EXPECT_EQ(std::exchange(sent, {}), "ran show version\r\n");
    EXPECT_EQ(tsession_run_line(s, "nonsense"), CLI_ASSIST_UNKNOWN);
    EXPECT_EQ(std::exchange(sent, {}).find("  nonsense\r\n  ^\r\n% unknown word\r\n"), 0u);
    EXPECT_EQ(tsession_run_line(s, std::string(256, 'x').c_str()), CLI_ASSIST_TOO_LONG);
    EXPECT_EQ(std::exchange(sent, {}), "% line too long, 255 characters at most\r\n");
    tsession_close(s);
    EXPECT_EQ(tsession_run_line(s, "show version"), -1);
    tsession_free(s);
}

TEST_F(Session, ABatchIsTextForFilesAndPrograms)
{
    SessionHost host(config_of(TSESSION_BATCH));
    host.input("show version\r");
    EXPECT_EQ(host.take_sent(), "") << "it has no terminal to start or to read";
    EXPECT_EQ(tsession_run_line(host.session(), "show version"), CLI_ASSIST_OK);
    EXPECT_EQ(host.take_sent(), "version 1\n");
    EXPECT_EQ(tsession_run_line(host.session(), "nonsense"), CLI_ASSIST_UNKNOWN);
    EXPECT_EQ(host.take_sent().find("  nonsense\n  ^\n% unknown word\n"), 0u);

    host.long_rows = 10000;
    EXPECT_EQ(tsession_run_line(host.session(), "show long"), CLI_ASSIST_OK);
    host.work();
    const std::string rows = host.take_sent();
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), host.long_rows);
    EXPECT_EQ(rows.find_first_of("\r\033"), rows.npos);

    EXPECT_EQ(tsession_ask(host.session(), "Name: ", 0, nullptr, nullptr), -1);
    EXPECT_EQ(tsession_ask_key(host.session(), "Sure? ", nullptr, nullptr), -1);
}

TEST_F(Session, ItsTextsCanBeSet)
{
    tsession_texts_s texts = {};
    texts.size = sizeof(texts);
    texts.more = "[more]";
    texts.reasons[CLI_ASSIST_UNKNOWN] = "unbekanntes Wort";
    tsession_config_s config = config_of();
    config.texts = &texts;
    SessionHost host(config);
    host.input("nonsense\r");
    EXPECT_NE(host.take_sent().find("% unbekanntes Wort\r\n"), std::string::npos);
    host.input("show long\r");
    EXPECT_EQ(host.row(), "[more]|");
    texts.size = 1;
    EXPECT_EQ(tsession_create(&config), nullptr);
}

TEST_F(Session, APageFromOutsideAfterAnEarlierOneIsWhole)
{
    SessionHost host(config_of());
    host.input("show long\rq");
    host.take_events();
    host.begin_long();
    EXPECT_EQ(host.row(), "--More--|");
    EXPECT_EQ(host.terminal().row(0).substr(0, 5), "row 1") << "eleven rows";
    host.input("q");
    EXPECT_EQ(host.take_events(), Events({"cancelled after 11"}));
}

TEST_F(Session, TheContextOfAQuestionForAKeyIsHandedBack)
{
    Scripted host;
    int key = 0;
    const tsession_key_fn answer = [](tsession_s *, void *, void *ctx, int got) {
        *static_cast<int *>(ctx) = got;
    };
    EXPECT_EQ(tsession_ask_key(host.session, "Sure? ", answer, &key), 0);
    host.input("y");
    EXPECT_EQ(key, 'y');
    tsession_free(host.session);
}

TEST_F(Session, AFaultWhileAQuestionIsOpenDoesNotAskAgain)
{
    Scripted host;
    tsession_ask(host.session, "Name: ", 0, Scripted::call_answer, nullptr);
    host.sent.clear();
    host.line = [](tsession_s *) { cli_match_by_node(nullptr, nullptr); };
    host.event = [](tsession_s *, int kind) {
        if (kind == TSESSION_END_OF_INPUT)
            cli_match_by_node(nullptr, nullptr);
    };
    host.answer = [](tsession_s *s, const char *answer) {
        if (answer) {
            tsession_ask(s, "Again: ", 0, Scripted::call_answer, nullptr);
            cli_match_by_node(nullptr, nullptr);
        }
    };
    host.input("x\r");
    EXPECT_EQ(host.sent.find("Again: "), std::string::npos) << host.sent;
    EXPECT_EQ(tsession_is_closed(host.session), 1);
    tsession_free(host.session);
}

TEST_F(Session, BracketedPasteIsSwitchedOffOnce)
{
    Scripted host;
    host.sent.clear();
    host.line = [](tsession_s *s) { tsession_close(s); };
    host.input("x\r");
    tsession_free(host.session);
    const size_t at = host.sent.find("\033[?2004l");
    EXPECT_NE(at, std::string::npos);
    EXPECT_EQ(host.sent.find("\033[?2004l", at + 1), std::string::npos);
}

// What the call has gathered is dropped, the row that it would have drawn, too.
TEST_F(Session, ACommandThatThrowsSendsNothing)
{
    Scripted host;
    host.line = [](tsession_s *s) {
        tsession_write(s, "half of it", 10);
        throw std::string("mine");
    };
    host.sent.clear();
    EXPECT_THROW(host.input("x\r"), std::string);
    EXPECT_EQ(host.sent, "");
    tsession_free(host.session);
    EXPECT_EQ(host.sent, "");
}

// SEND again after each name that is not known, until one is.
TEST_F(Session, AClientIsAskedForAnotherTerminalTypeAfterAnUnknownOne)
{
    constexpr auto ask = "\xff\xfa\x18\x01\xff\xf0"sv;
    Scripted host(TSESSION_TELNET);
    host.input("\xff\xfb\x18");
    host.sent.clear();
    host.input("\xff\xfa\x18\0NOBODYS-1\xff\xf0"sv);
    EXPECT_NE(host.sent.find(ask), std::string::npos);
    host.sent.clear();
    host.input("\xff\xfa\x18\0NOBODYS-2\xff\xf0"sv);
    EXPECT_NE(host.sent.find(ask), std::string::npos);
    host.sent.clear();
    host.input("\xff\xfa\x18\0LINUX\xff\xf0"sv);
    EXPECT_EQ(host.sent.find(ask), std::string::npos);
    EXPECT_STREQ(tsession_terminal(host.session), "linux");
    tsession_free(host.session);
}

TEST_F(Session, AnEndlessOutputDoesNotHoldTheCall)
{
    Scripted host;
    tsession_set_paged(host.session, 0);
    long calls = 0;
    host.produce = [&](tsession_s *s, int is_cancelled) {
        calls++;
        tsession_write(s, "tick\n", 5);
        return is_cancelled == 0;
    };
    host.line = [](tsession_s *s) { tsession_page(s, Scripted::call_produce, nullptr); };
    host.input("x\r");
    EXPECT_EQ(tsession_has_more(host.session), 1);
    host.input("y");
    EXPECT_LT(host.sent.size(), 3000000u);
    tsession_free(host.session);
}

struct EventRow {
    int kind;
    std::string_view input;
};

TEST_F(Session, MayBeFreedInAnyEvent)
{
    const EventRow rows[] = {
        {TSESSION_INTERRUPT, "\xff\xf4"},
        {TSESSION_INTERRUPT, "\x03"},
        {TSESSION_END_OF_INPUT, "\x04"},
        {TSESSION_BREAK, "\xff\xf3"},
        {TSESSION_SIZE, "\xff\xfa\x1f\0\x28\0\x0c\xff\xf0"sv},
        {TSESSION_TERMINAL, "\xff\xfa\x18\0linux\xff\xf0"sv},
        {TSESSION_FAULT, "fault\r"},
    };
    for (const EventRow &row : rows) {
        const size_t before = tracked_outstanding(nullptr);
        Scripted host(TSESSION_TELNET);
        int hits = 0;
        host.line = [](tsession_s *) { cli_match_by_node(nullptr, nullptr); };
        host.event = [&](tsession_s *s, int kind) {
            if (kind != row.kind)
                return;
            hits++;
            tsession_free(s);
        };
        host.input(std::string(row.input) + "x" + std::string(row.input));
        EXPECT_EQ(hits, 1) << row.kind;
        EXPECT_EQ(tracked_outstanding(nullptr), before) << row.kind;
    }
}

TEST_F(Session, LongCursorMovesOfOneCallAreDrawnOnce)
{
    SessionHost host(config_of());
    host.input(std::string(50, 'a'));
    host.take_output_calls();
    host.take_sent();
    std::string moves;
    for (int i = 0; i < 2048; i++)
        moves += "\x01\x05";
    host.input(moves + "\x01");
    EXPECT_EQ(host.take_output_calls(), 1);
    EXPECT_EQ(host.take_sent(), std::string(50, '\b'));
}

TEST_F(Session, RefusedLinesLeaveNothingBehind)
{
    tsession_config_s config = config_of();
    config.history_limit = 1;
    SessionHost host(config);
    const auto refuse_all = [&] {
        for (const char *line : {"show frob\r", "s\r", "show\r", "show 'v\r", "width \"\"\r"})
            host.input(line);
    };
    refuse_all();
    const size_t before = tracked_outstanding(nullptr);
    for (int i = 0; i < 100; i++)
        refuse_all();
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

TEST_F(Session, NothingIsWrittenToTheProcesssStandardOutput)
{
    SessionHost host(config_of());
    testing::internal::CaptureStdout();
    host.input("echo x\x0c\x12\x1b"
               "e\x1b\x14\x1b\x18\x15\x1b\x18nobody\x1b\x18'\x1b\x18\r");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

void count_trace(void *ctx, int, int, const char *)
{
    ++*static_cast<int *>(ctx);
}

TEST_F(Session, AFloodOfCommandsIsNotTraced)
{
    ASSERT_EQ(g_varno_trace_module_id == 0 ? varno_trace_init() : 0, 0);
    SessionHost host(config_of(TSESSION_TELNET));
    int traces = 0;
    trace_set_sink(count_trace, &traces);
    trace_set_level(g_varno_trace_module_id, 7);
    std::string flood;
    for (int i = 0; i < 1024; i++)
        flood += "\xff\xf0";
    host.input(flood);
    trace_set_level(g_varno_trace_module_id, 6);
    trace_set_sink(nullptr, nullptr);
    EXPECT_EQ(traces, 0);
}

TEST_F(Session, AnEndlessOutputTakesNoMoreForManyKeysThanForOne)
{
    Scripted host;
    tsession_set_paged(host.session, 0);
    host.produce = [](tsession_s *s, int is_cancelled) {
        tsession_write(s, "tick\n", 5);
        return is_cancelled == 0;
    };
    host.line = [](tsession_s *s) { tsession_page(s, Scripted::call_produce, nullptr); };
    host.input("x\r");
    host.sent.clear();
    host.input(std::string(100, 'y'));
    EXPECT_LT(host.sent.size(), 3000000u);
    tsession_free(host.session);
}

TEST_F(Session, AnOutputWithoutMemoryOrRowsPauses)
{
    Scripted host;
    int calls = 0;
    host.produce = [&](tsession_s *s, int) {
        if (++calls % 2 == 0)
            tsession_write(s, "tick\n", 5);
        return 1;
    };
    host.line = [](tsession_s *s) { tsession_page(s, Scripted::call_produce, nullptr); };
    tracked_fail_after(1);
    host.input("x\r");
    tracked_fail_after(-1);
    EXPECT_LT(calls, 10);
    tsession_free(host.session);
}

TEST_F(Session, APauseInTheMiddleOfARowDoesNotBreakIt)
{
    Scripted host;
    int calls = 0;
    host.produce = [&](tsession_s *s, int) {
        const char *parts[] = {"half", "", " and half\n"};
        const char *part = parts[std::min(calls++, 2)];
        tsession_write(s, part, std::strlen(part));
        return calls < 3;
    };
    host.line = [](tsession_s *s) { tsession_page(s, Scripted::call_produce, nullptr); };
    host.input("x\r");
    while (tsession_wait(host.session) == 0)
        tsession_time_out(host.session);
    EXPECT_NE(host.sent.find("half and half\r\n"), std::string::npos);
    tsession_free(host.session);
}

TEST_F(Session, AFaultInTheFaultEventEndsTheSessionAllTheSame)
{
    Scripted host;
    const auto fail = [] { cli_match_by_node(nullptr, nullptr); };
    host.line = [&](tsession_s *) { fail(); };
    host.event = [&](tsession_s *, int) { fail(); };
    host.input("x\r");
    EXPECT_EQ(tsession_is_closed(host.session), 1);
    tsession_free(host.session);
}

TEST_F(Session, TelnetsEscapeIsNotTornApart)
{
    Scripted host(TSESSION_TELNET);
    for (size_t len = 65520; len < 65545; len++) {
        bool has_written = false;
        host.sent.clear();
        host.output = [&](tsession_s *s) {
            if (!std::exchange(has_written, true))
                tsession_write(s, "hello", 5);
        };
        const std::string text = std::string(len, 'x') + "\xff";
        tsession_write(host.session, text.data(), text.size());
        EXPECT_NE(host.sent.find("\xff\xff"), std::string::npos) << len;
        host.output = [](tsession_s *) {};
    }
    tsession_free(host.session);
}

TEST_F(Session, ACallShowsOneList)
{
    SessionHost host(config_of());
    host.take_sent();
    host.hand_over(std::string(4096, '?'));
    EXPECT_LT(host.take_sent().size(), 1000u);
    host.work();
    for (int i = 0; i < 2048; i++)
        host.input("s\r");
    EXPECT_EQ(tsession_is_closed(host.session()), 0);
}

TEST_F(Session, HistoryMayBeAskedForByACallThatEndsTheSession)
{
    Scripted host;
    host.input("one\rtwo\r");
    tsession_history(
        host.session,
        [](tsession_s *s, void *, void *, int32_t, const char *) { tsession_free(s); }, nullptr);
}

TEST_F(Session, TabsAndControlSequencesArePagedByTheColumnsTheyTake)
{
    Scripted host;
    int rows = 0;
    host.produce = [&](tsession_s *s, int) {
        tsession_print(s, rows++ % 2 ? "\033[1;31mred\033[0m%060d\n" : "\t\t\t\t\t\t\t\t12%d\n", 0);
        return 1;
    };
    host.line = [](tsession_s *s) { tsession_page(s, Scripted::call_produce, nullptr); };
    host.input("x\r");
    EXPECT_EQ(rows, 6) << "each takes two of eleven rows";
    tsession_free(host.session);
}

// A tab goes to the next stop, and from the last column nowhere: each takes one row.
TEST_F(Session, ATabTakesTheColumnsUpToItsStop)
{
    Scripted host;
    int rows = 0;
    host.produce = [&](tsession_s *s, int) {
        constexpr std::string_view stops = "1234567\t1234567\t1234567\t1234567\t1234567\t"
                                           "1234567\t1234567\tabc\n";
        constexpr std::string_view tabs = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\tx\n";
        const std::string_view row = rows++ % 2 ? stops : tabs;
        tsession_write(s, row.data(), row.size());
        return 1;
    };
    host.line = [](tsession_s *s) { tsession_page(s, Scripted::call_produce, nullptr); };
    host.input("x\r");
    EXPECT_EQ(rows, 11);
    tsession_free(host.session);
}

TEST_F(Session, TelnetDataIsEscaped)
{
    SessionHost host(config_of(TSESSION_TELNET));
    host.take_sent();
    tsession_write(host.session(),
                   "a\xff"
                   "b\n",
                   4);
    EXPECT_NE(host.take_sent().find("a\xff\xff"
                                    "b\r\n"),
              std::string::npos);
}

TEST_F(Session, TextsOfOthersAreShownWithoutTheirControls)
{
    constexpr std::pair<const char *, const char *> rows[] = {
        {"Größe €\n", "Größe €\n"},     {"a\tb\n", "a\tb\n"},
        {"\033[2J\a\177\r", "?[2J???"}, {"C1 \u0085\u009b31m", "C1 ??31m"},
        {"\xff\xc3x\xe2\x82", "??x?"},  {"a\x9b", "a?"},
    };
    for (const auto &[text, sent] : rows) {
        SessionHost host(config_of(TSESSION_BATCH));
        tsession_write_clean(host.session(), text);
        EXPECT_EQ(host.take_sent(), sent) << text;
    }
}

TEST_F(Session, HistoryIsNumberedFromTheOldest)
{
    tsession_config_s config = config_of();
    config.history_limit = 2;
    SessionHost host(config);
    host.input("one\rtwo\rthree\r");
    Events lines;
    tsession_history(
        host.session(),
        [](tsession_s *, void *, void *ctx, int32_t number, const char *line) {
            static_cast<Events *>(ctx)->push_back(std::to_string(number) + " " + line);
        },
        &lines);
    EXPECT_EQ(lines, Events({"1 two", "2 three"}));
}

TEST_F(Session, WhatIsInForceCanBeAsked)
{
    SessionHost host(config_of());
    EXPECT_EQ(tsession_columns(host.session()), 60);
    EXPECT_EQ(tsession_rows(host.session()), 12);
    EXPECT_STREQ(tsession_terminal(host.session()), "xterm");
    EXPECT_EQ(tsession_user(host.session()), &host);
    tsession_set_terminal(host.session(), "no such type");
    EXPECT_STREQ(tsession_terminal(host.session()), "vt100");
    struct {
        int columns, rows, wanted_columns, wanted_rows;
    } const sizes[] = {{0, 0, 80, 24}, {1, 1, 10, 2}, {65535, 65535, 256, 512}, {-5, -5, 80, 24}};
    for (const auto &size : sizes) {
        tsession_resize(host.session(), size.columns, size.rows);
        EXPECT_EQ(tsession_columns(host.session()), size.wanted_columns);
        EXPECT_EQ(tsession_rows(host.session()), size.wanted_rows);
    }
}

TEST_F(Session, UnpagedOutputAsksForNoKeyAndPausesForTheHost)
{
    tsession_config_s config = config_of();
    config.is_unpaged = 1;
    SessionHost host(config);
    host.long_rows = 10000;
    host.hand_over("show long\r");
    int pauses = 0;
    for (; tsession_wait(host.session()) == 0; pauses++)
        tsession_time_out(host.session());
    EXPECT_GT(pauses, 1);
    const std::string sent = host.take_sent();
    EXPECT_NE(sent.find("row 1\r\n"), sent.npos);
    EXPECT_NE(sent.find("row 10000\r\n"), sent.npos);
    EXPECT_EQ(sent.find("--More--"), sent.npos);
    EXPECT_EQ(host.row(), "> |");
}

TEST_F(Session, AVeryLongOutputUsesConstantMemory)
{
    tsession_config_s config = config_of();
    config.is_unpaged = 1;
    config.output = nullptr;
    SessionHost host(config);
    host.long_rows = 200000 * varno_test::long_tests_factor();
    host.hand_over("show long\r");
    const size_t before = mallinfo2().uordblks;
    while (tsession_wait(host.session()) == 0) {
        tsession_time_out(host.session());
        host.take_sent();
    }
    EXPECT_LT(mallinfo2().uordblks, before + 1000000);
}

// Every failed allocation while a session is made, and none that is left behind. Returns
// how many there are.
int count_failed_creations()
{
    tsession_config_s config = config_of();
    tsession_free(tsession_create(&config)); // what is shared is there now
    const size_t before = tracked_outstanding(nullptr);
    for (int n = 1;; n++) {
        tracked_fail_after(n);
        tsession_s *s = tsession_create(&config);
        tracked_fail_after(-1);
        tsession_free(s);
        EXPECT_EQ(tracked_outstanding(nullptr), before) << "allocation " << n;
        if (s)
            return n - 1;
    }
}

TEST_F(Session, CreationWithoutMemoryGivesNullAndLeavesNothing)
{
    EXPECT_GE(count_failed_creations(), 2);
    const Traces traces; // a session that is followed binds keys of its own
    EXPECT_GT(count_failed_creations(), 100);
}

// The line editor's commands are there once for many sessions.
TEST_F(Session, SharedKeysActOnTheSessionThatTheyArePressedIn)
{
    SessionHost left(config_of());
    const size_t links = tracked_outstanding("prompt_clink_s");
    SessionHost right(config_of());
    EXPECT_EQ(tracked_outstanding("prompt_clink_s"), links);
    left.input("left side\033b");
    right.input("right\001x");
    left.input("\x0b");
    right.input("\x0c");
    EXPECT_EQ(left.row(), "> left |");
    EXPECT_EQ(right.row(), "> x|right");
    left.input("\003sh\t?");
    right.input("\025echo\033e");
    EXPECT_EQ(left.take_events(), Events({"interrupt"}));
    EXPECT_EQ(left.row(), "> show |");
    EXPECT_EQ(right.take_events(), Events());
    EXPECT_EQ(right.row(), "> echo|right");
    left.input("version\r");
    EXPECT_EQ(left.take_events(), Events({"line show version"}));
    EXPECT_EQ(right.take_events(), Events());
}

TEST_F(Session, ASessionThatIsFollowedShowsItsWholeBeginning)
{
    tsession_config_s config = config_of();
    tsession_free(tsession_create(&config));
    tsession_s *followed = nullptr;
    {
        Traces traces;
        followed = tsession_create(&config);
        const std::vector<std::string> texts = traces.take();
        EXPECT_EQ(std::count(texts.begin(), texts.end(), "(debug): Binding command [execute]"), 1);
        EXPECT_GT(texts.size(), 100u);
    }
    SessionHost silent(config);
    tsession_free(followed);
    silent.input("fine\001");
    EXPECT_EQ(silent.row(), "> |fine");
}

TEST_F(Session, RunsOnWithoutMemory)
{
    for (int n = 1; n < 40; n++) {
        SessionHost host(config_of(TSESSION_TELNET));
        host.input("sho");
        tracked_fail_after(n);
        host.input("w version\r\xff\xfa\x18\0linux\xff\xf0?s\t\rlogin\rx\rshow long\r q"sv);
        tracked_fail_after(-1);
        EXPECT_EQ(tsession_is_closed(host.session()), 0) << "allocation " << n;
        host.input("\x03\x03show version\r");
        const Events events = host.take_events();
        ASSERT_FALSE(events.empty());
        EXPECT_EQ(events.back(), "line show version");
    }
}

TEST_F(Session, OpeningAndClosingManySessionsGrowsNothing)
{
    const auto open_and_close = [](int count) {
        for (int i = 0; i < count; i++) {
            tsession_config_s config = config_of(TSESSION_TELNET);
            tsession_s *s = tsession_create(&config);
            tsession_start(s);
            tsession_input(s, "show version\rlogin\rpw\r\xff\xfb\x05", 24);
            tsession_free(s);
        }
    };
    open_and_close(100);
    const size_t blocks = tracked_outstanding(nullptr);
    const size_t bytes = mallinfo2().uordblks;
    open_and_close(2000);
    EXPECT_EQ(tracked_outstanding(nullptr), blocks);
    EXPECT_LT(mallinfo2().uordblks, bytes + 65536);
}

TEST_F(Session, SessionsOfTwoThreadsDoNotMeet)
{
    const auto use = [] {
        tsession_shared_s *shared = tsession_shared_create();
        for (int i = 0; i < 20; i++) {
            tsession_config_s config = config_of();
            config.shared = shared;
            SessionHost host(config);
            host.input("show version\rfault\r");
            EXPECT_EQ(tsession_is_closed(host.session()), 1);
        }
        tsession_shared_free(shared);
    };
    std::thread other(use);
    use();
    other.join();
}

// Random input

const std::string_view pieces[] = {
    "show ",
    "version",
    "sh",
    "\r",
    "\n",
    "\r\n",
    "?",
    "\t",
    " ",
    "\x01",
    "\x05",
    "\x7f",
    "\x08",
    "\x03",
    "\x04",
    "\x17",
    "\x0c",
    "\x10",
    "\x15",
    "\x0b",
    "\x1b"
    "b",
    "\x1b"
    "f",
    "\x1b[A",
    "\x1b[B",
    "\x1b[C",
    "\x1b[D",
    "\x1bOD",
    "\x1b[3~",
    "\x1b[H",
    "\x1b[200~",
    "\x1b[201~",
    "\x1b]0;x\x07",
    "\x1b",
    "\x1b[",
    "\x1b\x18",
    "\x1b\x14",
    "delete-command",
    "login\r",
    "sure\r",
    "y",
    "show long\r",
    "q",
    "width 20\r",
    "width 200\r",
    "'",
    "\"",
    "\\",
    "abcdefghijklmnop",
    "\x1b[1;5D",
    "\x1b"
    "e",
    "\x1b"
    "c",
    "invoke ",
    "\x9b",
    "\xe9",
};

const std::string_view telnet_pieces[] = {
    "\xff\xfb\x1f", "\xff\xfd\x01", "\xff\xfa\x1f", "\xff\xf0",     "\xff\xf4",
    "\xff\xf6",     "\xff\xf3",     "\xff\xff",     "\xff\xfa\x18", "vt220",
    "\xff\xfe\x05", "\xff\xfa\x05", "\xff",         "\xff\xf7",     "\xff\xf8",
};

// What the row must show: the model that the editor holds on the screen.
void expect_row_whole(SessionHost &host)
{
    const tsession_s *s = host.session();
    if (s->is_closed || s->mode != varno::Mode::line)
        return;
    const prompt_model_s *mod = prompt_active_model(s->prompt);
    std::string wanted = mod->buf;
    wanted.resize(static_cast<size_t>(s->columns), ' ');
    Terminal &terminal = host.terminal();
    EXPECT_EQ(terminal.row(terminal.cursor_row()), wanted);
    EXPECT_EQ(terminal.cursor_column(), mod->virtual_cursor);
}

class RandomInput : public testing::TestWithParam<int> {};

TEST_P(RandomInput, NeverFaultsAndAlwaysShowsTheWholeRow)
{
    assert_set_handler(tsession_assertion_handler, nullptr);
    for (unsigned seed = 1; seed <= 60 && !HasFailure(); seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        tsession_config_s config = config_of(GetParam());
        config.columns = 10 + static_cast<int>(random() % 100);
        SessionHost host(config);
        host.terminal().resize(12, 256);
        for (int step = 0; step < 150 && !HasFailure(); step++) {
            std::string input;
            for (unsigned i = random() % 4 + 1; i > 0; i--)
                input += pieces[random() % std::size(pieces)];
            if (GetParam() == TSESSION_TELNET && random() % 3 == 0)
                input += telnet_pieces[random() % std::size(telnet_pieces)];
            host.input(input);
            if (random() % 20 == 0)
                tsession_resize(host.session(), static_cast<int>(random() % 300), 12);
            if (random() % 20 == 0)
                tsession_time_out(host.session());
            if (random() % 10 == 0)
                tsession_print(host.session(), "message\n");
            host.terminal().resize(12, tsession_columns(host.session()));
            for (const std::string &event : host.take_events())
                EXPECT_NE(event.substr(0, 5), "fault") << event;
            EXPECT_EQ(tsession_is_closed(host.session()), 0);
        }
    }
    assert_set_handler(nullptr, nullptr);
}

TEST_P(RandomInput, TheRowIsWholeAfterEveryInput)
{
    assert_set_handler(tsession_assertion_handler, nullptr);
    for (unsigned seed = 101; seed <= 140 && !HasFailure(); seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        tsession_config_s config = config_of(GetParam());
        config.columns = 10 + static_cast<int>(random() % 100);
        SessionHost host(config);
        for (int step = 0; step < 200 && !HasFailure(); step++) {
            const std::string_view piece = pieces[random() % std::size(pieces)];
            if (piece.substr(0, 5) == "width")
                continue;
            host.input(piece);
            if (random() % 10 == 0)
                tsession_print(host.session(), "message\n");
            expect_row_whole(host);
        }
    }
    assert_set_handler(nullptr, nullptr);
}

TEST_P(RandomInput, CutsChangeNoEvent)
{
    assert_set_handler(tsession_assertion_handler, nullptr);
    for (unsigned seed = 201; seed <= 240 && !HasFailure(); seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        std::string input;
        for (int i = 0; i < 60; i++) {
            input += pieces[random() % std::size(pieces)];
            if (GetParam() == TSESSION_TELNET && random() % 4 == 0)
                input += telnet_pieces[random() % std::size(telnet_pieces)];
        }
        SessionHost whole(config_of(GetParam()));
        for (std::string_view left = input; !left.empty();) {
            const size_t part = std::max<size_t>(SessionHost::find_interrupt(left), 1);
            whole.input(left.substr(0, part));
            left.remove_prefix(part);
        }
        SessionHost cut(config_of(GetParam()));
        for (size_t at = 0; at < input.size();) {
            const std::string_view left = std::string_view(input).substr(at, 1 + random() % 5);
            const size_t part = std::max<size_t>(SessionHost::find_interrupt(left), 1);
            cut.input(left.substr(0, part));
            at += part;
        }
        EXPECT_EQ(cut.take_events(), whole.take_events());
    }
    assert_set_handler(nullptr, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Transports, RandomInput, testing::Values(TSESSION_PLAIN, TSESSION_TELNET));

} // namespace
