// The built-in commands: their tables, the command under each name, what the
// printing ones write, and their assertions.

#include "support/assertion.h"
#include "support/editor.h"
#include "support/spelling.h"

#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/varno.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::keys_of;
using varno_test::line_of;
using varno_test::state_of;

struct TableRow {
    const char *name;
    prompt_command_fn callback;
};

// clang-format off
const TableRow builtin_rows[] = {
    {"move-character-back", p_builtin_charback_cb},
    {"move-character-forward", p_builtin_charfwd_cb},
    {"history-previous", p_builtin_histprev_cb},
    {"history-next", p_builtin_histnext_cb},
    {"move-word-back", p_builtin_wordback_cb},
    {"move-word-forward", p_builtin_wordfwd_cb},
    {"move-begin", p_builtin_bol_cb},
    {"move-end", p_builtin_eolr_cb},
    {"delete-character-back", p_builtin_delcharback_cb},
    {"delete-character-forward", p_builtin_delcharfwd_cb},
    {"delete-word-back", p_builtin_delwordback_cb},
    {"delete-word-forward", p_builtin_delwordfwd_cb},
    {"delete-end", p_builtin_deleol_cb},
    {"delete-begin", p_builtin_delbol_cb},
    {"delete-command", p_builtin_delall_cb},
    {"redisplay", p_builtin_redisplay_cb},
    {"echo", p_builtin_echo_cb},
    {"yank-first", p_builtin_yank_cb},
    {"yank-next", p_builtin_reyank_cb},
    {"capitalize-word", p_builtin_capitalize_cb},
    {"toupper-word", p_builtin_wordupper_cb},
    {"tolower-word", p_builtin_wordlower_cb},
    {"compact-whitespace", p_builtin_compact_cb},
    {"move-context-forward", p_builtin_ctxfwd_cb},
    {"move-context-back", p_builtin_ctxback_cb},
    {"invoke", p_builtin_invoke_cb},
    {"execute-and-restore", p_builtin_execute_and_restore_cb},
};

const TableRow sample_rows[] = {
    {"accept-token", p_builtin_accept_cb},
    {"expand-token", p_builtin_expand_cb},
    {"complete-token", p_builtin_complete_cb},
    {"execute", p_builtin_execute_cb},
};
// clang-format on

template <size_t wanted_rows, size_t rows>
void expect_table(const TableRow (&wanted)[wanted_rows], const prompt_builtin_s (&table)[rows])
{
    static_assert(rows == wanted_rows + 1);
    for (size_t i = 0; i < wanted_rows; i++) {
        EXPECT_STREQ(table[i].name, wanted[i].name);
        EXPECT_EQ(table[i].callback, wanted[i].callback) << wanted[i].name;
    }
    EXPECT_EQ(table[wanted_rows].name, nullptr);
    EXPECT_EQ(table[wanted_rows].callback, nullptr);
}

TEST(BuiltinTables, HoldTheirRowsInOrder)
{
    expect_table(builtin_rows, prompt_builtins);
    expect_table(sample_rows, prompt_builtins_test);
}

class BuiltinCommands : public testing::Test {
  protected:
    BuiltinCommands()
    {
        prompt_util_bind_insert(p);
        EXPECT_EQ(prompt_util_bind_commands(p, prompt_builtins, nullptr), 0);
        EXPECT_EQ(prompt_util_bind_commands(p, prompt_builtins_test, nullptr), 0);
    }

    ~BuiltinCommands() override
    {
        prompt_history_s *t = p->history.cqh_first;
        for (int i = 0; i < p->history_count; i++, t = t->next)
            tracked_free(t->command, "BYTE*");
        prompt_free(p);
    }

    void set(const std::string &marked)
    {
        const pstate ps = state_of(marked);
        prompt_set_content(p, &ps);
        p->flags = 0;
    }

    // Runs a command by its registered name; returns what it wrote to standard output.
    std::string run(const char *name)
    {
        const prompt_command_s *command = prompt_get_command(p, name);
        EXPECT_NE(command, nullptr) << name;
        testing::internal::CaptureStdout();
        command->inv.callback(p, &p->ps, command->inv.invoke_name, nullptr, nullptr);
        return testing::internal::GetCapturedStdout();
    }

