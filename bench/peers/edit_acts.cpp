// The key scripts as acts on this program's editor. An operation is one key.

#include "../acts.h"
#include "editor.h"
#include "key_scripts.h"

#include <cstring>
#include <iterator>

namespace varno_bench {
namespace {

constinit char screen[65536] = {};
constinit size_t screen_used = 0;

std::string &last_line()
{
    static std::string line;
    return line;
}

void press_all(const std::vector<std::string> &keys)
{
    for (const std::string &key : keys)
        press(key);
}

// Opened in the first pass: a list of acts needs no editor.
class EditorAct : public Act {
  public:
    explicit EditorAct(KeyScript script)
        : script_(std::move(script)), before_(keys_of(script_.before))
    {
        operations = static_cast<int64_t>(script_.keys.size());
        allocates = true;
    }

    void prepare() override
    {
        if (!is_open_) {
            open_editor();
            press_all(keys_of(script_.set_up));
            is_open_ = true;
        }
        press_all(before_);
    }

    void run() override { press_all(script_.keys); }

    const char *problem() override
    {
        if (output.bytes == 0)
            return "nothing was drawn";
        press_all(keys_of(enter_marked_line));
        return entered_line() == script_.after ? nullptr : "the line is not what was typed";
    }

  private:
    const KeyScript script_;
    const std::vector<std::string> before_;
    bool is_open_ = false;
};

template <size_t number>
std::unique_ptr<Act> script()
{
    return std::make_unique<EditorAct>(key_scripts().at(number));
}

// clang-format off
constexpr ActRow rows[] = {
    {"editor/type_60_at_end",     script<0>},
    {"editor/type_200_scrolling", script<1>},
    {"editor/insert_mid_line",    script<2>},
    {"editor/browse_history",     script<3>},
    {"editor/delete_word_back",   script<4>},
    {"editor/backspace_60",       script<5>},
    {"editor/cursor_60",          script<6>},
};
// clang-format on

const Topic topic(rows);

} // namespace

void note_line(const char *line)
{
    last_line() = line;
}

const std::string &entered_line()
{
    return last_line();
}

void take_output(const char *bytes, size_t count)
{
    if (count > std::size(screen) - screen_used)
        screen_used = 0;
    if (count <= std::size(screen))
        std::memcpy(screen + screen_used, bytes, count);
    screen_used += count;
    output.calls++;
    output.bytes += static_cast<int64_t>(count);
}

} // namespace varno_bench
