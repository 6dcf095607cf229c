#ifndef VARNO_SESSION_CHARACTERS_H
#define VARNO_SESSION_CHARACTERS_H

// UTF-8 for output: which bytes are a character, how many columns it takes, and how a
// text looks whose controls are taken out.

#include <cstddef>
#include <cstdint>

namespace varno {

struct Character {
    size_t len;      // bytes, 1..4
    int32_t columns; // 0 for combining ones, 2 for wide ones; 1 for what is shown as "?"
    bool is_unsafe;  // a control (C0, DEL, C1) or no UTF-8: shown as "?"
    bool is_cut;     // only the beginning of a character: more bytes may complete it
};

// The first character of a text that is not empty.
Character first_character(const char *bytes, size_t count);

// Copies a text as a terminal may show it on one row: all that is unsafe as "?". Ends
// before a character that has no room. Returns the bytes written, without the
// terminator; capacity is at least 1.
size_t clean_row(char *clean, size_t capacity, const char *text);

} // namespace varno

#endif
