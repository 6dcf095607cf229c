// Chains the decoder and the prompt: bytes to keys, keys to commands, and at the end
// of a round one redraw. What a command line does is decided in commands.cpp.

#include "session.h"

#include "commands.h"
#include "help.h"
#include "keys.h"
#include "terminal.h"

#include <varno/platform.h>
#include <varno/termcap_util.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

// Keys

// Hands the queued keys over, one command a call. What is left begins a binding
// that has not ended. The session may end at any command: then the rest is dropped.
void feed_prompt(Session &session)
{
    int32_t used = 0;
    while (used < session.nkeys && !session.is_done) {
        if (session.keys[used] == key_end_of_input && prompt_used(session.prompt) == 0) {
            session.is_done = true;
            return;
        }
        const int taken = prompt_consume(session.prompt, session.keys + used, session.nkeys - used);
        if (taken == 0)
            break;
        used += taken;
    }
    session.nkeys -= used;
    std::memmove(session.keys, session.keys + used, sizeof(mkey_t) * size_t(session.nkeys));
}

int queue_keys(stroker_s *, void *user, const mkey_t *keys, int32_t count)
{
    auto &session = *static_cast<Session *>(user);
    const auto room = static_cast<int32_t>(std::size(session.keys)) - session.nkeys;
    count = std::min(count, room);
    std::copy_n(keys, count, session.keys + session.nkeys);
    session.nkeys += count;
    return 0;
}

// Drawing

VARNO_PRINTF(3, 4) int print(prompt_s *, void *, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int printed = std::vprintf(format, arguments);
    va_end(arguments);
    return printed;
}

// A left guard that appears with a scroll takes a column, so that one scroll may ask
// for another; prompt_redraw allows for one only. It settles within a few.
void settle_scroll(prompt_s *p)
{
    prompt_model_s scratch;
    for (int tries = 0; tries < 8; tries++) {
        const int amount = prompt_update_model(p, &scratch);
        if (amount == 0)
            return;
        p->display_offset += amount;
    }
}

// A differential redraw of a row that has only grown stops at the cursor.
bool has_unwritten_tail(const prompt_model_s &before, const prompt_model_s &now)
{
    return before.buf_len < now.buf_len && now.virtual_cursor < now.buf_len &&
           std::strncmp(before.buf, now.buf, size_t(before.buf_len)) == 0;
}

// The offset is compared with the one drawn last: "execute-and-restore" moves it
// without a flag, and then the row on screen is another than the prompt believes.
void draw(Session &session)
{
    prompt_s *p = session.prompt;
    settle_scroll(p);
    if (p->display_offset != session.shown_offset)
        prompt_set_dirty(p);
    const prompt_model_s before = *prompt_active_model(p);
    const bool is_full_draw = p->flags & PROMPT_FLAG_REDRAW;
    prompt_redraw(p);
    if (!is_full_draw && has_unwritten_tail(before, *prompt_active_model(p)))
        prompt_draw(p, 0);
    session.shown_offset = p->display_offset;
}

// Commands that the default key map names and a host supplies

int execute(prompt_s *p, pstate *ps, const char *, void *context, void *)
{
    auto &session = *static_cast<Session *>(context);
    session_start_output(session);
    commands_run(session, ps->buf);
    prompt_finish_output(p);
    prompt_history_add(p, 1);
    prompt_history_reset_state(p);
    prompt_clear_command(p);
    return 0;
}

int accept_token(prompt_s *p, pstate *, const char *, void *, void *)
{
    prompt_insert_char_at_cursor(p, ' ');
    return 0;
}

// clang-format off
constexpr prompt_builtin_s host_commands[] = {
    {"accept-token",   accept_token},
    {"expand-token",   help_expand_token},
    {"complete-token", help_complete_token},
    {"execute",        execute},
    {nullptr,          nullptr},
};
// clang-format on

constexpr const char *clear_to_end[] = {"cd", nullptr};

// Set-up

bool set_up_prompt(Session &session)
{
    prompt_s *p = session.prompt;
    prompt_util_bind_reset(p);
    prompt_util_bind_insert(p);
    if (prompt_util_bind_commands(p, prompt_builtins, nullptr) ||
        prompt_util_bind_commands(p, host_commands, &session) ||
        prompt_util_bind_keys(p, ostra_keys, nullptr))
        return false;
    keys_bind_commands(p);
    prompt_set_prompt_empty(p, "varno> ");
    prompt_set_prompt_normal(p, "varno> ");
    prompt_set_print_callback(p, print, nullptr);
    const TerminalSize size = terminal_size();
    prompt_set_dimension(p, size.columns, size.rows);
    return true;
}

// prompt_free leaves the texts behind.
void release_history_texts(prompt_s *p)
{
    auto *end = reinterpret_cast<prompt_history_s *>(&p->history);
    for (prompt_history_s *entry = p->history.cqh_first; entry != end; entry = entry->next)
        tracked_free(entry->command, "BYTE*");
}

// Never below one: the decoder's remaining time may be anything.
uint64_t milliseconds(const timeval &time)
{
    return uint64_t(std::max<int64_t>(1, time.tv_sec * 1000 + time.tv_usec / 1000));
}

} // namespace

bool session_open(Session &session)
{
    tcap_emit_caps(term_init_caps, std::putchar);
    tcap_emit_caps(term_keys_caps, std::putchar);
    session.decoder = stroker_create_context();
    session.prompt = prompt_create();
    if (!session.decoder || !session.prompt)
        return false;
    stroker_set_callback_chars(session.decoder, queue_keys, &session);
    keys_bind_sequences(session.decoder);
    return set_up_prompt(session);
}

void session_close(Session &session)
{
    if (session.prompt && !(session.prompt->flags & PROMPT_FLAG_REDRAW))
        std::putchar('\n'); // leave the prompt's row
    tcap_emit_caps(term_reset_caps, std::putchar);
    std::fflush(stdout);
    commands_release();
    if (session.prompt) {
        release_history_texts(session.prompt);
        prompt_free(session.prompt);
    }
    if (session.decoder)
        stroker_free_context(session.decoder);
}

uint64_t session_input(Session &session, int32_t count)
{
    session.nbytes += count;
    timeval wait = {};
    const int32_t used = stroker_consume(session.decoder, session.bytes, session.nbytes, &wait);
    session.nbytes -= used;
    std::memmove(session.bytes, session.bytes + used, size_t(session.nbytes));
    feed_prompt(session);
    return session.nbytes > 0 ? milliseconds(wait) : 0;
}

void session_timed_out(Session &session)
{
    if (session.nbytes == 0)
        return;
    stroker_consume_timedout(session.decoder, session.bytes, session.nbytes);
    session.nbytes = 0;
    feed_prompt(session);
}

// A full draw blanks nothing, and the row holds the old picture. Blanks leave the
// last column alone, where they might wrap; a terminal that can clears it too, and
// the rows below that a narrower one has wrapped the old picture to.
void session_resize(Session &session)
{
    prompt_s *p = session.prompt;
    const TerminalSize size = terminal_size();
    prompt_set_dimension(p, size.columns, size.rows);
    prompt_move_term_cursor_to_bol(p);
    prompt_term_whiteout(p, size.columns - 1);
    tcap_emit_caps(clear_to_end, std::putchar);
    prompt_finish_output(p);
}

void session_start_output(Session &session)
{
    draw(session);
    prompt_start_output(session.prompt);
}

void session_end_round(Session &session)
{
    if (!session.is_done)
        draw(session);
    if (std::fflush(stdout) != 0)
        session.is_done = true;
}
