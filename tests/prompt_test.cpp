// The prompt context: settings, commands, key bindings and the dispatch of keys.

#include "support/assertion.h"
#include "support/memory.h"
#include "support/spelling.h"
#include "support/traces.h"

#include <varno/platform_default.h>
#include <varno/varno.h>

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::keys_of;
using varno_test::spell;

// Notes every callback as a line of text.
struct Recorder {
    std::vector<std::string> events;

    std::vector<std::string> take() { return std::exchange(events, {}); }
};

int note_command(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    EXPECT_EQ(ps, &p->ps);
    std::string event = std::string("run ") + invoked;
    if (argument)
        event += std::string(" ") + static_cast<const char *>(argument);
    static_cast<Recorder *>(ctx)->events.push_back(event);
    return 7;
}

int note_insert(const char *what, prompt_s *p, pstate *ps, const char *invoked, void *ctx,
                void *argument, const mkey_t *buf, int32_t buflen)
{
    EXPECT_EQ(ps, &p->ps);
    EXPECT_STREQ(invoked, "insert-character");
    EXPECT_EQ(argument, nullptr);
    static_cast<Recorder *>(ctx)->events.push_back(what +
                                                   spell(std::vector<mkey_t>(buf, buf + buflen)));
    return 7;
}

int note_char(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument,
              const mkey_t *buf, int32_t buflen)
{
    return note_insert("char ", p, ps, invoked, ctx, argument, buf, buflen);
}

int note_string(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument,
                const mkey_t *buf, int32_t buflen)
{
    return note_insert("string ", p, ps, invoked, ctx, argument, buf, buflen);
}

// Notes what flags are up when an insert function is called.
int note_flags(prompt_s *p, pstate *, const char *, void *ctx, void *, const mkey_t *, int32_t)
{
    *static_cast<uint32_t *>(ctx) = p->flags;
    return 0;
}

int drop_bindings(prompt_s *p, pstate *, const char *, void *, void *, const mkey_t *, int32_t)
{
    prompt_init_keys(p);
    return 0;
}

int bind(prompt_s *p, const char *name, const char *sequence, void *argument = nullptr)
{
    const std::vector<mkey_t> keys = keys_of(sequence);
    return prompt_bind_keys(p, name, keys.data(), static_cast<int>(keys.size()), argument);
}

int consume(prompt_s *p, const char *spelled)
{
    const std::vector<mkey_t> keys = keys_of(spelled);
    return prompt_consume(p, keys.data(), static_cast<int>(keys.size()));
}

using Events = std::vector<std::string>;

class Prompt : public testing::Test {
  protected:
    Prompt() { prompt_bind_insert(p, note_char, &recorder, note_string, &recorder); }
    ~Prompt() override
    {
        prompt_free(p);
        EXPECT_EQ(tracked_outstanding(nullptr), before_);
    }

    size_t before_ = tracked_outstanding(nullptr);

  public:
    Recorder recorder;
    prompt_s *p = prompt_create();
};

TEST(PromptCreate, SetsTheDefaults)
{
    prompt_s *p = prompt_create();
    EXPECT_EQ(p->keys, nullptr);
    EXPECT_EQ(p->insert.char_fn, nullptr);
    EXPECT_EQ(p->insert.string_fn, nullptr);
    EXPECT_EQ(p->commands, nullptr);
    EXPECT_EQ(p->width, 80);
    EXPECT_EQ(p->height, 25);
    EXPECT_STREQ(p->ps.buf, "");
    EXPECT_EQ(p->ps.buf_used, 0);
    EXPECT_EQ(p->ps.cursor_location, 0);
    EXPECT_EQ(p->display_offset, 0);
    EXPECT_EQ(p->flags, 4u);
    EXPECT_EQ(p->active_model, 0);
    EXPECT_EQ(p->history.cqh_first, reinterpret_cast<prompt_history_s *>(&p->history));
    EXPECT_EQ(p->history.cqh_last, reinterpret_cast<prompt_history_s *>(&p->history));
    EXPECT_EQ(p->history_count, 0);
    EXPECT_EQ(p->history_limit, 100);
    EXPECT_EQ(p->history_browse, nullptr);
    EXPECT_EQ(p->pinfo.print_fn, nullptr);
    EXPECT_EQ(p->pinfo.flush_fn, nullptr);
    EXPECT_EQ(p->pinfo.putc_fn, nullptr);
    EXPECT_STREQ(p->disp.empty, ">");
    EXPECT_EQ(p->disp.empty_len, 1);
    EXPECT_STREQ(p->disp.normal, ">");
    EXPECT_EQ(p->disp.normal_len, 1);
    EXPECT_STREQ(p->disp.left, "$");
    EXPECT_EQ(p->disp.left_len, 1);
    EXPECT_STREQ(p->disp.right, "$");
    EXPECT_EQ(p->disp.right_len, 1);
    EXPECT_EQ(p->scroll_step, 8);
    EXPECT_EQ(tracked_outstanding("prompt_s"), 1u);
    prompt_free(p);
    EXPECT_EQ(tracked_outstanding("prompt_s"), 0u);
}