    prompt_s *p = prompt_create();
};

struct Effect {
    const char *name;
    const char *before;
    const char *after;
    uint32_t flags;
};

TEST_F(BuiltinCommands, EachNameHasItsEffect)
{
    // clang-format off
    const Effect rows[] = {
        {"move-character-back",      "sho|w",                "sh|ow",    2},
        {"move-character-back",      "|show",                "|show",    0},
        {"move-character-forward",   "sho|w",                "show|",    2},
        {"move-character-forward",   "show|",                "show|",    0},
        {"move-word-back",           "show ip|",             "show |ip", 0},
        {"move-word-forward",        "|show ip",             "show |ip", 0},
        {"move-begin",               "sho|w",                "|show",    2},
        {"move-begin",               "|show",                "|show",    2},
        {"move-end",                 "sho|w",                "show|",    2},
        {"delete-character-back",    "sho|w",                "sh|w",     2},
        {"delete-character-back",    "|show",                "|show",    0},
        {"delete-character-forward", "sh|ow",                "sh|w",     2},
        {"delete-character-forward", "show|",                "show|",    0},
        {"delete-word-back",         "show ip|",             "show|",    2},
        {"delete-word-forward",      "|show ip",             "|ip",      2},
        {"delete-end",               "sh|ow",                "sh|",      2},
        {"delete-begin",             "sh|ow",                "|ow",      2},
        {"delete-begin",             "|show",                "|show",    0},
        {"delete-command",           "sh|ow",                "|",        2},
        {"history-previous",         "sh|ow",                "sh|ow",    0},
        {"history-next",             "sh|ow",                "sh|ow",    0},
        {"yank-first",               "sh|ow",                "sh|ow",    0},
        {"yank-next",                "sh|ow",                "sh|ow",    0},
        {"capitalize-word",          "sh|ow",                "Sh|ow",    2},
        {"toupper-word",             "sh|ow",                "SH|OW",    2},
        {"tolower-word",             "SH|OW",                "sh|ow",    2},
        {"compact-whitespace",       " sh  ip |",            "sh ip|",   2},
        {"move-context-forward",     "sh|ow",                "sh|ow",    0},
        {"move-context-back",        "sh|ow",                "sh|ow",    0},
        {"accept-token",             "sh|ow",                "sh |ow",   2},
        {"expand-token",             "sh|ow",                "sh|ow",    0},
        {"complete-token",           "sh|ow",                "sh|ow",    0},
        {"invoke",                   "move-end a|b",         " ab|",     2},
        {"invoke",                   "invoke move-begin a|", "| a",      2},
    };
    // clang-format on
    for (const Effect &row : rows) {
        set(row.before);
        EXPECT_EQ(run(row.name), "") << row.name;
        EXPECT_EQ(line_of(p->ps), row.after) << row.name << " on " << row.before;
        EXPECT_EQ(p->flags, row.flags) << row.name << " on " << row.before;
    }
}

TEST_F(BuiltinCommands, HistoryCommandsPutTheCursorAtTheEnd)
{
    set("o|ne");
    prompt_history_add(p, 1);
    set("t|wo");
    prompt_history_add(p, 1);
    set("typed|");
    run("history-previous");
    EXPECT_EQ(line_of(p->ps), "two|");
    run("history-previous");
    EXPECT_EQ(line_of(p->ps), "one|");
    run("history-next");
    EXPECT_EQ(line_of(p->ps), "two|");
    EXPECT_EQ(p->flags, 2u);
}

struct Output {
    const char *name;
    const char *before;
    const char *after;
    uint32_t flags;
    const char *written;
};

// clang-format off
const Output output_rows[] = {
    {"redisplay", "sh|ow",          "sh|ow",   4, "{show}\n\r"},
    {"echo",      "a|b",            "a|b",     4, "{ab}a<>b\n\r"},
    {"echo",      "|",              "|",       4, "{}<>\n\r"},
    {"invoke",    "|",              "|",       4, "{}Cannot invoke empty command\n\r"},
    {"invoke",    "   |",           "   |",    4, "{   }No tokens in command\n\r"},
    {"invoke",    "ab c\"|",        "ab c\"|", 4, "{ab c\"}Unmatched opening \" at column 4\n\r"},
    {"invoke",    "it's|",          "it's|",   4, "{it's}Unmatched opening ' at column 2\n\r"},
    {"invoke",    "x|",             "|",       6, "{}No command for [x]\t\n\r"},
    {"invoke",    "frobnicate x|",  "|",       6, "{ x}No command for [frobnicate]\t\n\r"},
    {"invoke",    "echo a|b",       " a|b",    6, "{ ab} a<>b\n\r"},
    {"invoke",    "invoke|",        "|",       6, "{}Cannot invoke empty command\n\r"},
    {"invoke",    "invoke invoke|", "|",       6, "{}Cannot invoke empty command\n\r"},
};
// clang-format on

