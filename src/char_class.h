#ifndef VARNO_CHAR_CLASS_H
#define VARNO_CHAR_CLASS_H

// Character classes of the process's locale. A byte is looked up as a signed
// value and a key as a signed code: the standard table covers -128..255, and
// nothing outside it is ever looked up.

#include <varno/keys.h>

#include <cctype>
#include <cstdint>

namespace varno {

inline int signed_code(char c)
{
    return static_cast<signed char>(c);
}

inline bool is_space(char c)
{
    return std::isspace(signed_code(c)) != 0;
}

inline char to_upper(char c)
{
    return static_cast<char>(std::toupper(signed_code(c)));
}

inline char to_lower(char c)
{
    return static_cast<char>(std::tolower(signed_code(c)));
}

// A key outside the table is never printable, nor are the unused codes -2 and -1: a
// single-byte locale's table has a letter at -2.
inline bool is_printable(mkey_t key)
{
    const auto code = static_cast<int32_t>(key);
    // cppcheck-suppress invalidFunctionArg ; the C library's table begins at -128
    return code >= -128 && code <= 255 && code != -2 && code != -1 && std::isprint(code) != 0;
}

// The twenty keys that a terminal sends as sequences are never text.
inline bool is_terminal_key(mkey_t key)
{
    return key >= VIRTKEY_BACKSPACE && key <= VIRTKEY_UP;
}

// What single keys are inserted as text.
inline bool is_text(mkey_t key)
{
    return !is_terminal_key(key) && is_printable(key);
}

} // namespace varno

#endif
