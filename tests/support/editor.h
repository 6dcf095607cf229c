#ifndef VARNO_TESTS_EDITOR_H
#define VARNO_TESTS_EDITOR_H

// A line editor on an emulated terminal, set up from the default tables. After
// every redraw it checks by itself what the terminal shows.

#include "terminal.h"

#include <varno/prompt.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varno_test {

// The line with | at the cursor: "show| ip".
std::string line_of(const pstate &ps);

// The edit state that such a text spells.
pstate state_of(std::string_view marked);

class Editor {
  public:
    explicit Editor(int width = 80);
    ~Editor();
    Editor(const Editor &) = delete;
    Editor &operator=(const Editor &) = delete;

    prompt_s *p() { return p_; }
    std::string line() const { return line_of(p_->ps); }

    // The terminal's row with the line on it: trailing blanks cut, | at the cursor.
    std::string row() const;

    // Feeds keys as a host does, offering again what was not used; no redraw.
    void feed(const std::vector<mkey_t> &keys);

    // Redraws, shows the terminal all that was printed, and checks its picture.
    // Returns what was printed since the last redraw.
    std::string redraw();

    std::string type(const std::vector<mkey_t> &keys);

    void resize(int width);

    // Moves display_offset until the cursor is inside, as a careful host does
    // before each redraw.
    void settle_scroll();

    // What the editor wrote to standard output since it was last asked.
    std::string take_standard_output();

    int print_calls() const { return print_calls_; }
    int flush_calls() const { return flush_calls_; }

    // Redraws after which the row was not what a full draw on a fresh terminal
    // shows, as the redraw's own comment says of two cases.
    int incomplete_rows() const { return incomplete_rows_; }
    bool row_is_complete() const;

    // Blanks the row and asks for a full draw, as a careful host does then.
    void heal_row();

  private:
    static int print(prompt_s *p, void *ctx, const char *format, ...) VARNO_PRINTF(3, 4);
    static void flush(prompt_s *p, void *ctx);

    void consume_pending();
    void show();
    void check_picture();
    void check_full_draw();
    std::string wanted_row() const;
    void apply_full_draw();
    void write_again(int from, int to);
    void apply_difference(const prompt_model_s &old);

    prompt_s *p_;
    prompt_s *fresh_;
    std::unique_ptr<Terminal> terminal_;
    std::string printed_;
    std::string shown_;
    std::string standard_output_;
    std::string picture_;
    std::vector<mkey_t> pending_;
    int print_calls_ = 0;
    int flush_calls_ = 0;
    int incomplete_rows_ = 0;
};

} // namespace varno_test

#endif
