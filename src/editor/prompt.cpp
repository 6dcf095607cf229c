// The prompt context: its settings, commands and key bindings, the dispatch of
// keys to text and commands, and the redraw of its row. What a command does to the
// line is prompt_manip's, what a row looks like is prompt_model's.

#include <varno/prompt.h>

#include <cstring>

#include "char_class.h"
#include "contract.h"
#include "keys/trie_lookup.h"
#include "editor/insertion.h"
#include "editor/row_model.h"

namespace {

constexpr char source_name[] = "prompt";

void reset_history(prompt_s *p)
{
    auto *end = reinterpret_cast<prompt_history_s *>(&p->history);
    p->history.cqh_first = end;
    p->history.cqh_last = end;
}

bool is_insert_name(const char *invoke_name)
{
    return *invoke_name == varno::insert_invocation[0] &&
           (std::strcmp(invoke_name, varno::insert_invocation) == 0 ||
            std::strcmp(invoke_name, "insert-string") == 0);
}

// Found or new, a record goes to the head without being unlinked from where it
// may stand: a name that is registered twice leaves the list running in a circle.
void push_command(prompt_s *p, prompt_command_s *t)
{
    t->next = p->commands;
    if (t->next)
        t->next->pprev = &t->next;
    p->commands = t;
    t->pprev = &p->commands;
}

// Of a name: its length, and what stands at its beginning and its end. Two commands
// rarely have the same, so that a look-up compares no name but the one it is after.
uint32_t mark_of(const char *invoke_name, size_t len)
{
    const auto last = static_cast<unsigned char>(len > 0 ? invoke_name[len - 1] : '\0');
    if (len < sizeof(uint32_t))
        return static_cast<uint32_t>(len << 8) + last;
    uint32_t front;
    uint32_t back;
    std::memcpy(&front, invoke_name, sizeof(front));
    std::memcpy(&back, invoke_name + len - sizeof(back), sizeof(back));
    return (front * 31 + back) * 31 + static_cast<uint32_t>(len);
}

prompt_command_s *create_command(const char *invoke_name)
{
    auto *t = static_cast<prompt_command_s *>(
        tracked_calloc(1, sizeof(prompt_command_s), "prompt_command_s"));
    if (!t)
        return nullptr;
    t->inv.invoke_name = tracked_strdup(invoke_name, "BYTE");
    if (!t->inv.invoke_name) {
        tracked_free(t, "prompt_command_s");
        return nullptr;
    }
    t->name_mark = mark_of(invoke_name, std::strlen(invoke_name));
    return t;
}

void free_newest_command(prompt_s *p)
{
    prompt_command_s *temp = p->commands;
    VARNO_ASSERT(temp->refct == 0);
    p->commands = temp->next;
    if (temp->next)
        temp->next->pprev = &p->commands;
    tracked_free(temp->inv.invoke_name, "BYTE");
    tracked_free(temp, "prompt_command_s");
}

prompt_clink_s *create_link(prompt_command_s *command, void *argument)
{
    auto *link =
        static_cast<prompt_clink_s *>(tracked_calloc(1, sizeof(prompt_clink_s), "prompt_clink_s"));
    if (link) {
        link->command = command;
        link->argument = argument;
    }
    return link;
}

// The release routine of the binding trie's values.
void free_link(void *value, void *ctx)
{
    auto *clink = static_cast<prompt_clink_s *>(value);
    const auto *p = static_cast<prompt_s *>(ctx);
    VARNO_ASSERT(clink && p);
    if (clink->command) {
        VARNO_ASSERT(clink->command->refct > 0);
        clink->command->refct--;
    }
    tracked_free(clink, "prompt_clink_s");
}

// Where the keys at the front of a run lead.
inline varno::Walk match_binding(prompt_s *p, const mkey_t *buf, int buflen)
{
    VARNO_ASSERT(p && buf && buflen > 0 && p->keys);
    const varno::Walk walk = varno::walk_exact(p->keys, buf, buflen);
    if (walk.complete) {
        VARNO_ASSERT_AS(walk.len > 0, "first_complete_len > 0");
    } else if (walk.goes_on) {
        VARNO_ASSERT_AS(walk.len == buflen, "longest_match_len == buflen");
    }
    return walk;
}

// As prompt_insert_string, for a run that is not empty.
inline void insert_run(prompt_s *p, const mkey_t *buf, int buflen)
{
    if (p->insert.string_fn) {
        p->insert.string_fn(p, &p->ps, varno::insert_invocation, p->insert.string_ctx, nullptr, buf,
                            buflen);
        prompt_set_dirty(p);
    } else if (p->insert.char_fn) {
        for (int i = 0; i < buflen; i++)
            prompt_insert_char(p, buf[i]);
    }
}

void run_command(prompt_s *p, const mc_node_s *binding)
{
    const auto *l = static_cast<prompt_clink_s *>(binding->value);
    VARNO_ASSERT(l->command);
    const auto &inv = l->command->inv;
    if (inv.callback)
        inv.callback(p, &p->ps, inv.invoke_name, inv.context, l->argument);
}

} // namespace

