// The session's telnet front: single streams as tables, each one cut at every
// place, and hostile streams against a plain interpreter of whole streams.

#include "input/telnet_front.h"
#include "support/assertion.h"
#include "support/spelling.h"

#include <varno/platform_default.h>

#include <cctype>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using varno::OptionState;
using varno::TelnetEvents;
using varno::TelnetFront;
using varno_test::spell;

// Notation: bytes as decimal numbers and quoted text: 255 241 'ab' 13.
std::string bytes_of(std::string_view text)
{
    std::string bytes;
    for (size_t at = 0; at < text.size();) {
        if (text[at] == ' ') {
            at++;
        } else if (text[at] == '\'') {
            const size_t close = text.find('\'', at + 1);
            if (close == text.npos)
                throw std::invalid_argument("an open quote");
            bytes += text.substr(at + 1, close - at - 1);
            at = close + 1;
        } else if (!std::isdigit(static_cast<unsigned char>(text[at]))) {
            throw std::invalid_argument("neither a number nor quoted text");
        } else {
            int value = 0;
            for (; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); at++)
                value = value * 10 + (text[at] - '0');
            bytes += static_cast<char>(value);
        }
    }
    return bytes;
}

std::string repeated(std::string_view bytes, size_t count)
{
    std::string text;
    for (size_t n = 0; n < count; n++)
        text += bytes;
    return text;
}

std::string byte(int value)
{
    return std::string(1, static_cast<char>(value));
}

// Events, merged: adjacent data is one.
class EventLog {
  public:
    void data(std::string_view bytes) { data_ += bytes; }
    void add(std::string event)
    {
        flush();
        text_ += (text_.empty() ? "" : "; ") + event;
    }
    std::string take()
    {
        flush();
        return std::exchange(text_, {});
    }

  private:
    void flush()
    {
        if (!data_.empty()) {
            const std::string run = std::exchange(data_, {});
            add("data " + spell(run));
        }
    }
    std::string data_;
    std::string text_;
};

std::string reply_text(std::string_view bytes)
{
    static const std::map<int, std::string> names = {
        {251, "WILL"}, {252, "WONT"}, {253, "DO"}, {254, "DONT"}};
    const auto command = names.find(bytes.size() == 3 ? static_cast<unsigned char>(bytes[1]) : 0);
    if (bytes == bytes_of("255 250 24 1 255 240"))
        return "sent SEND";
    if (bytes[0] != '\xff' || command == names.end())
        return "sent " + spell(bytes);
    return "sent " + command->second + " " + std::to_string(static_cast<unsigned char>(bytes[2]));
}

// One connection: its front on the heap, and what it reported. The opening has
// been sent and is not in the log.
class Connection {
  public:
    Connection()
    {
        assert_set_handler(fail, nullptr);
        open();
        log_.take();
        sent_bytes = 0;
        events = 0;
    }
    ~Connection() { assert_set_handler(nullptr, nullptr); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void open()
    {
        front_->begin(
            {this, on_data, on_size, on_terminal, on_interrupt, on_break, on_ayt, on_reply});
    }

    TelnetFront &front() { return *front_; }

    // The block ends right after the bytes.
    void feed(std::string_view bytes)
    {
        const auto block = std::make_unique<unsigned char[]>(bytes.size());
        if (!bytes.empty())
            std::memcpy(block.get(), bytes.data(), bytes.size());
        front_->consume(block.get(), bytes.size());
    }

    std::string take() { return log_.take(); }

    size_t events = 0;
    size_t sent_bytes = 0;
    const unsigned char *last_data = nullptr;
    std::string sent;
    std::function<void()> after_event;

  private:
    [[noreturn]] static void fail(void *, const char *condition, const char *source, int line)
    {
        ADD_FAILURE() << source << ":" << line << ": " << condition;
        throw varno_test::FailedAssertion{condition, source, line};
    }

    void happened()
    {
        events++;
        if (after_event)
            after_event();
    }

    static Connection &of(void *user) { return *static_cast<Connection *>(user); }

    static void on_data(void *user, const unsigned char *bytes, size_t count)
    {
        EXPECT_GT(count, 0u);
        of(user).last_data = bytes;
        of(user).log_.data({reinterpret_cast<const char *>(bytes), count});
        of(user).happened();
    }
    static void on_event(void *user, std::string event)
    {
        of(user).log_.add(std::move(event));
        of(user).happened();
    }
    static void on_size(void *user, int columns, int rows)
    {
        on_event(user, "size " + std::to_string(columns) + " " + std::to_string(rows));
    }
    static void on_terminal(void *user, const char *name)
    {
        on_event(user, std::string("terminal ") + name);
    }
    static void on_interrupt(void *user) { on_event(user, "interrupt"); }
    static void on_break(void *user) { on_event(user, "break"); }
    static void on_ayt(void *user) { on_event(user, "ayt"); }
    static void on_reply(void *user, const unsigned char *bytes, size_t count)
    {
        const std::string_view reply(reinterpret_cast<const char *>(bytes), count);
        of(user).sent_bytes += count;
        of(user).sent += reply;
        on_event(user, reply_text(reply));
    }

    std::unique_ptr<TelnetFront> front_ = std::make_unique<TelnetFront>();
    EventLog log_;
};

// What a whole stream means, told without states: it looks ahead for each end.
class Interpreter {
  public:
    std::string operator()(std::string_view stream)
    {
        for (size_t at = 0; at < stream.size();) {
            if (stream[at] != '\xff') {
                log_.data(stream.substr(at++, 1));
                continue;
            }
            const size_t used = command(stream.substr(at));
            if (used == 0)
                break; // unfinished
            at += used;
        }
        return log_.take();
    }