TEST(PromptCreate, GivesNullWithoutMemory)
{
    const int failed = varno_test::fail_each_allocation([](const auto &fail_from_here) {
        fail_from_here();
        prompt_s *p = prompt_create();
        if (p)
            prompt_free(p);
        return p != nullptr;
    });
    EXPECT_EQ(failed, 1);
}

TEST_F(Prompt, GuardsAndPromptsAreCopiedAndMarkDirty)
{
    struct {
        void (*set)(prompt_s *, const char *);
        const char *field;
        const int32_t *len;
        const char *longest;
    } const rows[] = {
        {prompt_set_guard_left, p->disp.left, &p->disp.left_len, "<<<<"},
        {prompt_set_guard_right, p->disp.right, &p->disp.right_len, ">>>>"},
        {prompt_set_prompt_empty, p->disp.empty, &p->disp.empty_len,
         "123456789012345678901234567890"},
        {prompt_set_prompt_normal, p->disp.normal, &p->disp.normal_len,
         "abcdefghijklmnopqrstuvwxyz1234"},
    };
    for (const auto &row : rows) {
        for (const char *text : {row.longest, "x", ""}) {
            p->flags = 0;
            row.set(p, text);
            EXPECT_STREQ(row.field, text);
            EXPECT_EQ(*row.len, static_cast<int32_t>(std::strlen(text)));
            EXPECT_EQ(p->flags, 2u);
        }
    }
}

TEST_F(Prompt, TextsThatDoNotFitAreFatal)
{
    const char *guard_text = "p && guard && strlen(guard) < 5";
    EXPECT_ASSERTION(prompt_set_guard_left(p, "12345"), guard_text, "prompt");
    EXPECT_ASSERTION(prompt_set_guard_left(p, nullptr), guard_text, "prompt");
    EXPECT_ASSERTION(prompt_set_guard_left(nullptr, "$"), guard_text, "prompt");
    EXPECT_ASSERTION(prompt_set_guard_right(p, "12345"), guard_text, "prompt");
    EXPECT_ASSERTION(prompt_set_guard_right(p, nullptr), guard_text, "prompt");
    EXPECT_ASSERTION(prompt_set_guard_right(nullptr, "$"), guard_text, "prompt");
    const char *too_long = "1234567890123456789012345678901";
    for (const auto set : {prompt_set_prompt_empty, prompt_set_prompt_normal}) {
        EXPECT_ASSERTION(set(p, too_long), "strlen(prompt) <= 30", "prompt");
        EXPECT_ASSERTION(set(p, nullptr), "prompt", "prompt");
        EXPECT_ASSERTION(set(nullptr, ">"), "p", "prompt");
    }
}

