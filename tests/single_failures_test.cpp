// Failure of a single allocation, those before and after it succeeding: each call
// then gives its documented result and leaves what was there.

#include "support/assertion.h"
#include "support/editor.h"
#include "support/failing_allocator.h"
#include "support/left_behind.h"
#include "support/parse_nodes.h"
#include "support/trie.h"

#include <varno/cli_parse.h>
#include <varno/platform.h>
#include <varno/platform_default.h>
#include <varno/prompt.h>
#include <varno/stroker.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace varno_test;

using Texts = std::vector<std::string>;
using Books = std::map<std::string, size_t>;

// Live blocks by tag.
Books books()
{
    Books live;
    for (const char *tag :
         {"BYTE", "BYTE*", "cli_pmatch_s", "cli_pnode_s", "mc_node_s", "mkey_t", "prompt_clink_s",
          "prompt_command_s", "prompt_s", "stroker_binding", "stroker_s"})
        live[tag] = tracked_outstanding(tag);
    live["all"] = tracked_outstanding(nullptr);
    return live;
}

// Makes a call with its n-th allocation failing. Returns whether it came to that;
// no allocation fails any more then.
bool met_failure(long n, const std::function<void()> &call)
{
    fail_request(n);
    call();
    return stop_failing();
}

// Fails each allocation of an act alone, the first one first, until the act meets
// no failure. The act is told the allocation's number and returns whether it was
// met. Returns how many were.
int fail_one_at_a_time(const std::function<bool(int n)> &act)
{
    constexpr int most = 100;
    for (int n = 1; n <= most; n++) {
        SCOPED_TRACE("allocation " + std::to_string(n) + " fails");
        if (!act(n))
            return n - 1;
    }
    ADD_FAILURE() << "still failing after " << most << " allocations";
    return most;
}

// With a refusal nothing changes. The call returns -1 for it, else 0.
bool refuses(long n, const std::function<int()> &call)
{
    const Books before = books();
    int result = -77;
    if (!met_failure(n, [&] { result = call(); })) {
        EXPECT_EQ(result, 0);
        return false;
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(books(), before);
    return true;
}

TEST(SingleFailure, OfATriesAdditionLeavesTheTrieAsItWas)
{
    const Books before_all = books();
    for (const bool sorted : {false, true}) {
        const int failures = fail_one_at_a_time([&](int n) {
            Trie trie({"abc"});
            if (sorted)
                mc_optimize(trie.root);
            const mc_node_s before = *trie.at("ab");
            if (!refuses(n, [&] { return trie.add("abdef"); })) {
                EXPECT_EQ(paths_with_values(trie.root), Texts({"abc", "abdef"}));
                return false;
            }
            EXPECT_EQ(paths_with_values(trie.root), Texts({"abc"}));
            EXPECT_EQ(trie.at("abd"), nullptr);
            EXPECT_EQ(trie.at("ab")->keys_len, 1);
            EXPECT_EQ(trie.at("ab")->keys, before.keys);
            EXPECT_EQ(trie.at("ab")->optimized, before.optimized);
            EXPECT_EQ(trie.add("abdef"), 0) << "works once there is memory";
            return true;
        });
        EXPECT_EQ(failures, 6) << "three nodes and their entries";
    }
    EXPECT_EQ(books(), before_all);
}

// What the decoder makes of bytes, timed out at their end.
std::vector<mkey_t> decoded(stroker_s *ctx, std::string_view text)
{
    std::vector<mkey_t> keys;
    const auto keep = [](stroker_s *, void *user, const mkey_t *key, int32_t count) {
        auto *kept = static_cast<std::vector<mkey_t> *>(user);
        kept->insert(kept->end(), key, key + count);
        return 0;
    };
    stroker_set_callback_chars(ctx, keep, &keys);
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.data());
    const auto len = static_cast<int32_t>(text.size());
    timeval wait;
    const int32_t used = stroker_consume(ctx, bytes, len, &wait);
    if (used < len)
        stroker_consume_timedout(ctx, bytes + used, len - used);
    return keys;
}

