// The keystroke decoder's lifetimes, bindings, limits, assertions and traces;
// what it makes of bytes is in the decoder's scripts.

#include "support/assertion.h"
#include "support/left_behind.h"
#include "support/memory.h"
#include "support/spelling.h"
#include "support/traces.h"

#include <varno/mckeys.h>
#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/stroker.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace varno_test;

namespace {

using Texts = std::vector<std::string>;

constexpr char esc_up[] = "\033[A";

// A decoder and what its callback received.
struct Decoder {
    Decoder() { stroker_set_callback_chars(ctx, take_keys, this); }
    ~Decoder() { free_decoder(ctx); }
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    int32_t bind(const char *seq, mkey_t vkey)
    {
        return stroker_bind_sequence_to_vkey(ctx, seq, vkey);
    }

    int32_t consume(std::string_view bytes)
    {
        return stroker_consume(ctx, reinterpret_cast<const unsigned char *>(bytes.data()),
                               static_cast<int32_t>(bytes.size()), &timeout);
    }

    int32_t time_out(std::string_view bytes)
    {
        return stroker_consume_timedout(ctx, reinterpret_cast<const unsigned char *>(bytes.data()),
                                        static_cast<int32_t>(bytes.size()));
    }

    static int take_keys(stroker_s *ctx, void *user, const mkey_t *keys, int32_t count)
    {
        auto *decoder = static_cast<Decoder *>(user);
        EXPECT_EQ(ctx, decoder->ctx);
        EXPECT_GT(count, 0);
        decoder->keys.insert(decoder->keys.end(), keys, keys + count);
        decoder->calls++;
        return -1; // the result means nothing
    }

