// The public face of a session: its life, the transaction around every call, and the
// boundary at which a failed assertion ends one session and no other. Callbacks may call
// anything on the session they are about: each public function either only reads or notes
// something, or runs as a part of the outermost call's transaction.

#include <varno/tsession.h>

#include <varno/platform.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "characters.h"
#include "session.h"

namespace varno {
namespace {

constexpr char session_tag[] = "tsession_s";
constexpr char shared_tag[] = "tsession_shared_s";

constexpr int32_t default_columns = 80;
constexpr int32_t default_rows = 24;
// A slow line takes less between the bytes of a sequence; a person notices more.
constexpr int32_t default_escape_wait_ms = 500;
// Most clients have answered by then; those that never do have their prompt after it.
constexpr int32_t opening_wait_ms = 200;
constexpr int32_t default_history_limit = 100;

constexpr tsession_texts_s default_texts = {
    sizeof(tsession_texts_s),
    "--More--",
    "space: page, Enter: row, q: quit",
    "% internal fault, this session ends",
    "% too much input, this session ends",
    "% line too long, 255 characters at most",
    "% answer too long, 127 characters at most",
    "[Yes]",
    {}, // cli_assist_strreason has them
};

// Below, no row can be read. The editor keeps 256 columns of a row; more rows than 512 are
// a client's mistake, and a page of them would be one, too.
constexpr int32_t least_columns = 10;
constexpr int32_t most_columns = 256;
constexpr int32_t least_rows = 2; // one of text, and the pager's
constexpr int32_t most_rows = 512;

// A line has both guards, the cursor's column and the last one, which is never used,
// beside its prompt and what a scroll moves; so much of both shows at every width.
constexpr int32_t fixed_columns = 4;
constexpr int32_t longest_scroll = 8;
constexpr int32_t least_prompt = 2;

// A failed assertion on its way to the boundary of the session it happened in.
struct Fault {
    const char *condition;
    const char *source;
    int line;
};

// The innermost call on this thread catches a fault. The handler belongs to the process: it
// has to know by itself whether the assertion failed in a session at all.
thread_local bool is_catching = false;

void release_shared(tsession_shared_s *shared)
{
    if (!shared || --shared->holders > 0)
        return;
    release_shared_bindings(shared);
    while (OutputBuffer *buffer = shared->free_buffers) {
        shared->free_buffers = buffer->next;
        tracked_free(buffer, "OutputBuffer");
    }
    tracked_free(shared, shared_tag);
}

// Also of a session whose set-up has failed half-way.
void destroy(tsession_s *s)
{
    drop_question(s);
    drop_type_ahead(s);
    if (s->prompt) {
        forget_history(s);
        release_editor(s);
    }
    tracked_free(s->aside, "Aside");
    release_shared(s->shared);
    tracked_free(s, session_tag);
}

// Once, and only where it was switched on: a terminal that was never told to mark pastes
// gets no control sequence at its end.
void send_paste_off(tsession_s *s)
{
    if (s->is_paste_on)
        emit(s, paste_off(s->type));
    s->is_paste_on = false;
}

// What a close or a free asked for, once no callback of the session is running: only
// then may a producer be told to release what it works with.
void end_dialogue(tsession_s *s)
{
    s->pager.is_running = false; // one that was left by an exception
    cancel_dialog(s);
    if (s->is_ended)
        return;
    s->is_ended = true;
    if (s->is_started && s->is_row_shown)
        leave_row(s);
    send_paste_off(s);
}

// The record may be in any state: the editor is not touched again. The user is told before
// the host, which may leave by an exception.
void end_by_fault(tsession_s *s, const Fault &fault)
{
    if (s->is_closed)
        return;
    s->is_closed = true;
    s->is_ended = true;
    emit(s, s->is_row_shown || s->column > 0 ? line_end(s) : "");
    emit(s, text_of(s, &tsession_texts_s::fault));
    emit(s, line_end(s));
    send_paste_off(s);
    s->is_row_shown = false;
    s->column = 0;
    char text[256];
    std::snprintf(text, std::size(text), "%s (%s:%d)", fault.condition, fault.source, fault.line);
    raise_event(s, TSESSION_FAULT, text);
}

// Runs a part of a transaction. A failed assertion in it ends this session; any other
// exception closes the session and goes on to the host. A session that leaves assertions
// alone does so, too, within a call of one that does not.
template <typename Callable>
void catch_faults(tsession_s *s, const Callable &part)
{
    const bool outer = std::exchange(is_catching, !s->leaves_assertions);
    try {
        part();
        is_catching = outer;
    } catch (const Fault &fault) {
        try {
            end_by_fault(s, fault);
        } catch (const Fault &) { // in what hears of the first
        } catch (...) {
            is_catching = outer;
            throw;
        }
        is_catching = outer;
    } catch (...) {
        is_catching = outer;
        s->is_closed = true;
        throw;
    }
}

// Callbacks of the end may write, and what runs may begin something else at its end.
bool is_unfinished(const tsession_s *s)
{
    const bool is_over = s->is_ended && s->mode == Mode::line;
    return (s->out && s->out->used > 0) || (s->is_closed && !is_over);
}

// Draws the last row and hands the output over. An output callback may write, close or
// free: then there is more to draw, or to end. Each part has a boundary of its own: what
// was gathered before a fault in drawing leaves all the same.
void finish_transaction(tsession_s *s)
{
    do {
        catch_faults(s, [s] {
            if (s->is_closed)
                end_dialogue(s);
            else if (s->is_started && !s->is_opening)
                draw_row(s);
        });
        catch_faults(s, [s] { deliver(s); });
    } while (is_unfinished(s));
    if (s->is_closed && !std::exchange(s->is_closed_told, true))
        catch_faults(s, [s] { raise_event(s, TSESSION_CLOSED, nullptr); });
}

// The record goes only here, where no call on it is left to come back.
void leave_transaction(tsession_s *s)
{
    if (--s->depth > 0)
        return;
    give_buffers_back(s);
    if (s->is_free_asked)
        destroy(s);
}

// Every call on a session is a transaction: its output is gathered, a fault is caught,
// and when the outermost call ends, the last row is drawn, all output leaves, and what
// callbacks asked for (a close, a free) is done.
template <typename Callable>
void transact(tsession_s *s, const Callable &body)
{
    if (s->depth++ == 0) {
        take_buffer(s);
        s->is_turn_over = false;
    }
    try {
        catch_faults(s, body);
        if (s->depth == 1)
            finish_transaction(s);
    } catch (...) {
        // A free that was asked for is done all the same; the first exception goes on.
        try {
            if (s->depth == 1 && s->is_free_asked)
                finish_transaction(s);
        } catch (...) {
        }
        leave_transaction(s);
        throw;
    }
    leave_transaction(s);
}

// A client that does not know its size tells 0 (RFC 1073).
int32_t clamped(int32_t value, int32_t unknown, int32_t least, int32_t most)
{
    return value <= 0 ? unknown : std::clamp(value, least, most);
}

// Hands size and prompt to the editor. Of a prompt that leaves no room to edit its end
// shows, where a device says which mode it is in; a narrow row scrolls by less.
void fit_editor(tsession_s *s)
{
    prompt_set_dimension(s->prompt, s->columns, s->rows);
    s->prompt->scroll_step = std::min(longest_scroll, s->columns - fixed_columns - least_prompt);
    const auto room = static_cast<size_t>(s->columns - fixed_columns - s->prompt->scroll_step);
    const size_t len = std::strlen(s->prompt_text);
    const char *text = s->prompt_text + len - std::min(room, len);
    prompt_set_prompt_empty(s->prompt, text);
    prompt_set_prompt_normal(s->prompt, text);
    settle_scroll(s);
}

void set_columns(tsession_s *s, int32_t columns)
{
    s->columns = columns;
    s->prompt->display_offset = 0; // a wider window shows as much as it can
    fit_editor(s);
}

int32_t columns_in_force(int32_t columns)
{
    return clamped(columns, default_columns, least_columns, most_columns);
}

int32_t rows_in_force(int32_t rows)
{
    return clamped(rows, default_rows, least_rows, most_rows);
}

// The editor counts a byte as a column: a character beyond ASCII is shown as "?". A long
// prompt keeps its end.
void set_prompt_text(tsession_s *s, const char *text)
{
    size_t count = 0;
    for (const char *at = text; *at; at += first_character(at, std::strlen(at)).len)
        count++;
    size_t used = 0;
    for (const char *at = text; *at; count--) {
        const Character next = first_character(at, std::strlen(at));
        if (count < sizeof(s->prompt_text))
            s->prompt_text[used++] = next.len == 1 && !next.is_unsafe ? *at : '?';
        at += next.len;
    }
    s->prompt_text[used] = '\0';
}

// A program may have been built with a header that knows more members or less: those
// that are not there have their defaults, others must not be set.
bool read_config(tsession_config_s *out, const tsession_config_s *config)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(config);
    *out = {};
    std::memcpy(out, config, std::min(config->size, sizeof(*out)));
    for (size_t at = sizeof(*out); at < config->size; at++) {
        if (bytes[at] != 0)
            return false;
    }
    const bool is_transport_known =
        out->transport >= TSESSION_PLAIN && out->transport <= TSESSION_BATCH;
    return out->size >= sizeof(out->size) && is_transport_known && out->columns >= 0 &&
           out->rows >= 0 && out->history_limit >= -1 && out->escape_wait_ms >= 0 &&
           (!out->texts || out->texts->size == sizeof(tsession_texts_s));
}

// 0 is what a configuration that says nothing has, so "none" has to be -1. What is
// remembered already stays.
void set_history_limit(tsession_s *s, int32_t limit)
{
    s->remembers = limit >= 0;
    s->prompt->history_limit = limit > 0 ? limit : default_history_limit;
}

void copy_config(tsession_s *s, const tsession_config_s *config)
{
    s->transport = config->transport;
    s->leaves_assertions = config->leave_assertions != 0;
    s->is_paged = config->is_unpaged == 0;
    s->escape_wait_ms =
        config->escape_wait_ms > 0 ? config->escape_wait_ms : default_escape_wait_ms;
    s->texts = config->texts;
    s->graph = config->graph;
    s->filter = config->filter;
    s->user = config->user;
    s->output_fn = config->output;
    s->line_fn = config->line;
    s->event_fn = config->event;
    s->key_fn = config->key;
    s->refused_fn = config->refused;
    s->is_writable = true;
    s->last_tab = UINT32_MAX / 2; // far from edit_count: the first Tab is no second one
    set_prompt_text(s, config->prompt ? config->prompt : "> ");
}

bool set_up(tsession_s *s, const tsession_config_s *config)
{
    drop_type_ahead(s); // which makes it an empty one
    s->shared = config->shared ? config->shared : tsession_shared_create();
    if (!s->shared)
        return false;
    if (config->shared)
        s->shared->holders++;
    s->prompt = prompt_create();
    if (!s->prompt || !bind_editor(s))
        return false;
    set_history_limit(s, config->history_limit);
    s->rows = rows_in_force(config->rows);
    set_columns(s, columns_in_force(config->columns));
    s->type = find_terminal_type(config->terminal_type);
    begin_keyboard(s);
    return true;
}

} // namespace

