// The edit state: every primitive that reads or changes the line, and the
// history that loads lines into it. Nothing here draws; a prompt_ twin is its
// pstate_ function and the dirty flag.

#include <varno/prompt.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "char_class.h"
#include "contract.h"

namespace {

using varno::is_space;

constexpr char source_name[] = "prompt_manip";

constexpr int32_t max_used = sizeof(pstate::buf) - 1;

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

bool has_room_at_cursor(const pstate *ps)
{
    return ps->buf_used < max_used && ps->cursor_location < max_used;
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

inline void append_character(pstate *s, char c)
{
    VARNO_ASSERT(s->buf_used + 1 <= 255);
    s->buf[s->buf_used] = c;
    terminate(s, s->buf_used + 1);
}

inline void insert_character(pstate *s, int location, char c)
{
    VARNO_ASSERT(location >= 0 && location <= 255);
    VARNO_ASSERT_AS(s->buf_used <= 254, "!pstate_is_full(s)");
    if (location == s->buf_used) {
        append_character(s, c);
        return;
    }
    VARNO_ASSERT(location < s->buf_used);
    char *at = s->buf + location;
    std::memmove(at + 1, at, static_cast<size_t>(s->buf_used - location) + 1);
    *at = c;
    s->buf_used++;
}

// Returns whether there was room for it.
inline bool insert_char_at_cursor(pstate *ps, char c)
{
    if (!has_room_at_cursor(ps))
        return false;
    insert_character(ps, ps->cursor_location, c);
    ps->cursor_location++;
    return true;
}

} // namespace

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

char *prompt_command(prompt_s *p)
{
    VARNO_ASSERT(p);
    return p->ps.buf;
}

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

void pstate_append_character(pstate *s, char c)
{
    VARNO_ASSERT(s);
    append_character(s, c);
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

void prompt_set_cursor_location(prompt_s *p, int new_location)
{
    VARNO_ASSERT(p);
    pstate_set_cursor_location(&p->ps, new_location);
    prompt_set_dirty(p);
}

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

void prompt_delete_to_bol(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate *ps = &p->ps;
    if (ps->buf_used < 1 || ps->cursor_location == 0)
        return;
    prompt_set_dirty(p);
    // A chop leaves the cursor where it was, which may be behind the line's end.
    close_gap(ps, 0, std::min(ps->cursor_location, ps->buf_used));
    ps->cursor_location = 0;
}

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

void prompt_delete(prompt_s *p, int number)
{
    VARNO_ASSERT(p);
    const bool at_end = pstate_cursor_is_at_end(&p->ps);
    pstate_delete(&p->ps, number);
    if (!at_end)
        prompt_set_dirty(p);
}

void prompt_backspace(prompt_s *p, int number)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(number > 0);
    pstate *ps = &p->ps;
    const int32_t n = ps->cursor_location - number;
    if (pstate_cursor_is_at_end(ps)) {
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

void pstate_clear_command(pstate *ps)
{
    ps->cursor_location = 0;
    terminate(ps, 0);
}

void prompt_clear_command(prompt_s *p)
{
    VARNO_ASSERT(p);
    pstate_clear_command(&p->ps);
    p->display_offset = 0;
    prompt_set_dirty(p);
}

void pstate_insert_character(pstate *s, int location, char c)
{
    VARNO_ASSERT(s);
    insert_character(s, location, c);
}

void prompt_insert_character(prompt_s *p, int location, char c)
{
    VARNO_ASSERT(p);
    pstate_insert_character(&p->ps, location, c);
    prompt_set_dirty(p);
}

void pstate_insert_char_at_cursor(pstate *ps, char c)
{
    VARNO_ASSERT(ps);
    insert_char_at_cursor(ps, c);
}

void prompt_insert_char_at_cursor(prompt_s *p, char c)
{
    VARNO_ASSERT(p);
    if (insert_char_at_cursor(&p->ps, c))
        prompt_set_dirty(p);
}

void pstate_insert_char_str(pstate *ps, const char *s, int n)
{
    VARNO_ASSERT(ps);
    VARNO_ASSERT(s || n <= 0);
    for (int i = 0; i < n; i++)
        insert_char_at_cursor(ps, s[i]);
}

void prompt_compact_whitespace(prompt_s *p)
{
    pstate *ps = &p->ps;
    int32_t kept = 0;
    bool after_space = true;
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

// One white-space character before the word goes with it, unlike in the move by words.
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
        *c = upper ? varno::to_upper(*c) : varno::to_lower(*c);
    prompt_set_dirty(p);
    return 0;
}

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
    ps->buf[start] = varno::to_upper(ps->buf[start]);
    prompt_set_dirty(p);
    return 0;
}

void prompt_contextual_back(prompt_s *p)
{
    VARNO_ASSERT(p);
}

void prompt_contextual_fwd(prompt_s *p)
{
    VARNO_ASSERT(p);
}

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

    // The copy stops at the token's end, so that it can report a cut.
    const char behind = p->ps.buf[end];
    p->ps.buf[end] = '\0';
    const int cut = strlcpy2(out_token, p->ps.buf + start, (size_t) (end - start));
    p->ps.buf[end] = behind;
    VARNO_ASSERT_AS(!cut, "!strlcpy2(out_token, p->ps.buf + start, (size_t) (end - start))");

    *out_token_len = end - start;
    prompt_chop(p, 0, end);
    const int32_t cursor = p->ps.cursor_location;
    p->ps.cursor_location = cursor > end ? cursor - end : 0;
    return 0;
}

void prompt_snapshot(prompt_s *p, pstate *snapshot_ps, uint32_t *snapshot_ps_dirt)
{
    VARNO_ASSERT(p && snapshot_ps && snapshot_ps_dirt);
    *snapshot_ps = p->ps;
    *snapshot_ps_dirt = p->flags;
}

void prompt_snapshot_restore(prompt_s *p, const pstate *snapshot_ps, uint32_t dirt)
{
    VARNO_ASSERT(p && snapshot_ps);
    p->flags = dirt;
    p->ps = *snapshot_ps;
}

void prompt_start_output(prompt_s *p)
{
    VARNO_ASSERT(p);
    if (p->pinfo.print_fn)
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "%s", "\r\n");
}

