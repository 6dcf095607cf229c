// The editing commands under their names: thin callbacks over the primitives, and
// the commands that run other commands or print. Each callback insists on being
// called under its own name, so that a table row cannot be mixed up unnoticed; a host
// that wants another name for one registers a callback of its own that calls it.
//
// A key can be pressed anywhere. So where a primitive has a precondition that depends
// on the cursor, the command asks first and does nothing where it does not hold.

#include <varno/prompt.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "char_class.h"
#include "contract.h"
#include "editor/insertion.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt_builtin";

void check_invocation(const prompt_s *p, const pstate *ps, const char *invoked, const char *name)
{
    VARNO_ASSERT(p && ps && invoked);
    VARNO_ASSERT(strcmp(invoked, name) == 0);
}

// What inserts text reports its arguments one by one: these callbacks are called from
// more places than the dispatch of keys, and the text tells which argument was missing.
void check_insertion(const prompt_s *p, const pstate *ps, const char *invoked, const char *name)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(ps);
    VARNO_ASSERT(invoked);
    VARNO_ASSERT(strcmp(invoked, name) == 0);
}

// To standard output, not to the print callback: that is for the row, and what it is
// given would have to follow the model. So these commands suit a program with one
// session on its own terminal; a server registers others under their names. Lines end in
// "\n\r" since that terminal is in raw mode, where a line feed alone does not return.
VARNO_PRINTF(2, 3) void say(prompt_s *p, const char *format, ...)
{
    prompt_start_output(p);
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    prompt_finish_output(p);
}

} // namespace

// Command name and routine, in the order in which a host registers them. The order does
// not matter to the editor; tools that list the commands show it.
// clang-format off
const prompt_builtin_s prompt_builtins[28] = {
    {"move-character-back",      p_builtin_charback_cb},
    {"move-character-forward",   p_builtin_charfwd_cb},
    {"history-previous",         p_builtin_histprev_cb},
    {"history-next",             p_builtin_histnext_cb},
    {"move-word-back",           p_builtin_wordback_cb},
    {"move-word-forward",        p_builtin_wordfwd_cb},
    {"move-begin",               p_builtin_bol_cb},
    {"move-end",                 p_builtin_eolr_cb},
    {"delete-character-back",    p_builtin_delcharback_cb},
    {"delete-character-forward", p_builtin_delcharfwd_cb},
    {"delete-word-back",         p_builtin_delwordback_cb},
    {"delete-word-forward",      p_builtin_delwordfwd_cb},
    {"delete-end",               p_builtin_deleol_cb},
    {"delete-begin",             p_builtin_delbol_cb},
    {"delete-command",           p_builtin_delall_cb},
    {"redisplay",                p_builtin_redisplay_cb},
    {"echo",                     p_builtin_echo_cb},
    {"yank-first",               p_builtin_yank_cb},
    {"yank-next",                p_builtin_reyank_cb},
    {"capitalize-word",          p_builtin_capitalize_cb},
    {"toupper-word",             p_builtin_wordupper_cb},
    {"tolower-word",             p_builtin_wordlower_cb},
    {"compact-whitespace",       p_builtin_compact_cb},
    {"move-context-forward",     p_builtin_ctxfwd_cb},
    {"move-context-back",        p_builtin_ctxback_cb},
    {"invoke",                   p_builtin_invoke_cb},
    {"execute-and-restore",      p_builtin_execute_and_restore_cb},
    {nullptr,                    nullptr},
};

// Samples of what a host supplies itself, since only it knows what a line means.
const prompt_builtin_s prompt_builtins_test[5] = {
    {"accept-token",   p_builtin_accept_cb},
    {"expand-token",   p_builtin_expand_cb},
    {"complete-token", p_builtin_complete_cb},
    {"execute",        p_builtin_execute_cb},
    {nullptr,          nullptr},
};
// clang-format on

int p_builtin_charback_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-character-back");
    if (ps->cursor_location > 0)
        prompt_set_cursor_location(p, ps->cursor_location - 1);
    return 0;
}

int p_builtin_charfwd_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-character-forward");
    if (ps->cursor_location < ps->buf_used)
        prompt_set_cursor_location(p, ps->cursor_location + 1);
    return 0;
}

