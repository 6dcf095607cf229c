// Who hears a trace, at which level, and how much of it; and that modules may
// register while others trace.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <array>
#include <barrier>
#include <cerrno>
#include <climits>
#include <cwchar>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Message {
    int module_id;
    int level;
    std::string text;

    bool operator==(const Message &) const = default;
};

void PrintTo(const Message &message, std::ostream *out)
{
    *out << message.module_id << " at " << message.level << ": " << message.text;
}

void keep(void *ctx, int module_id, int level, const char *text)
{
    static_cast<std::vector<Message> *>(ctx)->push_back({module_id, level, text});
}

// All modules that single cases use are registered up front: one case fills the
// table for good.
class TraceService : public ::testing::Test {
  protected:
    static void SetUpTestSuite()
    {
        one = trace_register_module("one");
        two = trace_register_module("two");
        longest_x = trace_register_module(std::string(63, 'x').c_str());
        longest_y = trace_register_module((std::string(62, 'x') + "y").c_str());
    }

    void SetUp() override { trace_set_sink(keep, &heard); }

    void TearDown() override
    {
        trace_set_sink(nullptr, nullptr);
        trace_set_level(one, 6);
        trace_set_level(two, 6);
    }

    static int one, two, longest_x, longest_y;
    std::vector<Message> heard;
};

int TraceService::one, TraceService::two, TraceService::longest_x, TraceService::longest_y;

TEST_F(TraceService, IdentifiersAreAboveZeroAndDistinct)
{
    const std::set<int> module_ids{one, two, longest_x, longest_y};
    EXPECT_EQ(module_ids.size(), 4u);
    EXPECT_GT(*module_ids.begin(), 0);
}

TEST_F(TraceService, ANameRegisteredAgainKeepsItsIdentifierAndLevel)
{
    trace_set_level(one, 7);
    EXPECT_EQ(trace_register_module("one"), one);
    EXPECT_EQ(trace_register_module(std::string("one").c_str()), one);
    EXPECT_EQ(trace_register_module(std::string(63, 'x').c_str()), longest_x);
    EXPECT_TRUE(trace_module_wants(one, 7));
}

TEST_F(TraceService, ANameThatDoesNotFitIsRefused)
{
    EXPECT_EQ(trace_register_module(std::string(64, 'x').c_str()), -1);
    EXPECT_EQ(trace_register_module(std::string(5000, 'x').c_str()), -1);
}

TEST_F(TraceService, WithoutASinkNothingIsWantedAtAnyLevel)
{
    trace_set_level(one, INT_MAX);
    trace_set_sink(nullptr, nullptr);
    for (const int level : {INT_MIN, -1, 0, 1, 6, 7, INT_MAX}) {
        EXPECT_FALSE(trace_wants(one, level)) << level;
        EXPECT_FALSE(trace_module_wants(one, level)) << level;
        trace_emit(one, level, "unheard");
    }
    EXPECT_TRUE(heard.empty());
    EXPECT_LT(g_trace_max_level, 0);
}

TEST_F(TraceService, AMessageArrivesFormattedWithItsModuleAndLevel)
{
    trace_emit(one, 6, "%s has %d of %c%%", "it", -12, 'x');
    trace_emit(two, 0, "plain");
    trace_emit(two, -5, "%s", "");
    EXPECT_EQ(heard, (std::vector<Message>{
                         {one, 6, "it has -12 of x%"}, {two, 0, "plain"}, {two, -5, ""}}));
}

TEST_F(TraceService, DebugTracesAreSilentUntilTheirModulesLevelIsRaised)
{
    EXPECT_TRUE(trace_wants(one, 6));
    EXPECT_FALSE(trace_wants(one, 7));
    EXPECT_EQ(g_trace_max_level, 6);
    trace_emit(one, 7, "unheard");

    trace_set_level(one, 7);
    EXPECT_TRUE(trace_wants(one, 7));
    EXPECT_EQ(g_trace_max_level, 7);
    trace_emit(one, 7, "heard");
    EXPECT_EQ(heard, (std::vector<Message>{{one, 7, "heard"}}));

    trace_set_level(one, 6);
    EXPECT_FALSE(trace_wants(one, 7));
    EXPECT_EQ(g_trace_max_level, 6);
}

