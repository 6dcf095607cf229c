// Lines: running them, saying what is wrong with them, and listing what may be typed.

#include <varno/cli_assist.h>
#include <varno/varno.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "session.h"

namespace varno {
namespace {

constexpr int32_t help_column = 18;

// So many rows of a list one call writes at most where nothing is paged.
constexpr int32_t rows_a_part = 64;

// A live value may have a line feed, and what it says after that would look like another choice.
void write_on_row(tsession_s *s, const char *text)
{
    while (*text) {
        const size_t len = std::strcspn(text, "\n\t");
        write_clean(s, text, len);
        text += len;
        if (*text) {
            write_text(s, "?");
            text++;
        }
    }
}

void write_choice(tsession_s *s, const char *text, const char *help)
{
    write_text(s, "  ");
    write_on_row(s, text);
    if (*help) {
        for (int32_t column = columns_of(text); column < help_column - 1; column++)
            write_text(s, " ");
        write_text(s, " ");
        write_on_row(s, help);
    }
    write_text(s, "\n");
}

// The choices [from, to), while the page has room.
struct Listing {
    tsession_s *s;
    int32_t from;
    int32_t to;
    int32_t seen;
};

void list_choice(void *user, const cli_pnode_s *, const char *text, const char *help)
{
    auto &listing = *static_cast<Listing *>(user);
    const int32_t number = listing.seen++;
    if (number < listing.from || number >= listing.to)
        return;
    write_choice(listing.s, text, help);
    if (is_resting(listing.s) &&
        listing.s->pager.rows_left <= 0) // a choice may take more than one row
        listing.to = listing.seen;
}

// A part of a list, as the producer of a long output. The graph may change between two
// pages: each part looks the choices up again.
int write_list(tsession_s *s, void *, void *, int is_cancelled)
{
    if (is_cancelled)
        return TSESSION_DONE;
    const pstate &ps = s->prompt->ps;
    Listing listing = {s, s->pager.listed, s->pager.listed + rows_a_part, 0};
    cli_assist_help(s->graph, s->filter, ps.buf, ps.cursor_location, list_choice, &listing);
    if (listing.seen == 0)
        ring(s);
    s->pager.listed = listing.to;
    return listing.seen > listing.to ? TSESSION_MORE : TSESSION_DONE;
}

// The host may have a text of its own for the reason, which begins the last row.
const char *set_reason(const tsession_s *s, const cli_assist_error_s &error)
{
    const bool is_known = error.reason >= 0 && error.reason <= CLI_ASSIST_TOO_LONG;
    return s->texts && is_known && !*error.why ? s->texts->reasons[error.reason] : nullptr;
}

// Of many candidates half a screen shows: the line and its caret stay in sight.
void explain(tsession_s *s, const char *line, const cli_assist_error_s &error)
{
    char text[1024];
    cli_assist_format_error(line, &error, s->columns, text, sizeof(text));
    if (const char *reason = set_reason(s, error)) {
        write_text(s, text, static_cast<size_t>(std::strrchr(text, '%') - text));
        write_text(s, "% ");
        write_text(s, reason);
        write_text(s, "\n");
    } else {
        write_text(s, text);
    }
    const int32_t room = std::max(s->rows / 2, 1);
    const int32_t count =
        cli_assist_candidates(s->graph, s->filter, line, &error, 0, nullptr, nullptr);
    const int32_t shown = count <= room ? count : room - 1;
    Listing listing = {s, 0, shown, 0};
    cli_assist_candidates(s->graph, s->filter, line, &error, shown, list_choice, &listing);
    if (count > shown) {
        char more[64];
        std::snprintf(more, std::size(more), "  and %d more, which ? lists\n", count - shown);
        write_text(s, more);
    }
}

// A command may run another line of its own: the inner one leaves the flag as it was.
void call_line(tsession_s *s, const char *line, const cli_pnode_s *action, cli_pmatch_s *matches)
{
    if (!s->line_fn)
        return;
    const bool was_in_command = std::exchange(s->is_in_command, true);
    s->line_fn(s, s->user, line, action, matches);
    s->is_in_command = was_in_command;
}

// A blank line is no mistake of the person who pressed Enter on it. What the parser has
// handed out goes back also when the callback throws.
int32_t run_matched(tsession_s *s, const char *line)
{
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    const cli_pnode_s *action = cli_assist_parse(s->graph, s->filter, line, &matches, &error);
    if (!action) {
        if (error.reason == CLI_ASSIST_EMPTY)
            return error.reason;
        if (s->refused_fn)
            s->refused_fn(s, s->user, line, &error);
        explain(s, line, error);
        return error.reason;
    }
    try {
        call_line(s, line, action, matches);
    } catch (...) {
        cli_match_free(matches);
        throw;
    }
    cli_match_free(matches);
    return CLI_ASSIST_OK;
}

// So that a file of commands may be pasted as it is.
bool is_comment(const char *line)
{
    line += std::strspn(line, " ");
    return *line == '!' || *line == '#';
}

bool is_blank(const char *line)
{
    return line[std::strspn(line, " ")] == '\0';
}

int32_t refuse_long_line(tsession_s *s)
{
    write_text(s, text_of(s, &tsession_texts_s::long_line));
    write_text(s, "\n");
    return CLI_ASSIST_TOO_LONG;
}

} // namespace

int32_t run_line(tsession_s *s, const char *line)
{
    int32_t result = CLI_ASSIST_OK;
    if (!s->is_in_command)
        s->command_rows = 0;
    if (std::strlen(line) >= line_capacity)
        result = refuse_long_line(s);
    else if (!s->graph)
        call_line(s, line, nullptr, nullptr);
    else if (!is_comment(line))
        result = run_matched(s, line);
    run_pager(s);
    return result;
}

// The command works on a copy: it may ask for another line. It can say what is to be
// remembered, which so happens after it.
void run_typed_line(tsession_s *s)
{
    leave_entered_row(s);
    s->is_turn_over = true;
    char line[line_capacity];
    std::memcpy(line, s->prompt->ps.buf, sizeof(line));
    const bool is_overlong = s->is_overlong;
    begin_line(s);
    if (is_overlong) {
        refuse_long_line(s);
        return;
    }
    char remembered[line_capacity];
    std::memcpy(remembered, line, sizeof(line));
    if (is_blank(line))
        *remembered = '\0';
    char *const outer = std::exchange(s->running_line, remembered);
    try {
        run_line(s, line);
    } catch (...) {
        s->running_line = outer;
        throw;
    }
    s->running_line = outer;
    if (*remembered)
        remember(s, remembered); // without memory the line is not remembered
}

// The line stays where it is, and is drawn again below its choices.
void list_choices(tsession_s *s)
{
    leave_row(s);
    if (begin_pager(s, write_list, nullptr) == 0)
        run_pager(s);
}

} // namespace varno
