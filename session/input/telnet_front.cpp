// Splits a client's telnet stream (RFC 854, RFC 855) for the parser. The parser
// gets runs of data, window sizes and terminal types, each whole and in one call;
// what it would only trace ends here, so that a flood of commands costs little.
// What a key, a size or a name means is the session's.

#include "telnet_front.h"

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

// Offsets in a subnegotiation: IAC SB option parameters... IAC SE.
constexpr size_t option_at = 2;
constexpr size_t parameters_at = 3;
constexpr size_t terminal_name_at = 4;

constexpr size_t size_bytes = 4; // RFC 1073: two 16-bit numbers
constexpr size_t end_bytes = 2;  // IAC SE

constexpr size_t longest_piece = INT32_MAX - 1; // what the parser takes in one call

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
    {31,     false, true},  // NAWS, RFC 1073; see telnet_make_options for our offer of it
};
// clang-format on

static_assert(std::size(options) == supported_options);
static_assert(options[option_terminal_type].code == 24 && options[option_naws].code == 31);

// Returns supported_options for an option in no row.
size_t find_option(unsigned char code)
{
    size_t option = 0;
    while (option < std::size(options) && options[option].code != code)
        option++;
    return option;
}

bool is_name_character(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '.' || c == '_' || c == '-';
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

// The parser's callbacks. Their user pointer is the filter's record of events.

const TelnetEvents &events_of(void *user)
{
    return *static_cast<const TelnetEvents *>(user);
}

int on_data(telparser_s *, void *user, const unsigned char *buf, int32_t len)
{
    events_of(user).data(events_of(user).user, buf, static_cast<size_t>(len));
    return 0;
}

// The parser insists on one.
void on_trace(telparser_s *, void *, const char *) {}

void on_size(telparser_s *, void *user, int width, int height)
{
    events_of(user).size(events_of(user).user, width, height);
}

void on_terminal(telparser_s *, void *user, const char *name, int32_t)
{
    events_of(user).terminal(events_of(user).user, name);
}

} // namespace

bool TelnetFilter::begin(const TelnetEvents &events)
{
    *this = {};
    events_ = events;
    parser_ = telnet_create_context();
    if (!parser_)
        return false;
    telnet_set_callback_recv(parser_, on_data, &events_);
    telnet_set_callback_trace(parser_, on_trace, nullptr);
    telnet_set_callback_naws(parser_, on_size, &events_);
    telnet_set_callback_term(parser_, on_terminal, &events_);
    int32_t count = 0;
    const unsigned char *opening = telnet_make_options(parser_, &count);
    expect_answers(opening, static_cast<size_t>(count));
    events_.reply(events_.user, opening, static_cast<size_t>(count));
    return true;
}

void TelnetFilter::end()
{
    telnet_free_context(parser_);
    parser_ = nullptr;
}

// Each turn uses at least one byte.
void TelnetFilter::consume(const unsigned char *bytes, size_t count)
{
    size_t at = 0;
    while (at < count) {
        if (state_ == State::data)
            at += consume_data(bytes + at, count - at);
        else if (state_ == State::sub)
            at += consume_message(bytes + at, count - at);
        else
            take(bytes[at++]);
    }
}

void TelnetFilter::ask_terminal_type()
{
    static constexpr unsigned char request[] = {
        TN_NVT_IAC,         TN_NVT_SB,  options[option_terminal_type].code,
        terminal_type_send, TN_NVT_IAC, TN_NVT_SE,
    };
    if (type_requests_ >= max_type_requests || him_[option_terminal_type] == OptionState::no)
        return;
    type_requests_++;
    events_.reply(events_.user, request, std::size(request));
}

// The stream. Each step sets the state that follows before it reports anything.

// A message of `len` bytes without another IAC, before its end. A size is the parser's as
// it stands, if a byte can be read behind it.
inline void TelnetFilter::take_message(const unsigned char *bytes, size_t len, bool has_more)
{
    if (len == parameters_at + size_bytes && bytes[option_at] == options[option_naws].code &&
        has_more) {
        parse(bytes, len + end_bytes);
        return;
    }
    is_overlong_ = false;
    message_len_ = 0;
    keep(bytes, len);
    finish_message();
}

