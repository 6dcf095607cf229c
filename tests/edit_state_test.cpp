// The editing primitives, as tables: the line before, the call, the line after and
// the flags. | is the cursor.

#include "support/assertion.h"
#include "support/editor.h"

#include <varno/varno.h>

#include <cstdarg>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::line_of;
using varno_test::state_of;

constexpr uint32_t clean = 0;
constexpr uint32_t dirty = PROMPT_FLAG_DIRTY;

std::string repeated(char c, int count)
{
    return std::string(static_cast<size_t>(count), c);
}

struct Edit {
    const char *what;
    std::string before;
    std::function<void(prompt_s *)> call;
    std::string after;
    uint32_t flags;
    int32_t display_offset = 8; // after the call, 8 before
};

void PrintTo(const Edit &edit, std::ostream *out)
{
    *out << edit.what;
}

class EditingPrimitives : public testing::TestWithParam<Edit> {};

TEST_P(EditingPrimitives, DoWhatTheirRowsSay)
{
    const Edit &edit = GetParam();
    SCOPED_TRACE("before: " + edit.before);
    prompt_s *p = prompt_create();
    p->flags = clean;
    const pstate before = state_of(edit.before);
    prompt_set_content(p, &before);
    p->display_offset = 8;
    edit.call(p);
    EXPECT_EQ(line_of(p->ps), edit.after);
    EXPECT_EQ(p->flags, edit.flags);
    EXPECT_EQ(p->display_offset, edit.display_offset);
    EXPECT_EQ(std::strlen(p->ps.buf), static_cast<size_t>(p->ps.buf_used));
    prompt_free(p);
}

auto backspace(int number)
{
    return [=](prompt_s *p) { prompt_backspace(p, number); };
}

auto erase(int number)
{
    return [=](prompt_s *p) { prompt_delete(p, number); };
}

auto erase_bare(int number)
{
    return [=](prompt_s *p) { pstate_delete(&p->ps, number); };
}

// A chop leaves the cursor where it was, here past the line's end.
auto after_chop(int at, int len, std::function<void(prompt_s *)> call)
{
    return [=](prompt_s *p) {
        pstate_chop(&p->ps, at, len);
        call(p);
    };
}

auto insert(char c)
{
    return [=](prompt_s *p) { prompt_insert_char_at_cursor(p, c); };
}

auto insert_bare(char c)
{
    return [=](prompt_s *p) { pstate_insert_char_at_cursor(&p->ps, c); };
}

auto insert_text(const char *text)
{
    return [=](prompt_s *p) {
        pstate_insert_char_str(&p->ps, text, static_cast<int>(std::strlen(text)));
    };
}

auto insert_at(int location, char c)
{
    return [=](prompt_s *p) { prompt_insert_character(p, location, c); };
}

auto chop(int at, int len)
{
    return [=](prompt_s *p) {
        const int left = prompt_chop(p, at, len);
        EXPECT_EQ(left, static_cast<int>(std::strlen(p->ps.buf)));
    };
}

auto word_case(int upper, int result = 0)
{
    return [=](prompt_s *p) { EXPECT_EQ(prompt_word_case(p, upper), result); };
}

auto capitalize(int result = 0)
{
    return [=](prompt_s *p) { EXPECT_EQ(prompt_capitalize_word(p), result); };
}

auto extract(int start, std::string token, int result = 0)
{
    return [=](prompt_s *p) {
        char out[256] = "unset";
        int len = -1;
        EXPECT_EQ(prompt_token_extract(p, start, out, sizeof(out), &len), result);
        EXPECT_EQ(out, token);
        EXPECT_EQ(len, static_cast<int>(token.size()));
    };
}

const std::string full = repeated('a', 255);
const std::string nearly_full = repeated('a', 254);

