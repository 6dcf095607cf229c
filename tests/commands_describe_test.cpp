// What a set says of itself: references in each format, and random lines that a shell takes.

#include "support/memory.h"

#include <varno/commands.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

int32_t run(cli_call_s *, void *)
{
    return CLI_DONE;
}

constexpr cli_command_s row(const char *syntax, const char *help, cli_run_fn fn = nullptr,
                            const char *enters = nullptr, int32_t level = 0, uint32_t flags = 0)
{
    return {syntax, help, fn, enters, level, flags, nullptr};
}

// clang-format off
constexpr cli_command_s exec_rows[] = {
    row("show",                                "what there is"),
    row("show  vlan [VLAN(1-4094)]",           "VLANs, or *one*",   run),
    row("show vlan VLAN(1-4094)",              "its number"),
    row("ping HOST [{count COUNT(1-9)|quiet}]", "is it there?",     run),
    row("ping HOST count",                     "how many \"requests\""),
    row("ping HOST quiet",                     "less"),
    row("reload",                              "begin again",       run, nullptr, 15),
    row("secret-door",                         "nobody knows",      run, nullptr, 0, CLI_HIDDEN),
    row("configure",                           "change it",         nullptr, "conf", 1),
};
constexpr cli_command_s conf_rows[] = {
    row("[no|default] name ![NAME]",           ".name, -1 \\ '",    run),
    row("route TO(ip/) <via GATEWAY(ip)|drop>$how", "where to",     run),
    row("route TO(ip/) via",                   "by another"),
    row("route TO(ip/) drop",                  "nowhere \xff\xc3\xa4"),
    row("key MAC(mac) ID(hex) [WORDS...]",     "a key",             run),
    row("port PORT(-9223372036854775808-9223372036854775807)", "a port", nullptr, "port"),
};
constexpr cli_command_s port_rows[] = {
    row("text TEXT(line)",                     "what it is for",    run),
    row("colour COLOUR(colour)",               "of its light",      run, nullptr, 0, CLI_UNPIPED),
};
constexpr cli_mode_s modes[] = {
    {"exec", nullptr, "> ",       0,                       nullptr, nullptr},
    {"conf", "exec",  "(conf)# ", CLI_DO,                  nullptr, nullptr},
    {"port", "conf",  "(port)# ", CLI_DO | CLI_INHERITS,   nullptr, nullptr},
};
// clang-format on

// No random word would be one of these.
constexpr const char *colours[] = {"dark blue", "it's \"red\"", "|", "plain"};

void list_colours(void *, cli_shell_s *, const char *begun, cli_assist_value_fn value, void *ctx)
{
    for (const char *colour : colours) {
        if (std::strncmp(colour, begun, std::strlen(begun)) == 0)
            value(ctx, colour, nullptr);
    }
}

constexpr cli_type_s colour_type = {"colour", "a colour", nullptr, list_colours, nullptr};

#ifdef VARNO_HAS_RE2
constexpr char pattern_help[] = "a regular expression";
#else
constexpr char pattern_help[] = "a part of the row";
#endif

void append(void *ctx, const char *bytes, size_t count)
{
    static_cast<std::string *>(ctx)->append(bytes, count);
}

class CommandsDescribe : public testing::Test {
  protected:
    CommandsDescribe()
    {
        for (const cli_mode_s &mode : modes)
            EXPECT_EQ(cli_set_add_mode(set_, nullptr, &mode), 0);
        EXPECT_EQ(cli_set_add(set_, nullptr, "exec", exec_rows, std::size(exec_rows)), 0);
        EXPECT_EQ(cli_set_add(set_, nullptr, "conf", conf_rows, std::size(conf_rows)), 0);
        EXPECT_EQ(cli_set_add(set_, nullptr, "port", port_rows, std::size(port_rows)), 0);
        EXPECT_EQ(cli_set_add_type(set_, nullptr, &colour_type), 0);
        EXPECT_EQ(cli_set_host(set_, "r1"), 0);
        EXPECT_EQ(cli_set_build(set_, nullptr, nullptr), 0);
    }

