// The script of keys, spelt as text and cut into keys once.

#include "typing.h"

#include <string>
#include <vector>

namespace varno_load {
namespace {

#define UP "\033[A"
#define LEFT "\033[D"
#define RIGHT "\033[C"
#define WORD_BACK "\033b"
#define WORD_ON "\033f"
#define RUBOUT "\177"

// Every key has something to show on a terminal. A session may begin with any of them, so
// that no end of a line is a command that ends it: "lo" is short for "logout".
constexpr std::string_view script =
    "show version\r"
    "sh\tver\t\r"
    "echo hello world\r"
    "echo a sentence with a mistale" LEFT LEFT LEFT RIGHT RUBOUT "k" WORD_BACK WORD_BACK WORD_ON
    "\r"
    "show interfaces ?eth0\r" UP "\r"
    "show version" WORD_BACK "inter" RIGHT RUBOUT RUBOUT RUBOUT RUBOUT RUBOUT RUBOUT "\r"
    "?sh?\t?in\teth0\r"
    "wrong words\r" UP RUBOUT RUBOUT RUBOUT "\r"
    "echo one two three" WORD_BACK WORD_BACK "and " WORD_BACK LEFT LEFT "\r";

// ESC and one more byte, or ESC [ and one more, is a key.
size_t length_of_key(std::string_view text)
{
    if (text[0] != '\033')
        return 1;
    return text[1] == '[' ? 3 : 2;
}

std::vector<std::string_view> cut(std::string_view text)
{
    std::vector<std::string_view> keys;
    for (; !text.empty(); text.remove_prefix(length_of_key(text)))
        keys.push_back(text.substr(0, length_of_key(text)));
    return keys;
}

const std::vector<std::string_view> &keys()
{
    static const std::vector<std::string_view> all = cut(script);
    return all;
}

std::vector<size_t> find_lines()
{
    std::vector<size_t> places;
    for (size_t i = 0; i < keys().size(); i++) {
        const bool is_first = i == 0 || keys()[i - 1] == "\r";
        if (is_first && keys()[i] != UP)
            places.push_back(i);
    }
    return places;
}

} // namespace

std::string_view key_typed(size_t place)
{
    return keys()[place % keys().size()];
}

size_t keys_typed()
{
    return keys().size();
}

size_t line_begun(size_t number)
{
    static const std::vector<size_t> places = find_lines();
    return places[number % places.size()];
}

} // namespace varno_load