TEST_F(Prompt, DimensionsAreStoredAndMarkDirty)
{
    p->flags = 0;
    prompt_set_dimension(p, 132, 50);
    EXPECT_EQ(p->width, 132);
    EXPECT_EQ(p->height, 50);
    EXPECT_EQ(p->flags, 2u);
    prompt_set_dimension(p, 0, 0);
    EXPECT_EQ(p->width, 0);
    EXPECT_ASSERTION(prompt_set_dimension(p, -1, 0), "width >= 0", "prompt");
    EXPECT_ASSERTION(prompt_set_dimension(p, 0, -1), "height >= 0", "prompt");
    EXPECT_ASSERTION(prompt_set_dimension(nullptr, 0, 0), "p", "prompt");
}

int print_nothing(prompt_s *, void *, const char *, ...)
{
    return 0;
}

void flush_nothing(prompt_s *, void *) {}

void put_nothing(prompt_s *, void *, int) {}

TEST_F(Prompt, OutputSettersReturnThePreviousFunction)
{
    int ctx = 0;
    EXPECT_EQ(prompt_set_print_callback(p, print_nothing, &ctx), nullptr);
    EXPECT_EQ(p->pinfo.print_ctx, &ctx);
    EXPECT_EQ(prompt_set_print_callback(p, nullptr, nullptr), print_nothing);
    EXPECT_EQ(prompt_set_flush_callback(p, flush_nothing, &ctx), nullptr);
    EXPECT_EQ(p->pinfo.flush_ctx, &ctx);
    EXPECT_EQ(prompt_set_flush_callback(p, nullptr, nullptr), flush_nothing);
    EXPECT_EQ(prompt_set_putc_callback(p, put_nothing, &ctx), nullptr);
    EXPECT_EQ(p->pinfo.putc_ctx, &ctx);
    EXPECT_EQ(prompt_set_putc_callback(p, nullptr, nullptr), put_nothing);
    EXPECT_ASSERTION(prompt_set_print_callback(nullptr, nullptr, nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_set_flush_callback(nullptr, nullptr, nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_set_putc_callback(nullptr, nullptr, nullptr), "p", "prompt");
}

TEST_F(Prompt, CommandsAreFoundByNameNewestFirst)
{
    int ctx = 0;
    EXPECT_EQ(prompt_get_command(p, "one"), nullptr);
    EXPECT_EQ(prompt_bind_command(p, "one", note_command, &ctx), 0);
    EXPECT_EQ(prompt_bind_command(p, "two", note_command, nullptr), 0);
    prompt_command_s *one = prompt_get_command(p, "one");
    prompt_command_s *two = prompt_get_command(p, "two");
    ASSERT_NE(one, nullptr);
    EXPECT_STREQ(one->inv.invoke_name, "one");
    EXPECT_EQ(one->inv.callback, note_command);
    EXPECT_EQ(one->inv.context, &ctx);
    EXPECT_EQ(one->refct, 0);
    EXPECT_EQ(p->commands, two);
    EXPECT_EQ(two->next, one);
    EXPECT_EQ(one->next, nullptr);
    EXPECT_EQ(two->pprev, &p->commands);
    EXPECT_EQ(one->pprev, &two->next);
    EXPECT_EQ(prompt_get_command(p, "three"), nullptr);
    EXPECT_ASSERTION(prompt_get_command(p, nullptr), "p && invoke_name", "prompt");
    EXPECT_ASSERTION(prompt_get_command(nullptr, "one"), "p && invoke_name", "prompt");
}

TEST_F(Prompt, NamesThatAreNearlyTheSameAreDifferentCommands)
{
    const char *const names[] = {"",    "a",         "b",         "ab",          "cb",
                                 "abc", "show-a-ip", "show-b-ip", "show-b-ip-x", "abcd"};
    std::vector<prompt_command_s *> commands;
    for (const char *name : names) {
        EXPECT_EQ(prompt_get_command(p, name), nullptr) << name;
        EXPECT_EQ(prompt_bind_command(p, name, note_command, nullptr), 0);
        commands.push_back(p->commands);
    }
    for (size_t i = 0; i < commands.size(); i++)
        EXPECT_EQ(prompt_get_command(p, names[i]), commands[i]) << names[i];
}

TEST_F(Prompt, TheNamesOfTextInsertionAreRefused)
{
    EXPECT_EQ(prompt_bind_command(p, "insert-string", note_command, nullptr), -1);
    EXPECT_EQ(prompt_bind_command(p, "insert-character", note_command, nullptr), -1);
    EXPECT_EQ(p->commands, nullptr);
    EXPECT_ASSERTION(prompt_bind_command(p, nullptr, note_command, nullptr), "p && invoke_name",
                     "prompt");
    EXPECT_ASSERTION(prompt_bind_command(nullptr, "one", note_command, nullptr), "p && invoke_name",
                     "prompt");
}

TEST_F(Prompt, ANameRegisteredAgainIsPushedAgainWithoutBeingUnlinked)
{
    int ctx = 0;
    prompt_bind_command(p, "one", note_command, nullptr);
    prompt_bind_command(p, "two", note_command, nullptr);
    prompt_command_s *one = prompt_get_command(p, "one");
    prompt_command_s *two = prompt_get_command(p, "two");
    EXPECT_EQ(prompt_bind_command(p, "one", nullptr, &ctx), 0);
    EXPECT_EQ(p->commands, one);
    EXPECT_EQ(one->next, two);
    EXPECT_EQ(two->next, one);
    EXPECT_EQ(one->inv.callback, nullptr);
    EXPECT_EQ(one->inv.context, &ctx);
    EXPECT_EQ(prompt_get_command(p, "two"), two);

    EXPECT_EQ(prompt_bind_command(p, "one", note_command, nullptr), 0);
    EXPECT_EQ(one->next, one) << "the head became its own successor";

    // Undo the circle, so that the prompt can be freed.
    one->next = two;
    two->next = nullptr;
}

TEST_F(Prompt, ARecordWithoutANameIsFatalToTheSearch)
{
    prompt_bind_command(p, "one", note_command, nullptr);
    char *name = std::exchange(p->commands->inv.invoke_name, nullptr);
    EXPECT_ASSERTION(prompt_bind_command(p, "two", note_command, nullptr), "t->inv.invoke_name",
                     "prompt");
    p->commands->inv.invoke_name = name;
}

TEST_F(Prompt, BindingKeysCountsAReferenceOnTheCommand)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    EXPECT_EQ(bind(p, "one", "<esc>\"a\""), 0);
    EXPECT_EQ(bind(p, "one", "<c-b>"), 0);
    EXPECT_EQ(prompt_get_command(p, "one")->refct, 2);
    EXPECT_EQ(bind(p, "nobody", "<c-c>"), -1);
    EXPECT_EQ(bind(p, "one", "<esc>"), -1) << "begins another sequence";
    EXPECT_EQ(bind(p, "one", "<c-b>\"x\""), -1) << "begins with another sequence";
    EXPECT_EQ(prompt_get_command(p, "one")->refct, 2);
    EXPECT_EQ(tracked_outstanding("prompt_clink_s"), 2u);
}

TEST_F(Prompt, BindingASequenceTwiceIsFatal)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    EXPECT_EQ(bind(p, "one", "<c-b>"), 0);
    EXPECT_DEATH(bind(p, "one", "<c-b>"), "assertion failed: !t->value \\(mckeys:[0-9]+\\)\n");
}

