// The display model's geometry, the redraw's fatal conditions and the print calls
// that it makes. What a redraw shows is in the editor scripts.

#include "support/assertion.h"
#include "support/editor.h"

#include <varno/varno.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::state_of;

// One line a print call: the format, and what it rendered.
struct Prints {
    std::vector<std::string> calls;
    int flushes = 0;

    VARNO_PRINTF(3, 4) static int print(prompt_s *, void *ctx, const char *format, ...)
    {
        char text[1024];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        static_cast<Prints *>(ctx)->calls.push_back(std::string(format) + "|" + text);
        return 0;
    }

    static void flush(prompt_s *, void *ctx) { static_cast<Prints *>(ctx)->flushes++; }

    std::vector<std::string> take() { return std::exchange(calls, {}); }
};

using Calls = std::vector<std::string>;

class RowModel : public testing::Test {
  protected:
    RowModel()
    {
        prompt_set_print_callback(p, Prints::print, &prints);
        prompt_set_flush_callback(p, Prints::flush, &prints);
    }

    ~RowModel() override { prompt_free(p); }

    void set(const std::string &marked)
    {
        const pstate ps = state_of(marked);
        prompt_set_content(p, &ps);
        prompt_set_dirty(p);
    }

    // What a redraw of the changed line prints.
    Calls redraw(const std::string &marked)
    {
        set(marked);
        prompt_redraw(p);
        return prints.take();
    }

    // What a redraw prints when nothing but the cursor has moved.
    Calls move_to(int32_t cursor)
    {
        p->ps.cursor_location = cursor;
        prompt_redraw(p);
        return prints.take();
    }

    Prints prints;
    prompt_s *p = prompt_create();
    prompt_model_s mod = {};
};

TEST_F(RowModel, AnEmptyLineHasThePromptAndNoGuards)
{
    EXPECT_EQ(prompt_update_model(p, &mod), 0);
    EXPECT_STREQ(mod.buf, ">");
    EXPECT_EQ(mod.buf_len, 1);
    EXPECT_EQ(mod.margin_left, 1);
    EXPECT_EQ(mod.text_width, 78);
    EXPECT_EQ(mod.margin_right, 0);
    EXPECT_EQ(mod.virtual_cursor, 1);
}

TEST_F(RowModel, EachPromptHasItsOwnMargin)
{
    prompt_set_prompt_empty(p, "empty> ");
    prompt_set_prompt_normal(p, "# ");
    prompt_update_model(p, &mod);
    EXPECT_STREQ(mod.buf, "empty> ");
    EXPECT_EQ(mod.margin_left, 7);
    set("sh|ow");
    prompt_update_model(p, &mod);
    EXPECT_STREQ(mod.buf, "# show");
    EXPECT_EQ(mod.margin_left, 2);
    EXPECT_EQ(mod.virtual_cursor, 4);
}

TEST_F(RowModel, BothGuardsShowInTheMiddleOfALongLine)
{
    prompt_set_dimension(p, 20, 4);
    set(std::string(20, 'a') + "|" + std::string(40, 'b'));
    p->display_offset = 16;
    EXPECT_EQ(prompt_update_model(p, &mod), 0);
    EXPECT_STREQ(mod.buf, ">$aaaabbbbbbbbbbbb$");
    EXPECT_EQ(mod.buf_len, 19);
    EXPECT_EQ(mod.margin_left, 2);
    EXPECT_EQ(mod.text_width, 16);
    EXPECT_EQ(mod.margin_right, 1);
    EXPECT_EQ(mod.virtual_cursor, 6);
}

TEST_F(RowModel, AnEmptyGuardTakesNoColumn)
{
    prompt_set_guard_left(p, "");
    prompt_set_guard_right(p, "");
    prompt_set_dimension(p, 20, 4);
    set(std::string(20, 'a') + "|" + std::string(40, 'b'));
    p->display_offset = 16;
    EXPECT_EQ(prompt_update_model(p, &mod), 0);
    EXPECT_STREQ(mod.buf, ">aaaabbbbbbbbbbbbbb");
}

TEST_F(RowModel, ALineIsEmptyByItsCountAlone)
{
    prompt_set_prompt_normal(p, "# ");
    p->ps.buf_used = 1;
    EXPECT_EQ(prompt_update_model(p, &mod), 0);
    EXPECT_STREQ(mod.buf, "# ");
}

TEST_F(RowModel, TheGeometryOfAShortLineLeavesTheRightMarginAlone)
{
    mod.margin_right = 7;
    prompt_model_set_dimension(p, &mod);
    EXPECT_EQ(mod.margin_right, 7);
    EXPECT_EQ(mod.text_width, 71);
}