// Shows in standard output where an output bracket begins, and the line there.
int print_line(prompt_s *p, void *, const char *, ...)
{
    std::printf("{%s}", p->ps.buf);
    return 0;
}

TEST_F(BuiltinCommands, PrintingCommandsWriteBetweenTheOutputBrackets)
{
    prompt_set_print_callback(p, print_line, nullptr);
    for (const Output &row : output_rows) {
        set(row.before);
        EXPECT_EQ(run(row.name), row.written) << row.name << " on " << row.before;
        EXPECT_EQ(line_of(p->ps), row.after) << row.name << " on " << row.before;
        EXPECT_EQ(p->flags, row.flags) << row.name << " on " << row.before;
    }
}

struct Restored {
    const char *line;
    uint32_t flags;
    const char *written;
};

TEST_F(BuiltinCommands, ExecuteAndRestorePrintsAndKeepsTheLine)
{
    // clang-format off
    const Restored rows[] = {
        {"delete-command|", 0, ""},
        {"|",               4, "{}Cannot invoke empty command\n\r"},
        {"echo x|y",        4, "{ xy} x<>y\n\r"},
        {"nobody|",         4, "{}No command for [nobody]\t\n\r"},
    };
    // clang-format on
    prompt_set_print_callback(p, print_line, nullptr);
    for (const Restored &row : rows) {
        set(row.line);
        EXPECT_EQ(run("execute-and-restore"), row.written) << row.line;
        EXPECT_EQ(line_of(p->ps), row.line);
        EXPECT_EQ(p->flags, row.flags) << row.line;
    }
}

TEST_F(BuiltinCommands, ExecuteAndRestorePutsBackEveryFlag)
{
    set("move-begin x|");
    p->flags = PROMPT_FLAG_SCROLLED;
    run("execute-and-restore");
    EXPECT_EQ(p->flags, static_cast<uint32_t>(PROMPT_FLAG_SCROLLED));
}

// Putting back the line puts back no offset.
TEST_F(BuiltinCommands, ExecuteAndRestoreOfAClearLeavesTheLineScrolledBack)
{
    set("delete-command|");
    p->display_offset = 8;
    run("execute-and-restore");
    EXPECT_EQ(line_of(p->ps), "delete-command|");
    EXPECT_EQ(p->display_offset, 0);
    EXPECT_EQ(p->flags, 0u);
}

int keep_name(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    EXPECT_EQ(ps, &p->ps);
    EXPECT_EQ(argument, nullptr);
    *static_cast<const void **>(ctx) = invoked;
    p->flags = 0;
    return 0;
}