    size_t requests = 0;

  private:
    static int at(std::string_view bytes, size_t index)
    {
        return static_cast<unsigned char>(bytes[index]);
    }

    size_t command(std::string_view rest)
    {
        if (rest.size() < 2)
            return 0;
        const int code = at(rest, 1);
        if (code == 250)
            return message(rest);
        if (code >= 251 && code <= 254) {
            if (rest.size() < 3)
                return 0;
            request(code, at(rest, 2));
            return 3;
        }
        const std::map<int, std::string> data = {{255, "\xff"}, {247, "\x7f"}, {248, "\x15"}};
        const std::map<int, std::string> named = {{243, "break"}, {244, "interrupt"}, {246, "ayt"}};
        if (data.count(code))
            log_.data(data.at(code));
        if (named.count(code))
            log_.add(named.at(code));
        return 2;
    }

    // IAC SB ... IAC SE. In front of the end 255 and its neighbour stand together.
    size_t message(std::string_view rest)
    {
        std::string body;
        for (size_t i = 2; i < rest.size(); i++) {
            if (rest[i] == '\xf0' && ends_unescaped(body)) {
                meaning(body);
                return i + 1;
            }
            body += rest[i];
            if (rest[i] != '\xff')
                continue;
            if (++i == rest.size())
                return 0;
            if (rest[i] == '\xf0') {
                body.pop_back();
                meaning(body);
                return i + 1;
            }
            body += rest[i];
        }
        return 0;
    }

    static std::string unescaped(std::string_view text)
    {
        std::string values(text);
        for (size_t i = values.find("\xff\xff"); i != values.npos;
             i = values.find("\xff\xff", i + 1))
            values.erase(i, 1);
        return values;
    }

    // IAC SB NAWS a b c 255 IAC SE: the 255 was meant as it stands.
    static bool ends_unescaped(const std::string &body)
    {
        return body.starts_with('\x1f') && body.ends_with("\xff\xff") &&
               unescaped(body.substr(1)).size() == 4;
    }

    void meaning(const std::string &body)
    {
        if (body.starts_with('\x1f')) {
            std::string values = unescaped(body.substr(1));
            if (values.size() != 4)
                values = body.substr(1);
            if (values.size() == 4)
                log_.add("size " + std::to_string(at(values, 0) * 256 + at(values, 1)) + " " +
                         std::to_string(at(values, 2) * 256 + at(values, 3)));
        }
        if (body.starts_with(std::string("\x18\0", 2)))
            terminal(body.substr(2));
    }

    void terminal(std::string name)
    {
        if (name.empty() || name.size() > 40)
            return;
        for (char &c : name) {
            if (!std::strchr("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+._-",
                             c) ||
                c == '\0')
                return;
            c = static_cast<char>(std::tolower(c));
        }
        is_named_ = true;
        log_.add("terminal " + name);
    }

    // The states of an option are a letter: n(o), y(es), a(sked for).
    void request(int code, int option)
    {
        requests++;
        const bool is_about_him = code < 253;
        auto &side = is_about_him ? him_ : us_;
        const std::string wanted =
            is_about_him ? std::string("\0\3\x18\x1f", 4) : std::string("\0\1\3", 3);
        const char before = side.count(option) ? side[option] : 'n';
        const bool is_on = code % 2 != 0;
        const bool is_wanted = wanted.find(static_cast<char>(option)) != wanted.npos;
        side[option] = is_on && (is_wanted || before != 'n') ? 'y' : 'n';
        const std::string yes = is_about_him ? "DO " : "WILL ";
        const std::string no = is_about_him ? "DONT " : "WONT ";
        if (is_on && before == 'n')
            log_.add("sent " + (is_wanted ? yes : no) + std::to_string(option));
        if (!is_on && before == 'y')
            log_.add("sent " + no + std::to_string(option));
        if (code == 251 && option == 24 && before != 'y' && !is_named_ && asked_++ < 8)
            log_.add("sent SEND");
    }