struct Scroll {
    int32_t cursor, offset, text_width, step, amount;
};

TEST_F(RowModel, ScrollsByWholeSteps)
{
    const Scroll rows[] = {
        {0, 0, 10, 8, 0},      {9, 0, 10, 8, 0},       {10, 0, 10, 8, 8},    {17, 0, 10, 8, 8},
        {18, 0, 10, 8, 16},    {100, 0, 10, 8, 96},    {20, 16, 10, 8, 0},   {26, 16, 10, 8, 8},
        {15, 16, 10, 8, -16},  {23, 24, 10, 8, -8},    {16, 24, 10, 8, -24}, {15, 24, 10, 8, -24},
        {0, 200, 10, 8, -200}, {99, 200, 10, 8, -104}, {12, 13, 10, 4, -4},  {3, 9, 10, 1, -7},
        {7, 8, 10, 8, -8},     {0, 1, 10, 8, -1},
    };
    for (const Scroll &row : rows) {
        p->ps.buf_used = 255;
        p->ps.cursor_location = row.cursor;
        p->display_offset = row.offset;
        p->scroll_step = row.step;
        mod.text_width = row.text_width;
        EXPECT_EQ(prompt_model_check_cursor_scroll(p, &mod), row.amount)
            << "cursor " << row.cursor << " offset " << row.offset << " step " << row.step;
    }
}

TEST_F(RowModel, AModelThatNeedsAScrollHasNoText)
{
    prompt_set_dimension(p, 20, 4);
    set(std::string(40, 'a') + "|");
    EXPECT_EQ(prompt_update_model(p, &mod), 24);
    EXPECT_STREQ(mod.buf, "");
    EXPECT_EQ(mod.buf_len, 0);
    EXPECT_EQ(p->display_offset, 0);
    p->flags = 0;
    EXPECT_EQ(prompt_update_model_and_prompt(p, &mod), 0);
    EXPECT_EQ(p->display_offset, 24);
    EXPECT_EQ(p->flags, static_cast<uint32_t>(PROMPT_FLAG_SCROLLED));
    EXPECT_STREQ(mod.buf, (">$" + std::string(16, 'a')).c_str());
}

TEST_F(RowModel, ModelsAreSwappedByIndex)
{
    EXPECT_EQ(prompt_active_model(p), &p->models[0]);
    EXPECT_EQ(prompt_inactive_model(p), &p->models[1]);
    EXPECT_EQ(prompt_swap_models(p), 1);
    EXPECT_EQ(prompt_active_model(p), &p->models[1]);
    EXPECT_EQ(prompt_inactive_model(p), &p->models[0]);
    EXPECT_EQ(prompt_swap_models(p), 0);
}

TEST_F(RowModel, AnInitialisedModelIsEmpty)
{
    std::memset(&mod, 0x55, sizeof(mod));
    prompt_model_init(&mod);
    EXPECT_STREQ(mod.buf, "");
    EXPECT_EQ(mod.buf_len, 0);
    EXPECT_EQ(mod.virtual_cursor, 0);
    EXPECT_EQ(mod.margin_left, 0);
    EXPECT_EQ(mod.text_width, 0);
    EXPECT_EQ(mod.margin_right, 0);
}

TEST_F(RowModel, TerminalPrimitivesUseTheirFormats)
{
    prompt_move_term_cursor_to_bol(p);
    EXPECT_EQ(prints.take(), Calls({"%c|\r"}));
    prompt_move_term_cursor_back(p, 3);
    EXPECT_EQ(prints.take(), Calls({"%c|\b", "%c|\b", "%c|\b"}));
    prompt_term_whiteout(p, 3);
    EXPECT_EQ(prints.take(), Calls({"%*s|   "}));
    prompt_term_whiteout(p, 0);
    EXPECT_EQ(prints.take(), Calls());
    std::strcpy(p->models[0].buf, ">show");
    p->models[0].buf_len = 5;
    p->models[0].virtual_cursor = 2;
    prompt_move_term_cursor_forward(p, 2);
    EXPECT_EQ(prints.take(), Calls({"%.*s|ho"}));
    prompt_move_term_cursor_forward(p, -1);
    EXPECT_EQ(prints.take(), Calls());
    EXPECT_EQ(prints.flushes, 0);
}