TEST_F(Prompt, BindingKeysChecksItsArguments)
{
    const mkey_t key = 1;
    EXPECT_ASSERTION(prompt_bind_keys(nullptr, "one", &key, 1, nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_bind_keys(p, "one", nullptr, 1, nullptr), "s", "prompt");
    EXPECT_ASSERTION(prompt_bind_keys(p, nullptr, &key, 1, nullptr), "p && invoke_name", "prompt");
    EXPECT_EQ(prompt_bind_keys(p, "one", &key, 1, nullptr), -1);
    EXPECT_NE(p->keys, nullptr) << "the new trie stays";
    prompt_bind_command(p, "one", note_command, nullptr);
    EXPECT_EQ(prompt_bind_keys(p, "one", &key, 0, nullptr), -1);
    EXPECT_EQ(tracked_outstanding("prompt_clink_s"), 0u);
}

TEST_F(Prompt, AnUnboundContextInsertsEveryRunWhole)
{
    p->flags = 0;
    EXPECT_EQ(consume(p, "\"show\"<esc><up>"), 6);
    EXPECT_EQ(recorder.take(), Events({"string \"show<esc><up>\""}));
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(Prompt, KeysThatBeginNoSequenceAreInsertedAsOneString)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<esc>\"b\"");
    EXPECT_EQ(consume(p, "\"xyz\""), 3);
    EXPECT_EQ(recorder.take(), Events({"string \"xyz\""}));
}