prompt_s *prompt_create(void)
{
    auto *p = static_cast<prompt_s *>(tracked_calloc(1, sizeof(prompt_s), "prompt_s"));
    if (!p)
        return nullptr;
    p->width = 80;
    p->height = 25;
    p->history_limit = 100;
    p->scroll_step = 8;
    reset_history(p);
    prompt_set_guard_left(p, "$");
    prompt_set_guard_right(p, "$");
    prompt_set_prompt_empty(p, ">");
    prompt_set_prompt_normal(p, ">");
    p->flags = PROMPT_FLAG_REDRAW; // the setters have marked it dirty
    return p;
}

void prompt_free(prompt_s *p)
{
    VARNO_ASSERT(p);
    prompt_init_commands(p);
    prompt_history_clear(p);
    tracked_free(p, "prompt_s");
}

void prompt_set_guard_left(prompt_s *p, const char *guard)
{
    VARNO_ASSERT(p && guard && strlen(guard) < 5);
    VARNO_ASSERT(!strlcpy2(p->disp.left, guard, 5));
    p->disp.left_len = static_cast<int32_t>(std::strlen(p->disp.left));
    prompt_set_dirty(p);
}

void prompt_set_guard_right(prompt_s *p, const char *guard)
{
    VARNO_ASSERT(p && guard && strlen(guard) < 5);
    VARNO_ASSERT(!strlcpy2(p->disp.right, guard, 5));
    p->disp.right_len = static_cast<int32_t>(std::strlen(p->disp.right));
    prompt_set_dirty(p);
}

void prompt_set_prompt_empty(prompt_s *p, const char *prompt)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(prompt);
    VARNO_ASSERT(strlen(prompt) <= 30);
    VARNO_ASSERT(!strlcpy2(p->disp.empty, prompt, 30));
    p->disp.empty_len = static_cast<int32_t>(std::strlen(p->disp.empty));
    prompt_set_dirty(p);
}

void prompt_set_prompt_normal(prompt_s *p, const char *prompt)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(prompt);
    VARNO_ASSERT(strlen(prompt) <= 30);
    VARNO_ASSERT(!strlcpy2(p->disp.normal, prompt, 30));
    p->disp.normal_len = static_cast<int32_t>(std::strlen(p->disp.normal));
    prompt_set_dirty(p);
}

void prompt_set_dimension(prompt_s *p, int width, int height)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(width >= 0);
    VARNO_ASSERT(height >= 0);
    p->width = width;
    p->height = height;
    prompt_set_dirty(p);
}