    stroker_s *ctx = stroker_create_context();
    timeval timeout = {-1, -1};
    std::vector<mkey_t> keys;
    int calls = 0;
};

TEST(Stroker, CreationWithoutMemoryGivesNullAndLeavesNothing)
{
    const int failures = fail_each_allocation([](const auto &fail_from_here) {
        fail_from_here();
        stroker_s *ctx = stroker_create_context();
        tracked_fail_after(-1);
        if (ctx)
            stroker_free_context(ctx);
        return ctx != nullptr;
    });
    EXPECT_EQ(failures, 2);
}

TEST(Stroker, BindingWithoutMemoryIsRefusedAndLeavesTheDecoderAsItWas)
{
    constexpr mkey_t vkeys[] = {VIRTKEY_END, VIRTKEY_ENTER};
    const int most = 1000;
    for (int n = 1; n <= most; n++) {
        Decoder decoder;
        decoder.bind(esc_up, VIRTKEY_UP);
        stroker_bindings_prepare(decoder.ctx);
        const size_t before = tracked_outstanding(nullptr);
        tracked_fail_after(n);
        const int32_t result = stroker_bind_sequence_to_vkeys(decoder.ctx, "\033[1~", vkeys, 2);
        tracked_fail_after(-1);
        if (result == 0) {
            EXPECT_EQ(n, 8) << "a record, two arrays, two nodes and two entries can fail";
            return;
        }
        EXPECT_EQ(result, -1);
        EXPECT_EQ(tracked_outstanding(nullptr), before);
        EXPECT_EQ(decoder.consume("\033[A\033[1"), 6);
        EXPECT_EQ(decoder.keys, keys_of("<up><esc>\"[1\""));
    }
    FAIL() << "never succeeded";
}

TEST(Stroker, FreeLeavesOneArrayOfVirtualKeysPerBinding)
{
    const size_t arrays = tracked_outstanding("mkey_t");
    const size_t bindings = tracked_outstanding("stroker_binding");
    const size_t all = tracked_outstanding(nullptr);
    stroker_s *ctx = stroker_create_context();
    EXPECT_EQ(stroker_bind_sequence_to_vkey(ctx, esc_up, VIRTKEY_UP), 0);
    EXPECT_EQ(stroker_bind_sequence_to_vkey(ctx, "\033[B", VIRTKEY_DOWN), 0);
    EXPECT_EQ(stroker_bind_sequence_to_vkey(ctx, "\033[", VIRTKEY_LEFT), -1)
        << "a refusal keeps nothing";
    EXPECT_EQ(tracked_outstanding("mkey_t"), arrays + 4);
    EXPECT_EQ(tracked_outstanding("stroker_binding"), bindings + 2);
    EXPECT_EQ(tracked_outstanding("stroker_s"), 1u);

    std::vector<const mkey_t *> left; // as the callback is shown them
    const auto note = [](stroker_s *, void *user, const mkey_t *keys, int32_t) {
        static_cast<std::vector<const mkey_t *> *>(user)->push_back(keys);
        return 0;
    };
    timeval timeout;
    stroker_set_callback_chars(ctx, note, &left);
    stroker_consume(ctx, reinterpret_cast<const unsigned char *>("\033[A\033[B"), 6, &timeout);
    ASSERT_EQ(left.size(), 2u);

    stroker_free_context(ctx);
    EXPECT_EQ(tracked_outstanding("mkey_t"), arrays + 2);
    EXPECT_EQ(tracked_outstanding("stroker_binding"), bindings);
    EXPECT_EQ(tracked_outstanding("stroker_s"), 0u);
    EXPECT_EQ(tracked_outstanding("mc_node_s"), 0u);
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
    EXPECT_EQ(tracked_outstanding(nullptr), all + 2);
    EXPECT_EQ(*left[0], VIRTKEY_UP);
    EXPECT_EQ(*left[1], VIRTKEY_DOWN);
    for (const mkey_t *array : left)
        tracked_free(const_cast<mkey_t *>(array), "mkey_t");
}

TEST(Stroker, BindingCopiesWhatItIsGiven)
{
    Decoder decoder;
    char seq[] = "\033[A";
    mkey_t vkeys[] = {VIRTKEY_UP, 'u'};
    ASSERT_EQ(stroker_bind_sequence_to_vkeys(decoder.ctx, seq, vkeys, 2), 0);
    seq[1] = 'x';
    vkeys[0] = 0;
    EXPECT_EQ(decoder.consume(esc_up), 3);
    EXPECT_EQ(decoder.keys, keys_of("<up>\"u\""));
    EXPECT_EQ(decoder.calls, 1);
}

TEST(Stroker, WithoutACallbackBytesCountAsUsed)
{
    stroker_s *ctx = stroker_create_context();
    stroker_bind_sequence_to_vkey(ctx, esc_up, VIRTKEY_UP);
    const auto *bytes = reinterpret_cast<const unsigned char *>("ab\033[Ac");
    timeval timeout = {9, 9};
    EXPECT_EQ(stroker_consume(ctx, bytes, 6, &timeout), 6);
    EXPECT_EQ(stroker_consume_timedout(ctx, bytes, 6), 6);
    free_decoder(ctx);
}

TEST(Stroker, AllUsedMeansNoWait)
{
    Decoder decoder;
    EXPECT_EQ(decoder.consume("abc"), 3);
    EXPECT_EQ(decoder.timeout.tv_sec, 0);
    EXPECT_EQ(decoder.timeout.tv_usec, 0);
}

TEST(Stroker, EscapeDelayIsExchanged)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    timeval delay = {0, 250000};
    stroker_set_escape_delay(decoder.ctx, &delay);
    EXPECT_EQ(delay.tv_sec, 1);
    EXPECT_EQ(delay.tv_usec, 0);
    EXPECT_EQ(decoder.consume("\033"), 0);
    EXPECT_EQ(decoder.timeout.tv_sec, 0);
    EXPECT_EQ(decoder.timeout.tv_usec, 250000);
    stroker_set_escape_delay(decoder.ctx, &delay);
    EXPECT_EQ(delay.tv_usec, 250000);
}

TEST(Stroker, DelayWithOneNegativePartPassesTheCheck)
{
    Decoder decoder;
    for (timeval delay : {timeval{1, -5}, timeval{-5, 1}})
        stroker_set_escape_delay(decoder.ctx, &delay);
    timeval delay = {1, 0};
    stroker_set_escape_delay(decoder.ctx, &delay);
    EXPECT_EQ(delay.tv_sec, -5);
    EXPECT_EQ(delay.tv_usec, 1);
}

TEST(Stroker, PreparingReturnsZero)
{
    const Decoder decoder;
    EXPECT_EQ(stroker_bindings_prepare(decoder.ctx), 0);
}

TEST(Stroker, ConsumingAllocatesNothing)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    stroker_bindings_prepare(decoder.ctx);
    tracked_fail_after(1);
    EXPECT_EQ(decoder.consume("a\033[A\033x\033"), 6);
    EXPECT_EQ(decoder.time_out("\033"), 1);
    tracked_fail_after(-1);
    EXPECT_EQ(decoder.keys, keys_of("\"a\"<up><esc>\"x\"<esc>"));
}

