#ifndef VARNO_SESSION_INPUT_TELNET_FRONT_H
#define VARNO_SESSION_INPUT_TELNET_FRONT_H

// Stands between a client's bytes and the telnet parser: splits the stream into
// whole, harmless pieces, answers option negotiation (RFC 1143), and bounds what
// an endless or hostile message can make anybody keep. No byte sequence can bring
// the parser to a fatal check, keep bytes in its buffer, or turn a part of a
// command into typed keys; where the stream is cut changes nothing.

#include <varno/telnet_parser.h>

#include <cstddef>
#include <cstdint>

namespace varno {

// What the filter finds, in the order of the stream. Every member is set.
struct TelnetEvents {
    void *user;
    // Escapes undone. The client's Erase Character arrives as the byte 127 and its
    // Erase Line as 21, the keys that people press for them: what they erase is up
    // to whoever reads keys.
    void (*data)(void *user, const unsigned char *bytes, size_t count);
    void (*size)(void *user, int columns, int rows); // as sent, 0..65535; 0: unknown
    // 1 to 40 of [a-z0-9+._-]. A client may name a type again, or another one.
    void (*terminal)(void *user, const char *name);
    void (*interrupt)(void *user); // Interrupt Process
    void (*brk)(void *user);       // Break
    void (*are_you_there)(void *user);
    // To be sent as it is. At most three bytes for a request of three bytes, besides
    // the opening and max_type_requests questions for the terminal type.
    void (*reply)(void *user, const unsigned char *bytes, size_t count);
};

// RFC 1143's state of one option on one side. WANTNO and the queue's OPPOSITE do
// not arise: after the opening this side asks for nothing, and it never asks for
// an option to be off.
enum class OptionState : uint8_t { no, yes, want_yes };

// The options that a session uses; every other one is refused, once per request.
// ORDER supported options
enum SupportedOption : uint8_t {
    option_binary,
    option_echo,
    option_suppress_go_ahead,
    option_terminal_type,
    option_naws,
    supported_options
};

// One connection's filter. It stays where it is between begin and end.
class TelnetFilter {
  public:
    // How often a session asks for a terminal type, the opening not counted.
    static constexpr uint8_t max_type_requests = 8;

    // Sends the opening negotiation of telnet_make_options through events.reply.
    // Returns false without memory for the parser; end() is then allowed.
    bool begin(const TelnetEvents &events);

    void end();

    // Takes any bytes, in any split. Nothing of `bytes` is kept but the few of an
    // unfinished command. Work is linear. An event may leave by an exception; the
    // filter then only accepts end(), since the rest of `bytes` is lost.
    void consume(const unsigned char *bytes, size_t count);

    // Asks the client for its terminal type, or for the next that it goes by (RFC
    // 1091). Does nothing when the client has refused the option, and after
    // max_type_requests. The filter asks by itself, and counts it, when the client
    // agrees to the option before it has named a type. May be called in an event.
    void ask_terminal_type();

    OptionState us(SupportedOption option) const { return us_[option]; }
    OptionState him(SupportedOption option) const { return him_[option]; }

  private:
    enum class State : uint8_t { data, command, option, sub, sub_iac };

    // Enough for the longest message that is of any use: IAC SB, the option, IS, a
    // terminal type of 40 characters, IAC SE and one readable byte behind it.
    static constexpr size_t message_capacity = 2 + 1 + 1 + 40 + 2 + 1;
    static constexpr size_t most_kept = message_capacity - 2 - 1;

    size_t consume_data(const unsigned char *bytes, size_t count);
    size_t consume_command(const unsigned char *bytes, size_t count);
    void take_message(const unsigned char *bytes, size_t len, bool has_more);
    size_t consume_message(const unsigned char *bytes, size_t count);
    void take(unsigned char byte);
    void take_command(unsigned char byte);
    void take_option(unsigned char code);
    void take_message_byte(unsigned char byte);
    void take_after_message_iac(unsigned char byte);

    void begin_message();
    void keep(unsigned char byte);
    void keep(const unsigned char *bytes, size_t count);
    bool is_unescaped_size() const;
    void finish_message();
    void finish_size();
    void finish_terminal_type();
    void parse_message();
    void parse(const unsigned char *bytes, size_t count);

    void expect_answers(const unsigned char *opening, size_t count);
    void refuse(unsigned char code);
    void client_will(size_t option);
    void answer_on(OptionState *state, bool is_wanted, unsigned char agree, unsigned char code);
    void answer_off(OptionState *state, unsigned char confirm, unsigned char code);
    void reply(unsigned char command, unsigned char code);
    void deliver(unsigned char byte);

    TelnetEvents events_;
    telparser_s *parser_;
    State state_;
    uint8_t command_;
    uint8_t message_len_;
    bool is_overlong_;
    bool has_terminal_type_;
    uint8_t type_requests_;
    OptionState us_[supported_options];
    OptionState him_[supported_options];
    unsigned char message_[message_capacity]; // escapes not undone
};

} // namespace varno

#endif
