#ifndef VARNO_TESTS_TELNET_PEER_H
#define VARNO_TESTS_TELNET_PEER_H

// What a telnet client does with a server's stream: the data is told from the
// commands, and these are answered (RFC 854, 855, 1073, 1091).

#include <bitset>
#include <string>
#include <string_view>

namespace varno_test {

class TelnetPeer {
  public:
    explicit TelnetPeer(std::string_view terminal_type = "XTERM", int columns = 80, int rows = 24)
        : terminal_type_(terminal_type), columns_(columns), rows_(rows)
    {}

    // Appends the data among bytes, and what a client says to the commands.
    void take(std::string_view bytes, std::string &out_data, std::string &out_answers);

  private:
    enum class State : unsigned char { data, command, option, sub, sub_command };

    void take_byte(unsigned char byte, std::string &out_data, std::string &out_answers);
    void take_command(unsigned char byte, std::string &out_data);
    void take_sub_command(unsigned char byte, std::string &out_answers);
    void answer_request(unsigned char option, std::string &out_answers);
    void answer_offer(unsigned char option, std::string &out_answers);
    void answer_sub(std::string &out_answers);
    void tell_size(std::string &out_answers) const;

    std::string terminal_type_;
    int columns_, rows_;
    State state_ = State::data;
    unsigned char command_ = 0;
    std::bitset<256> ours_, theirs_; // options in force
    std::string sub_;
};

} // namespace varno_test

#endif