TEST(Stroker, TimedOutDeliversAllBytesInOneCallWhateverIsBound)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    EXPECT_EQ(decoder.time_out("\033[A\x80"), 4);
    EXPECT_EQ(decoder.keys, keys_of("<esc>\"[A\"<x80>"));
    EXPECT_EQ(decoder.calls, 1);
}

TEST(Stroker, FullBlocksAreDecodedWhole)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    const std::string block = std::string(2045, 'x') + esc_up;
    EXPECT_EQ(decoder.consume(block), 2048);
    EXPECT_EQ(decoder.keys.size(), 2046u);
    EXPECT_EQ(decoder.keys.back(), VIRTKEY_UP);
    EXPECT_EQ(decoder.time_out(block), 2048);
    EXPECT_EQ(decoder.keys.size(), 2046u + 2048u);
}

TEST(Stroker, OfMoreThan2048BytesTheFirst2048AreDecoded)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    EXPECT_EQ(decoder.consume(std::string(5000, 'x')), 2048);
    EXPECT_EQ(decoder.keys.size(), 2048u);
    EXPECT_EQ(decoder.timeout.tv_sec, 0) << "as if these had been all";

    const std::string split = std::string(2046, 'x') + esc_up; // 2049 bytes
    EXPECT_EQ(decoder.consume(split), 2046);
    EXPECT_EQ(decoder.timeout.tv_sec, 1);
    EXPECT_EQ(decoder.consume(std::string_view(split).substr(2046)), 3);
    EXPECT_EQ(decoder.keys.back(), VIRTKEY_UP);
}

TEST(Stroker, SequenceOf0xe9IsAWildcardAndMayHoldEightOfThem)
{
    Decoder decoder;
    EXPECT_EQ(decoder.bind("\xe9\xe9\xe9\xe9\xe9\xe9\xe9\xe9\xe9", VIRTKEY_UP), -1);
    EXPECT_EQ(decoder.bind("a\xe9\xe9\xe9\xe9\xe9\xe9\xe9\xe9", VIRTKEY_UP), 0);
    EXPECT_EQ(decoder.consume("ab"), 2);
    EXPECT_EQ(decoder.keys, keys_of("\"ab\""));
}

TEST(Stroker, BindingInsideTheCallbackWorksForTheKeysAfterIt)
{
    stroker_s *ctx = stroker_create_context();
    const auto bind_more = [](stroker_s *decoder, void *, const mkey_t *keys, int32_t) {
        if (keys[0] == VIRTKEY_UP) {
            EXPECT_EQ(stroker_bind_sequence_to_vkey(decoder, "\033[B", VIRTKEY_DOWN), 0);
        }
        return 0;
    };
    stroker_set_callback_chars(ctx, bind_more, nullptr);
    stroker_bind_sequence_to_vkey(ctx, esc_up, VIRTKEY_UP);
    timeval timeout;
    const auto *bytes = reinterpret_cast<const unsigned char *>("\033[A\033[");
    EXPECT_EQ(stroker_consume(ctx, bytes, 5, &timeout), 3);
    free_decoder(ctx);
}