TEST(SingleFailure, OfABindingLeavesTheDecoderAsItWas)
{
    using Keys = std::vector<mkey_t>;
    constexpr mkey_t vkeys[] = {VIRTKEY_END, VIRTKEY_ENTER};
    const int failures = fail_one_at_a_time([&](int n) {
        stroker_s *ctx = stroker_create_context();
        stroker_bind_sequence_to_vkey(ctx, "\033[A", VIRTKEY_UP);
        stroker_bindings_prepare(ctx);
        const auto bind = [&] { return stroker_bind_sequence_to_vkeys(ctx, "\033[1~", vkeys, 2); };
        const bool refused = refuses(n, bind);
        EXPECT_EQ(decoded(ctx, "\033[A"), Keys({VIRTKEY_UP}));
        if (refused) {
            EXPECT_EQ(decoded(ctx, "\033[1~"), Keys({27, '[', '1', '~'}));
            EXPECT_EQ(bind(), 0) << "works once there is memory";
        }
        EXPECT_EQ(decoded(ctx, "\033[1~"), Keys({VIRTKEY_END, VIRTKEY_ENTER}));
        free_decoder(ctx);
        return refused;
    });
    EXPECT_EQ(failures, 7) << "a record, two arrays, two nodes and their entries";
}

int note_name(prompt_s *, pstate *, const char *name, void *context, void *)
{
    static_cast<Texts *>(context)->emplace_back(name);
    return 0;
}

// A prompt whose commands note their names; "old" is one, bound to ESC a.
struct Bound {
    Bound()
    {
        prompt_bind_command(p, "old", note_name, &ran);
        EXPECT_EQ(bind("old", 'a'), 0);
    }
    ~Bound() { prompt_free(p); }
    Bound(const Bound &) = delete;
    Bound &operator=(const Bound &) = delete;

    int bind(const char *name, mkey_t after_esc)
    {
        const mkey_t keys[] = {27, after_esc};
        return prompt_bind_keys(p, name, keys, 2, nullptr);
    }

    // The command that ESC and a key run; none: "".
    std::string run_by(mkey_t after_esc)
    {
        const mkey_t keys[] = {27, after_esc};
        ran.clear();
        prompt_consume(p, keys, 2);
        return ran.empty() ? "" : ran.front();
    }

    Texts ran;
    prompt_s *p = prompt_create();
};

TEST(SingleFailure, OfABindingLeavesThePromptAsItWas)
{
    const Books before_all = books();
    const int failures = fail_one_at_a_time([](int n) {
        Bound prompt;
        const int32_t &refct = prompt_get_command(prompt.p, "old")->refct;
        const bool refused = refuses(n, [&] { return prompt.bind("old", 'b'); });
        EXPECT_EQ(refct, refused ? 1 : 2);
        EXPECT_EQ(prompt.run_by('a'), "old");
        EXPECT_EQ(prompt.run_by('b'), refused ? "" : "old");
        if (refused) {
            EXPECT_EQ(prompt.bind("old", 'b'), 0) << "works once there is memory";
        }
        return refused;
    });
    EXPECT_EQ(failures, 3) << "the link, a node and its entry";
    EXPECT_EQ(books(), before_all);
}

TEST(SingleFailure, OfTheFirstBindingLeavesNothingBound)
{
    const Books before_all = books();
    const mkey_t key = 27;
    const int failures = fail_one_at_a_time([&](int n) {
        prompt_s *p = prompt_create();
        prompt_bind_command(p, "new", nullptr, nullptr);
        const bool met = met_failure(
            n, [&] { EXPECT_EQ(prompt_bind_keys(p, "new", &key, 1, nullptr), n <= 4 ? -1 : 0); });
        EXPECT_EQ(prompt_get_command(p, "new")->refct, met ? 0 : 1);
        EXPECT_EQ(tracked_outstanding("mc_node_s"), n == 1   ? 0u
                                                    : n <= 4 ? 1u
                                                             : 2u)
            << "the root is kept for the next one";
        EXPECT_EQ(tracked_outstanding("prompt_clink_s"), met ? 0u : 1u);
        if (met) {
            EXPECT_EQ(prompt_bind_keys(p, "new", &key, 1, nullptr), 0);
        }
        prompt_free(p);
        return met;
    });
    EXPECT_EQ(failures, 4) << "the root, the link, a node and its entry";
    EXPECT_EQ(books(), before_all);
}

