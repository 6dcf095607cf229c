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

// What was kept is overwritten: an answer may be a password.
void forget(TypeAhead &queue)
{
    if (queue.bytes)
        explicit_bzero(queue.bytes, queue.capacity);
    if (queue.bytes != queue.few)
        tracked_free(queue.bytes, bytes_tag);
    queue.bytes = queue.few;
    queue.capacity = std::size(queue.few);
    queue.begin = 0;
    queue.count = 0;
}

// Makes room for some of count more bytes. Returns for how many, 0 without memory.
size_t make_room(TypeAhead &queue, size_t count)
{
    if (queue.begin > 0)
        std::memmove(queue.bytes, queue.bytes + queue.begin, queue.count);
    queue.begin = 0;
    const size_t wanted = std::min(queue.count + count, most_kept);
    if (wanted > queue.capacity) {
        const size_t doubled = std::min(std::max(wanted, 2 * queue.capacity), most_kept);
        auto *bytes = static_cast<unsigned char *>(tracked_malloc(doubled, bytes_tag));
        if (!bytes)
            return std::min(count, queue.capacity - queue.count);
        const size_t kept = queue.count;
        std::memcpy(bytes, queue.bytes, kept);
        forget(queue);
        queue.bytes = bytes;
        queue.capacity = doubled;
        queue.count = kept;
    }
    return std::min(count, queue.capacity - queue.count);
}

// Keys change what runs only where a person may answer: at the line, a question, a full
// screen. An output that rests asks for none.
bool takes_keys(const tsession_s *s)
{
    return s->is_writable && !s->is_in_command && !is_resting(s);
}

bool can_take(const tsession_s *s)
{
    return takes_keys(s) && !s->is_turn_over && !s->is_closed;
}

bool is_text(unsigned char byte)
{
    return byte >= ' ' && byte != 127 && byte != '?';
}

// How many bytes are text for the line, which is typed without a look at the session in
// between: "?" lists choices, controls and what follows an ESC may do anything.
size_t text_at(const tsession_s *s, const unsigned char *bytes, size_t count)
{
    size_t run = 0;
    if (s->mode == Mode::line && !s->keyboard.is_pending() && s->nheld == 0) {
        while (run < count && is_text(bytes[run]))
            run++;
    }
    return run;
}

// Takes from the queue what can be done at once: text, or one byte.
size_t next_bytes(tsession_s *s, unsigned char *bytes, size_t capacity)
{
    TypeAhead &queue = s->type_ahead;
    const unsigned char *from = queue.bytes + queue.begin;
    const size_t most = std::min(queue.count, capacity);
    const size_t count = std::max<size_t>(text_at(s, from, most), 1);
    std::copy_n(from, count, bytes);
    queue.begin += count;
    queue.count -= count;
    return count;
}

// A Ctrl-C ends what runs, and what was typed before it is dropped, as a terminal does.
void take_interrupt(tsession_s *s)
{
    TypeAhead &queue = s->type_ahead;
    const unsigned char *from = queue.bytes + queue.begin;
    const auto *last = static_cast<const unsigned char *>(memrchr(from, ctrl_c, queue.count));
    if (!last || s->is_in_command)
        return;
    const size_t dropped = static_cast<size_t>(last - from) + 1;
    queue.begin += dropped;
    queue.count -= dropped;
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
    while (queue.count > 0 && can_take(s)) {
        unsigned char bytes[256];
        const size_t count = next_bytes(s, bytes, std::size(bytes));
        s->keyboard.consume(bytes, count);
    }
    if (!s->is_closed && queue.count > 0)
        take_interrupt(s);
    s->is_taking = false;
    if (queue.count == 0)
        forget(queue);
}

// Text that nothing waits before is typed from where it is. No callback runs meanwhile, so
// nothing else can come between it and the rest.
void add_type_ahead(tsession_s *s, const unsigned char *bytes, size_t count)
{
    s->typed += count;
    if (!has_type_ahead(s) && !s->is_taking && can_take(s)) {
        const size_t text = text_at(s, bytes, count);
        if (text > 0)
            s->keyboard.consume(bytes, text);
        bytes += text;
        count -= text;
    }
    while (count > 0 && !s->is_closed) {
        TypeAhead &queue = s->type_ahead;
        const size_t part = make_room(queue, count);
        if (part == 0) {
            overflow(s);
            return;
        }
        std::copy_n(bytes, part, queue.bytes + queue.begin + queue.count);
        queue.count += part;
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
    return s->type_ahead.count > 0;
}

bool wants_input(const tsession_s *s)
{
    return s->type_ahead.count < enough_kept;
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