const char *text_of(const tsession_s *s, const char *tsession_texts_s::*text)
{
    return s->texts && s->texts->*text ? s->texts->*text : default_texts.*text;
}

void begin_keyboard(tsession_s *s)
{
    s->keyboard.begin(key_events(s), s->type);
}

// Once a free is asked for, all that is told is that the session has closed.
void raise_event(tsession_s *s, int32_t kind, const char *text)
{
    const bool is_size = kind == TSESSION_SIZE;
    const tsession_event_s event = {kind, is_size ? s->columns : 0, is_size ? s->rows : 0, text};
    if (s->event_fn && (!s->is_free_asked || kind == TSESSION_CLOSED))
        s->event_fn(s, s->user, &event);
}

// Before the first prompt the type is only noted: a client may still name a better one.
void use_terminal_type(tsession_s *s, const TerminalType *type)
{
    if (type == s->type && s->is_paste_on)
        return;
    send_paste_off(s);
    s->type = type;
    s->keyboard.set_type(type);
    if (s->is_started && !s->is_opening) {
        emit(s, paste_on(type));
        s->is_paste_on = true;
    }
}

void end_opening(tsession_s *s)
{
    if (s->is_closed || !std::exchange(s->is_opening, false))
        return;
    use_terminal_type(s, s->type);
}

} // namespace varno