    EventLog log_;
    std::map<int, char> us_ = {{1, 'a'}, {3, 'a'}, {31, 'a'}};
    std::map<int, char> him_ = {{3, 'a'}, {24, 'a'}, {31, 'a'}};
    bool is_named_ = false;
    int asked_ = 0;
};

// Feeds a stream in pieces that begin at the cuts.
std::string events_of(std::string_view stream, const std::vector<size_t> &cuts)
{
    Connection connection;
    size_t from = 0;
    for (const size_t cut : cuts) {
        connection.feed(stream.substr(from, cut - from));
        from = cut;
    }
    connection.feed(stream.substr(from));
    return connection.take();
}

std::vector<size_t> everywhere_in(std::string_view stream)
{
    std::vector<size_t> cuts;
    for (size_t cut = 1; cut < stream.size(); cut++)
        cuts.push_back(cut);
    return cuts;
}

// In one piece, cut once at every place, and byte by byte.
void expect_events(std::string_view stream, const std::string &wanted)
{
    SCOPED_TRACE(spell(stream));
    ASSERT_EQ(events_of(stream, {}), wanted);
    for (const size_t cut : everywhere_in(stream))
        ASSERT_EQ(events_of(stream, {cut}), wanted) << "cut at " << cut;
    ASSERT_EQ(events_of(stream, everywhere_in(stream)), wanted) << "byte by byte";
}

// Single streams

struct Case {
    const char *behaviour;
    const char *bytes;
    const char *events;
};

void PrintTo(const Case &row, std::ostream *out)
{
    *out << row.bytes;
}

// clang-format off
constexpr Case cases[] = {
    // behaviour                                     bytes                                              events
    {"PlainDataPasses",                              "'show ip' 13",                                    R"(data "show ip<cr>")"},
    {"AnEscaped255IsData",                           "'a' 255 255 'b'",                                 R"(data "a<xff>b")"},
    {"ALoneIacWaits",                                "'a' 255",                                         R"(data "a")"},

    // Window sizes
    {"AWindowSizeIsReported",                        "255 250 31 0 80 0 24 255 240",                    "size 80 24"},
    {"AnUnknownWindowSizeIsReported",                "255 250 31 0 0 0 0 255 240",                      "size 0 0"},
    {"ASizeCutShortByAnEndMarkIsNoSize",             "255 250 31 255 240 0 24 255 240",                 R"(data "<nul><c-x>")"},
    {"ASizeWithoutAHeightIsNoSize",                  "255 250 31 0 80 255 240 255 240",                 ""},
    {"AHeightOf255WithoutEscapeIsUnderstood",        "255 250 31 0 80 0 255 255 240",                   "size 80 255"},
    {"AHeightOf255WithoutEscapeLeavesALaterEndMarkAlone", "255 250 31 0 80 0 255 255 240 'a' 255 240 'b'", R"(size 80 255; data "ab")"},
    {"AWidthOf255IsUnderstood",                      "255 250 31 0 255 255 0 24 255 240 'a'",           R"(size 255 24; data "a")"},
    {"AHeightOf255IsUnderstood",                     "255 250 31 0 80 0 255 255 255 240 'a'",           R"(size 80 255; data "a")"},
    {"AHeightOf13AfterAWidthOf255IsNoKey",           "255 250 31 0 255 255 0 13 255 240 'a'",           R"(size 255 13; data "a")"},
    {"AWindowOf255By255IsUnderstood",                "255 250 31 0 255 255 0 255 255 255 240",          "size 255 255"},
    {"TheLargestWindowIsUnderstood",                 "255 250 31 255 255 255 255 255 255 255 255 255 240", "size 65535 65535"},
    {"AWindowOf65520IsUnderstood",                   "255 250 31 255 255 240 255 255 240 255 240",      "size 65520 65520"},
    {"AWidthOf255WithoutEscapeIsUnderstood",         "255 250 31 0 255 0 24 255 240 'a'",               R"(size 255 24; data "a")"},
    {"AWindowOf255By255WithoutEscapesIsUnderstood",  "255 250 31 0 255 0 255 255 240 'a'",              R"(size 255 255; data "a")"},
    {"AWidthOf65535WithoutEscapesIsUnderstood",      "255 250 31 255 255 0 24 255 240 'a'",             R"(size 65535 24; data "a")"},
    {"AHeightOf65535WithoutEscapesIsUnderstood",     "255 250 31 0 80 255 255 255 240 'a'",             R"(size 80 65535; data "a")"},
    {"AnUnfinishedSizeIsNotReported",                "255 250 31 0 80 0 24 255",                        ""},
    {"ASizeWithAFifthValueIsDropped",                "255 250 31 0 80 0 24 1 255 240 'a'",              R"(data "a")"},
    {"ASizeWithAFifthValueAndEscapesIsDropped",      "255 250 31 0 255 255 0 24 1 255 240 'a'",         R"(data "a")"},
    {"AnEmptySizeIsDropped",                         "255 250 31 255 240 'a'",                          R"(data "a")"},

    // Requests at the end of a block
    {"AWillWaitsForItsOption",                       "255 251",                                         ""},
    {"AWontWaitsForItsOption",                       "255 252",                                         ""},
    {"ADoWaitsForItsOption",                         "255 253",                                         ""},
    {"ADontWaitsForItsOption",                       "255 254",                                         ""},
    {"AnOptionIsNoKey",                              "'a' 255 251 13 'b'",                              R"(data "a"; sent DONT 13; data "b")"},

    // Commands before data
    {"DataAfterACommandDoesNotWait",                 "255 241 'a'",                                     R"(data "a")"},
    {"DataAfterEachKindOfCommandDoesNotWait",        "255 255 'a' 255 251 5 'b' 255 250 5 255 240 'c'", R"(data "<xff>a"; sent DONT 5; data "bc")"},

    // Subnegotiations that nobody wants
    {"ACommandInAnUnsupportedMessageIsAPartOfIt",    "255 250 5 13 255 241 255 240",                    ""},
    {"AnUnsupportedMessageLeavesNothing",            "255 250 5 7 255 240 'a'",                         R"(data "a")"},
    {"AMessageInAMessageIsAPartOfIt",                "255 250 5 255 250 31 0 80 0 24 255 240 'a'",      R"(data "a")"},
    {"AnEscapedEndMarkDoesNotEndAMessage",           "255 250 5 255 255 240 13 255 240 'a'",            R"(data "a")"},
    {"AnEscaped255BeforeTheEndMarkHidesNothing",     "255 250 5 255 255 255 240 'a'",                   R"(data "a")"},
    {"AMessageWithoutAnOptionIsDropped",             "255 250 255 240 'a'",                             R"(data "a")"},
    {"AMessageOfOption255IsDropped",                 "255 250 255 255 31 0 80 0 24 255 240 'a'",        R"(data "a")"},
    {"AnEnvironmentIsNotTaken",                      "255 250 39 0 0 'USER' 1 '-froot' 255 240 'a'",    R"(data "a")"},

    // Line ends are the keyboard's
    {"CarriageReturnLineFeedPasses",                 "'a' 13 10 'b'",                                   R"(data "a<cr><lf>b")"},
    {"CarriageReturnNulPasses",                      "'a' 13 0 'b'",                                    R"(data "a<cr><nul>b")"},
    {"ALoneCarriageReturnPasses",                    "'a' 13 'b'",                                      R"(data "a<cr>b")"},

    // Commands
    {"AnEndMarkWithoutAMessageIsIgnored",            "255 240 'a'",                                     R"(data "a")"},
    {"ABreakIsReported",                             "'a' 255 243 'b'",                                 R"(data "a"; break; data "b")"},
    {"AnInterruptIsReported",                        "'a' 255 244 'b'",                                 R"(data "a"; interrupt; data "b")"},
    {"AreYouThereIsReported",                        "'a' 255 246 'b'",                                 R"(data "a"; ayt; data "b")"},
    {"EraseCharacterIsTheDeleteByte",                "'ab' 255 247",                                    R"(data "ab<del>")"},
    {"EraseLineIsControlU",                          "'ab' 255 248",                                    R"(data "ab<c-u>")"},
    {"SynchAbortAndGoAheadAreIgnored",               "255 242 'a' 255 245 'b' 255 249 'c'",             R"(data "abc")"},
    {"CodesWithoutAMeaningAreDropped",               "'a' 255 0 255 13 255 239 'b'",                    R"(data "ab")"},

    // Terminal types
    {"ATerminalTypeIsReportedInLowerCase",           "255 250 24 0 'XTERM-256Color' 255 240",           "terminal xterm-256color"},
    {"ATerminalTypeOfOneCharacterIsReported",        "255 250 24 0 'A' 255 240",                        "terminal a"},
    {"EveryCharacterOfANameMayOccur",                "255 250 24 0 'AZaz09+._-' 255 240",               "terminal azaz09+._-"},
    {"ATerminalTypeOf40CharactersIsReported",        "255 250 24 0 '0123456789abcdefghij0123456789ABCDEFGHIJ' 255 240", "terminal 0123456789abcdefghij0123456789abcdefghij"},
    {"ATerminalTypeOf41CharactersIsDropped",         "255 250 24 0 '0123456789abcdefghij0123456789ABCDEFGHIJK' 255 240 'a'", R"(data "a")"},
    {"AnEmptyTerminalTypeIsDropped",                 "255 250 24 0 255 240 'a'",                        R"(data "a")"},
    {"ATerminalTypeWithoutIsIsDropped",              "255 250 24 255 240 255 250 24 1 'vt100' 255 240", ""},
    {"ATerminalTypeWithABlankIsDropped",             "255 250 24 0 'vt 100' 255 240",                   ""},
    {"ATerminalTypeWithASlashIsDropped",             "255 250 24 0 '../x' 255 240",                     ""},
    {"ATerminalTypeWithAnEscapeSequenceIsDropped",   "255 250 24 0 27 '[2J' 255 240",                   ""},
    {"ATerminalTypeWithANulIsDropped",               "255 250 24 0 'vt100' 0 255 240",                  ""},
    {"ATerminalTypeWithAn8BitByteIsDropped",         "255 250 24 0 'vt' 228 255 240",                   ""},
    {"ATerminalTypeWithAnEscaped255IsDropped",       "255 250 24 0 'vt100' 255 255 255 240 'a'",        R"(data "a")"},
    {"ATerminalTypeWithACommandIsDropped",           "255 250 24 0 'vt' 255 241 '100' 255 240 'a'",     R"(data "a")"},

    // Negotiation
    {"ExpectedAgreementsNeedNoAnswer",               "255 253 1 255 253 3 255 251 3 255 251 31 255 254 31", ""},
    {"ExpectedRefusalsNeedNoAnswer",                 "255 254 1 255 254 3 255 252 3 255 252 31 255 252 24 255 253 31", ""},
    {"ARepeatedAgreementNeedsNoAnswer",              "255 253 1 255 253 1 255 251 31 255 251 31",       ""},
    {"WhatIsOnIsSwitchedOffWithOneAnswer",           "255 253 1 255 254 1 255 254 1",                   "sent WONT 1"},
    {"WhatIsOffIsSwitchedOnWithOneAnswer",           "255 254 1 255 253 1 255 253 1",                   "sent WILL 1"},
    {"BinaryIsAgreedToInBothDirections",             "255 251 0 255 253 0 255 251 0 255 253 0",         "sent DO 0; sent WILL 0"},
    {"BinaryIsSwitchedOffInBothDirections",          "255 251 0 255 253 0 255 252 0 255 254 0",         "sent DO 0; sent WILL 0; sent DONT 0; sent WONT 0"},
    {"TheClientMayNotEcho",                          "255 251 1 255 251 1 255 252 1",                   "sent DONT 1; sent DONT 1"},
    {"WeHaveNoTerminalType",                         "255 253 24 255 254 24",                           "sent WONT 24"},
    {"OtherOptionsAreRefusedOncePerRequest",         "255 251 5 255 253 5 255 251 39 255 253 39 255 253 39", "sent DONT 5; sent WONT 5; sent DONT 39; sent WONT 39; sent WONT 39"},
    {"RefusalsOfOtherOptionsNeedNoAnswer",           "255 252 5 255 254 5 255 252 39 255 254 39",       ""},
    {"Option255IsRefusedLikeAnyOther",               "255 251 255 240 255 253 255 241",                 R"(sent DONT 255; data "<xf0>"; sent WONT 255; data "<xf1>")"},
    {"TheTerminalTypeIsAskedForAgainOnAgreement",    "255 251 24 255 251 24",                           "sent SEND"},
    {"ATerminalTypeThatCameIsNotAskedForAgain",      "255 250 24 0 'vt100' 255 240 255 251 24",         "terminal vt100"},
    {"ADroppedTerminalTypeIsAskedForAgain",          "255 250 24 0 255 240 255 251 24",                 "sent SEND"},
    {"ALateAgreementIsConfirmedFirst",               "255 252 24 255 251 24",                           "sent DO 24; sent SEND"},
};
// clang-format on

class TelnetFrontStream : public testing::TestWithParam<Case> {};

TEST_P(TelnetFrontStream, MeansTheSameWhereverItIsCut)
{
    const std::string stream = bytes_of(GetParam().bytes);
    expect_events(stream, GetParam().events);
    EXPECT_EQ(Interpreter()(stream), GetParam().events) << "interpreter";
}

INSTANTIATE_TEST_SUITE_P(Cases, TelnetFrontStream, testing::ValuesIn(cases),
                         [](const auto &row) { return row.param.behaviour; });

// Endless and hostile messages

TEST(TelnetFront, AMessageWithoutAnEndIsSwallowedInConstantMemory)
{
    for (const std::string begin : {"255 250", "255 250 5", "255 250 31", "255 250 24 0"}) {
        Connection connection;
        const size_t blocks = tracked_outstanding(nullptr);
        connection.feed(bytes_of(begin));
        for (int n = 0; n < 100000; n++)
            connection.feed("a");
        EXPECT_EQ(connection.events, 0u);
        EXPECT_EQ(tracked_outstanding(nullptr), blocks);
        connection.feed(bytes_of("'show' 13 255 240 'b'"));
        EXPECT_EQ(connection.take(), R"(data "b")");
    }
}

TEST(TelnetFront, EscapedBytesDoNotSlipPastTheCap)
{
    for (const char *begin : {"255 250 5", "255 250 31", "255 250 24 0"}) {
        for (size_t pairs = 1; pairs < 100; pairs++) {
            const std::string stream =
                bytes_of(begin) + repeated("\xff\xff", pairs) + bytes_of("13 255 240 'b'");
            ASSERT_NO_FATAL_FAILURE(expect_events(stream, Interpreter()(stream)));
            ASSERT_TRUE(events_of(stream, {}).ends_with(R"(data "b")"));
        }
    }
}

TEST(TelnetFront, NoRestOfALongMessageIsData)
{
    for (size_t count = 0; count < 120; count++) {
        for (const char *begin : {"255 250 5", "255 250 31", "255 250 24 0", "255 250 24 1"}) {
            const std::string stream =
                bytes_of(begin) + std::string(count, '\r') + bytes_of("255 240 'b'");
            const bool is_size = count == 4 && std::string_view(begin) == "255 250 31";
            ASSERT_NO_FATAL_FAILURE(
                expect_events(stream, is_size ? R"(size 3341 3341; data "b")" : R"(data "b")"));
        }
    }
}

TEST(TelnetFront, AMessageIsNotMarkedByALongOneBeforeIt)
{
    const std::string overlong = bytes_of("255 250 24 0") + std::string(500, 'x');
    const std::string stream = overlong + bytes_of("255 240 255 250 24 0 'vt100' 255 240");
    expect_events(stream, "terminal vt100");
}

// Work

TEST(TelnetFront, ARunOfDataIsOneCallWithoutACopy)
{
    Connection connection;
    const std::vector<unsigned char> run(1 << 20, 'a');
    connection.front().consume(run.data(), run.size());
    EXPECT_EQ(connection.events, 1u);
    EXPECT_EQ(connection.last_data, run.data());
    connection.front().consume(run.data(), 0);
    EXPECT_EQ(connection.events, 1u);
}

TEST(TelnetFront, AFloodOfCommandsIsOneEventEachAtMost)
{
    constexpr const char *floods[] = {"255 240",   "255 241",   "255 7",     "255 243",
                                      "255 244",   "255 246",   "255 247",   "255 255",
                                      "255 251 5", "255 253 5", "255 252 5", "255 250 5 255 240"};
    for (const char *flood : floods) {
        SCOPED_TRACE(flood);
        Connection connection;
        connection.feed(repeated(bytes_of(flood), 1024));
        EXPECT_LE(connection.events, 1024u);
    }
}

TEST(TelnetFront, AFloodOfSizesIsOneEventEach)
{
    Connection connection;
    connection.feed(repeated(bytes_of("255 250 31 0 80 0 24 255 240"), 1024));
    EXPECT_EQ(connection.events, 1024u);
}

// Opening and lifetime

TEST(TelnetFront, TheOpeningIsSentAndItsOptionsAreAskedFor)
{
    Connection connection;
    EXPECT_EQ(connection.sent, bytes_of("255 251 1 255 251 31 255 253 31 255 251 3 255 253 3 "
                                        "255 253 24 255 250 24 1 255 240"));
    struct Row {
        varno::SupportedOption option;
        OptionState us;
        OptionState him;
    };
    // clang-format off
    constexpr Row states[] = {
        {varno::option_binary,            OptionState::no,       OptionState::no},
        {varno::option_echo,              OptionState::want_yes, OptionState::no},
        {varno::option_suppress_go_ahead, OptionState::want_yes, OptionState::want_yes},
        {varno::option_terminal_type,     OptionState::no,       OptionState::want_yes},
        {varno::option_naws,              OptionState::want_yes, OptionState::want_yes},
    };
    // clang-format on
    for (const Row &state : states) {
        EXPECT_EQ(connection.front().us(state.option), state.us) << state.option;
        EXPECT_EQ(connection.front().him(state.option), state.him) << state.option;
    }
}

TEST(TelnetFront, StatesFollowTheAnswers)
{
    Connection connection;
    connection.feed(bytes_of("255 253 1 255 252 31 255 251 0"));
    EXPECT_EQ(connection.front().us(varno::option_echo), OptionState::yes);
    EXPECT_EQ(connection.front().him(varno::option_naws), OptionState::no);
    EXPECT_EQ(connection.front().him(varno::option_binary), OptionState::yes);
    EXPECT_EQ(connection.front().us(varno::option_binary), OptionState::no);
}

TEST(TelnetFront, ASecondConnectionStartsAfresh)
{
    Connection connection;
    connection.feed(bytes_of("255 253 1 255 250 24 0 'vt'"));
    connection.open();
    connection.take();
    connection.feed(bytes_of("'a' 255 253 1 255 251 24"));
    EXPECT_EQ(connection.take(), R"(data "a"; sent SEND)");
}

// Terminal type requests

TEST(TelnetFront, TheNextTerminalTypeIsAskedForEightTimesAtMost)
{
    Connection connection;
    connection.feed(bytes_of("255 250 24 0 'unknown' 255 240"));
    for (int n = 0; n < 100; n++)
        connection.front().ask_terminal_type();
    const std::string eight = repeated("; sent SEND", 8);
    EXPECT_EQ(connection.take(), "terminal unknown" + eight);
    connection.feed(bytes_of("255 251 24"));
    EXPECT_EQ(connection.take(), "");
}

TEST(TelnetFront, TheNextTerminalTypeMayBeAskedForInTheEvent)
{
    Connection connection;
    connection.after_event = [&connection] {
        connection.after_event = nullptr;
        connection.front().ask_terminal_type();
    };
    connection.feed(bytes_of("255 250 24 0 'odd' 255 240 255 250 24 0 'vt100' 255 240 'a'"));
    EXPECT_EQ(connection.take(), R"(terminal odd; sent SEND; terminal vt100; data "a")");
}

TEST(TelnetFront, ATerminalTypeThatWasRefusedIsNotAskedFor)
{
    Connection connection;
    connection.feed(bytes_of("255 252 24"));
    connection.front().ask_terminal_type();
    EXPECT_EQ(connection.take(), "");
}

TEST(TelnetFront, AChangeableClientIsAskedEightTimesAtMost)
{
    Connection connection;
    connection.feed(repeated(bytes_of("255 252 24 255 251 24"), 100));
    size_t asked = 0;
    for (size_t at = 0; (at = connection.sent.find(bytes_of("255 250"), at)) != std::string::npos;
         at++)
        asked++;
    EXPECT_EQ(asked, 1u + 8u); // the opening's one
    EXPECT_EQ(connection.sent_bytes, 199u * 3u + 8u * 6u);
}

// Negotiation comes to rest

// What one side sends the other receives, until both are silent.
size_t bytes_until_rest(Connection &a, Connection &b)
{
    size_t exchanged = 0;
    for (int round = 0; round < 50 && !(a.sent.empty() && b.sent.empty()); round++) {
        const std::string from_a = std::exchange(a.sent, {});
        const std::string from_b = std::exchange(b.sent, {});
        exchanged += from_a.size() + from_b.size();
        b.feed(from_a);
        a.feed(from_b);
    }
    return exchanged;
}

TEST(TelnetFront, TwoServersFaceToFaceComeToRest)
{
    Connection a;
    Connection b;
    EXPECT_LE(bytes_until_rest(a, b), 200u);
    EXPECT_EQ(a.sent + b.sent, "");
}

TEST(TelnetFront, AClientThatReflectsEverythingComesToRest)
{
    Connection connection;
    size_t exchanged = 0;
    for (int round = 0; round < 50 && !connection.sent.empty(); round++) {
        const std::string sent = std::exchange(connection.sent, {});
        exchanged += sent.size();
        connection.feed(sent);
    }
    EXPECT_EQ(connection.sent, "");
    EXPECT_LE(exchanged, 100u);
}

TEST(TelnetFront, EverySequenceOfFourRequestsIsAnsweredByTheRules)
{
    for (const int option : {0, 1, 3, 24, 31, 5, 255}) {
        for (int sequence = 0; sequence < 256; sequence++) {
            std::string stream;
            for (int n = 0; n < 4; n++)
                stream += "\xff" + byte(251 + (sequence >> (2 * n)) % 4) + byte(option);
            ASSERT_EQ(events_of(stream, {}), Interpreter()(stream)) << spell(stream);
        }
    }
}

// Events that leave by an exception

TEST(TelnetFront, IsPastWhatItReportsBeforeItReportsIt)
{
    const std::string stream =
        bytes_of("'a' 255 255 255 243 255 244 255 246 255 247 255 251 5 255 253 1 255 254 1 "
                 "255 250 31 0 80 0 24 255 240 255 250 31 0 255 255 0 24 255 240 "
                 "255 250 31 0 80 0 255 255 240 255 250 24 0 'vt100' 255 240 255 251 24 'b'");
    const std::string wanted = events_of(stream, {});
    const size_t blocks = tracked_outstanding(nullptr);
    {
        Connection connection;
        connection.after_event = [] { throw 1; };
        size_t thrown = 0;
        for (const char c : stream) {
            try {
                connection.feed({&c, 1});
            } catch (int) {
                thrown++;
            }
        }
        EXPECT_EQ(connection.take(), wanted);
        EXPECT_EQ(thrown, connection.events);
        EXPECT_EQ(thrown, 13u);
    }
    EXPECT_EQ(tracked_outstanding(nullptr), blocks);
}

// Everything that is short

TEST(TelnetFront, EveryByteInEveryStateIsHarmless)
{
    // clang-format off
    constexpr const char *beginnings[] = {
        "", "'x'", "255",                                                   // data, command
        "255 251", "255 252", "255 253", "255 254",                         // option
        "255 250", "255 250 5", "255 250 5 1", "255 250 31", "255 250 31 0 80 0",
        "255 250 31 0 80 0 24", "255 250 31 0 80 0 255 255",
        "255 250 24", "255 250 24 0", "255 250 24 0 'v'",                   // sub
        "255 250 255", "255 250 5 255", "255 250 31 255", "255 250 31 0 80 0 255",
        "255 250 31 0 80 0 24 255", "255 250 24 255", "255 250 24 0 255", "255 250 24 0 'v' 255",
    };
    constexpr const char *endings[] = {"", "'z' 255 240 'y' 255 246", "255 240 'y'", "24 255 240 13"};
    // clang-format on
    std::vector<std::string> begins(std::begin(beginnings), std::end(beginnings));
    for (std::string &begin : begins)
        begin = bytes_of(begin);
    begins.push_back(bytes_of("255 250 24 0") + std::string(60, 'v')); // too long
    begins.push_back(begins.back() + "\xff");
    for (const std::string &begin : begins) {
        for (int value = 0; value < 256; value++) {
            for (const char *ending : endings) {
                const std::string stream = begin + byte(value) + bytes_of(ending);
                const std::string wanted = Interpreter()(stream);
                ASSERT_EQ(events_of(stream, {}), wanted) << spell(stream);
                ASSERT_EQ(events_of(stream, {begin.size(), begin.size() + 1}), wanted)
                    << spell(stream) << ", the byte alone";
                ASSERT_EQ(events_of(stream, everywhere_in(stream)), wanted)
                    << spell(stream) << ", byte by byte";
            }
        }
    }
}

TEST(TelnetFront, EveryPairOfBytesAfterAnIacIsHarmless)
{
    for (int pair = 0; pair < 65536; pair++) {
        const std::string stream = "\xff" + byte(pair / 256) + byte(pair % 256) + "a\xff\xf0z";
        ASSERT_EQ(events_of(stream, {}), Interpreter()(stream)) << spell(stream);
    }
}

TEST(TelnetFront, EverySubnegotiationOfUpToFourBytesIsHarmless)
{
    const std::string alphabet = bytes_of("0 1 5 24 31 240 241 250 255 'a'");
    size_t count = 1;
    for (size_t length = 0; length <= 4; length++, count *= alphabet.size()) {
        for (size_t number = 0; number < count; number++) {
            std::string body;
            for (size_t rest = number, n = 0; n < length; n++, rest /= alphabet.size())
                body += alphabet[rest % alphabet.size()];
            const std::string stream = "\xff\xfa" + body + "\xff\xf0z";
            ASSERT_NO_FATAL_FAILURE(expect_events(stream, Interpreter()(stream)));
        }
    }
}

// Random hostile streams

class StreamMaker {
  public:
    explicit StreamMaker(uint32_t seed) : random_(seed) {}

