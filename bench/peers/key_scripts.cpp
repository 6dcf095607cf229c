// The scripts. Only keys that all the editors have, with the same meaning: Ctrl-E and
// Ctrl-U empty the line, Ctrl-W deletes a word, ESC b goes back over one; the lines have
// letters, digits and single blanks, so that all agree on what a word is.

#include "key_scripts.h"

#include <string_view>

namespace varno_bench {
namespace {

using Keys = std::vector<std::string>;

// Nine words, 60 characters: at 80 columns it is shown without scrolling.
constexpr std::string_view line_60 = "show interface ethernet 24 counters errors since last reload";
static_assert(line_60.size() == 60);

constexpr int history_lines = 100;

const std::string empty_line = "\005\025";
const std::string up = "\033OA";
const std::string down = "\033OB";
const std::string right = "\033OC";
const std::string left = "\033OD";
const std::string word_back = "\033b";

// line_60 again and again: more than twice what the row can show.
std::string line_200()
{
    std::string text;
    while (text.size() < 200)
        text.append(line_60).append(" ");
    text.resize(200);
    return text;
}

// Lines of 20 to 70 characters; number 0 is the oldest. None is like the one before.
std::string history_line(int number)
{
    const std::string words = std::string(line_60) + " " + std::string(line_60);
    return words.substr(0, static_cast<size_t>(20 + number * 37 % 47)) + std::to_string(number);
}

std::string all_history_lines()
{
    std::string typed;
    for (int number = 0; number < history_lines; number++)
        typed.append(history_line(number)).append("\r");
    return typed;
}

Keys characters(std::string_view text)
{
    Keys keys;
    for (const char c : text)
        keys.emplace_back(1, c);
    return keys;
}

Keys times(size_t count, const std::string &key)
{
    return Keys(count, key);
}

Keys joined(Keys keys, const Keys &more)
{
    keys.insert(keys.end(), more.begin(), more.end());
    return keys;
}

KeyScript insert_mid_line()
{
    const std::string text = "port 7 status ";
    std::string after(line_60);
    after.insert(27, text + "|");
    return {"insert_mid_line", "", empty_line + std::string(line_60),
            joined(times(5, word_back), characters(text)), after};
}

KeyScript browse_history()
{
    return {"browse_history", all_history_lines(), empty_line + "\r",
            joined(times(history_lines, up), times(history_lines - 1, down)),
            history_line(history_lines - 1) + "|"};
}

} // namespace

std::vector<KeyScript> key_scripts()
{
    const std::string at_end = empty_line + std::string(line_60);
    return {
        {"type_60_at_end", "", empty_line, characters(line_60), std::string(line_60) + "|"},
        {"type_200_scrolling", "", empty_line, characters(line_200()), line_200() + "|"},
        insert_mid_line(),
        browse_history(),
        {"delete_word_back", "", at_end, times(9, "\027"), "|"},
        {"backspace_60", "", at_end, times(60, "\177"), "|"},
        {"cursor_60", "", at_end, joined(times(60, left), times(60, right)),
         std::string(line_60) + "|"},
    };
}

std::vector<std::string> keys_of(const std::string &bytes)
{
    Keys keys;
    for (size_t at = 0; at < bytes.size(); at += keys.back().size())
        keys.push_back(bytes.substr(at, bytes.compare(at, 2, "\033O") == 0 ? 3 : 1));
    return keys;
}

} // namespace varno_bench