using namespace varno;

tsession_shared_s *tsession_shared_create(void)
{
    auto *shared =
        static_cast<tsession_shared_s *>(tracked_calloc(1, sizeof(tsession_shared_s), shared_tag));
    if (shared)
        shared->holders = 1;
    return shared;
}

void tsession_shared_free(tsession_shared_s *shared)
{
    release_shared(shared);
}

void tsession_assertion_handler(void *, const char *condition, const char *source, int line)
{
    if (is_catching)
        throw Fault{condition, source, line};
}

tsession_s *tsession_create(const tsession_config_s *config)
{
    tsession_config_s wanted;
    if (!read_config(&wanted, config))
        return nullptr;
    auto *s = static_cast<tsession_s *>(tracked_calloc(1, sizeof(tsession_s), session_tag));
    if (!s)
        return nullptr;
    copy_config(s, &wanted);
    if (set_up(s, &wanted))
        return s;
    destroy(s);
    return nullptr;
}

void tsession_free(tsession_s *s)
{
    if (!s)
        return;
    s->is_free_asked = true;
    s->is_closed = true;
    s->output_fn = nullptr; // where it would be sent to may be gone
    if (s->depth == 0)
        transact(s, [] {});
}

void tsession_start(tsession_s *s)
{
    if (s->is_started || s->is_closed || s->transport == TSESSION_BATCH)
        return;
    transact(s, [s] {
        s->is_started = true;
        s->is_opening = s->transport == TSESSION_TELNET;
        if (s->is_opening)
            s->telnet.begin(telnet_events(s));
        use_terminal_type(s, s->type);
    });
}

