// The telnet parser's tables, lifetimes and contract, and its behaviour on random
// streams against a plain model. Single streams are scripts: telnet_*.t.

#include "support/assertion.h"
#include "support/memory.h"
#include "support/telnet_host.h"
#include "support/telnet_model.h"

#include <varno/platform_default.h>
#include <varno/telnet_parser.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::expect_as_model;
using varno_test::TelnetEvent;
using varno_test::TelnetHost;
using namespace std::string_view_literals;

// Tables

struct CommandRow {
    int code;
    int macro;
    const char *name;
    const char *parameters;
    const char *description;
};

// clang-format off
constexpr CommandRow command_rows[] = {
    {240, TN_NVT_SE,        "SE",        nullptr,                "End of subnegotiation parameters"},
    {241, TN_NVT_NOP,       "NOP",       nullptr,                "No operation"},
    {242, TN_NVT_DATAMARK,  "DATAMARK",  nullptr,                "Dara Mark - the data stream portion of a Synch. (unsupported)"},
    {243, TN_NVT_BRK,       "BRK",       nullptr,                "NVT character Break"},
    {244, TN_NVT_INTERRUPT, "INTERRUPT", nullptr,                "The function Interrupt Process"},
    {245, TN_NVT_ABRT,      "ABRT",      nullptr,                "The function Abort Output"},
    {246, TN_NVT_AYT,       "AYT",       nullptr,                "The function Are You There"},
    {247, TN_NVT_ECHAR,     "ECHAR",     nullptr,                "The function Erase Character"},
    {248, TN_NVT_ELINE,     "ELINE",     nullptr,                "The function Erase Line"},
    {249, TN_NVT_GA,        "GA",        nullptr,                "The Go Ahead signal"},
    {250, TN_NVT_SB,        "SB",        "option code + params", "Indicates that what follows is subnegotiation of the option"},
    {251, TN_NVT_WILL,      "WILL",      "option code",          "Indicates the desire to begin performing, or confirmation that youare now performing, the option"},
    {252, TN_NVT_WONT,      "WONT",      "option code",          "Indicates the refusal to perform, or continue performing, the indicated option"},
    {253, TN_NVT_DO,        "DO",        "option code",          "Indicates the request that the other party perform, or confirmation that you are expecting the other party to perform, the indicated option"},
    {254, TN_NVT_DONT,      "DONT",      "option code",          "Indicates the demand that the other party stop performing, or confirmation that you are no longer expecting the other party to perform, the indicated option"},
    {255, TN_NVT_IAC,       "IAC",       nullptr,                "Data Byte 255 (escaped to allow as transit data)"},
};
// clang-format on

TEST(TelnetCommandTable, HasARowForEachCodeLetterForLetter)
{
    TelnetHost host;
    ASSERT_EQ(std::size(command_rows), 16u);
    for (const CommandRow &wanted : command_rows) {
        SCOPED_TRACE(wanted.name);
        EXPECT_EQ(wanted.macro, wanted.code);
        const telnet_command_s *row = telnet_iac_command_name(host.context(), wanted.code);
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(row->code, wanted.code);
        EXPECT_STREQ(row->name, wanted.name);
        EXPECT_STREQ(row->parameters, wanted.parameters);
        EXPECT_STREQ(row->description, wanted.description);
        EXPECT_EQ(row, telnet_iac_command_name(host.context(), 240) + (wanted.code - 240));
    }
    EXPECT_TRUE(host.take_events().empty());
}

