// Long outputs, a page at a time, and questions. While one runs it gets the keys.

#include <varno/platform.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "characters.h"
#include "session.h"

namespace varno {
namespace {

constexpr char question_tag[] = "Question";

constexpr mkey_t ctrl_c = 3;
constexpr mkey_t ctrl_h = 8;
constexpr mkey_t ctrl_u = 21;

// So much a long output may gather before it makes a pause.
constexpr size_t page_bytes = output_capacity / 2;

int32_t page_rows(const tsession_s *s)
{
    return s->is_paged ? s->rows - 1 : INT32_MAX;
}

int call_producer(tsession_s *s, const Pager &begun, int is_cancelled)
{
    const Pager pager = begun;
    const bool was_in_command = std::exchange(s->is_in_command, true);
    const int has_more = pager.produce(s, s->user, pager.ctx, is_cancelled);
    s->is_in_command = was_in_command;
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
    if (s->pager.is_running) {
        s->pager.is_cancelled = true;
        return;
    }
    const Pager pager = s->pager;
    end_pager(s);
    call_producer(s, pager, 1);
    run_pager(s); // which that call may have begun
}

// One call of the producer; false when the output rests.
bool produce(tsession_s *s)
{
    const size_t used = s->out ? s->out->used : 0;
    const int32_t rows_left = s->pager.rows_left;
    s->pager.is_running = true;
    const bool has_more = call_producer(s, s->pager, 0) != 0;
    s->pager.is_running = false;
    if (!has_more)
        end_pager(s);
    else if (s->pager.is_cancelled && !s->is_closed)
        cancel_pager(s);
    if (s->mode != Mode::pager || s->is_closed)
        return false;
    const bool wrote = (s->out && s->out->used != used) || s->pager.rows_left != rows_left;
    const size_t used_now = s->out ? s->out->used : 0;
    s->pager.gathered += used_now < used ? used_now : used_now - used; // less: it was delivered
    // Without a buffer nothing counts its bytes: one call at a time.
    return s->out && wrote && s->pager.gathered <= page_bytes;
}

// Gone before anybody hears of it: an answer may be a password.
void forget_answer(Question &question)
{
    volatile char *byte = question.answer;
    for (size_t i = 0; i < sizeof(question.answer); i++)
        byte[i] = '\0';
}

void end_question(tsession_s *s, bool is_answered, mkey_t key)
{
    if (s->out) // else a callback that fails would be asked without an end
        leave_row(s);
    s->mode = Mode::line;
    Question asked = *s->question;
    drop_question(s);
    const bool was_in_command = std::exchange(s->is_in_command, true);
    if (asked.line_fn)
        asked.line_fn(s, s->user, asked.ctx, is_answered ? asked.answer : nullptr);
    else if (asked.key_fn)
        asked.key_fn(s, s->user, asked.ctx, is_answered ? static_cast<int>(key) : -1);
    s->is_in_command = was_in_command;
    forget_answer(asked);
    run_pager(s); // which the answer may have begun
}

bool is_answer_character(mkey_t key)
{
    return key >= ' ' && key < 127;
}

void add_to_answer(tsession_s *s, mkey_t key)
{
    Question &question = *s->question;
    if (question.len >= answer_capacity - 1)
        return;
    const char c = static_cast<char>(key);
    question.answer[question.len++] = c;
    if (question.is_secret)
        return;
    if (s->row_len >= s->columns - 1) {
        hide_row(s); // the answer moves left
    } else {
        emit(s, &c, 1);
        s->row_len++;
    }
}

void take_from_answer(tsession_s *s)
{
    Question &question = *s->question;
    if (question.len == 0)
        return;
    question.answer[--question.len] = '\0';
    if (question.is_secret)
        return;
    if (question.len >= answer_columns(s)) {
        hide_row(s); // the answer moves right
    } else {
        emit(s, "\b \b");
        s->row_len--;
    }
}

void edit_answer(tsession_s *s, mkey_t key)
{
    if (key == VIRTKEY_DELETE || key == ctrl_h || key == VIRTKEY_BACKSPACE)
        take_from_answer(s);
    if (key == ctrl_u) {
        hide_row(s);
        std::fill_n(s->question->answer, std::exchange(s->question->len, 0), '\0');
    }
    if (is_answer_character(key))
        add_to_answer(s, key);
}

int begin_question(tsession_s *s, Mode mode, const char *text, const Question &kind)
{
    if (s->mode != Mode::line || s->is_closed)
        return -1;
    auto *question = static_cast<Question *>(tracked_malloc(sizeof(Question), question_tag));
    if (!question)
        return -1;
    hide_row(s);
    s->nheld = 0;
    *question = kind;
    const int32_t room = std::min(s->columns - 1 - least_answer_columns, answer_capacity - 1);
    clean_row(question->text, static_cast<size_t>(room) + 1, text ? text : "");
    s->question = question;
    s->mode = mode;
    return 0;
}

} // namespace

void drop_question(tsession_s *s)
{
    if (!s->question)
        return;
    forget_answer(*s->question);
    tracked_free(s->question, question_tag);
    s->question = nullptr;
}

// Runs until the screen is full, the host has enough, or the end.
void run_pager(tsession_s *s)
{
    if (s->mode != Mode::pager || s->is_closed || s->pager.is_waiting || s->pager.is_running ||
        !s->is_writable)
        return;
    s->pager.gathered = 0;
    do {
        s->pager.is_waiting = s->pager.rows_left <= 0;
    } while (!s->pager.is_waiting && produce(s));
}

namespace {

bool is_resting(const tsession_s *s)
{
    return s->mode == Mode::pager && !s->pager.is_waiting;
}

// Writes on until the output waits for a key or ends; false when it still rests, for
// want of a reader or of rows, or because it is too long for one call.
bool write_rest(tsession_s *s)
{
    constexpr int32_t most_parts = 32;
    if (s->pager.is_running)
        return false;
    while (s->pager.parts_ahead < most_parts && is_resting(s) && s->is_writable) {
        s->pager.parts_ahead++;
        run_pager(s);
        if (s->pager.gathered == 0)
            break;
    }
    return !is_resting(s);
}

void turn_page(tsession_s *s, mkey_t key)
{
    if (key != ' ' && key != VIRTKEY_RETURN)
        return;
    hide_row(s);
    s->pager.is_waiting = false;
    s->pager.rows_left = key == ' ' ? s->pager.page_rows : 1;
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
    s->nheld = 0;
    s->pager = {};
    s->pager.produce = produce_fn;
    s->pager.ctx = ctx;
    s->pager.page_rows = page_rows(s);
    s->pager.rows_left = s->pager.page_rows;
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
