// The terminal's last row: the line being edited, a question, or the pager's. The
// library's redraw assumes a row that it knows; what else may stand there, and what
// its difference leaves unwritten, is seen to here.

#include <varno/platform.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "session.h"

namespace varno {
namespace {

constexpr char pager_text[] = "--More--";

int32_t shown_columns(tsession_s *s)
{
    return s->mode == Mode::line ? prompt_active_model(s->prompt)->buf_len : s->row_len;
}

// A line that got short enough shows whole; the editor scrolls back only for a cursor
// that is hidden, and might leave all of it hidden at the left.
void scroll_back_if_it_fits(prompt_s *p)
{
    if (p->display_offset > 0 && p->ps.buf_used < p->width - 1 - p->disp.normal_len) {
        p->display_offset = 0;
        prompt_set_dirty(p);
    }
}

// The left guard that appears with a scroll takes a column that the scroll has won:
// then one scroll asks for another, which the redraw does not allow for.
void settle_scroll(prompt_s *p)
{
    constexpr int most_tries = 8;
    scroll_back_if_it_fits(p);
    prompt_model_s scratch; // for its geometry; nothing is rendered
    for (int tries = 0; tries < most_tries; tries++) {
        scratch.margin_right = 0;
        prompt_model_set_dimension(p, &scratch);
        const int amount = prompt_model_check_cursor_scroll(p, &scratch);
        if (amount == 0)
            return;
        p->display_offset += amount;
        prompt_set_dirty(p);
    }
}

// A row that has only grown is written up to the cursor; the rest of it is missing.
bool lacks_its_tail(const prompt_model_s &before, const prompt_model_s &now)
{
    return before.buf_len < now.buf_len && now.virtual_cursor < now.buf_len &&
           std::memcmp(before.buf, now.buf, static_cast<size_t>(before.buf_len)) == 0;
}

void draw_line(tsession_s *s)
{
    prompt_s *p = s->prompt;
    if (!s->is_row_shown)
        prompt_finish_output(p);
    settle_scroll(p);
    // A command that is undone may have moved the offset without a flag.
    if (p->display_offset != s->shown_offset)
        prompt_set_dirty(p);
    const bool is_full_draw = p->flags & PROMPT_FLAG_REDRAW;
    // A redraw of the difference leaves what was shown in the other model, as it was.
    const prompt_model_s *before = prompt_active_model(p);
    prompt_redraw(p);
    if (!is_full_draw && lacks_its_tail(*before, *prompt_active_model(p)))
        prompt_draw(p, 0);
    s->shown_offset = p->display_offset;
}

// A smaller window may have no room for the whole question: then its beginning shows.
int32_t question_columns(const tsession_s *s)
{
    return std::min(static_cast<int32_t>(std::strlen(s->question->text)),
                    s->columns - 1 - least_answer_columns);
}

void draw_question(tsession_s *s)
{
    if (s->is_row_shown)
        return;
    // Of an answer that is too long for the row its end shows.
    const Question &question = *s->question;
    const int32_t shown = question.is_secret ? 0 : std::min(question.len, answer_columns(s));
    emit(s, question.text, static_cast<size_t>(question_columns(s)));
    emit(s, question.answer + question.len - shown, static_cast<size_t>(shown));
    s->row_len = question_columns(s) + shown;
}

void draw_pager(tsession_s *s)
{
    if (s->is_row_shown)
        return;
    emit(s, pager_text);
    s->row_len = static_cast<int32_t>(std::size(pager_text)) - 1;
}

} // namespace

int32_t answer_columns(const tsession_s *s)
{
    return s->columns - 1 - question_columns(s);
}

// Without memory for the output nothing is drawn, and all of it once there is.
void draw_row(tsession_s *s)
{
    if (!s->out) {
        s->is_row_shown = false;
        return;
    }
    // Rows are still to come, perhaps the rest of one.
    if (s->mode == Mode::pager && !s->pager.is_waiting)
        return;
    if (!s->is_row_shown && s->column > 0)
        write_text(s, "\n");
    switch (s->mode) {
    case Mode::line:
        draw_line(s);
        break;
    case Mode::question:
    case Mode::key_question:
        draw_question(s);
        break;
    case Mode::pager:
        draw_pager(s);
        break;
    }
    s->is_row_shown = true;
}

void hide_row(tsession_s *s)
{
    if (!s->is_row_shown)
        return;
    s->is_row_shown = false;
    s->column = 0;
    emit(s, "\r");
    emit_blanks(s, std::min(shown_columns(s), s->columns - 1));
    emit(s, "\r");
}

void leave_row(tsession_s *s)
{
    draw_row(s);
    end_row(s);
}

void end_row(tsession_s *s)
{
    s->is_row_shown = false;
    s->column = 0;
    emit(s, "\r\n");
}

} // namespace varno