// clang-format off
const Edit edits[] = {
    {"set dirty",               "show|",              prompt_set_dirty,                 "show|",         dirty},
    {"set cursor",              "show|",  [](prompt_s *p) { prompt_set_cursor_location(p, 1); }, "s|how", dirty},
    {"set cursor bare",         "show|",  [](prompt_s *p) { pstate_set_cursor_location(&p->ps, 0); }, "|show", clean},

    {"append",                  "s|how",  [](prompt_s *p) { prompt_append_character(p, 'x'); }, "s|howx", dirty},
    {"append bare",             "s|how",  [](prompt_s *p) { pstate_append_character(&p->ps, 'x'); }, "s|howx", clean},
    {"append to an empty line", "|",      [](prompt_s *p) { prompt_append_character(p, 'x'); }, "|x", dirty},

    {"chop the front",          "abc|def",            chop(0, 2),                       "cde|f",         dirty},
    {"chop all",                "|abc",               chop(0, 3),                       "|",             dirty},
    {"chop the end",            "|abcdef",            chop(4, 2),                       "|abcd",         dirty},
    {"chop bare",               "|abcdef", [](prompt_s *p) { EXPECT_EQ(pstate_chop(&p->ps, 1, 3), 3); }, "|aef", clean},

    {"delete to end",           "sh|ow",              prompt_delete_to_eol,             "sh|",           dirty},
    {"delete to end at end",    "show|",              prompt_delete_to_eol,             "show|",         dirty},
    {"delete to end bare",      "sh|ow",  [](prompt_s *p) { pstate_delete_to_eol(&p->ps); }, "sh|", clean},
    {"delete to begin",         "sh|ow",              prompt_delete_to_bol,             "|ow",           dirty},
    {"delete to begin at end",  "show|",              prompt_delete_to_bol,             "|",             dirty},
    {"delete to begin at 0",    "|show",              prompt_delete_to_bol,             "|show",         clean},
    {"delete to begin, empty",  "|",                  prompt_delete_to_bol,             "|",             clean},
    {"to begin after a chop",   "abcdef|",    after_chop(0, 3, prompt_delete_to_bol),   "|",             dirty},

    {"delete 1 at end",         "show|",              erase(1),                         "show|",         clean},
    {"delete 1",                "s|how",              erase(1),                         "s|ow",          dirty},
    {"delete 10 at 2",          "ab|cdef",            erase(10),                        "ab|",           dirty},
    {"delete exactly the rest", "ab|cdef",            erase(4),                         "ab|",           dirty},
    {"delete the most",         "ab|cdef",            erase(INT32_MAX),                 "ab|",           dirty},
    {"delete bare",             "ab|cdef",            erase_bare(2),                    "ab|ef",         clean},
    {"delete bare at end",      "ab|",                erase_bare(2),                    "ab|",           clean},

    {"backspace at end",        "show|",              backspace(1),                     "sho|",          dirty},
    {"backspace all at end",    "show|",              backspace(4),                     "|",             dirty},
    {"backspace all but one",   "show|",              backspace(3),                     "s|",            dirty},
    {"backspace more at end",   "show|",              backspace(9),                     "|",             dirty},
    {"backspace the most",      "show|",              backspace(INT32_MAX),             "|",             dirty},
    {"backspace empty",         "|",                  backspace(1),                     "|",             dirty},
    {"backspace inside",        "sh|ow",              backspace(1),                     "s|ow",          dirty},
    {"backspace to 0 inside",   "sh|ow",              backspace(2),                     "|ow",           dirty},
    {"backspace 3 at 1 inside", "a|bcdef",            backspace(3),                     "|bcdef",        dirty},
    {"backspace at 0 inside",   "|abc",               backspace(1),                     "|abc",          dirty},
    {"backspace after a chop",  "abcdef|",            after_chop(0, 3, backspace(9)),   "|",             dirty},

    {"insert at index",         "s|ow",               insert_at(1, 'h'),                "s|how",         dirty},
    {"insert at the end",       "s|ho",               insert_at(3, 'w'),                "s|how",         dirty},
    {"insert bare",             "s|ow", [](prompt_s *p) { pstate_insert_character(&p->ps, 0, 'x'); }, "x|sow", clean},
    {"insert at cursor",        "s|ow",               insert('h'),                      "sh|ow",         dirty},
    {"insert at cursor, end",   "sho|",               insert('w'),                      "show|",         dirty},
    {"insert at cursor, bare",  "s|ow",               insert_bare('h'),                 "sh|ow",         clean},
    {"insert into a full line", full + "|",           insert('x'),                      full + "|",      clean},
    {"the same, cursor at 0",   "|" + full,           insert('x'),                      "|" + full,      clean},
    {"the same, bare",          "|" + full,           insert_bare('x'),                 "|" + full,      clean},
    {"insert the last one",     nearly_full + "|",    insert('x'),          nearly_full + "x|",          dirty},
    {"insert a text",           "ad|e",               insert_text("bc"),                "adbc|e",        clean},
    {"insert an empty text",    "a|",                 insert_text(""),                  "a|",            clean},
    {"insert a too long text",  nearly_full + "|",    insert_text("xyz"),   nearly_full + "x|",          clean},

    {"clear",                   "sh|ow",              prompt_clear_command,             "|",             dirty, 0},
    {"clear bare",              "sh|ow", [](prompt_s *p) { pstate_clear_command(&p->ps); }, "|", clean},

    {"compact",             "  a \t b  |",            prompt_compact_whitespace,        "a b|",          dirty},
    {"compact keeps a tab",     "a\t b|",             prompt_compact_whitespace,        "a\tb|",         dirty},
    {"compact keeps the index", "  ab|  c",           prompt_compact_whitespace,        "ab c|",         dirty},
    {"compact before it",       "  a|bcdef",          prompt_compact_whitespace,        "abc|def",       dirty},
    {"compact blanks",          "   |",               prompt_compact_whitespace,        "|",             dirty},
    {"compact nothing",         "|",                  prompt_compact_whitespace,        "|",             dirty},
    {"compact a tidy line",     "a b|",               prompt_compact_whitespace,        "a b|",          dirty},

    {"word back at end",        "show ip|",           prompt_word_back,                 "show |ip",      clean},
    {"word back in a word",     "show ip ro|ute",     prompt_word_back,                 "show ip |route", clean},
    {"word back at its start",  "show |ip",           prompt_word_back,                 "|show ip",      clean},
    {"word back in blanks",     "show  |  ip",        prompt_word_back,                 "|show    ip",   clean},
    {"word back over blanks",   "show ip   |",        prompt_word_back,                 "show |ip   ",   clean},
    {"word back at 0",          "|show",              prompt_word_back,                 "|show",         clean},
    {"word back, only blanks",  "   |show",           prompt_word_back,                 "   |show",      clean},
    {"word back, before word",  "  |  show",          prompt_word_back,                 "  |  show",     clean},

    {"word fwd from 0",         "|show ip",           prompt_word_forward,              "show |ip",      clean},
    {"word fwd from 5",         "show |ip",           prompt_word_forward,              "show ip|",      clean},
    {"word fwd from blanks",    "show|   ip x",       prompt_word_forward,              "show   ip |x",  clean},
    {"word fwd at end",         "show|",              prompt_word_forward,              "show|",         clean},
    {"word fwd, only blanks",   "show|   ",           prompt_word_forward,              "show|   ",      clean},
    {"word fwd, wide gap",      "|show   ip",         prompt_word_forward,              "show |  ip",    clean},

    {"delete word back",        "show ip|",           prompt_delete_word_back,          "show|",         dirty},
    {"the first word",          "show|",              prompt_delete_word_back,          "|",             dirty},
    {"after one blank",         "show |",             prompt_delete_word_back,          "|",             dirty},
    {"after blanks",            "show ip  |",         prompt_delete_word_back,          "show|",         dirty},
    {"only one blank of two",   "show  ip|",          prompt_delete_word_back,          "show |",        dirty},
    {"in a word",               "show i|p",           prompt_delete_word_back,          "show|p",        dirty},
    {"at a word's start",       "show |ip",           prompt_delete_word_back,          "show|ip",       dirty},
    {"on the blank after",      "show ip| x",         prompt_delete_word_back,          "show| x",       dirty},
    {"only blanks before",      "   | ip",            prompt_delete_word_back,          "| ip",          dirty},
    {"only blanks at all",      "   |",               prompt_delete_word_back,          "|",             dirty},
    {"at 0",                    "|show",              prompt_delete_word_back,          "|show",         clean},
    {"empty",                   "|",                  prompt_delete_word_back,          "|",             clean},

    {"delete word fwd",         "show|   ip route",   prompt_delete_word_fwd,           "show|   route", dirty},
    {"from its start",          "|show ip",           prompt_delete_word_fwd,           "|ip",           dirty},
    {"inside a word",           "sh|ow ip",           prompt_delete_word_fwd,           "sh|ip",         dirty},
    {"the last word",           "show |ip",           prompt_delete_word_fwd,           "show |",        dirty},
    {"with blanks after it",     "show |ip   ",        prompt_delete_word_fwd,           "show |",        dirty},
    {"only blanks after it",     "show|   ",           prompt_delete_word_fwd,           "show|",         dirty},
    {"at the end",              "show|",              prompt_delete_word_fwd,           "show|",         clean},

    {"upper case",              "show i|p",           word_case(1),                     "show I|P",      dirty},
    {"lower case",              "s|HOW ip",           word_case(0),                     "s|how ip",      dirty},
    {"case at a word's end",    "sHOW|",              word_case(0),                     "show|",         dirty},
    {"case of digits",          "a1|-b",              word_case(1),                     "A1|-B",         dirty},
    {"case in blanks",          "show |  ip",         word_case(1, -1),                 "show |  ip",    clean},
    {"case of nothing",         "|",                  word_case(1, -1),                 "|",             clean},
    {"capitalize",              "sHO|W",              capitalize(),                     "SHO|W",         dirty},
    {"capitalize the second",   "show ip|",           capitalize(),                     "show Ip|",      dirty},
    {"capitalize in blanks",    "show |  ip",         capitalize(-1),                   "show |  ip",    clean},

    {"contextual back",         "sh|ow",              prompt_contextual_back,           "sh|ow",         clean},
    {"contextual forward",      "sh|ow",              prompt_contextual_fwd,            "sh|ow",         clean},

    {"extract, cursor at 9",    "  show ip|",         extract(0, "show"),               " ip|",          dirty},
    {"extract, cursor at 2",    "  |show ip",         extract(0, "show"),               "| ip",          dirty},
    {"extract from an index",   "show ip|",           extract(4, "ip"),                 "|",             dirty},
    {"extract keeps quotes",    "'a b' c|",           extract(0, "'a b'"),              " c|",           dirty},
    {"extract from blanks",     "   |",               extract(0, "", -1),               "   |",          clean},
    {"extract from nothing",    "|",                  extract(0, "", -1),               "|",             clean},
    {"extract a full line",     full + "|",           extract(0, full),                 "|",             dirty},

    {"finish output",           "show|",              prompt_finish_output,             "show|",         PROMPT_FLAG_REDRAW},
    {"start output, no print",  "show|",              prompt_start_output,              "show|",         clean},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Table, EditingPrimitives, testing::ValuesIn(edits));

