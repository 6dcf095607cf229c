// A row written to the terminal: whole, or as the difference from the row that stands
// there. What the rows are is row_model.cpp's, when they are written redraw.cpp's.

#include <varno/prompt.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

#include "contract.h"
#include "editor/row_model.h"
#include "editor/terminal.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt_model";

void print_from(prompt_s *p, const prompt_model_s *mod, int32_t column)
{
    p->pinfo.print_fn(p, p->pinfo.print_ctx, "%s", row_from(mod, column));
}

constexpr int32_t word_columns = sizeof(uint64_t);
static_assert(sizeof(prompt_model_s::buf) % word_columns == 0);

uint64_t word_at(const prompt_model_s *mod, int32_t column)
{
    uint64_t word;
    std::memcpy(&word, mod->buf + column, sizeof(word));
    return word;
}

// The number of columns, of so many that are stored of both rows, that show the same.
// Compared in words: the last one may reach past a row, and not past its buffer.
int32_t common_columns(const prompt_model_s *old, const prompt_model_s *mod, int32_t columns)
{
    for (int32_t at = 0; at < columns; at += word_columns) {
        const uint64_t difference = word_at(old, at) ^ word_at(mod, at);
        if (difference != 0) {
            const bool is_little = std::endian::native == std::endian::little;
            const int bits =
                is_little ? std::countr_zero(difference) : std::countl_zero(difference);
            return std::min(columns, at + bits / CHAR_BIT);
        }
    }
    return columns;
}

// Goes to where the rows begin to differ, or stays if the cursor is before that.
// Returns the column where the terminal's cursor is then.
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

// Moves the terminal's cursor left, by the shorter text where it goes to column 0.
void return_to(prompt_s *p, int32_t column, int32_t wanted)
{
    if (wanted == 0)
        prompt_move_term_cursor_to_bol(p);
    else
        prompt_move_term_cursor_back(p, column - wanted);
}

void write_shorter_row(prompt_s *p, const prompt_model_s *old, const prompt_model_s *mod)
{
    VARNO_ASSERT(mod && old);
    VARNO_ASSERT(old->buf_len > 0);
    VARNO_ASSERT(old->virtual_cursor >= 0);
    VARNO_ASSERT(old->buf_len > mod->buf_len);
    int32_t column = go_to_difference(p, old, common_columns(old, mod, stored_columns(mod)));
    if (column < mod->buf_len) {
        print_from(p, mod, column);
        column = mod->buf_len;
    }
    prompt_term_whiteout(p, old->buf_len - column);
    if (old->buf_len > mod->virtual_cursor)
        prompt_move_term_cursor_back(p, old->buf_len - mod->virtual_cursor);
}

void write_longer_row(prompt_s *p, const prompt_model_s *old, const prompt_model_s *mod)
{
    VARNO_ASSERT(old->buf_len > 0);
    VARNO_ASSERT(old->virtual_cursor >= 0);
    VARNO_ASSERT(old->buf_len <= mod->buf_len);
    const int32_t columns = stored_columns(old);
    const int32_t same = common_columns(old, mod, columns);
    if (same == columns) {
        // The old row is the beginning of the new one. Only the characters up to the new
        // cursor are written, which is all of them when a key was typed at the end. A
        // host that puts text after the cursor asks for a full draw.
        if (mod->virtual_cursor > old->virtual_cursor)
            p->pinfo.print_fn(p, p->pinfo.print_ctx, "%.*s",
                              mod->virtual_cursor - old->virtual_cursor,
                              row_from(mod, old->virtual_cursor));
        else if (mod->virtual_cursor < old->virtual_cursor)
            return_to(p, old->virtual_cursor, mod->virtual_cursor);
        return;
    }
    if (same == 0)
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "\r%s", mod->buf);
    else
        print_from(p, mod, go_to_difference(p, old, same));
    if (mod->buf_len > mod->virtual_cursor)
        return_to(p, mod->buf_len, mod->virtual_cursor);
}

} // namespace

void prompt_print_model(prompt_s *p)
{
    VARNO_ASSERT(p);
    const prompt_model_s *mod = prompt_active_model(p);
    if (p->pinfo.print_fn) {
        print_from(p, mod, 0);
        if (mod->buf_len > mod->virtual_cursor)
            prompt_move_term_cursor_back(p, mod->buf_len - mod->virtual_cursor);
    }
    flush(p);
}

void prompt_redraw_model(prompt_s *p)
{
    VARNO_ASSERT(p);
    if (!p->pinfo.print_fn)
        return;
    const prompt_model_s *old = prompt_inactive_model(p);
    const prompt_model_s *mod = prompt_active_model(p);
    if (old->buf_len == 0) { // nothing stands there
        prompt_move_term_cursor_to_bol(p);
        prompt_print_model(p);
        return;
    }
    if (old->buf_len > mod->buf_len)
        write_shorter_row(p, old, mod);
    else
        write_longer_row(p, old, mod);
    flush(p);
}
