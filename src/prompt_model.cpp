// The display model: what the prompt's row is to look like, computed from the
// edit state, and the difference between two such pictures written out. Which
// picture is drawn, and when, is the redraw's affair.

#include <varno/prompt.h>

#include <algorithm>
#include <cstring>

#include "contract.h"
#include "prompt_row.h"

namespace {

constexpr char source_name[] = "prompt_model";

// Writes a row's parts one behind the other into the model's buffer. What does
// not fit is counted and not stored.
class RowWriter {
  public:
    explicit RowWriter(prompt_model_s *mod) : mod_(mod) {}

    void append(const char *text, size_t len)
    {
        constexpr size_t last = sizeof(prompt_model_s::buf) - 1;
        const size_t at = std::min(written_, last);
        const size_t stored = std::min(len, last - at);
        std::memcpy(mod_->buf + at, text, stored);
        mod_->buf[at + stored] = '\0';
        written_ += len;
    }

    void append(const char *text) { append(text, std::strlen(text)); }

    // As the precision of "%.*s": a negative width, as a great one, takes the whole text.
    void append_cut(const char *text, int32_t width)
    {
        append(text, strnlen(text, static_cast<size_t>(width)));
    }

    int32_t written() const { return static_cast<int32_t>(written_); }

  private:
    prompt_model_s *mod_;
    size_t written_ = 0;
};

// The row as the format "%s%s%.*s%.*s%s" renders prompt, left guard, text, fill
// and right guard. The fill is an empty text whatever its count, so it is left out.
void render(prompt_s *p, prompt_model_s *mod)
{
    RowWriter row(mod);
    if (p->ps.buf_used == 0) {
        row.append(p->disp.empty);
    } else {
        row.append(p->disp.normal);
        if (p->disp.normal_len < mod->margin_left)
            row.append(p->disp.left);
        row.append_cut(p->ps.buf + p->display_offset, mod->text_width);
        if (mod->margin_right > 0)
            row.append(p->disp.right);
    }
    mod->buf_len = row.written();
}

// The offset moves by whole steps. Back: far enough that between 1 and a step of
// characters stand before the cursor, but all the way where that would leave an
// offset of a step or less. Forward: the least that brings the cursor inside.
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

void print_from(prompt_s *p, const prompt_model_s *mod, int32_t column)
{
    p->pinfo.print_fn(p, p->pinfo.print_ctx, "%s", varno::row_from(mod, column));
}

// The number of columns, of those stored of the shorter row, that show the same in
// both rows.
int32_t common_columns(const prompt_model_s *shorter, const prompt_model_s *longer)
{
    const char *end = shorter->buf + varno::stored_columns(shorter);
    const auto *differs = std::mismatch(shorter->buf, end, longer->buf).first;
    return static_cast<int32_t>(differs - shorter->buf);
}

// Moves the terminal's cursor left, by the shorter text where it goes to column 0.
void return_to(prompt_s *p, int32_t column, int32_t wanted)
{
    if (wanted == 0)
        prompt_move_term_cursor_to_bol(p);
    else
        prompt_move_term_cursor_back(p, column - wanted);
}

// Goes to where the rows begin to differ, or stays if the cursor is before that.
int32_t go_to_difference(prompt_s *p, const prompt_model_s *old, int32_t same)
{
    if (same == 0) {
        prompt_move_term_cursor_to_bol(p);
        return 0;
    }
    if (old->virtual_cursor <= same)
        return old->virtual_cursor;
    prompt_move_term_cursor_back(p, old->virtual_cursor - same);
    return same;
}

void redraw_shorter(prompt_s *p, const prompt_model_s *old, const prompt_model_s *mod)
{
    VARNO_ASSERT(mod && old);
    VARNO_ASSERT(old->buf_len > 0);
    VARNO_ASSERT(old->virtual_cursor >= 0);
    VARNO_ASSERT(old->buf_len > mod->buf_len);
    int32_t column = go_to_difference(p, old, common_columns(mod, old));
    if (column < mod->buf_len) {
        print_from(p, mod, column);
        column = mod->buf_len;
    }
    prompt_term_whiteout(p, old->buf_len - column);
    if (old->buf_len > mod->virtual_cursor)
        prompt_move_term_cursor_back(p, old->buf_len - mod->virtual_cursor);
}

// Nothing that is shown changes. Only the characters up to the new cursor are
// written: the rest of a longer row stays unwritten until a full draw.
void advance_over_prefix(prompt_s *p, const prompt_model_s *old, const prompt_model_s *mod)
{
    if (mod->virtual_cursor > old->virtual_cursor) {
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "%.*s", mod->virtual_cursor - old->virtual_cursor,
                          varno::row_from(mod, old->virtual_cursor));
    } else if (mod->virtual_cursor < old->virtual_cursor) {
        return_to(p, old->virtual_cursor, mod->virtual_cursor);
    }
}

void rewrite_from_difference(prompt_s *p, const prompt_model_s *old, const prompt_model_s *mod,
                             int32_t same)
{
    if (same == 0)
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "\r%s", mod->buf);
    else
        print_from(p, mod, go_to_difference(p, old, same));
    if (mod->buf_len > mod->virtual_cursor)
        return_to(p, mod->buf_len, mod->virtual_cursor);
}

void redraw_as_long(prompt_s *p, const prompt_model_s *old, const prompt_model_s *mod)
{
    VARNO_ASSERT(old->buf_len > 0);
    VARNO_ASSERT(old->virtual_cursor >= 0);
    VARNO_ASSERT(old->buf_len <= mod->buf_len);
    const int32_t same = common_columns(old, mod);
    if (same == varno::stored_columns(old))
        advance_over_prefix(p, old, mod);
    else
        rewrite_from_difference(p, old, mod, same);
}

} // namespace

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
    prompt_model_init(mod);
    prompt_model_set_dimension(p, mod);
    const int32_t offset = scroll_amount(p, mod->text_width);
    if (offset != 0) {
        VARNO_ASSERT((p->display_offset + offset) >= 0);
        return offset;
    }
    if (p->ps.buf_used == 0) {
        VARNO_ASSERT(mod->margin_left == p->disp.empty_len);
        VARNO_ASSERT(mod->margin_right == 0);
    }
    render(p, mod);
    return 0;
}

int prompt_update_model_and_prompt(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    const int offset = prompt_update_model(p, mod);
    if (offset == 0)
        return 0;
    p->display_offset += offset;
    p->flags |= PROMPT_FLAG_SCROLLED;
    VARNO_ASSERT(prompt_update_model(p, mod) == 0);
    return 0;
}

void prompt_print_model(prompt_s *p)
{
    VARNO_ASSERT(p);
    const prompt_model_s *mod = prompt_active_model(p);
    if (p->pinfo.print_fn) {
        print_from(p, mod, 0);
        if (mod->buf_len > mod->virtual_cursor)
            prompt_move_term_cursor_back(p, mod->buf_len - mod->virtual_cursor);
    }
    varno::flush(p);
}

void prompt_redraw_model(prompt_s *p)
{
    VARNO_ASSERT(p);
    if (!p->pinfo.print_fn)
        return;
    const prompt_model_s *old = prompt_inactive_model(p);
    const prompt_model_s *mod = prompt_active_model(p);
    if (old->buf_len == 0) {
        prompt_move_term_cursor_to_bol(p);
        prompt_print_model(p);
        return;
    }
    if (old->buf_len > mod->buf_len)
        redraw_shorter(p, old, mod);
    else
        redraw_as_long(p, old, mod);
    varno::flush(p);
}