TEST(TelnetCommandTable, HasNoRowForOtherCodesAndTracesThem)
{
    TelnetHost host;
    for (const int code : {239, 256, 0, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(telnet_iac_command_name(host.context(), code), nullptr);
        const std::vector<TelnetEvent> wanted = {
            {"trace", "Request for out of range command name: " + std::to_string(code)}};
        EXPECT_EQ(host.take_events(), wanted);
    }
}

TEST(TelnetOpening, IsTheseTwentyFourBytes)
{
    constexpr unsigned char wanted[] = {255, 251, 1, 255, 251, 31, 255, 253, 31, 255, 251, 3,
                                        255, 253, 3, 255, 253, 24, 255, 250, 24, 1,   255, 240};
    TelnetHost host;
    int32_t count = -1;
    const unsigned char *bytes = telnet_make_options(host.context(), &count);
    ASSERT_EQ(count, 24);
    EXPECT_EQ(std::memcmp(bytes, wanted, 24), 0);
    const std::vector<TelnetEvent> traced = {{"trace", "Returning options buffer (length: 24)"}};
    EXPECT_EQ(host.take_events(), traced);
    EXPECT_EQ(telnet_make_options(host.context(), &count), bytes);
}

// Lifetimes and callbacks

TEST(TelnetContext, IsEmptyWhenCreatedAndTaggedByItsRecord)
{
    const size_t before = tracked_outstanding("telparser_s");
    telparser_s *ctx = telnet_create_context();
    ASSERT_NE(ctx, nullptr);
    EXPECT_EQ(tracked_outstanding("telparser_s"), before + 1);
    constexpr telparser_s empty = {};
    EXPECT_EQ(std::memcmp(ctx, &empty, sizeof(empty)), 0);
    telnet_free_context(ctx);
    EXPECT_EQ(tracked_outstanding("telparser_s"), before);
    telnet_free_context(nullptr);
}

TEST(TelnetContext, IsNullWithoutMemory)
{
    const int failures = varno_test::fail_each_allocation([](const auto &fail_from_here) {
        fail_from_here();
        telparser_s *ctx = telnet_create_context();
        telnet_free_context(ctx);
        return ctx != nullptr;
    });
    EXPECT_EQ(failures, 1);
}

TEST(TelnetCallbacks, AreStoredWithTheirOwnUserPointers)
{
    const telnet_data_fn recv = [](auto...) { return 1; };
    const telnet_data_fn send = [](auto...) { return 2; };
    const telnet_trace_fn trace = [](auto...) {};
    const telnet_naws_fn naws = [](auto...) {};
    const telnet_term_fn term = [](auto...) {};
    const telnet_brk_fn brk = [](auto...) {};
    int users[6];
    telparser_s ctx = {};
    telnet_set_callback_recv(&ctx, recv, &users[0]);
    telnet_set_callback_send(&ctx, send, &users[1]);
    telnet_set_callback_trace(&ctx, trace, &users[2]);
    telnet_set_callback_naws(&ctx, naws, &users[3]);
    telnet_set_callback_term(&ctx, term, &users[4]);
    telnet_set_callback_brk(&ctx, brk, &users[5]);
    const telparser_s wanted = {recv, &users[0], send, &users[1], trace, &users[2],
                                naws, &users[3], term, &users[4], brk,   &users[5]};
    EXPECT_EQ(std::memcmp(&ctx, &wanted, sizeof(wanted)), 0);
    telnet_set_callback_recv(&ctx, nullptr, nullptr);
    EXPECT_EQ(ctx.recv_fn, nullptr);
    EXPECT_EQ(ctx.recv_user, nullptr);
}

int32_t consume(telparser_s &ctx, std::string_view stream)
{
    return telnet_consume(&ctx, reinterpret_cast<const unsigned char *>(stream.data()),
                          static_cast<int32_t>(stream.size()));
}

// Data, an escaped byte, a break, a window size and a terminal type.
constexpr std::string_view all_reports = "abc\xff\xff\xff\xf3\xff\xfa\x1f\0\x50\0\x18\xff\xf0"
                                         "\xff\xfa\x18\0VT100\xff\xf0"sv;

TEST(TelnetCallbacks, AreSkippedWhenEmptyAllButTrace)
{
    telparser_s ctx = {};
    telnet_set_callback_trace(
        &ctx, [](auto...) {}, nullptr);
    EXPECT_EQ(consume(ctx, all_reports), static_cast<int32_t>(all_reports.size()));
    EXPECT_EQ(consume(ctx, "plain"), 5);
}

TEST(TelnetCallbacks, MayLeaveByAnException)
{
    telparser_s ctx = {};
    telnet_set_callback_trace(
        &ctx, [](auto...) {}, nullptr);
    telnet_set_callback_brk(
        &ctx, [](auto...) { throw 7; }, nullptr);
    EXPECT_THROW(consume(ctx, "\xff\xf3"), int);
    telnet_set_callback_brk(&ctx, nullptr, nullptr);
    EXPECT_EQ(consume(ctx, "\xff\xf3"), 2);
}

TEST(TelnetTerminalName, IsLoweredByTheLocaleAsASignedByte)
{
    // The C locale changes ASCII letters alone, whatever the byte's sign.
    std::string name;
    for (int c = 0xd0; c < 0xf0; c++)
        name += static_cast<char>(c);
    TelnetHost host;
    host.present("\xff\xfa\x18\0"sv);
    host.present(name + "AZ@[\xff\xf0");
    EXPECT_EQ(host.outcome(), "term " + varno_test::spell(name + "az@[") + "\nkept \"\" owed 0");
}

TEST(TelnetTrace, FormatsUpTo255Characters)
{
    TelnetHost host;
    telnet_trace(host.context(), "%s %d", "an", 1);
    const std::string longer(300, 'x');
    telnet_trace(host.context(), "%s", longer.c_str());
    telnet_trace(host.context(), "%s", longer.substr(0, 255).c_str());
    const std::vector<TelnetEvent> wanted = {
        {"trace", "an 1"}, {"trace", longer.substr(0, 255)}, {"trace", longer.substr(0, 255)}};
    EXPECT_EQ(host.take_events(), wanted);
}

// Assertions; "len == 9" is in the scripts of the window size. "buf[1] == TN_NVT_SB"
// and "term_len > 0" cannot fail from here.

TEST(TelnetAssertions, ABufferThatAReceiverChangesUnderTheParserIsFatal)
{
    std::string stream = "a\xff\xfa\x05\xff\xf0";
    telparser_s ctx = {};
    telnet_set_callback_trace(
        &ctx, [](auto...) {}, nullptr);
    telnet_set_callback_recv(
        &ctx,
        [](telparser_s *, void *user, const unsigned char *, int32_t) {
            static_cast<char *>(user)[1] = 'x'; // the IAC of the SB
            return 0;
        },
        stream.data());
    EXPECT_ASSERTION(consume(ctx, stream), "ctx && buf && buf[0] == TN_NVT_IAC && buflen > 1",
                     "telnet_parser");
}

TEST(TelnetAssertions, AWindowSizeOfAnotherLengthIsFatalWithoutACallbackToo)
{
    telparser_s ctx = {};
    telnet_set_callback_trace(
        &ctx, [](auto...) {}, nullptr);
    EXPECT_ASSERTION(consume(ctx, "\xff\xfa\x1f\0\x50\xff\xf0\xff\xf0"sv), "len == 9",
                     "telnet_parser");
}

struct Rubbed {
    std::string stream;
    std::string texts;
};

TEST(TelnetTrace, TellsThatTheEndOfAnOptionHasGone)
{
    Rubbed rubbed{"\xff\xfa\x05\x07\xff\xf0", ""};
    telparser_s ctx = {};
    telnet_set_callback_trace(
        &ctx,
        [](telparser_s *, void *user, const char *text) {
            auto &r = *static_cast<Rubbed *>(user);
            r.texts += std::string(text) + "|";
            if (std::strstr(text, "Skipping"))
                r.stream[4] = 'x';
        },
        &rubbed);
    EXPECT_EQ(consume(ctx, rubbed.stream), 0);
    EXPECT_EQ(rubbed.texts, "Skipping unsupported options negotiation for option: 5|"
                            "Unable to completely consume option: 5 (len: 6)|"
                            "Could not consume sub-opt message|NVT processing consumed 0\n|");
}

TEST(TelnetCallbacks, AreGivenTheirOwnUserPointers)
{
    int calls[6] = {};
    const auto count = [](telparser_s *, void *user, auto...) { ++*static_cast<int *>(user); };
    const auto receive = [](telparser_s *, void *user, auto...) {
        return ++*static_cast<int *>(user);
    };
    telparser_s ctx = {receive, &calls[0], receive, &calls[1], count, &calls[2],
                       count,   &calls[3], count,   &calls[4], count, &calls[5]};
    consume(ctx, all_reports);
    EXPECT_EQ(calls[0], 2) << "abc and the escaped byte";
    EXPECT_EQ(calls[1], 0);
    EXPECT_GT(calls[2], 0);
    EXPECT_EQ(calls[3], 1);
    EXPECT_EQ(calls[4], 1);
    EXPECT_EQ(calls[5], 1);
}

TEST(TelnetTrace, ATextThatCannotBeFormattedIsEmpty)
{
    TelnetHost host;
    telnet_trace(host.context(), "a%lc", static_cast<wint_t>(0x100));
    const std::vector<TelnetEvent> wanted = {{"trace", ""}};
    EXPECT_EQ(host.take_events(), wanted);
}

TEST(TelnetAssertions, NameTheirConditionAndModule)
{
    constexpr char module[] = "telnet_parser";
    TelnetHost host;
    telparser_s *ctx = host.context();
    telparser_s silent = {};
    const unsigned char byte = 'a';
    int32_t count = 0;
    EXPECT_ASSERTION(telnet_consume(nullptr, &byte, 1), "buf && buflen > 0 && ctx", module);
    EXPECT_ASSERTION(telnet_consume(ctx, nullptr, 1), "buf && buflen > 0 && ctx", module);
    EXPECT_ASSERTION(telnet_consume(ctx, &byte, 0), "buf && buflen > 0 && ctx", module);
    EXPECT_ASSERTION(telnet_consume(ctx, &byte, -1), "buf && buflen > 0 && ctx", module);
    EXPECT_ASSERTION(telnet_make_options(nullptr, &count), "ctx && out_len", module);
    EXPECT_ASSERTION(telnet_make_options(ctx, nullptr), "ctx && out_len", module);
    EXPECT_ASSERTION(telnet_make_options(&silent, &count), "ctx->trace_fn", module);
    EXPECT_ASSERTION(telnet_trace(&silent, "text"), "ctx->trace_fn", module);
    EXPECT_ASSERTION(telnet_trace(nullptr, "text"), "ctx->trace_fn", module);
    EXPECT_ASSERTION(telnet_iac_command_name(&silent, 239), "ctx->trace_fn", module);
    EXPECT_EQ(telnet_iac_command_name(&silent, 240)->code, 240);
    EXPECT_TRUE(host.take_events().empty());
}

TEST(TelnetAssertions, AnyCommandWithoutTraceCallbackIsFatal)
{
    telparser_s silent = {};
    for (const std::string_view stream :
         {"\xff"sv, "a\xff\xf1"sv, "\xff\xf3"sv, "\xff\xff"sv, "\xff\xfb\x01"sv, "\xff\x01"sv,
          "\xff\xfa"sv, "\xff\xfa\x1f\0\x50\0\x18\xff\xf0"sv})
        EXPECT_ASSERTION(consume(silent, stream), "ctx->trace_fn", "telnet_parser");
    EXPECT_EQ(consume(silent, "plain data"), 10);
}

// Random streams, dense with commands and openings.

constexpr unsigned seed = 20240229;

std::string random_stream(std::mt19937 &random)
{
    constexpr unsigned char bytes[] = {255, 255, 255, 255, 240, 240, 240, 250, 250, 250, 251,
                                       252, 253, 254, 243, 241, 31,  31,  24,  24,  0,   0,
                                       0,   5,   80,  'A', 'b', 13,  239, 249, 1,   200};
    const std::string_view pieces[] = {
        "\xff\xfa\x1f"sv, "\xff\xfa\x18\0"sv, "\xff\xf0"sv,
        "\xff\xfa\x05"sv, "\xff\xfa\xff"sv,   "VT100"sv,
        "\0\x50\0\x18"sv, "\xff\xff"sv,       "a name that is much too long for a type"sv};
    std::string stream;
    const size_t steps = 1 + random() % 30;
    for (size_t i = 0; i < steps; i++) {
        if (random() % 3 == 0)
            stream += pieces[random() % std::size(pieces)];
        else
            stream += static_cast<char>(bytes[random() % std::size(bytes)]);
    }
    return stream;
}

TEST(TelnetRandomStreams, AgreeWithTheModelCallByCall)
{
    std::mt19937 random(seed);
    RecordProperty("seed", static_cast<int>(seed));
    int failed = 0;
    for (int i = 0; i < 20000 && !HasFatalFailure(); i++) {
        TelnetHost host;
        host.byte_after = static_cast<unsigned char>(random());
        expect_as_model(host, random_stream(random));
        failed += host.has_ended() ? 1 : 0;
    }
    EXPECT_GT(failed, 0) << "no stream reached the check of the window size";
    std::printf("seed %u, %d of 20000 streams ended in an assertion\n", seed, failed);
}

TEST(TelnetRandomStreams, ComeOutTheSameHoweverTheyAreCut)
{
    std::mt19937 random(seed + 1);
    for (int i = 0; i < 10000; i++) {
        const std::string stream = random_stream(random);
        TelnetHost whole;
        whole.present(stream);
        whole.settle();
        TelnetHost cut;
        for (size_t at = 0; at < stream.size();) {
            const size_t count = 1 + random() % 7;
            cut.present(stream.substr(at, count));
            at += count;
        }
        cut.settle();
        ASSERT_EQ(cut.outcome(), whole.outcome())
            << "seed " << seed + 1 << ": " << varno_test::spell(stream);
    }
}

TEST(TelnetRandomStreams, OpeningsWithoutNumberShareOneEnd)
{
    // Each opening ends at the one end mark far away; the model searches it anew.
    std::string stream;
    for (int i = 0; i < 500; i++)
        stream += "\xff\xfa\x05"sv;
    TelnetHost host;
    expect_as_model(host, stream + "\xff\xf0" + stream + "\xff\xf0z");
    EXPECT_EQ(host.kept(), "");
}

} // namespace
