#include "terminal.h"

#include <vterm.h>

namespace varno_test {
namespace {

VTermPos cursor_of(VTerm *vt)
{
    VTermPos at;
    vterm_state_get_cursorpos(vterm_obtain_state(vt), &at);
    return at;
}

} // namespace

Terminal::Terminal(int rows, int columns)
    : vt_(vterm_new(rows, columns)), screen_(vterm_obtain_screen(vt_))
{
    vterm_set_utf8(vt_, 1);
    vterm_screen_reset(screen_, 1);
}

Terminal::~Terminal()
{
    vterm_free(vt_);
}

void Terminal::feed(std::string_view bytes)
{
    vterm_input_write(vt_, bytes.data(), bytes.size());
}

void Terminal::resize(int rows, int columns)
{
    vterm_set_size(vt_, rows, columns);
}

std::string Terminal::row(int row) const
{
    int rows = 0;
    int columns = 0;
    vterm_get_size(vt_, &rows, &columns);
    std::string text(static_cast<size_t>(columns), ' ');
    for (int column = 0; column < columns; column++) {
        VTermScreenCell cell;
        vterm_screen_get_cell(screen_, {row, column}, &cell);
        if (cell.chars[0] != 0)
            text[static_cast<size_t>(column)] =
                cell.chars[0] < 128 ? static_cast<char>(cell.chars[0]) : '#';
    }
    return text;
}

std::string Terminal::text() const
{
    int rows = 0;
    int columns = 0;
    vterm_get_size(vt_, &rows, &columns);
    std::string text;
    for (int i = 0; i < rows; i++) {
        const std::string line = row(i);
        const size_t last = line.find_last_not_of(' ');
        if (last != line.npos)
            text += line.substr(0, last + 1) + "\n";
    }
    return text;
}

int Terminal::cursor_row() const
{
    return cursor_of(vt_).row;
}

int Terminal::cursor_column() const
{
    return cursor_of(vt_).col;
}

} // namespace varno_test
