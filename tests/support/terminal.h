#ifndef VARNO_TESTS_TERMINAL_H
#define VARNO_TESTS_TERMINAL_H

// The terminal that a user would look at: an emulator behind feed, row and cursor.

#include <string>
#include <string_view>

struct VTerm;
struct VTermScreen;

namespace varno_test {

class Terminal {
  public:
    Terminal(int rows, int columns);
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    // What the other side sends; bytes, not UTF-8.
    void feed(std::string_view bytes);

    void resize(int rows, int columns);

    // The characters of a row, blanks for empty cells, as long as the row is wide.
    std::string row(int row) const;

    // All rows that hold something, trailing blanks removed, a line break after each.
    std::string text() const;

    int cursor_row() const;
    int cursor_column() const;

  private:
    VTerm *vt_;
    VTermScreen *screen_;
};

} // namespace varno_test

#endif
