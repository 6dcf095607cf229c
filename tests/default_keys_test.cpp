// Setting up a prompt from tables, and the default key map.

#include "support/assertion.h"
#include "support/editor.h"
#include "support/spelling.h"
#include "support/traces.h"

#include <varno/platform_default.h>
#include <varno/varno.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::line_of;
using varno_test::state_of;
using varno_test::Traces;

struct KeyRow {
    const char *name;
    std::vector<int32_t> codes;
};

const KeyRow key_rows[] = {
    {"accept-token", {32}},
    {"expand-token", {63}},
    {"complete-token", {9}},
    {"execute", {13}},
    {"execute", {10}},
    {"move-character-back", {-5}},
    {"move-character-back", {2}},
    {"move-character-forward", {6}},
    {"move-character-forward", {-6}},
    {"history-previous", {-3}},
    {"history-previous", {16}},
    {"history-next", {-4}},
    {"history-next", {14}},
    {"move-word-back", {27, 98}},
    {"move-word-forward", {27, 102}},
    {"move-begin", {1}},
    {"move-end", {5}},
    {"delete-character-forward", {4}},
    {"delete-character-back", {127}},
    {"delete-word-back", {23}},
    {"delete-word-back", {27, 127}},
    {"delete-word-forward", {27, 100}},
    {"delete-end", {11}},
    {"delete-begin", {21}},
    {"delete-begin", {24}},
    {"delete-command", {27, 23}},
    {"redisplay", {12}},
    {"redisplay", {18}},
    {"echo", {27, 101}},
    {"yank-first", {25}},
    {"yank-next", {27, 121}},
    {"capitalize-word", {27, 99}},
    {"toupper-word", {27, 117}},
    {"tolower-word", {27, 108}},
    {"compact-whitespace", {27, 16}},
    {"move-context-forward", {27, 6}},
    {"move-context-back", {27, 2}},
    {"invoke", {27, 24}},
    {"execute-and-restore", {27, 20}},
};

TEST(KeyMap, HoldsItsRowsInOrder)
{
    static_assert(std::size(key_rows) + 1 == std::size(ostra_keys));
    for (size_t i = 0; i < std::size(key_rows); i++) {
        EXPECT_STREQ(ostra_keys[i].name, key_rows[i].name);
        std::vector<int32_t> codes;
        for (const mkey_t *key = ostra_keys[i].keys; *key != 0; key++)
            codes.push_back(static_cast<int32_t>(*key));
        EXPECT_EQ(codes, key_rows[i].codes) << key_rows[i].name;
    }
    EXPECT_EQ(ostra_keys[std::size(key_rows)].name, nullptr);
    EXPECT_EQ(ostra_keys[std::size(key_rows)].keys, nullptr);
}

class DefaultKeys : public testing::Test {
  protected:
    ~DefaultKeys() override { prompt_free(p); }

    void register_all()
    {
        prompt_util_bind_reset(p);
        prompt_util_bind_insert(p);
        EXPECT_EQ(prompt_util_bind_commands(p, prompt_builtins, nullptr), 0);
        EXPECT_EQ(prompt_util_bind_commands(p, prompt_builtins_test, nullptr), 0);
    }

    prompt_s *p = prompt_create();
};

using Texts = std::vector<std::string>;

int do_nothing(prompt_s *, pstate *, const char *, void *, void *)
{
    return 0;
}

TEST_F(DefaultKeys, BindsTheBuiltinInsertRoutinesWithoutContext)
{
    EXPECT_EQ(prompt_util_bind_insert(p), 0);
    EXPECT_EQ(p->insert.char_fn, p_builtin_insert_char_cb);
    EXPECT_EQ(p->insert.char_ctx, nullptr);
    EXPECT_EQ(p->insert.string_fn, p_builtin_insert_string_cb);
    EXPECT_EQ(p->insert.string_ctx, nullptr);
    EXPECT_ASSERTION(prompt_util_bind_insert(nullptr), "p", "prompt_util");
}

TEST_F(DefaultKeys, TheKeyMapNeedsTheHostCommandsFirst)
{
    prompt_util_bind_commands(p, prompt_builtins, nullptr);
    EXPECT_EQ(prompt_util_bind_keys(p, ostra_keys, nullptr), 1);
    EXPECT_EQ(p->keys->keys_len, 0) << "nothing is bound";
}

TEST_F(DefaultKeys, TheWholeKeyMapBindsAndRuns)
{
    register_all();
    char argument = 0;
    EXPECT_EQ(prompt_util_bind_keys(p, ostra_keys, &argument), 0);
    std::map<std::string, int> rows;
    for (const KeyRow &row : key_rows)
        rows[row.name]++;
    for (const auto &[name, count] : rows)
        EXPECT_EQ(prompt_get_command(p, name.c_str())->refct, count) << name;

    const pstate ps = state_of("show ip|");
    prompt_set_content(p, &ps);
    const mkey_t esc_b[] = {27, 'b'};
    EXPECT_EQ(prompt_consume(p, esc_b, 2), 2);
    EXPECT_EQ(line_of(p->ps), "show |ip");
}