TEST_F(TraceService, AModulesLevelIsItsOwn)
{
    trace_set_level(one, 9);
    trace_set_level(two, 2);
    EXPECT_EQ(g_trace_max_level, 9);
    EXPECT_TRUE(trace_wants(one, 9));
    EXPECT_FALSE(trace_wants(one, 10));
    EXPECT_TRUE(trace_wants(two, 2));
    EXPECT_FALSE(trace_wants(two, 3));
    trace_emit(two, 3, "unheard");
    EXPECT_TRUE(heard.empty());
}

TEST_F(TraceService, TheHighestLevelComesAndGoesWithTheSink)
{
    trace_set_level(one, 8);
    trace_set_sink(nullptr, nullptr);
    EXPECT_FALSE(trace_wants(one, 8));
    trace_set_level(two, 11);
    EXPECT_LT(g_trace_max_level, 0);
    trace_set_sink(keep, &heard);
    EXPECT_EQ(g_trace_max_level, 11);
    EXPECT_TRUE(trace_wants(one, 8));
}

TEST_F(TraceService, AnyLevelCanBeSet)
{
    trace_set_level(one, INT_MIN);
    EXPECT_TRUE(trace_wants(one, INT_MIN));
    EXPECT_FALSE(trace_wants(one, INT_MIN + 1));
    trace_set_level(one, INT_MAX);
    EXPECT_TRUE(trace_wants(one, INT_MAX));
    EXPECT_EQ(g_trace_max_level, INT_MAX);
}

TEST_F(TraceService, AnUnregisteredModuleIsNeverHeard)
{
    for (const int module_id : {INT_MIN, -1, 0, 65, 1000, INT_MAX}) {
        trace_set_level(module_id, 9);
        EXPECT_FALSE(trace_wants(module_id, 0)) << module_id;
        EXPECT_FALSE(trace_module_wants(module_id, INT_MIN)) << module_id;
        trace_emit(module_id, 0, "unheard");
    }
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(g_trace_max_level, 6);
}

TEST_F(TraceService, ATextOfAThousandCharactersIsWholeAndALongerOneIsCutThere)
{
    for (const size_t characters : {0u, 1u, 255u, 256u, 999u, 1000u, 1001u, 1002u, 50000u}) {
        const std::string text(characters, 'x');
        trace_emit(one, 1, "%s", text.c_str());
        EXPECT_EQ(heard.back().text, text.substr(0, 1000)) << characters;
    }
}

TEST_F(TraceService, ATextThatCannotBeFormattedReachesNobody)
{
    errno = ERANGE;
    trace_emit(one, 1, "a%lc", wint_t{0x100}); // no character of the C locale
    EXPECT_EQ(errno, ERANGE);
    EXPECT_TRUE(heard.empty());
}

void spoil_errno(void *, int, int, const char *)
{
    errno = EIO;
}

TEST_F(TraceService, ATraceLeavesErrnoAlone)
{
    trace_set_sink(spoil_errno, nullptr);
    for (const int before : {0, ERANGE}) {
        errno = before;
        trace_emit(one, 1, "%d", 1);
        EXPECT_EQ(errno, before);
    }
}

void throw_text(void *, int, int, const char *text)
{
    throw std::runtime_error(text);
}

TEST_F(TraceService, ASinkMayLeaveByAnException)
{
    trace_set_sink(throw_text, nullptr);
    EXPECT_THROW(trace_emit(one, 1, "x"), std::runtime_error);
    trace_set_sink(keep, &heard);
    trace_emit(one, 1, "y");
    EXPECT_EQ(heard, (std::vector<Message>{{one, 1, "y"}}));
}

void keep_and_trace_once(void *ctx, int module_id, int level, const char *text)
{
    keep(ctx, module_id, level, text);
    if (level > 0)
        trace_emit(module_id, level - 1, "again");
}

TEST_F(TraceService, ASinkMayTraceItself)
{
    trace_set_sink(keep_and_trace_once, &heard);
    trace_emit(two, 1, "first");
    EXPECT_EQ(heard, (std::vector<Message>{{two, 1, "first"}, {two, 0, "again"}}));
}