    size_t below(size_t bound) { return random_() % bound; }

    std::string stream()
    {
        std::string bytes;
        for (size_t n = below(12) + 1; n > 0; n--)
            bytes += piece();
        return bytes;
    }

    std::vector<size_t> cuts(size_t size)
    {
        std::vector<size_t> at;
        const size_t often = below(4) == 0 ? 1 : below(size + 1) + 1;
        for (size_t i = 1; i < size; i++) {
            if (below(often) == 0)
                at.push_back(i);
        }
        return at;
    }

  private:
    std::string piece()
    {
        switch (below(11)) {
        case 0:
            return text(below(20));
        case 1:
            return "\xff" + byte(static_cast<int>(240 + below(16)));
        case 2:
            return "\xff" + byte(static_cast<int>(below(256)));
        case 3:
            return request(option());
        case 4:
            return request(static_cast<int>(below(256)));
        case 5:
            return message(byte(31) + escaped(values()));
        case 6:
            return message(byte(31) + values());
        case 7:
            return message(byte(24) + byte(below(8) ? 0 : 1) + text(below(60)));
        case 8:
            return message(byte(option()) + values() + noise(below(100)));
        case 9:
            return noise(below(12));
        default: {
            const std::string whole = message(byte(option()) + escaped(values()));
            return whole.substr(0, below(whole.size()) + 1);
        }
        }
    }