TEST(SingleFailure, OfACommandLeavesTheCommandsAsTheyWere)
{
    const Books before_all = books();
    const int failures = fail_one_at_a_time([](int n) {
        Bound prompt;
        const prompt_command_s *old = prompt_get_command(prompt.p, "old");
        const auto bind = [&] {
            return prompt_bind_command(prompt.p, "new", note_name, &prompt.ran);
        };
        const bool refused = refuses(n, bind);
        EXPECT_EQ(prompt_get_command(prompt.p, "old"), old);
        EXPECT_EQ(prompt_get_command(prompt.p, "new") == nullptr, refused);
        EXPECT_EQ(prompt.p->commands == old, refused);
        EXPECT_EQ(prompt.run_by('a'), "old");
        if (refused) {
            EXPECT_EQ(bind(), 0) << "works once there is memory";
        }
        return refused;
    });
    EXPECT_EQ(failures, 2) << "the record and its name";
    EXPECT_EQ(books(), before_all);
}

// The entries, newest first.
Texts history_of(prompt_s *p)
{
    Texts lines;
    prompt_history_reset_state(p);
    for (int i = 0; i < p->history_count; i++) {
        prompt_history_previous(p, 0);
        lines.emplace_back(p->ps.buf);
    }
    return lines;
}

void set_line(prompt_s *p, const char *marked)
{
    const pstate ps = state_of(marked);
    prompt_set_content(p, &ps);
}

TEST(SingleFailure, OfAHistoryEntryLeavesTheHistoryAsItWas)
{
    const int failures = fail_one_at_a_time([](int n) {
        prompt_s *p = prompt_create();
        set_line(p, "old|");
        EXPECT_EQ(prompt_history_add(p, 1), 0);
        set_line(p, "new|");
        const bool refused = refuses(n, [&] { return prompt_history_add(p, 1); });
        EXPECT_EQ(line_of(p->ps), "new|");
        EXPECT_EQ(history_of(p), refused ? Texts({"old"}) : Texts({"new", "old"}));
        if (refused) {
            set_line(p, "new|");
            EXPECT_EQ(prompt_history_add(p, 1), 0);
            EXPECT_EQ(history_of(p), Texts({"new", "old"})) << "works once there is memory";
        }
        release_history_texts(p);
        prompt_free(p);
        return refused;
    });
    EXPECT_EQ(failures, 2) << "the entry and its text";
}

TEST(SingleFailure, OfAnEntryOfAFullHistoryCostsTheOldestOne)
{
    const int failures = fail_one_at_a_time([](int n) {
        prompt_s *p = prompt_create();
        p->history_limit = 2;
        for (const char *line : {"oldest|", "old|"}) {
            set_line(p, line);
            EXPECT_EQ(prompt_history_add(p, 1), 0);
        }
        set_line(p, "new|");
        Books before = books();
        int result = -77;
        const bool met = met_failure(n, [&] { result = prompt_history_add(p, 1); });
        EXPECT_EQ(result, met ? -1 : 0);
        EXPECT_EQ(history_of(p), met ? Texts({"old"}) : Texts({"new", "old"}));
        before["BYTE"] -= met ? 1 : 0;
        before["BYTE*"] -= met ? 1 : 0;
        before["all"] -= met ? 2 : 0;
        EXPECT_EQ(books(), before);
        release_history_texts(p);
        prompt_free(p);
        return met;
    });
    EXPECT_EQ(failures, 2);
}

// What a node is left with when one of its texts could not be copied, a row for
// each in the order of the copies, and whether it still matches its keyword.
struct NodeRow {
    bool has_name, has_help, has_keyword;
    const char *parsed;
};

// clang-format off
constexpr NodeRow node_rows[] = {
    // name   help   keyword  "show" parsed
    {false,  true,  true,    "NO_MATCH 0"},
    {true,   false, true,    "MATCHED 4 name=[show]@0+4"},
    {true,   true,  false,   "NO_MATCH 0"},
    {true,   true,  true,    "MATCHED 4 name=[show]@0+4"},
};
// clang-format on

