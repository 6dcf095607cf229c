// The keyboard's state machine: finds line ends, escape sequences and pastes in the
// bytes of a terminal. What a sequence means is in the terminal types' table.

#include "keyboard.h"

#include <iterator>
#include <string_view>

namespace varno {

namespace {

constexpr unsigned char ctrl_c = 3;
constexpr unsigned char bel = 7;
constexpr unsigned char can = 24;
constexpr unsigned char sub = 26;
constexpr unsigned char esc = 27;
constexpr unsigned char del = 127;

constexpr mkey_t enter = VIRTKEY_RETURN; // what CR is, too
static_assert(enter == '\r');
constexpr size_t keys_per_event = 256;

constexpr std::string_view paste_begin = "\033[200~";
constexpr std::string_view paste_end = "\033[201~";

bool is_control(unsigned char byte)
{
    return byte < ' ';
}

// Bytes above DEL count as text: they are parts of UTF-8 characters.
bool is_text(unsigned char byte)
{
    return byte >= ' ' && byte != del;
}

bool ends_line(unsigned char byte)
{
    return byte == '\r' || byte == '\n';
}

// CR LF and CR NUL are one line end, of which the CR has been taken already.
bool completes_line_end(bool after_cr, unsigned char byte)
{
    return after_cr && (byte == '\n' || byte == '\0');
}

mkey_t plain_key(unsigned char byte)
{
    return ends_line(byte) ? enter : byte;
}

mkey_t with_meta(mkey_t key)
{
    if (key == VIRTKEY_LEFT)
        return key_word_left;
    return key == VIRTKEY_RIGHT ? key_word_right : key;
}

} // namespace

void Keyboard::begin(const KeyEvents &events, const TerminalType *type)
{
    events_ = events;
    is_pasting_ = false;
    after_cr_ = false;
    set_type(type);
}

void Keyboard::set_type(const TerminalType *type)
{
    type_ = type;
    state_ = State::ground;
    is_meta_ = false;
    is_overlong_ = false;
    sequence_len_ = 0;
}

// Only a sequence's step may use nothing: it then has returned to the ground state,
// where the next turn uses at least one byte.
void Keyboard::consume(const unsigned char *bytes, size_t count)
{
    while (count > 0) {
        size_t used;
        if (state_ != State::ground)
            used = take_sequence(bytes, count);
        else
            used = is_pasting_ ? take_pasted(bytes, count) : take_typed(bytes, count);
        bytes += used;
        count -= used;
    }
}

void Keyboard::time_out()
{
    if (!is_pending())
        return;
    const bool is_lone = state_ == State::escape;
    state_ = State::ground;
    constexpr mkey_t keys[] = {esc, esc};
    if (is_lone)
        pass(keys, is_meta_ ? 2 : 1);
}

size_t Keyboard::take_typed(const unsigned char *bytes, size_t count)
{
    if (*bytes == esc) {
        begin_escape();
        return 1;
    }
    mkey_t keys[keys_per_event];
    size_t used = 0;
    size_t nkeys = 0;
    for (; used < count && nkeys < std::size(keys) && bytes[used] != esc; used++) {
        const unsigned char byte = bytes[used];
        const bool is_second = after_cr_ && (byte == '\n' || byte == '\0'); // of one line end
        if (!is_second)
            keys[nkeys++] = byte == '\n' ? enter : byte;
        after_cr_ = byte == '\r';
    }
    if (nkeys > 0)
        events_.keys(events_.user, keys, nkeys);
    return used;
}

size_t Keyboard::take_pasted(const unsigned char *bytes, size_t count)
{
    size_t used = 0;
    while (used < count && is_text(bytes[used]))
        used++;
    if (used == 0) {
        take_pasted_control(*bytes);
        return 1;
    }
    after_cr_ = false;
    events_.text(events_.user, bytes, used);
    return used;
}

void Keyboard::take_pasted_control(unsigned char byte)
{
    constexpr unsigned char blank = ' ';
    constexpr mkey_t interrupt = ctrl_c;
    const bool was_after_cr = after_cr_;
    after_cr_ = byte == '\r';
    if (byte == esc) {
        begin_escape();
    } else if (byte == '\t') {
        events_.text(events_.user, &blank, 1);
    } else if (ends_line(byte) && !completes_line_end(was_after_cr, byte)) {
        events_.pasted_enter(events_.user);
    } else if (byte == ctrl_c) {
        is_pasting_ = false;
        pass(&interrupt, 1);
    }
}

// Takes bytes of an unfinished sequence. A string's contents mean nothing and are
// skipped in one go.
size_t Keyboard::take_sequence(const unsigned char *bytes, size_t count)
{
    size_t skipped = 0;
    if (state_ == State::string) {
        while (skipped < count && !is_control(bytes[skipped]))
            skipped++;
    }
    if (skipped > 0)
        return skipped;
    if (is_control(*bytes) && state_ != State::escape)
        return take_control(*bytes) ? 1 : 0;
    if (state_ == State::sequence) {
        take_in_sequence(*bytes);
        return 1;
    }
    if (state_ == State::string_escape) {
        begin_escape();
        if (*bytes == '\\') {
            state_ = State::ground;
            return 1;
        }
    }
    return take_after_escape(*bytes) ? 1 : 0;
}

// A control within a sequence. Returns false, in the ground state, for those that
// end it and are keys themselves.
bool Keyboard::take_control(unsigned char byte)
{
    const bool is_string = state_ != State::sequence;
    if (byte == esc && is_string)
        state_ = State::string_escape;
    else if (byte == esc)
        begin_escape();
    else if (byte == ctrl_c || ends_line(byte) || byte == can || byte == sub)
        state_ = State::ground;
    else if (byte == bel && is_string)
        state_ = State::ground;
    return byte != ctrl_c && !ends_line(byte);
}

// The byte after ESC. Returns false, in the ground state, if it is to be taken as if
// the ESC were not there.
bool Keyboard::take_after_escape(unsigned char byte)
{
    switch (byte) {
    case '[':
    case 'O':
        sequence_[0] = esc;
        sequence_[1] = static_cast<char>(byte);
        sequence_len_ = 2;
        is_overlong_ = false;
        state_ = State::sequence;
        return true;
    case ']':
    case 'P':
    case 'X':
    case '^':
    case '_':
        state_ = State::string;
        return true;
    default:
        if (is_pasting_)
            return drop_pasted_escape(byte);
        pass_meta(byte);
        return true;
    }
}

// Text that was copied from a terminal's log has sequences of ESC, characters from
// blank to '/', and one more character.
bool Keyboard::drop_pasted_escape(unsigned char byte)
{
    if (byte == esc || (byte >= ' ' && byte <= '/'))
        return true;
    state_ = State::ground;
    return byte > '/' && byte < del;
}

// ESC and a character. A second ESC may be meta before a sequence or a character, so
// that one waits; what stands before it does not.
void Keyboard::pass_meta(unsigned char byte)
{
    const mkey_t keys[] = {esc, esc, plain_key(byte)};
    const bool is_meta = is_meta_;
    if (byte == esc) {
        is_meta_ = true;
        if (is_meta)
            pass(keys, 1);
        return;
    }
    state_ = State::ground;
    after_cr_ = byte == '\r';
    if (is_meta)
        pass(keys, 3);
    else
        pass(keys + 1, 2);
}

void Keyboard::begin_escape()
{
    state_ = State::escape;
    is_meta_ = false;
    after_cr_ = false;
}

// A byte that is no control. DEL and bytes above it belong to no sequence and do not
// end one.
void Keyboard::take_in_sequence(unsigned char byte)
{
    if (byte >= del)
        return;
    const char next = static_cast<char>(byte);
    const bool is_end = ends_sequence(type_, sequence_, sequence_len_, next);
    if (sequence_len_ < std::size(sequence_))
        sequence_[sequence_len_++] = next;
    else
        is_overlong_ = true;
    if (is_end)
        end_sequence();
}

void Keyboard::end_sequence()
{
    state_ = State::ground;
    if (is_overlong_)
        return;
    const std::string_view sequence(sequence_, sequence_len_);
    if (sequence == paste_begin || sequence == paste_end) {
        is_pasting_ = sequence == paste_begin;
        return;
    }
    const std::optional<mkey_t> found = key_of_sequence(type_, sequence);
    if (is_pasting_ || !found)
        return;
    const mkey_t key = is_meta_ ? with_meta(*found) : *found;
    pass(&key, 1);
}

} // namespace varno