struct SharedSink {
    std::mutex lock;
    std::vector<Message> heard;
};

void keep_shared(void *ctx, int module_id, int level, const char *text)
{
    auto *shared = static_cast<SharedSink *>(ctx);
    const std::lock_guard<std::mutex> guard(shared->lock);
    shared->heard.push_back({module_id, level, text});
}

constexpr size_t nthreads = 4;
constexpr int nmessages = 2000;

// Each thread traces at all levels, for as long as another one changes them.
void trace_by_turns(int module_id, std::barrier<> &meet)
{
    meet.arrive_and_wait();
    for (int i = 0; i < nmessages; i++) {
        const int level = i % 8;
        if (trace_wants(module_id, level))
            trace_emit(module_id, level, "level %d", level);
    }
}

// One thread sets the levels of both modules while the others trace under the first.
// What is heard meanwhile is whole; afterwards the last level holds for each thread.
TEST_F(TraceService, LevelsMayBeSetWhileThreadsTrace)
{
    SharedSink shared;
    trace_set_sink(keep_shared, &shared);
    std::barrier meet(nthreads + 1);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < nthreads; i++)
        threads.emplace_back([&] { trace_by_turns(one, meet); });
    meet.arrive_and_wait();
    for (int i = 0; i < nmessages; i++) {
        trace_set_level(one, i % 8);
        trace_set_level(two, 7 - i % 8);
    }
    for (std::thread &thread : threads)
        thread.join();

    EXPECT_LE(shared.heard.size(), nthreads * nmessages);
    for (const Message &message : shared.heard)
        EXPECT_EQ(message, (Message{one, message.level, "level " + std::to_string(message.level)}));

    trace_set_level(one, 3);
    trace_set_level(two, 1);
    EXPECT_EQ(g_trace_max_level, 6) << "that of the other modules";
    shared.heard.clear();
    std::thread([&] {
        for (int level = 0; level < 8; level++) {
            trace_emit(one, level, "one");
            trace_emit(two, level, "two");
        }
    }).join();
    EXPECT_EQ(shared.heard.size(), 4u + 2u);
}

constexpr size_t nnames = 100; // more than there is room for

// Registers every name, together with the other threads, and traces under each
// identifier that it gets.
void register_and_trace(std::array<int, nnames> &module_ids, std::barrier<> &meet)
{
    for (size_t i = 0; i < nnames; i++) {
        const std::string name = "module " + std::to_string(i);
        meet.arrive_and_wait();
        module_ids[i] = trace_register_module(name.c_str());
        if (trace_wants(module_ids[i], 6))
            trace_emit(module_ids[i], 6, "from %zu", i);
    }
}

TEST_F(TraceService, ThreadsThatRegisterTheSameNamesAgreeUntilTheTableIsFull)
{
    SharedSink shared;
    trace_set_sink(keep_shared, &shared);
    std::array<std::array<int, nnames>, nthreads> module_ids;
    std::barrier meet(nthreads);
    std::vector<std::thread> threads;
    for (auto &ids : module_ids)
        threads.emplace_back([&] { register_and_trace(ids, meet); });
    for (std::thread &thread : threads)
        thread.join();

    std::set<int> distinct{one, two, longest_x, longest_y};
    size_t registered = 0;
    for (size_t i = 0; i < nnames; i++) {
        for (const auto &ids : module_ids)
            EXPECT_EQ(ids[i], module_ids[0][i]) << "module " << i;
        if (module_ids[0][i] == -1)
            continue;
        registered++;
        distinct.insert(module_ids[0][i]);
    }
    EXPECT_EQ(distinct.size(), registered + 4);
    EXPECT_EQ(*distinct.begin(), 1);
    EXPECT_EQ(*distinct.rbegin(), 64);
    EXPECT_EQ(shared.heard.size(), registered * nthreads);
    for (const Message &message : shared.heard)
        EXPECT_EQ(message.text.substr(0, 5), "from ");

    EXPECT_EQ(trace_register_module("one too many"), -1);
    EXPECT_EQ(trace_register_module("two"), two);
}

} // namespace