// What a client answers may be all that the first prompt waits for.
void tsession_input(tsession_s *s, const void *bytes, size_t count)
{
    if (!s->is_started || s->is_closed || count == 0)
        return;
    transact(s, [s, bytes, count] {
        const auto *input = static_cast<const unsigned char *>(bytes);
        if (s->transport == TSESSION_TELNET)
            s->telnet.consume(input, count);
        else
            add_type_ahead(s, input, count);
        if (s->is_opening && s->telnet.is_opening_answered())
            end_opening(s);
    });
}

int tsession_wants_input(const tsession_s *s)
{
    return wants_input(s);
}

// The same order here as when the time has run out, or a host would wait for one thing and
// have another done.
int32_t tsession_wait(const tsession_s *s)
{
    if (has_work(s))
        return 0;
    if (s->is_opening && !s->is_closed)
        return opening_wait_ms;
    return !s->is_closed && s->keyboard.is_pending() ? s->escape_wait_ms : -1;
}

void tsession_time_out(tsession_s *s)
{
    if (has_work(s))
        transact(s, [s] { do_work(s); });
    else if (s->is_opening && !s->is_closed)
        transact(s, [s] { end_opening(s); });
    else if (!s->is_closed && s->keyboard.is_pending())
        transact(s, [s] { s->keyboard.time_out(); });
}