TEST_F(Prompt, EachInsertFunctionGetsItsOwnContext)
{
    Recorder chars;
    Recorder strings;
    prompt_bind_insert(p, note_char, &chars, note_string, &strings);
    prompt_insert_char(p, 'a');
    consume(p, "\"b\"");
    EXPECT_EQ(chars.take(), Events({"char \"a\""}));
    EXPECT_EQ(strings.take(), Events({"string \"b\""}));
}

TEST_F(Prompt, AnInsertionMarksTheLineOnlyAfterTheFunction)
{
    uint32_t char_flags = 99;
    uint32_t string_flags = 99;
    prompt_bind_insert(p, note_flags, &char_flags, note_flags, &string_flags);
    p->flags = 0;
    prompt_insert_char(p, 'a');
    EXPECT_EQ(char_flags, 0u);
    EXPECT_EQ(p->flags, 2u);
    p->flags = 0;
    consume(p, "\"b\"");
    EXPECT_EQ(string_flags, 0u);
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(Prompt, ACompletedSequenceRunsItsCommandWithItsArgument)
{
    char argument[] = "argument";
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<esc>\"b\"", argument);
    bind(p, "one", "<c-b>");
    p->flags = 0;
    EXPECT_EQ(consume(p, "<esc>\"b\""), 2);
    EXPECT_EQ(consume(p, "<c-b>"), 1);
    EXPECT_EQ(recorder.take(), Events({"run one argument", "run one"}));
    EXPECT_EQ(p->flags, 0u) << "a command marks nothing by itself";
}

TEST_F(Prompt, EachSequenceOfACommandHasItsOwnArgument)
{
    char left[] = "left";
    char right[] = "right";
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<esc>\"b\"", left);
    bind(p, "one", "<c-b>", right);
    EXPECT_EQ(consume(p, "<c-b>"), 1);
    EXPECT_EQ(consume(p, "<esc>\"b\""), 2);
    EXPECT_EQ(recorder.take(), Events({"run one right", "run one left"}));
}

TEST_F(Prompt, ARunThatEndsInsideASequenceWaitsForTheRest)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<esc>\"[A\"");
    EXPECT_EQ(consume(p, "\"ab\"<esc>\"[\""), 2);
    EXPECT_EQ(recorder.take(), Events({"string \"ab\""}));
    EXPECT_EQ(consume(p, "<esc>\"[\""), 0);
    EXPECT_EQ(recorder.take(), Events());
    EXPECT_EQ(consume(p, "<esc>\"[A\""), 3);
    EXPECT_EQ(recorder.take(), Events({"run one"}));
}

TEST_F(Prompt, ARunWithTwoSequencesRunsOnlyTheFirst)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    prompt_bind_command(p, "two", note_command, &recorder);
    bind(p, "one", "<c-a>");
    bind(p, "two", "<c-b>");
    EXPECT_EQ(consume(p, "\"x\"<c-a><c-b>\"y\""), 2);
    EXPECT_EQ(recorder.take(), Events({"string \"x\"", "run one"}));
    EXPECT_EQ(consume(p, "<c-b>\"y\""), 1);
    EXPECT_EQ(recorder.take(), Events({"run two"}));
}

TEST_F(Prompt, AKeyThatLeavesItsSequenceGoesThroughTheCharacterFilter)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<esc>\"b\"");
    bind(p, "one", "\"zz\"");
    EXPECT_EQ(consume(p, "\"ab\"<esc>\"c\""), 4);
    EXPECT_EQ(recorder.take(), Events({"string \"ab\"", "string \"c\""}));
    EXPECT_EQ(consume(p, "\"zc\""), 2);
    EXPECT_EQ(recorder.take(), Events({"char \"z\"", "string \"c\""}));
}