prompt_print_fn prompt_set_print_callback(prompt_s *p, prompt_print_fn fn, void *ctx)
{
    VARNO_ASSERT(p);
    prompt_print_fn before = p->pinfo.print_fn;
    p->pinfo.print_fn = fn;
    p->pinfo.print_ctx = ctx;
    return before;
}

prompt_flush_fn prompt_set_flush_callback(prompt_s *p, prompt_flush_fn fn, void *ctx)
{
    VARNO_ASSERT(p);
    prompt_flush_fn before = p->pinfo.flush_fn;
    p->pinfo.flush_fn = fn;
    p->pinfo.flush_ctx = ctx;
    return before;
}

prompt_putc_fn prompt_set_putc_callback(prompt_s *p, prompt_putc_fn fn, void *ctx)
{
    VARNO_ASSERT(p);
    prompt_putc_fn before = p->pinfo.putc_fn;
    p->pinfo.putc_fn = fn;
    p->pinfo.putc_ctx = ctx;
    return before;
}

int prompt_bind_insert(prompt_s *p, prompt_insert_fn char_fn, void *char_ctx,
                       prompt_insert_fn string_fn, void *string_ctx)
{
    VARNO_ASSERT(p);
    p->insert = {char_fn, char_ctx, string_fn, string_ctx};
    return 0;
}

int prompt_bind_command(prompt_s *p, const char *invoke_name, prompt_command_fn callback,
                        void *context)
{
    VARNO_ASSERT(p && invoke_name);
    if (is_insert_name(invoke_name))
        return -1;
    prompt_command_s *t = prompt_get_command(p, invoke_name);
    if (!t)
        t = create_command(invoke_name);
    if (!t)
        return -1;
    t->inv.callback = callback;
    t->inv.context = context;
    push_command(p, t);
    return 0;
}

prompt_command_s *prompt_get_command(prompt_s *p, const char *invoke_name)
{
    VARNO_ASSERT(p && invoke_name);
    const size_t len = std::strlen(invoke_name);
    const uint32_t mark = mark_of(invoke_name, len);
    for (prompt_command_s *t = p->commands; t; t = t->next) {
        VARNO_ASSERT(t->inv.invoke_name);
        if (t->name_mark == mark && std::strcmp(t->inv.invoke_name, invoke_name) == 0)
            return t;
    }
    return nullptr;
}

int prompt_bind_keys(prompt_s *p, const char *invoke_name, const mkey_t *s, int nkeys,
                     void *argument)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(s);
    if (!p->keys)
        p->keys = mc_root_alloc();
    if (!p->keys)
        return -1;
    prompt_command_s *command = prompt_get_command(p, invoke_name);
    if (!command)
        return -1;
    prompt_clink_s *link = create_link(command, argument);
    if (!link)
        return -1;
    if (mc_addstring(p->keys, s, nkeys, 0, link) < 0) {
        tracked_free(link, "prompt_clink_s");
        return -1;
    }
    command->refct++;
    return 0;
}

void prompt_init_keys(prompt_s *p)
{
    VARNO_ASSERT(p);
    // Let go first: an assertion on the way must not leave a half-freed trie behind.
    mc_node_s *keys = p->keys;
    p->keys = nullptr;
    mc_root_free(keys, free_link, p);
}

void prompt_init_commands(prompt_s *p)
{
    VARNO_ASSERT(p);
    prompt_init_keys(p);
    p->insert = {};
    while (p->commands)
        free_newest_command(p);
}

int prompt_consume(prompt_s *p, const mkey_t *buf, int buflen)
{
    VARNO_ASSERT(p && buf && buflen > 0);
    if (!p->keys) {
        prompt_insert_string(p, buf, buflen);
        return buflen;
    }
    int i = 0;
    while (i < buflen) {
        const int plain = varno::first_bound(p->keys, buf + i, buflen - i);
        if (plain != 0) {
            const int run = plain < 0 ? buflen - i : plain;
            insert_run(p, buf + i, run);
            i += run;
            if (i == buflen)
                break;
        }
        const varno::Walk match = match_binding(p, buf + i, buflen - i);
        if (match.complete) {
            run_command(p, match.complete);
            return i + match.len;
        }
        if (match.goes_on)
            return i;
        prompt_insert_char(p, buf[i++]);
        if (i < buflen && !p->keys) { // the callback has dropped the bindings
            insert_run(p, buf + i, buflen - i);
            return buflen;
        }
    }
    return i;
}

