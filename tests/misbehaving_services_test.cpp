// What the library's self-checks catch when a service that they guard misbehaves.
// The program's own definitions come before the platform's, the library's and
// the C library's, and pass the call on unless a test tells them to lie.

#include "support/assertion.h"
#include "support/editor.h"
#include "support/left_behind.h"

#include <varno/platform.h>
#include <varno/stroker.h>
#include <varno/varno.h>

#include <dlfcn.h>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace {

using varno_test::line_of;
using varno_test::state_of;

std::function<int()> copy_lie;
std::function<int()> register_lie;
std::function<int(int)> print_lie;
std::function<int(int)> space_lie;
std::function<int(int)> upper_lie;
std::function<int(int)> lower_lie;
std::function<char *(const char *)> span_lie;
std::function<int(int *, int *)> token_lie;
std::function<void(mc_node_s **, int32_t *, int32_t *)> search_lie;

template <typename Function>
Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

int strlcpy2(char *dst, const char *src, size_t n)
{
    return copy_lie ? copy_lie() : real<decltype(strlcpy2)>("strlcpy2")(dst, src, n);
}

int trace_register_module(const char *name)
{
    return register_lie ? register_lie()
                        : real<decltype(trace_register_module)>("trace_register_module")(name);
}

char *spanws_back(const char *buf, int index)
{
    return span_lie ? span_lie(buf) : real<decltype(spanws_back)>("spanws_back")(buf, index);
}

int string_get_cursor_token(const char *buf, int buf_used, int cursor_location, int *start,
                            int *len)
{
    return token_lie ? token_lie(start, len)
                     : real<decltype(string_get_cursor_token)>("string_get_cursor_token")(
                           buf, buf_used, cursor_location, start, len);
}

// As the C library declares them: C linkage, and nothing thrown.
extern "C" int isprint(int c) noexcept
{
    return print_lie ? print_lie(c) : real<int(int)>("isprint")(c);
}

extern "C" int isspace(int c) noexcept
{
    return space_lie ? space_lie(c) : real<int(int)>("isspace")(c);
}

extern "C" int toupper(int c) noexcept
{
    return upper_lie ? upper_lie(c) : real<int(int)>("toupper")(c);
}

extern "C" int tolower(int c) noexcept
{
    return lower_lie ? lower_lie(c) : real<int(int)>("tolower")(c);
}

int mc_search_exact(mc_node_s *root, const mkey_t *s, int len, int flags,
                    mc_node_s **first_complete, int32_t *first_complete_len,
                    mc_node_s **longest_complete, int32_t *longest_complete_len,
                    mc_node_s **longest_match, int32_t *longest_match_len)
{
    const int count = real<decltype(mc_search_exact)>("mc_search_exact")(
        root, s, len, flags, first_complete, first_complete_len, longest_complete,
        longest_complete_len, longest_match, longest_match_len);
    if (search_lie)
        search_lie(first_complete, first_complete_len, longest_match_len);
    return count;
}

namespace {

TEST(TraceInit, ARefusalLeavesTheIdentifierAsItWas)
{
    const int before = g_varno_trace_module_id;
    for (const int refusal : {-1, 0}) {
        register_lie = [=] { return refusal; };
        EXPECT_EQ(varno_trace_init(), -1);
        EXPECT_EQ(g_varno_trace_module_id, before);
    }
    register_lie = [] { return 7; };
    EXPECT_EQ(varno_trace_init(), 0);
    EXPECT_EQ(g_varno_trace_module_id, 7);
    register_lie = nullptr;
    g_varno_trace_module_id = before;
}

class MisbehavingServices : public testing::Test {
  protected:
    ~MisbehavingServices() override
    {
        copy_lie = nullptr;
        print_lie = nullptr;
        space_lie = nullptr;
        upper_lie = nullptr;
        lower_lie = nullptr;
        span_lie = nullptr;
        token_lie = nullptr;
        search_lie = nullptr;
        prompt_free(p);
    }

    void set(const char *marked)
    {
        const pstate ps = state_of(marked);
        prompt_set_content(p, &ps);
        p->flags = 0;
    }

