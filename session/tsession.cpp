// The public face of a session: its life, the round around every call, and the
// boundary at which a failed assertion ends one session and no other.

#include <varno/tsession.h>

#include <varno/platform.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "session.h"

namespace {

using namespace varno;

constexpr char session_tag[] = "tsession_s";
constexpr char shared_tag[] = "tsession_shared_s";

constexpr int32_t default_columns = 80;
constexpr int32_t default_rows = 24;
constexpr int32_t escape_wait_ms = 500;

// A failed assertion on its way to the boundary of the session it happened in.
struct Fault {
    const char *condition;
    const char *source;
    int line;
};

// The innermost call on this thread catches a fault.
thread_local bool is_catching = false;

// prompt_free leaves the texts of its history behind.
void release_history_texts(prompt_s *p)
{
    const auto *end = reinterpret_cast<prompt_history_s *>(&p->history);
    for (prompt_history_s *entry = p->history.cqh_first; entry != end; entry = entry->next)
        tracked_free(entry->command, "BYTE*");
}

void destroy(tsession_s *s)
{
    s->telnet.end();
    drop_question(s);
    if (s->prompt) {
        release_history_texts(s->prompt);
        release_editor(s);
    }
    if (s->owns_shared)
        tsession_shared_free(s->shared);
    tracked_free(s, session_tag);
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
    if (s->is_paste_on)
        emit(s, paste_off(s->type));
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
    if (s->is_paste_on)
        emit(s, paste_off(s->type));
    s->is_row_shown = false;
    s->column = 0;
    char text[256];
    std::snprintf(text, std::size(text), "%s (%s:%d)", fault.condition, fault.source, fault.line);
    raise_event(s, TSESSION_FAULT, text);
}

// What a round does: any callable, for the call. No template takes it further, so that
// the code of a round is there once and not for each kind of call.
class Body {
  public:
    template <typename Callable>
    Body(const Callable &callable)
        : target_(&callable),
          call_([](const void *target) { (*static_cast<const Callable *>(target))(); })
    {}

    void operator()() const { call_(target_); }

  private:
    const void *target_;
    void (*call_)(const void *target);
};

// A session that leaves assertions alone does so within a call of one that does not.
void catch_faults(tsession_s *s, const Body &body)
{
    bool &catching = *s->catching;
    const bool outer = std::exchange(catching, !s->leaves_assertions);
    try {
        body();
        catching = outer;
    } catch (const Fault &fault) {
        try {
            end_by_fault(s, fault);
        } catch (const Fault &) { // in what hears of the first
        } catch (...) {
            catching = outer;
            throw;
        }
        catching = outer;
    } catch (...) {
        catching = outer;
        s->is_closed = true;
        throw;
    }
}

void draw(tsession_s *s)
{
    if (s->is_closed)
        end_dialogue(s);
    else if (s->is_started)
        draw_row(s);
}

bool is_unfinished(const tsession_s *s)
{
    const bool is_over = s->is_ended && s->mode == Mode::line;
    return (s->out && s->out->used > 0) || (s->is_closed && !is_over);
}

// The end of the outermost call. An output callback may write, close or free: then
// there is more to draw, or to end.
void finish_round(tsession_s *s)
{
    do {
        catch_faults(s, [s] { draw(s); });
        catch_faults(s, [s] { deliver(s); });
    } while (is_unfinished(s));
}

// What a free has promised holds for a call, too, that an exception leaves; it is the
// first exception that goes on.
void end_for_free(tsession_s *s)
{
    if (s->depth > 1 || !s->is_free_asked)
        return;
    try {
        finish_round(s);
    } catch (...) {
    }
}

void leave(tsession_s *s)
{
    if (--s->depth > 0)
        return;
    give_buffers_back(s);
    if (s->is_free_asked)
        destroy(s);
}

// Every call on a session: its output is gathered, a fault is caught, the last row
// is drawn, and what was asked for inside is done at the end.
void round(tsession_s *s, const Body &body)
{
    if (s->depth++ == 0) {
        s->catching = &is_catching;
        take_buffer(s);
        s->listed = 0;
    }
    try {
        catch_faults(s, body);
        if (s->depth == 1)
            finish_round(s);
    } catch (...) {
        end_for_free(s);
        leave(s);
        throw;
    }
    leave(s);
}

int32_t clamped(int32_t value, int32_t unknown, int32_t least, int32_t most)
{
    return value <= 0 ? unknown : std::clamp(value, least, most);
}

void set_size(tsession_s *s, int32_t columns, int32_t rows)
{
    s->columns = clamped(columns, default_columns, 20, 256);
    s->rows = clamped(rows, default_rows, 2, 512);
    apply_size(s);
}

void set_prompt_text(tsession_s *s, const char *text)
{
    const size_t len = strnlen(text, std::size(s->prompt_text) - 1);
    std::transform(text, text + len, s->prompt_text,
                   [](char c) { return c >= ' ' && c < 127 ? c : '?'; });
    s->prompt_text[len] = '\0';
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
    stroker_s *decoder = s->shared->decoders.get(s->type);
    s->keyboard.begin(key_events(s), s->type, decoder);
    return decoder != nullptr;
}

} // namespace

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
    shared->decoders.release();
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
        round(s, [] {});
}

