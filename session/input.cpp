// The way of the input: telnet's pieces, the keyboard's keys, and who gets each key
// in the mode that the session is in at that moment.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "session.h"

namespace varno {
namespace {

constexpr mkey_t ctrl_d = 4;
constexpr mkey_t tab = 9;

bool is_end_of_input(const tsession_s *s, mkey_t key)
{
    return key == ctrl_d && s->nheld == 0 && s->prompt->ps.buf_used == 0;
}

// A client that echoes shows text at the end of the line as the session would.
void note_echo(tsession_s *s, const mkey_t *keys, size_t count)
{
    const pstate &ps = s->prompt->ps;
    const auto is_shown = [](mkey_t key) { return key >= ' ' && key < 127; };
    const bool is_in_line = ps.cursor_location == ps.buf_used && !prompt_is_full(s->prompt);
    const bool was_known = s->echoed == Echoed::nothing || s->echoed == Echoed::text;
    const bool is_known = was_known && is_in_line && std::all_of(keys, keys + count, is_shown);
    s->echoed = is_known ? Echoed::text : Echoed::unknown;
}

// Hands a run of keys to the editor after those it held back. Returns how many of
// the new ones it has taken: those up to the end of the first command, or all.
size_t edit(tsession_s *s, const mkey_t *keys, size_t count)
{
    mkey_t run[256];
    const auto held = static_cast<size_t>(s->nheld);
    const size_t taken = std::min(count, std::size(run) - held);
    std::copy_n(s->held, held, run);
    std::copy_n(keys, taken, run + held);
    const auto len = static_cast<int>(held + taken);
    s->nheld = 0;
    if (run[0] != tab) // a Tab further on is not right after one before, wherever input is cut
        s->edit_count++;
    if (does_client_echo(s))
        note_echo(s, keys, taken);
    const int used = prompt_consume(s->prompt, run, len);
    if (s->prompt->ps.buf_used == 0)
        s->is_overlong = false;
    settle_scroll(s);
    if (used > 0 && static_cast<size_t>(used) >= held)
        return static_cast<size_t>(used) - held;
    // What is left begins a sequence, which is shorter than the room for it.
    s->nheld = std::min(len - used, static_cast<int>(std::size(s->held)));
    std::copy_n(run + used, s->nheld, s->held);
    return taken;
}

// One step of the line editor; returns how many keys it has taken. None only when keys
// that were held back have made it run a command.
size_t edit_step(tsession_s *s, const mkey_t *keys, size_t count)
{
    s->edit_count++;
    if (is_end_of_input(s, keys[0])) {
        s->is_turn_over = true;
        raise_event(s, TSESSION_END_OF_INPUT, nullptr);
        return 1;
    }
    const mkey_t *end = std::find(keys + 1, keys + count, ctrl_d);
    return edit(s, keys, static_cast<size_t>(end - keys));
}

void take_typed(void *user, const mkey_t *keys, size_t count)
{
    take_keys(static_cast<tsession_s *>(user), keys, count);
}

// A paste ends an output and a question for a key, as no key of theirs.
void insert_pasted(void *user, const unsigned char *bytes, size_t count)
{
    auto *s = static_cast<tsession_s *>(user);
    s->nheld = 0;
    if (does_client_echo(s))
        s->echoed = Echoed::unknown; // with the marks of the paste
    if (s->mode == Mode::pager || s->mode == Mode::key_question)
        cancel_dialog(s);
    for (size_t i = 0; i < count; i++) {
        if (s->mode == Mode::question)
            question_key(s, bytes[i]);
        else if (s->mode == Mode::search)
            search_key(s, bytes[i]);
        else if (s->mode == Mode::line && bytes[i] >= ' ' && bytes[i] < 127)
            insert_character(s, static_cast<char>(bytes[i]));
        else
            ring(s);
    }
    settle_scroll(s);
    s->edit_count++;
}

void insert_pasted_enter(void *user)
{
    auto *s = static_cast<tsession_s *>(user);
    constexpr mkey_t enter = VIRTKEY_RETURN;
    if (s->mode == Mode::pager || s->mode == Mode::key_question)
        cancel_dialog(s);
    take_keys(s, &enter, 1);
}

// A client that sends data does not wait for its prompt.
void take_data(void *user, const unsigned char *bytes, size_t count)
{
    auto *s = static_cast<tsession_s *>(user);
    end_opening(s);
    add_type_ahead(s, bytes, count);
}

void take_size(void *user, int columns, int rows)
{
    auto *s = static_cast<tsession_s *>(user);
    if (s->is_closed)
        return;
    tsession_resize(s, columns, rows);
    raise_event(s, TSESSION_SIZE, nullptr);
}

// The first known name that the client tells stays.
void take_terminal_name(void *user, const char *name)
{
    auto *s = static_cast<tsession_s *>(user);
    if (s->is_type_told || s->is_closed)
        return;
    if (!is_known_terminal_type(name)) {
        s->telnet.ask_terminal_type();
        return;
    }
    s->is_type_told = true;
    use_terminal_type(s, find_terminal_type(name));
    raise_event(s, TSESSION_TERMINAL, terminal_type_name(s->type));
}

// What its end has begun, if anything, asks nobody for the same key.
size_t pager_step(tsession_s *s, mkey_t key)
{
    if (!is_resting(s) && !pager_key(s, key) && s->mode == Mode::line)
        return 0;
    return 1;
}

// ESC and a character are one key to a question, and none that it knows.
size_t question_step(tsession_s *s, const mkey_t *keys, size_t count)
{
    if (*keys == VIRTKEY_ESC && count > 1) {
        ring(s);
        return 2;
    }
    question_key(s, *keys);
    return 1;
}

// What was typed before it is dropped, as by a Ctrl-C.
void interrupt_by_telnet(void *user, int32_t kind)
{
    auto *s = static_cast<tsession_s *>(user);
    end_opening(s);
    s->typed++;
    drop_type_ahead(s);
    begin_keyboard(s);
    interrupt(s, kind);
}

void answer_presence(void *user)
{
    auto *s = static_cast<tsession_s *>(user);
    if (s->is_closed)
        return;
    begin_message(s);
    write_text(s, text_of(s, &tsession_texts_s::presence));
    write_text(s, "\n");
}

void send_reply(void *user, const unsigned char *bytes, size_t count)
{
    auto *s = static_cast<tsession_s *>(user);
    if (!s->is_closed)
        emit_wire(s, bytes, count);
}

} // namespace

void take_keys(tsession_s *s, const mkey_t *keys, size_t count)
{
    while (count > 0 && !s->is_closed) {
        size_t taken = 1;
        if (s->mode == Mode::line)
            taken = edit_step(s, keys, count);
        else if (s->mode == Mode::search)
            taken = search_key(s, *keys) ? 1 : 0;
        else if (s->mode == Mode::pager)
            taken = pager_step(s, *keys);
        else
            taken = question_step(s, keys, count);
        keys += taken;
        count -= taken;
    }
}

// What is typed is dropped, and stays readable above the fresh prompt. What ends an
// output or a question is told only if it is a break.
void interrupt(tsession_s *s, int32_t kind)
{
    if (s->is_closed)
        return;
    s->nheld = 0;
    s->is_turn_over = true;
    if (s->mode == Mode::search)
        end_search(s);
    const bool is_told = s->mode == Mode::line || kind == TSESSION_BREAK;
    if (s->mode != Mode::line) {
        cancel_dialog(s);
    } else {
        leave_row(s);
        begin_line(s);
    }
    if (is_told)
        raise_event(s, kind, nullptr);
}

KeyEvents key_events(tsession_s *s)
{
    return {
        .user = s,
        .keys = take_typed,
        .text = insert_pasted,
        .pasted_enter = insert_pasted_enter,
    };
}

// What follows a close in the same bytes is read and means nothing.
TelnetEvents telnet_events(tsession_s *s)
{
    return {
        .user = s,
        .data = take_data,
        .size = take_size,
        .terminal = take_terminal_name,
        .interrupt = [](void *user) { interrupt_by_telnet(user, TSESSION_INTERRUPT); },
        .brk = [](void *user) { interrupt_by_telnet(user, TSESSION_BREAK); },
        .are_you_there = answer_presence,
        .reply = send_reply,
    };
}

} // namespace varno
