// Filters: their commands, and rows on their way through them.

#include "pipes.h"

#include "output.h"
#include "shell.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

namespace varno::commands {
namespace {

constexpr char pipe_tag[] = "Pipe";

struct FilterRow {
    cli_command_s command; // level 0, no function
    Filter filter;
    bool documents; // the last word of a filter
};

constexpr cli_command_s filter(const char *syntax, const char *help)
{
    return {syntax, help, nullptr, nullptr, 0, 0, nullptr};
}

// Syntax and help, the filter, whether the row is documentation.
// clang-format off
constexpr FilterRow filter_rows[] = {
    {filter("include PATTERN(pattern)", "the rows that have it"),                Filter::include, false},
    {filter("exclude PATTERN(pattern)", "the rows that do not have it"),         Filter::exclude, false},
    {filter("begin PATTERN(pattern)",   "the first row that has it, and all after it"), Filter::begin, false},
    {filter("section PATTERN(pattern)", "the rows that have it, and what is indented below"), Filter::section, false},
    {filter("count",                    "how many rows there are"),              Filter::count,   false},
    {filter("no-more",                  "all rows, without pages"),              Filter::no_more, false},
    {filter("save NAME [force]",        "into a file"),                          Filter::save,    false},
    {filter("save NAME",                "name of the file"),                     Filter::save,    true},
    {filter("save NAME force",          "over an older file of that name"),      Filter::save,    true},
    {filter("json",                     "as JSON"),                              Filter::json,    false},
};
// clang-format on

constexpr cli_command_s bar_row = filter("|", "filter the output");

const FilterRow *find_filter(const char *word)
{
    for (const FilterRow &row : filter_rows) {
        const size_t len = std::strcspn(row.command.syntax, " ");
        if (std::strlen(word) == len && std::strncmp(row.command.syntax, word, len) == 0)
            return &row;
    }
    return nullptr;
}

// What is written

// The first reason is the one that counts.
void note_why(Pipe &pipe, const char *why)
{
    if (why && !*pipe.why)
        strlcpy2(pipe.why, why, std::size(pipe.why) - 1);
}

void write_bytes(Pipe &pipe, const char *text)
{
    if (!pipe.file) {
        end_progress(pipe.call);
        write_clean(pipe.call->shell, text);
        return;
    }
    const size_t len = std::strlen(text);
    if (pipe.is_broken || len == 0)
        return;
    const char *why = nullptr;
    pipe.is_broken = pipe.call->shell->save->write(pipe.file, text, len, &why) != 0;
    if (pipe.is_broken)
        note_why(pipe, why);
}

// How much of a text ends between two characters of UTF-8.
size_t whole_characters(std::string_view text)
{
    for (size_t back = 1; back <= 3 && back <= text.size(); back++) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if (byte < 0x80)
            break;
        if (byte < 0xc0)
            continue; // in the middle of one
        const size_t len = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : 2;
        return len > back ? text.size() - back : text.size();
    }
    return text.size();
}

// The row's bytes, or those of a long one so far. Without its end a character may be left.
// Returns how many bytes were written.
size_t write_row_part(Pipe &pipe, bool is_last)
{
    if (!pipe.is_json) {
        const size_t len = is_last ? pipe.used : whole_characters({pipe.row, pipe.used});
        const char after = std::exchange(pipe.row[len], '\0');
        write_bytes(pipe, pipe.row);
        pipe.row[len] = after;
        return len;
    }
    size_t done = 0;
    for (size_t part = 1; part > 0 && done < pipe.used; done += part) {
        char text[512];
        part = escape_json({pipe.row + done, pipe.used - done}, is_last, text, std::size(text));
        write_bytes(pipe, text);
    }
    return done;
}

void begin_row(Pipe &pipe)
{
    if (pipe.is_json)
        write_bytes(pipe, pipe.passed == 0 ? "[\n  " : ",\n  ");
    pipe.passed++;
}

// Stages

bool has_pattern(Stage &stage, std::string_view row)
{
    stage.work += (row.size() + 1) * steps_a_byte(stage.pattern);
    return is_found(stage.pattern, row);
}

bool passes(Stage &stage, std::string_view row, bool is_title)
{
    switch (stage.filter) {
    case Filter::include:
        return has_pattern(stage, row);
    case Filter::exclude:
        return !has_pattern(stage, row);
    case Filter::begin:
        stage.is_open = stage.is_open || has_pattern(stage, row);
        return stage.is_open;
    case Filter::section: {
        const size_t blanks = row.find_first_not_of(" \t");
        const size_t indent = blanks == row.npos ? 0 : blanks;
        if (stage.is_open && indent > stage.indent)
            return true;
        stage.is_open = has_pattern(stage, row);
        stage.indent = indent;
        return stage.is_open;
    }
    case Filter::count:
        stage.rows += !is_title;
        return false;
    default:
        return true;
    }
}

bool passes_from(Pipe &pipe, int32_t first, std::string_view row, bool is_title = false)
{
    for (int32_t i = first; i < pipe.count; i++) {
        if (!passes(pipe.stages[i], row, is_title))
            return false;
    }
    return true;
}

// The row, or its end, is complete. Filters before `first` have seen it.
void take_row(Pipe &pipe, int32_t first)
{
    if (!pipe.is_cut) {
        pipe.is_passed = passes_from(pipe, first, {pipe.row, pipe.used});
        if (pipe.is_passed) {
            begin_row(pipe);
            write_bytes(pipe, pipe.is_json ? "\"" : "");
        }
    }
    if (pipe.is_passed) {
        write_row_part(pipe, true);
        write_bytes(pipe, pipe.is_json ? "\"" : "\n");
    }
    pipe.is_cut = false;
    pipe.used = 0;
    pipe.row[0] = '\0';
}

// A row is longer than what patterns look at: by that it is decided.
void take_beginning(Pipe &pipe)
{
    if (!pipe.is_cut) {
        pipe.is_passed = passes_from(pipe, 0, {pipe.row, pipe.used});
        if (pipe.is_passed) {
            begin_row(pipe);
            write_bytes(pipe, pipe.is_json ? "\"" : "");
        }
    }
    pipe.is_cut = true;
    const size_t done = pipe.is_passed ? write_row_part(pipe, false) : pipe.used;
    pipe.used -= done;
    std::memmove(pipe.row, pipe.row + done, pipe.used + 1);
}

// Making

// Returns why a filter cannot be made; NULL: it could.
const char *make_stage(Pipe &pipe, Filter filter, const cli_pmatch_s *argument, char *why,
                       size_t size)
{
    Stage &stage = pipe.stages[pipe.count++];
    stage.filter = filter;
    switch (filter) {
    case Filter::include:
    case Filter::exclude:
    case Filter::begin:
    case Filter::section:
        stage.pattern = make_pattern(argument->token, why, size);
        return stage.pattern ? nullptr : why;
    case Filter::no_more:
        pipe.is_unpaged = true;
        return nullptr;
    case Filter::json:
        pipe.is_json = true;
        return nullptr;
    case Filter::save: {
        const char *reason = nullptr;
        const cli_save_s &save = *pipe.call->shell->save;
        pipe.file = save.begin(pipe.call->shell, save.user, argument->token,
                               argument->next != nullptr, &reason);
        return pipe.file ? nullptr : reason ? reason : "it cannot be written";
    }
    case Filter::count:
        return nullptr;
    }
    return nullptr;
}

Definition definition_of(const FilterRow &row, int32_t mode)
{
    Definition made = {};
    made.syntax = row.command.syntax;
    made.help = row.command.help;
    made.is_command = !row.documents;
    made.mode = mode;
    made.is_built_in = true;
    made.is_saving = row.filter == Filter::save;
    return made;
}

// A mode with the bar alone, and the one that it leads to.
bool add_bar(Snapshot *snapshot, Array<Mode> &modes, Array<Definition> &definitions)
{
    const int32_t mode = static_cast<int32_t>(modes.used);
    Definition bar = {};
    bar.syntax = bar_row.syntax;
    bar.help = bar_row.help;
    bar.mode = mode;
    bar.is_command = bar.is_built_in = bar.is_prefix = bar.is_bar = true;
    bar.goes_on_in = mode + 1;
    return modes.add({-1, false}) && modes.add({-1, false}) && definitions.add(bar) &&
           snapshot->rows.add({&bar_row, nullptr, nullptr, Move::stay, mode, -1});
}

} // namespace

