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

constexpr int help_column = 18;
constexpr int debug_level = 7; // of the library's traces

// So much of lists one call may bring about: a key costs its sender a byte.
constexpr size_t most_listed = output_capacity;

// Commands are bound once for many sessions: they find theirs through the print callback
// of its prompt, which is set once and for all.
tsession_s *session_of(const prompt_s *p)
{
    return static_cast<tsession_s *>(p->pinfo.print_ctx);
}

// Help, completion, errors

void print_choice(void *user, const cli_pnode_s *, const char *text, const char *help)
{
    auto *s = static_cast<tsession_s *>(user);
    s->listed += std::strlen(text) + std::strlen(help);
    write_text(s, "  ");
    write_clean(s, text, std::strlen(text));
    if (*help) {
        const auto len = static_cast<int>(std::min<size_t>(std::strlen(text), help_column));
        char gap[help_column + 2];
        std::snprintf(gap, std::size(gap), "%*s", std::max(help_column - len, 1), "");
        write_text(s, gap);
        write_clean(s, help, std::strlen(help));
    }
    write_text(s, "\n");
}

bool is_in_quotes(const pstate *ps)
{
    return cli_assist_in_quotes(ps->buf, ps->cursor_location) != 0;
}

void list_choices(tsession_s *s)
{
    if (s->listed > most_listed)
        return;
    const pstate &ps = s->prompt->ps;
    leave_row(s);
    cli_assist_help(s->graph, nullptr, ps.buf, ps.cursor_location, print_choice, s);
}

int expand_token(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    if (!s->graph || is_in_quotes(ps))
        prompt_insert_char_at_cursor(p, '?');
    else
        list_choices(s);
    return 0;
}

void insert_text(prompt_s *p, const char *text)
{
    for (; *text; text++)
        prompt_insert_char_at_cursor(p, *text);
}

// The first Tab completes as far as it can; a second one right behind it lists.
// Inside quotes a Tab is text; a row has no place for one but as a blank.
int complete_token(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    const bool is_second = s->last_tab + 1 == s->edit_count && s->tab_used == ps->buf_used;
    cli_assist_completion_s completion;
    if (is_in_quotes(ps))
        prompt_insert_char_at_cursor(p, ' ');
    else if (cli_assist_complete(s->graph, nullptr, ps->buf, ps->cursor_location, &completion) ==
                 0 &&
             completion.insert_len > 0)
        insert_text(p, completion.insert);
    else if (is_second)
        list_choices(s);
    s->last_tab = s->edit_count;
    s->tab_used = ps->buf_used;
    return 0;
}

// The line again, cut so that the place shows, and a caret under it.
void point_at(tsession_s *s, const char *line, int32_t at)
{
    constexpr int32_t indent = 2;
    const int32_t room = s->columns - 1 - indent;
    const int32_t from = at < room ? 0 : at - room / 2;
    const size_t shown = strnlen(line + from, static_cast<size_t>(room));
    write_text(s, "  ");
    write_clean(s, line + from, shown);
    write_text(s, "\n");
    for (int32_t column = indent + at - from; column > 0; column--)
        write_text(s, " ");
}

void explain(tsession_s *s, const char *line, const cli_assist_error_s &error)
{
    point_at(s, line, error.at);
    write_text(s, "^ ");
    write_text(s, cli_assist_strreason(error.reason));
    write_text(s, "\n");
    if (s->listed <= most_listed)
        cli_assist_candidates(s->graph, nullptr, line, &error, INT32_MAX, print_choice, s);
}

// Execution

void call_line(tsession_s *s, const char *line, const cli_pnode_s *action, cli_pmatch_s *matches)
{
    if (!s->line_fn)
        return;
    const bool was_in_command = std::exchange(s->is_in_command, true);
    s->line_fn(s, s->user, line, action, matches);
    s->is_in_command = was_in_command;
}

void run_matched(tsession_s *s, const char *line)
{
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    const cli_pnode_s *action = cli_assist_parse(s->graph, nullptr, line, &matches, &error);
    if (!action) {
        if (error.reason != CLI_ASSIST_EMPTY)
            explain(s, line, error);
        return;
    }
    try {
        call_line(s, line, action, matches);
    } catch (...) {
        cli_match_free(matches);
        throw;
    }
    cli_match_free(matches);
}

// The command works on a copy: it may ask for another line.
int execute(prompt_s *p, pstate *ps, const char *, void *, void *)
{
    tsession_s *s = session_of(p);
    leave_row(s);
    char line[sizeof(pstate::buf)];
    std::memcpy(line, ps->buf, std::size(line));
    prompt_history_add(p, 1); // without memory the line is not remembered
    prompt_history_reset_state(p);
    prompt_clear_command(p);
    if (s->graph)
        run_matched(s, line);
    else
        call_line(s, line, nullptr, nullptr);
    run_pager(s);
    return 0;
}

int accept_token(prompt_s *p, pstate *, const char *, void *, void *)
{
    prompt_insert_char_at_cursor(p, ' ');
    return 0;
}

int drop_typed_line(prompt_s *p, pstate *, const char *, void *, void *)
{
    interrupt(session_of(p), TSESSION_INTERRUPT);
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
    prompt_clear_command(s->prompt);
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
    {"accept-token",        accept_token},
    {"expand-token",        expand_token},
    {"complete-token",      complete_token},
    {"execute",             execute},
    {"redisplay",           redisplay},
    {"echo",                echo},
    {"invoke",              invoke},
    {"execute-and-restore", execute_and_restore},
    {"drop-line",           drop_typed_line},
    {"swallow",             do_nothing},
    {nullptr,               nullptr},
};

// A key by itself.
template <mkey_t key>
constexpr mkey_t one[] = {key, 0};

constexpr mkey_t ctrl(char letter) { return static_cast<mkey_t>(letter - '@'); }

// Command name and key, beyond the default key map. Ctrl-D on an empty line never
// comes here.
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
    {nullptr,                    nullptr},
};
// clang-format on

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

bool bind_commands_and_keys(prompt_s *p)
{
    return bind_builtins(p) && prompt_util_bind_commands(p, session_commands, nullptr) == 0 &&
           prompt_util_bind_keys(p, ostra_keys, nullptr) == 0 &&
           prompt_util_bind_keys(p, session_keys, nullptr) == 0 && mc_optimize(p->keys) == 0;
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
    prompt_util_bind_insert(p);
    prompt_set_print_callback(p, print_to_session, s);
    s->owns_bindings = trace_wants(g_varno_trace_module_id, debug_level) != 0;
    return s->owns_bindings ? bind_commands_and_keys(p) : borrow_bindings(s);
}

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

} // namespace varno