// An IAC; or at once the whole message that it begins, as most of them come: all of it
// there, and without another IAC before its end.
size_t TelnetFilter::consume_command(const unsigned char *bytes, size_t count)
{
    const size_t most = std::min(count, most_kept + 1);
    if (most > parameters_at && bytes[1] == TN_NVT_SB) {
        const void *iac = std::memchr(bytes + option_at, TN_NVT_IAC, most - option_at);
        const auto *end = static_cast<const unsigned char *>(iac);
        if (end && end + 1 < bytes + count && end[1] == TN_NVT_SE) {
            const auto len = static_cast<size_t>(end - bytes);
            take_message(bytes, len, count > len + end_bytes);
            return len + end_bytes;
        }
    }
    state_ = State::command;
    return 1;
}

// A run of data up to the next IAC, out of the caller's bytes; or a command.
inline size_t TelnetFilter::consume_data(const unsigned char *bytes, size_t count)
{
    if (*bytes == TN_NVT_IAC)
        return consume_command(bytes, count);
    const size_t most = std::min(count, longest_piece);
    const void *iac = most > 1 ? std::memchr(bytes + 1, TN_NVT_IAC, most - 1) : nullptr;
    const size_t run =
        iac ? static_cast<size_t>(static_cast<const unsigned char *>(iac) - bytes) : most;
    parse(bytes, run);
    return run;
}

// A run of a message's bytes that mean nothing by themselves; or the one that may.
inline size_t TelnetFilter::consume_message(const unsigned char *bytes, size_t count)
{
    size_t run = 0;
    while (run < count && bytes[run] != TN_NVT_IAC && bytes[run] != TN_NVT_SE)
        run++;
    if (run == 0) {
        take_message_byte(*bytes);
        return 1;
    }
    keep(bytes, run);
    return run;
}

void TelnetFilter::take(unsigned char byte)
{
    switch (state_) {
    case State::data:
        break; // consume_data
    case State::command:
        return take_command(byte);
    case State::option:
        return take_option(byte);
    case State::sub:
        return take_message_byte(byte);
    case State::sub_iac:
        return take_after_message_iac(byte);
    }
}

// The byte behind an IAC. Ignored are NOP, Data Mark, Abort Output, Go Ahead, an SE
// that ends nothing, and the codes below 240, which RFC 854 gives no meaning.
void TelnetFilter::take_command(unsigned char byte)
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
        return begin_message();
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

void TelnetFilter::take_option(unsigned char code)
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

void TelnetFilter::take_message_byte(unsigned char byte)
{
    if (byte == TN_NVT_IAC)
        state_ = State::sub_iac;
    else if (byte == TN_NVT_SE && is_unescaped_size())
        finish_message();
    else
        keep(byte);
}

// Within a message nothing but IAC SE counts: a command in there is a part of the
// message, and so is all that follows it.
void TelnetFilter::take_after_message_iac(unsigned char byte)
{
    if (byte == TN_NVT_SE)
        return finish_message();
    state_ = State::sub;
    keep(TN_NVT_IAC);
    keep(byte);
}

// Subnegotiation

// The rest of a message that has outgrown its room passes by, up to its end.
inline void TelnetFilter::keep(unsigned char byte)
{
    if (message_len_ < most_kept)
        message_[message_len_++] = byte;
    else
        is_overlong_ = true;
}

void TelnetFilter::begin_message()
{
    state_ = State::sub;
    is_overlong_ = false;
    message_len_ = 0;
    keep(TN_NVT_IAC);
    keep(TN_NVT_SB);
}

void TelnetFilter::keep(const unsigned char *bytes, size_t count)
{
    const size_t kept = std::min(count, most_kept - message_len_);
    std::memcpy(message_ + message_len_, bytes, kept);
    message_len_ = static_cast<uint8_t>(message_len_ + kept);
    is_overlong_ |= kept < count;
}

// A size whose last value is a 255 that was not escaped takes the IAC of its end
// for the second half of an escape: the SE then stands where nothing may follow.
bool TelnetFilter::is_unescaped_size() const
{
    unsigned char values[size_bytes];
    return message_len_ > parameters_at + size_bytes &&
           message_[option_at] == options[option_naws].code &&
           message_[message_len_ - 1] == TN_NVT_IAC && message_[message_len_ - 2] == TN_NVT_IAC &&
           undo_escapes(message_ + parameters_at, message_len_ - parameters_at, values) ==
               size_bytes;
}