TEST_F(RowModel, RedrawsUseTheirFormatsAndFlushOnce)
{
    prompt_redraw(p);
    EXPECT_EQ(prints.take(), Calls({"%c|\r", "%s|>"}));
    EXPECT_EQ(prints.flushes, 1);
    set("show|");
    prompt_redraw(p);
    EXPECT_EQ(prints.take(), Calls({"%.*s|show"}));
    EXPECT_EQ(prints.flushes, 2);
    set("shoo|w");
    prompt_redraw(p);
    EXPECT_EQ(prints.take(), Calls({"%c|\b", "%s|ow", "%c|\b"}));
    EXPECT_EQ(prints.flushes, 3);
    set("sh|");
    prompt_redraw(p);
    EXPECT_EQ(prints.take(), Calls({"%c|\b", "%c|\b", "%*s|   ", "%c|\b", "%c|\b", "%c|\b"}));
    prompt_set_prompt_normal(p, "#");
    prompt_redraw(p);
    EXPECT_EQ(prints.take(), Calls({"\r%s|\r#sh"}));
    prompt_set_cursor_location(p, 0);
    p->flags = 0;
    prompt_redraw(p);
    EXPECT_EQ(prints.take(), Calls({"%c|\b", "%c|\b"}));
    EXPECT_EQ(prints.flushes, 6);
}

TEST_F(RowModel, AnUnchangedRowIsFlushedWithoutAPrint)
{
    redraw("sh|ow");
    EXPECT_EQ(redraw("sh|ow"), Calls());
    EXPECT_EQ(prints.flushes, 2);
}

TEST_F(RowModel, AShorterRowWhoseCursorIsAtTheOldEndNeedsNoLastMove)
{
    *prompt_inactive_model(p) = {"abcde", 5, 5, 0, 0, 0};
    *prompt_active_model(p) = {"ab", 2, 5, 0, 0, 0};
    prompt_redraw_model(p);
    EXPECT_EQ(prints.take(), Calls({"%c|\b", "%c|\b", "%c|\b", "%*s|   "}));
}

struct Difference {
    const char *before;
    const char *after;
    Calls written;
};

// Without a prompt the cursor can be in column 0.
TEST_F(RowModel, OnlyARowThatIsNotShorterReturnsToColumnZeroByACarriageReturn)
{
    // clang-format off
    const Difference rows[] = {
        {"show|", "|show", {"%c|\r"}},
        {"show|", "|shaw", {"%c|\b", "%c|\b", "%s|aw", "%c|\r"}},
        {"|shaw", "|xhaw", {"\r%s|\rxhaw", "%c|\r"}},
        {"sh|ow", "|ow",   {"%c|\r", "%s|ow", "%*s|  ", "%c|\b", "%c|\b", "%c|\b", "%c|\b"}},
        {"|ow",   "|w",    {"%c|\r", "%s|w", "%*s| ", "%c|\b", "%c|\b"}},
    };
    // clang-format on
    prompt_set_prompt_empty(p, "");
    prompt_set_prompt_normal(p, "");
    for (const Difference &row : rows) {
        redraw(row.before);
        EXPECT_EQ(redraw(row.after), row.written) << row.before << " to " << row.after;
    }
}

TEST_F(RowModel, AnyFlagMakesARedrawRebuild)
{
    redraw("show|");
    EXPECT_EQ(p->active_model, 0);
    p->flags = PROMPT_FLAG_SCROLLED;
    prompt_redraw(p);
    EXPECT_EQ(p->active_model, 1);
}

void keep_column(prompt_s *p, void *ctx)
{
    *static_cast<int32_t *>(ctx) = prompt_active_model(p)->virtual_cursor;
}

TEST_F(RowModel, ACursorMoveIsFlushedBeforeItsColumnIsStored)
{
    redraw("show|");
    int32_t column_at_flush = 0;
    prompt_set_flush_callback(p, keep_column, &column_at_flush);
    move_to(0);
    EXPECT_EQ(column_at_flush, 5);
    EXPECT_EQ(prompt_active_model(p)->virtual_cursor, 1);
}

TEST_F(RowModel, ADrawPrintsTheActiveModelWithoutRebuildingIt)
{
    prompt_redraw(p);
    prints.take();
    set("show|");
    prompt_draw(p, 0);
    EXPECT_EQ(prints.take(), Calls({"%c|\r", "%s|>"}));
    EXPECT_EQ(p->flags, 0u);
    prompt_draw(p, 1);
    EXPECT_EQ(prints.take(), Calls({"%c|\r", "%s|>show"}));
}

TEST_F(RowModel, AnEmptyOldModelIsReplacedByAWholePrint)
{
    p->flags = 0;
    set("sh|ow");
    prompt_redraw(p);
    EXPECT_EQ(prints.take(), Calls({"%c|\r", "%s|>show", "%c|\b", "%c|\b"}));
    EXPECT_EQ(prints.flushes, 1);
}