    int option() { return static_cast<unsigned char>("\0\1\3\x18\x1f\x05\x27\xff"[below(8)]); }

    std::string request(int code)
    {
        return "\xff" + byte(static_cast<int>(251 + below(4))) + byte(code);
    }

    std::string message(const std::string &body)
    {
        return "\xff\xfa" + body + (below(8) ? "\xff\xf0" : "");
    }

    std::string text(size_t count)
    {
        std::string bytes;
        for (; count > 0; count--)
            bytes += "abcxyzABCXYZ0189+._- \r\n/"[below(below(4) ? 20 : 24)];
        return bytes;
    }

    std::string values()
    {
        std::string bytes;
        for (size_t count = below(8) ? 4 : below(7); count > 0; count--)
            bytes += "\0\0\x18\x50\xff\xff\xf0\x0d"[below(8)];
        return bytes;
    }

    std::string noise(size_t count)
    {
        std::string bytes;
        for (; count > 0; count--)
            bytes += below(2) ? "\xff\xff\xf0\xfa\xfb\x1f\x18\0"[below(8)]
                              : static_cast<char>(below(256));
        return bytes;
    }

    static std::string escaped(const std::string &bytes)
    {
        std::string doubled;
        for (const char c : bytes)
            doubled += std::string(c == '\xff' ? 2 : 1, c);
        return doubled;
    }