TEST_F(DefaultKeys, CommandsShareTheirContextAndKeysTheirArgument)
{
    int context = 0;
    int argument = 0;
    const prompt_builtin_s commands[] = {
        {"one", do_nothing}, {"two", do_nothing}, {nullptr, nullptr}};
    EXPECT_EQ(prompt_util_bind_commands(p, commands, &context), 0);
    EXPECT_EQ(prompt_get_command(p, "one")->inv.context, &context);
    EXPECT_EQ(prompt_get_command(p, "two")->inv.context, &context);
    const mkey_t a[] = {1, 0};
    const mkey_t b[] = {2, 0};
    const prompt_keymap_s keys[] = {{"one", a}, {"two", b}, {nullptr, nullptr}};
    EXPECT_EQ(prompt_util_bind_keys(p, keys, &argument), 0);
    for (int i = 0; i < 2; i++) {
        const auto *link = static_cast<prompt_clink_s *>(p->keys->keys[i].node->value);
        EXPECT_EQ(link->argument, &argument);
    }
}

TEST_F(DefaultKeys, EmptyTablesSucceed)
{
    const prompt_builtin_s commands[] = {{nullptr, nullptr}};
    const prompt_keymap_s keys[] = {{nullptr, nullptr}};
    EXPECT_EQ(prompt_util_bind_commands(p, commands, nullptr), 0);
    EXPECT_EQ(prompt_util_bind_keys(p, keys, nullptr), 0);
}

TEST_F(DefaultKeys, TheFirstRefusedCommandStopsAndIsTraced)
{
    const prompt_builtin_s commands[] = {{"one", do_nothing},
                                         {"insert-string", do_nothing},
                                         {"two", do_nothing},
                                         {nullptr, nullptr}};
    Traces traces;
    EXPECT_EQ(prompt_util_bind_commands(p, commands, nullptr), 1);
    EXPECT_EQ(traces.take(),
              Texts({"(debug): Binding command [one]", "(debug): Binding command [insert-string]",
                     "(debug): Failed to bind command [insert-string]"}));
    EXPECT_NE(prompt_get_command(p, "one"), nullptr);
    EXPECT_EQ(prompt_get_command(p, "two"), nullptr);
}

TEST_F(DefaultKeys, TheFirstRefusedSequenceStopsAndIsTraced)
{
    prompt_bind_command(p, "one", do_nothing, nullptr);
    const mkey_t ab[] = {1, 2, 0};
    const mkey_t c[] = {3, 0};
    const prompt_keymap_s keys[] = {{"one", ab}, {"two", c}, {"one", c}, {nullptr, nullptr}};
    Traces traces;
    EXPECT_EQ(prompt_util_bind_keys(p, keys, nullptr), 1);
    Texts own;
    for (const std::string &text : traces.take()) {
        if (text.find('[') != text.npos && text.find("s[") == text.npos)
            own.push_back(text);
    }
    EXPECT_EQ(own, Texts({"(debug): Attaching sequence of len 2 to [one]",
                          "(debug): Attaching sequence of len 1 to [two]",
                          "(debug): Failed to bind sequence for [two]"}));
    EXPECT_EQ(prompt_get_command(p, "one")->refct, 1);
}

TEST_F(DefaultKeys, ResettingIsTracedAndDropsEverything)
{
    register_all();
    prompt_util_bind_keys(p, ostra_keys, nullptr);
    Traces traces;
    prompt_util_bind_reset(p);
    EXPECT_EQ(traces.take(), Texts({"(debug): clearing out the commands"}));
    EXPECT_EQ(p->commands, nullptr);
    EXPECT_EQ(p->keys, nullptr);
    EXPECT_EQ(p->insert.string_fn, nullptr);
    EXPECT_ASSERTION(prompt_util_bind_reset(nullptr), "p", "prompt_util");
}

TEST_F(DefaultKeys, MissingArgumentsAndEmptySequencesAreFatal)
{
    EXPECT_ASSERTION(prompt_util_bind_commands(nullptr, prompt_builtins, nullptr), "p && commands",
                     "prompt_util");
    EXPECT_ASSERTION(prompt_util_bind_commands(p, nullptr, nullptr), "p && commands",
                     "prompt_util");
    EXPECT_ASSERTION(prompt_util_bind_keys(nullptr, ostra_keys, nullptr), "p && keys",
                     "prompt_util");
    EXPECT_ASSERTION(prompt_util_bind_keys(p, nullptr, nullptr), "p && keys", "prompt_util");
    const mkey_t none[] = {0};
    const prompt_keymap_s keys[] = {{"one", none}, {nullptr, nullptr}};
    EXPECT_ASSERTION(prompt_util_bind_keys(p, keys, nullptr), "len > 0", "prompt_util");
}

// Whatever allocation fails during set-up, what was bound before still works and
// everything can be released.
TEST_F(DefaultKeys, SetUpSurvivesAnyFailedAllocation)
{
    const size_t before = tracked_outstanding(nullptr);
    int failures = 0;
    for (int n = 1;; n++) {
        prompt_util_bind_reset(p);
        prompt_util_bind_insert(p);
        tracked_fail_after(n);
        const bool bound = prompt_util_bind_commands(p, prompt_builtins, nullptr) == 0 &&
                           prompt_util_bind_commands(p, prompt_builtins_test, nullptr) == 0 &&
                           prompt_util_bind_keys(p, ostra_keys, nullptr) == 0;
        tracked_fail_after(-1);
        prompt_clear_command(p);
        const mkey_t x = 'x';
        EXPECT_EQ(prompt_consume(p, &x, 1), 1);
        EXPECT_EQ(line_of(p->ps), "x|");
        if (bound)
            break;
        failures++;
    }
    EXPECT_GT(failures, 100);
    prompt_util_bind_reset(p);
    EXPECT_EQ(tracked_outstanding(nullptr), before);
}

} // namespace
