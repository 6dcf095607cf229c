// What commands write, and where it goes.

#include "console.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

VARNO_PRINTF(1, 0) std::string formatted(const char *format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(std::max(std::vsnprintf(nullptr, 0, format, again), 0)),
                     '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

} // namespace

void print(Console &console, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    if (console.session)
        tsession_write(console.session, text.data(), text.size());
    else
        std::fwrite(text.data(), 1, text.size(), stdout);
}

void refuse(Console &console, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    console.has_failed = true;
    if (console.session) {
        tsession_write(console.session, text.data(), text.size());
        return;
    }
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%d: %s", console.source, console.line, text.c_str());
}

std::string cleaned(const char *text)
{
    std::string clean = text;
    std::replace_if(
        clean.begin(), clean.end(),
        [](unsigned char c) { return c < 0x20 || (c >= 0x7f && c < 0xa0); }, '?');
    return clean;
}
