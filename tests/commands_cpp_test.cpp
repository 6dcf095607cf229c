// The C++ header: what handlers are given, what they throw and keep; its reading of notation
// against the library's.

#include "notation.h"

#include <varno/commands.hpp>
#include <varno/platform_default.h>

#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

using varno::Address;
using varno::argument;
using varno::Call;
using varno::command;
using varno::Words;

int objects;

// How many of a call's own objects there are.
struct Counted {
    Counted() { objects++; }
    ~Counted() { objects--; }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;
    int64_t calls = 0;
};

int32_t count_calls(Call &call, int64_t calls)
{
    auto &counted = call.state<Counted>();
    if (call.is_cancelled())
        return CLI_FAILED;
    call.print(++counted.calls, " of ", calls, objects == 1 ? "\n" : "?\n");
    return counted.calls < calls ? CLI_MORE : CLI_DONE;
}

int32_t wait(Call &call)
{
    auto &counted = call.state<Counted>();
    *static_cast<uint64_t *>(call.user()) = call.ticket();
    return counted.calls++ == 0 ? CLI_LATER : CLI_DONE;
}

uint64_t ticket;

// clang-format off
const cli_command_s rows[] = {
    varno::row<"show">("what there is"),
    command<"vlan VLAN(1-4094) [name NAME]">(
        [](Call &call, int64_t vlan, std::optional<std::string_view> name) {
            call.print(vlan, " ", name.value_or("-"), "\n");
        }, "a VLAN"),
    command<"[no] hostname ![HOST]">(
        [](Call &call, bool no, const std::optional<std::string_view> &host) {
            call.print(no, " ", host.value_or("-"), "\n");
        }, "a name"),
    command<"ping HOST(ip) [{count COUNT(1-9)|from VIA(ipv6)|quiet}]">(
        [](Call &call, const Address &host, std::optional<int64_t> count,
           std::optional<Address> via, bool quiet) {
            call.print(host.family, " ", host.bytes[3], " ", count.value_or(0), " ",
                       via ? via->bits : 0, " ", quiet, "\n");
        }, "ask"),
    command<"[no|default] mtu ![BYTES(1-9)]">(
        [](Call &call, bool no, bool to_default, std::optional<int64_t> bytes) {
            call.print(no, to_default, bytes.value_or(0), "\n");
        }, "size"),
    command<"echo TEXT... ">(
        [](Call &call, Words words) {
            for (const std::string_view word : words)
                call.print(word, ";");
            call.print(words.size(), words.empty(), words[0], "\n");
        }, "print"),
    command<"set <on|off|level N(-5-5)>$state at <WHEN(0-9)>">(
        [](Call &call, std::optional<int64_t> n, std::string_view state, int64_t when) {
            call.print(state, " ", n.value_or(9), " ", when, "\n");
        }, "set"),
    command<"show [brief] KEY(hex) <WHO|MAC(mac)>">(
        [](auto &call) {
            const Address mac = argument<"MAC">(call).value_or(Address{});
            call.print(argument<"brief">(call), " ", argument<"KEY">(call), " ",
                       argument<"WHO">(call).value_or("-"), " ", mac.bytes[5], mac.bits, "\n");
        }, "show"),
    command<"long N(1-9)", count_calls>("a long output"),
    command<"wait", wait>("waits", {.user = &ticket}),
    command<"fail VLAN">([](Call &call, std::string_view vlan) {
        return vlan == "7" ? call.fail_at("VLAN", "taken") : call.fail("no"); }, "fails"),
    command<"throw WHAT">([](Call &call, std::string_view what) {
        call.state<Counted>();
        throw std::runtime_error(std::string(what)); }, "throws"),
    command<"match PATTERN(pattern) [but ALSO(pattern)] [in ROWS(pattern)...]">(
        [](Call &call, std::string_view pattern, std::optional<std::string_view> also, Words in) {
            call.print(pattern, " ", also.value_or("-"), " ", in.size(), "\n");
        }, "a pattern"),
    command<"parts">([](Call &call) {
        call.print('a', true, INT64_MIN, " ", UINT64_MAX, " ", static_cast<signed char>(-1), "\n");
    }, "of each kind"),
    command<"secret WORD(secret)">([](Call &, std::string_view) {}, "", {.flags = CLI_FORGOTTEN}),
};

constexpr struct {
    const char *line;
    const char *written;
} lines[] = {
    {"vlan 010",                     "10 -\n"},
    {"vlan 7 name \"a b\"",          "7 a b\n"},
    {"hostname r1",                  "0 r1\n"},
    {"no hostname",                  "1 -\n"},
    {"ping 1.2.3.4",                 "4 4 0 0 0\n"},
    {"ping ::1 quiet from ::2 c 3",  "6 0 3 128 1\n"},
    {"default mtu",                  "010\n"},
    {"mtu 3",                        "003\n"},
    {"echo a 'b c'",                 "a;b c;20a\n"},
    {"set of at 3",                  "off 9 3\n"},
    {"set l -5 at 0",                "level -5 0\n"},
    {"show ff me",                   "0 255 me 00\n"},
    {"show bri 0x10 0:1:2:3:4:5",    "1 16 0:1:2:3:4:5 00\n"},
    {"show 10 00:01:02:03:04:05",    "0 16 - 548\n"},
    {"long 3",                       "1 of 3\n2 of 3\n3 of 3\n"},
    {"fail 7",                       "  fail 7\n       ^\n% taken\n"},
    {"fail 8",                       "% no\n"},
    {"match via.*eth0",              "via.*eth0 - 0\n"},
    {"match a but b|c in d e",       "a b|c 2\n"},
    {"parts",                        "a1-9223372036854775808 18446744073709551615 -1\n"},
    {"secret x",                     ""},
};
// clang-format on