// Messages of other options, too long or without an option, are dropped whole.
void TelnetFilter::finish_message()
{
    state_ = State::data;
    if (is_overlong_ || message_len_ <= option_at)
        return;
    switch (message_[option_at]) {
    case options[option_naws].code:
        return finish_size();
    case options[option_terminal_type].code:
        return finish_terminal_type();
    default:
        return;
    }
}

// Four values, escapes undone; or else four bytes that were not escaped at all (a
// value of 65535). The parser gets what is free of 255, which it would not undo.
void TelnetFilter::finish_size()
{
    const unsigned char *parameters = message_ + parameters_at;
    const size_t count = message_len_ - parameters_at;
    const unsigned char *parameters_end = parameters + count;
    if (count == size_bytes && std::find(parameters, parameters_end, TN_NVT_IAC) == parameters_end)
        return parse_message();
    unsigned char values[size_bytes];
    const size_t stored = undo_escapes(parameters, count, values);
    if (stored != size_bytes && count != size_bytes)
        return;
    const unsigned char *numbers = stored == size_bytes ? values : parameters;
    events_.size(events_.user, number_at(numbers), number_at(numbers + 2));
}

void TelnetFilter::finish_terminal_type()
{
    if (message_len_ <= terminal_name_at || message_[parameters_at] != terminal_type_is)
        return;
    if (!std::all_of(message_ + terminal_name_at, message_ + message_len_, is_name_character))
        return;
    has_terminal_type_ = true;
    parse_message();
}

// Closes the message and hands it to the parser. `keep` has left room for its end
// and the byte behind it.
void TelnetFilter::parse_message()
{
    const size_t count = message_len_ + end_bytes;
    message_[count - 2] = TN_NVT_IAC;
    message_[count - 1] = TN_NVT_SE;
    message_[count] = 0;
    parse(message_, count);
}

// The parser uses up each piece: it is a run without IAC, or one whole message.
void TelnetFilter::parse(const unsigned char *bytes, size_t count)
{
    telnet_consume(parser_, bytes, static_cast<int32_t>(count));
}

// Negotiation (RFC 1143): only a request that changes a state, or one that is
// refused, is answered, so that no exchange goes round.

// The opening is requests of three bytes, then the question for the terminal type.
void TelnetFilter::expect_answers(const unsigned char *opening, size_t count)
{
    for (size_t at = 0; at + 3 <= count && opening[at + 1] != TN_NVT_SB; at += 3) {
        const size_t option = find_option(opening[at + 2]);
        OptionState *states = opening[at + 1] == TN_NVT_WILL ? us_ : him_;
        if (option < supported_options)
            states[option] = OptionState::want_yes;
    }
}

// An option that nobody supports is off for ever: there is nothing to remember, and
// WONT and DONT need no answer.
void TelnetFilter::refuse(unsigned char code)
{
    if (command_ == TN_NVT_WILL)
        reply(TN_NVT_DONT, code);
    else if (command_ == TN_NVT_DO)
        reply(TN_NVT_WONT, code);
}

// A client that did not yet know of the option when the opening asked for its
// terminal type may have passed over the question.
void TelnetFilter::client_will(size_t option)
{
    const bool was_on = him_[option] == OptionState::yes;
    answer_on(&him_[option], options[option].is_his, TN_NVT_DO, options[option].code);
    if (option == option_terminal_type && !was_on && !has_terminal_type_)
        ask_terminal_type();
}

// To a WILL or a DO. A refusal is the agreement's next code: DONT for DO, WONT for WILL.
void TelnetFilter::answer_on(OptionState *state, bool is_wanted, unsigned char agree,
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
void TelnetFilter::answer_off(OptionState *state, unsigned char confirm, unsigned char code)
{
    const OptionState before = *state;
    *state = OptionState::no;
    if (before == OptionState::yes)
        reply(confirm, code);
}

void TelnetFilter::reply(unsigned char command, unsigned char code)
{
    const unsigned char bytes[] = {TN_NVT_IAC, command, code};
    events_.reply(events_.user, bytes, std::size(bytes));
}

// A byte of data that did not stand in the stream as itself.
void TelnetFilter::deliver(unsigned char byte)
{
    events_.data(events_.user, &byte, 1);
}

} // namespace varno
