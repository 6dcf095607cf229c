#ifndef VARNO_TESTS_FRESH_DRAW_H
#define VARNO_TESTS_FRESH_DRAW_H

// A prompt of its own, which draws the row of another whole, on a terminal that
// nothing was drawn on before.

#include "terminal.h"

#include <varno/prompt.h>

#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string>

namespace varno_test {

class FreshDraw {
  public:
    FreshDraw() { prompt_set_print_callback(p_, print, &printed_); }
    ~FreshDraw() { prompt_free(p_); }
    FreshDraw(const FreshDraw &) = delete;
    FreshDraw &operator=(const FreshDraw &) = delete;

    // A terminal of one row, as wide as the prompt says.
    std::unique_ptr<Terminal> terminal_of(const prompt_s *drawn)
    {
        p_->width = drawn->width;
        p_->display_offset = drawn->display_offset;
        p_->disp = drawn->disp;
        prompt_set_content(p_, &drawn->ps);
        printed_.clear();
        prompt_draw(p_, 1);
        auto terminal = std::make_unique<Terminal>(1, drawn->width);
        terminal->feed(printed_);
        return terminal;
    }

  private:
    static int print(prompt_s *, void *ctx, const char *format, ...) VARNO_PRINTF(3, 4)
    {
        char text[1024];
        va_list arguments;
        va_start(arguments, format);
        const int len = std::vsnprintf(text, std::size(text), format, arguments);
        va_end(arguments);
        *static_cast<std::string *>(ctx) += text;
        return len;
    }

    prompt_s *p_ = prompt_create();
    std::string printed_;
};

} // namespace varno_test

#endif
