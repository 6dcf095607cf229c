// The history: lines that a host has added, newest first, and browsing them into the
// edit state.

#include <varno/prompt.h>

#include <cstring>
#include <iterator>

#include "contract.h"

namespace {

constexpr char source_name[] = "prompt_manip";

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

// Loads the entry unless it is the queue's head: there is no older or newer one.
void browse_to(prompt_s *p, prompt_history_s *t, int restore_cursor)
{
    if (t == history_end(p))
        return;
    p->history_browse = t;
    prompt_history_set_prompt(p, t, restore_cursor);
}

} // namespace

// A line is compared with the newest entry only: the same command again and again takes
// one entry, and the history stays the order in which things were done. Makes room before
// it asks for memory, so that the count never passes the limit; without memory the oldest
// entry is then gone all the same.
int prompt_history_add(prompt_s *p, int check_dups)
{
    VARNO_ASSERT(p);
    prompt_history_s *end = history_end(p);
    prompt_history_s *newest = p->history.cqh_first;
    if (p->ps.buf_used < 1)
        return 0;
    if (check_dups && newest != end && std::strcmp(p->ps.buf, newest->command) == 0)
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
    t->prev = end;
    t->next = p->history.cqh_first;
    (t->next == end ? p->history.cqh_last : t->next->prev) = t;
    p->history.cqh_first = t;
    p->history_count++;
    return 0;
}

// What was being typed is not kept: browsing never comes back to it, neither here nor in
// prompt_history_next, which stays on the newest entry. A host that wants it back copies
// it before the first call.
void prompt_history_previous(prompt_s *p, int restore_cursor)
{
    VARNO_ASSERT(p);
    if (p->history_count == 0)
        return;
    prompt_history_s *t = p->history.cqh_first;
    if (p->history_browse)
        t = p->history_browse->next;
    else
        VARNO_ASSERT_AS(t && t != history_end(p), "t = p->history.cqh_first");
    browse_to(p, t, restore_cursor);
}

void prompt_history_next(prompt_s *p, int restore_cursor)
{
    VARNO_ASSERT(p);
    if (p->history_count == 0 || !p->history_browse)
        return;
    browse_to(p, p->history_browse->prev, restore_cursor);
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
    // One less than the buffer, for the terminator that the copy adds. The line is made
    // whole before a cut is reported, since the assertion may leave by an exception.
    const int cut = strlcpy2(ps->buf, t->command, std::size(ps->buf) - 1);
    ps->buf_used = static_cast<int32_t>(std::strlen(ps->buf));
    ps->cursor_location = restore_cursor ? t->cursor_location : ps->buf_used;
    prompt_set_dirty(p);
    VARNO_ASSERT_AS(!cut, "!strlcpy2(p->ps.buf, t->command, sizeof(p->ps.buf))");
}

// For prompt_free alone: the text copies stay with the allocator, count and browse
// position keep their values. A host that opens and closes prompts releases the copies
// itself beforehand.
void prompt_history_clear(prompt_s *p)
{
    VARNO_ASSERT(p);
    while (p->history.cqh_first != history_end(p)) {
        prompt_history_s *t = p->history.cqh_first;
        unlink_history(p, t);
        tracked_free(t, "BYTE");
    }
}
