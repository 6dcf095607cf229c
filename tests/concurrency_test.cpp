// What threads may share, and what they have for themselves: every thread gets the
// results that one alone would get. The same program is run under the thread
// sanitizer by scripts/test_threads.

#include <varno/cli_assist.h>
#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/tsession.h>
#include <varno/varno.h>

#include "support/parse_nodes.h"

#include <atomic>
#include <barrier>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using namespace varno_test;

constexpr int threads = 4;

// Runs the body on each thread, all begun at the same moment, with its number.
template <typename Body>
void on_threads(Body body)
{
    std::barrier begin(threads);
    std::vector<std::thread> running;
    for (int i = 0; i < threads; i++) {
        running.emplace_back([&begin, body, i] {
            begin.arrive_and_wait();
            body(i);
        });
    }
    for (std::thread &thread : running)
        thread.join();
}

// A trie that is only read

// Sequences of two keys: x and a key below 300, and some with the wildcard.
class Sequences {
  public:
    Sequences()
    {
        for (mkey_t key = 0; key < count; key++) {
            const mkey_t keys[] = {'x', key};
            EXPECT_EQ(mc_addstring(root, keys, 2, 0, &values[key]), 0);
        }
        const mkey_t any[] = {'y', VIRTKEY_WILDCARD};
        EXPECT_EQ(mc_addstring(root, any, 2, 0, &values[0]), 0);
    }
    ~Sequences() { mc_root_free(root, nullptr, nullptr); }
    Sequences(const Sequences &) = delete;
    Sequences &operator=(const Sequences &) = delete;

    void search_all() const
    {
        for (mkey_t key = 0; key < 2 * count; key++) {
            const mkey_t keys[] = {7, 'x', key};
            mc_node_s *found = nullptr;
            int32_t len = 0;
            mc_search_exact(root, keys + 1, 2, 0, &found, &len, nullptr, nullptr, nullptr, nullptr);
            ASSERT_EQ(found ? mc_node_value(found) : nullptr, key < count ? &values[key] : nullptr);
            ASSERT_EQ(len, key < count ? 2 : 0);
            ASSERT_EQ(mc_nodestrstr(root, keys, 3), 1);
            const mc_key_s *wild = mc_node_try_key(mc_node_try_key(root, 'y')->node, key);
            ASSERT_EQ(mc_node_value(wild->node), &values[0]);
        }
    }

    static constexpr mkey_t count = 300;
    mc_node_s *root = mc_root_alloc();
    mutable char values[count] = {};
};

TEST(Concurrency, AFinishedTrieIsSearchedByManyThreads)
{
    for (const bool is_sorted : {true, false}) {
        Sequences trie;
        if (is_sorted)
            mc_optimize(trie.root);
        on_threads([&](int) { trie.search_all(); });
    }
}

// A parse graph that is only read

struct Graph {
    cli_pnode_s end = parse_node(PNODE_EOLS, "end", nullptr);
    cli_pnode_s number = parse_node(PNODE_INT32, "NUMBER", "NUMBER");
    cli_pnode_s around = keyword_node("around");
    cli_pnode_s look = keyword_node("look");
    cli_pnode_s fault = keyword_node("fault");
    cli_pnode_s list = keyword_node("list");
    cli_pnode_s *first = level_of({&look, &list, &fault});

    Graph()
    {
        look.child = level_of({&around, &number});
        around.child = number.child = fault.child = list.child = level_of({&end});
    }
};

cli_pnode_s *graph()
{
    static Graph graph;
    return graph.first;
}

TEST(Concurrency, AGraphIsParsedByManyThreads)
{
    cli_pnode_s *first = graph();
    on_threads([first](int) {
        for (int i = 0; i < 300; i++) {
            ASSERT_EQ(Parsed(first, "look around").text(),
                      "MATCHED 11 look=[look]@0+5 around=[around]@5+6");
            ASSERT_EQ(Parsed(first, "look 'x").text(), "BAD_QUOTES 5");
            cli_assist_completion_s completion;
            ASSERT_EQ(cli_assist_complete(first, nullptr, "look a", 6, &completion), 0);
            ASSERT_STREQ(completion.insert, "round ");
            ASSERT_EQ(cli_assist_help(first, nullptr, "l", 1, nullptr, nullptr), 2);
        }
    });
}