class EditState : public testing::Test {
  protected:
    ~EditState() override { prompt_free(p); }

    void set(const std::string &marked)
    {
        const pstate ps = state_of(marked);
        prompt_set_content(p, &ps);
    }

    prompt_s *p = prompt_create();
};

TEST_F(EditState, QueriesReadTheState)
{
    set("sh|ow");
    EXPECT_EQ(prompt_used(p), 4);
    EXPECT_EQ(prompt_cursor_location(p), 2);
    EXPECT_EQ(prompt_command(p), p->ps.buf);
    EXPECT_EQ(prompt_cursor_is_at_end(p), 0);
    EXPECT_EQ(pstate_cursor_is_at_end(&p->ps), 0);
    EXPECT_EQ(prompt_is_full(p), 0);
    set(nearly_full + "|");
    EXPECT_EQ(prompt_cursor_is_at_end(p), 1);
    EXPECT_EQ(pstate_cursor_is_at_end(&p->ps), 1);
    EXPECT_EQ(pstate_is_full(&p->ps), 0);
    set("|" + full);
    EXPECT_EQ(prompt_is_full(p), 1);
    EXPECT_EQ(pstate_is_full(&p->ps), 1);
    EXPECT_EQ(prompt_used(p), 255);
}

TEST_F(EditState, ClearingScrollsBackToColumnZero)
{
    set("show|");
    p->display_offset = 16;
    prompt_clear_command(p);
    EXPECT_EQ(p->display_offset, 0);
}

