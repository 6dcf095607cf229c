// A byte at a time, but for runs of data. What is in force already is not answered
// again, so that no two sides can go on for ever.

#include "telnet_peer.h"

#include <arpa/telnet.h>

namespace varno_test {
namespace {

constexpr size_t longest_sub = 64;

void say(std::string &out_answers, int command, unsigned char option)
{
    out_answers += {static_cast<char>(IAC), static_cast<char>(command), static_cast<char>(option)};
}

void append_number(std::string &out, int number)
{
    for (const int byte : {number >> 8 & 255, number & 255}) {
        out += static_cast<char>(byte);
        if (byte == IAC)
            out += static_cast<char>(IAC);
    }
}

bool is_wanted_of_us(unsigned char option)
{
    return option == TELOPT_NAWS || option == TELOPT_TTYPE || option == TELOPT_BINARY;
}

bool is_wanted_of_them(unsigned char option)
{
    return option == TELOPT_ECHO || option == TELOPT_SGA || option == TELOPT_BINARY;
}

} // namespace

void TelnetPeer::take(std::string_view bytes, std::string &out_data, std::string &out_answers)
{
    while (!bytes.empty()) {
        if (state_ == State::data) {
            const std::string_view run = bytes.substr(0, bytes.find('\xff'));
            out_data += run;
            bytes.remove_prefix(run.size());
        }
        if (!bytes.empty()) {
            take_byte(static_cast<unsigned char>(bytes.front()), out_data, out_answers);
            bytes.remove_prefix(1);
        }
    }
}

void TelnetPeer::take_byte(unsigned char byte, std::string &out_data, std::string &out_answers)
{
    switch (state_) {
    case State::data:
        state_ = State::command;
        break;
    case State::command:
        take_command(byte, out_data);
        break;
    case State::option:
        state_ = State::data;
        if (command_ == DO || command_ == DONT)
            answer_request(byte, out_answers);
        else
            answer_offer(byte, out_answers);
        break;
    case State::sub:
        if (byte == IAC)
            state_ = State::sub_command;
        else if (sub_.size() < longest_sub)
            sub_ += static_cast<char>(byte);
        break;
    case State::sub_command:
        take_sub_command(byte, out_answers);
        break;
    }
}

void TelnetPeer::take_command(unsigned char byte, std::string &out_data)
{
    command_ = byte;
    state_ = byte >= WILL && byte <= DONT ? State::option : State::data;
    if (byte == IAC)
        out_data += static_cast<char>(byte);
    if (byte == SB) {
        sub_.clear();
        state_ = State::sub;
    }
}

void TelnetPeer::take_sub_command(unsigned char byte, std::string &out_answers)
{
    state_ = byte == SE ? State::data : State::sub;
    if (byte == SE)
        answer_sub(out_answers);
    else if (sub_.size() < longest_sub)
        sub_ += static_cast<char>(byte);
}

void TelnetPeer::answer_request(unsigned char option, std::string &out_answers)
{
    const bool is_on = command_ == DO && is_wanted_of_us(option);
    if (is_on != ours_[option] || (command_ == DO && !is_on))
        say(out_answers, is_on ? WILL : WONT, option);
    if (is_on && !ours_[option] && option == TELOPT_NAWS)
        tell_size(out_answers);
    ours_[option] = is_on;
}

void TelnetPeer::answer_offer(unsigned char option, std::string &out_answers)
{
    const bool is_on = command_ == WILL && is_wanted_of_them(option);
    if (is_on != theirs_[option] || (command_ == WILL && !is_on))
        say(out_answers, is_on ? DO : DONT, option);
    theirs_[option] = is_on;
}

void TelnetPeer::answer_sub(std::string &out_answers)
{
    if (sub_ != std::string{TELOPT_TTYPE, TELQUAL_SEND})
        return;
    say(out_answers, SB, TELOPT_TTYPE);
    out_answers += static_cast<char>(TELQUAL_IS);
    out_answers += terminal_type_;
    out_answers += {static_cast<char>(IAC), static_cast<char>(SE)};
}

void TelnetPeer::tell_size(std::string &out_answers) const
{
    say(out_answers, SB, TELOPT_NAWS);
    append_number(out_answers, columns_);
    append_number(out_answers, rows_);
    out_answers += {static_cast<char>(IAC), static_cast<char>(SE)};
}

} // namespace varno_test
