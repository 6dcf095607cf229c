// What a session sends: bytes gathered during a round and handed to the host at its
// end, line ends and telnet's escape seen to.

#include "print_format.h"
#include "session.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <iterator>

namespace varno {
namespace {

constexpr unsigned char iac = TN_NVT_IAC;

// Rooms for the next count bytes, delivering what is gathered where it must. NULL
// without memory, or for more than a buffer holds.
char *room_for(tsession_s *s, size_t count)
{
    if (!s->out || count > std::size(s->out->bytes))
        return nullptr;
    if (count > std::size(s->out->bytes) - s->out->used)
        deliver(s);
    if (count > std::size(s->out->bytes) - s->out->used)
        return nullptr;
    return s->out->bytes + s->out->used;
}

void append(tsession_s *s, const char *bytes, size_t count)
{
    while (count > 0) {
        const size_t part = std::min(count, output_capacity / 2);
        char *room = room_for(s, part);
        if (room) {
            std::memcpy(room, bytes, part);
            s->out->used += part;
        } else if (s->output_fn) {
            s->output_fn(s, s->user, bytes, part);
        }
        bytes += part;
        count -= part;
    }
}

// The editor's output is text, carriage returns and backspaces: nothing in it needs
// telnet's escape, so it is rendered in place.
constexpr PrintSink sink_of(tsession_s *s)
{
    return {
        s,
        [](void *user, size_t count) { return room_for(static_cast<tsession_s *>(user), count); },
        [](void *user, size_t count) { static_cast<tsession_s *>(user)->out->used += count; },
    };
}

bool is_shown_as_it_is(unsigned char c)
{
    return (c >= 0x20 && c < 0x7f) || c >= 0xa0 || c == '\n' || c == '\t';
}

} // namespace

void deliver(tsession_s *s)
{
    if (!s->out)
        return;
    // The callback may write more: that follows.
    for (size_t sent = 0; sent < s->out->used;) {
        const size_t end = s->out->used;
        if (s->output_fn)
            s->output_fn(s, s->user, s->out->bytes + sent, end - sent);
        sent = end;
    }
    s->out->used = 0;
}

void emit_wire(tsession_s *s, const unsigned char *bytes, size_t count)
{
    append(s, reinterpret_cast<const char *>(bytes), count);
}

void emit(tsession_s *s, const char *bytes, size_t count)
{
    while (s->transport == TSESSION_TELNET && count > 0) {
        const auto *escape = static_cast<const char *>(std::memchr(bytes, iac, count));
        if (!escape)
            break;
        const size_t run = static_cast<size_t>(escape - bytes) + 1;
        append(s, bytes, run);
        append(s, escape, 1);
        bytes += run;
        count -= run;
    }
    append(s, bytes, count);
}

void emit(tsession_s *s, const char *text)
{
    emit(s, text, std::strlen(text));
}

int print_to_session(prompt_s *, void *ctx, const char *format, ...)
{
    auto *s = static_cast<tsession_s *>(ctx);
    va_list arguments;
    va_start(arguments, format);
    const int printed = print_format(sink_of(s), format, arguments);
    va_end(arguments);
    return printed;
}

// A line that is longer than the terminal is wide takes more than one row.
void write_text(tsession_s *s, const char *bytes, size_t count)
{
    hide_row(s);
    while (count > 0) {
        const auto *feed = static_cast<const char *>(std::memchr(bytes, '\n', count));
        const size_t run = feed ? static_cast<size_t>(feed - bytes) : count;
        emit(s, bytes, run);
        const auto columns = static_cast<int32_t>(std::min<size_t>(run, 1 << 20));
        s->column += columns;
        if (!feed)
            return;
        emit(s, "\r\n");
        s->pager.rows_left -= 1 + std::max(s->column - 1, 0) / s->columns;
        s->column = 0;
        bytes += run + 1;
        count -= run + 1;
    }
}

void write_text(tsession_s *s, const char *text)
{
    write_text(s, text, std::strlen(text));
}

void write_clean(tsession_s *s, const char *text, size_t count)
{
    char clean[256];
    while (count > 0) {
        const size_t part = std::min(count, std::size(clean));
        std::transform(text, text + part, clean, [](char c) {
            return is_shown_as_it_is(static_cast<unsigned char>(c)) ? c : '?';
        });
        write_text(s, clean, part);
        text += part;
        count -= part;
    }
}

} // namespace varno
