// The few formats that a redraw consists of, by hand; the rest by the C library.

#include "print_format.h"

#include <cstdio>
#include <cstring>

namespace varno {

namespace {

template <size_t size>
bool is_format(const char *format, const char (&wanted)[size])
{
    for (size_t i = 0; i < size; i++) {
        if (format[i] != wanted[i])
            return false;
    }
    return true;
}

int print_bytes(const PrintSink &sink, const char *bytes, size_t count)
{
    char *room = count > 0 ? sink.room(sink.user, count) : nullptr;
    if (room) {
        std::memcpy(room, bytes, count);
        sink.commit(sink.user, count);
    }
    return static_cast<int>(count);
}

// What fits the first guess is formatted once; else the sink's room has to take the
// terminator too. Not inlined: its array is nothing for the formats of a redraw.
[[gnu::noinline, gnu::format(printf, 2, 0)]] int print_any(const PrintSink &sink,
                                                           const char *format, va_list arguments)
{
    char guess[256];
    va_list again;
    va_copy(again, arguments);
    int len = std::vsnprintf(guess, sizeof(guess), format, arguments);
    if (len >= 0 && static_cast<size_t>(len) < sizeof(guess)) {
        print_bytes(sink, guess, static_cast<size_t>(len));
    } else if (len >= 0) {
        const size_t size = static_cast<size_t>(len) + 1;
        char *room = sink.room(sink.user, size);
        if (room) {
            len = std::vsnprintf(room, size, format, again);
            sink.commit(sink.user, size - 1);
        }
    }
    va_end(again);
    return len;
}

[[gnu::format(printf, 2, 3)]] int print_slowly(const PrintSink &sink, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = print_any(sink, format, arguments);
    va_end(arguments);
    return result;
}

int print_character(const PrintSink &sink, char c)
{
    if (char *room = sink.room(sink.user, 1)) {
        *room = c;
        sink.commit(sink.user, 1);
    }
    return 1;
}

// What printf makes of a missing text, unless a precision cuts it.
const char *printable(const char *text)
{
    return text ? text : "(null)";
}

int print_text(const PrintSink &sink, const char *text)
{
    const char *shown = printable(text);
    return print_bytes(sink, shown, std::strlen(shown));
}

// A negative precision is none. One character is what a key at the line's end shows.
int print_beginning(const PrintSink &sink, int precision, const char *text)
{
    if (!text || precision < 0)
        return print_slowly(sink, "%.*s", precision, text);
    if (precision == 1)
        return *text != '\0' ? print_character(sink, *text) : 0;
    return print_bytes(sink, text, strnlen(text, static_cast<size_t>(precision)));
}

// A negative width asks for blanks behind the empty text.
int print_padded(const PrintSink &sink, int width, const char *text)
{
    if (!text || *text != '\0' || width < 0)
        return print_slowly(sink, "%*s", width, text);
    char *room = width > 0 ? sink.room(sink.user, static_cast<size_t>(width)) : nullptr;
    if (room) {
        std::memset(room, ' ', static_cast<size_t>(width));
        sink.commit(sink.user, static_cast<size_t>(width));
    }
    return width;
}

int print_row(const PrintSink &sink, const char *text)
{
    const char *shown = printable(text);
    const size_t len = std::strlen(shown);
    char *room = sink.room(sink.user, len + 1);
    if (room) {
        room[0] = '\r';
        std::memcpy(room + 1, shown, len); // NOLINT(bugprone-not-null-terminated-result)
        sink.commit(sink.user, len + 1);
    }
    return static_cast<int>(len + 1);
}

} // namespace

int print_format(const PrintSink &sink, const char *format, va_list arguments)
{
    if (is_character_format(format))
        return print_character(sink, static_cast<char>(va_arg(arguments, int)));
    const bool is_conversion = format[0] == '%';
    if (is_conversion && is_format(format + 1, "s"))
        return print_text(sink, va_arg(arguments, const char *));
    if (is_conversion && is_format(format + 1, ".*s")) {
        const int precision = va_arg(arguments, int);
        return print_beginning(sink, precision, va_arg(arguments, const char *));
    }
    if (is_conversion && is_format(format + 1, "*s")) {
        const int width = va_arg(arguments, int);
        return print_padded(sink, width, va_arg(arguments, const char *));
    }
    if (is_format(format, "\r%s"))
        return print_row(sink, va_arg(arguments, const char *));
    return print_any(sink, format, arguments);
}

} // namespace varno
