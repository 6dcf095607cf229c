#include "quoted_word.h"

#include <cstring>

namespace varno::commands {

void add_character(Array<char> &out, char c)
{
    const bool is_control = static_cast<unsigned char>(c) < ' ' || c == 0x7f;
    out.add(is_control ? '?' : c);
}

void add_quoted(Array<char> &out, const char *text)
{
    const bool is_bar = std::strcmp(text, "|") == 0;
    const bool is_quoted = *text == '\0' || is_bar || std::strpbrk(text, " \"'\\") != nullptr;
    if (is_quoted)
        out.add('"');
    for (; *text; text++) {
        if (*text == '"' || *text == '\\')
            out.add('\\');
        add_character(out, *text);
    }
    if (is_quoted)
        out.add('"');
}

} // namespace varno::commands
