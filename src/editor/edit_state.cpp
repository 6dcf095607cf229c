// The edit state: every primitive that reads or changes the line. Nothing here draws,
// and a pstate_ function knows of no screen; a prompt_ twin is its pstate_ function and
// the dirty flag, by which the next redraw knows that there is something to do.
// What is removed is not kept: there is no buffer to yank from.
//
// Only white space ends a word. Addresses, paths and interface names, which is what a
// device's lines are made of, are then one word each, whatever punctuation they have.

#include <varno/prompt.h>

#include <algorithm>
#include <cstring>

#include "char_class.h"
#include "contract.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt_manip";

void terminate(pstate *ps, int32_t at)
{
    ps->buf[at] = '\0';
    ps->buf_used = at;
}

// Moves what stands from `from` on down to `to`; the cursor keeps its index.
void close_gap(pstate *ps, int32_t to, int32_t from)
{
    std::memmove(ps->buf + to, ps->buf + from, static_cast<size_t>(ps->buf_used - from));
    terminate(ps, ps->buf_used - (from - to));
}

// The cursor is asked about too: a chop can leave it past the line's end.
bool has_room_at_cursor(const pstate *ps)
{
    return ps->buf_used <= 254 && ps->cursor_location <= 254;
}

int32_t index_in(const pstate *ps, const char *at)
{
    return static_cast<int32_t>(at - ps->buf);
}

// The first index from `at` on that is white space or the line's end.
int32_t word_end(const pstate *ps, int32_t at)
{
    while (at < ps->buf_used && !is_space(ps->buf[at]))
        at++;
    return at;
}

int32_t space_end(const pstate *ps, int32_t at)
{
    while (at < ps->buf_used && is_space(ps->buf[at]))
        at++;
    return at;
}

// The nearest index from `at` back that is white space, -1 when there is none.
int32_t space_before(const pstate *ps, int32_t at)
{
    while (at >= 0 && !is_space(ps->buf[at]))
        at--;
    return at;
}

} // namespace

// The check is the one that finds a record overwritten from outside: everything here trusts
// the count.
int prompt_used(prompt_s *p)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(p->ps.buf_used < (int) sizeof(p->ps.buf));
    return p->ps.buf_used;
}

int prompt_cursor_location(prompt_s *p)
{
    VARNO_ASSERT(p);
    return p->ps.cursor_location;
}

// No copy: hosts parse the line where it stands. It is theirs to read until the next edit.
char *prompt_command(prompt_s *p)
{
    VARNO_ASSERT(p);
    return p->ps.buf;
}

// One byte of the buffer is the terminator's.
int pstate_is_full(pstate *ps)
{
    VARNO_ASSERT(ps);
    return ps->buf_used > 254;
}

int prompt_is_full(prompt_s *p)
{
    VARNO_ASSERT(p);
    return pstate_is_full(&p->ps);
}

int pstate_cursor_is_at_end(pstate *ps)
{
    VARNO_ASSERT(ps);
    return ps->cursor_location == ps->buf_used;
}

int prompt_cursor_is_at_end(prompt_s *p)
{
    VARNO_ASSERT(p);
    return pstate_cursor_is_at_end(&p->ps);
}

// The cursor stays, so that a host can fill a line in without moving the user.
void pstate_append_character(pstate *s, char c)
{
    VARNO_ASSERT(s);
    VARNO_ASSERT(s->buf_used + 1 <= 255);
    s->buf[s->buf_used] = c;
    terminate(s, s->buf_used + 1);
}

void prompt_append_character(prompt_s *p, char c)
{
    VARNO_ASSERT(p);
    pstate_append_character(&p->ps, c);
    prompt_set_dirty(p);
}

void prompt_set_dirty(prompt_s *p)
{
    VARNO_ASSERT(p);
    p->flags |= PROMPT_FLAG_DIRTY;
}

void pstate_set_cursor_location(pstate *ps, int new_location)
{
    VARNO_ASSERT(ps);
    VARNO_ASSERT(new_location >= 0 && new_location <= ps->buf_used);
    ps->cursor_location = new_location;
}

// Marks the line though only the cursor moves, as every twin does. The redraw then builds a
// row equal to the one shown, finds no difference, and moves the cursor.
void prompt_set_cursor_location(prompt_s *p, int new_location)
{
    VARNO_ASSERT(p);
    pstate_set_cursor_location(&p->ps, new_location);
    prompt_set_dirty(p);
}

