// What shows only in the decoder's record: the wait for the rest of a sequence when
// its beginning is stamped, which no public call does, and the bindings as stored.
// The tests link the objects. The time of day is this file's own.

#include "keys/decoder_internal.h"
#include "support/assertion.h"
#include "support/left_behind.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

using namespace varno_test;

namespace {

struct {
    timeval now;
    int result;
} time_of_day;

constexpr int64_t least = std::numeric_limits<int64_t>::min();
constexpr int64_t most = std::numeric_limits<int64_t>::max();

} // namespace

extern "C" int gettimeofday(timeval *now, void *) noexcept
{
    *now = time_of_day.now;
    return time_of_day.result;
}

namespace {

struct Pending : testing::Test {
    Pending() { stroker_bind_sequence_to_vkey(ctx, "\033[A", VIRTKEY_UP); }
    ~Pending() override { varno_test::free_decoder(ctx); }

    int32_t consume(const char *bytes, int32_t len = 1)
    {
        return stroker_consume(ctx, reinterpret_cast<const unsigned char *>(bytes), len, &wait);
    }

    stroker_s *ctx = stroker_create_context();
    timeval wait = {-7, -7};
};

// Follows the keys of a text to their node.
mc_node_s *node_of(const stroker_s *ctx, const std::string &text)
{
    mc_node_s *node = ctx->bindings;
    for (const char c : text)
        node = mc_node_get_exact_key(node, static_cast<mkey_t>(c))->node;
    return node;
}

TEST_F(Pending, PreparingSortsTheBindingsUntilALaterOne)
{
    EXPECT_EQ(mc_node_optimized(ctx->bindings), 0);
    EXPECT_EQ(stroker_bindings_prepare(ctx), 0);
    EXPECT_EQ(mc_node_optimized(ctx->bindings), 1);
    EXPECT_EQ(mc_node_optimized(node_of(ctx, "\033[A")), 1);
    ASSERT_EQ(stroker_bind_sequence_to_vkey(ctx, "\177", VIRTKEY_BACKSPACE), 0);
    EXPECT_EQ(mc_node_optimized(ctx->bindings), 0);
}

TEST_F(Pending, BindingsArraysEndWithZeroAfterTheirKeys)
{
    constexpr mkey_t given[] = {'a', 'b', 'c', 'd', 'e', 'f'};
    for (const uint32_t len : {1u, 4u, 32u}) {
        for (const uint32_t vkeys_len : {1u, 2u, 5u}) {
            stroker_s *decoder = stroker_create_context();
            const std::string seq(len, 'x');
            ASSERT_EQ(stroker_bind_sequence_to_vkeys(decoder, seq.c_str(), given,
                                                     static_cast<int>(vkeys_len)),
                      0);
            const auto *m = static_cast<const stroker_binding *>(node_of(decoder, seq)->value);
            EXPECT_EQ(m->sequence_len, len);
            EXPECT_EQ(m->sequence[len - 1], mkey_t{'x'});
            EXPECT_EQ(m->sequence[len], 0u);
            EXPECT_EQ(m->virtual_keys_len, vkeys_len);
            EXPECT_EQ(m->virtual_keys[vkeys_len - 1], given[vkeys_len - 1]);
            EXPECT_EQ(m->virtual_keys[vkeys_len], 0u);
            varno_test::free_decoder(decoder);
        }
    }
}

struct WaitRow {
    timeval delay, since, now, wait;
};

// clang-format off
constexpr WaitRow wait_rows[] = {
    // delay         since        now          wait
    {{1, 0},      {10, 0},     {10, 0},     {1, 0}},       // nothing elapsed
    {{1, 0},      {10, 900},   {10, 900},   {1, 0}},
    {{2, 500000}, {10, 0},     {11, 200000}, {1, 300000}},
    {{3, 0},      {10, 0},     {11, 0},     {2, 0}},
    // no borrow from the rest's seconds: a second too long
    {{1, 0},      {10, 0},     {10, 250000}, {1, 750000}},
    {{2, 100000}, {10, 0},     {11, 200000}, {1, 900000}},
    // none from the elapsed seconds either: the two make up for each other
    {{1, 0},      {10, 900000}, {11, 400000}, {0, 500000}},
    {{1, 999999}, {10, 999999}, {11, 0},     {0, 999998}},
};
// clang-format on

TEST_F(Pending, WaitIsTheDelayLessTheTimeElapsedWithoutBorrowing)
{
    for (const WaitRow &row : wait_rows) {
        ctx->escape_delay = row.delay;
        ctx->pending_since = row.since;
        time_of_day = {row.now, 0};
        EXPECT_EQ(consume("\033"), 0);
        EXPECT_EQ(wait.tv_sec, row.wait.tv_sec) << "since " << row.since.tv_usec;
        EXPECT_EQ(wait.tv_usec, row.wait.tv_usec) << "since " << row.since.tv_usec;
    }
}

TEST_F(Pending, NeitherSecondsNorMicrosecondsAloneCountAsNotStamped)
{
    for (const timeval since : {timeval{10, 0}, timeval{0, 10}}) {
        ctx->pending_since = since;
        time_of_day = {since, 0};
        time_of_day.now.tv_usec += 1;
        EXPECT_EQ(consume("\033"), 0);
        EXPECT_EQ(wait.tv_usec, 999999);
    }
}

TEST_F(Pending, WithoutAStampTheWaitIsTheWholeDelay)
{
    time_of_day = {{0, 0}, -1}; // not asked for
    EXPECT_EQ(consume("\033"), 0);
    EXPECT_EQ(wait.tv_sec, 1);
    EXPECT_EQ(wait.tv_usec, 0);
}

TEST_F(Pending, StampGoesWhenAllIsUsedAndAfterATimeOut)
{
    ctx->pending_since = {10, 10};
    EXPECT_EQ(consume("\033[A", 3), 3);
    EXPECT_EQ(ctx->pending_since.tv_sec, 0);
    EXPECT_EQ(ctx->pending_since.tv_usec, 0);

    ctx->pending_since = {10, 10};
    time_of_day = {{10, 10}, 0};
    EXPECT_EQ(consume("\033"), 0);
    EXPECT_EQ(ctx->pending_since.tv_sec, 10) << "kept while a sequence pends";
    stroker_consume_timedout(ctx, reinterpret_cast<const unsigned char *>("\033"), 1);
    EXPECT_EQ(ctx->pending_since.tv_sec, 0);
    EXPECT_EQ(ctx->pending_since.tv_usec, 0);
}

constexpr char neither_above_0[] = "out_timeout->tv_sec > 0 || out_timeout->tv_usec > 0";

struct AssertionRow {
    timeval delay, since, now;
    const char *text;
};

// clang-format off
constexpr AssertionRow assertion_rows[] = {
    // delay         since          now      text
    {{1, 0},        {11, 0},       {10, 0}, "elapsed.tv_sec >= 0"},
    {{1, 0},        {10, 2000000}, {10, 0}, "elapsed.tv_usec >= 0"},
    {{1, 0},        {10, 0},       {12, 0}, "out_timeout->tv_sec >= 0"},
    {{0, 250000},   {10, 950000},  {11, 0}, "out_timeout->tv_sec >= 0"},
    {{1, -1000001}, {10, 0},       {10, 0}, "out_timeout->tv_usec >= 0"},
    {{1, 0},        {10, 0},       {11, 0}, neither_above_0},
    // with both parts wrong, the seconds are reported
    {{1, 0},        {11, 2000000}, {10, 0}, "elapsed.tv_sec >= 0"},
    {{1, -1000001}, {10, 0},       {12, 0}, "out_timeout->tv_sec >= 0"},
};
// clang-format on

TEST_F(Pending, TimesThatDoNotFitAreAssertions)
{
    for (const AssertionRow &row : assertion_rows) {
        ctx->escape_delay = row.delay;
        ctx->pending_since = row.since;
        time_of_day = {row.now, 0};
        EXPECT_ASSERTION(consume("\033"), row.text, "stroker");
    }
}

TEST_F(Pending, ClockThatFailsIsAnAssertion)
{
    ctx->pending_since = {10, 0};
    time_of_day = {{10, 0}, -1};
    EXPECT_ASSERTION(consume("\033"), "ret == 0", "stroker");
}

// Differences that do not fit wrap; whether a check then fails is all that is
// left to see, the sanitizers see the rest.
TEST_F(Pending, ExtremeTimesAreCheckedNotUndefined)
{
    time_of_day = {{10, 0}, 0};
    ctx->pending_since = {least, 0};
    EXPECT_ASSERTION(consume("\033"), "elapsed.tv_sec >= 0", "stroker");
    ctx->pending_since = {0, least};
    EXPECT_ASSERTION(consume("\033"), "elapsed.tv_usec >= 0", "stroker");
    ctx->pending_since = {10, most};
    EXPECT_ASSERTION(consume("\033"), "elapsed.tv_usec >= 0", "stroker");
    ctx->pending_since = {10, 0};
    ctx->escape_delay = {1, least};
    EXPECT_ASSERTION(consume("\033"), "out_timeout->tv_usec >= 0", "stroker");
    ctx->escape_delay = {most, most};
    EXPECT_EQ(consume("\033"), 0);
    EXPECT_EQ(wait.tv_sec, most);
    EXPECT_EQ(wait.tv_usec, most);
}

// What the trie promises the decoder, broken by hand.
TEST_F(Pending, MatchOfAnotherLengthThanItsBindingIsAnAssertion)
{
    mc_node_s *node = node_of(ctx, "\033[A");
    stroker_binding broken = {nullptr, 4, nullptr, 1};
    stroker_binding empty = {nullptr, 3, nullptr, 0};
    void *binding = node->value;
    node->value = &broken;
    EXPECT_ASSERTION(consume("\033[A", 3), "first_complete_len == t->sequence_len", "stroker");
    node->value = &empty;
    EXPECT_ASSERTION(consume("\033[A", 3),
                     "stroker_consume_plain_mkey(ctx, t->virtual_keys, t->virtual_keys_len)",
                     "stroker");
    node->value = binding;
}

} // namespace
