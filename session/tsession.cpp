// The public face of a session: its life, the transaction around every call, and the
// boundary at which a failed assertion ends one session and no other.

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
constexpr int32_t escape_wait_ms = 500;

// Room that a line needs beside its prompt: both guards, a scroll step, the cursor's
// column and the last one, which is never used.
constexpr int32_t editing_columns = 12;

// A failed assertion on its way to the boundary of the session it happened in.
struct Fault {
    const char *condition;
    const char *source;
    int line;
};

// The innermost call on this thread catches a fault.
thread_local bool is_catching = false;

// prompt_free leaves the texts of its history allocated.
void release_history_texts(prompt_s *p)
{
    const auto *end = reinterpret_cast<prompt_history_s *>(&p->history);
    for (prompt_history_s *entry = p->history.cqh_first; entry != end; entry = entry->next)
        tracked_free(entry->command, "BYTE*");
}

void destroy(tsession_s *s)
{
    drop_question(s);
    if (s->prompt) {
        release_history_texts(s->prompt);
        release_editor(s);
    }
    if (s->owns_shared)
        tsession_shared_free(s->shared);
    tracked_free(s, session_tag);
}

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

// The record may be in any state: the editor is not touched again.
void end_by_fault(tsession_s *s, const Fault &fault)
{
    if (s->is_closed)
        return;
    s->is_closed = true;
    s->is_ended = true;
    emit(s, s->is_row_shown || s->column > 0 ? "\r\n" : "");
    emit(s, "% internal fault, this session ends\r\n");
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

bool is_unfinished(const tsession_s *s)
{
    const bool is_over = s->is_ended && s->mode == Mode::line;
    return (s->out && s->out->used > 0) || (s->is_closed && !is_over);
}

// Draws the last row and hands the output over. An output callback may write, close or
// free: then there is more to draw, or to end.
void finish_transaction(tsession_s *s)
{
    do {
        catch_faults(s, [s] {
            if (s->is_closed)
                end_dialogue(s);
            else if (s->is_started)
                draw_row(s);
        });
        catch_faults(s, [s] { deliver(s); });
    } while (is_unfinished(s));
}

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
        s->listed = 0;
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

int32_t clamped(int32_t value, int32_t unknown, int32_t least, int32_t most)
{
    return value <= 0 ? unknown : std::clamp(value, least, most);
}

// Hands size and prompt to the editor; the prompt is cut to what leaves room to edit.
void fit_editor(tsession_s *s)
{
    prompt_set_dimension(s->prompt, s->columns, s->rows);
    char text[sizeof(tsession_s::prompt_text)];
    const auto room = static_cast<size_t>(s->columns - editing_columns);
    strlcpy2(text, s->prompt_text, std::min(room, std::size(text) - 1));
    prompt_set_prompt_empty(s->prompt, text);
    prompt_set_prompt_normal(s->prompt, text);
}

void set_size(tsession_s *s, int32_t columns, int32_t rows)
{
    s->columns = clamped(columns, default_columns, 20, 256);
    s->rows = clamped(rows, default_rows, 2, 512);
    fit_editor(s);
}

// The editor counts a byte as a column: a character beyond ASCII is shown as "?".
void set_prompt_text(tsession_s *s, const char *text)
{
    char clean[4 * sizeof(tsession_s::prompt_text)];
    const size_t len = clean_row(clean, std::size(clean), text);
    size_t used = 0;
    for (size_t at = 0; at < len && used < std::size(s->prompt_text) - 1; used++) {
        const Character next = first_character(clean + at, len - at);
        s->prompt_text[used] = next.len == 1 ? clean[at] : '?';
        at += next.len;
    }
    s->prompt_text[used] = '\0';
}

void copy_config(tsession_s *s, const tsession_config_s *config)
{
    s->transport = config->transport;
    s->leaves_assertions = config->leave_assertions != 0;
    s->is_paged = config->is_unpaged == 0;
    s->graph = config->graph;
    s->user = config->user;
    s->output_fn = config->output;
    s->line_fn = config->line;
    s->event_fn = config->event;
    s->is_writable = true;
    s->last_tab = UINT32_MAX / 2;
    set_prompt_text(s, config->prompt ? config->prompt : "> ");
}

bool set_up(tsession_s *s, const tsession_config_s *config)
{
    s->shared = config->shared ? config->shared : tsession_shared_create();
    s->owns_shared = !config->shared;
    s->prompt = s->shared ? prompt_create() : nullptr;
    if (!s->prompt || !bind_editor(s))
        return false;
    if (config->history_limit > 0)
        s->prompt->history_limit = config->history_limit;
    set_size(s, config->columns, config->rows);
    s->type = find_terminal_type(config->terminal_type);
    s->keyboard.begin(key_events(s), s->type);
    return true;
}

} // namespace

void raise_event(tsession_s *s, int32_t kind, const char *text)
{
    const bool is_size = kind == TSESSION_SIZE;
    const tsession_event_s event = {kind, is_size ? s->columns : 0, is_size ? s->rows : 0, text};
    if (s->event_fn)
        s->event_fn(s, s->user, &event);
}