void tsession_start(tsession_s *s)
{
    if (s->is_started || s->is_closed)
        return;
    round(s, [s] {
        s->is_started = true;
        if (s->transport == TSESSION_TELNET && !s->telnet.begin(telnet_events(s)))
            s->is_closed = true;
        else
            apply_terminal_type(s, s->type);
    });
}

void tsession_input(tsession_s *s, const void *bytes, size_t count)
{
    if (!s->is_started || s->is_closed || count == 0)
        return;
    round(s, [s, bytes, count] {
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
        round(s, [s] { s->keyboard.time_out(); });
}

void tsession_write(tsession_s *s, const char *bytes, size_t count)
{
    if (!s->is_closed && count > 0)
        round(s, [=] { write_text(s, bytes, count); });
}

void tsession_write_clean(tsession_s *s, const char *text)
{
    if (!s->is_closed && *text)
        round(s, [=] { write_clean(s, text, std::strlen(text)); });
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
    round(s, [&] {
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
        round(s, [s] { run_pager(s); });
}

int tsession_has_more(const tsession_s *s)
{
    return !s->is_closed && s->mode == Mode::pager && !s->pager.is_waiting;
}

int tsession_ask(tsession_s *s, const char *question, int is_secret, tsession_answer_fn answer,
                 void *ctx)
{
    int result = -1;
    round(s, [&] { result = begin_line_question(s, question, is_secret != 0, answer, ctx); });
    return result;
}

int tsession_ask_key(tsession_s *s, const char *question, tsession_key_fn answer, void *ctx)
{
    int result = -1;
    round(s, [&] { result = begin_key_question(s, question, answer, ctx); });
    return result;
}

void tsession_set_prompt(tsession_s *s, const char *prompt)
{
    if (s->is_closed)
        return;
    round(s, [=] {
        hide_row(s);
        set_prompt_text(s, prompt ? prompt : "> ");
        apply_size(s);
    });
}

// What the row showed is taken away first: it may have wrapped.
void tsession_resize(tsession_s *s, int32_t columns, int32_t rows)
{
    if (s->is_closed)
        return;
    round(s, [=] {
        hide_row(s);
        set_size(s, columns, rows);
        if (s->pager.page_rows != INT32_MAX)
            s->pager.page_rows = s->rows - 1;
    });
}

void tsession_set_terminal(tsession_s *s, const char *terminal_type)
{
    if (!s->is_closed)
        round(s, [=] { apply_terminal_type(s, find_terminal_type(terminal_type)); });
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
        round(s, [s] { s->is_closed = true; });
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
    round(s, [=] {
        const auto *end = reinterpret_cast<prompt_history_s *>(&s->prompt->history);
        int number = 0;
        for (prompt_history_s *t = s->prompt->history.cqh_last; t != end; t = t->prev)
            entry(ctx, ++number, t->command);
    });
}