TEST(StrokerAssertions, EachTextComesFromStroker)
{
    Decoder decoder;
    const auto *byte = reinterpret_cast<const unsigned char *>("a");
    const mkey_t up = VIRTKEY_UP;
    const std::string too_long(33, 'a');
    timeval zero = {0, 0};
    timeval negative = {-1, -1};
    stroker_s *ctx = decoder.ctx;

    EXPECT_ASSERTION(stroker_free_context(nullptr), "ctx", "stroker");
    EXPECT_ASSERTION(stroker_set_callback_chars(nullptr, Decoder::take_keys, nullptr), "ctx",
                     "stroker");
    EXPECT_ASSERTION(stroker_set_callback_chars(ctx, nullptr, nullptr), "fn", "stroker");
    EXPECT_ASSERTION(stroker_bindings_prepare(nullptr), "ctx", "stroker");

    EXPECT_ASSERTION(stroker_set_escape_delay(nullptr, &zero), "ctx", "stroker");
    EXPECT_ASSERTION(stroker_set_escape_delay(ctx, nullptr), "t", "stroker");
    EXPECT_ASSERTION(stroker_set_escape_delay(ctx, &zero), "t->tv_sec > 0 || t->tv_usec > 0",
                     "stroker");
    EXPECT_ASSERTION(stroker_set_escape_delay(ctx, &negative), "t->tv_sec > 0 || t->tv_usec > 0",
                     "stroker");

    constexpr char bind_text[] = "ctx && seq && vkeys && vkeys_len > 0";
    EXPECT_ASSERTION(stroker_bind_sequence_to_vkeys(nullptr, "a", &up, 1), bind_text, "stroker");
    EXPECT_ASSERTION(stroker_bind_sequence_to_vkeys(ctx, nullptr, &up, 1), bind_text, "stroker");
    EXPECT_ASSERTION(stroker_bind_sequence_to_vkeys(ctx, "a", nullptr, 1), bind_text, "stroker");
    EXPECT_ASSERTION(stroker_bind_sequence_to_vkeys(ctx, "a", &up, 0), bind_text, "stroker");
    EXPECT_ASSERTION(stroker_bind_sequence_to_vkey(nullptr, "a", up), bind_text, "stroker");
    EXPECT_ASSERTION(stroker_bind_sequence_to_vkeys(ctx, "", &up, 1), "len > 0", "stroker");
    EXPECT_ASSERTION(stroker_bind_sequence_to_vkeys(ctx, too_long.c_str(), &up, 1), "len <= 32",
                     "stroker");

    constexpr char consume_text[] = "ctx && buf && buflen > 0";
    EXPECT_ASSERTION(stroker_consume(nullptr, byte, 1, &zero), consume_text, "stroker");
    EXPECT_ASSERTION(stroker_consume(ctx, nullptr, 1, &zero), consume_text, "stroker");
    EXPECT_ASSERTION(stroker_consume(ctx, byte, 0, &zero), consume_text, "stroker");
    EXPECT_ASSERTION(stroker_consume(ctx, byte, 1, nullptr), "out_timeout && ctx", "stroker");
    EXPECT_ASSERTION(stroker_consume_timedout(nullptr, byte, 1), consume_text, "stroker");
    EXPECT_ASSERTION(stroker_consume_timedout(ctx, nullptr, 1), consume_text, "stroker");
    EXPECT_ASSERTION(stroker_consume_timedout(ctx, byte, -1), consume_text, "stroker");
    EXPECT_ASSERTION(decoder.time_out(std::string(2049, 'a')), "buflen <= 2048", "stroker");
}

TEST(StrokerAssertions, PendingWithoutAPlaceForTheWaitIsOneToo)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    const auto *byte = reinterpret_cast<const unsigned char *>("\033");
    EXPECT_ASSERTION(stroker_consume(decoder.ctx, byte, 1, nullptr), "out_timeout && ctx",
                     "stroker");
}

void bind_the_same_bytes_twice()
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    EXPECT_ASSERTION(decoder.bind(esc_up, VIRTKEY_UP), "!t->value", "mckeys");
    EXPECT_EQ(decoder.consume(esc_up), 3) << "the first binding is still in force";
    EXPECT_EQ(decoder.keys, keys_of("<up>"));
}

