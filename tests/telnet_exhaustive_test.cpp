// Everything short that a telnet client can send, at every state of the session's
// front, against a reading of whole streams that is written from the rules alone.
// Longer ones: VARNO_LONG_TESTS=2 telnet_exhaustive_test

#include "input/telnet_front.h"
#include "support/long_tests.h"
#include "support/spelling.h"

#include <array>
#include <cctype>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno::TelnetFront;
using varno_test::long_tests_factor;
using varno_test::spell;
using namespace std::string_view_literals;

constexpr unsigned char se = 240, sb = 250, will = 251, wont = 252, iac = 255;
constexpr unsigned char size_option = 31, type_option = 24;

std::string bytes(std::initializer_list<int> values)
{
    std::string text;
    for (const int value : values)
        text += static_cast<char>(value);
    return text;
}

// What is told, as one text: a data byte in brackets, all else in words. Grouping of
// data does not show.
std::string data_text(unsigned char byte)
{
    return {'[', static_cast<char>(byte), ']'};
}

std::string size_text(int columns, int rows)
{
    return "size " + std::to_string(columns) + " " + std::to_string(rows) + ";";
}

std::string reply_text(std::string_view reply)
{
    return "reply " + std::string(reply) + ";";
}

// One connection, opened.
class Connection {
  public:
    Connection()
    {
        front_.begin(
            {.user = this,
             .data =
                 [](void *user, const unsigned char *data, size_t count) {
                     for (size_t i = 0; i < count; i++)
                         log_of(user) += data_text(data[i]);
                 },
             .size = [](void *user, int columns,
                        int rows) { log_of(user) += size_text(columns, rows); },
             .terminal =
                 [](void *user, const char *name) {
                     log_of(user) += std::string("type ") + name + ";";
                 },
             .interrupt = [](void *user) { log_of(user) += "interrupt;"; },
             .brk = [](void *user) { log_of(user) += "break;"; },
             .are_you_there = [](void *user) { log_of(user) += "there?;"; },
             .reply =
                 [](void *user, const unsigned char *reply, size_t count) {
                     log_of(user) += reply_text({reinterpret_cast<const char *>(reply), count});
                 }});
        log_.clear();
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void feed(std::string_view stream)
    {
        front_.consume(reinterpret_cast<const unsigned char *>(stream.data()), stream.size());
    }

    const std::string &log() const { return log_; }

  private:
    static std::string &log_of(void *user) { return static_cast<Connection *>(user)->log_; }

    TelnetFront front_;
    std::string log_;
};

// The reading. A message is cut out whole first and understood then.
class Reading {
  public:
    explicit Reading(std::string_view stream) : rest_(stream)
    {
        while (!rest_.empty() && read_one()) {
        }
    }

    const std::string &text() const { return text_; }

  private:
    static constexpr size_t longest_message = 42; // option included, escapes not undone

    int at(size_t index) const { return static_cast<unsigned char>(rest_[index]); }

    // False when what has begun does not end.
    bool read_one()
    {
        if (at(0) != iac)
            return read_data(0, 1);
        if (rest_.size() < 2)
            return false;
        switch (at(1)) {
        case iac:
            return read_data(1, 2);
        case 243:
            return told("break;");
        case 244:
            return told("interrupt;");
        case 246:
            return told("there?;");
        case 247: // erase character: DEL
            return told(data_text(127));
        case 248: // erase line: Ctrl-U
            return told(data_text(21));
        case sb:
            return read_message();
        default:
            return at(1) > sb ? read_request() : told("");
        }
    }

    bool used(size_t count)
    {
        rest_.remove_prefix(count);
        return true;
    }

    bool told(std::string_view text)
    {
        text_ += text;
        return used(2);
    }

    bool read_data(size_t index, size_t count)
    {
        text_ += data_text(static_cast<unsigned char>(rest_[index]));
        return used(count);
    }

    // IAC and its neighbour stand together until the end.
    bool read_message()
    {
        for (size_t i = 2; i < rest_.size(); i++) {
            const bool is_pair = at(i) == iac;
            if (is_pair && i + 1 == rest_.size())
                return false;
            if (is_pair ? at(i + 1) == se : at(i) == se && is_size_with_bare_end(i)) {
                understand(rest_.substr(2, i - 2));
                return used(i + 1 + is_pair);
            }
            i += is_pair;
        }
        return false;
    }

