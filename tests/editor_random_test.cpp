// Long random editing runs on an emulated terminal. The editor fixture compares
// row, cursor and a full draw on a fresh terminal after every redraw.

#include "support/editor.h"
#include "support/spelling.h"

#include <varno/varno.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno_test::Editor;
using varno_test::keys_of;

// What a person presses, frequent things more than once. None writes to standard
// output.
const char *const presses[] = {
    "\"a\"",      "\"b\"",      "\"show \"",  "\" \"",      "\"interfaces\"", "\"   \"",
    "<left>",     "<left 5>",   "<left 30>",  "<right>",    "<right 5>",      "<right 90>",
    "<esc>\"b\"", "<esc>\"f\"", "<esc>\"b\"", "<c-a>",      "<c-e>",          "<c-a><c-e>",
    "<del>",      "<del 4>",    "<c-d>",      "<c-d 4>",    "<c-w>",          "<esc>\"d\"",
    "<esc><del>", "<c-k>",      "<c-u>",      "<esc><c-w>", "<esc>\"c\"",     "<esc>\"u\"",
    "<esc>\"l\"", "<esc><c-p>", "<up>",       "<up 3>",     "<down>",         "<c-y>",
    "<esc>\"x\"", "<c-f><c-b>", "<x78 90>",   "<esc><c-b>", "\"?\"<c-i>",     "<nul><f1>\"z\"",
};

class Typist {
  public:
    Typist(unsigned seed, int width) : random_(seed), editor_(width) {}

    Editor &editor() { return editor_; }

    size_t below(size_t limit) { return random_() % limit; }

    void press()
    {
        for (size_t presses_left = 1 + below(3); presses_left > 0; presses_left--)
            editor_.feed(keys_of(presses[below(std::size(presses))]));
        switch (below(40)) {
        case 0:
            prompt_history_add(editor_.p(), 1);
            prompt_history_reset_state(editor_.p());
            break;
        case 1:
            prompt_set_prompt_normal(editor_.p(), below(2) ? "dev# " : ">");
            break;
        case 2:
            prompt_set_prompt_empty(editor_.p(), below(2) ? "empty " : "");
            break;
        case 3:
            prompt_set_guard_left(editor_.p(), below(2) ? "<<" : "$");
            break;
        default:
            break;
        }
        editor_.settle_scroll();
        editor_.redraw();
    }

  private:
    std::mt19937 random_;
    Editor editor_;
};

class RandomEditing : public testing::TestWithParam<int> {};

// A host that draws the row whole after the two redraws that leave it incomplete
// always shows what a full draw on a fresh terminal would.
TEST_P(RandomEditing, TheRowOfACarefulHostIsAlwaysComplete)
{
    for (unsigned seed = 1; seed <= 4; seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Typist typist(seed, GetParam());
        for (int step = 0; step < 500 && !HasFailure(); step++) {
            typist.press();
            if (!typist.editor().row_is_complete()) {
                typist.editor().heal_row();
                typist.editor().redraw();
            }
            EXPECT_TRUE(typist.editor().row_is_complete());
        }
    }
}

// Without that care the row is exactly what the redraw's contract says, complete
// or not: a longer row that only grew after the cursor lacks its tail.
TEST_P(RandomEditing, TheRowOfACarelessHostIsWhatTheContractSays)
{
    int incomplete = 0;
    for (unsigned seed = 11; seed <= 14; seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Typist typist(seed, GetParam());
        for (int step = 0; step < 500 && !HasFailure(); step++)
            typist.press();
        incomplete += typist.editor().incomplete_rows();
    }
    EXPECT_GT(incomplete, 0);
}

TEST_P(RandomEditing, ResizingRedrawsTheWholeRow)
{
    Typist typist(21, GetParam());
    for (int step = 0; step < 300 && !HasFailure(); step++) {
        typist.press();
        if (typist.below(5) == 0) {
            typist.editor().resize(20 + static_cast<int>(typist.below(237)));
            typist.editor().settle_scroll();
            typist.editor().redraw();
            EXPECT_TRUE(typist.editor().row_is_complete());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, RandomEditing, testing::Values(20, 24, 40, 80, 132, 256));

} // namespace