// In a process of its own: nobody has what the second binding took before it failed.
TEST(StrokerAssertions, BindingTheSameBytesTwiceIsTheTriesOwn)
{
    const auto act = [] {
        bind_the_same_bytes_twice();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(act(), testing::ExitedWithCode(0), "");
}

// The traces of the trie's own steps are the trie's affair.
Texts without_trie(const Texts &traces)
{
    static const char *const of_trie[] = {
        "looking for",   "no key for",   "going to insert", "starting at", "allocating new",
        "setting value", "we found a",   "Going to search", "considering", "no match for",
        "node for",      "found a node", "returning ",
    };
    Texts left;
    for (const std::string &text : traces) {
        const std::string_view said = std::string_view(text).substr(9);
        if (std::none_of(std::begin(of_trie), std::end(of_trie),
                         [&](const char *start) { return said.starts_with(start); }))
            left.push_back(text);
    }
    return left;
}

TEST(StrokerTraces, BindingTellsItsLengthBeforeTheTrieSpeaks)
{
    Decoder decoder;
    Traces traces;
    decoder.bind(esc_up, VIRTKEY_UP);
    const Texts all = traces.take();
    ASSERT_GT(all.size(), 3u);
    EXPECT_EQ(all[0], "(debug): going to add a string of length 3");
    EXPECT_EQ(all[1], "(debug): m->sequence len 3");
    EXPECT_EQ(all[2], "(debug): looking for s[0] = 27");
    EXPECT_EQ(without_trie(all).size(), 2u);
}

TEST(StrokerTraces, BoundByteIsTracedSignExtended)
{
    Decoder decoder;
    Traces traces;
    decoder.bind("\x80", VIRTKEY_UP);
    EXPECT_EQ(traces.take()[2], "(debug): looking for s[0] = 4294967168");
}

TEST(StrokerTraces, EscapeDelayIsTracedAsTwoPlainIntegers)
{
    Decoder decoder;
    Traces traces;
    timeval delay = {2, 500};
    stroker_set_escape_delay(decoder.ctx, &delay);
    EXPECT_EQ(traces.take(), Texts({"(debug): escape delay is set to 2.500"}));
}

TEST(StrokerTraces, ConsumingTellsEachStep)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    Traces traces;
    EXPECT_EQ(decoder.consume("x\033[A\033y"), 6);
    EXPECT_EQ(without_trie(traces.take()),
              Texts({"(debug): skip is 1", "(debug): consuming 1 as PLAIN",
                     "(debug): consumed: 1, doing a match",
                     "(debug): Calling mc_search_exact on buf of len 5 (first: 27)",
                     "(debug): mc_search_exact returned 0", "(debug): got a first complete match",
                     "(debug): got length 3", "(debug): first complete len: 3, t->sequence_len = 3",
                     "(debug): consumed another 3 for new total 4", "(debug): skip is 0",
                     "(debug): consumed: 4, doing a match",
                     "(debug): Calling mc_search_exact on buf of len 2 (first: 27)",
                     "(debug): mc_search_exact returned -1",
                     "(debug): consumed another 1 for new total 5", "(debug): skip is -1",
                     "(debug): consuming 1 to END as PLAIN", "(debug): consumed: 6, returning"}));
    EXPECT_EQ(decoder.keys, keys_of("\"x\"<up><esc>\"y\"")) << "as without traces";
}

TEST(StrokerTraces, PendingTellsThatNothingWasUsed)
{
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    Traces traces;
    EXPECT_EQ(decoder.consume("\033"), 0);
    EXPECT_EQ(without_trie(traces.take()),
              Texts({"(debug): skip is 0", "(debug): consumed: 0, doing a match",
                     "(debug): Calling mc_search_exact on buf of len 1 (first: 27)",
                     "(debug): mc_search_exact returned -1", "(debug): failed to consume, breaking",
                     "(debug): consumed: 0, returning"}));
}

// Feeds a stream in pieces as a host does.
std::vector<mkey_t> keys_of_pieces(Decoder &decoder, const std::string &stream,
                                   std::mt19937 &random)
{
    std::string kept;
    decoder.keys.clear();
    for (size_t at = 0; at < stream.size();) {
        const size_t len = std::min<size_t>(1 + random() % 7, stream.size() - at);
        kept += stream.substr(at, len);
        at += len;
        kept.erase(0, static_cast<size_t>(decoder.consume(kept)));
        EXPECT_LT(kept.size(), 32u);
    }
    if (!kept.empty())
        decoder.time_out(kept);
    return decoder.keys;
}

TEST(StrokerRandom, StreamCutAnywhereGivesTheSameKeys)
{
    constexpr unsigned seed = 31;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    constexpr std::string_view alphabet = "\033\033[OA1~x\x7f\xe9";
    Decoder decoder;
    decoder.bind(esc_up, VIRTKEY_UP);
    decoder.bind("\033OA", VIRTKEY_UP);
    decoder.bind("\033[1~", VIRTKEY_HOME);
    decoder.bind("\033[1111~", VIRTKEY_END);
    decoder.bind("\x7f", VIRTKEY_BACKSPACE);
    for (int round = 0; round < 500; round++) {
        if (round == 250)
            stroker_bindings_prepare(decoder.ctx);
        std::string stream(random() % 300, ' ');
        for (char &c : stream)
            c = alphabet[random() % alphabet.size()];
        if (stream.empty())
            continue;
        decoder.keys.clear();
        const auto used = static_cast<size_t>(decoder.consume(stream));
        if (used < stream.size())
            decoder.time_out(std::string_view(stream).substr(used));
        const auto whole = decoder.keys;
        EXPECT_EQ(keys_of_pieces(decoder, stream, random), whole) << spell(stream);
    }
}

} // namespace