// Sessions

constexpr std::string_view script[] = {
    "\xff\xfb\x1f\xff\xfa\x1f\0\x3c\0\x0a\xff\xf0"sv,
    "\xff\xfb\x18\xff\xfa\x18\0VT220\xff\xf0"sv,
    "lo\t7\r\0look around\x1b[D\x1b"
    "b\x7f \x05\r\0"sv,
    "look ?\x15li\t\r\0 q"sv,
    "\x1b[A\x1b[A\x03\xff\xf6nonsense\r\0\x1b\x18"sv,
    "\x1b[200~look 5\rlook\x1b[201~\r\0look around\r\0"sv,
};

// All that one session told its host and sent.
class Recorded {
  public:
    Recorded(tsession_shared_s *shared, const char *type)
    {
        tsession_config_s config = TSESSION_CONFIG_INIT;
        config.transport = TSESSION_TELNET;
        config.terminal_type = type;
        config.graph = graph();
        config.shared = shared;
        config.user = this;
        config.output = [](tsession_s *, void *user, const char *bytes, size_t count) {
            static_cast<Recorded *>(user)->log_.append(bytes, count);
        };
        config.line = line;
        config.event = [](tsession_s *, void *user, const tsession_event_s *event) {
            static_cast<Recorded *>(user)->log_ += "[event " + std::to_string(event->kind) + "]";
        };
        s_ = tsession_create(&config);
        tsession_start(s_);
    }
    ~Recorded() { tsession_free(s_); }
    Recorded(const Recorded &) = delete;
    Recorded &operator=(const Recorded &) = delete;

    void input(std::string_view bytes)
    {
        tsession_input(s_, bytes.data(), bytes.size());
        while (tsession_wait(s_) == 0)
            tsession_time_out(s_);
    }
    bool is_closed() const { return tsession_is_closed(s_) != 0; }
    const std::string &log() const { return log_; }

  private:
    static void line(tsession_s *s, void *user, const char *line, const cli_pnode_s *,
                     cli_pmatch_s *matches)
    {
        auto *self = static_cast<Recorded *>(user);
        self->log_ += std::string("[line ") + line + "]";
        const std::string_view word = matches->token;
        if (word == "fault")
            cli_match_by_node(nullptr, nullptr);
        if (word == "list")
            tsession_page(s, produce, &(self->produced_ = 0));
        else
            tsession_print(s, "done %d\n", matches->len);
    }

    static int produce(tsession_s *s, void *, void *ctx, int is_cancelled)
    {
        int *produced = static_cast<int *>(ctx);
        if (!is_cancelled)
            tsession_print(s, "row %d\n", ++*produced);
        return *produced < 40;
    }

    tsession_s *s_;
    std::string log_;
    int produced_ = 0;
};

std::string log_of_a_session(tsession_shared_s *shared, const char *type)
{
    Recorded session(shared, type);
    for (const std::string_view part : script)
        session.input(part);
    session.input("fault\r\0"sv);
    EXPECT_TRUE(session.is_closed());
    return session.log();
}

class ConcurrentSessions : public testing::Test {
  protected:
    ConcurrentSessions() { assert_set_handler(tsession_assertion_handler, nullptr); }
    ~ConcurrentSessions() override { assert_set_handler(nullptr, nullptr); }
};

