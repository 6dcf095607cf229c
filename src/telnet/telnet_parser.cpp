// Splits a client's telnet stream into user data and commands (RFC 854, RFC 855).
// Keeps nothing between calls and answers nothing: the host writes the opening
// negotiation, keeps what was not used, and decides what to do with the reports.

#include <varno/telnet_parser.h>

#include <varno/platform.h>

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include "char_class.h"
#include "contract.h"

using namespace varno;

namespace {

constexpr char source_name[] = "telnet_parser";

constexpr int option_echo = 1;              // RFC 857
constexpr int option_suppress_go_ahead = 3; // RFC 858
constexpr int option_terminal_type = 24;    // RFC 1091
constexpr int option_naws = 31;             // RFC 1073
constexpr unsigned char terminal_type_is = 0;
constexpr unsigned char terminal_type_send = 1;

constexpr int32_t terminal_name_max = 40;

constexpr size_t text_room = 256; // of a message, its terminator included

// Offsets in a subnegotiation: IAC SB option parameters... IAC SE.
constexpr int32_t option_at = 2;
constexpr int32_t parameters_at = 3;

// IAC SB NAWS, two 16-bit numbers, IAC SE.
constexpr int32_t naws_bytes = 9;
constexpr int32_t naws_end_at = 7;
constexpr int32_t malformed_naws_bytes = 6;

// Hosts print these rows. The texts are observable, their slips included: keep them letter for
// letter.
// Row: code - TN_NVT_SE. ORDER telnet commands
// clang-format off
constexpr telnet_command_s commands[] = {
    // name       parameters              code               description
    {"SE",        nullptr,                TN_NVT_SE,         "End of subnegotiation parameters"},
    {"NOP",       nullptr,                TN_NVT_NOP,        "No operation"},
    {"DATAMARK",  nullptr,                TN_NVT_DATAMARK,   "Dara Mark - the data stream portion of a Synch. (unsupported)"},
    {"BRK",       nullptr,                TN_NVT_BRK,        "NVT character Break"},
    {"INTERRUPT", nullptr,                TN_NVT_INTERRUPT,  "The function Interrupt Process"},
    {"ABRT",      nullptr,                TN_NVT_ABRT,       "The function Abort Output"},
    {"AYT",       nullptr,                TN_NVT_AYT,        "The function Are You There"},
    {"ECHAR",     nullptr,                TN_NVT_ECHAR,      "The function Erase Character"},
    {"ELINE",     nullptr,                TN_NVT_ELINE,      "The function Erase Line"},
    {"GA",        nullptr,                TN_NVT_GA,         "The Go Ahead signal"},
    {"SB",        "option code + params", TN_NVT_SB,         "Indicates that what follows is subnegotiation of the option"},
    {"WILL",      "option code",          TN_NVT_WILL,       "Indicates the desire to begin performing, or confirmation that youare now performing, the option"},
    {"WONT",      "option code",          TN_NVT_WONT,       "Indicates the refusal to perform, or continue performing, the indicated option"},
    {"DO",        "option code",          TN_NVT_DO,         "Indicates the request that the other party perform, or confirmation that you are expecting the other party to perform, the indicated option"},
    {"DONT",      "option code",          TN_NVT_DONT,       "Indicates the demand that the other party stop performing, or confirmation that you are no longer expecting the other party to perform, the indicated option"},
    {"IAC",       nullptr,                TN_NVT_IAC,        "Data Byte 255 (escaped to allow as transit data)"},
};

// The server's opening negotiation. It offers NAWS as well as asking for it, and
// asks for the terminal type without waiting for the client's WILL.
constexpr unsigned char opening[] = {
    TN_NVT_IAC, TN_NVT_WILL, option_echo,
    TN_NVT_IAC, TN_NVT_WILL, option_naws,
    TN_NVT_IAC, TN_NVT_DO,   option_naws,
    TN_NVT_IAC, TN_NVT_WILL, option_suppress_go_ahead,
    TN_NVT_IAC, TN_NVT_DO,   option_suppress_go_ahead,
    TN_NVT_IAC, TN_NVT_DO,   option_terminal_type,
    TN_NVT_IAC, TN_NVT_SB,   option_terminal_type, terminal_type_send, TN_NVT_IAC, TN_NVT_SE,
};
// clang-format on

constexpr bool is_in_code_order()
{
    for (size_t row = 0; row < std::size(commands); row++) {
        if (commands[row].code != TN_NVT_SE + row)
            return false;
    }
    return true;
}

static_assert(std::size(commands) == 16 && is_in_code_order());
static_assert(std::size(opening) == 24);

constexpr const telnet_command_s *row_of(int code)
{
    if (code < TN_NVT_SE || code > TN_NVT_IAC)
        return nullptr;
    return &commands[code - TN_NVT_SE];
}

// The way out for all messages; its check is what makes the callback mandatory.
void emit(telparser_s *ctx, const char *text)
{
    VARNO_ASSERT_AS(ctx->trace_fn, "ctx->trace_fn");
    ctx->trace_fn(ctx, ctx->trace_user, text);
}

// The parser's own messages are put together without printf, which would cost more
// than all the rest of a command.

char *put(char *to, const char *end, std::string_view piece)
{
    const size_t count = std::min(piece.size(), static_cast<size_t>(end - to));
    std::memcpy(to, piece.data(), count);
    return to + count;
}

char *put(char *to, char *end, int number)
{
    return std::to_chars(to, end, number).ptr;
}

void trace(telparser_s *ctx, std::string_view before, int number, std::string_view after = "")
{
    char text[text_room];
    char *const end = text + std::size(text) - 1;
    *put(put(put(text, end, before), end, number), end, after) = '\0';
    emit(ctx, text);
}

// Of a subnegotiation: the option after the text, then a number of bytes.
void trace_option(telparser_s *ctx, std::string_view before, int option, int len)
{
    char text[text_room];
    char *const end = text + std::size(text) - 1;
    char *to = put(put(put(text, end, before), end, option), end, " (len: ");
    *put(put(to, end, len), end, ")") = '\0';
    emit(ctx, text);
}

// The messages that a stream full of commands is made of are put together beforehand.
template <size_t rows>
struct text_table {
    char text[rows][40];
};

constexpr char *append(char *to, const char *piece)
{
    while (*piece != '\0')
        *to++ = *piece++;
    return to;
}

constexpr char *append(char *to, int number)
{
    if (number >= 10)
        to = append(to, number / 10);
    *to++ = static_cast<char>('0' + number % 10);
    return to;
}

// ORDER telnet commands
constexpr text_table<std::size(commands)> make_discard_texts()
{
    text_table<std::size(commands)> made{};
    for (size_t row = 0; row < std::size(commands); row++) {
        char *to = append(made.text[row], "Discarding command ");
        to = append(append(to, commands[row].name), " (");
        append(append(to, commands[row].code), ")");
    }
    return made;
}

constexpr auto discard_texts = make_discard_texts();

// Row: the number in the text.
template <size_t rows>
constexpr text_table<rows> make_numbered(const char *before, const char *after)
{
    text_table<rows> made{};
    for (size_t row = 0; row < rows; row++)
        append(append(append(made.text[row], before), static_cast<int>(row)), after);
    return made;
}

#define CONSUMED "NVT processing consumed "
#define CONSUMED_MESSAGE "Consumed a sub-opt message of length "
constexpr auto consumed_texts = make_numbered<10>(CONSUMED, "\n");
constexpr auto consumed_message_texts = make_numbered<10>(CONSUMED_MESSAGE, "");

void trace_consumed(telparser_s *ctx, int32_t n)
{
    if (static_cast<uint32_t>(n) < std::size(consumed_texts.text))
        emit(ctx, consumed_texts.text[n]);
    else
        trace(ctx, CONSUMED, n, "\n");
}

void trace_consumed_message(telparser_s *ctx, int32_t n)
{
    if (static_cast<uint32_t>(n) < std::size(consumed_message_texts.text))
        emit(ctx, consumed_message_texts.text[n]);
    else
        trace(ctx, CONSUMED_MESSAGE, n);
}

// Index of the first IAC in buf[from..buflen); buflen when there is none. A person types
// a byte at a time: of one byte, a look costs less than the call.
int32_t find_iac(const unsigned char *buf, int32_t from, int32_t buflen)
{
    if (buflen == 1)
        return buf[0] == TN_NVT_IAC ? 0 : 1;
    const void *found = std::memchr(buf + from, TN_NVT_IAC, static_cast<size_t>(buflen - from));
    if (!found)
        return buflen;
    return static_cast<int32_t>(static_cast<const unsigned char *>(found) - buf);
}

// The pointer is into the caller's buffer: nothing is copied.
void deliver(telparser_s *ctx, const unsigned char *buf, int32_t len)
{
    if (ctx->recv_fn)
        ctx->recv_fn(ctx, ctx->recv_user, buf, len);
}

// Subnegotiation. Each handler gets the message buf[0..len), IAC SB to IAC SE, and
// returns the number of bytes it used; 0: incomplete.

// The least k from 3 on with IAC SE at k and no IAC before it, k + 1 inside the
// buffer; -1: none. An escaped 255 right before the end thus hides it, and the
// message lasts until the next end mark.
int32_t find_end(const unsigned char *buf, int32_t buflen)
{
    const int32_t last = buflen - 1;
    for (int32_t k = parameters_at; k < last; k++) {
        k = find_iac(buf, k, last);
        if (k < last && buf[k + 1] == TN_NVT_SE && buf[k - 1] != TN_NVT_IAC)
            return k;
    }
    return -1;
}

// Two bytes in network order (RFC 1073). Escapes are not undone here.
int number_at(const unsigned char *buf)
{
    return buf[0] * 256 + buf[1];
}

// Needs nine bytes of the stream, whatever the message's own length. A message
// whose values hold an escaped 255 is longer: it is reported as it stands, and
// then fails the check, or has no end at the expected place: then all but the last
// byte of the numbers is skipped, and the rest passes on as data.
int32_t consume_naws(telparser_s *ctx, const unsigned char *buf, int32_t len, int32_t buflen)
{
    if (buflen < naws_bytes)
        return 0;
    if (buf[naws_end_at] != TN_NVT_IAC || buf[naws_end_at + 1] != TN_NVT_SE) {
        emit(ctx, "saw malformed NAWS message: missing IAC SE");
        return malformed_naws_bytes;
    }
    if (ctx->naws_fn)
        ctx->naws_fn(ctx, ctx->naws_user, number_at(buf + 3), number_at(buf + 5));
    VARNO_ASSERT(len == 9);
    return naws_bytes;
}

// Whatever is wrong with it, a terminal type is used up whole, its end included. The
// name is lowered into a buffer of its own, since the stream is the caller's; the copy
// is bounded by that buffer whatever the check before it says.
int32_t consume_terminal_type(telparser_s *ctx, const unsigned char *buf, int32_t len)
{
    const unsigned char *name = buf + parameters_at + 1;
    const int32_t term_len = len - 2 - (parameters_at + 1);
    // Without parameters the byte here is the end's IAC: not IS either.
    const int command = buf[parameters_at];
    if (command != terminal_type_is) {
        trace(ctx, "malformed termtype message: cmd ", command, " is not IS");
        return len;
    }
    if (term_len < 1 || term_len > terminal_name_max) {
        trace(ctx, "termtype message termlength is too large: ", term_len);
        return len;
    }
    VARNO_ASSERT(term_len > 0);
    char lowered[terminal_name_max + 1];
    int32_t count = 0;
    for (; count < term_len && count < terminal_name_max; count++)
        lowered[count] = to_lower(static_cast<char>(name[count]));
    lowered[count] = '\0';
    if (ctx->term_fn)
        ctx->term_fn(ctx, ctx->term_user, lowered, term_len);
    return len;
}

// Skips up to the first IAC from the option byte on. The SE after it stays in
// the stream and passes on as data, and so does the byte before a nested command
// (with an option of 255, the SB): hosts that cannot have that drop such messages
// before they come here. The IAC lies at 2 or later, so at least one byte is used.
int32_t consume_unsupported(telparser_s *ctx, const unsigned char *buf, int32_t buflen)
{
    const int option = buf[option_at];
    trace(ctx, "Skipping unsupported options negotiation for option: ", option);
    const int32_t j = find_iac(buf, option_at, buflen);
    // The end that was found holds an IAC; only a callback that changed the buffer
    // can have taken it away.
    if (j >= buflen - 1) {
        trace_option(ctx, "Unable to completely consume option: ", option, buflen);
        return 0;
    }
    if (buf[j + 1] == TN_NVT_SE) {
        trace_option(ctx, "Consuming unsupported option: ", option, j + 1);
        return j + 1;
    }
    trace(ctx, "Saw an IAC command within the SB/SE: ", buf[j + 1]);
    return j - 1;
}

// `*end` is an end mark of this buffer found by an earlier message, or its start.
// Where it lies past this message's option it is this message's end too: a
// buffer full of openings is searched once, not once for each.
int32_t message_bytes(const unsigned char *buf, int32_t buflen, const unsigned char **end)
{
    if (buflen < parameters_at)
        return 0;
    if (*end < buf + parameters_at) {
        const int32_t k = find_end(buf, buflen);
        if (k < 0)
            return 0;
        *end = buf + k;
    }
    return static_cast<int32_t>(*end - buf) + 2;
}

// Nothing is looked at before the end is there, whatever the option. A message that
// cannot be used up yet is traced each time it is presented.
int32_t consume_subnegotiation(telparser_s *ctx, const unsigned char *buf, int32_t buflen,
                               const unsigned char **end)
{
    VARNO_ASSERT(ctx && buf && buf[0] == TN_NVT_IAC && buflen > 1);
    VARNO_ASSERT(buf[1] == TN_NVT_SB);
    const int32_t len = message_bytes(buf, buflen, end);
    int32_t n = 0;
    if (len > 0 && buf[option_at] == option_naws)
        n = consume_naws(ctx, buf, len, buflen);
    else if (len > 0 && buf[option_at] == option_terminal_type)
        n = consume_terminal_type(ctx, buf, len);
    else if (len > 0)
        n = consume_unsupported(ctx, buf, buflen);
    if (n == 0)
        emit(ctx, "Could not consume sub-opt message");
    else
        trace_consumed_message(ctx, n);
    return n;
}

// Commands of two and three bytes: each returns the number of bytes used.

// RFC 854 gives codes below 240 no meaning after an IAC.
int32_t skip_invalid(telparser_s *ctx, int code)
{
    trace(ctx, "Invalid NVT command ", code);
    return 2;
}

int32_t skip_stray_end(telparser_s *ctx)
{
    emit(ctx, "Saw IAC SE without corresponding IAC SB");
    return 2;
}

int32_t discard(telparser_s *ctx, int code)
{
    emit(ctx, discard_texts.text[code - TN_NVT_SE]);
    return 2;
}

// Not traced by name, unlike its neighbours: the callback is the report.
int32_t report_break(telparser_s *ctx)
{
    if (ctx->brk_fn)
        ctx->brk_fn(ctx, ctx->brk_user);
    return 2;
}

// A run of its own, out of the caller's buffer: the second IAC is the byte.
int32_t deliver_escaped(telparser_s *ctx, const unsigned char *iac)
{
    deliver(ctx, iac, 1);
    return 2;
}

// Requests are neither answered nor remembered: which options are on, and the
// answers that end a negotiation (RFC 1143), are the host's.
int32_t note_request(telparser_s *ctx, std::string_view request, int option)
{
    trace(ctx, request, option);
    return 3;
}

// The command at buf[0], an IAC, with buflen bytes up to the buffer's end. The
// option byte of a request is read unchecked: where the buffer ends before it, it
// is the byte that the caller keeps readable past the buffer.
int32_t consume_command(telparser_s *ctx, const unsigned char *buf, int32_t buflen,
                        const unsigned char **end)
{
    if (buflen < 2)
        return 0;
    switch (buf[1]) {
    case TN_NVT_SE:
        return skip_stray_end(ctx);
    case TN_NVT_NOP:
    case TN_NVT_DATAMARK:
    case TN_NVT_INTERRUPT:
    case TN_NVT_ABRT:
    case TN_NVT_AYT:
    case TN_NVT_ECHAR:
    case TN_NVT_ELINE:
    case TN_NVT_GA:
        return discard(ctx, buf[1]);
    case TN_NVT_BRK:
        return report_break(ctx);
    case TN_NVT_SB:
        return consume_subnegotiation(ctx, buf, buflen, end);
    case TN_NVT_WILL:
        return note_request(ctx, "Client WILL option ", buf[2]);
    case TN_NVT_WONT:
        return note_request(ctx, "Client WONT option ", buf[2]);
    case TN_NVT_DO:
        return note_request(ctx, "Client request DO option ", buf[2]);
    case TN_NVT_DONT:
        return note_request(ctx, "Client request DONT option ", buf[2]);
    case TN_NVT_IAC:
        return deliver_escaped(ctx, buf + 1);
    default:
        return skip_invalid(ctx, buf[1]);
    }
}

// Consumes from the buffer's first IAC on. Each turn uses at least one byte, or
// returns. Data after the last command is left for a later call, which delivers it
// when it sees no command. The run before an incomplete command is delivered all the
// same, so the caller keeps only the command.
int32_t consume_commands(telparser_s *ctx, const unsigned char *buf, int32_t iac, int32_t buflen)
{
    const unsigned char *end = buf;
    int32_t position = 0; // start of the data run, after the last command
    while (iac < buflen) {
        if (iac > position) {
            emit(ctx, "Have some text buffered up");
            deliver(ctx, buf + position, iac - position);
        }
        const int32_t n = consume_command(ctx, buf + iac, buflen - iac, &end);
        trace_consumed(ctx, n);
        if (n == 0)
            return iac;
        position = iac + n;
        if (position >= buflen)
            return position;
        iac = find_iac(buf, position, buflen);
    }
    return position;
}

} // namespace