// The cursor keeps its index even where that is then past the line's end: how it is to
// move depends on which side of it the characters stood, which the caller knows. The
// last two checks hold the record itself to its invariants.
int pstate_chop(pstate *ps, int at, int len)
{
    VARNO_ASSERT(ps);
    VARNO_ASSERT(at >= 0 && at < ps->buf_used);
    VARNO_ASSERT_AS(len <= ps->buf_used - at, "at + len <= ps->buf_used");
    VARNO_ASSERT(len > 0 && len <= ps->buf_used);
    const int32_t loc = ps->cursor_location;
    const int a = (int) strlen(ps->buf);
    close_gap(ps, at, at + len);
    VARNO_ASSERT(loc == ps->cursor_location);
    VARNO_ASSERT(a - len == (int) strlen(ps->buf));
    return a - len;
}

int prompt_chop(prompt_s *p, int at, int len)
{
    VARNO_ASSERT(p);
    const int left = pstate_chop(&p->ps, at, len);
    prompt_set_dirty(p);
    return left;
}

// The cursor is held to the buffer, not to the line: one that a chop left past the line's
// end makes the line as long as that again. Whoever chops moves the cursor first.
void pstate_delete_to_eol(pstate *ps)
{
    VARNO_ASSERT(ps);
    VARNO_ASSERT(ps->cursor_location >= 0 && ps->cursor_location <= 255);
    terminate(ps, ps->cursor_location);
}

void prompt_delete_to_eol(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate_delete_to_eol(&p->ps);
    prompt_set_dirty(p);
}

// Twinless: what is deleted is on the left of the cursor, so that the cursor moves, and a
// line with nothing there is left unmarked.
void prompt_delete_to_bol(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    if (ps->buf_used < 1 || ps->cursor_location == 0)
        return;
    prompt_set_dirty(p);
    // A chop leaves the cursor where it was, which may be past the line's end.
    close_gap(ps, 0, std::min(ps->cursor_location, ps->buf_used));
    ps->cursor_location = 0;
}

// More than there is means all there is: a count is often a key held down.
void pstate_delete(pstate *ps, int number)
{
    VARNO_ASSERT(ps);
    VARNO_ASSERT(number > 0);
    if (pstate_cursor_is_at_end(ps))
        return;
    if (number > ps->buf_used - ps->cursor_location)
        pstate_delete_to_eol(ps);
    else
        pstate_chop(ps, ps->cursor_location, number);
}

// The mark depends on where the cursor was, which is to be known before the deletion.
void prompt_delete(prompt_s *p, int number)
{
    VARNO_ASSERT(p);
    const bool at_end = pstate_cursor_is_at_end(&p->ps);
    pstate_delete(&p->ps, number);
    if (!at_end)
        prompt_set_dirty(p);
}

// Marks the line even when nothing stood before the cursor; the redraw then finds no
// difference and writes nothing.
void prompt_backspace(prompt_s *p, int number)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(number > 0);
    pstate *ps = &p->ps;
    const int32_t n = ps->cursor_location - number;
    if (pstate_cursor_is_at_end(ps)) {
        // Most backspaces come here: there is nothing to move down.
        terminate(ps, n < 1 ? 0 : n);
        ps->cursor_location = ps->buf_used;
    } else if (n < 0) {
        prompt_delete_to_bol(p);
    } else {
        pstate_chop(ps, n, number);
        ps->cursor_location = n;
    }
    prompt_set_dirty(p);
}

// Does not check its argument, alone with prompt_compact_whitespace: their callers hold a
// line already, and a check would be a text that no tool of a host knows.
void pstate_clear_command(pstate *ps)
{
    ps->cursor_location = 0;
    terminate(ps, 0);
}

void prompt_clear_command(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate_clear_command(&p->ps);
    // An empty line has no column to scroll to, and building its model insists on that.
    p->display_offset = 0;
    prompt_set_dirty(p);
}

// By index, for hosts that edit elsewhere than at the cursor. The cursor keeps its index:
// whether it belongs before or after a character at its own place only the caller knows.
void pstate_insert_character(pstate *s, int location, char c)
{
    VARNO_ASSERT(s);
    VARNO_ASSERT(location >= 0 && location <= 255);
    VARNO_ASSERT(!pstate_is_full(s));
    if (location == s->buf_used) {
        pstate_append_character(s, c);
        return;
    }
    VARNO_ASSERT(location < s->buf_used);
    char *at = s->buf + location;
    std::memmove(at + 1, at, static_cast<size_t>(s->buf_used - location) + 1);
    *at = c;
    s->buf_used++;
}