// Browsing leaves the cursor at the line's end, where a recalled line is gone on with or
// executed; where it stood when the line was added helps only hosts that restore it.
int p_builtin_histprev_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "history-previous");
    prompt_history_previous(p, 0);
    return 0;
}

int p_builtin_histnext_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "history-next");
    prompt_history_next(p, 0);
    return 0;
}

// Moves by words leave the line unmarked; see prompt_word_back.
int p_builtin_wordback_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-word-back");
    prompt_word_back(p);
    return 0;
}

int p_builtin_wordfwd_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-word-forward");
    prompt_word_forward(p);
    return 0;
}

// Marked even when the cursor stands there already; the redraw then writes nothing.
int p_builtin_bol_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-begin");
    prompt_set_cursor_location(p, 0);
    return 0;
}

int p_builtin_eolr_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-end");
    prompt_set_cursor_location(p, ps->buf_used);
    return 0;
}

// Asked first, since a backspace marks the line even when there is nothing to erase.
int p_builtin_delcharback_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "delete-character-back");
    if (ps->cursor_location > 0)
        prompt_backspace(p, 1);
    return 0;
}

int p_builtin_delcharfwd_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "delete-character-forward");
    if (ps->cursor_location < ps->buf_used)
        prompt_delete(p, 1);
    return 0;
}

int p_builtin_delwordback_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "delete-word-back");
    prompt_delete_word_back(p);
    return 0;
}

int p_builtin_delwordfwd_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "delete-word-forward");
    prompt_delete_word_fwd(p);
    return 0;
}

// Marked even at the line's end, as its primitive does.
int p_builtin_deleol_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "delete-end");
    prompt_delete_to_eol(p);
    return 0;
}

int p_builtin_delbol_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "delete-begin");
    prompt_delete_to_bol(p);
    return 0;
}

// Also scrolls back to the line's beginning.
int p_builtin_delall_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "delete-command");
    prompt_clear_command(p);
    return 0;
}

// After the line break that every output begins with, so that the old row stays to be
// seen, a row stays empty, and the line is drawn below.
int p_builtin_redisplay_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "redisplay");
    say(p, "\n\r");
    return 0;
}

// The line as the editor holds it, "<>" where its cursor is: what a host looks at when
// the row and the line seem to disagree. It is printed by its length, so that a line
// with a terminator in its middle shows as far as that.
int p_builtin_echo_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "echo");
    say(p, "%.*s<>%.*s%s", ps->cursor_location, ps->buf, ps->buf_used - ps->cursor_location,
        ps->buf + ps->cursor_location, "\n\r");
    return 0;
}

// Both yanks are reserved until something keeps what was deleted. They are registered and
// bound all the same: their keys do nothing then, instead of inserting text.
int p_builtin_yank_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "yank-first");
    return 0;
}

int p_builtin_reyank_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "yank-next");
    return 0;
}

int p_builtin_capitalize_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "capitalize-word");
    prompt_capitalize_word(p);
    return 0;
}

// A cursor that touches no word changes nothing. That is no error of the user's, so what the
// primitive returns is not passed on; nor would anybody look at it.
int p_builtin_wordupper_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "toupper-word");
    prompt_word_case(p, 1);
    return 0;
}

int p_builtin_wordlower_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "tolower-word");
    prompt_word_case(p, 0);
    return 0;
}

// For lines that were pasted: typed ones rarely need it.
int p_builtin_compact_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "compact-whitespace");
    prompt_compact_whitespace(p);
    return 0;
}

// Reserved as the yanks are, until the parser can tell what a word means.
int p_builtin_ctxfwd_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-context-forward");
    prompt_contextual_fwd(p);
    return 0;
}

int p_builtin_ctxback_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "move-context-back");
    prompt_contextual_back(p);
    return 0;
}