TEST_F(EditState, NothingIsInsertedWithTheCursorAtTheBuffersEnd)
{
    set("show|");
    p->flags = clean;
    p->ps.cursor_location = 255;
    prompt_insert_char_at_cursor(p, 'x');
    pstate_insert_char_at_cursor(&p->ps, 'x');
    pstate_insert_char_str(&p->ps, "xyz", 3);
    EXPECT_STREQ(p->ps.buf, "show");
    EXPECT_EQ(p->ps.buf_used, 4);
    EXPECT_EQ(p->ps.cursor_location, 255);
    EXPECT_EQ(p->flags, clean);
}

TEST_F(EditState, AFailedExtractionLeavesABufferOfNoBytesAlone)
{
    set("   |");
    char byte = 'x';
    int len = 7;
    EXPECT_EQ(prompt_token_extract(p, 0, &byte, 0, &len), -1);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(len, 0);
    EXPECT_EQ(line_of(p->ps), "   |");
}

TEST_F(EditState, ASnapshotGivesBackLineCursorAndTheWholeFlagWord)
{
    set("sh|ow");
    p->flags = PROMPT_FLAG_SCROLLED;
    pstate saved;
    uint32_t flags = 0;
    prompt_snapshot(p, &saved, &flags);
    prompt_clear_command(p);
    prompt_finish_output(p);
    prompt_snapshot_restore(p, &saved, flags);
    EXPECT_EQ(line_of(p->ps), "sh|ow");
    EXPECT_EQ(p->flags, static_cast<uint32_t>(PROMPT_FLAG_SCROLLED));
}