TEST_F(Prompt, WhatFollowsAKeyThatDropsTheBindingsIsText)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "\"zz\"");
    prompt_bind_insert(p, drop_bindings, nullptr, note_string, &recorder);
    EXPECT_EQ(consume(p, "\"zabc\""), 4);
    EXPECT_EQ(recorder.take(), Events({"string \"abc\""}));
    bind(p, "one", "\"zz\"");
    EXPECT_EQ(consume(p, "\"z\"<c-a>"), 2);
}

// The trie of a host may hold what bindings never make.
TEST_F(Prompt, OfOverlappingSequencesTheShortestRuns)
{
    prompt_bind_command(p, "middle", note_command, &recorder);
    prompt_bind_command(p, "long", note_command, &recorder);
    bind(p, "long", "<c-x>\"abc\"");
    const auto link = [](const mc_node_s *node) { return node->keys[0].node; };
    prompt_clink_s middle = {prompt_get_command(p, "middle"), nullptr};
    mc_node_s *below = link(link(link(p->keys)));
    below->value = &middle;
    const auto run_all = [&] {
        EXPECT_EQ(consume(p, "<c-x>\"a\""), 0);
        EXPECT_EQ(consume(p, "<c-x>\"abc\""), 3);
        EXPECT_EQ(consume(p, "<c-x>\"x\""), 2);
        return recorder.take();
    };
    const Events wanted = {"run middle", "string \"x\""};
    EXPECT_EQ(run_all(), wanted);
    const varno_test::Traces traces;
    EXPECT_EQ(run_all(), wanted);
    below->value = nullptr;
}

TEST_F(Prompt, ACommandWithoutACallbackIsConsumedAllTheSame)
{
    prompt_bind_command(p, "one", nullptr, nullptr);
    bind(p, "one", "<c-a>");
    EXPECT_EQ(consume(p, "<c-a>\"x\""), 1);
}

TEST_F(Prompt, DispatchChecksItsArgumentsAndWhatTheTrieHolds)
{
    const mkey_t key = 1;
    const char *text = "p && buf && buflen > 0";
    EXPECT_ASSERTION(prompt_consume(nullptr, &key, 1), text, "prompt");
    EXPECT_ASSERTION(prompt_consume(p, nullptr, 1), text, "prompt");
    EXPECT_ASSERTION(prompt_consume(p, &key, 0), text, "prompt");
    EXPECT_ASSERTION(prompt_insert_string(nullptr, &key, 1), text, "prompt");
    EXPECT_ASSERTION(prompt_insert_string(p, nullptr, 1), text, "prompt");
    EXPECT_ASSERTION(prompt_insert_string(p, &key, 0), text, "prompt");
    EXPECT_ASSERTION(prompt_insert_char(nullptr, key), "p", "prompt");

    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<c-a>");
    auto *link = static_cast<prompt_clink_s *>(p->keys->keys[0].node->value);
    prompt_command_s *command = std::exchange(link->command, nullptr);
    EXPECT_ASSERTION(consume(p, "<c-a>"), "l->command", "prompt");
    link->command = command;
}

TEST_F(Prompt, AnInsertFunctionThatDropsTheBindingsIsFatalToTheRestOfTheRun)
{
    prompt_bind_insert(p, nullptr, nullptr, drop_bindings, nullptr);
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<esc>\"b\"");
    EXPECT_ASSERTION(consume(p, "\"x\"<esc>\"b\""), "p && buf && buflen > 0 && p->keys", "prompt");
    EXPECT_EQ(recorder.take(), Events()) << "the command did not run";
}

TEST_F(Prompt, TheWildcardIsAKeyLikeOthersUntilThereAreBindings)
{
    const mkey_t keys[] = {'x', VIRTKEY_WILDCARD, 'y'};
    EXPECT_EQ(prompt_consume(p, keys, 3), 3);
    EXPECT_EQ(recorder.take().size(), 1u);
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<esc>\"b\"");
    EXPECT_ASSERTION(prompt_consume(p, keys, 3), "s[i] != (((((mkey_t)0xFFFFFFFE) - 20) - 1))",
                     "mckeys");
    EXPECT_EQ(recorder.take(), Events()) << "nothing of the run was inserted";
}