void prompt_insert_character(prompt_s *p, int location, char c)
{
    VARNO_ASSERT(p);
    pstate_insert_character(&p->ps, location, c);
    prompt_set_dirty(p);
}

// A full line is no error here, unlike where an index is given: this is how typing and
// pasting arrive, and what a user types must not be able to break a precondition.
void pstate_insert_char_at_cursor(pstate *ps, char c)
{
    VARNO_ASSERT(ps);
    if (!has_room_at_cursor(ps))
        return;
    pstate_insert_character(ps, ps->cursor_location, c);
    ps->cursor_location++;
}

void prompt_insert_char_at_cursor(prompt_s *p, char c)
{
    VARNO_ASSERT(p);
    if (!has_room_at_cursor(&p->ps))
        return;
    pstate_insert_char_at_cursor(&p->ps, c);
    prompt_set_dirty(p);
}

// Takes what fits, as typing the same bytes would. Without a twin: a host that fills a line
// in marks it once when it is done.
void pstate_insert_char_str(pstate *ps, const char *s, int n)
{
    VARNO_ASSERT(ps);
    VARNO_ASSERT(s || n <= 0);
    for (int i = 0; i < n; i++)
        pstate_insert_char_at_cursor(ps, s[i]);
}

// Of a run the first character is kept as it is: a tab stays a tab, since nothing that
// was typed is turned into something else. The cursor keeps its index rather than its
// character; only one that would be past the end moves.
void prompt_compact_whitespace(prompt_s *p)
{
    pstate *ps = &p->ps;
    int32_t kept = 0;
    bool after_space = true; // so that what the line begins with goes
    for (int32_t i = 0; i < ps->buf_used; i++) {
        const char c = ps->buf[i];
        const bool space = is_space(c);
        if (!space || !after_space)
            ps->buf[kept++] = c;
        after_space = space;
    }
    if (kept > 0 && is_space(ps->buf[kept - 1]))
        kept--;
    terminate(ps, kept);
    if (ps->cursor_location > kept)
        ps->cursor_location = kept;
    prompt_set_dirty(p);
}

// Lands on a word's first character, where typing puts text before the word. From there
// the search begins one to the left, so that pressing again goes on to the word before.
// Moves by words mark nothing: the redraw sees by itself that the cursor alone has moved,
// and need not build the row.
void prompt_word_back(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    const int32_t cursor = ps->cursor_location;
    if (cursor <= 0)
        return;
    const char *q = spanws_back(ps->buf, is_space(ps->buf[cursor - 1]) ? cursor - 1 : cursor);
    if (!q)
        return;
    ps->cursor_location = space_before(ps, index_in(ps, q)) + 1;
    VARNO_ASSERT(p->ps.cursor_location >= 0);
}

// Goes one past the word's end, onto the next word where single blanks separate them, and
// at the line's end onto its end. In a wider gap it stops after the first blank.
void prompt_word_forward(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    const char *q = spanws(ps->buf, ps->cursor_location);
    if (!q)
        return;
    const int32_t end = word_end(ps, index_in(ps, q));
    ps->cursor_location = end < ps->buf_used ? end + 1 : ps->buf_used;
}

// Unlike prompt_word_back this stops at the white space before the word and takes that
// character along: "show ip|" becomes "show|", a line as it was before the word was typed,
// which completes and executes as such. For the same reason the search begins at the
// cursor itself: at the line's end that is the terminator, no character. With the cursor
// on a word's first character only the blank before it goes, which joins two words.
void prompt_delete_word_back(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    if (ps->buf_used < 1 || ps->cursor_location <= 0)
        return;
    const char *q = spanws_back(ps->buf, ps->cursor_location);
    if (!q) {
        prompt_delete_to_bol(p);
        return;
    }
    const int32_t stopped = space_before(ps, index_in(ps, q));
    const int32_t start = stopped < 0 ? 0 : stopped;
    if (start == ps->cursor_location)
        return;
    const int32_t len = ps->cursor_location - start;
    VARNO_ASSERT(len > 0);
    prompt_chop(p, start, len);
    ps->cursor_location -= len;
    VARNO_ASSERT(p->ps.cursor_location >= 0);
}

