#include "json.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace varno::commands {
namespace {

// A character of UTF-8: how many bytes its first byte asks for, and the least that its second one
// may be and the most (RFC 3629, section 4).
struct Shape {
    unsigned char first, last; // of the first byte
    size_t len;
    unsigned char least, most; // of the second
};

// clang-format off
constexpr Shape shapes[] = {
    {0xc2, 0xdf, 2, 0x80, 0xbf},
    {0xe0, 0xe0, 3, 0xa0, 0xbf},
    {0xe1, 0xec, 3, 0x80, 0xbf},
    {0xed, 0xed, 3, 0x80, 0x9f},
    {0xee, 0xef, 3, 0x80, 0xbf},
    {0xf0, 0xf0, 4, 0x90, 0xbf},
    {0xf1, 0xf3, 4, 0x80, 0xbf},
    {0xf4, 0xf4, 4, 0x80, 0x8f},
};
// clang-format on

enum class Reading : uint8_t { character, cut, no_character };

// The character that a text begins with, whose first byte is above 127.
Reading read_character(std::string_view text, size_t &out_len)
{
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    for (const Shape &shape : shapes) {
        if (byte(0) < shape.first || byte(0) > shape.last)
            continue;
        for (size_t i = 1; i < shape.len; i++) {
            if (i == text.size())
                return Reading::cut;
            if (byte(i) < (i == 1 ? shape.least : 0x80) || byte(i) > (i == 1 ? shape.most : 0xbf))
                return Reading::no_character;
        }
        out_len = shape.len;
        return Reading::character;
    }
    return Reading::no_character;
}

} // namespace

size_t escape_json(std::string_view text, bool is_last, char *out, size_t size)
{
    constexpr size_t longest = 7; // \u00XX, terminated
    size_t at = 0;
    size_t used = 0;
    while (at < text.size() && used + longest <= size) {
        const auto byte = static_cast<unsigned char>(text[at]);
        size_t len = 1;
        const Reading reading =
            byte < 0x80 ? Reading::no_character : read_character(text.substr(at), len);
        if (reading == Reading::cut && !is_last)
            break;
        if (reading == Reading::character || (byte >= ' ' && byte < 0x7f)) {
            if (byte == '"' || byte == '\\')
                out[used++] = '\\';
            std::memcpy(out + used, text.data() + at, len);
            used += len;
        } else {
            used += static_cast<size_t>(std::snprintf(out + used, size - used, "\\u%04x", byte));
        }
        at += len;
    }
    out[used] = '\0';
    return at;
}

} // namespace varno::commands
