// Reads a client's telnet stream (RFC 854, RFC 855) byte by byte and answers its
// negotiation (RFC 1143). What a key, a size or a name means is the session's.

#include "telnet_front.h"

#include <varno/telnet_parser.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace varno {
namespace {

constexpr unsigned char terminal_type_is = 0; // RFC 1091
constexpr unsigned char terminal_type_send = 1;

// What keyboards send for the client's editing commands.
constexpr unsigned char erase_character_key = 127; // DEL
constexpr unsigned char erase_line_key = 21;       // Ctrl-U

constexpr size_t size_bytes = 4; // RFC 1073: two 16-bit numbers

// Which side may use each option. ORDER supported options
struct OptionRow {
    unsigned char code;
    bool is_ours;
    bool is_his;
};

// clang-format off
constexpr OptionRow options[] = {
    // code  ours   his
    { 0,     true,  true},  // BINARY, RFC 856
    { 1,     true,  false}, // ECHO, RFC 857
    { 3,     true,  true},  // SUPPRESS-GO-AHEAD, RFC 858
    {24,     false, true},  // TERMINAL-TYPE, RFC 1091
    {31,     false, true},  // NAWS, RFC 1073; the opening offers it all the same
};

// What the opening asks for, before the question for the terminal type: what
// telnet_make_options gives a host that uses the parser.
constexpr struct {
    unsigned char command;
    SupportedOption option;
} opening[] = {
    // command    option
    {TN_NVT_WILL, option_echo},
    {TN_NVT_WILL, option_naws},
    {TN_NVT_DO,   option_naws},
    {TN_NVT_WILL, option_suppress_go_ahead},
    {TN_NVT_DO,   option_suppress_go_ahead},
    {TN_NVT_DO,   option_terminal_type},
};
// clang-format on

static_assert(std::size(options) == supported_options);
static_assert(options[option_terminal_type].code == 24 && options[option_naws].code == 31);

constexpr unsigned char type_question[] = {
    TN_NVT_IAC,         TN_NVT_SB,  options[option_terminal_type].code,
    terminal_type_send, TN_NVT_IAC, TN_NVT_SE,
};

// Returns supported_options for an option in no row.
size_t find_option(unsigned char code)
{
    size_t option = 0;
    while (option < std::size(options) && options[option].code != code)
        option++;
    return option;
}

// Returns the character of a terminal's name in lower case; 0 for one that may not
// stand in it.
char name_character(unsigned char byte)
{
    if (byte >= 'A' && byte <= 'Z')
        return static_cast<char>(byte - 'A' + 'a');
    const bool is_allowed = (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
                            byte == '+' || byte == '.' || byte == '_' || byte == '-';
    return is_allowed ? static_cast<char>(byte) : '\0';
}

// Stores the first four values; returns how many there are. A 255 before another
// byte was not escaped: some clients send a size of 255 so, and mean just that.
size_t undo_escapes(const unsigned char *bytes, size_t count, unsigned char (&values)[size_bytes])
{
    size_t stored = 0;
    for (size_t at = 0; at < count; at++, stored++) {
        if (stored < std::size(values))
            values[stored] = bytes[at];
        if (bytes[at] == TN_NVT_IAC && at + 1 < count && bytes[at + 1] == TN_NVT_IAC)
            at++;
    }
    return stored;
}

int number_at(const unsigned char *bytes)
{
    return bytes[0] * 256 + bytes[1];
}

} // namespace

void TelnetFront::begin(const TelnetEvents &events)
{
    *this = {};
    events_ = events;
    unsigned char bytes[3 * std::size(opening) + std::size(type_question)];
    unsigned char *next = bytes;
    for (const auto &request : opening) {
        *next++ = TN_NVT_IAC;
        *next++ = request.command;
        *next++ = options[request.option].code;
        OptionState *states = request.command == TN_NVT_WILL ? us_ : him_;
        states[request.option] = OptionState::want_yes;
    }
    std::memcpy(next, type_question, std::size(type_question));
    events_.reply(events_.user, bytes, std::size(bytes));
}

// Each turn uses at least one byte. Each step sets the state that follows before it
// reports anything, so that an event may leave by an exception.
void TelnetFront::consume(const unsigned char *bytes, size_t count)
{
    const unsigned char *end = bytes + count;
    while (bytes < end) {
        switch (state_) {
        case State::data:
            bytes = take_data(bytes, end);
            break;
        case State::command:
            take_command(*bytes++);
            break;
        case State::option:
            take_option(*bytes++);
            break;
        case State::sub:
            bytes = take_message(bytes, end);
            break;
        case State::sub_iac:
            take_after_message_iac(*bytes++);
            break;
        }
    }
}

void TelnetFront::ask_terminal_type()
{
    if (type_requests_ >= max_type_requests || him_[option_terminal_type] == OptionState::no)
        return;
    type_requests_++;
    events_.reply(events_.user, type_question, std::size(type_question));
}

bool TelnetFront::is_opening_answered() const
{
    for (const auto &request : opening) {
        const OptionState *states = request.command == TN_NVT_WILL ? us_ : him_;
        if (states[request.option] == OptionState::want_yes)
            return false;
    }
    return (has_size_ || him_[option_naws] == OptionState::no) &&
           (has_terminal_type_ || him_[option_terminal_type] == OptionState::no);
}

bool TelnetFront::is_opening_refused() const
{
    return std::all_of(std::begin(opening), std::end(opening), [this](const auto &request) {
        const OptionState *states = request.command == TN_NVT_WILL ? us_ : him_;
        return states[request.option] == OptionState::no;
    });
}

// A run of data up to the next IAC, out of the caller's bytes; or the IAC.
const unsigned char *TelnetFront::take_data(const unsigned char *bytes, const unsigned char *end)
{
    if (*bytes == TN_NVT_IAC) {
        state_ = State::command;
        return bytes + 1;
    }
    const void *iac = std::memchr(bytes, TN_NVT_IAC, static_cast<size_t>(end - bytes));
    const unsigned char *run_end = iac ? static_cast<const unsigned char *>(iac) : end;
    events_.data(events_.user, bytes, static_cast<size_t>(run_end - bytes));
    return run_end;
}

// The byte after an IAC. Ignored are NOP, Data Mark, Abort Output, Go Ahead, an SE
// that ends nothing, and the codes below 240, which RFC 854 gives no meaning.
void TelnetFront::take_command(unsigned char byte)
{
    state_ = State::data;
    switch (byte) {
    case TN_NVT_BRK:
        return events_.brk(events_.user);
    case TN_NVT_INTERRUPT:
        return events_.interrupt(events_.user);
    case TN_NVT_AYT:
        return events_.are_you_there(events_.user);
    case TN_NVT_ECHAR:
        return deliver(erase_character_key);
    case TN_NVT_ELINE:
        return deliver(erase_line_key);
    case TN_NVT_SB:
        message_len_ = 0;
        is_overlong_ = false;
        state_ = State::sub;
        return;
    case TN_NVT_WILL:
    case TN_NVT_WONT:
    case TN_NVT_DO:
    case TN_NVT_DONT:
        command_ = byte;
        state_ = State::option;
        return;
    case TN_NVT_IAC:
        return deliver(TN_NVT_IAC);
    default:
        return;
    }
}

void TelnetFront::take_option(unsigned char code)
{
    state_ = State::data;
    const size_t option = find_option(code);
    if (option == supported_options)
        return refuse(code);
    switch (command_) {
    case TN_NVT_WILL:
        return client_will(option);
    case TN_NVT_WONT:
        return answer_off(&him_[option], TN_NVT_DONT, code);
    case TN_NVT_DO:
        return answer_on(&us_[option], options[option].is_ours, TN_NVT_WILL, code);
    default:
        return answer_off(&us_[option], TN_NVT_WONT, code);
    }
}

// Subnegotiation

// A run of a message's bytes that mean nothing by themselves; or the one that may.
const unsigned char *TelnetFront::take_message(const unsigned char *bytes, const unsigned char *end)
{
    const unsigned char *run_end = bytes;
    while (run_end < end && *run_end != TN_NVT_IAC && *run_end != TN_NVT_SE)
        run_end++;
    keep(bytes, static_cast<size_t>(run_end - bytes));
    if (run_end == end)
        return end;
    if (*run_end == TN_NVT_IAC)
        state_ = State::sub_iac;
    else if (is_unescaped_size())
        finish_message();
    else
        keep(run_end, 1);
    return run_end + 1;
}

// Within a message nothing but IAC SE counts: a command in there is a part of the
// message, and so is all that follows it.
void TelnetFront::take_after_message_iac(unsigned char byte)
{
    if (byte == TN_NVT_SE)
        return finish_message();
    const unsigned char pair[] = {TN_NVT_IAC, byte};
    state_ = State::sub;
    keep(pair, std::size(pair));
}

// The rest of a message that has outgrown its room passes by, up to its end.
void TelnetFront::keep(const unsigned char *bytes, size_t count)
{
    const size_t kept = std::min(count, std::size(message_) - message_len_);
    std::memcpy(message_ + message_len_, bytes, kept);
    message_len_ = static_cast<uint8_t>(message_len_ + kept);
    is_overlong_ |= kept < count;
}

// A size whose last value is a 255 that was not escaped takes the IAC of its end
// for the second half of an escape: the SE then stands where nothing may follow.
bool TelnetFront::is_unescaped_size() const
{
    unsigned char values[size_bytes];
    return message_len_ > 1 + size_bytes && message_[0] == options[option_naws].code &&
           message_[message_len_ - 1] == TN_NVT_IAC && message_[message_len_ - 2] == TN_NVT_IAC &&
           undo_escapes(message_ + 1, message_len_ - 1, values) == size_bytes;
}

// Messages of other options, too long or without an option, are dropped whole.
void TelnetFront::finish_message()
{
    state_ = State::data;
    if (is_overlong_ || message_len_ == 0)
        return;
    if (message_[0] == options[option_naws].code)
        finish_size();
    else if (message_[0] == options[option_terminal_type].code)
        finish_terminal_type();
}

// Four values, escapes undone; or else four bytes that were not escaped at all (a
// value of 65535).
void TelnetFront::finish_size()
{
    const size_t count = message_len_ - 1;
    unsigned char values[size_bytes];
    if (undo_escapes(message_ + 1, count, values) != size_bytes) {
        if (count != size_bytes)
            return;
        std::memcpy(values, message_ + 1, size_bytes);
    }
    has_size_ = true;
    events_.size(events_.user, number_at(values), number_at(values + 2));
}

void TelnetFront::finish_terminal_type()
{
    char name[longest_name + 1];
    size_t len = 0;
    if (message_len_ < 3 || message_[1] != terminal_type_is)
        return;
    for (size_t at = 2; at < message_len_; at++) {
        name[len] = name_character(message_[at]);
        if (name[len++] == '\0')
            return;
    }
    name[len] = '\0';
    has_terminal_type_ = true;
    events_.terminal(events_.user, name);
}

// Negotiation (RFC 1143): only a request that changes a state, or one that is
// refused, is answered, so that no exchange goes round.

// An option that nobody supports is off for ever: there is nothing to remember, and
// WONT and DONT need no answer.
void TelnetFront::refuse(unsigned char code)
{
    if (command_ == TN_NVT_WILL)
        reply(TN_NVT_DONT, code);
    else if (command_ == TN_NVT_DO)
        reply(TN_NVT_WONT, code);
}

// A client that did not yet know of the option when the opening asked for its
// terminal type may have passed over the question.
void TelnetFront::client_will(size_t option)
{
    const bool was_on = him_[option] == OptionState::yes;
    answer_on(&him_[option], options[option].is_his, TN_NVT_DO, options[option].code);
    if (option == option_terminal_type && !was_on && !has_terminal_type_)
        ask_terminal_type();
}

// To a WILL or a DO. A refusal is the agreement's next code: DONT for DO, WONT for WILL.
void TelnetFront::answer_on(OptionState *state, bool is_wanted, unsigned char agree,
                            unsigned char code)
{
    static_assert(TN_NVT_WILL + 1 == TN_NVT_WONT && TN_NVT_DO + 1 == TN_NVT_DONT);
    const OptionState before = *state;
    if (before != OptionState::no || is_wanted)
        *state = OptionState::yes;
    if (before == OptionState::no)
        reply(is_wanted ? agree : static_cast<unsigned char>(agree + 1), code);
}

// To a WONT or a DONT: nobody may refuse to stop. A refused offer needs no answer.
void TelnetFront::answer_off(OptionState *state, unsigned char confirm, unsigned char code)
{
    const OptionState before = *state;
    *state = OptionState::no;
    if (before == OptionState::yes)
        reply(confirm, code);
}

void TelnetFront::reply(unsigned char command, unsigned char code)
{
    const unsigned char bytes[] = {TN_NVT_IAC, command, code};
    events_.reply(events_.user, bytes, std::size(bytes));
}

// A byte of data that did not stand in the stream as itself.
void TelnetFront::deliver(unsigned char byte)
{
    events_.data(events_.user, &byte, 1);
}

} // namespace varno