    // The four values of a size that stand before the index, the last a 255 that was
    // not doubled: then the end mark's IAC reads as its double.
    bool is_size_with_bare_end(size_t index) const
    {
        const std::string_view body = rest_.substr(2, index - 2);
        return body.starts_with(size_option) && body.ends_with("\xff\xff") &&
               values_of(body.substr(1)).size() == 4;
    }

    // A 255 and its double are one.
    static std::string values_of(std::string_view body)
    {
        std::string values;
        for (size_t i = 0; i < body.size(); i++) {
            values += body[i];
            i += body.substr(i, 2) == "\xff\xff"sv;
        }
        return values;
    }

    void understand(std::string_view body)
    {
        if (body.empty() || body.size() > longest_message)
            return;
        if (body.starts_with(size_option))
            understand_size(body.substr(1));
        else if (body.starts_with("\x18\0"sv))
            understand_type(body.substr(2));
    }

    void understand_size(std::string_view body)
    {
        std::string values = values_of(body);
        if (values.size() != 4)
            values = body;
        if (values.size() != 4)
            return;
        const auto number = [&](size_t i) {
            return static_cast<unsigned char>(values[i]) * 256 +
                   static_cast<unsigned char>(values[i + 1]);
        };
        text_ += size_text(number(0), number(2));
    }

    void understand_type(std::string_view name)
    {
        std::string lower;
        for (const char c : name) {
            if (!std::isalnum(static_cast<unsigned char>(c)) && "+._-"sv.find(c) == "+._-"sv.npos)
                return;
            lower += static_cast<char>(std::tolower(c));
        }
        is_named_ = is_named_ || !name.empty();
        text_ += name.empty() ? "" : "type " + lower + ";";
    }

    enum State : uint8_t { off, on, asked };

    // Who asks for what is already so gets no answer (RFC 1143).
    bool read_request()
    {
        if (rest_.size() < 3)
            return false;
        const int verb = at(1);
        const int option = at(2);
        const bool is_his = verb == will || verb == wont;
        const bool is_on = verb == will || verb == 253;
        State &state = (is_his ? his_ : ours_)[static_cast<size_t>(option)];
        const State before = state;
        const bool is_welcome =
            (is_his ? "\0\3\x18\x1f"sv : "\0\1\3"sv).find(static_cast<char>(option)) !=
            std::string_view::npos;
        state = is_on && (is_welcome || before != off) ? on : off;
        const bool is_answered = is_on ? before == off : before == on;
        const int yes = is_his ? 253 : will;
        if (is_answered)
            text_ += reply_text(bytes({iac, state == on ? yes : yes + 1, option}));
        if (verb == will && option == type_option && before != on && !is_named_ && questions_++ < 8)
            text_ += reply_text(bytes({iac, sb, type_option, 1, iac, se}));
        return used(3);
    }

    using Side = std::array<State, 256>;

    static Side opened(std::initializer_list<size_t> options)
    {
        Side side = {};
        for (const size_t option : options)
            side[option] = asked;
        return side;
    }