    ~CommandsDescribe() override { cli_set_free(set_); }

    std::string describe(const char *format, int32_t level = 15, uint64_t seed = 1)
    {
        std::string text;
        EXPECT_EQ(cli_set_describe(set_, level, format, seed, append, &text), 0) << format;
        return text;
    }

    cli_set_s *set_ = cli_set_create();
};

TEST_F(CommandsDescribe, MarkdownHasEachCommandWithItsWords)
{
    const std::string text = describe("markdown");
    EXPECT_EQ(text.substr(0, text.find("## Mode `conf`")), R"(# Commands of r1

## Mode `exec`

### `show vlan [VLAN(1-4094)]`

VLANs, or \*one\*

- `VLAN`: its number, 1 to 4094

### `ping HOST [{count COUNT(1-9)|quiet}]`

is it there?

- `HOST`: a word
- `count`: how many "requests"
- `COUNT`: 1 to 9
- `quiet`: less

### `reload`

begin again

From level 15 on.

### `configure`

change it

From level 1 on.

Leads to mode `conf`.

)");
    EXPECT_NE(text.find("After `do` it has those of `exec`."), std::string::npos);
    EXPECT_NE(text.find("It has the commands of `conf`, too."), std::string::npos);
    EXPECT_NE(text.find("### `exit`"), std::string::npos);
    EXPECT_NE(text.find("- `COLOUR`: a colour\n\nNo filter may come after it.\n"),
              std::string::npos);
    EXPECT_EQ(text.substr(std::min(text.find("## Filters"), text.size())), R"(## Filters

After most commands `|` and one of these may come, up to 4 times; `save` is the last,
and no other comes after `json` but `no-more`.

### `include PATTERN(pattern)`

the rows that have it

- `PATTERN`: )" + std::string(pattern_help) + R"(

### `exclude PATTERN(pattern)`

the rows that do not have it

- `PATTERN`: )" + pattern_help + R"(

### `begin PATTERN(pattern)`

the first row that has it, and all after it

- `PATTERN`: )" + pattern_help + R"(

### `section PATTERN(pattern)`

the rows that have it, and what is indented below

- `PATTERN`: )" + pattern_help + R"(

### `count`

how many rows there are

### `no-more`

all rows, without pages

### `save NAME [force]`

into a file

- `NAME`: name of the file
- `force`: over an older file of that name

### `json`

as JSON
)");
    EXPECT_NE(text.find("- `via`: by another\n- `GATEWAY`: an IPv4 or IPv6 address\n"),
              std::string::npos);
}

TEST_F(CommandsDescribe, WhatIsAboveALevelOrHiddenLeavesNoTrace)
{
    for (const char *format : {"markdown", "man", "json"}) {
        const std::string text = describe(format, 1);
        EXPECT_EQ(text.find("reload"), std::string::npos) << format;
        EXPECT_EQ(text.find("nobody knows"), std::string::npos) << format;
        EXPECT_NE(text.find("configure"), std::string::npos) << format;
    }
    EXPECT_EQ(describe("walk", 0).find("configure"), std::string::npos);
    // Nor does a mode that only such a command leads to.
    for (const char *format : {"markdown", "man", "json"}) {
        EXPECT_EQ(describe(format, 0).find("conf"), std::string::npos) << format;
        EXPECT_EQ(describe(format, 0).find("port"), std::string::npos) << format;
        EXPECT_NE(describe(format, 1).find("port"), std::string::npos) << format;
    }
}

TEST_F(CommandsDescribe, ManIsMdocWithNothingThatATextCouldStart)
{
    const std::string text = describe("man");
    EXPECT_NE(text.find(".It Ic \"\\&[no|default] name ![NAME]\"\n\\&.name, -1 \\e '\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(".It Ar \"\\&TO\"\n"), std::string::npos);
}