    prompt_s *p = prompt_create();
};

TEST_F(MisbehavingServices, ACopyThatReportsACutIsFatal)
{
    set("show ip|");
    copy_lie = [] { return 1; };
    char token[16];
    int len = 0;
    EXPECT_ASSERTION(prompt_set_guard_left(p, "<"), "!strlcpy2(p->disp.left, guard, 5)", "prompt");
    EXPECT_ASSERTION(prompt_set_guard_right(p, ">"), "!strlcpy2(p->disp.right, guard, 5)",
                     "prompt");
    EXPECT_ASSERTION(prompt_set_prompt_empty(p, "#"), "!strlcpy2(p->disp.empty, prompt, 30)",
                     "prompt");
    EXPECT_ASSERTION(prompt_set_prompt_normal(p, "#"), "!strlcpy2(p->disp.normal, prompt, 30)",
                     "prompt");
    EXPECT_ASSERTION(prompt_token_extract(p, 0, token, sizeof(token), &len),
                     "!strlcpy2(out_token, p->ps.buf + start, (size_t) (end - start))",
                     "prompt_manip");
    EXPECT_STREQ(p->ps.buf, "show ip") << "the line is whole again";
}

TEST_F(MisbehavingServices, AWordFoundBeforeTheLineIsFatal)
{
    set("   show|");
    span_lie = [](const char *buf) { return const_cast<char *>(buf) - 5; };
    EXPECT_ASSERTION(prompt_word_back(p), "p->ps.cursor_location >= 0", "prompt_manip");
}

TEST_F(MisbehavingServices, AWordFoundAfterTheCursorIsFatalToItsDeletion)
{
    set("a| b c");
    span_lie = [](const char *buf) { return const_cast<char *>(buf) + 4; };
    EXPECT_ASSERTION(prompt_delete_word_back(p), "len > 0", "prompt_manip");
}

TEST_F(MisbehavingServices, WhatTheSearchForAWordReturnsIsPassedOn)
{
    token_lie = [](int *start, int *len) {
        *start = 0;
        *len = 4;
        return 7;
    };
    set("show|");
    EXPECT_EQ(prompt_word_case(p, 1), 7);
    EXPECT_EQ(prompt_capitalize_word(p), 7);
    EXPECT_EQ(line_of(p->ps), "show|");
    EXPECT_EQ(p->flags, 0u);
}

TEST_F(MisbehavingServices, AnEmptyWordIsMarkedButNotChanged)
{
    token_lie = [](int *start, int *len) {
        *start = 1;
        *len = 0;
        return 0;
    };
    set("show|");
    EXPECT_EQ(prompt_word_case(p, 1), 0);
    EXPECT_EQ(line_of(p->ps), "show|");
    EXPECT_EQ(p->flags, 2u);
}

// The table of a locale whose byte 0xE9 is all that the test wants, and whose code
// 0xE9 is nothing.
int looked_up(int c, int byte_e9, int others)
{
    EXPECT_TRUE(c >= -128 && c <= 255) << "no character class has a code of " << c;
    return c == -23 ? byte_e9 : others;
}

// Some compilers read the table of character classes without a call.
bool classes_are_called()
{
    bool is_called = false;
    print_lie = [&](int) { return is_called = true; };
    space_lie = print_lie;
    prompt_s *p = prompt_create();
    prompt_util_bind_insert(p);
    prompt_insert_char(p, 'a');
    prompt_free(p);
    print_lie = nullptr;
    space_lie = nullptr;
    return is_called;
}

class CharacterClasses : public MisbehavingServices {
  protected:
    void SetUp() override
    {
        if (!classes_are_called())
            GTEST_SKIP() << "this compiler calls no function for a character's class";
    }
};

TEST_F(CharacterClasses, ABytesCaseIsLookedUpAsASignedValue)
{
    upper_lie = [](int c) { return looked_up(c, 'U', c); };
    lower_lie = [](int c) { return looked_up(c, 'L', c); };
    set("a\xE9z|");
    EXPECT_EQ(prompt_word_case(p, 1), 0);
    EXPECT_EQ(line_of(p->ps), "aUz|");
    set("a\xE9z|");
    EXPECT_EQ(prompt_word_case(p, 0), 0);
    EXPECT_EQ(line_of(p->ps), "aLz|");
    set("\xE9z|");
    EXPECT_EQ(prompt_capitalize_word(p), 0);
    EXPECT_EQ(line_of(p->ps), "Uz|");
}

TEST_F(CharacterClasses, AByteIsWhiteSpaceAsASignedValue)
{
    space_lie = [](int c) { return looked_up(c, 1, 0); };
    set("a\xE9\xE9z|");
    prompt_compact_whitespace(p);
    EXPECT_EQ(line_of(p->ps), "a\xE9z|");
    prompt_word_back(p);
    EXPECT_EQ(line_of(p->ps), "a\xE9|z");
    prompt_delete_word_back(p);
    EXPECT_EQ(line_of(p->ps), "a|z");
    set("|a\xE9\xE9z");
    prompt_word_forward(p);
    EXPECT_EQ(line_of(p->ps), "a\xE9|\xE9z");
    set("|a\xE9\xE9z");
    prompt_delete_word_fwd(p);
    EXPECT_EQ(line_of(p->ps), "|z");
}

struct Typed {
    mkey_t key;
    const char *line;
};

// A locale may call the codes -128 to -1 printable: then only their own range keeps
// the terminal's keys out of the line.
TEST_F(CharacterClasses, TerminalKeysAreNoTextWhateverIsPrintable)
{
    const Typed rows[] = {
        {0x80000000, "|"},
        {static_cast<mkey_t>(-129), "|"},
        {static_cast<mkey_t>(-128), "\x80|"},
        {VIRTKEY_WILDCARD, "\xE9|"},
        {VIRTKEY_BACKSPACE, "|"},
        {VIRTKEY_HOME, "|"},
        {VIRTKEY_UP, "|"},
        {255, "\xFF|"},
        {256, "|"},
        {0x7FFFFFFF, "|"},
    };
    print_lie = [](int c) {
        EXPECT_TRUE(c >= -128 && c <= 255) << "no character class has a code of " << c;
        return 1;
    };
    prompt_util_bind_insert(p);
    for (const Typed &row : rows) {
        prompt_clear_command(p);
        prompt_insert_char(p, row.key);
        EXPECT_EQ(line_of(p->ps), row.line) << row.key;
        prompt_clear_command(p);
        prompt_insert_string(p, &row.key, 1);
        EXPECT_EQ(line_of(p->ps), row.line) << row.key;
    }
}

TEST_F(CharacterClasses, AKeyIsPrintableAsASignedValue)
{
    print_lie = [](int c) { return looked_up(c, 1, 0); };
    prompt_util_bind_insert(p);
    prompt_insert_char(p, 0xE9);
    EXPECT_EQ(line_of(p->ps), "|");
    prompt_insert_char(p, static_cast<mkey_t>(-23));
    EXPECT_EQ(line_of(p->ps), "\xE9|");
}

TEST_F(CharacterClasses, TheTopTwentyTwoCodesAreNoTextWhateverIsPrintable)
{
    print_lie = [](int) { return 1; };
    prompt_util_bind_insert(p);
    for (int32_t code = -22; code < 0; code++) {
        const auto key = static_cast<mkey_t>(code);
        prompt_insert_char(p, key);
        prompt_insert_string(p, &key, 1);
        EXPECT_EQ(line_of(p->ps), "|") << code;
    }
}

int do_nothing(prompt_s *, pstate *, const char *, void *, void *)
{
    return 0;
}

// A library that is optimised as one calls its own search directly: nobody comes in
// between.
bool is_search_called_by_name()
{
    bool is_called = false;
    search_lie = [&](mc_node_s **, int32_t *, int32_t *) { is_called = true; };
    prompt_s *p = prompt_create();
    const mkey_t key = 27;
    prompt_bind_command(p, "one", do_nothing, nullptr);
    prompt_bind_keys(p, "one", &key, 1, nullptr);
    prompt_consume(p, &key, 1);
    prompt_free(p);
    search_lie = nullptr;
    return is_called;
}

class LyingSearch : public MisbehavingServices {
  protected:
    void SetUp() override
    {
        if (!is_search_called_by_name())
            GTEST_SKIP() << "this build's library calls its search directly";
    }
};

TEST_F(LyingSearch, AMatchWithoutALengthIsFatalToTheDispatch)
{
    const mkey_t keys[] = {27, 'b'};
    prompt_bind_command(p, "one", do_nothing, nullptr);
    prompt_bind_keys(p, "one", keys, 2, nullptr);
    search_lie = [](mc_node_s **, int32_t *complete_len, int32_t *) { *complete_len = 0; };
    EXPECT_ASSERTION(prompt_consume(p, keys, 2), "first_complete_len > 0", "prompt");
    for (const int32_t length : {7, 0}) {
        search_lie = [=](mc_node_s **, int32_t *, int32_t *match_len) { *match_len = length; };
        EXPECT_ASSERTION(prompt_consume(p, keys, 1), "longest_match_len == buflen", "prompt");
    }
}

TEST_F(LyingSearch, AMatchWithoutALengthIsFatalToTheDecoder)
{
    stroker_s *decoder = stroker_create_context();
    stroker_bind_sequence_to_vkey(decoder, "\033b", VIRTKEY_UP);
    const unsigned char bytes[] = {27, 'b'};
    timeval wait;
    search_lie = [](mc_node_s **, int32_t *complete_len, int32_t *) { *complete_len = 0; };
    EXPECT_ASSERTION(stroker_consume(decoder, bytes, 2, &wait), "first_complete_len > 0",
                     "stroker");
    search_lie = [](mc_node_s **, int32_t *complete_len, int32_t *) { *complete_len = 1; };
    EXPECT_ASSERTION(stroker_consume(decoder, bytes, 2, &wait),
                     "first_complete_len == t->sequence_len", "stroker");
    for (const int32_t length : {7, 0}) {
        search_lie = [=](mc_node_s **, int32_t *, int32_t *match_len) { *match_len = length; };
        EXPECT_ASSERTION(stroker_consume(decoder, bytes, 1, &wait), "longest_match_len == buflen",
                         "stroker");
    }
    varno_test::free_decoder(decoder);
}

} // namespace
