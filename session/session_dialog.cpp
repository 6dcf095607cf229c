// Long outputs, a page at a time, and questions. While one runs it gets the keys.

#include "session.h"

#include <varno/platform.h>

#include <algorithm>
#include <utility>

namespace varno {
namespace {

constexpr mkey_t ctrl_c = 3;
constexpr mkey_t ctrl_h = 8;
constexpr mkey_t ctrl_u = 21;

// So much a long output may gather before it makes a pause.
constexpr size_t page_bytes = output_capacity / 2;

int32_t page_rows(const tsession_s *s)
{
    return s->is_paged ? s->rows - 1 : INT32_MAX;
}

int call_producer(tsession_s *s, int is_cancelled)
{
    s->is_in_command = true;
    const int has_more = s->pager.produce(s, s->user, s->pager.ctx, is_cancelled);
    s->is_in_command = false;
    return has_more;
}

void end_pager(tsession_s *s)
{
    hide_row(s);
    s->mode = Mode::line;
    s->pager = {};
}

void cancel_pager(tsession_s *s)
{
    hide_row(s);
    call_producer(s, 1);
    end_pager(s);
}

// One call of the producer; false when the output rests.
bool produce(tsession_s *s)
{
    const size_t used = s->out ? s->out->used : 0;
    const int32_t rows_left = s->pager.rows_left;
    const bool has_more = call_producer(s, 0) != 0;
    if (s->mode != Mode::pager || s->is_closed)
        return false;
    if (!has_more) {
        end_pager(s);
        return false;
    }
    const bool wrote = !s->out || s->out->used != used || s->pager.rows_left != rows_left;
    const size_t used_now = s->out ? s->out->used : 0;
    s->pager.gathered += used_now < used ? used_now : used_now - used; // less: it was delivered
    s->pager.is_paused = !wrote || s->pager.gathered > page_bytes;
    return !s->pager.is_paused;
}

// Gone before anybody hears of it: an answer may be a password.
void forget_answer(Question &question)
{
    volatile char *byte = question.answer;
    for (size_t i = 0; i < sizeof(question.answer); i++)
        byte[i] = '\0';
    question = {};
}

void end_question(tsession_s *s, bool is_answered, mkey_t key)
{
    leave_row(s);
    s->mode = Mode::line;
    Question asked = s->question;
    forget_answer(s->question);
    s->is_in_command = true;
    if (asked.line_fn)
        asked.line_fn(s, s->user, asked.ctx, is_answered ? asked.answer : nullptr);
    else if (asked.key_fn)
        asked.key_fn(s, s->user, asked.ctx, is_answered ? static_cast<int>(key) : -1);
    s->is_in_command = false;
    forget_answer(asked);
}

bool is_answer_character(mkey_t key)
{
    return key >= ' ' && key < 127;
}

void add_to_answer(tsession_s *s, mkey_t key)
{
    Question &question = s->question;
    if (question.len >= answer_capacity - 1)
        return;
    const char c = static_cast<char>(key);
    question.answer[question.len++] = c;
    if (!question.is_secret) {
        emit(s, &c, 1);
        s->row_len++;
    }
}

void take_from_answer(tsession_s *s)
{
    Question &question = s->question;
    if (question.len == 0)
        return;
    question.answer[--question.len] = '\0';
    if (!question.is_secret) {
        emit(s, "\b \b");
        s->row_len--;
    }
}

void edit_answer(tsession_s *s, mkey_t key)
{
    if (key == VIRTKEY_DELETE || key == ctrl_h || key == VIRTKEY_BACKSPACE)
        take_from_answer(s);
    while (key == ctrl_u && s->question.len > 0)
        take_from_answer(s);
    if (is_answer_character(key))
        add_to_answer(s, key);
}

int begin_question(tsession_s *s, Mode mode, const char *text, Question question)
{
    if (s->mode != Mode::line || s->is_closed)
        return -1;
    hide_row(s);
    const size_t room = static_cast<size_t>(std::min(s->columns - 1, answer_capacity - 1));
    strlcpy2(question.text, text ? text : "", room);
    s->question = question;
    s->mode = mode;
    return 0;
}

} // namespace

// Runs until the screen is full, the host has enough, or the end.
void run_pager(tsession_s *s)
{
    if (s->mode != Mode::pager || s->pager.is_waiting || !s->is_writable)
        return;
    s->pager.gathered = 0;
    do {
        s->pager.is_waiting = s->pager.rows_left <= 0;
    } while (!s->pager.is_waiting && produce(s));
}

namespace {

// Writes what is left until the output waits for a key or ends; false when it rests
// for want of a reader or of rows.
bool write_rest(tsession_s *s)
{
    while (s->mode == Mode::pager && !s->pager.is_waiting) {
        run_pager(s);
        const bool is_stuck = !s->is_writable || s->is_closed || s->pager.gathered == 0;
        if (s->mode == Mode::pager && !s->pager.is_waiting && is_stuck)
            return false;
    }
    return true;
}

void turn_page(tsession_s *s, mkey_t key)
{
    if (key != ' ' && key != VIRTKEY_RETURN)
        return;
    hide_row(s);
    s->pager.is_waiting = false;
    s->pager.rows_left = key == ' ' ? page_rows(s) : 1;
    run_pager(s);
}

} // namespace

// What was typed ahead of an output that has only made a pause is for whoever gets the
// keys when it is through.
bool pager_key(tsession_s *s, mkey_t key)
{
    if (key == 'q' || key == 'Q' || key == ctrl_c)
        cancel_pager(s);
    else if (s->pager.is_waiting)
        turn_page(s, key);
    else
        return !write_rest(s);
    return true;
}

// The row is drawn before the first key of an answer is echoed on it.
void question_key(tsession_s *s, mkey_t key)
{
    draw_row(s);
    if (key == ctrl_c)
        end_question(s, false, key);
    else if (s->mode == Mode::key_question && (is_answer_character(key) || key == VIRTKEY_RETURN))
        end_question(s, true, key);
    else if (s->mode == Mode::question && key == VIRTKEY_RETURN)
        end_question(s, true, key);
    else if (s->mode == Mode::question)
        edit_answer(s, key);
}

void cancel_dialog(tsession_s *s)
{
    if (s->mode == Mode::pager)
        cancel_pager(s);
    else if (s->mode != Mode::line)
        end_question(s, false, 0);
}

int begin_pager(tsession_s *s, tsession_produce_fn produce_fn, void *ctx)
{
    if (s->mode != Mode::line || s->is_closed || !produce_fn)
        return -1;
    hide_row(s);
    s->mode = Mode::pager;
    s->pager = {produce_fn, ctx, page_rows(s), false, false, 0};
    return 0;
}

int begin_line_question(tsession_s *s, const char *text, bool is_secret, tsession_answer_fn fn,
                        void *ctx)
{
    Question question = {};
    question.line_fn = fn;
    question.ctx = ctx;
    question.is_secret = is_secret;
    return begin_question(s, Mode::question, text, question);
}

int begin_key_question(tsession_s *s, const char *text, tsession_key_fn fn, void *ctx)
{
    Question question = {};
    question.key_fn = fn;
    question.ctx = ctx;
    return begin_question(s, Mode::key_question, text, question);
}

} // namespace varno