void prompt_finish_output(prompt_s *p)
{
    VARNO_ASSERT(p);
    p->flags |= PROMPT_FLAG_REDRAW;
}

namespace {

// The queue's head stands in for an entry at both ends; only its address is used.
prompt_history_s *history_end(prompt_s *p)
{
    return reinterpret_cast<prompt_history_s *>(&p->history);
}

void unlink_history(prompt_s *p, prompt_history_s *t)
{
    const prompt_history_s *end = history_end(p);
    (t->next == end ? p->history.cqh_last : t->next->prev) = t->prev;
    (t->prev == end ? p->history.cqh_first : t->prev->next) = t->next;
}

void link_newest_history(prompt_s *p, prompt_history_s *t)
{
    prompt_history_s *end = history_end(p);
    t->prev = end;
    t->next = p->history.cqh_first;
    (t->next == end ? p->history.cqh_last : t->next->prev) = t;
    p->history.cqh_first = t;
}

void drop_oldest_history(prompt_s *p)
{
    prompt_history_s *t = p->history.cqh_last == history_end(p) ? nullptr : p->history.cqh_last;
    VARNO_ASSERT(t);
    unlink_history(p, t);
    if (p->history_browse == t)
        p->history_browse = nullptr;
    tracked_free(t->command, "BYTE*");
    tracked_free(t, "BYTE");
    p->history_count--;
}

bool repeats_newest_history(prompt_s *p)
{
    const prompt_history_s *newest = p->history.cqh_first;
    return newest != history_end(p) && std::strcmp(p->ps.buf, newest->command) == 0;
}

void browse_history(prompt_s *p, prompt_history_s *t, int restore_cursor)
{
    p->history_browse = t;
    prompt_history_set_prompt(p, t, restore_cursor);
}

} // namespace

int prompt_history_add(prompt_s *p, int check_dups)
{
    VARNO_ASSERT(p);
    if (p->ps.buf_used < 1)
        return 0;
    if (check_dups && repeats_newest_history(p))
        return 0;
    if (p->history_limit != 0 && p->history_count >= p->history_limit)
        drop_oldest_history(p);

    auto *t = static_cast<prompt_history_s *>(tracked_calloc(1, sizeof(prompt_history_s), "BYTE"));
    if (!t)
        return -1;
    t->command = tracked_strdup(p->ps.buf, "BYTE*");
    if (!t->command) {
        tracked_free(t, "BYTE");
        return -1;
    }
    t->cursor_location = p->ps.cursor_location;
    link_newest_history(p, t);
    p->history_count++;
    return 0;
}

// What was being typed is not kept: browsing never comes back to it.
void prompt_history_previous(prompt_s *p, int restore_cursor)
{
    VARNO_ASSERT(p);
    if (p->history_count == 0)
        return;
    prompt_history_s *t;
    if (p->history_browse) {
        t = p->history_browse->next;
    } else {
        t = p->history.cqh_first;
        VARNO_ASSERT_AS(t && t != history_end(p), "t = p->history.cqh_first");
    }
    if (t != history_end(p))
        browse_history(p, t, restore_cursor);
}

void prompt_history_next(prompt_s *p, int restore_cursor)
{
    VARNO_ASSERT(p);
    if (p->history_count == 0 || !p->history_browse)
        return;
    prompt_history_s *t = p->history_browse->prev;
    if (t != history_end(p))
        browse_history(p, t, restore_cursor);
}

void prompt_history_reset_state(prompt_s *p)
{
    VARNO_ASSERT(p);
    p->history_browse = nullptr;
}

void prompt_history_set_prompt(prompt_s *p, prompt_history_s *t, int restore_cursor)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(t);
    pstate *ps = &p->ps;
    // One less than the buffer, for the terminator that the copy adds.
    const int cut = strlcpy2(ps->buf, t->command, std::size(ps->buf) - 1);
    ps->buf_used = static_cast<int32_t>(std::strlen(ps->buf));
    ps->cursor_location = restore_cursor ? t->cursor_location : ps->buf_used;
    prompt_set_dirty(p);
    VARNO_ASSERT_AS(!cut, "!strlcpy2(p->ps.buf, t->command, sizeof(p->ps.buf))");
}

// For prompt_free alone: the text copies stay with the allocator, count and
// browse position keep their values.
void prompt_history_clear(prompt_s *p)
{
    VARNO_ASSERT(p);
    while (p->history.cqh_first != history_end(p)) {
        prompt_history_s *t = p->history.cqh_first;
        unlink_history(p, t);
        tracked_free(t, "BYTE");
    }
}