// One mode for the bar and one for the filters, which lead back to it; the same for the few that
// may come after JSON. That there are only so many is the shell's filter's.
bool add_filters(Snapshot *snapshot, Array<Mode> &modes, Array<Definition> &definitions)
{
    const int32_t first = static_cast<int32_t>(modes.used);
    const int32_t after_json = first + 2;
    for (const int32_t bar : {first, after_json}) {
        if (!add_bar(snapshot, modes, definitions))
            return false;
        for (const FilterRow &row : filter_rows) {
            const bool is_for_all = row.filter == Filter::save || row.filter == Filter::no_more;
            if (bar == after_json && !is_for_all)
                continue;
            Definition made = definition_of(row, bar + 1);
            if (made.is_command && row.filter != Filter::save)
                made.goes_on_in = row.filter == Filter::json ? after_json : bar;
            if (!definitions.add(made) ||
                !snapshot->rows.add({&row.command, nullptr, nullptr, Move::stay, bar + 1, -1}))
                return false;
        }
    }
    return true;
}

bool takes_filters(const cli_command_s &command)
{
    return command.run && !command.enters && (command.flags & CLI_UNPIPED) == 0;
}

bool is_filter(const Row &row)
{
    for (const FilterRow &one : filter_rows) {
        if (&one.command == row.command)
            return !one.documents;
    }
    return false;
}