void expect_text(const char *read, const char *owned, const char *text)
{
    EXPECT_STREQ(read, text);
    EXPECT_EQ(read, owned);
}

// A node without a keyword is none that dyn_cli_del_node can release.
void release(cli_pnode_s *n)
{
    for (char *text : {n->own_name, n->own_keyword, n->own_help})
        tracked_free(text, "BYTE");
    tracked_free(n, "cli_pnode_s");
}

TEST(SingleFailure, OfANodesTextLeavesItsFieldNull)
{
    const Books before = books();
    int func = 0;
    const int failures = fail_one_at_a_time([&](int n) {
        cli_pnode_s *created = nullptr;
        const bool met = met_failure(n, [&] {
            created = dyn_cli_create_node(PNODE_KEYWORD, "name", "show", "help", &func, 7);
        });
        EXPECT_EQ(created == nullptr, n == 1) << "only the record is indispensable";
        if (!created) {
            EXPECT_EQ(books(), before);
            return met;
        }
        const NodeRow &row = node_rows[n - 2];
        expect_text(created->name, created->own_name, row.has_name ? "name" : nullptr);
        expect_text(created->help, created->own_help, row.has_help ? "help" : nullptr);
        expect_text(created->keyword, created->own_keyword, row.has_keyword ? "show" : nullptr);
        EXPECT_EQ(created->func, &func);
        EXPECT_EQ(created->attr, 7u);
        EXPECT_EQ(tracked_outstanding("BYTE"), before.at("BYTE") + (met ? 2 : 3));
        cli_pnode_s old = keyword_node("old");
        created->child = &NONE;
        EXPECT_EQ(Parsed(level_of({created, &old}), "show").text(), row.parsed);
        EXPECT_EQ(Parsed(level_of({created, &old}), "old").text(), "MATCHED 3 old=[old]@0+3");
        release(created);
        EXPECT_EQ(books(), before);
        return met;
    });
    EXPECT_EQ(failures, 4) << "the record and three texts";
}

// What a parse of "show ip" comes to, a row for each allocation that fails.
struct ParseRow {
    const char *result; // NULL: the assertion about a lost text after a match
    int32_t consumed;
    const char *tokens;
};

// clang-format off
constexpr ParseRow parse_rows[] = {
    // result   consumed  tokens
    {"EMPTY",   7,        ""},          // the first token's text
    {"MATCHED", 0,        ""},          // its record
    {nullptr,   0,        " show"},     // the second token's text
    {"MATCHED", 5,        " show"},     // its record
    {"MATCHED", 7,        " show ip"},  // none
};
// clang-format on

std::string tokens_of(const cli_pmatch_s *matches)
{
    std::string text;
    for (; matches; matches = matches->next)
        text += std::string(" ") + matches->token;
    return text;
}

TEST(SingleFailure, OfAParseKeepsTheTokensBeforeIt)
{
    static const std::map<std::string, uint32_t> results = {{"EMPTY", PARSE_EMPTY},
                                                            {"MATCHED", PARSE_MATCHED}};
    cli_pnode_s show = keyword_node("show");
    cli_pnode_s ip = keyword_node("ip");
    show.child = &ip;
    const Books before = books();
    const int failures = fail_one_at_a_time([&](int n) {
        const ParseRow &row = parse_rows[n - 1];
        int32_t consumed = -77;
        cli_pmatch_s *matches = nullptr;
        uint32_t result = 77;
        std::optional<FailedAssertion> failed;
        const bool met = met_failure(n, [&] {
            failed =
                assertion_of([&] { result = cli_parse(&show, "show ip", 7, &consumed, &matches); });
        });
        EXPECT_EQ(failed ? failed->condition : "", row.result ? "" : "!*out_match");
        EXPECT_EQ(result, row.result ? results.at(row.result) : 77u);
        EXPECT_EQ(consumed, row.consumed);
        EXPECT_EQ(tokens_of(matches), row.tokens);
        cli_match_free(matches);
        EXPECT_EQ(books(), before);
        return met;
    });
    EXPECT_EQ(failures, 4) << "a text and a record for each token";
}

} // namespace