void tsession_write(tsession_s *s, const char *bytes, size_t count)
{
    if (!s->is_closed && count > 0)
        transact(s, [=] {
            begin_message(s);
            write_text(s, bytes, count);
        });
}

void tsession_write_clean(tsession_s *s, const char *text)
{
    if (!s->is_closed && *text)
        transact(s, [=] {
            begin_message(s);
            write_clean(s, text, std::strlen(text));
        });
}

size_t tsession_fit(const char *text, int32_t columns, int32_t *out_columns)
{
    size_t used = 0;
    int32_t taken = 0;
    for (size_t left = std::strlen(text); left > 0;) {
        const Character next = first_character(text + used, left);
        if (taken + next.columns > columns)
            break;
        taken += next.columns;
        used += next.len;
        left -= next.len;
    }
    if (out_columns)
        *out_columns = taken;
    return used;
}

char *tsession_clean(char *clean, size_t capacity, const char *text)
{
    clean_row(clean, capacity, text);
    return clean;
}

void tsession_print(tsession_s *s, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    tsession_vprint(s, format, arguments);
    va_end(arguments);
}

// Most texts fit; the arguments are read a second time for one that does not.
void tsession_vprint(tsession_s *s, const char *format, va_list arguments)
{
    char text[1024];
    va_list again;
    va_copy(again, arguments);
    const int len = std::vsnprintf(text, std::size(text), format, arguments);
    const size_t size = len < 0 ? 0 : static_cast<size_t>(len) + 1;
    char *longer =
        size > std::size(text) ? static_cast<char *>(tracked_malloc(size, "text")) : text;
    if (longer && longer != text)
        std::vsnprintf(longer, size, format, again);
    va_end(again);
    if (size > 0)
        tsession_write(s, longer ? longer : text, longer ? size - 1 : std::size(text) - 1);
    if (longer != text)
        tracked_free(longer, "text");
}

// Inside a command it begins once that has returned: what the command goes on to write
// stands above it.
int tsession_page(tsession_s *s, tsession_produce_fn produce, void *ctx)
{
    int result = -1;
    transact(s, [&] {
        result = begin_pager(s, produce, ctx);
        if (result == 0 && !s->is_in_command)
            run_pager(s);
    });
    return result;
}

// A session that an exception has closed may still have an output to cancel.
void tsession_cancel(tsession_s *s)
{
    if (s->mode == Mode::pager)
        transact(s, [s] { cancel_dialog(s); });
}

// Only a note, so that whoever wakes many sessions waits for none of their outputs.
void tsession_wake(tsession_s *s)
{
    s->pager.is_late = false;
    s->pager.is_woken = true;
}

// No transaction: hosts call it where they send, also from the output callback.
void tsession_set_writable(tsession_s *s, int is_writable)
{
    s->is_writable = is_writable != 0;
}

int tsession_has_more(const tsession_s *s)
{
    return !s->is_closed && (is_resting(s) || has_type_ahead(s));
}

int tsession_ask(tsession_s *s, const char *question, int is_secret, tsession_answer_fn answer,
                 void *ctx)
{
    int result = -1;
    transact(s, [&] { result = begin_line_question(s, question, is_secret != 0, answer, ctx); });
    return result;
}

int tsession_ask_key(tsession_s *s, const char *question, tsession_key_fn answer, void *ctx)
{
    int result = -1;
    transact(s, [&] { result = begin_key_question(s, question, answer, ctx); });
    return result;
}

// The same prompt again draws nothing: a host may set it after every line.
void tsession_set_prompt(tsession_s *s, const char *prompt)
{
    if (s->is_closed)
        return;
    transact(s, [=] {
        char before[sizeof(s->prompt_text)];
        std::memcpy(before, s->prompt_text, sizeof(before));
        set_prompt_text(s, prompt ? prompt : "> ");
        if (std::strcmp(before, s->prompt_text) == 0)
            return;
        hide_row(s);
        fit_editor(s);
    });
}

