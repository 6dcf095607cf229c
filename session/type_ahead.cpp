// Input that waits for its turn. All that a terminal sends goes through here, in order:
// fairness (a call runs one line), back-pressure (a host is told to stop reading) and
// type-ahead (nothing is lost while a command runs) are this one queue.

#include <varno/platform.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "session.h"

namespace varno {
namespace {

constexpr char bytes_tag[] = "TypeAhead";

constexpr unsigned char ctrl_c = 3;

// From here on the host is told to stop reading; from there on it has not listened.
constexpr size_t enough_kept = 4096;
constexpr size_t most_kept = 65536;

size_t kept(const TypeAhead &queue)
{
    return queue.end - queue.begin;
}

void forget(TypeAhead &queue)
{
    explicit_bzero(queue.data(), queue.capacity()); // an answer may be a password
    tracked_free(queue.bytes, bytes_tag);
    queue = {};
}

// Makes room for some of count more bytes. Returns for how many, 0 without memory.
size_t make_room(TypeAhead &queue, size_t count)
{
    std::memmove(queue.data(), queue.data() + queue.begin, kept(queue));
    queue.end = kept(queue);
    queue.begin = 0;
    const size_t wanted = std::min(queue.end + count, most_kept);
    if (wanted > queue.capacity()) {
        const size_t doubled = std::min(std::max(wanted, 2 * queue.capacity()), most_kept);
        auto *bytes = static_cast<unsigned char *>(tracked_malloc(doubled, bytes_tag));
        if (!bytes)
            return std::min(count, queue.capacity() - queue.end);
        const size_t end = queue.end;
        std::memcpy(bytes, queue.data(), end);
        forget(queue);
        queue.bytes = bytes;
        queue.allocated = doubled;
        queue.end = end;
    }
    return std::min(count, queue.capacity() - queue.end);
}

// Keys change what runs only where a person may answer: at the line, a question, a full
// screen. An output that rests asks for none.
bool takes_keys(const tsession_s *s)
{
    return s->is_writable && !s->is_in_command && !is_resting(s);
}

bool is_text(unsigned char byte)
{
    return byte >= ' ' && byte != 127 && byte != '?';
}

// Takes from the queue what may be done without a look at the session in between: text
// for the line, or one byte. "?" lists choices, controls may do anything.
size_t next_bytes(tsession_s *s, unsigned char *bytes, size_t capacity)
{
    TypeAhead &queue = s->type_ahead;
    const unsigned char *from = queue.data() + queue.begin;
    const size_t most = std::min(kept(queue), capacity);
    size_t count = 0;
    if (s->mode == Mode::line && !s->keyboard.is_pending()) {
        while (count < most && is_text(from[count]))
            count++;
    }
    count = std::max<size_t>(count, 1);
    std::copy_n(from, count, bytes);
    queue.begin += count;
    return count;
}

// A Ctrl-C ends what runs, and what was typed before it is dropped, as a terminal does.
void take_interrupt(tsession_s *s)
{
    TypeAhead &queue = s->type_ahead;
    const unsigned char *from = queue.data() + queue.begin;
    const auto *last = static_cast<const unsigned char *>(memrchr(from, ctrl_c, kept(queue)));
    if (!last || s->is_in_command)
        return;
    queue.begin += static_cast<size_t>(last - from) + 1;
    begin_keyboard(s);
    interrupt(s, TSESSION_INTERRUPT);
}

void overflow(tsession_s *s)
{
    drop_type_ahead(s);
    leave_row(s);
    write_text(s, text_of(s, &tsession_texts_s::overflow));
    write_text(s, "\n");
    raise_event(s, TSESSION_OVERFLOW, nullptr);
    s->is_closed = true;
}

} // namespace

void take_type_ahead(tsession_s *s)
{
    TypeAhead &queue = s->type_ahead;
    if (s->is_taking)
        return;
    s->is_taking = true;
    while (kept(queue) > 0 && takes_keys(s) && !s->is_turn_over && !s->is_closed) {
        unsigned char bytes[256];
        const size_t count = next_bytes(s, bytes, std::size(bytes));
        s->keyboard.consume(bytes, count);
    }
    if (!s->is_closed && kept(queue) > 0)
        take_interrupt(s);
    s->is_taking = false;
    if (kept(queue) == 0)
        forget(queue);
}

void add_type_ahead(tsession_s *s, const unsigned char *bytes, size_t count)
{
    while (count > 0 && !s->is_closed) {
        TypeAhead &queue = s->type_ahead;
        const size_t part = make_room(queue, count);
        if (part == 0) {
            overflow(s);
            return;
        }
        std::copy_n(bytes, part, queue.data() + queue.end);
        queue.end += part;
        bytes += part;
        count -= part;
        take_type_ahead(s);
    }
}

void drop_type_ahead(tsession_s *s)
{
    forget(s->type_ahead);
}

bool has_type_ahead(const tsession_s *s)
{
    return kept(s->type_ahead) > 0;
}

bool wants_input(const tsession_s *s)
{
    return kept(s->type_ahead) < enough_kept;
}

bool has_work(const tsession_s *s)
{
    if (!s->is_writable || s->is_closed)
        return false;
    return is_resting(s) ? !s->pager.is_late : has_type_ahead(s) && takes_keys(s);
}

// An interrupt may be among what came while a callback ran.
void do_work(tsession_s *s)
{
    if (has_type_ahead(s))
        take_interrupt(s);
    if (s->is_turn_over)
        return;
    if (is_resting(s))
        run_pager(s);
    else
        take_type_ahead(s);
}

} // namespace varno