// The white space between cursor and word stays and that after the word goes, so that the
// next word moves up to where this one stood and pressing again removes it.
void prompt_delete_word_fwd(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    if (ps->cursor_location >= ps->buf_used)
        return;
    const char *q = spanws(ps->buf, ps->cursor_location);
    if (!q) {
        prompt_delete_to_eol(p);
        return;
    }
    const int32_t start = index_in(ps, q);
    const int32_t len = space_end(ps, word_end(ps, start)) - start;
    if (len == 0)
        return;
    VARNO_ASSERT(len > 0);
    prompt_chop(p, start, len);
}

// The word is the one that the cursor is in or touches, so that both work right after
// typing it. The cursor stays.
int prompt_word_case(prompt_s *p, int upper)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    int start = 0;
    int len = 0;
    const int failed =
        string_get_cursor_token(ps->buf, ps->buf_used, ps->cursor_location, &start, &len);
    if (failed)
        return failed;
    for (char *c = ps->buf + start; c < ps->buf + start + len; c++)
        *c = upper ? to_upper(*c) : to_lower(*c);
    prompt_set_dirty(p);
    return 0;
}

// The other characters stay: a name may have capitals of its own.
int prompt_capitalize_word(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    int start = 0;
    int len = 0;
    const int failed =
        string_get_cursor_token(ps->buf, ps->buf_used, ps->cursor_location, &start, &len);
    if (failed)
        return failed;
    ps->buf[start] = to_upper(ps->buf[start]);
    prompt_set_dirty(p);
    return 0;
}

// Reserved for moves by what a word means to the parser. Bound in the default key map, so
// that their keys are not taken for text meanwhile.
void prompt_contextual_back(prompt_s *p)
{
    VARNO_ASSERT(p);
}

void prompt_contextual_fwd(prompt_s *p)
{
    VARNO_ASSERT(p);
}

// The rest of the line keeps its leading blank: it is the token's arguments, and where
// they begin tells a command that there are any.
int prompt_token_extract(prompt_s *p, int start, char *out_token, int token_len, int *out_token_len)
{
    VARNO_ASSERT(p && out_token && out_token_len);
    VARNO_ASSERT(start >= 0 && start <= p->ps.buf_used);
    if (token_len > 0) // a buffer of no bytes is not written to
        *out_token = '\0';
    *out_token_len = 0;
    int end = 0;
    int first = 0;
    if (token_find_bounds(p->ps.buf + start, &first, &end))
        return -1;
    end += start;
    start += first;
    VARNO_ASSERT(token_len > end - start);

    // The bounds are the token's own in the line, quotes and backslashes included, since it
    // is the line that is cut. The line ends at the token's end for the copy, so that a cut is
    // one of the token.
    const char after = p->ps.buf[end];
    p->ps.buf[end] = '\0';
    const int cut = strlcpy2(out_token, p->ps.buf + start, (size_t) (end - start));
    p->ps.buf[end] = after;
    VARNO_ASSERT_AS(!cut, "!strlcpy2(out_token, p->ps.buf + start, (size_t) (end - start))");

    *out_token_len = end - start;
    prompt_chop(p, 0, end);
    const int32_t cursor = p->ps.cursor_location;
    p->ps.cursor_location = cursor > end ? cursor - end : 0;
    return 0;
}

// A plain copy, so that it may lie on the caller's stack. Where the row is scrolled to is no
// part of the line and none of the copy.
void prompt_snapshot(prompt_s *p, pstate *snapshot_ps, uint32_t *snapshot_ps_dirt)
{
    VARNO_ASSERT(p && snapshot_ps && snapshot_ps_dirt);
    *snapshot_ps = p->ps;
    *snapshot_ps_dirt = p->flags;
}

// The flags are replaced, not merged: a line that is put back needs no redraw for what
// happened to it in between. A caller that wants a flag to outlive this keeps it itself.
void prompt_snapshot_restore(prompt_s *p, const pstate *snapshot_ps, uint32_t dirt)
{
    VARNO_ASSERT(p && snapshot_ps);
    p->flags = dirt;
    p->ps = *snapshot_ps;
}

// Output begins on a row of its own, since the line being edited stays to be seen above.
void prompt_start_output(prompt_s *p)
{
    VARNO_ASSERT(p);
    if (p->pinfo.print_fn)
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "%s", "\r\n");
}

// What the model says of the terminal no longer holds: there is nothing to compare with.
void prompt_finish_output(prompt_s *p)
{
    VARNO_ASSERT(p);
    p->flags |= PROMPT_FLAG_REDRAW;
}