// A window of the same width shows the row as it was. An output that runs goes on with
// pages of the new height, unless it is not paged.
void tsession_resize(tsession_s *s, int32_t columns, int32_t rows)
{
    if (s->is_closed)
        return;
    s->rows = rows_in_force(rows);
    if (s->pager.page_rows != INT32_MAX) {
        s->pager.page_rows = s->rows - 1;
        s->pager.rows_left = std::min(s->pager.rows_left, s->pager.page_rows);
    }
    if (columns_in_force(columns) == s->columns)
        return;
    transact(s, [=] {
        erase_row(s);
        set_columns(s, columns_in_force(columns));
    });
}

void tsession_set_terminal(tsession_s *s, const char *terminal_type)
{
    if (!s->is_closed)
        transact(s, [=] { use_terminal_type(s, find_terminal_type(terminal_type)); });
}

// What runs goes on as it began.
void tsession_set_paged(tsession_s *s, int is_paged)
{
    s->is_paged = is_paged != 0;
}

int tsession_is_paged(const tsession_s *s)
{
    return s->is_paged ? 1 : 0;
}

void tsession_set_graph(tsession_s *s, const cli_pnode_s *graph)
{
    s->graph = graph;
}

// The end itself comes with that of the outermost call, where no callback is running.
void tsession_close(tsession_s *s)
{
    if (!s->is_closed)
        transact(s, [s] { s->is_closed = true; });
}

int tsession_is_closed(const tsession_s *s)
{
    return s->is_closed;
}

int32_t tsession_columns(const tsession_s *s)
{
    return s->columns;
}

int32_t tsession_rows(const tsession_s *s)
{
    return s->rows;
}

const char *tsession_terminal(const tsession_s *s)
{
    return terminal_type_name(s->type);
}

void *tsession_user(const tsession_s *s)
{
    return s->user;
}

uint64_t tsession_typed(const tsession_s *s)
{
    return s->typed;
}

// While an output or a question runs, a line would write into the middle of it.
int32_t tsession_run_line(tsession_s *s, const char *line)
{
    int32_t result = -1;
    transact(s, [&] {
        if (s->is_closed || s->mode != Mode::line)
            return;
        hide_row(s);
        s->is_turn_over = true;
        result = run_line(s, line);
    });
    return result;
}

int tsession_history_add(tsession_s *s, const char *line)
{
    return std::strlen(line) < line_capacity ? remember(s, line) : -1;
}

int tsession_is_running_line(const tsession_s *s)
{
    return s->running_line ? 1 : 0;
}

// The line that is being run is not in the history yet: what is to be put there is changed.
int tsession_history_amend(tsession_s *s, const char *line)
{
    const char *wanted = line ? line : "";
    if (std::strlen(wanted) >= line_capacity || !s->remembers)
        return -1;
    if (s->running_line) {
        std::memcpy(s->running_line, wanted, std::strlen(wanted) + 1);
        return 0;
    }
    if (!forget_newest(s))
        return -1;
    return line ? remember(s, line) : 0;
}

void tsession_history_clear(tsession_s *s)
{
    forget_history(s);
}

void tsession_history_set_limit(tsession_s *s, int32_t limit)
{
    set_history_limit(s, limit);
}

void tsession_history(tsession_s *s, tsession_history_fn entry, void *ctx)
{
    transact(s, [=] {
        // The newest is the first of the ring, and its head is no entry.
        const auto *end = reinterpret_cast<prompt_history_s *>(&s->prompt->history);
        int32_t number = 0;
        for (prompt_history_s *t = s->prompt->history.cqh_last; t != end; t = t->prev)
            entry(s, s->user, ctx, ++number, t->command);
    });
}
