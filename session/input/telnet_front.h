#ifndef VARNO_SESSION_INPUT_TELNET_FRONT_H
#define VARNO_SESSION_INPUT_TELNET_FRONT_H

// Reads a telnet client's bytes (RFC 854, RFC 855), each once: data, window sizes,
// terminal types, breaks and interrupts go to the session, option negotiation is
// answered here (RFC 1143). No byte sequence can make it keep more than one short
// message or turn a part of a command into typed keys; where the stream is cut
// changes nothing.

#include <cstddef>
#include <cstdint>

namespace varno {

// What is found, in the order of the stream. Every member is set.
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

// One connection's client.
class TelnetFront {
  public:
    // How often a session asks for a terminal type, the opening not counted.
    static constexpr uint8_t max_type_requests = 8;

    // Forgets an earlier connection and sends the opening negotiation.
    void begin(const TelnetEvents &events);

    // Takes any bytes, in any split. Nothing of `bytes` is kept but the few of an
    // unfinished command. Work is linear. An event may leave by an exception; what
    // follows it in `bytes` is then lost.
    void consume(const unsigned char *bytes, size_t count);

    // Asks the client for its terminal type, or for the next that it goes by (RFC
    // 1091). Does nothing when the client has refused the option, and after
    // max_type_requests. The front asks by itself, and counts it, when the client
    // agrees to the option before it has named a type. May be called in an event.
    void ask_terminal_type();

    // Whether the client has answered all that the opening asked for, and told the size
    // and the terminal type that it agreed to tell.
    bool is_opening_answered() const;

    // Whether all of the opening is refused: a client that does not negotiate.
    bool is_opening_refused() const;

    OptionState us(SupportedOption option) const { return us_[option]; }
    OptionState him(SupportedOption option) const { return him_[option]; }

  private:
    enum class State : uint8_t { data, command, option, sub, sub_iac };

    // The longest message of any use: the option, IS, a terminal type.
    static constexpr size_t longest_name = 40;
    static constexpr size_t message_capacity = 1 + 1 + longest_name;

    const unsigned char *take_data(const unsigned char *bytes, const unsigned char *end);
    void take_command(unsigned char byte);
    void take_option(unsigned char code);
    const unsigned char *take_message(const unsigned char *bytes, const unsigned char *end);
    void take_after_message_iac(unsigned char byte);

    void keep(const unsigned char *bytes, size_t count);
    bool is_unescaped_size() const;
    void finish_message();
    void finish_size();
    void finish_terminal_type();

    void refuse(unsigned char code);
    void client_will(size_t option);
    void answer_on(OptionState *state, bool is_wanted, unsigned char agree, unsigned char code);
    void answer_off(OptionState *state, unsigned char confirm, unsigned char code);
    void reply(unsigned char command, unsigned char code);
    void deliver(unsigned char byte);

    TelnetEvents events_;
    State state_;
    uint8_t command_; // WILL, WONT, DO or DONT, in state option
    uint8_t message_len_;
    bool is_overlong_;
    bool has_terminal_type_;
    bool has_size_;
    uint8_t type_requests_;
    OptionState us_[supported_options];
    OptionState him_[supported_options];
    unsigned char message_[message_capacity]; // between IAC SB and IAC SE, escapes not undone
};

} // namespace varno

#endif
