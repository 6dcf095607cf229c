// The terminal's last row: the line being edited, a question, or the pager's. The
// library's redraw assumes a row that it knows; what else may stand there, and what
// its difference leaves unwritten, is seen to here.

#include <varno/platform.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "characters.h"
#include "session.h"

namespace varno {
namespace {

// A question's text leaves at least so many columns for the answer.
constexpr int32_t least_answer_columns = 8;

// What a client has shown by itself may be anywhere on the row.
int32_t shown_columns(tsession_s *s)
{
    if (s->echoed != Echoed::nothing || does_client_echo(s))
        return s->columns;
    return s->mode == Mode::line ? prompt_active_model(s->prompt)->buf_len : s->row_len;
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
    const bool is_client_echoing = does_client_echo(s);
    if (s->is_row_shown && is_client_echoing && s->echoed != Echoed::unknown)
        return;
    if (s->is_row_shown && (s->echoed == Echoed::text || s->echoed == Echoed::unknown))
        hide_row(s); // the editor does not know what the row shows
    if (!is_client_echoing)
        s->echoed = Echoed::nothing;
    else if (s->echoed == Echoed::unknown)
        s->echoed = Echoed::mended;
    if (!s->is_row_shown)
        prompt_finish_output(p);
    settle_scroll(s);
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

// The bytes of a text that take at most so many columns, and how many they take.
size_t beginning_of(const char *text, int32_t columns, int32_t *out_columns)
{
    size_t bytes = 0;
    *out_columns = 0;
    for (size_t left = std::strlen(text); left > 0;) {
        const Character next = first_character(text + bytes, left);
        if (*out_columns + next.columns > columns)
            break;
        *out_columns += next.columns;
        bytes += next.len;
        left -= next.len;
    }
    return bytes;
}

// The same, up to the last blank in it.
size_t row_of(const char *text, int32_t columns)
{
    int32_t taken;
    const size_t bytes = beginning_of(text, columns, &taken);
    const std::string_view row(text, bytes);
    const size_t blank = row.find_last_of(' ');
    return text[bytes] == '\0' || blank == row.npos ? bytes : blank + 1;
}

// What has no room beside an answer goes to rows of its own, above.
void draw_question(tsession_s *s)
{
    if (s->is_row_shown)
        return;
    Question &question = *s->question;
    while (answer_columns(s) < least_answer_columns) {
        const size_t part = row_of(question.text, s->columns - 1);
        emit(s, question.text, part);
        emit(s, "\r\n");
        question.text += part;
    }
    // Of an answer that is too long for the row its end shows.
    const int32_t shown = question.is_secret ? 0 : std::min(question.len, answer_columns(s));
    emit(s, question.text);
    emit(s, question.answer + question.len - shown, static_cast<size_t>(shown));
    s->row_len = s->columns - 1 - answer_columns(s) + shown;
}

void draw_pager(tsession_s *s)
{
    if (s->is_row_shown)
        return;
    const auto text = s->pager.shows_keys ? &tsession_texts_s::more_keys : &tsession_texts_s::more;
    const char *shown = text_of(s, text);
    emit(s, shown, beginning_of(shown, s->columns - 1, &s->row_len));
}

void draw_search(tsession_s *s)
{
    if (s->is_row_shown)
        return;
    char row[512];
    s->row_len = search_row(s, row, s->columns - 1);
    emit(s, row);
}

// A line of which the row shows a part is written whole, from where its text begins. The
// prompt is not written again: programs take it for the end of an answer.
void write_out_line(tsession_s *s)
{
    prompt_s *p = s->prompt;
    const prompt_model_s *model = prompt_active_model(p);
    const bool is_whole = p->display_offset == 0 && model->margin_right == 0;
    if (s->mode != Mode::line || !s->is_row_shown || is_whole)
        return;
    for (int32_t column = model->virtual_cursor; column > p->disp.normal_len; column--)
        emit(s, "\b");
    emit(s, p->ps.buf, static_cast<size_t>(p->ps.buf_used));
}

bool can_erase(const tsession_s *s)
{
    return std::strcmp(terminal_type_name(s->type), "dumb") != 0;
}

} // namespace

// The left guard that appears with a scroll takes a column that the scroll has won:
// then one scroll asks for another, which the redraw does not allow for. Forward a step at
// a time, as one key after the other does: a scroll over a whole run goes a step too far,
// since it reckons with a right guard that is then not there. A line that fits shows
// whole; the editor scrolls back only for a cursor that is hidden, and might leave all of
// a line that got short hidden at the left.
void settle_scroll(tsession_s *s)
{
    constexpr int most_tries = 256; // no line has more steps
    prompt_s *p = s->prompt;
    if (p->ps.buf_used < p->width - 1 - p->disp.normal_len) {
        if (std::exchange(p->display_offset, 0) > 0)
            prompt_set_dirty(p);
        return;
    }
    prompt_model_s scratch; // for its geometry; nothing is rendered
    for (int tries = 0; tries < most_tries; tries++) {
        scratch.margin_right = 0;
        prompt_model_set_dimension(p, &scratch);
        const int amount = prompt_model_check_cursor_scroll(p, &scratch);
        if (amount == 0)
            return;
        p->display_offset += std::min(amount, p->scroll_step);
        prompt_set_dirty(p);
    }
}

int32_t columns_of(const char *text)
{
    int32_t columns;
    beginning_of(text, INT32_MAX / 2, &columns);
    return columns;
}

int32_t answer_columns(const tsession_s *s)
{
    return s->columns - 1 - columns_of(s->question->text);
}

// Without memory for the output nothing is drawn, and all of it once there is.
void draw_row(tsession_s *s)
{
    if (!s->out) {
        s->is_row_shown = false;
        return;
    }
    if (std::exchange(s->is_bell_due, false))
        emit(s, "\a");
    if (is_resting(s)) // rows are still to come, perhaps the rest of one
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
    case Mode::search:
        draw_search(s);
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

void erase_row(tsession_s *s)
{
    if (!can_erase(s))
        return hide_row(s);
    if (s->is_row_shown) {
        emit(s, "\r\033[J");
        s->is_row_shown = false;
        s->column = 0;
    }
}

void ring(tsession_s *s)
{
    s->is_bell_due = true;
}

void leave_row(tsession_s *s)
{
    draw_row(s);
    end_row(s);
}

void leave_entered_row(tsession_s *s)
{
    if (!does_client_echo(s)) {
        draw_row(s);
        write_out_line(s);
        return end_row(s);
    }
    s->is_row_shown = false;
    s->echoed = Echoed::nothing;
    s->column = 0;
    s->is_after_newline = true;
}

// Libraries that automate logins refuse every option without looking, show nothing to
// anybody, and remove the echo that devices send from what they read.
bool does_client_echo(const tsession_s *s)
{
    return s->transport == TSESSION_TELNET && s->is_started &&
           s->telnet.us(option_echo) == OptionState::no && !s->telnet.is_opening_refused();
}

void end_row(tsession_s *s)
{
    s->is_row_shown = false;
    s->echoed = Echoed::nothing;
    s->column = 0;
    emit(s, "\r\n");
}

} // namespace varno
