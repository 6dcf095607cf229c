// Key to redraw: each operation is one key that is consumed and then drawn, as a person
// who types sees it. 80 columns, the default key map, prompt ">".

#include "acts.h"
#include "host.h"

#include <string>
#include <vector>

namespace varno_bench {
namespace {

// line_60 again and again: 200 characters, more than twice what the row can show.
std::string line_200()
{
    std::string text;
    while (text.size() < 200)
        text.append(line_60).append(" ");
    text.resize(200);
    return text;
}

std::vector<mkey_t> typed(std::string_view text)
{
    return {text.begin(), text.end()};
}

std::vector<mkey_t> times(size_t count, mkey_t key)
{
    return std::vector<mkey_t>(count, key);
}

constexpr mkey_t ctrl(char letter)
{
    return static_cast<mkey_t>(letter - '@');
}

// The line before the act and after it, each with its cursor's index.
struct Line {
    std::string text;
    size_t cursor;
};

class EditorAct : public Act {
  public:
    EditorAct(Line before, std::vector<mkey_t> keys, Line after)
        : p_(open_prompt()), before_(std::move(before)), keys_(std::move(keys)),
          after_(std::move(after))
    {
        operations = static_cast<int64_t>(keys_.size());
        prompt_redraw(p_);
    }

    ~EditorAct() override { close_prompt(p_); }

    void prepare() override { show_line(p_, before_.text, before_.cursor); }

    void run() override
    {
        for (const mkey_t key : keys_) {
            prompt_consume(p_, &key, 1);
            prompt_redraw(p_);
        }
    }

    const char *problem() override
    {
        if (prompt_command(p_) != after_.text)
            return "the line is not what was typed";
        if (prompt_cursor_location(p_) != static_cast<int>(after_.cursor))
            return "the cursor is elsewhere";
        const prompt_model_s *row = prompt_active_model(p_);
        const std::string_view shown(row->buf + row->margin_left);
        const std::string_view wanted =
            std::string_view(after_.text).substr(size_t(p_->display_offset));
        if (shown.substr(0, wanted.size()) != wanted)
            return "the row shows another line";
        return nullptr;
    }

  protected:
    prompt_s *p_;

  private:
    const Line before_;
    const std::vector<mkey_t> keys_;
    const Line after_;
};

std::string history_line(int number)
{
    return "show interface ethernet " + std::to_string(number) + " counters";
}

// 100 lines, as many as the default limit keeps: "show interface ethernet 0 counters"
// is the oldest.
class HistoryAct : public EditorAct {
  public:
    HistoryAct() : EditorAct({"", 0}, times(100, VIRTKEY_UP), {history_line(0), 34})
    {
        for (int number = 0; number < 100; number++) {
            const std::string text = history_line(number);
            show_line(p_, text, text.size());
            if (prompt_history_add(p_, 1) != 0)
                give_up("prompt_history_add");
        }
    }
};

std::unique_ptr<Act> act(Line before, std::vector<mkey_t> keys, Line after)
{
    return std::make_unique<EditorAct>(std::move(before), std::move(keys), std::move(after));
}

// From an empty line.
std::unique_ptr<Act> type_60_at_end()
{
    return act({"", 0}, typed(line_60), {std::string(line_60), 60});
}

// From an empty line until 200 characters stand: from the 78th on the row scrolls, by
// 8 columns at a time.
std::unique_ptr<Act> type_200_scrolling()
{
    return act({"", 0}, typed(line_200()), {line_200(), 200});
}

// 14 characters before the fifth of nine words; the row does not scroll.
std::unique_ptr<Act> insert_mid_line()
{
    constexpr std::string_view text = "port 7 status ";
    std::string after(line_60);
    after.insert(27, text);
    return act({std::string(line_60), 27}, typed(text), {after, 27 + text.size()});
}

std::unique_ptr<Act> history_previous()
{
    return std::make_unique<HistoryAct>();
}

// Ctrl-W, once for each of the nine words.
std::unique_ptr<Act> delete_word_back()
{
    return act({std::string(line_60), 60}, times(9, ctrl('W')), {"", 0});
}

// Held down until the line is empty.
std::unique_ptr<Act> backspace_60()
{
    return act({std::string(line_60), 60}, times(60, VIRTKEY_DELETE), {"", 0});
}

std::unique_ptr<Act> cursor_left_60()
{
    return act({std::string(line_60), 60}, times(60, VIRTKEY_LEFT), {std::string(line_60), 0});
}

std::unique_ptr<Act> cursor_right_60()
{
    return act({std::string(line_60), 0}, times(60, VIRTKEY_RIGHT), {std::string(line_60), 60});
}

// Ctrl-A and Ctrl-E in turn, ten times: the longest ways of the cursor.
std::unique_ptr<Act> begin_and_end()
{
    std::vector<mkey_t> keys;
    for (int i = 0; i < 10; i++)
        keys.insert(keys.end(), {ctrl('A'), ctrl('E')});
    return act({std::string(line_60), 60}, keys, {std::string(line_60), 60});
}

// clang-format off
constexpr ActRow rows[] = {
    {"editor/type_60_at_end",     type_60_at_end},
    {"editor/type_200_scrolling", type_200_scrolling},
    {"editor/insert_mid_line",    insert_mid_line},
    {"editor/history_previous",   history_previous},
    {"editor/delete_word_back",   delete_word_back},
    {"editor/backspace_60",       backspace_60},
    {"editor/cursor_left_60",     cursor_left_60},
    {"editor/cursor_right_60",    cursor_right_60},
    {"editor/begin_and_end",      begin_and_end},
};
// clang-format on

const Topic topic(rows);

} // namespace
} // namespace varno_bench
