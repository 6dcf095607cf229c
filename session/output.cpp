// What a session sends: bytes gathered during a transaction and handed to the host at
// its end, line ends and telnet's escape seen to.

#include <varno/platform.h>
#include <varno/telnet_parser.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "characters.h"
#include "session.h"

namespace varno {
namespace {

constexpr unsigned char iac = TN_NVT_IAC;
constexpr char escaped[] = {static_cast<char>(iac), static_cast<char>(iac)};

// To the sessions of the thread: one that rests needs none.
void give_back(tsession_s *s, OutputBuffer *buffer)
{
    if (!buffer)
        return;
    buffer->next = s->shared->free_buffers;
    s->shared->free_buffers = buffer;
}

// Room for the next count bytes, delivering what is gathered where it must. NULL
// without memory, or for more than a buffer holds.
char *room_for(tsession_s *s, size_t count)
{
    if (!s->out || count > std::size(s->out->bytes))
        return nullptr;
    if (count > std::size(s->out->bytes) - s->out->used)
        deliver(s);
    return !s->out || count > std::size(s->out->bytes) - s->out->used
               ? nullptr
               : s->out->bytes + s->out->used;
}

// Without room the host gets the bytes at once, in pieces but in order.
void append(tsession_s *s, const char *bytes, size_t count)
{
    if (count > 0)
        s->is_after_newline = bytes[count - 1] == '\n';
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

// A row of the page that runs, or of what a command writes before it begins one.
void take_row(tsession_s *s)
{
    if (s->pager.rows_left > 0)
        s->pager.rows_left--;
    else if (s->is_in_command && s->command_rows < s->rows)
        s->command_rows++;
}

// Of a character beyond ASCII the last byte takes its columns; its beginning is kept.
int32_t columns_beyond_ascii(tsession_s *s, unsigned char byte)
{
    if ((byte & 0xc0) != 0x80)
        s->npartial = 0;
    s->partial[s->npartial++] = byte;
    const Character found =
        first_character(reinterpret_cast<const char *>(s->partial), s->npartial);
    if (found.is_cut)
        return 0;
    s->npartial = 0;
    return found.columns;
}

// The columns that a byte of text takes; those of a control sequence take none.
int32_t columns_of(tsession_s *s, char c)
{
    constexpr int32_t tab_stop = 8;
    if (s->escape != Escape::none) {
        const bool begins_csi = s->escape == Escape::begun && c == '[';
        const bool ends = c >= '@' && c <= '~' && !begins_csi;
        s->escape = ends ? Escape::none : begins_csi ? Escape::csi : s->escape;
        return 0;
    }
    if (static_cast<unsigned char>(c) >= 0x80)
        return columns_beyond_ascii(s, static_cast<unsigned char>(c));
    s->npartial = 0;
    if (c == '\033')
        s->escape = Escape::begun;
    if (c == '\t')
        return std::clamp(s->columns - 1 - s->column, 0, tab_stop - s->column % tab_stop);
    return c >= ' ';
}

// The cursor after more text; a row that is full wraps with the next character.
void advance(tsession_s *s, const char *bytes, size_t count)
{
    for (size_t i = 0; i < count; i++) {
        const int32_t columns = columns_of(s, bytes[i]);
        if (bytes[i] == '\r')
            s->column = std::min(s->column, 1); // the row is not empty
        if (columns > 0 && s->column >= s->columns) {
            take_row(s);
            s->column = 0;
        }
        s->column = std::min(s->column + columns, s->columns);
    }
}

// How many bytes at the beginning of a text are whole characters, line feeds and tabs.
size_t shown_as_it_is(const char *text, size_t count)
{
    size_t run = 0;
    while (run < count) {
        const Character next = first_character(text + run, count - run);
        if (next.is_unsafe && text[run] != '\n' && text[run] != '\t')
            break;
        run += next.len;
    }
    return run;
}

} // namespace

// Without memory for another one output leaves in pieces.
void take_buffer(tsession_s *s)
{
    OutputBuffer *buffer = s->shared->free_buffers;
    if (buffer)
        s->shared->free_buffers = buffer->next;
    else
        buffer = static_cast<OutputBuffer *>(tracked_malloc(sizeof(OutputBuffer), "OutputBuffer"));
    if (buffer)
        buffer->used = 0;
    s->out = buffer;
}

void give_buffers_back(tsession_s *s)
{
    give_back(s, s->out);
    s->out = nullptr;
    while (s->sending)
        give_back(s, std::exchange(s->sending, s->sending->next));
}

// The callback may write more: that goes to another buffer, for what it reads stays.
void deliver(tsession_s *s)
{
    OutputBuffer *full = s->out;
    if (!full || full->used == 0)
        return;
    take_buffer(s);
    full->next = std::exchange(s->sending, full);
    if (s->output_fn)
        s->output_fn(s, s->user, full->bytes, full->used);
    while (s->sending != full) // left by an exception in a callback of a callback
        give_back(s, std::exchange(s->sending, s->sending->next));
    s->sending = full->next;
    full->used = 0;
    give_back(s, s->out ? full : nullptr);
    if (!s->out)
        s->out = full;
}

void emit_wire(tsession_s *s, const unsigned char *bytes, size_t count)
{
    const bool was_after_newline = s->is_after_newline;
    append(s, reinterpret_cast<const char *>(bytes), count);
    s->is_after_newline = was_after_newline; // the client shows nothing of it
}

void emit(tsession_s *s, const char *bytes, size_t count)
{
    while (s->transport == TSESSION_TELNET && count > 0) {
        const auto *escape = static_cast<const char *>(std::memchr(bytes, iac, count));
        if (!escape)
            break;
        const size_t run = static_cast<size_t>(escape - bytes);
        append(s, bytes, run);
        append(s, escaped, std::size(escaped)); // in one: nothing may come between
        bytes += run + 1;
        count -= run + 1;
    }
    append(s, bytes, count);
}

void emit(tsession_s *s, const char *text)
{
    emit(s, text, std::strlen(text));
}

void emit_blanks(tsession_s *s, int32_t count)
{
    constexpr std::string_view blanks = "                                ";
    while (count > 0) {
        const size_t part = std::min(static_cast<size_t>(count), blanks.size());
        emit(s, blanks.data(), part);
        count -= static_cast<int32_t>(part);
    }
}

// What reads a batch's output is a file or another program.
const char *line_end(const tsession_s *s)
{
    return s->transport == TSESSION_BATCH ? "\n" : "\r\n";
}

// The formats that a redraw consists of; formatting each by the C library would cost more
// than all the rest of a redraw. The editor's text has no byte that telnet escapes.
// Anything else is short: a row of the editor is the longest text that it prints.
int print_to_session(prompt_s *, void *ctx, const char *format, ...)
{
    auto *s = static_cast<tsession_s *>(ctx);
    const std::string_view wanted = format;
    va_list arguments;
    va_start(arguments, format);
    if (wanted == "%c") {
        const char character = static_cast<char>(va_arg(arguments, int));
        if (character != '\r' || !s->is_after_newline) // the cursor is where it leads
            append(s, &character, 1);
    } else if (wanted == "%s") {
        emit(s, va_arg(arguments, const char *));
    } else if (wanted == "%.*s") {
        const auto most = static_cast<size_t>(va_arg(arguments, int));
        const char *text = va_arg(arguments, const char *);
        append(s, text, strnlen(text, most));
    } else if (wanted == "%*s") {
        emit_blanks(s, va_arg(arguments, int));
    } else {
        char text[512];
        std::vsnprintf(text, std::size(text), format, arguments);
        emit(s, text);
    }
    va_end(arguments);
    return 0;
}

// A line that is longer than the terminal is wide takes more than one row.
void write_text(tsession_s *s, const char *bytes, size_t count)
{
    hide_row(s);
    while (count > 0) {
        const auto *feed = static_cast<const char *>(std::memchr(bytes, '\n', count));
        const size_t run = feed ? static_cast<size_t>(feed - bytes) : count;
        emit(s, bytes, run);
        advance(s, bytes, run);
        if (!feed)
            return;
        emit(s, line_end(s));
        take_row(s);
        s->column = 0;
        bytes += run + 1;
        count -= run + 1;
    }
}

void begin_message(tsession_s *s)
{
    if (!is_resting(s) || s->is_in_command)
        return;
    if (s->column > 0)
        write_text(s, "\n");
    s->is_after_message = true;
}

void write_text(tsession_s *s, const char *text)
{
    write_text(s, text, std::strlen(text));
}

void write_clean(tsession_s *s, const char *text, size_t count)
{
    while (count > 0) {
        const size_t run = shown_as_it_is(text, count);
        write_text(s, text, run);
        if (run == count)
            return;
        write_text(s, "?", 1);
        const size_t taken = run + first_character(text + run, count - run).len;
        text += taken;
        count -= taken;
    }
}

} // namespace varno
