// The commands of a session's line editor: the host's four of the default key map,
// what people press beyond that map, and versions of the printing built-ins that
// write to the terminal of their session.

#include <varno/cli_assist.h>
#include <varno/platform.h>
#include <varno/varno.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "session.h"

namespace varno {
namespace {

constexpr int debug_level = 7; // of the library's traces

// Commands are bound once for many sessions: they find theirs through the print callback
// of its prompt, which is set once and for all.
tsession_s *session_of(const prompt_s *p)
{
    return static_cast<tsession_s *>(p->pinfo.print_ctx);
}

void insert_text(tsession_s *s, const char *text, int32_t len)
{
    for (int32_t i = 0; i < len; i++)
        insert_character(s, text[i]);
}

// What a graph makes of the keys "?", Tab and Enter

bool is_in_quotes(const pstate *ps)
{
    return cli_assist_in_quotes(ps->buf, ps->cursor_location) != 0;
}

// Where a "?" is text it is typed: in quotes, and where no graph has choices.
int expand_token(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    if (!s->graph || is_in_quotes(ps))
        insert_character(s, '?');
    else
        list_choices(s);
    return 0;
}

// The first Tab completes as far as it can; a second one right after it lists.
// Inside quotes a Tab is text; a row has no place for one but as a blank. A part of a
// completion would be another word.
int complete_token(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    const bool is_second = s->last_tab + 1 == s->edit_count && s->tab_used == ps->buf_used;
    cli_assist_completion_s completion;
    if (is_in_quotes(ps))
        insert_character(s, ' ');
    else if (cli_assist_complete(s->graph, s->filter, ps->buf, ps->cursor_location, &completion) !=
                 0 ||
             ps->buf_used + completion.insert_len >= line_capacity)
        ring(s);
    else if (completion.insert_len > 0)
        insert_text(s, completion.insert, completion.insert_len);
    else if (!is_second)
        ring(s);
    if (is_second && s->tab_used == ps->buf_used)
        list_choices(s);
    s->last_tab = s->edit_count;
    s->tab_used = ps->buf_used;
    return 0;
}

// The line is run inside of the editor's own call, which takes no key after it: what was
// typed ahead belongs to whatever the line begins.
int execute(prompt_s *p, pstate *, const char *, void *, void *)
{
    run_typed_line(session_of(p));
    return 0;
}

// The default key map binds the blank to it, for hosts that look at each word as it ends.
int accept_token(prompt_s *p, pstate *, const char *, void *, void *)
{
    insert_character(session_of(p), ' ');
    return 0;
}

int drop_typed_line(prompt_s *p, pstate *, const char *, void *, void *)
{
    interrupt(session_of(p), TSESSION_INTERRUPT);
    return 0;
}

// A key that is no text and that no binding claims. The bytes of a character beyond ASCII
// ring once.
void take_free_key(tsession_s *s, mkey_t key)
{
    const bool was_in_character = std::exchange(s->is_in_character, key >= 0x80 && key <= 0xff);
    if (s->is_in_character) {
        const bool is_continuation = key < 0xc0;
        if (!was_in_character || !is_continuation)
            ring(s);
        return;
    }
    if (!s->key_fn || s->key_fn(s, s->user, key) == 0)
        ring(s);
}

// Keys that no binding claims: text, and what cannot be typed.
int insert_keys(prompt_s *p, pstate *, const char *, void *, void *, const mkey_t *keys,
                int32_t count)
{
    tsession_s *s = session_of(p);
    for (int32_t i = 0; i < count && !s->is_closed; i++) {
        if (keys[i] >= ' ' && keys[i] < 127) {
            s->is_in_character = false;
            insert_character(s, static_cast<char>(keys[i]));
        } else {
            take_free_key(s, keys[i]);
        }
    }
    return 0;
}

// Moves and deletions

// The built-in of the library, which says nothing where it has nothing to do.
template <prompt_command_fn builtin>
int or_ring(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    const int32_t used = ps->buf_used;
    const int32_t cursor = ps->cursor_location;
    builtin(p, ps, invoked, ctx, argument);
    if (ps->buf_used == used && ps->cursor_location == cursor)
        ring(session_of(p));
    return 0;
}

// Without memory for it the text is deleted all the same, and an older one comes back.
void keep_killed(tsession_s *s, const pstate &before, int32_t from)
{
    const int32_t len = before.buf_used - s->prompt->ps.buf_used;
    Aside *aside = len > 0 ? aside_of(s) : nullptr;
    if (!aside)
        return;
    aside->killed_len = len;
    std::memcpy(aside->killed, before.buf + from, static_cast<size_t>(len));
}

// The same; what it deletes can be brought back. Whatever was deleted began where the
// cursor is afterwards.
template <prompt_command_fn builtin>
int kill_and_keep(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    const pstate before = *ps;
    or_ring<builtin>(p, ps, invoked, ctx, argument);
    keep_killed(session_of(p), before, ps->cursor_location);
    return 0;
}

// The same; blanks between the cursor and the word stay.
int delete_word_forward(prompt_s *p, pstate *ps, const char *invoked, void *ctx, void *argument)
{
    const pstate before = *ps;
    or_ring<p_builtin_delwordfwd_cb>(p, ps, invoked, ctx, argument);
    int32_t from = ps->cursor_location;
    while (from < ps->buf_used && before.buf[from] == ' ')
        from++;
    keep_killed(session_of(p), before, from);
    return 0;
}

// Blanks and the word before the cursor, as other editors have it; the library's takes a
// blank before the word, and before the cursor only blanks where there are some.
int delete_word_back(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    int32_t from = ps->cursor_location;
    while (from > 0 && ps->buf[from - 1] == ' ')
        from--;
    while (from > 0 && ps->buf[from - 1] != ' ')
        from--;
    if (from < ps->cursor_location)
        prompt_backspace(p, ps->cursor_location - from);
    return 0;
}

// All of it or nothing: half a line would be another one.
int yank(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    const Aside *aside = s->aside;
    if (!aside || aside->killed_len == 0 || ps->buf_used + aside->killed_len >= line_capacity)
        ring(s);
    else
        insert_text(s, aside->killed, aside->killed_len);
    return 0;
}

// The character before the cursor moves on over the one at it; at the end the last two
// change places.
int transpose(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    if (ps->buf_used < 2 || ps->cursor_location == 0) {
        ring(session_of(p));
        return 0;
    }
    const int32_t second = std::min(ps->cursor_location, ps->buf_used - 1);
    std::swap(ps->buf[second - 1], ps->buf[second]);
    prompt_set_cursor_location(p, second + 1);
    return 0;
}

// The history. What was being typed comes back after the newest line.

int history_older(prompt_s *p, pstate *, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    const prompt_history_s *shown = p->history_browse;
    if (p->history_count > 0 && (shown || put_line_aside(s)))
        prompt_history_previous(p, 0);
    if (p->history_browse == shown)
        ring(s);
    else
        s->is_overlong = false;
    return 0;
}

// After the newest line comes what was being typed before the first Up.
int history_newer(prompt_s *p, pstate *, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    if (!p->history_browse) {
        ring(s);
    } else if (p->history_browse == p->history.cqh_first) {
        prompt_history_reset_state(p);
        bring_line_back(s);
    } else {
        prompt_history_next(p, 0);
        s->is_overlong = false;
    }
    return 0;
}

int search_history(prompt_s *p, pstate *, const char *, void *, void *)
{
    begin_search(session_of(p));
    return 0;
}

// The printing built-ins: the effect of the library's, on the session's terminal.

int redisplay(prompt_s *p, pstate *, const char *, void *, void *)
{
    leave_row(session_of(p));
    return 0;
}

int echo(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    leave_row(s);
    const auto cursor = static_cast<size_t>(ps->cursor_location);
    write_clean(s, ps->buf, cursor);
    write_text(s, "<>");
    write_clean(s, ps->buf + cursor, static_cast<size_t>(ps->buf_used) - cursor);
    write_text(s, "\n");
    return 0;
}

void say(tsession_s *s, const char *text)
{
    leave_row(s);
    write_text(s, text);
}

// The row still shows the name, which the line has lost.
void say_no_command(tsession_s *s, const char *name)
{
    end_row(s);
    begin_line(s);
    write_text(s, "No command for [");
    write_clean(s, name, std::strlen(name));
    write_text(s, "]\t\n");
}

void say_unmatched(tsession_s *s, const pstate *ps, const char *quote)
{
    char text[64];
    std::snprintf(text, std::size(text), "Unmatched opening %c at column %d\n", *quote,
                  static_cast<int>(quote - ps->buf));
    say(s, text);
}

// A command that is run by its name has no binding, and so no argument of one.
void run_by_name(tsession_s *s, const char *name)
{
    prompt_s *p = s->prompt;
    const prompt_command_s *command = prompt_get_command(p, name);
    if (!command) {
        say_no_command(s, name);
        return;
    }
    const auto &inv = command->inv;
    if (inv.callback)
        inv.callback(p, &p->ps, inv.invoke_name, inv.context, nullptr);
    prompt_set_dirty(p);
}

int invoke(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    s->is_turn_over = true;
    draw_row(s);
    const char *quote = string_check_quotes(ps->buf);
    char token[sizeof(pstate::buf)];
    int len = 0;
    if (prompt_used(p) < 1)
        say(s, "Cannot invoke empty command\n");
    else if (quote)
        say_unmatched(s, ps, quote);
    else if (prompt_token_extract(p, 0, token, std::size(token), &len) != 0)
        say(s, "No tokens in command\n");
    else
        run_by_name(s, token);
    return 0;
}

// The line comes back as it was, but the screen has changed: the row is drawn anew whatever
// its flags were.
int execute_and_restore(prompt_s *p, pstate *ps, const char *invoked, void *, void *argument)
{
    pstate saved;
    uint32_t saved_flags = 0;
    prompt_snapshot(p, &saved, &saved_flags);
    invoke(p, ps, invoked, nullptr, argument);
    const uint32_t redraw = p->flags & PROMPT_FLAG_REDRAW;
    prompt_snapshot_restore(p, &saved, saved_flags);
    p->flags |= redraw | PROMPT_FLAG_DIRTY;
    return 0;
}

int do_nothing(prompt_s *, pstate *, const char *, void *, void *)
{
    return 0;
}

// Command name and routine: the host's four, and what replaces or adds to the
// library's table.
// clang-format off
constexpr prompt_builtin_s session_commands[] = {
    {"accept-token",             accept_token},
    {"expand-token",             expand_token},
    {"complete-token",           complete_token},
    {"execute",                  execute},
    {"move-character-back",      or_ring<p_builtin_charback_cb>},
    {"move-character-forward",   or_ring<p_builtin_charfwd_cb>},
    {"move-word-back",           or_ring<p_builtin_wordback_cb>},
    {"move-word-forward",        or_ring<p_builtin_wordfwd_cb>},
    {"delete-character-back",    or_ring<p_builtin_delcharback_cb>},
    {"delete-character-forward", or_ring<p_builtin_delcharfwd_cb>},
    {"delete-word-back",         kill_and_keep<delete_word_back>},
    {"delete-word-forward",      delete_word_forward},
    {"delete-begin",             kill_and_keep<p_builtin_delbol_cb>},
    {"delete-end",               kill_and_keep<p_builtin_deleol_cb>},
    {"delete-command",           kill_and_keep<p_builtin_delall_cb>},
    {"yank-first",               yank},
    {"transpose-characters",     transpose},
    {"history-previous",         history_older},
    {"history-next",             history_newer},
    {"search-history",           search_history},
    {"redisplay",                redisplay},
    {"echo",                     echo},
    {"invoke",                   invoke},
    {"execute-and-restore",      execute_and_restore},
    {"drop-line",                drop_typed_line},
    {"swallow",                  do_nothing},
    {nullptr,                    nullptr},
};

// A key by itself.
template <mkey_t key>
constexpr mkey_t one[] = {key, 0};

constexpr mkey_t ctrl(char letter) { return static_cast<mkey_t>(letter - '@'); }

// Command name and key, beyond the default key map or in place of its row for the same
// key. Ctrl-D on an empty line never comes here.
constexpr prompt_keymap_s session_keys[] = {
    {"drop-line",                one<ctrl('C')>},
    {"delete-character-back",    one<ctrl('H')>},
    {"delete-character-back",    one<VIRTKEY_BACKSPACE>},
    {"delete-character-forward", one<key_delete>},
    {"execute",                  one<VIRTKEY_ENTER>},
    {"move-begin",               one<VIRTKEY_HOME>},
    {"move-end",                 one<VIRTKEY_END>},
    {"move-word-back",           one<key_word_left>},
    {"move-word-forward",        one<key_word_right>},
    {"search-history",           one<ctrl('R')>},
    {"transpose-characters",     one<ctrl('T')>},
    {nullptr,                    nullptr},
};
// clang-format on

// A name can be bound once: of two routines for it, the session's is bound.
bool is_replaced(const char *name)
{
    const auto *row = session_commands;
    while (row->name && (*row->name != *name || std::strcmp(row->name, name) != 0))
        row++;
    return row->name != nullptr;
}

bool bind_builtins(prompt_s *p)
{
    for (const prompt_builtin_s *row = prompt_builtins; row->name; row++) {
        if (!is_replaced(row->name) && prompt_bind_command(p, row->name, row->callback, nullptr))
            return false;
    }
    return true;
}

bool is_key_replaced(const mkey_t *keys)
{
    const auto *row = session_keys;
    while (row->name && (row->keys[0] != keys[0] || keys[1] != 0))
        row++;
    return row->name != nullptr;
}

bool bind_default_keys(prompt_s *p)
{
    for (const prompt_keymap_s *row = ostra_keys; row->name; row++) {
        int32_t count = 0;
        while (row->keys[count] != 0)
            count++;
        if (!is_key_replaced(row->keys) &&
            prompt_bind_keys(p, row->name, row->keys, count, nullptr) != 0)
            return false;
    }
    return true;
}

bool bind_commands_and_keys(prompt_s *p)
{
    return bind_builtins(p) && prompt_util_bind_commands(p, session_commands, nullptr) == 0 &&
           bind_default_keys(p) && prompt_util_bind_keys(p, session_keys, nullptr) == 0 &&
           mc_optimize(p->keys) == 0;
}

// Returns NULL without memory.
prompt_s *create_bound_prompt()
{
    prompt_s *p = prompt_create();
    if (!p || bind_commands_and_keys(p))
        return p;
    prompt_free(p);
    return nullptr;
}

// Made with the first session that needs them.
bool borrow_bindings(tsession_s *s)
{
    prompt_s *&bound = s->shared->bound;
    if (!bound)
        bound = create_bound_prompt();
    if (!bound)
        return false;
    s->prompt->commands = bound->commands;
    s->prompt->keys = bound->keys;
    return true;
}

} // namespace

// While somebody listens to the library, a session binds for itself, so that its beginning
// can be followed.
bool bind_editor(tsession_s *s)
{
    prompt_s *p = s->prompt;
    prompt_bind_insert(p, nullptr, nullptr, insert_keys, nullptr);
    prompt_set_print_callback(p, print_to_session, s);
    s->owns_bindings = trace_wants(g_varno_trace_module_id, debug_level) != 0;
    return s->owns_bindings ? bind_commands_and_keys(p) : borrow_bindings(s);
}

// What is borrowed is taken out first: prompt_free releases all that it finds.
void release_editor(tsession_s *s)
{
    if (!s->owns_bindings) {
        s->prompt->commands = nullptr;
        s->prompt->keys = nullptr;
    }
    prompt_free(s->prompt);
}

void release_shared_bindings(tsession_shared_s *shared)
{
    if (shared->bound)
        prompt_free(shared->bound);
}

void insert_character(tsession_s *s, char c)
{
    if (prompt_is_full(s->prompt)) {
        if (!std::exchange(s->is_overlong, true))
            ring(s);
        return;
    }
    prompt_insert_char_at_cursor(s->prompt, c);
}

void begin_line(tsession_s *s)
{
    prompt_history_reset_state(s->prompt);
    prompt_clear_command(s->prompt);
    settle_scroll(s);
    s->edit_count++; // a Tab is the first of its line
    s->is_overlong = false;
    if (s->aside)
        s->aside->has_typed = false;
}

Aside *aside_of(tsession_s *s)
{
    if (!s->aside)
        s->aside = static_cast<Aside *>(tracked_calloc(1, sizeof(Aside), "Aside"));
    return s->aside;
}

// An empty line needs no place. Returns false without memory: then it stays where it is.
bool put_line_aside(tsession_s *s)
{
    if (s->prompt->ps.buf_used == 0 && !s->aside)
        return true;
    Aside *aside = aside_of(s);
    if (!aside)
        return false;
    aside->typed = s->prompt->ps;
    aside->has_typed = true;
    aside->is_overlong = s->is_overlong;
    return true;
}

void bring_line_back(tsession_s *s)
{
    Aside *aside = s->aside;
    if (!aside || !aside->has_typed) {
        prompt_clear_command(s->prompt);
        s->is_overlong = false;
        return;
    }
    prompt_set_content(s->prompt, &aside->typed);
    prompt_set_dirty(s->prompt);
    s->is_overlong = aside->is_overlong;
    aside->has_typed = false;
}

} // namespace varno
