// Filters after "|": what passes, what is refused, what is saved, long outputs.

#include "support/command_shells.h"
#include "support/heap_bytes.h"
#include "support/memory.h"

#include <varno/commands.h>

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace {

int32_t show_routes(cli_call_s *call, void *)
{
    cli_print(call, "Routes\n"
                    "10.0.0.0/8\n  via eth0\n  metric 1\n"
                    "10.2.0.0/16\n  via eth1\n");
    cli_print(call, "192.168.0.0/16\n");
    cli_print(call, "  via eth1");
    return CLI_DONE;
}

int32_t count_up(cli_call_s *call, void *)
{
    auto *shown = static_cast<int64_t *>(cli_state(call, sizeof(int64_t), nullptr));
    if (!shown || cli_is_cancelled(call))
        return CLI_FAILED;
    cli_print(call, "row %" PRId64 "\n", ++*shown);
    return *shown < cli_number(call, "COUNT") ? CLI_MORE : CLI_DONE;
}

int calls_of_wide = 0;

// A row of 4096 bytes a call.
int32_t show_wide(cli_call_s *call, void *)
{
    if (cli_is_cancelled(call))
        return CLI_FAILED;
    calls_of_wide++;
    cli_print(call, "%s\n", std::string(4096, 'x').c_str());
    return CLI_MORE;
}

int32_t echo(cli_call_s *call, void *)
{
    for (size_t i = 0; i < cli_count(call, "TEXT"); i++)
        cli_print(call, "%s\n", cli_text_at(call, "TEXT", i));
    return CLI_DONE;
}

int32_t fail_late(cli_call_s *call, void *)
{
    cli_print(call, "a row\nhalf a row");
    cli_fail(call, "it cannot");
    cli_print(call, "too late\n");
    return CLI_FAILED;
}

int32_t write_long(cli_call_s *call, void *)
{
    const std::string half(2500, 'x');
    cli_print(call, "%s", half.c_str());
    cli_print(call, "%sNEEDLE\nshort NEEDLE\n", half.c_str());
    return CLI_DONE;
}

int32_t write_bytes(cli_call_s *call, void *)
{
    cli_print(call,
              "\"q\\ \t\x01\x7f\xff caf\xc3\xa9 \xe2\x82\xac \xed\xa0\x80 \xf0\x9f\x98\x80\n");
    std::string row(4095, 'y');
    cli_print(call, "%s\xc3\xa9z\n\n", row.c_str());
    return CLI_DONE;
}

// clang-format off
const cli_command_s rows[] = {
    {"show",                      "what there is",   nullptr,     nullptr, 0, 0, nullptr},
    {"show routes",               "the routes",      show_routes, nullptr, 0, 0, nullptr},
    {"show numbers COUNT(1-2000000)", "a long output", count_up,  nullptr, 0, 0, nullptr},
    {"show wide",                 "rows without end", show_wide, nullptr, 0, 0, nullptr},
    {"show long",                 "a long row",      write_long,  nullptr, 0, 0, nullptr},
    {"show bytes",                "odd bytes",       write_bytes, nullptr, 0, 0, nullptr},
    {"show secret",               "unpiped",         show_routes, nullptr, 0, CLI_UNPIPED, nullptr},
    {"show late",                 "fails",           fail_late,   nullptr, 0, 0, nullptr},
    {"echo TEXT...",              "print words",     echo,        nullptr, 0, 0, nullptr},
    {"say TEXT(line)",            "print the rest",  echo,        nullptr, 0, 0, nullptr},
    {"grep PATTERN [{TEXT(1-9)|loud}]", "a pattern", echo,        nullptr, 0, 0, nullptr},
};
// clang-format on

// A place for one file, which is full after some bytes.
struct Disk {
    std::string name, written;
    size_t room = SIZE_MAX;
    const char *why_no_room = nullptr;
    const char *why_at_end = nullptr; // NULL: it can be saved
    bool is_forced = false;
    int begun = 0, whole = 0, given_up = 0;

    cli_save_s hooks()
    {
        return {this,
                [](cli_shell_s *, void *user, const char *wanted, int32_t may_replace,
                   const char **why) -> void * {
                    auto *disk = static_cast<Disk *>(user);
                    if (std::strchr(wanted, '/')) {
                        *why = "a name without \"/\"";
                        return nullptr;
                    }
                    disk->name = wanted;
                    disk->is_forced = may_replace != 0;
                    disk->begun++;
                    return disk;
                },
                [](void *file, const char *bytes, size_t count, const char **why) {
                    auto *disk = static_cast<Disk *>(file);
                    if (count > disk->room - disk->written.size()) {
                        *why = disk->why_no_room;
                        return -1;
                    }
                    disk->written.append(bytes, count);
                    return 0;
                },
                [](void *file, int32_t is_whole, const char **why) {
                    auto *disk = static_cast<Disk *>(file);
                    (is_whole ? disk->whole : disk->given_up)++;
                    *why = disk->why_at_end;
                    return disk->why_at_end ? -1 : 0;
                }};
    }
};

class Pipes : public varno_test::CommandShells {
  protected:
    Pipes()
    {
        EXPECT_EQ(cli_set_add(set_, nullptr, nullptr, rows, std::size(rows)), 0);
        std::string errors;
        EXPECT_EQ(cli_set_build(
                      set_,
                      [](void *ctx, const cli_finding_s *one) {
                          *static_cast<std::string *>(ctx) += one->is_error ? one->text : "";
                      },
                      &errors),
                  0)
            << errors;
        cli_shell_config_s config = shell_config();
        config.save = &hooks_;
        make_batch(config);
    }

    Disk disk_;
    cli_save_s hooks_ = disk_.hooks();
};

struct Line {
    const char *line;
    const char *written;
};

// clang-format off
constexpr Line lines[] = {
    {"show routes | include via",           "  via eth0\n  via eth1\n  via eth1\n"},
    {"show routes | inc via | exc eth1",    "  via eth0\n"},
    {"show routes | begin 192",             "192.168.0.0/16\n  via eth1\n"},
    {"show routes | section 10.2",        "10.2.0.0/16\n  via eth1\n"},
    {"show routes | section 10 | count",   "5\n"},
    {"show routes | count",                 "8\n"},
    {"show routes | count | count | count", "1\n"},
    {"show routes | include nothing | count", "0\n"},
    {"show routes | include nothing",       ""},
    {"show routes | count | json",          "[\n  \"8\"\n]\n"},
    {"show routes | include 0/16 | json",   "[\n  \"10.2.0.0/16\",\n  \"192.168.0.0/16\"\n]\n"},
    {"show routes | include nothing | json", "[]\n"},
    {"show routes | include 0/16 | no-more", "10.2.0.0/16\n192.168.0.0/16\n"},
    {"show routes | include 'via eth0'",    "  via eth0\n"},
    {"echo a b | count",                    "2\n"},
    {"echo a \"|\" count",                  "a\n|\ncount\n"},
    {"echo a \\| count",                    "a\n|\ncount\n"},
    {"echo | count",                        "|\ncount\n"},
    {"say a | count",                       "a | count\n"},
    {"grep x loud | count",                 "0\n"},
    {"grep x loud 5 | include loud",        ""},
    {"show routes |",                       "  show routes |\n               ^\n% incomplete command\n"},
    {"show routes \"|\" count",             "  show routes \"|\" count\n              ^\n% unknown word\n"},
    {"show routes |count",                  "  show routes |count\n              ^\n% unknown word\n"},
    {"show routes | grep x",                "  show routes | grep x\n                ^\n% unknown word\n"},
    {"show secret | count",                 "  show secret | count\n              ^\n% unknown word\n"},
    {"show routes | json | count",          "  show routes | json | count\n                       ^\n% unknown word\n"},
    {"show routes | count | count | count | count | count",
                                            "  show routes | count | count | count | count | count\n                                              ^\n% at most four filters\n"},
    {"show late | json",                    "[\n  \"a row\",\n  \"half a row\"\n]\n% it cannot\n"},
    {"show late | count",                   "2\n% it cannot\n"},
};
// clang-format on

TEST_F(Pipes, RowsPass)
{
    for (const Line &one : lines)
        EXPECT_EQ(run(one.line), one.written) << one.line;
}

#ifdef VARNO_HAS_RE2
TEST_F(Pipes, PatternsThatAreNoneAreRefusedAtTheirPlace)
{
    EXPECT_EQ(run("show routes | include \"a(b\""), "  show routes | include \"a(b\"\n"
                                                    "                        ^\n"
                                                    "% PATTERN: missing )\n");
    EXPECT_EQ(cli_shell_check(batch_, "show routes | include [", nullptr), CLI_ASSIST_UNKNOWN);
}
#endif

TEST_F(Pipes, ALongRowIsMatchedByItsBeginningAndShownWhole)
{
    EXPECT_EQ(run("show long | include NEEDLE"), "short NEEDLE\n");
    EXPECT_EQ(run("show long | include xxx"), std::string(5000, 'x') + "NEEDLE\n");
    EXPECT_EQ(run("show long | exclude short | json"),
              "[\n  \"" + std::string(5000, 'x') + "NEEDLE\"\n]\n");
}

TEST_F(Pipes, NoCharacterIsCutWhereALongRowIs)
{
    for (int len = 250; len < 260; len++) {
        const std::string row =
            std::string(static_cast<size_t>(len), 'x') + "\xc3\xa9\xe2\x82\xacy";
        EXPECT_EQ(run("echo " + row), row + "\n");
    }
}

// Where patterns end to look at a row no character falls apart.
TEST_F(Pipes, ALongRowHasItsCharacters)
{
    const std::string row = std::string(4095, 'y') + "\xc3\xa9z\n\n";
    EXPECT_EQ(run("show bytes | begin yyy"), row);
    EXPECT_EQ(run("show bytes | begin yyy | save x"), "");
    EXPECT_EQ(disk_.written, row);
}

TEST_F(Pipes, JsonIsValidWhateverTheBytes)
{
    EXPECT_EQ(run("show bytes | json"),
              "[\n  \"\\\"q\\\\ \\u0009\\u0001\\u007f\\u00ff caf\xc3\xa9 \xe2\x82\xac "
              "\\u00ed\\u00a0\\u0080 \xf0\x9f\x98\x80\",\n  \"" +
                  std::string(4095, 'y') + "\xc3\xa9z\",\n  \"\"\n]\n");
}

TEST_F(Pipes, RowsAreSaved)
{
    EXPECT_EQ(run("show routes | include via | save routes"), "");
    EXPECT_EQ(disk_.name, "routes");
    EXPECT_FALSE(disk_.is_forced);
    EXPECT_EQ(disk_.written, "  via eth0\n  via eth1\n  via eth1\n");
    EXPECT_EQ(disk_.whole, 1);
    disk_.written.clear();
    EXPECT_EQ(run("show routes | count | json | save routes force"), "");
    EXPECT_TRUE(disk_.is_forced);
    EXPECT_EQ(disk_.written, "[\n  \"8\"\n]\n");
    EXPECT_EQ(run("show routes | save a/b"), "  show routes | save a/b\n"
                                             "                     ^\n"
                                             "% NAME: a name without \"/\"\n");
    EXPECT_NE(run("show late | save late").find("% it cannot"), std::string::npos);
    EXPECT_EQ(disk_.given_up, 1);
    disk_.written.clear();
    disk_.room = 100;
    EXPECT_EQ(run("show numbers 1000000 | save all"), "% not all could be saved\n");
    EXPECT_EQ(disk_.given_up, 2);
    EXPECT_LE(disk_.written.size(), 100U);
    EXPECT_EQ(run("show long | save all"), "% not all could be saved\n"); // one call, to its end
    EXPECT_EQ(disk_.given_up, 3);
    disk_.why_no_room = "the disk is full";
    EXPECT_EQ(run("show numbers 1000000 | save all"),
              "% not all could be saved: the disk is full\n");
    EXPECT_EQ(run("show long | save all"), "% not all could be saved: the disk is full\n");
    EXPECT_EQ(disk_.given_up, 5);
    EXPECT_EQ(disk_.whole, 2);
    disk_.room = SIZE_MAX;
    disk_.why_at_end = "the disk\007 has gone";
    EXPECT_EQ(run("show routes | save all"), "% not all could be saved: the disk? has gone\n");
    EXPECT_EQ(disk_.whole, 3);
    EXPECT_NE(run("show routes | save a | count").find("unknown word"), std::string::npos);
}

TEST_F(Pipes, WithoutAPlaceForFilesThereIsNoSave)
{
    make_session(shell_config(), true, 6);
    EXPECT_EQ(type("show routes | s?"), "show routes | s\n"
                                        "  section           the rows that have it, and what is "
                                        "indented below\n"
                                        "> show routes | s");
    EXPECT_NE(type("ave x\r").find("unknown word"), std::string::npos);
}

TEST_F(Pipes, FiltersAreListedAndCompleted)
{
    make_session(shell_config(), true, 6);
    EXPECT_EQ(type("show routes | inc\t"), "show routes | include ");
    type("via ?");
    EXPECT_EQ(sent_, "via \n"
                     "  |                 filter the output\n"
                     "  <cr>              the rows that have it\n"
                     "> show routes | include via ");
    EXPECT_EQ(type("| co\t\r"), "| count \n3\n> ");
    EXPECT_NE(
        type("show numbers 3 | json | ?").find("  no-more           all rows, without pages\n> "),
        std::string::npos)
        << sent_;
}

TEST_F(Pipes, PagesAreOfWhatPasses)
{
    make_session(shell_config(), false, 6);
    EXPECT_EQ(type("show numbers 100 | include 0\r"),
              "show numbers 100 | include 0\nrow 10\nrow 20\nrow 30\nrow 40\nrow 50\n--More--");
    type("q");
    EXPECT_EQ(type("show numbers 9 | no-more\r"),
              "show numbers 9 | no-more\n"
              "row 1\nrow 2\nrow 3\nrow 4\nrow 5\nrow 6\nrow 7\nrow 8\nrow 9\n> ");
    EXPECT_NE(type("show numbers 9\r").find("--More--"), std::string::npos);
}

TEST_F(Pipes, AnInterruptEndsWhatNothingPasses)
{
    make_session(shell_config(), true, 6);
    EXPECT_EQ(type("show numbers 2000000 | include nothing\r", 10),
              "show numbers 2000000 | include nothing\n");
    EXPECT_EQ(tsession_wait(session_), 0);
    const std::string ended = type("\x03", 0);
    EXPECT_EQ(ended.substr(ended.size() - 2), "> ");
    EXPECT_EQ(type("echo a\r"), "echo a\na\n> ");
}

TEST_F(Pipes, ManyRowsTakeNoMoreMemoryThanSome)
{
    constexpr size_t most_bytes = 1100000;
    make_session(shell_config());
    type("show numbers 9 | include 9\r");
    const size_t idle = varno_test::heap_bytes();
    for (const char *line :
         {"show numbers 100000 | include nothing\r",
          "show numbers 100000 | exclude [a-m] | include ^9+$ | begin 99 | section 77\r"}) {
        type(line, 0);
        size_t most = idle;
        while (tsession_wait(session_) == 0) {
            tsession_time_out(session_);
            most = std::max(most, varno_test::heap_bytes());
        }
        EXPECT_GT(most, idle) << line;
        EXPECT_LT(most, idle + most_bytes) << line;
        EXPECT_LT(varno_test::heap_bytes(), idle + 65536) << line;
        EXPECT_EQ(sent_.substr(sent_.size() - 2), "> ");
    }
}

// Others have their turn, whatever a pattern takes: by rows, and by the steps that it may need.
TEST_F(Pipes, ATurnIsBoundedInWork)
{
    make_session(shell_config());
    const auto calls_a_turn = [&](const std::string &pattern) {
        type("show wide | include " + pattern + "\r", 0);
        calls_of_wide = 0;
        tsession_time_out(session_);
        const int calls = calls_of_wide;
        type("\x03");
        return calls;
    };
    EXPECT_EQ(calls_a_turn("nothing"), 32);
#ifdef VARNO_HAS_RE2
    EXPECT_LE(calls_a_turn("x{0,200}x{0,200}y"), 2);
    EXPECT_NE(run("show long | include x{0,900}x{0,900}y").find("% PATTERN: pattern too large"),
              std::string::npos);
#endif
}

TEST(PipesWithoutMemory, NothingIsLeftBehind)
{
    const int failures = varno_test::fail_each_allocation([&](const auto &fail_from_here) {
        Disk disk;
        const cli_save_s hooks = disk.hooks();
        bool is_done = false;
        fail_from_here();
        cli_set_s *set = cli_set_create();
        cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
        config.set = set;
        config.save = &hooks;
        if (set && cli_set_add(set, nullptr, nullptr, rows, std::size(rows)) == 0 &&
            cli_set_build(set, nullptr, nullptr) == 0) {
            cli_shell_s *shell = cli_shell_create(&config);
            is_done = shell &&
                      cli_shell_run(shell, "show routes | include via | count") == CLI_DONE &&
                      cli_shell_run(shell, "show routes | json | save x") == CLI_DONE;
            cli_shell_free(shell);
            EXPECT_EQ(disk.begun, disk.whole + disk.given_up);
        }
        cli_set_free(set);
        return is_done;
    });
    EXPECT_GT(failures, 30);
}

} // namespace