telparser_s *telnet_create_context(void)
{
    return static_cast<telparser_s *>(tracked_calloc(1, sizeof(telparser_s), "telparser_s"));
}

void telnet_free_context(telparser_s *ctx)
{
    tracked_free(ctx, "telparser_s");
}

void telnet_set_callback_recv(telparser_s *ctx, telnet_data_fn fn, void *user)
{
    ctx->recv_fn = fn;
    ctx->recv_user = user;
}

void telnet_set_callback_send(telparser_s *ctx, telnet_data_fn fn, void *user)
{
    ctx->send_fn = fn;
    ctx->send_user = user;
}

void telnet_set_callback_trace(telparser_s *ctx, telnet_trace_fn fn, void *user)
{
    ctx->trace_fn = fn;
    ctx->trace_user = user;
}

void telnet_set_callback_naws(telparser_s *ctx, telnet_naws_fn fn, void *user)
{
    ctx->naws_fn = fn;
    ctx->naws_user = user;
}

void telnet_set_callback_term(telparser_s *ctx, telnet_term_fn fn, void *user)
{
    ctx->term_fn = fn;
    ctx->term_user = user;
}

void telnet_set_callback_brk(telparser_s *ctx, telnet_brk_fn fn, void *user)
{
    ctx->brk_fn = fn;
    ctx->brk_user = user;
}

