// Lines that were run: remembering them, and searching them backward.

#include <varno/platform.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "session.h"

namespace varno {
namespace {

constexpr mkey_t ctrl_g = 7;
constexpr mkey_t ctrl_h = 8;
constexpr mkey_t ctrl_r = 18;

// A history of long lines is shorter, so that the memory of many sessions stays bounded.
constexpr size_t average_line = 160;

const prompt_history_s *end_of_history(const prompt_s *p)
{
    return reinterpret_cast<const prompt_history_s *>(&p->history);
}

// The next entry after number `from`, the newest being 1, that has the pattern. Returns
// its number and loads it into the line; 0 when there is none.
int32_t find_older(tsession_s *s, int32_t from)
{
    prompt_s *p = s->prompt;
    int32_t number = 0;
    for (prompt_history_s *entry = p->history.cqh_first; entry != end_of_history(p);
         entry = entry->next) {
        const char *found = std::strstr(entry->command, s->aside->pattern);
        if (++number <= from || !found)
            continue;
        prompt_history_set_prompt(p, entry, 0);
        prompt_set_cursor_location(p, static_cast<int>(found - entry->command));
        return number;
    }
    return 0;
}

void look_for(tsession_s *s, int32_t from)
{
    const int32_t found = find_older(s, from);
    if (found > 0)
        s->aside->found = found;
    else
        ring(s);
}

// A longer pattern is looked for from what shows, a shorter one from the newest line on.
void change_pattern(tsession_s *s, mkey_t key)
{
    Aside &aside = *s->aside;
    if (key >= ' ' && key < 127) {
        if (aside.pattern_len == static_cast<int32_t>(std::size(aside.pattern)) - 1)
            return ring(s);
        aside.pattern[aside.pattern_len++] = static_cast<char>(key);
        aside.pattern[aside.pattern_len] = '\0';
        look_for(s, std::max(aside.found - 1, 0)); // what shows may have the longer one, too
    } else if (aside.pattern_len > 0) {
        aside.pattern[--aside.pattern_len] = '\0';
        if (aside.pattern_len > 0)
            look_for(s, 0);
    } else {
        ring(s);
    }
}

void forget_entry(prompt_s *p, prompt_history_s *entry)
{
    const prompt_history_s *end = end_of_history(p);
    (entry->prev == end ? p->history.cqh_first : entry->prev->next) = entry->next;
    (entry->next == end ? p->history.cqh_last : entry->next->prev) = entry->prev;
    tracked_free(entry->command, "BYTE*");
    tracked_free(entry, "BYTE");
    p->history_count--;
    prompt_history_reset_state(p);
}

// The newest line stays, whatever it is.
void forget_too_much(prompt_s *p)
{
    const size_t most =
        std::max<size_t>(static_cast<size_t>(p->history_limit) * average_line, line_capacity);
    size_t bytes = 0;
    for (const prompt_history_s *entry = p->history.cqh_first; entry != end_of_history(p);
         entry = entry->next)
        bytes += std::strlen(entry->command);
    while (bytes > most) {
        bytes -= std::strlen(p->history.cqh_last->command);
        forget_entry(p, p->history.cqh_last);
    }
}

} // namespace

// The editor remembers what it edits: the line takes that place for the call, and what was
// being typed comes back with its flags.
int remember(tsession_s *s, const char *line)
{
    prompt_s *p = s->prompt;
    if (!s->remembers)
        return -1;
    const pstate typed = p->ps;
    const uint32_t flags = p->flags;
    pstate entry = {};
    entry.buf_used = static_cast<int32_t>(std::strlen(line));
    entry.cursor_location = entry.buf_used;
    std::memcpy(entry.buf, line, static_cast<size_t>(entry.buf_used));
    prompt_set_content(p, &entry);
    const int result = prompt_history_add(p, 1);
    prompt_snapshot_restore(p, &typed, flags);
    forget_too_much(p);
    return result;
}

// prompt_history_clear leaves the texts to its caller.
void forget_history(tsession_s *s)
{
    prompt_s *p = s->prompt;
    for (prompt_history_s *entry = p->history.cqh_first; entry != end_of_history(p);
         entry = entry->next)
        tracked_free(entry->command, "BYTE*");
    prompt_history_clear(p);
    prompt_history_reset_state(p);
    p->history_count = 0;
}

// The library has no call for one entry: it is taken out of the ring by hand, and a line
// that is being browsed may be this one.
bool forget_newest(tsession_s *s)
{
    prompt_s *p = s->prompt;
    if (p->history.cqh_first == end_of_history(p))
        return false;
    forget_entry(p, p->history.cqh_first);
    return true;
}

void begin_search(tsession_s *s)
{
    if (!aside_of(s))
        return ring(s);
    hide_row(s);
    s->aside->before_search = s->prompt->ps;
    s->aside->was_overlong_before_search = s->is_overlong;
    s->aside->pattern[0] = '\0';
    s->aside->pattern_len = 0;
    s->aside->found = 0;
    s->mode = Mode::search;
}

void end_search(tsession_s *s)
{
    hide_row(s);
    s->mode = Mode::line;
    s->aside->pattern[0] = '\0';
    s->aside->pattern_len = 0;
}

// Enter and all keys of the editor are taken by it, on the line that was found.
bool search_key(tsession_s *s, mkey_t key)
{
    const bool is_erase = key == VIRTKEY_DELETE || key == ctrl_h || key == VIRTKEY_BACKSPACE;
    if (key == ctrl_g) {
        end_search(s);
        prompt_set_content(s->prompt, &s->aside->before_search);
        prompt_set_dirty(s->prompt);
        s->is_overlong = s->aside->was_overlong_before_search;
        settle_scroll(s);
        return true;
    }
    if (key == ctrl_r || is_erase || (key >= ' ' && key < 127)) {
        hide_row(s);
        if (key != ctrl_r)
            change_pattern(s, key);
        else if (s->aside->pattern_len > 0)
            look_for(s, s->aside->found);
        else
            ring(s);
        return true;
    }
    end_search(s);
    if (s->aside->found > 0)
        s->is_overlong = false;
    return false;
}

// (search)'ip': show ip route. Where that has no room, the pattern shows its end, and
// the line begins near the place that was found; a narrow row leaves the title out.
int32_t search_row(const tsession_s *s, char *row, int32_t columns)
{
    const char *title = columns < 19 ? "" : "(search)";
    const auto frame = static_cast<int32_t>(std::strlen(title)) + 4; // '': and a blank
    const Aside &aside = *s->aside;
    const pstate &ps = s->prompt->ps;
    const int32_t pattern_columns = std::clamp(columns - frame - 8, 1, 20);
    const int32_t pattern_from = std::max(aside.pattern_len - pattern_columns, 0);
    const int32_t line_columns = std::max(columns - frame - (aside.pattern_len - pattern_from), 0);
    const int32_t place_end = ps.cursor_location + aside.pattern_len;
    const int32_t most = std::max(ps.buf_used - line_columns, 0); // a part fills the row
    const int32_t line_from = std::clamp(place_end - line_columns, 0, most);
    return std::snprintf(row, static_cast<size_t>(columns) + 1, "%s'%s': %.*s", title,
                         aside.pattern + pattern_from, line_columns, ps.buf + line_from);
}

} // namespace varno