void prompt_insert_string(prompt_s *p, const mkey_t *buf, int buflen)
{
    VARNO_ASSERT(p && buf && buflen > 0);
    insert_run(p, buf, buflen);
}

// A string-insert callback gets every key: what it makes of them is its own affair.
void prompt_insert_char(prompt_s *p, mkey_t key)
{
    VARNO_ASSERT(p);
    if (!p->insert.char_fn || !varno::is_text(key))
        return;
    p->insert.char_fn(p, &p->ps, varno::insert_invocation, p->insert.char_ctx, nullptr, &key, 1);
    prompt_set_dirty(p);
}

void prompt_set_content(prompt_s *p, const pstate *s)
{
    VARNO_ASSERT(p && s);
    p->ps = *s;
}

void prompt_redraw(prompt_s *p)
{
    VARNO_ASSERT(p);
    if (p->flags & PROMPT_FLAG_REDRAW) {
        prompt_draw(p, 1);
    } else if (p->flags == 0 && prompt_model_check_cursor_scroll(p, prompt_active_model(p)) == 0) {
        prompt_redraw_cursor(p);
    } else {
        varno::redraw_line(p);
    }
    p->flags = 0;
}

void prompt_draw(prompt_s *p, int update)
{
    VARNO_ASSERT(p);
    prompt_move_term_cursor_to_bol(p);
    if (update)
        prompt_update_model_and_prompt(p, prompt_active_model(p));
    prompt_print_model(p);
    p->flags = 0;
}

void prompt_redraw_cursor(prompt_s *p)
{
    VARNO_ASSERT(p);
    prompt_model_s *mod = prompt_active_model(p);
    const int32_t desired_loc = p->ps.cursor_location - p->display_offset + mod->margin_left;
    const int32_t old_loc = mod->virtual_cursor;
    if (desired_loc > old_loc) {
        VARNO_ASSERT(desired_loc - old_loc < p->width);
        prompt_move_term_cursor_forward(p, desired_loc - old_loc);
    } else if (desired_loc < old_loc) {
        VARNO_ASSERT(old_loc - desired_loc < p->width);
        prompt_move_term_cursor_back(p, old_loc - desired_loc);
    }
    varno::flush(p);
    mod->virtual_cursor = desired_loc;
}

void prompt_move_term_cursor_forward(prompt_s *p, int amount)
{
    VARNO_ASSERT(p);
    if (!p->pinfo.print_fn || amount <= 0)
        return;
    const prompt_model_s *mod = prompt_active_model(p);
    p->pinfo.print_fn(p, p->pinfo.print_ctx, "%.*s", amount,
                      varno::row_from(mod, mod->virtual_cursor));
}

void prompt_move_term_cursor_back(prompt_s *p, int amount)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(amount > 0);
    const prompt_print_fn print_fn = p->pinfo.print_fn;
    if (!print_fn)
        return;
    void *print_ctx = p->pinfo.print_ctx;
    for (int i = 0; i < amount; i++)
        print_fn(p, print_ctx, "%c", '\b');
}

void prompt_move_term_cursor_to_bol(prompt_s *p)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(p->pinfo.print_fn);
    p->pinfo.print_fn(p, p->pinfo.print_ctx, "%c", '\r');
}

void prompt_term_whiteout(prompt_s *p, int len)
{
    VARNO_ASSERT(p && len >= 0);
    if (len > 0 && p->pinfo.print_fn)
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "%*s", len, "");
}