// Runs any registered command, bound to a key or not, with what follows its name as the
// line: its arguments, for a command that reads the line. There is no binding to take an
// argument from, so a command that reads that has to expect NULL.
int p_builtin_invoke_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "invoke");
    if (prompt_used(p) < 1) {
        say(p, "Cannot invoke empty command\n\r");
        return 0;
    }
    // An open quote would make one name of the whole rest of the line.
    const char *quote = string_check_quotes(ps->buf);
    if (quote) {
        say(p, "Unmatched opening %c at column %d\n\r", *quote, static_cast<int>(quote - ps->buf));
        return 0;
    }
    char name[sizeof(ps->buf)] = {};
    int len = 0;
    prompt_token_extract(p, 0, name, sizeof(name), &len);
    if (len == 0) {
        say(p, "No tokens in command\n\r");
        return 0;
    }
    const prompt_command_s *command = prompt_get_command(p, name);
    if (!command) {
        // The name is gone from the line; what is left of it would be an odd thing to
        // find in the next one.
        prompt_start_output(p);
        prompt_clear_command(p);
        std::printf("No command for [%s]\t\n\r", name);
        prompt_finish_output(p);
        return 0;
    }
    const auto &inv = command->inv;
    if (inv.callback)
        inv.callback(p, &p->ps, inv.invoke_name, inv.context, nullptr);
    prompt_set_dirty(p); // the name has gone, whatever the command did
    return 0;
}

// The line as it was typed, command name included, is there again afterwards for a second
// try. Output written by the command has moved the terminal on, so its request for a full
// redraw outlives the restore. The scroll is not put back: it belongs to the row, not to
// the line, and the next build of the model settles it.
int p_builtin_execute_and_restore_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "execute-and-restore");
    pstate saved;
    uint32_t saved_flags;
    prompt_snapshot(p, &saved, &saved_flags);
    p_builtin_invoke_cb(p, ps, "invoke", nullptr, nullptr); // the name that it insists on
    const uint32_t redraw = p->flags & PROMPT_FLAG_REDRAW;
    prompt_snapshot_restore(p, &saved, saved_flags);
    p->flags |= redraw;
    return 0;
}

// A blank and no more: what a token is, and whether it is complete, a host's parser knows.
int p_builtin_accept_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_insertion(p, ps, invoked, "accept-token");
    prompt_insert_char_at_cursor(p, ' ');
    return 0;
}

// Both are accepted so that their keys are not taken for text in a demonstration.
int p_builtin_expand_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "expand-token");
    return 0;
}

int p_builtin_complete_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "complete-token");
    return 0;
}

// Finishes the line in the order that a host's own "execute" keeps: run it, while it is
// still there to be read; add it, before it is cleared; end browsing, so that the next
// "history-previous" begins with it; clear it.
int p_builtin_execute_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *)
{
    check_invocation(p, ps, invoked, "execute");
    // Of the whole process, with its exit handlers: a sample's only way out.
    if (std::strcmp(ps->buf, "quit") == 0)
        std::exit(0);
    say(p,
        "Foobie:\r\n    FOO: 1, BAR: 2, XXX: 3\r\n    FOO: 1, BAR: 2, XXX: 3\r\n"
        "By the way, the command was [%s]\n\r",
        ps->buf);
    VARNO_ASSERT(!prompt_history_add(p, 1));
    prompt_history_reset_state(p);
    prompt_clear_command(p);
    return 0;
}

// One key, whatever it is: prompt_insert_char has held back what is no text.
int p_builtin_insert_char_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *,
                             const mkey_t *buf, int32_t buflen)
{
    check_insertion(p, ps, invoked, insert_invocation);
    VARNO_ASSERT(buf);
    VARNO_ASSERT(buflen == 1);
    prompt_insert_char_at_cursor(p, static_cast<char>(*buf));
    return 0;
}

// A run comes as it was typed, so what is no text is left out here. Without a callback for
// characters the prompt takes none, in whatever way they come.
int p_builtin_insert_string_cb(prompt_s *p, pstate *ps, const char *invoked, void *, void *,
                               const mkey_t *buf, int32_t buflen)
{
    check_insertion(p, ps, invoked, insert_invocation);
    VARNO_ASSERT(buflen >= 1);
    VARNO_ASSERT(buf);
    for (int32_t i = 0; i < buflen; i++) {
        if (p->insert.char_fn && is_text(buf[i]))
            prompt_insert_char_at_cursor(p, static_cast<char>(buf[i]));
    }
    return 0;
}