    std::string_view rest_;
    std::string text_;
    Side ours_ = opened({1, 3, size_option});
    Side his_ = opened({3, type_option, size_option});
    bool is_named_ = false;
    int questions_ = 0;
};

void expect_read(std::string_view stream, const std::vector<size_t> &cuts,
                 const std::string &wanted)
{
    Connection connection;
    size_t from = 0;
    for (const size_t cut : cuts) {
        connection.feed(stream.substr(from, cut - from));
        from = cut;
    }
    connection.feed(stream.substr(from));
    ASSERT_EQ(connection.log(), wanted) << spell(stream) << " in " << cuts.size() + 1 << " pieces";
}

// In one piece, byte by byte, and cut once at every place.
void expect_read_wherever_it_is_cut(std::string_view stream)
{
    const std::string wanted = Reading(stream).text();
    ASSERT_NO_FATAL_FAILURE(expect_read(stream, {}, wanted));
    std::vector<size_t> everywhere;
    for (size_t cut = 1; cut < stream.size(); cut++) {
        everywhere.push_back(cut);
        ASSERT_NO_FATAL_FAILURE(expect_read(stream, {cut}, wanted));
    }
    ASSERT_NO_FATAL_FAILURE(expect_read(stream, everywhere, wanted));
}

// Calls visit with all texts of so many characters over an alphabet.
template <typename Visit>
void for_each_text(std::string_view alphabet, size_t length, Visit visit)
{
    size_t count = 1;
    for (size_t i = 0; i < length; i++)
        count *= alphabet.size();
    for (size_t number = 0; number < count && !testing::Test::HasFatalFailure(); number++) {
        std::string text;
        for (size_t rest = number, i = 0; i < length; i++, rest /= alphabet.size())
            text += alphabet[rest % alphabet.size()];
        visit(text);
    }
}

// What follows shows where a message has ended; the last IAC SE ends it in any case.
const std::string after_message = "z\xff\xf0y\xff\xf0\xff\xf0x";

class Subnegotiation : public testing::TestWithParam<size_t> {};

TEST_P(Subnegotiation, IsReadAsTheRulesSayWhereverItIsCut)
{
    const std::string alphabet = bytes({iac, se, sb, 0, 1, size_option, type_option, 13, 'a'});
    const size_t length = GetParam() + (long_tests_factor() > 1 ? 1 : 0);
    for_each_text(alphabet, length, [](const std::string &body) {
        expect_read_wherever_it_is_cut("\xff\xfa" + body + "\xff\xf0" + after_message);
    });
}

INSTANTIATE_TEST_SUITE_P(OfLength, Subnegotiation, testing::Values(0, 1, 2, 3, 4, 5));

// All sizes of values that matter to escaping, escaped or not.
TEST(Subnegotiation, OfASizeIsReadAsTheRulesSay)
{
    const std::string values = bytes({0, 1, 13, se, sb, iac});
    for (size_t length = 3; length <= 6; length++) {
        for_each_text(values, length, [](const std::string &body) {
            const std::string stream = "\xff\xfa\x1f" + body + "\xff\xf0" + after_message;
            expect_read(stream, {}, Reading(stream).text());
        });
    }
}

// One state each of the front, with what it keeps of a message.
const std::vector<std::string> &beginnings()
{
    static const std::vector<std::string> all = [] {
        const std::string size = bytes({iac, sb, size_option});
        const std::string type = bytes({iac, sb, type_option});
        std::vector<std::string> begin = {
            "", "x", bytes({iac, sb}), bytes({iac, sb, 5}), bytes({iac, sb, 5, 1}), size, type};
        for (int verb = will; verb < iac; verb++)
            begin.push_back(bytes({iac, verb}));
        for (const auto &values : {"\0"sv, "\0P"sv, "\0P\0"sv, "\0P\0\x18"sv, "\0P\xff\xff"sv,
                                   "\0P\0\xff\xff"sv, "\0P\0\x18\x18"sv})
            begin.push_back(size + std::string(values));
        for (const auto &name : {"\0"sv, "\0v"sv, "\1"sv, "\0v/"sv})
            begin.push_back(type + std::string(name));
        begin.push_back(type + bytes({0}) + std::string(39, 'v'));
        begin.push_back(type + bytes({0}) + std::string(40, 'v'));
        begin.push_back(type + bytes({0}) + std::string(41, 'v'));
        return begin;
    }();
    return all;
}

// And each of them after an IAC.
TEST(TelnetByte, InEveryStateIsReadAsTheRulesSay)
{
    std::string after = bytes({0, 1, 5, 13, type_option, size_option, 'a', se, 246, sb, will, iac});
    for (int byte = 0; long_tests_factor() > 1 && byte < 256; byte++)
        after += static_cast<char>(byte);
    for (const std::string &begin : beginnings()) {
        for (const std::string_view mark : {""sv, "\xff"sv}) {
            for (int byte = 0; byte < 256; byte++) {
                for (const char next : after) {
                    const std::string stream = begin + std::string(mark) + bytes({byte}) + next +
                                               "\xff\xf0" + after_message;
                    const std::string wanted = Reading(stream).text();
                    const size_t from = begin.size();
                    ASSERT_NO_FATAL_FAILURE(expect_read(stream, {}, wanted));
                    ASSERT_NO_FATAL_FAILURE(
                        expect_read(stream, {from, from + 1, from + 2, from + 3}, wanted));
                }
            }
        }
    }
}

// Both sides of every option, in all states that five requests lead to.
TEST(TelnetRequests, OfEveryOptionAreAnsweredAsTheRulesSay)
{
    const std::string verbs = bytes({will, wont, 253, 254});
    for (int option = 0; option < 256; option++) {
        for_each_text(verbs, 5, [option](const std::string &requests) {
            std::string stream;
            for (const char verb : requests)
                stream += "\xff" + std::string(1, verb) + bytes({option});
            expect_read(stream, {}, Reading(stream).text());
        });
    }
}

} // namespace
