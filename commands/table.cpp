#include "table.h"

#include "json.h"
#include "output.h"
#include "shell.h"

#include "contract.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <iterator>

namespace varno::commands {
namespace {

constexpr char source_name[] = "commands_table";

constexpr int32_t gap = 2; // blanks between two columns
constexpr char mark[] = ">";
constexpr int32_t widest = 1024; // column

int32_t width_of(const cli_column_s &column)
{
    return std::clamp(column.width, 0, widest);
}

void add_text(Array<char> &out, const char *text)
{
    out.append(text, std::strlen(text));
}

void add_blanks(Array<char> &out, int32_t count)
{
    out.add_copies(static_cast<size_t>(std::max(count, 0)), ' ');
}

// A text that may be shown, cut with a mark to so many columns; 0: it is not cut. Returns the
// columns that it takes.
int32_t add_cell(Array<char> &out, const char *text, int32_t most)
{
    int32_t columns = 0;
    tsession_fit(text, INT32_MAX, &columns);
    if (most <= 0 || columns <= most) {
        add_text(out, text);
        return columns;
    }
    const size_t len = tsession_fit(text, most - 1, &columns);
    out.append(text, len);
    add_text(out, mark);
    return columns + 1;
}

// A cell that is wider than its column moves the next one, and those after that as long as there
// is no room. Where that is too much, is_cut, it is cut. Returns the columns of the row.
int32_t lay_out(const Table &table, const char *cells, bool is_cut, Array<char> &out)
{
    int32_t at = 0;
    int32_t start = 0;
    for (size_t i = 0; i < table.count; i++) {
        const cli_column_s &column = table.columns[i];
        Array<char> cell = {};
        const int32_t width = width_of(column);
        const int32_t columns = add_cell(cell, cells, is_cut ? width : 0);
        const bool is_right = (column.flags & CLI_NUMBER) != 0;
        const int32_t inset = is_right ? std::max(width - columns, 0) : 0;
        const int32_t blanks = std::max(i == 0 ? 0 : gap, start - at) + inset;
        add_blanks(out, blanks);
        if (cell.add('\0'))
            add_text(out, cell.begin());
        out.is_short = out.is_short || cell.is_short;
        cell.release();
        at += blanks + columns;
        start += width + gap;
        cells += std::strlen(cells) + 1;
    }
    return at;
}

// A row for a screen of so many columns; 0: it is as wide as it needs to be.
void make_row(const Table &table, const char *cells, int32_t columns, Array<char> &out)
{
    if (lay_out(table, cells, false, out) > columns && columns > 0) {
        out.used = 0;
        if (lay_out(table, cells, true, out) > columns && out.add('\0')) {
            out.used = tsession_fit(out.begin(), columns - 1, nullptr);
            add_text(out, mark);
        }
    }
    out.add('\0');
}

void add_json(Array<char> &out, std::string_view text)
{
    while (!text.empty()) {
        char part[512];
        text.remove_prefix(escape_json(text, true, part, std::size(part)));
        add_text(out, part);
    }
}

// A whole number, or one with decimals, as JSON has them.
bool is_number(const char *text)
{
    const auto skip_digits = [&text] {
        const char *from = text;
        while (*text >= '0' && *text <= '9')
            text++;
        return text - from;
    };
    text += *text == '-';
    const bool is_zero = *text == '0';
    const auto digits = skip_digits();
    if (digits == 0 || (is_zero && digits > 1))
        return false;
    if (*text != '.')
        return *text == '\0';
    text++;
    return skip_digits() > 0 && *text == '\0';
}

void make_object(const Table &table, Array<char> &out)
{
    const char *cell = table.cells.begin();
    for (size_t i = 0; i < table.count; i++) {
        const cli_column_s &column = table.columns[i];
        add_text(out, i == 0 ? "{\"" : ", \"");
        add_json(out, column.name);
        const bool is_bare = (column.flags & CLI_NUMBER) != 0 && is_number(cell);
        add_text(out, is_bare ? "\": " : "\": \"");
        add_json(out, cell);
        add_text(out, is_bare ? "" : "\"");
        cell += std::strlen(cell) + 1;
    }
    add_text(out, "}");
    out.add('\0');
}

// All that would move the cursor is "?" from here on.
void clean_cells(const Table &table, Array<char> &out)
{
    const char *cell = table.cells.begin();
    for (size_t i = 0; i < table.count; i++) {
        const size_t len = std::strlen(cell);
        if (!out.make_room(len + 1))
            return;
        tsession_clean(out.end(), len + 1, cell);
        out.used += std::strlen(out.end()) + 1;
        cell += len + 1;
    }
}

// A row as it may be needed: each is empty where it is not.
struct Made {
    Array<char> cells; // cleaned
    Array<char> whole;
    Array<char> shown;
    Array<char> object;

    void release()
    {
        for (Array<char> *one : {&cells, &whole, &shown, &object})
            one->release();
    }
};

// Returns false without memory.
bool make_texts(const cli_call_s *call, Made &out)
{
    const Table &table = call->table;
    const Pipe *pipe = call->pipe;
    if (table.cells.is_short)
        return false;
    clean_cells(table, out.cells);
    if (out.cells.is_short)
        return false;
    const bool has_screen = call->shell->session && !call->shell->is_unattended;
    if (pipe)
        make_row(table, out.cells.begin(), 0, out.whole);
    if (pipe && pipe->is_json)
        make_object(table, out.object);
    else
        make_row(table, out.cells.begin(), has_screen ? tsession_columns(call->shell->session) : 0,
                 out.shown);
    return !out.whole.is_short && !out.object.is_short && !out.shown.is_short;
}

void write_row(cli_call_s *call, bool is_title)
{
    Table &table = call->table;
    Made made = {};
    try {
        if (!make_texts(call, made)) {
            fail(call, "out of memory");
        } else if (call->pipe) {
            pass_row(call->pipe,
                     {made.whole.begin(), made.shown.begin(), made.object.begin(), is_title});
        } else {
            write_output(call, made.shown.begin());
            write_output(call, "\n");
        }
    } catch (...) {
        made.release();
        throw;
    }
    made.release();
    table.cells.used = 0;
    table.cells.is_short = false;
    table.filled = 0;
}

} // namespace

void end_table(cli_call_s *call)
{
    Table &table = call->table;
    if (table.filled == 0)
        return;
    for (; table.filled < table.count; table.filled++)
        table.cells.add('\0');
    write_row(call, false);
}

} // namespace varno::commands

using namespace varno::commands;

void cli_columns(cli_call_s *call, const cli_column_s *columns, size_t count)
{
    Table &table = call->table;
    VARNO_ASSERT(count > 0);
    if (call->is_cancelled || table.columns == columns)
        return;
    end_table(call);
    table.columns = columns;
    table.count = count;
    table.cells.used = 0;
    for (size_t i = 0; i < count; i++) {
        add_text(table.cells, columns[i].name);
        table.cells.add('\0');
    }
    write_row(call, true);
}

void cli_cell(cli_call_s *call, const char *format, ...)
{
    Table &table = call->table;
    VARNO_ASSERT(call->is_cancelled || table.columns);
    if (call->is_cancelled)
        return;
    va_list arguments;
    va_start(arguments, format);
    const bool is_whole = with_text(format, arguments, [&table](const char *text) {
        add_text(table.cells, text);
        table.cells.add('\0');
    });
    va_end(arguments);
    table.cells.is_short = table.cells.is_short || !is_whole;
    if (++table.filled == table.count)
        write_row(call, false);
}