TEST_F(Prompt, WithoutAStringFunctionKeysGoOneByOneThroughTheFilter)
{
    prompt_bind_insert(p, note_char, &recorder, nullptr, nullptr);
    p->flags = 0;
    EXPECT_EQ(consume(p, "\"a\"<esc>\"b\"<up>"), 4);
    EXPECT_EQ(recorder.take(), Events({"char \"a\"", "char \"b\""}));
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(Prompt, WithoutAnInsertBindingKeysAreDropped)
{
    prompt_bind_insert(p, nullptr, nullptr, nullptr, nullptr);
    p->flags = 0;
    EXPECT_EQ(consume(p, "\"abc\""), 3);
    EXPECT_EQ(p->flags, 0u);
    EXPECT_EQ(p->ps.buf_used, 0);
}

TEST_F(Prompt, OnlyPrintableKeysReachTheCharacterFunction)
{
    p->flags = 0;
    for (const mkey_t key :
         {mkey_t{0}, mkey_t{31}, mkey_t{127}, mkey_t{255}, mkey_t{256}, mkey_t{0x1F600},
          mkey_t{0x7FFFFFFF}, mkey_t{0x80000000}, VIRTKEY_WILDCARD, VIRTKEY_BACKSPACE, VIRTKEY_UP,
          mkey_t{0xFFFFFFFE}, mkey_t{0xFFFFFFFF}, mkey_t{0xFFFFFF80}, mkey_t{0xFFFFFF7F}})
        prompt_insert_char(p, key);
    EXPECT_EQ(recorder.take(), Events());
    EXPECT_EQ(p->flags, 0u);
    prompt_insert_char(p, ' ');
    prompt_insert_char(p, '~');
    EXPECT_EQ(recorder.take(), Events({"char \" \"", "char \"~\""}));
    EXPECT_EQ(p->flags, 2u);
}

TEST_F(Prompt, SetContentCopiesTheStateAndMarksNothing)
{
    p->flags = 0;
    pstate ps = {};
    std::strcpy(ps.buf, "show");
    ps.buf_used = 4;
    ps.cursor_location = 2;
    prompt_set_content(p, &ps);
    EXPECT_EQ(std::memcmp(&p->ps, &ps, sizeof(ps)), 0);
    EXPECT_EQ(p->flags, 0u);
    EXPECT_ASSERTION(prompt_set_content(p, nullptr), "p && s", "prompt");
    EXPECT_ASSERTION(prompt_set_content(nullptr, &ps), "p && s", "prompt");
}

TEST_F(Prompt, InitKeysDropsTheBindingsAndKeepsTheCommands)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    bind(p, "one", "<c-a>");
    prompt_init_keys(p);
    EXPECT_EQ(p->keys, nullptr);
    EXPECT_EQ(prompt_get_command(p, "one")->refct, 0);
    EXPECT_EQ(consume(p, "<c-a>"), 1);
    EXPECT_EQ(recorder.take(), Events({"string \"<c-a>\""}));
    EXPECT_EQ(bind(p, "one", "<c-b>"), 0);
    prompt_init_keys(p);
    prompt_init_keys(p);
    EXPECT_ASSERTION(prompt_init_keys(nullptr), "p", "prompt");
}

