#ifndef VARNO_SESSION_PRINT_FORMAT_H
#define VARNO_SESSION_PRINT_FORMAT_H

// Renders the few formats that the editor prints with, without the C library's
// formatter: that one costs more than all the rest of a redraw. Anything else goes
// to vsnprintf.

#include <cstdarg>
#include <cstddef>

namespace varno {

// A place for rendered bytes that may move: the sink returns room for at least
// `count` more bytes, or NULL when there is none; then they are dropped. It is asked
// once for each print, for what is written in the end and at most one byte more; not
// at all when that is nothing.
struct PrintSink {
    void *user;
    char *(*room)(void *user, size_t count);
    void (*commit)(void *user, size_t count); // so many of them were written
};

// Returns what printf returns, whether or not the sink had room: the number of bytes,
// or a negative number for a text that cannot be formatted, of which nothing is
// written.
[[gnu::format(printf, 2, 0)]] int print_format(const PrintSink &sink, const char *format,
                                               va_list arguments);

// Most prints of a redraw are a backspace each: who prints does well to ask for the
// format of a single character first.
inline bool is_character_format(const char *format)
{
    return format[0] == '%' && format[1] == 'c' && format[2] == '\0';
}

} // namespace varno

#endif
