// What commands write, and where it goes.

#include "console.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <new>

namespace device {
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

// Without memory for a row the output ends.
bool write_row(Rows &rows, Console &console)
{
    try {
        return rows.write(console);
    } catch (const std::bad_alloc &) {
        refuse(console, "Out of memory\n");
        return false;
    }
}

// The session's record of a long output owns the rows between its calls.
int produce(tsession_s *, void *user, void *ctx, int is_cancelled)
{
    auto *rows = static_cast<Rows *>(ctx);
    if (!is_cancelled && write_row(*rows, *static_cast<Console *>(user)))
        return 1;
    delete rows;
    return 0;
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

bool Lines::write(Console &console)
{
    if (is_over())
        return false;
    const size_t end = text_->find('\n', at_) + 1;
    print(console, "%.*s", static_cast<int>(end - at_), text_->c_str() + at_);
    at_ = end;
    return !is_over();
}

void write_long(Console &console, std::unique_ptr<Rows> rows)
{
    if (!console.session) {
        while (rows->write(console)) {
        }
    } else if (tsession_page(console.session, produce, rows.get()) == 0) {
        static_cast<void>(rows.release());
    }
}

} // namespace device