TEST_F(RowModel, WithoutAPrintFunctionTheRedrawIsSilent)
{
    prompt_set_print_callback(p, nullptr, nullptr);
    p->flags = 0;
    set("show|");
    prompt_redraw(p);
    EXPECT_EQ(prints.flushes, 0) << "a differential redraw does nothing";
    prompt_print_model(p);
    EXPECT_EQ(prints.flushes, 1) << "a whole print flushes";
    prompt_set_cursor_location(p, 0);
    p->flags = 0;
    prompt_redraw(p);
    EXPECT_EQ(prints.flushes, 2) << "a cursor move flushes";
    EXPECT_EQ(prompt_active_model(p)->virtual_cursor, 1);
    prompt_move_term_cursor_back(p, 1);
    prompt_term_whiteout(p, 1);
    prompt_finish_output(p);
    EXPECT_ASSERTION(prompt_move_term_cursor_back(p, 0), "amount > 0", "prompt");
    EXPECT_ASSERTION(prompt_redraw(p), "p->pinfo.print_fn", "prompt");
}

TEST_F(RowModel, WithoutAFlushFunctionNothingIsFlushed)
{
    prompt_set_flush_callback(p, nullptr, nullptr);
    prompt_redraw(p);
    set("show|");
    prompt_redraw(p);
    EXPECT_EQ(prints.take().size(), 3u);
}

TEST_F(RowModel, AWidthOfOneIsFatalAtTheFirstRedraw)
{
    for (const int width : {0, 1}) {
        prompt_set_dimension(p, width, 4);
        EXPECT_ASSERTION(prompt_redraw(p), "width > 0", "prompt_model");
    }
    EXPECT_ASSERTION(prompt_model_set_dimension(p, &mod), "width > 0", "prompt_model");
}

TEST_F(RowModel, ATooNarrowTerminalIsFatal)
{
    prompt_set_dimension(p, 2, 4);
    EXPECT_ASSERTION(prompt_redraw(p), "prompt_update_model(p, mod) == 0", "prompt_model");
}

TEST_F(RowModel, OddMarginsOfAnEmptyLineAreFatal)
{
    p->ps.cursor_location = -100;
    p->display_offset = -100;
    EXPECT_ASSERTION(prompt_update_model(p, &mod), "mod->margin_right == 0", "prompt_model");
    p->disp.left_len = 3;
    p->disp.empty_len = -1;
    p->ps.cursor_location = 1;
    p->display_offset = 1;
    EXPECT_ASSERTION(prompt_update_model(p, &mod), "mod->margin_left == p->disp.empty_len",
                     "prompt_model");
}

TEST_F(RowModel, AnOffsetBelowZeroIsFatal)
{
    p->display_offset = -100;
    EXPECT_ASSERTION(prompt_update_model(p, &mod), "(p->display_offset + offset) >= 0",
                     "prompt_model");
}

// The left guard that appears with the first scroll takes the column that the
// scroll had won.
TEST_F(RowModel, AScrollThatTheLeftGuardUndoesIsFatal)
{
    set("|" + std::string(200, 'a'));
    prompt_redraw(p);
    prompt_set_cursor_location(p, 84);
    EXPECT_ASSERTION(prompt_redraw(p), "prompt_update_model(p, mod) == 0", "prompt_model");
}

TEST_F(RowModel, CursorMovesWiderThanTheTerminalAreFatal)
{
    set("|");
    prompt_redraw(p);
    p->ps.cursor_location = 80;
    EXPECT_ASSERTION(prompt_redraw_cursor(p), "desired_loc - old_loc < p->width", "prompt");
    p->ps.cursor_location = 0;
    p->display_offset = 80;
    EXPECT_ASSERTION(prompt_redraw_cursor(p), "old_loc - desired_loc < p->width", "prompt");
}

TEST_F(RowModel, OldModelsOutOfBoundsAreFatal)
{
    prompt_model_s *old = prompt_inactive_model(p);
    old->virtual_cursor = -1;
    old->buf_len = 3;
    EXPECT_ASSERTION(prompt_redraw_model(p), "old->virtual_cursor >= 0", "prompt_model");
    prompt_active_model(p)->buf_len = 3;
    EXPECT_ASSERTION(prompt_redraw_model(p), "old->virtual_cursor >= 0", "prompt_model");
    old->buf_len = -1;
    EXPECT_ASSERTION(prompt_redraw_model(p), "old->buf_len > 0", "prompt_model");
    prompt_active_model(p)->buf_len = -2;
    EXPECT_ASSERTION(prompt_redraw_model(p), "old->buf_len > 0", "prompt_model");
}