TEST_F(BuiltinCommands, InvokeRunsAHostCommandByItsOwnNameAndMarksTheLineDirtyAfterwards)
{
    const void *invoked = nullptr;
    prompt_bind_command(p, "mine", keep_name, &invoked);
    set("mine arg|");
    run("invoke");
    EXPECT_EQ(invoked, prompt_get_command(p, "mine")->inv.invoke_name);
    EXPECT_EQ(line_of(p->ps), " arg|");
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(BuiltinCommands, InvokeOfACommandWithoutACallbackCallsNothing)
{
    prompt_bind_command(p, "silent", nullptr, nullptr);
    set("silent x|");
    EXPECT_EQ(run("invoke"), "");
    EXPECT_EQ(line_of(p->ps), " x|");
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(BuiltinCommands, InvokeTakesAWordAsLongAsTheLine)
{
    const std::string word(255, 'w');
    set(word + "|");
    EXPECT_EQ(run("invoke"), "No command for [" + word + "]\t\n\r");
}

TEST_F(BuiltinCommands, SampleExecuteRunsAddsEndsBrowsingAndClears)
{
    set("first|");
    prompt_history_add(p, 1);
    prompt_history_previous(p, 0);
    set("show ip|");
    prompt_set_print_callback(p, print_line, nullptr);
    const std::string block = "Foobie:\r\n    FOO: 1, BAR: 2, XXX: 3\r\n"
                              "    FOO: 1, BAR: 2, XXX: 3\r\n";
    EXPECT_EQ(block.size(), 65u);
    EXPECT_EQ(run("execute"), "{show ip}" + block + "By the way, the command was [show ip]\n\r");
    EXPECT_EQ(line_of(p->ps), "|");
    EXPECT_EQ(p->flags, 6u);
    EXPECT_STREQ(p->history.cqh_first->command, "show ip");
    EXPECT_EQ(p->history_browse, nullptr);
    EXPECT_EQ(p->history_count, 2);
}

TEST_F(BuiltinCommands, SampleExecuteSuppressesARepeat)
{
    for (int i = 0; i < 2; i++) {
        set("show ip|");
        run("execute");
    }
    EXPECT_EQ(p->history_count, 1);
}

TEST_F(BuiltinCommands, SampleExecuteOfQuitEndsTheProcessByItsExitHandlers)
{
    set("quit|");
    EXPECT_EXIT(
        {
            std::atexit([] { std::fputs("left", stderr); });
            p_builtin_execute_cb(p, &p->ps, "execute", nullptr, nullptr);
            std::_Exit(3);
        },
        testing::ExitedWithCode(0), "^left$");
}

// In a child, for a test program that ends with status 0 has passed.
TEST_F(BuiltinCommands, SampleExecuteReturnsForAnyOtherLine)
{
    for (const char *marked : {"quit |", " quit|", "qui|", "Quit|", "show|", "|"}) {
        set(marked);
        EXPECT_EXIT(
            {
                p_builtin_execute_cb(p, &p->ps, "execute", nullptr, nullptr);
                std::_Exit(3);
            },
            testing::ExitedWithCode(3), "")
            << marked;
    }
}

TEST_F(BuiltinCommands, SampleExecuteWithoutMemoryForTheHistoryIsFatalBeforeBrowsingEnds)
{
    set("first|");
    prompt_history_add(p, 1);
    prompt_history_previous(p, 0);
    set("show|");
    testing::internal::CaptureStdout();
    EXPECT_ASSERTION(
        {
            tracked_fail_after(1);
            p_builtin_execute_cb(p, &p->ps, "execute", nullptr, nullptr);
        },
        "!prompt_history_add(p, 1)", "prompt_builtin");
    tracked_fail_after(-1);
    testing::internal::GetCapturedStdout();
    EXPECT_NE(p->history_browse, nullptr);
    EXPECT_EQ(line_of(p->ps), "show|");
    EXPECT_EQ(p->flags, 4u);
}

TEST_F(BuiltinCommands, EveryCommandInsistsOnItsArguments)
{
    for (const auto &table :
         {std::vector<TableRow>(std::begin(builtin_rows), std::end(builtin_rows)),
          std::vector<TableRow>(sample_rows + 1, std::end(sample_rows))}) {
        for (const TableRow &row : table) {
            const char *text = "p && ps && invoked";
            EXPECT_ASSERTION(row.callback(nullptr, &p->ps, row.name, nullptr, nullptr), text,
                             "prompt_builtin");
            EXPECT_ASSERTION(row.callback(p, nullptr, row.name, nullptr, nullptr), text,
                             "prompt_builtin");
            EXPECT_ASSERTION(row.callback(p, &p->ps, nullptr, nullptr, nullptr), text,
                             "prompt_builtin");
        }
    }
    EXPECT_ASSERTION(p_builtin_accept_cb(nullptr, &p->ps, "accept-token", nullptr, nullptr), "p",
                     "prompt_builtin");
    EXPECT_ASSERTION(p_builtin_accept_cb(p, nullptr, "accept-token", nullptr, nullptr), "ps",
                     "prompt_builtin");
    EXPECT_ASSERTION(p_builtin_accept_cb(p, &p->ps, nullptr, nullptr, nullptr), "invoked",
                     "prompt_builtin");
}

TEST_F(BuiltinCommands, EveryCommandInsistsOnItsName)
{
    for (const TableRow &row : builtin_rows)
        EXPECT_ASSERTION(row.callback(p, &p->ps, "another-name", nullptr, nullptr),
                         "strcmp(invoked, name) == 0", "prompt_builtin");
    for (const TableRow &row : sample_rows)
        EXPECT_ASSERTION(row.callback(p, &p->ps, "another-name", nullptr, nullptr),
                         "strcmp(invoked, name) == 0", "prompt_builtin");
}

class InsertCallbacks : public BuiltinCommands {
  protected:
    void insert(const char *spelled)
    {
        const std::vector<mkey_t> keys = keys_of(spelled);
        p_builtin_insert_string_cb(p, &p->ps, "insert-character", nullptr, nullptr, keys.data(),
                                   static_cast<int32_t>(keys.size()));
    }
};

TEST_F(InsertCallbacks, AStringInsertsOnlyItsPrintableKeys)
{
    set("a|z");
    insert("\"b\"<up><esc>\"c\"<backspace><nul><del>\"d\"<xffffffe9><x100>");
    EXPECT_EQ(line_of(p->ps), "abcd|z");
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(InsertCallbacks, AStringInsertsNothingWithoutACharacterCallback)
{
    prompt_bind_insert(p, nullptr, nullptr, p_builtin_insert_string_cb, nullptr);
    set("a|");
    insert("\"bc\"");
    EXPECT_EQ(line_of(p->ps), "a|");
    EXPECT_EQ(p->flags, 0u);
}

TEST_F(InsertCallbacks, AStringStopsSilentlyAtTheFullLine)
{
    set(std::string(253, 'a') + "|");
    insert("\"bcd\"");
    EXPECT_EQ(line_of(p->ps), std::string(253, 'a') + "bc|");
}

TEST_F(InsertCallbacks, ACharacterIsInsertedWhateverItsValue)
{
    set("a|");
    const mkey_t key = 'b';
    p_builtin_insert_char_cb(p, &p->ps, "insert-character", nullptr, nullptr, &key, 1);
    EXPECT_EQ(line_of(p->ps), "ab|");
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(InsertCallbacks, InsistOnTheirArguments)
{
    const mkey_t key = 'b';
    const char *name = "insert-character";
    for (const auto &insert_cb : {p_builtin_insert_char_cb, p_builtin_insert_string_cb}) {
        const char *source = "prompt_builtin";
        EXPECT_ASSERTION(insert_cb(nullptr, &p->ps, name, nullptr, nullptr, &key, 1), "p", source);
        EXPECT_ASSERTION(insert_cb(p, nullptr, name, nullptr, nullptr, &key, 1), "ps", source);
        EXPECT_ASSERTION(insert_cb(p, &p->ps, nullptr, nullptr, nullptr, &key, 1), "invoked",
                         source);
        EXPECT_ASSERTION(insert_cb(p, &p->ps, "other", nullptr, nullptr, &key, 1),
                         "strcmp(invoked, name) == 0", source);
        EXPECT_ASSERTION(insert_cb(p, &p->ps, name, nullptr, nullptr, nullptr, 1), "buf", source);
    }
    EXPECT_ASSERTION(p_builtin_insert_char_cb(p, &p->ps, name, nullptr, nullptr, &key, 2),
                     "buflen == 1", "prompt_builtin");
    EXPECT_ASSERTION(p_builtin_insert_char_cb(p, &p->ps, name, nullptr, nullptr, &key, 0),
                     "buflen == 1", "prompt_builtin");
    EXPECT_ASSERTION(p_builtin_insert_string_cb(p, &p->ps, name, nullptr, nullptr, &key, 0),
                     "buflen >= 1", "prompt_builtin");
    // Where both are wrong, one asks for the keys first and the other for their count.
    EXPECT_ASSERTION(p_builtin_insert_char_cb(p, &p->ps, name, nullptr, nullptr, nullptr, 2), "buf",
                     "prompt_builtin");
    EXPECT_ASSERTION(p_builtin_insert_string_cb(p, &p->ps, name, nullptr, nullptr, nullptr, 0),
                     "buflen >= 1", "prompt_builtin");
}

} // namespace
