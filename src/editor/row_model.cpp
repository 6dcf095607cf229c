// The display model: what the prompt's row is to look like, computed from the
// edit state, and the difference between two such pictures written out. Which
// picture is drawn, and when, is the redraw's affair.

#include <varno/prompt.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

#include "contract.h"
#include "editor/row_model.h"

namespace {

constexpr char source_name[] = "prompt_model";

// Writes a row's parts one behind the other into the model's buffer. What does
// not fit is counted and not stored.
class RowWriter {
  public:
    explicit RowWriter(prompt_model_s *mod) : mod_(mod) {}

    void append(const char *text, size_t len)
    {
        const size_t at = std::min(written_, last);
        std::memcpy(mod_->buf + at, text, std::min(len, last - at));
        written_ += len;
    }

    // A prompt or a guard of so many characters. Mostly its whole field has room: that is
    // copied without a call, and what follows is written over the field's rest.
    template <size_t capacity>
    void append(const char (&field)[capacity], int32_t len)
    {
        if (written_ + capacity > sizeof(prompt_model_s::buf)) {
            append(field, std::strlen(field));
            return;
        }
        std::memcpy(mod_->buf + written_, field, capacity);
        written_ += static_cast<size_t>(len);
    }

    // As the precision of "%.*s": a negative width, as a great one, takes the whole text.
    void append_cut(const char *text, int32_t width)
    {
        append(text, strnlen(text, static_cast<size_t>(width)));
    }

    void finish()
    {
        mod_->buf_len = static_cast<int32_t>(written_);
        mod_->buf[std::min(written_, last)] = '\0';
    }

  private:
    static constexpr size_t last = sizeof(prompt_model_s::buf) - 1;

    prompt_model_s *mod_;
    size_t written_ = 0;
};

// The row as the format "%s%s%.*s%.*s%s" renders prompt, left guard, text, fill
// and right guard. The fill is an empty text whatever its count, so it is left out.
void render(const prompt_s *p, prompt_model_s *mod)
{
    RowWriter row(mod);
    if (p->ps.buf_used == 0) {
        row.append(p->disp.empty, p->disp.empty_len);
    } else {
        row.append(p->disp.normal, p->disp.normal_len);
        if (p->disp.normal_len < mod->margin_left)
            row.append(p->disp.left, p->disp.left_len);
        row.append_cut(p->ps.buf + p->display_offset, mod->text_width);
        if (mod->margin_right > 0)
            row.append(p->disp.right, p->disp.right_len);
    }
    row.finish();
}

// All but the text. margin_right is what it is to be where the line does not run past
// the edge.
inline void set_dimension(const prompt_s *p, prompt_model_s *mod, int32_t margin_right)
{
    // The last column is never used: a character there may wrap the row.
    const int32_t width = p->width - 1;
    VARNO_ASSERT(width > 0);
    const int32_t used = p->ps.buf_used;
    const int32_t offset = p->display_offset;
    const int32_t prompt_len = used > 0 ? p->disp.normal_len : p->disp.empty_len;
    const int32_t margin_left = prompt_len + (offset > 0 ? p->disp.left_len : 0);
    if (used - offset >= width - margin_left)
        margin_right = p->disp.right_len;
    mod->virtual_cursor = p->ps.cursor_location - offset + margin_left;
    mod->margin_left = margin_left;
    mod->margin_right = margin_right;
    mod->text_width = width - margin_right - margin_left;
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

// What follows the terminator is never read.
inline void clear_text(prompt_model_s *mod)
{
    mod->buf[0] = '\0';
    mod->buf_len = 0;
}

// A model begins empty, and is so after an assertion; what is written anew in the end is
// not cleared first.
inline int32_t update_model(prompt_s *p, prompt_model_s *mod)
{
    if (p->width <= 1) [[unlikely]]
        *mod = {};
    set_dimension(p, mod, 0);
    const int32_t offset = scroll_amount(p, mod->text_width);
    if (offset != 0) [[unlikely]] {
        clear_text(mod);
        VARNO_ASSERT((p->display_offset + offset) >= 0);
        return offset;
    }
    if (p->ps.buf_used == 0) {
        clear_text(mod);
        VARNO_ASSERT(mod->margin_left == p->disp.empty_len);
        VARNO_ASSERT(mod->margin_right == 0);
    }
    render(p, mod);
    return 0;
}

// A line whose cursor is not inside the text area is scrolled and built once more.
void update_model_and_prompt(prompt_s *p, prompt_model_s *mod)
{
    const int offset = update_model(p, mod);
    if (offset == 0) [[likely]]
        return;
    p->display_offset += offset;
    p->flags |= PROMPT_FLAG_SCROLLED;
    VARNO_ASSERT_AS(update_model(p, mod) == 0, "prompt_update_model(p, mod) == 0");
}

void print_from(prompt_s *p, const prompt_model_s *mod, int32_t column)
{
    p->pinfo.print_fn(p, p->pinfo.print_ctx, "%s", varno::row_from(mod, column));
}

constexpr int32_t word_columns = sizeof(uint64_t);
static_assert(sizeof(prompt_model_s::buf) % word_columns == 0);

uint64_t word_at(const prompt_model_s *mod, int32_t column)
{
    uint64_t word;
    std::memcpy(&word, mod->buf + column, sizeof(word));
    return word;
}

// The byte in memory order that is the first of a word not to be 0.
int32_t first_byte(uint64_t word)
{
    const bool is_little = std::endian::native == std::endian::little;
    return (is_little ? std::countr_zero(word) : std::countl_zero(word)) / CHAR_BIT;
}

// The number of columns, of so many that are stored of both rows, that show the same.
// Compared in words: the last one may reach behind a row, and not behind its buffer.
inline int32_t common_columns(const prompt_model_s *shorter, const prompt_model_s *longer,
                              int32_t columns)
{
    for (int32_t at = 0; at < columns; at += word_columns) {
        const uint64_t difference = word_at(shorter, at) ^ word_at(longer, at);
        if (difference != 0)
            return std::min(columns, at + first_byte(difference));
    }
    return columns;
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
    int32_t column = go_to_difference(p, old, common_columns(mod, old, varno::stored_columns(mod)));
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
    const int32_t columns = varno::stored_columns(old);
    const int32_t same = common_columns(old, mod, columns);
    if (same == columns)
        advance_over_prefix(p, old, mod);
    else
        rewrite_from_difference(p, old, mod, same);
}

// From what the terminal shows to what it is to show. There is a print callback.
void redraw_difference(prompt_s *p, const prompt_model_s *old, const prompt_model_s *mod)
{
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
    set_dimension(p, mod, mod->margin_right);
}

int prompt_model_check_cursor_scroll(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    return scroll_amount(p, mod->text_width);
}

int prompt_update_model(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    return update_model(p, mod);
}

int prompt_update_model_and_prompt(prompt_s *p, prompt_model_s *mod)
{
    VARNO_ASSERT(mod && p);
    update_model_and_prompt(p, mod);
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
    redraw_difference(p, prompt_inactive_model(p), prompt_active_model(p));
}

void varno::redraw_line(prompt_s *p)
{
    const prompt_model_s *old = prompt_active_model(p);
    prompt_swap_models(p);
    prompt_model_s *mod = prompt_active_model(p);
    update_model_and_prompt(p, mod);
    if (p->pinfo.print_fn)
        redraw_difference(p, old, mod);
}