const unsigned char *telnet_make_options(telparser_s *ctx, int32_t *out_len)
{
    VARNO_ASSERT(ctx && out_len);
    *out_len = static_cast<int32_t>(std::size(opening));
    trace(ctx, "Returning options buffer (length: ", *out_len, ")");
    return opening;
}

// The host's messages.
void telnet_trace(telparser_s *ctx, const char *format, ...)
{
    VARNO_ASSERT_AS(ctx && ctx->trace_fn, "ctx->trace_fn");
    char text[text_room];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, std::size(text), format, arguments);
    va_end(arguments);
    if (length < 0)
        text[0] = '\0';
    emit(ctx, text);
}

// Only a buffer of plain data is delivered to its end.
int32_t telnet_consume(telparser_s *ctx, const unsigned char *buf, int32_t buflen)
{
    VARNO_ASSERT(buf && buflen > 0 && ctx);
    const int32_t iac = find_iac(buf, 0, buflen);
    if (iac < buflen)
        return consume_commands(ctx, buf, iac, buflen);
    deliver(ctx, buf, buflen);
    return buflen;
}

// ORDER telnet commands
const telnet_command_s *telnet_iac_command_name(telparser_s *ctx, int code)
{
    const telnet_command_s *row = row_of(code);
    if (!row) {
        VARNO_ASSERT_AS(ctx, "ctx->trace_fn");
        trace(ctx, "Request for out of range command name: ", code);
    }
    return row;
}
