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
    return s->is_paged && s->transport != TSESSION_BATCH ? s->rows - 1 : INT32_MAX;
}

// Of a copy: the call may end this output and begin another one.
int call_producer(tsession_s *s, const Pager &begun, int is_cancelled)
{
    const Pager pager = begun;
    const bool was_in_command = std::exchange(s->is_in_command, true);
    const int answer = pager.produce(s, s->user, pager.ctx, is_cancelled);
    s->is_in_command = was_in_command;
    return answer;
}

void end_pager(tsession_s *s)
{
    hide_row(s);
    s->mode = Mode::line;
    s->pager = {};
}

// A producer that is running hears of it when it has returned, not in its own middle.
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
    if (std::exchange(s->is_after_message, false) && s->column > 0)
        write_text(s, "\n");
    s->pager.is_running = true;
    s->pager.is_woken = false;
    const int answer = call_producer(s, s->pager, 0);
    s->pager.is_running = false;
    if (answer == TSESSION_DONE)
        end_pager(s);
    else if (s->pager.is_cancelled && !s->is_closed)
        cancel_pager(s);
    if (s->mode != Mode::pager || s->is_closed)
        return false;
    s->pager.is_late = answer == TSESSION_LATER && !s->pager.is_woken;
    const bool wrote = (s->out && s->out->used != used) || s->pager.rows_left != rows_left;
    const size_t used_now = s->out ? s->out->used : 0;
    s->pager.gathered += used_now < used ? used_now : used_now - used; // less: it was delivered
    // Without a buffer nothing counts its bytes: one call at a time.
    return answer != TSESSION_LATER && s->out && wrote && s->pager.gathered <= page_bytes;
}

// The session is back at its line before the callback runs, so that an answer may bring the
// next question. The answer's own record goes first; a copy is wiped after the call.
void end_question(tsession_s *s, bool is_answered, mkey_t key)
{
    const bool is_entered = is_answered && (key == VIRTKEY_RETURN || key == VIRTKEY_ENTER);
    // At the end no row is left: drawing it could fail, and end the question once more.
    const bool has_row = s->out && !s->is_ended;
    if (has_row && is_entered)
        leave_entered_row(s);
    else if (has_row)
        leave_row(s);
    s->mode = Mode::line;
    s->is_turn_over = true;
    Question asked = *s->question;
    drop_question(s);
    s->command_rows = 0;
    const bool was_in_command = std::exchange(s->is_in_command, true);
    if (asked.line_fn)
        asked.line_fn(s, s->user, asked.ctx, is_answered ? asked.answer : nullptr);
    else if (asked.key_fn)
        asked.key_fn(s, s->user, asked.ctx, is_answered ? static_cast<int>(key) : -1);
    s->is_in_command = was_in_command;
    explicit_bzero(asked.answer, sizeof(asked.answer)); // it may be a password
    run_pager(s);                                       // which the answer may have begun
}

// An answer that was cut would be another one.
void refuse_answer(tsession_s *s)
{
    leave_entered_row(s);
    write_text(s, text_of(s, &tsession_texts_s::long_answer));
    write_text(s, "\n");
    explicit_bzero(s->question->answer, sizeof(s->question->answer));
    s->question->len = 0;
    s->question->is_overlong = false;
}

bool is_answer_character(mkey_t key)
{
    return key >= ' ' && key < 127;
}

// What has no room rings, once, and makes Enter refuse the answer.
void add_to_answer(tsession_s *s, mkey_t key)
{
    Question &question = *s->question;
    if (question.len >= answer_capacity - 1) {
        if (!std::exchange(question.is_overlong, true))
            ring(s);
        return;
    }
    const char c = static_cast<char>(key);
    question.answer[question.len++] = c;
    if (question.is_secret || does_client_echo(s))
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
    if (question.len == 0) {
        ring(s);
        return;
    }
    question.answer[--question.len] = '\0';
    question.is_overlong = question.is_overlong && question.len > 0;
    if (question.is_secret || does_client_echo(s))
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
    if (does_client_echo(s) && !is_answer_character(key))
        hide_row(s); // only the client knows what it has made of the key
    if (key == VIRTKEY_DELETE || key == ctrl_h || key == VIRTKEY_BACKSPACE) {
        take_from_answer(s);
    } else if (key == ctrl_u) {
        hide_row(s);
        explicit_bzero(s->question->answer, sizeof(s->question->answer));
        s->question->len = 0;
        s->question->is_overlong = false;
    } else if (is_answer_character(key)) {
        add_to_answer(s, key);
    } else {
        ring(s);
    }
}