class Commands : public testing::Test {
  protected:
    Commands()
    {
        cli_set_add(set_, nullptr, nullptr, rows, std::size(rows));
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.user = &written_;
        config.output = [](void *user, const char *bytes, size_t count) {
            static_cast<std::string *>(user)->append(bytes, count);
        };
        shell_ = cli_shell_create(&config);
    }

    ~Commands() override
    {
        cli_shell_free(shell_);
        cli_set_free(set_);
        EXPECT_EQ(objects, 0);
    }

    cli_set_s *const set_ = cli_set_create();
    cli_shell_s *shell_ = nullptr;
    std::string written_;
};

TEST_F(Commands, HandlersGetWhatTheSyntaxHas)
{
    for (const auto &one : lines) {
        written_.clear();
        cli_shell_run(shell_, one.line);
        EXPECT_EQ(written_, one.written) << one.line;
    }
}

TEST_F(Commands, WhatAHandlerThrowsReachesWhoRanTheLine)
{
    EXPECT_THROW(cli_shell_run(shell_, "throw away"), std::runtime_error);
    EXPECT_EQ(objects, 0);
    EXPECT_EQ(cli_shell_run(shell_, "vlan 7"), CLI_DONE);
}

TEST_F(Commands, ACallThatWaitsKeepsItsObject)
{
    EXPECT_EQ(cli_shell_run(shell_, "wait"), CLI_LATER);
    EXPECT_EQ(objects, 1);
    EXPECT_EQ(cli_wake(set_, ticket), 0);
    EXPECT_EQ(cli_shell_resume(shell_), CLI_DONE);
    EXPECT_EQ(objects, 0);
    EXPECT_EQ(cli_shell_run(shell_, "wait"), CLI_LATER);
}

// Both readers, on texts that are nearly notation: the same problem at the same column.

using Library = varno::commands::Problem;

// By the header's numbers.
constexpr Library problems[] = {
    Library::empty_syntax, // of none
    Library::empty_syntax,     Library::empty_alternative, Library::open_bracket,
    Library::stray_character,  Library::bad_word,          Library::bad_type,
    Library::bad_range,        Library::name_twice,        Library::negation_without_no,
    Library::nesting_too_deep,
};

int32_t know_every_type(void *, std::string_view)
{
    return 0;
}

std::string say(Library problem, int column)
{
    const std::string text = varno::commands::text_of(problem);
    return problem == Library::name_twice ? text : text + " at " + std::to_string(column);
}

std::string library_says(const std::string &syntax)
{
    const varno::commands::TypeNames types = {nullptr, know_every_type, nullptr};
    varno::commands::Findings findings = {};
    varno::commands::Notation notation = {};
    varno::commands::read_notation(syntax, types, findings, notation);
    const std::string said =
        findings.list.used > 0 ? say(findings.list[0].problem, findings.list[0].column) : "fine";
    notation.nodes.release();
    findings.list.release();
    return said;
}

std::string header_says(const std::string &syntax)
{
    using varno::notation::Problem;
    varno::notation::Parameter parameters[64];
    varno::notation::Reader reader(syntax.c_str(), parameters);
    reader.read();
    if (reader.problem() == Problem::none || reader.problem() == Problem::flag_twice)
        return "fine";
    return say(problems[static_cast<size_t>(reader.problem())], reader.column());
}

TEST(Notation, TheHeaderReadsItAsTheLibraryDoes)
{
    const char *const beginnings[] = {"",
                                      "",
                                      "",
                                      "[no] ",
                                      "[ no ] ",
                                      "[no|default] ",
                                      "[ no|default ] ",
                                      "[no | defaul",
                                      "[no|no] ",
                                      "[ no|default]"};
    const char *const pieces[] = {
        " ",     " ", " ",     "<",   ">",   "[",      "]",  "[no] ", "{",    "}",     "|",
        "(",     ")", "$",     "![",  "A",   "B",      "a",  "b",     "word", "(1-5)", "(-3-",
        "(5-1)", "0", "(mac)", "...", "(x)", "(-0-1)", "\"", "C-1_",  "]",    "9",     "(pattern)"};
    std::mt19937 random(1);
    int fine = 0;
    std::string deep = "a";
    for (int i = 0; i < 60000; i++) {
        std::string syntax = beginnings[random() % std::size(beginnings)];
        for (size_t parts = random() % 12; parts > 0; parts--)
            syntax += pieces[random() % std::size(pieces)];
        const std::string expected = library_says(syntax);
        ASSERT_EQ(header_says(syntax), expected) << syntax;
        fine += expected == "fine" ? 1 : 0;
    }
    EXPECT_GT(fine, 1000);
    for (int depth = 1; depth < 20; depth++) {
        deep = "[" + deep + "]";
        EXPECT_EQ(header_says(deep), library_says(deep)) << deep;
    }
    for (const char *range :
         {"9223372036854775807-9223372036854775807", "0-9223372036854775808",
          "-9223372036854775808-0", "-9223372036854775809-0", "1--1", "-5--5"}) {
        const std::string syntax = std::string("a N(") + range + ")";
        EXPECT_EQ(header_says(syntax), library_says(syntax)) << syntax;
    }
}

} // namespace
