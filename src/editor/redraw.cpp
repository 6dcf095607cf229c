// When the row is drawn, and how much of it: afresh after other output, the cursor
// alone where nothing else moved, else what differs from the row shown.

#include <varno/prompt.h>

#include "contract.h"
#include "editor/terminal.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt";

} // namespace

void prompt_redraw(prompt_s *p)
{
    VARNO_ASSERT(p);
    if (p->flags & PROMPT_FLAG_REDRAW) {
        prompt_draw(p, 1);
    } else if (p->flags == 0 && prompt_model_check_cursor_scroll(p, prompt_active_model(p)) == 0) {
        // Moves by words mark nothing, so an unmarked prompt may still have moved its
        // cursor.
        prompt_redraw_cursor(p);
    } else {
        prompt_swap_models(p);
        prompt_update_model_and_prompt(p, prompt_active_model(p));
        prompt_redraw_model(p);
    }
    p->flags = 0;
}

// A longer old row is not erased: a full draw comes after other output, on a fresh row.
// A host that asks for one over a row of text blanks that row itself.
void prompt_draw(prompt_s *p, int update)
{
    VARNO_ASSERT(p);
    prompt_move_term_cursor_to_bol(p);
    if (update)
        prompt_update_model_and_prompt(p, prompt_active_model(p));
    prompt_print_model(p);
    p->flags = 0;
}

void prompt_redraw_cursor(prompt_s *p)
{
    VARNO_ASSERT(p);
    prompt_model_s *mod = prompt_active_model(p);
    const int32_t desired_loc = p->ps.cursor_location - p->display_offset + mod->margin_left;
    const int32_t old_loc = mod->virtual_cursor;
    if (desired_loc > old_loc) {
        VARNO_ASSERT(desired_loc - old_loc < p->width);
        prompt_move_term_cursor_forward(p, desired_loc - old_loc);
    } else if (desired_loc < old_loc) {
        VARNO_ASSERT(old_loc - desired_loc < p->width);
        prompt_move_term_cursor_back(p, old_loc - desired_loc);
    }
    flush(p);
    mod->virtual_cursor = desired_loc;
}