int keep_print(prompt_s *, void *ctx, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    *static_cast<std::string *>(ctx) += std::string(format) + " " + va_arg(arguments, const char *);
    va_end(arguments);
    return 0;
}

TEST_F(EditState, OutputBeginsOnAFreshLineThroughTheFormatPercentS)
{
    std::string printed;
    prompt_set_print_callback(p, keep_print, &printed);
    prompt_start_output(p);
    EXPECT_EQ(printed, "%s \r\n");
}

TEST_F(EditState, NullContextsAreFatal)
{
    const std::function<void()> calls[] = {
        [] { prompt_used(nullptr); },
        [] { prompt_cursor_location(nullptr); },
        [] { prompt_command(nullptr); },
        [] { prompt_is_full(nullptr); },
        [] { prompt_cursor_is_at_end(nullptr); },
        [] { prompt_append_character(nullptr, 'a'); },
        [] { prompt_set_dirty(nullptr); },
        [] { prompt_set_cursor_location(nullptr, 0); },
        [] { prompt_chop(nullptr, 0, 1); },
        [] { prompt_delete_to_eol(nullptr); },
        [] { prompt_delete_to_bol(nullptr); },
        [] { prompt_delete(nullptr, 1); },
        [] { prompt_backspace(nullptr, 1); },
        [] { prompt_clear_command(nullptr); },
        [] { prompt_insert_character(nullptr, 0, 'a'); },
        [] { prompt_insert_char_at_cursor(nullptr, 'a'); },
        [] { prompt_word_back(nullptr); },
        [] { prompt_word_forward(nullptr); },
        [] { prompt_delete_word_back(nullptr); },
        [] { prompt_delete_word_fwd(nullptr); },
        [] { prompt_word_case(nullptr, 0); },
        [] { prompt_capitalize_word(nullptr); },
        [] { prompt_contextual_back(nullptr); },
        [] { prompt_contextual_fwd(nullptr); },
        [] { prompt_start_output(nullptr); },
        [] { prompt_finish_output(nullptr); },
    };
    for (const auto &call : calls)
        EXPECT_ASSERTION(call(), "p", "prompt_manip");

    const std::function<void()> bare_calls[] = {
        [] { pstate_is_full(nullptr); },
        [] { pstate_cursor_is_at_end(nullptr); },
        [] { pstate_set_cursor_location(nullptr, 0); },
        [] { pstate_chop(nullptr, 0, 1); },
        [] { pstate_delete_to_eol(nullptr); },
        [] { pstate_delete(nullptr, 1); },
        [] { pstate_insert_char_at_cursor(nullptr, 'a'); },
        [] { pstate_insert_char_str(nullptr, "a", 1); },
    };
    for (const auto &call : bare_calls)
        EXPECT_ASSERTION(call(), "ps", "prompt_manip");
    EXPECT_ASSERTION(pstate_append_character(nullptr, 'a'), "s", "prompt_manip");
    EXPECT_ASSERTION(pstate_insert_character(nullptr, 0, 'a'), "s", "prompt_manip");
}