TEST_F(CommandsDescribe, AManualPageHasTheDayOfTheSourcesAndItsNameInCapitals)
{
    ASSERT_EQ(setenv("SOURCE_DATE_EPOCH", "1709164800", 1), 0);
    const std::string text = describe("man");
    EXPECT_EQ(unsetenv("SOURCE_DATE_EPOCH"), 0);
    EXPECT_EQ(text.substr(0, text.find(".Os")), ".Dd February 29, 2024\n.Dt \"\\&R1\" 7\n") << text;
}

TEST_F(CommandsDescribe, JsonHasTheBytesThatAreNoUtf8AsCharacters)
{
    const std::string text = describe("json");
    EXPECT_NE(text.find(R"({"keyword": "drop", "help": "nowhere \u00ffä"})"), std::string::npos)
        << text;
    EXPECT_NE(text.find(R"({"argument": "ID", "type": "hex", "help": "a hexadecimal number"})"),
              std::string::npos);
    EXPECT_NE(text.find(R"("enters": "port", "filters": false)"), std::string::npos);
    EXPECT_NE(text.find(R"("level": 15, "enters": null, "filters": true)"), std::string::npos);
    EXPECT_NE(text.find(R"("filters": [)"
                        "\n"
                        R"x(  {"syntax": "include PATTERN(pattern)")x"),
              std::string::npos);
}

// One shell is given them all; and each mode is come to.
TEST_F(CommandsDescribe, AShellTakesEveryLineOfAWalk)
{
    std::set<std::string> seen;
    std::string all;
    for (uint64_t seed = 0; seed < 30; seed++) {
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set_;
        config.level = 15;
        std::string said; // of what is wrong
        config.user = &said;
        config.errors = append;
        cli_shell_s *shell = cli_shell_create(&config);
        std::istringstream lines(describe("walk", 15, seed));
        int count = 0;
        for (std::string line; std::getline(lines, line); count++) {
            ASSERT_EQ(cli_shell_run(shell, line.c_str()), CLI_DONE) << line << "\n" << said;
            seen.insert(cli_shell_mode(shell));
            all += line + "\n";
        }
        EXPECT_EQ(count, 100);
        cli_shell_free(shell);
    }
    EXPECT_EQ(seen, (std::set<std::string>{"exec", "conf", "port"}));
    for (const char *colour : {"\"dark blue\"", "\"it's \\\"red\\\"\"", "\"|\"", "plain"})
        EXPECT_NE(all.find("colour " + std::string(colour) + "\n"), all.npos) << colour;
    EXPECT_EQ(describe("walk", 15, 7), describe("walk", 15, 7));
    EXPECT_NE(describe("walk", 15, 7), describe("walk", 15, 8));
}

TEST_F(CommandsDescribe, OtherFormatsAndSetsThatAreNotBuiltAreRefused)
{
    std::string text;
    EXPECT_EQ(cli_set_describe(set_, 15, "html", 0, append, &text), -1);
    cli_set_s *empty = cli_set_create();
    EXPECT_EQ(cli_set_describe(empty, 15, "json", 0, append, &text), -1);
    cli_set_free(empty);
    EXPECT_EQ(text, "");
}

TEST(CommandsDescribeWithoutMemory, NothingIsToldAndNothingLeftBehind)
{
    for (const char *format : {"markdown", "man", "json", "walk"}) {
        const int failures = varno_test::fail_each_allocation([&](const auto &fail_from_here) {
            cli_set_s *set = cli_set_create();
            cli_set_add(set, nullptr, nullptr, exec_rows, std::size(exec_rows) - 1);
            EXPECT_EQ(cli_set_build(set, nullptr, nullptr), 0);
            bool is_told = false;
            fail_from_here();
            const int32_t result = cli_set_describe(
                set, 15, format, 1,
                [](void *ctx, const char *, size_t) { *static_cast<bool *>(ctx) = true; },
                &is_told);
            EXPECT_EQ(result, is_told ? 0 : -1);
            cli_set_free(set);
            return result == 0;
        });
        EXPECT_GT(failures, 5) << format;
    }
}

} // namespace