    std::mt19937 random_;
};

TEST(TelnetFront, RandomHostileStreamsMeanTheSameWhereverTheyAreCut)
{
    std::map<std::string, size_t> seen;
    for (uint32_t seed = 0; seed < 20000; seed++) {
        StreamMaker maker(seed);
        const std::string stream = maker.stream();
        Interpreter interpreter;
        const std::string wanted = interpreter(stream);
        SCOPED_TRACE(spell(stream));
        for (const auto &cuts : {std::vector<size_t>{}, maker.cuts(stream.size())}) {
            Connection connection;
            size_t from = 0;
            for (const size_t cut : cuts) {
                connection.feed(std::string_view(stream).substr(from, cut - from));
                from = cut;
            }
            connection.feed(std::string_view(stream).substr(from));
            ASSERT_EQ(connection.take(), wanted) << "seed " << seed << ", cuts " << cuts.size();
            ASSERT_LE(connection.events, stream.size());
            ASSERT_LE(connection.sent_bytes, 3 * interpreter.requests + 8 * 6);
        }
        for (const char *kind : {"data", "size", "terminal", "break", "interrupt", "ayt", "SEND",
                                 "WILL", "WONT", "DO ", "DONT"})
            seen[kind] += wanted.find(kind) != wanted.npos;
    }
    for (const auto &[kind, count] : seen)
        EXPECT_GT(count, 100u) << kind << " occurs too seldom";
}

} // namespace