struct Fatal {
    std::string before;
    std::function<void(prompt_s *)> call;
    const char *text;
};

TEST_F(EditState, LimitsAreFatal)
{
    char out[8];
    int len = 0;
    pstate ps;
    uint32_t flags;
    const char *at = "at >= 0 && at < ps->buf_used";
    const char *sum = "at + len <= ps->buf_used";
    const char *positive = "len > 0 && len <= ps->buf_used";
    const char *cursor = "new_location >= 0 && new_location <= ps->buf_used";
    const char *location = "location >= 0 && location <= 255";
    const char *token = "p && out_token && out_token_len";
    const char *snapshot = "p && snapshot_ps && snapshot_ps_dirt";
    const Fatal rows[] = {
        {full + "|", [](prompt_s *q) { prompt_append_character(q, 'x'); },
         "s->buf_used + 1 <= 255"},
        {"show|", [](prompt_s *q) { prompt_set_cursor_location(q, 5); }, cursor},
        {"show|", [](prompt_s *q) { prompt_set_cursor_location(q, -1); }, cursor},
        {"show|", [](prompt_s *q) { pstate_set_cursor_location(&q->ps, 5); }, cursor},
        {"show|", [](prompt_s *q) { prompt_chop(q, -1, 1); }, at},
        {"show|", [](prompt_s *q) { prompt_chop(q, 4, 1); }, at},
        {"|", [](prompt_s *q) { prompt_chop(q, 0, 1); }, at},
        {"show|", [](prompt_s *q) { prompt_chop(q, 2, 3); }, sum},
        {"show|", [](prompt_s *q) { prompt_chop(q, 2, INT32_MAX); }, sum},
        {"show|", [](prompt_s *q) { prompt_chop(q, 2, 0); }, positive},
        {"show|", [](prompt_s *q) { prompt_chop(q, 2, INT32_MIN); }, positive},
        {"show|", [](prompt_s *q) { prompt_delete(q, 0); }, "number > 0"},
        {"show|", [](prompt_s *q) { pstate_delete(&q->ps, -1); }, "number > 0"},
        {"show|", [](prompt_s *q) { prompt_backspace(q, 0); }, "number > 0"},
        {"show|", [](prompt_s *q) { prompt_insert_character(q, -1, 'x'); }, location},
        {"show|", [](prompt_s *q) { prompt_insert_character(q, 256, 'x'); }, location},
        {full + "|", [](prompt_s *q) { prompt_insert_character(q, 256, 'x'); }, location},
        {"show|", [](prompt_s *q) { pstate_insert_char_str(&q->ps, nullptr, 1); }, "s || n <= 0"},
        {"show|", [](prompt_s *q) { prompt_insert_character(q, 5, 'x'); },
         "location < s->buf_used"},
        {full + "|", [](prompt_s *q) { prompt_insert_character(q, 0, 'x'); }, "!pstate_is_full(s)"},
        {"show ip|", [&](prompt_s *q) { prompt_token_extract(q, 0, out, 4, &len); },
         "token_len > end - start"},
        {"show ip|", [&](prompt_s *q) { prompt_token_extract(q, 0, out, 0, &len); },
         "token_len > end - start"},
        {"show|", [&](prompt_s *q) { prompt_token_extract(q, 5, out, 8, &len); },
         "start >= 0 && start <= p->ps.buf_used"},
        {"show|", [&](prompt_s *q) { prompt_token_extract(q, -1, out, 8, &len); },
         "start >= 0 && start <= p->ps.buf_used"},
        {"show|", [&](prompt_s *) { prompt_token_extract(nullptr, 0, out, 8, &len); }, token},
        {"show|", [&](prompt_s *q) { prompt_token_extract(q, 0, nullptr, 8, &len); }, token},
        {"show|", [&](prompt_s *q) { prompt_token_extract(q, 0, out, 8, nullptr); }, token},
        {"show|", [&](prompt_s *) { prompt_snapshot(nullptr, &ps, &flags); }, snapshot},
        {"show|", [&](prompt_s *q) { prompt_snapshot(q, nullptr, &flags); }, snapshot},
        {"show|", [&](prompt_s *q) { prompt_snapshot(q, &ps, nullptr); }, snapshot},
        {"show|", [&](prompt_s *) { prompt_snapshot_restore(nullptr, &ps, 0); },
         "p && snapshot_ps"},
        {"show|", [&](prompt_s *q) { prompt_snapshot_restore(q, nullptr, 0); }, "p && snapshot_ps"},
    };
    for (const Fatal &row : rows) {
        set(row.before);
        EXPECT_ASSERTION(row.call(p), row.text, "prompt_manip");
        EXPECT_EQ(line_of(p->ps), row.before) << row.text;
    }
}

TEST_F(EditState, AStateOutOfItsBoundsIsFatal)
{
    p->ps.buf_used = 256;
    EXPECT_ASSERTION(prompt_used(p), "p->ps.buf_used < (int) sizeof(p->ps.buf)", "prompt_manip");
    const char *bounds = "ps->cursor_location >= 0 && ps->cursor_location <= 255";
    p->ps.cursor_location = 256;
    EXPECT_ASSERTION(prompt_delete_to_eol(p), bounds, "prompt_manip");
    p->ps.cursor_location = -1;
    EXPECT_ASSERTION(prompt_delete_to_eol(p), bounds, "prompt_manip");
}

TEST_F(EditState, ATerminatorInsideTheLineFailsTheSelfCheckOfChop)
{
    set("show ip|");
    p->ps.buf[4] = '\0';
    EXPECT_ASSERTION(pstate_chop(&p->ps, 5, 1), "a - len == (int) strlen(ps->buf)", "prompt_manip");
}

} // namespace