int32_t filter_mode(const Snapshot *snapshot)
{
    return static_cast<int32_t>(snapshot->modes.used) + 1; // the bar's is before it
}

bool make_pipe(cli_call_s *call, const cli_pmatch_s *bar, Pipe *&out_pipe,
               const cli_pmatch_s *&out_at, char *out_why, size_t size)
{
    out_at = nullptr;
    auto *pipe = static_cast<Pipe *>(tracked_calloc(1, sizeof(Pipe), pipe_tag));
    if (!pipe) {
        std::snprintf(out_why, size, "out of memory");
        return false;
    }
    pipe->call = call;
    out_pipe = pipe;
    while (bar) {
        const cli_pmatch_s *word = bar->next;
        const cli_pmatch_s *argument = word->next;
        char why[CLI_ASSIST_MAX_WHY + 1];
        const char *wrong = make_stage(*pipe, find_filter(word->node->keyword)->filter, argument,
                                       why, std::size(why));
        if (wrong) {
            std::snprintf(out_why, size, "%s: %s", argument->node->keyword, wrong);
            out_at = argument;
            out_pipe = nullptr;
            release_pipe(pipe);
            return false;
        }
        bar = find_bar(word);
    }
    return true;
}

size_t work_of(const Pipe *pipe)
{
    size_t work = 0;
    for (const Stage &stage : pipe->stages)
        work += stage.work;
    return work;
}

void write_through(Pipe *pipe, const char *text)
{
    while (*text && !pipe->is_ended) {
        const size_t len = std::strcspn(text, "\n");
        const size_t part = len < most_matched - pipe->used ? len : most_matched - pipe->used;
        std::memcpy(pipe->row + pipe->used, text, part);
        pipe->used += part;
        pipe->row[pipe->used] = '\0';
        text += part;
        if (*text == '\n') {
            take_row(*pipe, 0);
            text++;
        } else if (pipe->used == most_matched) {
            take_beginning(*pipe);
        }
    }
}

void pass_row(Pipe *pipe, const PipedRow &row)
{
    if (pipe->is_ended)
        return;
    if (pipe->used > 0 || pipe->is_cut)
        take_row(*pipe, 0);
    const std::string_view seen = std::string_view(row.whole).substr(0, most_matched);
    if (!passes_from(*pipe, 0, seen, row.is_title) || (pipe->is_json && row.is_title))
        return;
    begin_row(*pipe);
    write_bytes(*pipe, pipe->is_json ? row.object : pipe->file ? row.whole : row.shown);
    if (!pipe->is_json)
        write_bytes(*pipe, "\n");
}

bool end_pipe(Pipe *pipe, bool is_whole)
{
    if (pipe->is_ended)
        return true;
    if (pipe->used > 0 || pipe->is_cut)
        take_row(*pipe, 0);
    for (int32_t i = 0; i < pipe->count; i++) {
        const Stage &stage = pipe->stages[i];
        if (stage.filter != Filter::count)
            continue;
        std::snprintf(pipe->row, std::size(pipe->row), "%" PRId64, stage.rows);
        pipe->used = std::strlen(pipe->row);
        take_row(*pipe, i + 1);
    }
    if (pipe->is_json)
        write_bytes(*pipe, pipe->passed == 0 ? "[]\n" : "\n]\n");
    pipe->is_ended = true;
    bool is_saved = true;
    if (void *file = pipe->file) {
        pipe->file = nullptr;
        const char *why = nullptr;
        is_saved = pipe->call->shell->save->end(file, is_whole && !pipe->is_broken, &why) == 0;
        if (!is_saved)
            note_why(*pipe, why);
    }
    return is_saved && !pipe->is_broken;
}

void release_pipe(Pipe *pipe)
{
    if (!pipe)
        return;
    void *file = pipe->file;
    const cli_save_s *save = pipe->call->shell->save;
    for (const Stage &stage : pipe->stages)
        release_pattern(stage.pattern);
    tracked_free(pipe, pipe_tag);
    const char *why = nullptr;
    if (file)
        save->end(file, 0, &why);
}

const cli_pmatch_s *find_bar(const cli_pmatch_s *words)
{
    while (words && (words->node->attr & attr_bar) == 0)
        words = words->next;
    return words;
}

const End *find_command(const cli_pnode_s *action, const cli_pmatch_s *words)
{
    for (; words && words->next; words = words->next) {
        if ((words->next->node->attr & attr_bar) == 0)
            continue;
        const cli_pnode_s *end = words->node->child;
        while (end->type != PNODE_EOLS)
            end = end->next;
        return static_cast<const End *>(end->func);
    }
    return static_cast<const End *>(action->func);
}

} // namespace varno::commands