void use_terminal_type(tsession_s *s, const TerminalType *type)
{
    send_paste_off(s);
    s->type = type;
    s->keyboard.set_type(type);
    if (s->is_started) {
        emit(s, paste_on(type));
        s->is_paste_on = true;
    }
}

} // namespace varno

using namespace varno;

tsession_shared_s *tsession_shared_create(void)
{
    return static_cast<tsession_shared_s *>(
        tracked_calloc(1, sizeof(tsession_shared_s), shared_tag));
}

void tsession_shared_free(tsession_shared_s *shared)
{
    if (!shared)
        return;
    release_shared_bindings(shared);
    while (OutputBuffer *buffer = shared->free_buffers) {
        shared->free_buffers = buffer->next;
        tracked_free(buffer, "OutputBuffer");
    }
    tracked_free(shared, shared_tag);
}

void tsession_assertion_handler(void *, const char *condition, const char *source, int line)
{
    if (is_catching)
        throw Fault{condition, source, line};
}

tsession_s *tsession_create(const tsession_config_s *config)
{
    auto *s = static_cast<tsession_s *>(tracked_calloc(1, sizeof(tsession_s), session_tag));
    if (!s)
        return nullptr;
    copy_config(s, config);
    if (set_up(s, config))
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
    s->output_fn = nullptr;
    s->event_fn = nullptr;
    if (s->depth == 0)
        transact(s, [] {});
}

void tsession_start(tsession_s *s)
{
    if (s->is_started || s->is_closed)
        return;
    transact(s, [s] {
        s->is_started = true;
        if (s->transport == TSESSION_TELNET)
            s->telnet.begin(telnet_events(s));
        use_terminal_type(s, s->type);
    });
}

void tsession_input(tsession_s *s, const void *bytes, size_t count)
{
    if (!s->is_started || s->is_closed || count == 0)
        return;
    transact(s, [s, bytes, count] {
        const auto *input = static_cast<const unsigned char *>(bytes);
        if (s->transport == TSESSION_TELNET)
            s->telnet.consume(input, count);
        else
            s->keyboard.consume(input, count);
    });
}

int32_t tsession_wait(const tsession_s *s)
{
    return !s->is_closed && s->keyboard.is_pending() ? escape_wait_ms : -1;
}

void tsession_time_out(tsession_s *s)
{
    if (!s->is_closed && s->keyboard.is_pending())
        transact(s, [s] { s->keyboard.time_out(); });
}

void tsession_write(tsession_s *s, const char *bytes, size_t count)
{
    if (!s->is_closed && count > 0)
        transact(s, [=] { write_text(s, bytes, count); });
}

void tsession_write_clean(tsession_s *s, const char *text)
{
    if (!s->is_closed && *text)
        transact(s, [=] { write_clean(s, text, std::strlen(text)); });
}

char *tsession_clean(char *clean, size_t capacity, const char *text)
{
    clean_row(clean, capacity, text);
    return clean;
}

void tsession_print(tsession_s *s, const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int len = std::vsnprintf(text, std::size(text), format, arguments);
    va_end(arguments);
    if (len > 0)
        tsession_write(s, text, std::min(static_cast<size_t>(len), std::size(text) - 1));
}

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

void tsession_set_writable(tsession_s *s, int is_writable)
{
    s->is_writable = is_writable != 0;
    if (s->is_writable && !s->is_closed && s->mode == Mode::pager)
        transact(s, [s] { run_pager(s); });
}

int tsession_has_more(const tsession_s *s)
{
    return !s->is_closed && s->mode == Mode::pager && !s->pager.is_waiting;
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

void tsession_set_prompt(tsession_s *s, const char *prompt)
{
    if (s->is_closed)
        return;
    transact(s, [=] {
        hide_row(s);
        set_prompt_text(s, prompt ? prompt : "> ");
        fit_editor(s);
    });
}

// What the row showed is taken away first: it may have wrapped.
void tsession_resize(tsession_s *s, int32_t columns, int32_t rows)
{
    if (s->is_closed)
        return;
    transact(s, [=] {
        hide_row(s);
        set_size(s, columns, rows);
        if (s->pager.page_rows != INT32_MAX)
            s->pager.page_rows = s->rows - 1;
    });
}

void tsession_set_terminal(tsession_s *s, const char *terminal_type)
{
    if (!s->is_closed)
        transact(s, [=] { use_terminal_type(s, find_terminal_type(terminal_type)); });
}

void tsession_set_paged(tsession_s *s, int is_paged)
{
    s->is_paged = is_paged != 0;
}

void tsession_set_graph(tsession_s *s, cli_pnode_s *graph)
{
    s->graph = graph;
}

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

void tsession_history(tsession_s *s, tsession_history_fn entry, void *ctx)
{
    transact(s, [=] {
        const auto *end = reinterpret_cast<prompt_history_s *>(&s->prompt->history);
        int number = 0;
        for (prompt_history_s *t = s->prompt->history.cqh_last; t != end; t = t->prev)
            entry(ctx, ++number, t->command);
    });
}
