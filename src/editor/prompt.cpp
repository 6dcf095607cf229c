// The prompt context: its life, its settings, and the dispatch of keys to text and
// commands. What the names and sequences are bound to is in bindings.cpp, what a
// command does to the line in edit_state.cpp, how the row is drawn in redraw.cpp.

#include <varno/prompt.h>

#include <cstring>

#include "char_class.h"
#include "contract.h"
#include "editor/insertion.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt";

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
    // The empty queue of history.cpp: the head stands for an entry at both ends.
    p->history.cqh_first = reinterpret_cast<prompt_history_s *>(&p->history);
    p->history.cqh_last = p->history.cqh_first;
    prompt_set_guard_left(p, "$");
    prompt_set_guard_right(p, "$");
    prompt_set_prompt_empty(p, ">");
    prompt_set_prompt_normal(p, ">");
    // Nothing is on the terminal yet that a difference could be taken to; so only the
    // full redraw is asked for, and the setters' dirty mark goes.
    p->flags = PROMPT_FLAG_REDRAW;
    return p;
}

// The host's records, such as callbacks' contexts, are its own; so are, by contract, the
// texts of the history.
void prompt_free(prompt_s *p)
{
    VARNO_ASSERT(p);
    prompt_init_commands(p);
    prompt_history_clear(p);
    tracked_free(p, "prompt_s");
}

// An empty guard is allowed and takes no column.
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

// The copy takes at most 30 characters and adds a terminator, so that the longest
// prompt fills its field of 31 and is shown whole.
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

// A size that no row can be drawn in is stored all the same: a host may learn the
// size in several messages, and only the redraw needs it to make sense.
void prompt_set_dimension(prompt_s *p, int width, int height)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(width >= 0);
    VARNO_ASSERT(height >= 0);
    p->width = width;
    p->height = height;
    prompt_set_dirty(p);
}

// Each returns the function that was set before, so that a host can put its own in between
// for a while; the context to it is the host's to remember.
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

// Kept for the host alone: all output of the editor is the print callback's.
prompt_putc_fn prompt_set_putc_callback(prompt_s *p, prompt_putc_fn fn, void *ctx)
{
    VARNO_ASSERT(p);
    prompt_putc_fn before = p->pinfo.putc_fn;
    p->pinfo.putc_fn = fn;
    p->pinfo.putc_ctx = ctx;
    return before;
}

namespace {

// Where the keys at the front of a run lead: to the end of a bound sequence, some way
// along one, or nowhere.
struct Match {
    const mc_node_s *complete; // that end, or NULL
    int32_t len;               // the number of keys that lead to it
    bool is_prefix;            // there is no end yet, and the next keys may lead to one
};

Match match_binding(prompt_s *p, const mkey_t *buf, int buflen)
{
    // An insert callback that was just called can have dropped all bindings.
    VARNO_ASSERT(p && buf && buflen > 0 && p->keys);
    mc_node_s *first_complete = nullptr;
    mc_node_s *longest_match = nullptr;
    int32_t first_complete_len = 0;
    int32_t longest_match_len = 0;
    mc_search_exact(p->keys, buf, buflen, 0, &first_complete, &first_complete_len, nullptr, nullptr,
                    &longest_match, &longest_match_len);
    if (first_complete)
        VARNO_ASSERT(first_complete_len > 0);
    else if (longest_match)
        VARNO_ASSERT(longest_match_len == buflen);
    return {first_complete, first_complete_len, longest_match != nullptr};
}

} // namespace

// At most one command runs per call, so that the host comes to act between two: a
// command may have executed the line, asked a question or dropped the bindings, and
// the keys after it are then for somebody else. A run that ends in the middle of a
// sequence leaves all keys of the sequence to the caller: the editor holds no input
// of its own, so nothing is lost when a host takes the keys elsewhere.
int prompt_consume(prompt_s *p, const mkey_t *buf, int buflen)
{
    VARNO_ASSERT(p && buf && buflen > 0);
    int i = 0;
    while (i < buflen) {
        // Text goes in one piece up to the next key that a binding begins with.
        const int plain = p->keys ? mc_nodestrstr(p->keys, buf + i, buflen - i) : -1;
        if (plain != 0) {
            const int run = plain < 0 ? buflen - i : plain;
            prompt_insert_string(p, buf + i, run);
            i += run;
            if (i == buflen)
                break;
        }
        const Match match = match_binding(p, buf + i, buflen - i);
        if (match.complete) {
            const auto *l = static_cast<const prompt_clink_s *>(mc_node_value(match.complete));
            VARNO_ASSERT(l->command);
            const auto &inv = l->command->inv;
            if (inv.callback)
                inv.callback(p, &p->ps, inv.invoke_name, inv.context, l->argument);
            return i + match.len;
        }
        if (match.is_prefix)
            return i;
        // The key begins a sequence that the keys after it leave. It alone is taken as
        // text, since one of those may begin another sequence. Most such keys are ESC,
        // which is not printable and so is dropped.
        prompt_insert_char(p, buf[i++]);
    }
    return i;
}

// A string-insert callback gets every key: what it makes of them is its own affair.
void prompt_insert_string(prompt_s *p, const mkey_t *buf, int buflen)
{
    VARNO_ASSERT(p && buf && buflen > 0);
    if (p->insert.string_fn) {
        p->insert.string_fn(p, &p->ps, insert_invocation, p->insert.string_ctx, nullptr, buf,
                            buflen);
        prompt_set_dirty(p);
    } else if (p->insert.char_fn) {
        for (int i = 0; i < buflen; i++)
            prompt_insert_char(p, buf[i]);
    }
}

// A character-insert callback takes what it is given for a character of the line, so
// keys that are none are held back here.
void prompt_insert_char(prompt_s *p, mkey_t key)
{
    VARNO_ASSERT(p);
    if (!p->insert.char_fn || !is_text(key))
        return;
    p->insert.char_fn(p, &p->ps, insert_invocation, p->insert.char_ctx, nullptr, &key, 1);
    prompt_set_dirty(p);
}

// Marks nothing: a host that swaps a line in and out again wants no redraw for it, and
// one that replaces the line says so with prompt_set_dirty.
void prompt_set_content(prompt_s *p, const pstate *s)
{
    VARNO_ASSERT(p && s);
    p->ps = *s;
}
