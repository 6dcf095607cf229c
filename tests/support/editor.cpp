#include "editor.h"

#include <varno/platform.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

namespace varno_test {
namespace {

constexpr int rows = 4;

// The history's text copies stay behind when a prompt is freed; a test owns them.
void release_history_texts(prompt_s *p)
{
    prompt_history_s *t = p->history.cqh_first;
    for (int i = 0; i < p->history_count; i++, t = t->next)
        tracked_free(t->command, "BYTE*");
}

// What is written to standard output while this lives; glibc's stdout is a variable.
class StandardOutput {
  public:
    StandardOutput() : real_(std::exchange(stdout, open_memstream(&text_, &size_))) {}
    ~StandardOutput()
    {
        std::fclose(std::exchange(stdout, real_));
        std::free(text_);
    }
    StandardOutput(const StandardOutput &) = delete;
    StandardOutput &operator=(const StandardOutput &) = delete;

    std::string text()
    {
        std::fflush(stdout);
        return {text_, size_};
    }

  private:
    char *text_ = nullptr;
    size_t size_ = 0;
    FILE *real_;
};

// Commands that write to standard output; only these need it to be captured.
bool may_print(const std::vector<mkey_t> &keys)
{
    return std::any_of(keys.begin(), keys.end(), [](mkey_t key) {
        return key == VIRTKEY_ESC || key == 13 || key == 10 || key == 12 || key == 18;
    });
}

} // namespace

std::string line_of(const pstate &ps)
{
    std::string text(ps.buf, static_cast<size_t>(ps.buf_used));
    return text.insert(static_cast<size_t>(ps.cursor_location), "|");
}

pstate state_of(std::string_view marked)
{
    const size_t cursor = marked.find('|');
    if (cursor == marked.npos || marked.size() > 256)
        throw std::invalid_argument(std::string(marked));
    pstate ps = {};
    std::string text(marked);
    text.erase(cursor, 1);
    std::copy(text.begin(), text.end(), ps.buf);
    ps.buf_used = static_cast<int32_t>(text.size());
    ps.cursor_location = static_cast<int32_t>(cursor);
    return ps;
}

Editor::Editor(int width)
    : p_(prompt_create()), fresh_(prompt_create()),
      terminal_(std::make_unique<Terminal>(rows, width)), picture_(static_cast<size_t>(width), ' ')
{
    prompt_set_dimension(p_, width, rows);
    prompt_set_print_callback(p_, print, &printed_);
    prompt_set_flush_callback(p_, flush, this);
    prompt_util_bind_reset(p_);
    prompt_util_bind_insert(p_);
    EXPECT_EQ(prompt_util_bind_commands(p_, prompt_builtins, nullptr), 0);
    EXPECT_EQ(prompt_util_bind_commands(p_, prompt_builtins_test, nullptr), 0);
    EXPECT_EQ(prompt_util_bind_keys(p_, ostra_keys, nullptr), 0);
}

Editor::~Editor()
{
    release_history_texts(p_);
    prompt_free(p_);
    prompt_free(fresh_);
}

int Editor::print(prompt_s *p, void *ctx, const char *format, ...)
{
    std::array<char, 1024> text{};
    va_list arguments;
    va_start(arguments, format);
    const int len = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    static_cast<std::string *>(ctx)->append(text.data());
    if (p->pinfo.flush_fn)
        static_cast<Editor *>(p->pinfo.flush_ctx)->print_calls_++;
    return len;
}

void Editor::flush(prompt_s *, void *ctx)
{
    static_cast<Editor *>(ctx)->flush_calls_++;
}

std::string Editor::row() const
{
    std::string text = terminal_->row(terminal_->cursor_row());
    const auto cursor = static_cast<size_t>(terminal_->cursor_column());
    const size_t used = text.find_last_not_of(' ') + 1;
    text.resize(std::max(used, cursor));
    return text.insert(cursor, "|");
}

void Editor::feed(const std::vector<mkey_t> &keys)
{
    pending_.insert(pending_.end(), keys.begin(), keys.end());
    const bool capture = may_print(pending_);
    while (!pending_.empty()) {
        std::optional<StandardOutput> output;
        if (capture)
            output.emplace();
        const int used = prompt_consume(p_, pending_.data(), static_cast<int>(pending_.size()));
        show();
        if (capture) {
            const std::string written = output->text();
            terminal_->feed(written);
            standard_output_ += written;
        }
        pending_.erase(pending_.begin(), pending_.begin() + used);
        if (used == 0)
            break;
    }
}

void Editor::show()
{
    terminal_->feed(printed_);
    shown_ += printed_;
    printed_.clear();
}

std::string Editor::redraw()
{
    const bool full = (p_->flags & PROMPT_FLAG_REDRAW) != 0;
    const int active = p_->active_model;
    const prompt_model_s old = *prompt_active_model(p_);
    const int row_before = terminal_->cursor_row();
    if (full) // other output may have gone to another row, or scrolled this one away
        picture_ = terminal_->row(row_before);
    prompt_redraw(p_);
    show();
    if (full)
        apply_full_draw();
    else if (p_->active_model == active)
        write_again(old.virtual_cursor, prompt_active_model(p_)->virtual_cursor);
    else if (old.buf_len == 0)
        apply_full_draw();
    else
        apply_difference(old);
    EXPECT_EQ(terminal_->cursor_row(), row_before) << "the redraw left its row";
    EXPECT_EQ(p_->flags, 0u);
    check_picture();
    return std::exchange(shown_, {});
}

std::string Editor::type(const std::vector<mkey_t> &keys)
{
    feed(keys);
    return redraw();
}

void Editor::resize(int width)
{
    terminal_ = std::make_unique<Terminal>(rows, width);
    picture_.assign(static_cast<size_t>(width), ' ');
    prompt_set_dimension(p_, width, rows);
    prompt_finish_output(p_);
}

void Editor::settle_scroll()
{
    prompt_model_s scratch;
    for (int tries = 0; tries < 4; tries++) {
        const int amount = prompt_update_model(p_, &scratch);
        if (amount == 0)
            return;
        p_->display_offset += amount;
        prompt_set_dirty(p_);
    }
    ADD_FAILURE() << "the scroll does not settle at width " << p_->width;
}

std::string Editor::take_standard_output()
{
    return std::exchange(standard_output_, {});
}

std::string Editor::wanted_row() const
{
    std::string row = p_->models[p_->active_model].buf;
    row.resize(static_cast<size_t>(p_->width), ' ');
    return row;
}

bool Editor::row_is_complete() const
{
    return picture_ == wanted_row();
}

void Editor::heal_row()
{
    terminal_->feed("\r" + std::string(static_cast<size_t>(p_->width) - 1, ' ') + "\r");
    picture_.assign(static_cast<size_t>(p_->width), ' ');
    prompt_finish_output(p_);
}

// A full draw writes over the row and blanks nothing after it.
void Editor::apply_full_draw()
{
    const prompt_model_s *mod = prompt_active_model(p_);
    picture_.replace(0, static_cast<size_t>(mod->buf_len), mod->buf);
}

// A move right prints again what the model holds there.
void Editor::write_again(int from, int to)
{
    if (to <= from)
        return;
    const std::string text = prompt_active_model(p_)->buf;
    const auto at = static_cast<size_t>(from);
    const auto count = static_cast<size_t>(to - from);
    picture_.replace(at, count, text.substr(at, count));
}

// What a difference writes, from the contract: a row that only grew at its end is
// written up to the new cursor; any other from the first difference, or from the
// cursor if that stands before it, and blanked where it got shorter.
void Editor::apply_difference(const prompt_model_s &old)
{
    const prompt_model_s *mod = prompt_active_model(p_);
    const std::string before = old.buf;
    const std::string after = mod->buf;
    const auto from = static_cast<size_t>(old.virtual_cursor);
    const size_t same = static_cast<size_t>(
        std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first -
        before.begin());
    if (after.starts_with(before)) {
        write_again(old.virtual_cursor, mod->virtual_cursor);
        return;
    }
    const size_t start = std::min(same, from);
    picture_.replace(start, after.size() - std::min(after.size(), start),
                     after.substr(std::min(after.size(), start)));
    for (size_t i = after.size(); i < before.size(); i++)
        picture_[i] = ' ';
}

void Editor::check_picture()
{
    const prompt_model_s *mod = prompt_active_model(p_);
    const int row = terminal_->cursor_row();
    EXPECT_EQ(terminal_->row(row), picture_);
    EXPECT_EQ(terminal_->cursor_column(), mod->virtual_cursor);
    if (row_is_complete())
        check_full_draw();
    else
        incomplete_rows_++;
}

void Editor::check_full_draw()
{
    std::string printed;
    fresh_->width = p_->width;
    fresh_->display_offset = p_->display_offset;
    fresh_->disp = p_->disp;
    prompt_set_content(fresh_, &p_->ps);
    prompt_set_print_callback(fresh_, print, &printed);
    prompt_draw(fresh_, 1);
    Terminal terminal(1, p_->width);
    terminal.feed(printed);
    EXPECT_EQ(terminal.row(0), terminal_->row(terminal_->cursor_row()));
    EXPECT_EQ(terminal.cursor_column(), terminal_->cursor_column());
}

} // namespace varno_test