// The text stands after the record, in the same block.
int begin_question(tsession_s *s, Mode mode, const char *text, const Question &kind)
{
    if (s->mode != Mode::line || s->is_closed || s->transport == TSESSION_BATCH)
        return -1;
    const size_t capacity = std::strlen(text ? text : "") + 1;
    void *block = tracked_malloc(sizeof(Question) + capacity, question_tag);
    if (!block)
        return -1;
    hide_row(s);
    s->nheld = 0;
    auto *question = static_cast<Question *>(block);
    *question = kind;
    question->text = static_cast<char *>(block) + sizeof(Question);
    clean_row(question->text, capacity, text ? text : "");
    s->question = question;
    s->mode = mode;
    return 0;
}

} // namespace

void drop_question(tsession_s *s)
{
    if (!s->question)
        return;
    explicit_bzero(s->question->answer, sizeof(s->question->answer));
    tracked_free(s->question, question_tag);
    s->question = nullptr;
}

bool is_resting(const tsession_s *s)
{
    return s->mode == Mode::pager && !s->pager.is_waiting;
}

// Runs until the screen is full, the host has enough, or the end.
void run_pager(tsession_s *s)
{
    if (!is_resting(s) || s->is_closed || s->pager.is_running || s->pager.is_late ||
        !s->is_writable)
        return;
    s->is_turn_over = true;
    s->pager.gathered = 0;
    do {
        s->pager.is_waiting = s->pager.rows_left <= 0;
    } while (!s->pager.is_waiting && produce(s));
}

// A key that means nothing here is the first of the next line: a swallowed "n" would make
// "o exit" of what was typed ahead as "no exit".
bool pager_key(tsession_s *s, mkey_t key)
{
    const bool is_enter = key == VIRTKEY_RETURN || key == VIRTKEY_ENTER;
    if (key == ' ' || is_enter) {
        hide_row(s);
        s->pager.is_waiting = false;
        s->pager.shows_keys = false;
        s->pager.rows_left = is_enter ? 1 : s->pager.page_rows;
        run_pager(s);
    } else if (key == '?') {
        hide_row(s);
        s->pager.shows_keys = true;
    } else {
        cancel_pager(s);
        return key == 'q' || key == ctrl_c;
    }
    return true;
}

// The row is drawn before the first key of an answer is echoed on it.
void question_key(tsession_s *s, mkey_t key)
{
    draw_row(s);
    const bool is_enter = key == VIRTKEY_RETURN || key == VIRTKEY_ENTER;
    if (key == ctrl_c)
        end_question(s, false, key);
    else if (s->mode == Mode::key_question && (is_answer_character(key) || is_enter))
        end_question(s, true, is_enter ? VIRTKEY_RETURN : key);
    else if (s->mode == Mode::key_question)
        ring(s);
    else if (is_enter && s->question->is_overlong)
        refuse_answer(s);
    else if (is_enter)
        end_question(s, true, key);
    else
        edit_answer(s, key);
}

void cancel_dialog(tsession_s *s)
{
    if (s->mode == Mode::pager)
        cancel_pager(s);
    else if (s->mode == Mode::search)
        end_search(s);
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
    s->is_after_message = false;
    s->pager = {};
    s->pager.produce = produce_fn;
    s->pager.ctx = ctx;
    s->pager.page_rows = page_rows(s);
    // What the command has written already is on the screen, too.
    const int32_t written = s->is_in_command ? s->command_rows : 0;
    s->pager.rows_left = std::max(s->pager.page_rows - written, 0);
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