TEST_F(Prompt, InitCommandsDropsEverything)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    prompt_bind_command(p, "two", note_command, &recorder);
    EXPECT_EQ(tracked_outstanding("prompt_command_s"), 2u);
    EXPECT_EQ(tracked_outstanding("BYTE"), 2u) << "the names; key arrays count as BYTE too";
    bind(p, "one", "<c-a>");
    bind(p, "one", "<c-b>");
    bind(p, "two", "<c-c>");
    prompt_init_commands(p);
    EXPECT_EQ(p->keys, nullptr);
    EXPECT_EQ(p->commands, nullptr);
    EXPECT_EQ(p->insert.char_fn, nullptr);
    EXPECT_EQ(p->insert.char_ctx, nullptr);
    EXPECT_EQ(p->insert.string_fn, nullptr);
    EXPECT_EQ(p->insert.string_ctx, nullptr);
    EXPECT_EQ(tracked_outstanding("prompt_command_s"), 0u);
    EXPECT_EQ(tracked_outstanding("prompt_clink_s"), 0u);
    EXPECT_EQ(tracked_outstanding("mc_node_s"), 0u);
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
    EXPECT_ASSERTION(prompt_init_commands(nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_free(nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_bind_insert(nullptr, nullptr, nullptr, nullptr, nullptr), "p",
                     "prompt");
}

TEST_F(Prompt, WrongReferenceCountsAreFatal)
{
    prompt_bind_command(p, "one", note_command, &recorder);
    p->commands->refct = 1;
    EXPECT_ASSERTION(prompt_init_commands(p), "temp->refct == 0", "prompt");
    EXPECT_EQ(p->insert.char_fn, nullptr) << "the insert binding goes before the commands";
    EXPECT_EQ(p->insert.char_ctx, nullptr);
    EXPECT_EQ(p->insert.string_fn, nullptr);
    EXPECT_EQ(p->insert.string_ctx, nullptr);
    p->commands->refct = 0;
}

TEST(PromptRelease, AReferenceCountThatRanOutIsFatal)
{
    prompt_s *p = prompt_create();
    prompt_bind_command(p, "one", note_command, nullptr);
    bind(p, "one", "<c-a>");
    p->commands->refct = 0;
    EXPECT_DEATH(prompt_init_keys(p),
                 "assertion failed: clink->command->refct > 0 \\(prompt:[0-9]+\\)\n");
    p->commands->refct = 1;
    prompt_free(p);
}

TEST(PromptMemory, AFailedRegistrationLeavesNothingBehind)
{
    const int failed = varno_test::fail_each_allocation([](const auto &fail_from_here) {
        prompt_s *p = prompt_create();
        prompt_bind_command(p, "one", note_command, nullptr);
        fail_from_here();
        const int result = prompt_bind_command(p, "two", note_command, nullptr);
        EXPECT_EQ(result == 0, prompt_get_command(p, "two") != nullptr);
        EXPECT_NE(prompt_get_command(p, "one"), nullptr);
        prompt_free(p);
        return result == 0;
    });
    EXPECT_EQ(failed, 2);
}

TEST(PromptMemory, AFailedBindingLeavesTheOthersInForce)
{
    Recorder recorder;
    const int failed = varno_test::fail_each_allocation([&](const auto &fail_from_here) {
        prompt_s *p = prompt_create();
        prompt_bind_command(p, "one", note_command, &recorder);
        bind(p, "one", "<esc>\"[A\"");
        fail_from_here();
        const int result = bind(p, "one", "<esc>\"[1~\"");
        tracked_fail_after(-1);
        EXPECT_EQ(p->commands->refct, result == 0 ? 2 : 1);
        EXPECT_EQ(consume(p, "<esc>\"[A\""), 3);
        EXPECT_EQ(recorder.take(), Events({"run one"}));
        EXPECT_EQ(bind(p, "one", "<esc>\"O\""), 0) << "the prompt stays usable";
        prompt_free(p);
        return result == 0;
    });
    EXPECT_GE(failed, 4) << "the link, two nodes and their arrays";
}

TEST(PromptMemory, AFirstBindingCanFailAtTheTrieItself)
{
    const int failed = varno_test::fail_each_allocation([](const auto &fail_from_here) {
        prompt_s *p = prompt_create();
        prompt_bind_command(p, "one", note_command, nullptr);
        fail_from_here();
        const int result = bind(p, "one", "<c-a>");
        EXPECT_EQ(p->commands->refct, result == 0 ? 1 : 0);
        prompt_free(p);
        return result == 0;
    });
    EXPECT_EQ(failed, 4) << "root, link, node, array";
}

} // namespace
