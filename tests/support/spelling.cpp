#include "spelling.h"

#include <varno/termcap_util.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace varno_test {
namespace {

struct NamedKey {
    std::string_view name;
    mkey_t key;
};

// The first name of a key is its canonical one.
constexpr NamedKey named_keys[] = {
    {"nul", 0},
    {"bel", 7},
    {"bs", 8},
    {"tab", 9},
    {"lf", 10},
    {"cr", 13},
    {"esc", 27},
    {"lt", '<'},
    {"quot", '"'},
    {"del", 127},
    {"up", VIRTKEY_UP},
    {"down", VIRTKEY_DOWN},
    {"left", VIRTKEY_LEFT},
    {"right", VIRTKEY_RIGHT},
    {"f1", VIRTKEY_F1},
    {"f12", VIRTKEY_F12},
    {"enter", VIRTKEY_ENTER},
    {"home", VIRTKEY_HOME},
    {"end", VIRTKEY_END},
    {"backspace", VIRTKEY_BACKSPACE},
};

[[noreturn]] void misspelt(std::string_view what)
{
    throw std::invalid_argument("misspelt: " + std::string(what));
}

mkey_t key_of_tag(std::string_view name)
{
    for (const NamedKey &row : named_keys) {
        if (row.name == name)
            return row.key;
    }
    if (name.size() == 3 && name.substr(0, 2) == "c-")
        return static_cast<mkey_t>(name[2] & 0x1f);
    if (name.size() > 1 && name[0] == 'x')
        return static_cast<mkey_t>(std::stoul(std::string(name.substr(1)), nullptr, 16));
    misspelt(name);
}

void append_tag(std::string_view tag, std::vector<mkey_t> &keys)
{
    const size_t blank = tag.find(' ');
    const mkey_t key = key_of_tag(tag.substr(0, blank));
    const size_t count = blank == tag.npos ? 1 : std::stoul(std::string(tag.substr(blank + 1)));
    keys.insert(keys.end(), count, key);
}

std::string tag_of(mkey_t key)
{
    for (const NamedKey &row : named_keys) {
        if (row.key == key)
            return std::string(row.name);
    }
    std::array<char, 16> text{};
    if (key < 27)
        std::snprintf(text.data(), text.size(), "c-%c", static_cast<char>('a' + key - 1));
    else
        std::snprintf(text.data(), text.size(), "x%02x", key);
    return text.data();
}

bool is_plain(mkey_t key)
{
    return key >= ' ' && key < 127 && key != '<' && key != '"';
}

} // namespace

std::vector<mkey_t> keys_of(std::string_view spelled)
{
    std::vector<mkey_t> keys;
    bool quoted = false;
    for (size_t i = 0; i < spelled.size(); i++) {
        const char c = spelled[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (c == '<') {
            const size_t close = spelled.find('>', i);
            if (close == spelled.npos)
                misspelt(spelled);
            append_tag(spelled.substr(i + 1, close - i - 1), keys);
            i = close;
        } else if (quoted) {
            keys.push_back(static_cast<unsigned char>(c));
        } else if (c != ' ') {
            misspelt(spelled);
        }
    }
    if (quoted)
        misspelt(spelled);
    return keys;
}

std::string bytes_of(std::string_view spelled)
{
    std::string bytes;
    for (const mkey_t key : keys_of(spelled)) {
        if (key > 255)
            misspelt(spelled);
        bytes.push_back(static_cast<char>(key));
    }
    return bytes;
}

std::string spell(const std::vector<mkey_t> &keys)
{
    std::string text = "\"";
    for (size_t i = 0; i < keys.size();) {
        if (is_plain(keys[i])) {
            text.push_back(static_cast<char>(keys[i++]));
            continue;
        }
        size_t run = 1;
        while (i + run < keys.size() && keys[i + run] == keys[i])
            run++;
        text.append("<").append(tag_of(keys[i]));
        if (run > 1)
            text.append(" ").append(std::to_string(run));
        text.append(">");
        i += run;
    }
    return text + "\"";
}

std::string spell(std::string_view bytes)
{
    std::vector<mkey_t> keys;
    for (const char c : bytes)
        keys.push_back(static_cast<unsigned char>(c));
    return spell(keys);
}

std::string bytes_of_hex(std::string_view numbers)
{
    std::string bytes;
    for (size_t i = 0; i < numbers.size();) {
        if (numbers[i] == ' ') {
            i++;
            continue;
        }
        bytes.push_back(
            static_cast<char>(std::stoul(std::string(numbers.substr(i, 2)), nullptr, 16)));
        i += 2;
    }
    return bytes;
}

} // namespace varno_test
