// The display model: what the prompt's row is to look like, computed from the edit
// state alone. Nothing here writes to the terminal.

#include "editor/row_model.h"

#include <cstring>
#include <string_view>

#include "contract.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt_model";

// Appends to the rendered row what fits; the rest is counted and not stored, so that
// buf_len is the length of the whole rendering.
void append(prompt_model_s *mod, std::string_view text)
{
    char *at = mod->buf + stored_columns(mod);
    const auto room = static_cast<size_t>(std::end(mod->buf) - 1 - at);
    const size_t stored = std::min(text.size(), room);
    std::memcpy(at, text.data(), stored);
    at[stored] = '\0';
    mod->buf_len += static_cast<int32_t>(text.size());
}

// The offset moves by whole steps, so that the row is not written anew for each
// character typed at its edge. Back: far enough that between 1 and a step of characters
// stand before the cursor; but all the way where that would leave an offset of a step
// or less, since a guard would then hide text that has room without it. Forward: the
// least that brings the cursor inside.
int32_t scroll_amount(const prompt_s *p, int32_t text_width)
{
    const int32_t step = p->scroll_step;
    const int32_t offset = p->display_offset;
    const int32_t column = p->ps.cursor_location - offset;
    if (column < 0) {
        const int32_t back = (column / step - 1) * step;
        return offset + back > step ? back : -offset;
    }
    if (column < text_width)
        return 0;
    return ((column - text_width) / step + 1) * step;
}

} // namespace

// Any index but 0 is the second model's: a host may have set the member.
prompt_model_s *prompt_active_model(prompt_s *p)
{
    VARNO_ASSERT(p);
    return &p->models[p->active_model != 0];
}

prompt_model_s *prompt_inactive_model(prompt_s *p)
{
    VARNO_ASSERT(p);
    return &p->models[p->active_model == 0];
}

int prompt_swap_models(prompt_s *p)
{
    VARNO_ASSERT(p);
    p->active_model = p->active_model == 0;
    return p->active_model;
}

void prompt_model_init(prompt_model_s *mod)
{
    VARNO_ASSERT(mod);
    *mod = {};
}

void prompt_model_set_dimension(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    // The last column is never used: a character there may wrap the row.
    const int32_t width = p->width - 1;
    VARNO_ASSERT(width > 0);
    mod->margin_left = p->ps.buf_used > 0 ? p->disp.normal_len : p->disp.empty_len;
    if (p->display_offset > 0)
        mod->margin_left += p->disp.left_len;
    // A line that just fills the row has its guard too: the cursor after its last
    // character needs a column.
    if (p->ps.buf_used - p->display_offset >= width - mod->margin_left)
        mod->margin_right = p->disp.right_len;
    mod->text_width = width - mod->margin_right - mod->margin_left;
    mod->virtual_cursor = p->ps.cursor_location - p->display_offset + mod->margin_left;
}

int prompt_model_check_cursor_scroll(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    return scroll_amount(p, mod->text_width);
}

int prompt_update_model(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    // As prompt_model_init, but for the text past the terminator, which nobody reads.
    mod->buf[0] = '\0';
    mod->buf_len = 0;
    mod->virtual_cursor = 0;
    mod->margin_left = 0;
    mod->text_width = 0;
    mod->margin_right = 0;
    prompt_model_set_dimension(p, mod);
    const int32_t offset = scroll_amount(p, mod->text_width);
    if (offset != 0) {
        VARNO_ASSERT((p->display_offset + offset) >= 0);
        return offset;
    }
    if (p->ps.buf_used == 0) {
        VARNO_ASSERT(mod->margin_left == p->disp.empty_len);
        VARNO_ASSERT(mod->margin_right == 0);
        append(mod, p->disp.empty);
        return 0;
    }
    append(mod, p->disp.normal);
    if (p->disp.normal_len < mod->margin_left)
        append(mod, p->disp.left);
    // As a precision of printf: a negative width takes the whole text.
    const char *text = p->ps.buf + p->display_offset;
    append(mod, {text, strnlen(text, static_cast<size_t>(mod->text_width))});
    if (mod->margin_right > 0)
        append(mod, p->disp.right);
    return 0;
}

// The left guard that appears with the first scroll may take the column that the scroll
// has won. The second build is still fatal then, and not tried again: a host that lets
// the cursor jump settles display_offset beforehand.
int prompt_update_model_and_prompt(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    const int offset = prompt_update_model(p, mod);
    if (offset != 0) {
        p->display_offset += offset;
        p->flags |= PROMPT_FLAG_SCROLLED;
        VARNO_ASSERT(prompt_update_model(p, mod) == 0);
    }
    return 0;
}