TEST_F(RowModel, MissingArgumentsAreFatal)
{
    EXPECT_ASSERTION(prompt_active_model(nullptr), "p", "prompt_model");
    EXPECT_ASSERTION(prompt_inactive_model(nullptr), "p", "prompt_model");
    EXPECT_ASSERTION(prompt_swap_models(nullptr), "p", "prompt_model");
    EXPECT_ASSERTION(prompt_model_init(nullptr), "mod", "prompt_model");
    EXPECT_ASSERTION(prompt_model_set_dimension(nullptr, &mod), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_model_set_dimension(p, nullptr), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_model_check_cursor_scroll(nullptr, &mod), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_model_check_cursor_scroll(p, nullptr), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_update_model(nullptr, &mod), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_update_model(p, nullptr), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_update_model_and_prompt(nullptr, &mod), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_update_model_and_prompt(p, nullptr), "mod && p", "prompt_model");
    EXPECT_ASSERTION(prompt_print_model(nullptr), "p", "prompt_model");
    EXPECT_ASSERTION(prompt_redraw_model(nullptr), "p", "prompt_model");
    EXPECT_ASSERTION(prompt_redraw_cursor(nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_draw(nullptr, 0), "p", "prompt");
    EXPECT_ASSERTION(prompt_redraw(nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_move_term_cursor_forward(nullptr, 1), "p", "prompt");
    EXPECT_ASSERTION(prompt_move_term_cursor_back(nullptr, 1), "p", "prompt");
    EXPECT_ASSERTION(prompt_move_term_cursor_back(p, 0), "amount > 0", "prompt");
    EXPECT_ASSERTION(prompt_move_term_cursor_to_bol(nullptr), "p", "prompt");
    EXPECT_ASSERTION(prompt_term_whiteout(nullptr, 0), "p && len >= 0", "prompt");
    EXPECT_ASSERTION(prompt_term_whiteout(p, -1), "p && len >= 0", "prompt");
}

// A very wide terminal: the rendering is counted whole and stored up to 255.
class WideRowModel : public RowModel {
  protected:
    WideRowModel()
    {
        prompt_set_dimension(p, 400, 4);
        prompt_set_prompt_normal(p, "123456789012345678901234567890");
    }

    static std::string line(size_t length, size_t cursor)
    {
        return std::string(length, 'a').insert(cursor, "|");
    }
};

TEST_F(WideRowModel, ALongRenderingIsCountedWholeAndStoredInPart)
{
    set(std::string(255, 'a') + "|");
    EXPECT_EQ(prompt_update_model(p, &mod), 0);
    EXPECT_EQ(mod.buf_len, 285);
    EXPECT_EQ(std::strlen(mod.buf), 255u);
    EXPECT_EQ(mod.virtual_cursor, 285);
}

TEST_F(WideRowModel, ACursorMoveWritesColumnsThatAreNotStoredAsNothing)
{
    for (int i = 0; i < 3; i++)
        redraw(line(255, 250));
    ASSERT_EQ(p->active_model, 0) << "the other model's text lies after this one's";
    EXPECT_EQ(move_to(255), Calls({"%.*s|"})) << "columns 280 to 285";
    EXPECT_EQ(move_to(220), Calls(35, "%c|\b"));
    EXPECT_EQ(move_to(230), Calls({"%.*s|aaaaa"})) << "columns 250 to 260";
}

TEST_F(WideRowModel, ADifferenceWritesColumnsThatAreNotStoredAsNothing)
{
    for (int i = 0; i < 2; i++)
        redraw(line(255, 250));
    EXPECT_EQ(redraw(line(255, 255)), Calls({"%.*s|"}));
    ASSERT_EQ(p->active_model, 0) << "the other model's text lies after this one's";
    Calls shorter(30, "%c|\b");
    shorter.insert(shorter.end(), {"%s|", "%*s| ", "%c|\b"});
    EXPECT_EQ(redraw(line(254, 254)), shorter);
}

TEST_F(WideRowModel, AnyWidthUpToTheGreatestIsSafe)
{
    set(std::string(255, 'a') + "|");
    p->display_offset = 200;
    prompt_set_dimension(p, INT32_MAX, 4);
    EXPECT_EQ(prompt_update_model(p, &mod), 0);
    EXPECT_EQ(mod.text_width, INT32_MAX - 1 - 31);
}

} // namespace