// Each makes its decoders at the same time, from the one terminal database, and a
// fault ends one session alone.
TEST_F(ConcurrentSessions, OfSeveralThreadsAreEachAsTheyWouldBeAlone)
{
    static constexpr const char *types[] = {"xterm", "linux", "vt100", "vt220"};
    std::vector<std::string> alone;
    for (const char *type : types)
        alone.push_back(log_of_a_session(nullptr, type));
    ASSERT_NE(alone[0].find("[line look around]"), std::string::npos) << alone[0];
    ASSERT_NE(alone[0].find("[event 6]"), std::string::npos);
    on_threads([&](int number) {
        tsession_shared_s *shared = tsession_shared_create();
        for (int i = 0; i < 20; i++) {
            const size_t type = static_cast<size_t>(number + i) % std::size(types);
            ASSERT_EQ(log_of_a_session(i % 5 ? shared : nullptr, types[type]), alone[type]);
        }
        tsession_shared_free(shared);
    });
}

// A session is no thread's own: whoever holds it may use it.
TEST_F(ConcurrentSessions, AreHandedFromThreadToThread)
{
    Recorded session(nullptr, "xterm");
    std::mutex mutex;
    on_threads([&](int) {
        for (int i = 0; i < 50; i++) {
            const std::lock_guard lock(mutex);
            session.input("look 1\r\0"sv);
        }
    });
    size_t lines = 0;
    for (size_t at = 0; (at = session.log().find("[line ", at)) != std::string::npos; at++)
        lines++;
    EXPECT_EQ(lines, 50u * threads);
}

// The platform's services

TEST(Concurrency, TheAllocatorsBooksAreRight)
{
    const size_t before = tracked_outstanding(nullptr);
    on_threads([](int number) {
        const std::string own = "thread " + std::to_string(number);
        for (int i = 0; i < 2000; i++) {
            void *shared = tracked_malloc(16, "shared by threads");
            void *mine = tracked_calloc(2, 8, own.c_str());
            ASSERT_GE(tracked_outstanding("shared by threads"), 1u);
            ASSERT_EQ(tracked_outstanding(own.c_str()), 1u);
            tracked_free(mine, own.c_str());
            tracked_free(shared, "shared by threads");
        }
    });
    EXPECT_EQ(tracked_outstanding(nullptr), before);
    EXPECT_EQ(tracked_outstanding("shared by threads"), 0u);
}

TEST(Concurrency, AllocationsOfAllThreadsAreCountedDown)
{
    constexpr int most = 1000;
    std::atomic<int> succeeded = 0;
    tracked_fail_after(most + 1);
    on_threads([&](int) {
        for (int i = 0; i < most; i++) {
            void *block = tracked_malloc(1, "counted");
            succeeded += block != nullptr;
            tracked_free(block, "counted");
        }
    });
    tracked_fail_after(-1);
    EXPECT_EQ(succeeded, most);
    EXPECT_EQ(tracked_outstanding("counted"), 0u);
}

struct Traces {
    std::atomic<int> count = 0;
    std::atomic<int> wrong = 0;
};

void take_trace(void *ctx, int, int level, const char *text)
{
    auto *traces = static_cast<Traces *>(ctx);
    traces->count++;
    traces->wrong += level != 5 || std::string_view(text).substr(0, 7) != "thread ";
}

// Modules are registered while others trace.
TEST(Concurrency, TracesOfAllThreadsReachTheSink)
{
    Traces traces;
    trace_set_sink(take_trace, &traces);
    std::atomic<int> ids[20] = {};
    on_threads([&](int number) {
        for (int i = 0; i < 500; i++) {
            const auto module = static_cast<size_t>(i) % std::size(ids);
            const int id = trace_register_module(("module " + std::to_string(module)).c_str());
            ASSERT_GT(id, 0);
            const int known = ids[module].exchange(id);
            ASSERT_TRUE(known == 0 || known == id) << "a name has one identifier";
            trace_emit(id, 5, "thread %d", number);
            trace_emit(id, 7, "thread %d", number); // not wanted
            ASSERT_EQ(trace_wants(id, 7), 0);
        }
    });
    trace_set_sink(nullptr, nullptr);
    EXPECT_EQ(traces.count, 500 * threads);
    EXPECT_EQ(traces.wrong, 0);
}

} // namespace
