// The keyboard's state machine: what bytes become, however they are cut. What the keys
// of each terminal send is in the terminal keys' tests.

#include "support/key_log.h"

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace varno_test;
using namespace std::string_literals;

namespace {

struct Case {
    const char *behaviour;
    std::string bytes;
    const char *log;
    const char *type = "xterm";
};

// Behaviour, bytes, what comes out, terminal type.
// clang-format off
const std::vector<Case> cases = {
    {"text passes",                               "show ip",                      "show ip"},
    {"controls pass to the bindings",               "\1\4\x10\t\x7f",
     "<1><4><16><9><127>"},
    {"bytes above 127 pass",                        "\xc3\xa9\x9b",
     "<195><169><155>"},
    {"CR is Enter",                               "a\rb",                         "a<cr>b"},
    {"LF is Enter",                               "a\nb",                         "a<cr>b"},
    {"CR LF is one Enter",                        "a\r\nb",                       "a<cr>b"},
    {"CR NUL is one Enter",                       "a\r\0b"s,                      "a<cr>b"},
    {"CR CR is two Enters",                       "\r\r",                         "<cr><cr>"},
    {"LF LF is two Enters",                       "\n\n",                         "<cr><cr>"},
    {"CR LF LF is two Enters",                    "\r\n\n",                       "<cr><cr>"},
    {"LF CR is two Enters",                       "\n\r",                         "<cr><cr>"},
    {"a NUL elsewhere is a key",                  "a\0b\n\0"s,                    "a<0>b<cr><0>"},
    {"a second NUL is a key",                     "\r\0\0"s,                      "<cr><0>"},
    {"an LF after a sequence is Enter",          "\r\33[5~\n",                   "<cr><cr>"},

    {"ESC and a character are two keys",            "\33b\33\x7f\33\x17",
     "<esc>b<esc><127><esc><23>"},
    {"ESC and a byte above 127 are two keys",     "\33\xe9",                      "<esc><233>"},
    {"ESC Enter is ESC and one Enter",              "\33\r\nx\33\nx\33\r\0x"s,
     "<esc><cr>x<esc><cr>x<esc><cr>x"},
    {"ESC Ctrl-C passes both",                    "\33\3",                        "<esc><3>"},
    {"ESC ESC and a character",                   "\33\33b",                      "<esc><esc>b"},
    {"many ESC and a character",                    "\33\33\33\33b",
     "<esc><esc><esc><esc>b"},

    {"a CSI key",                                 "a\33[Ab",                      "a<up>b"},
    {"an SS3 key",                                "a\33OAb",                      "a<up>b"},
    {"a key with parameters",                     "a\33[1;5Cb",                   "a<word-right>b"},
    {"keys in a row",                               "\33[A\33OB\33[3~",
     "<up><down><delete>"},
    {"ESC before Left and Right moves by word",     "\33\33[D\33\33OC",
     "<word-left><word-right>"},
    {"ESC before another key changes nothing",      "\33\33[A\33\33[1;5D",
     "<up><word-left>"},
    {"three ESC before a key",                      "\33\33\33[D",
     "<esc><word-left>"},
    {"ESC before an unknown key",                 "\33\33[5~x",                   "x"},
    {"an unknown CSI is swallowed",               "a\33[99;99xb",                 "ab"},
    {"an unknown SS3 is swallowed",               "a\33Ozb\33O5Pc\33O d",         "abcd"},
    {"a CSI with intermediates is swallowed",     "a\33[?1;2$yb\33[0 qc",         "abc"},
    {"a CSI with private parameters",             "a\33[?1;2cb\33[>0;276;0cc",    "abc"},
    {"a Linux console key",                       "a\33[[Ab\33[[Zc",              "a<f1>bc"},
    {"modified keys nobody binds",                "a\33[1;2A\33[3;5~\33[13;2ub",  "ab"},
    {"focus reports",                             "a\33[I\33[Ob",                 "ab"},
    {"a $ is an intermediate",                    "a\33[3$yb",                    "ab"},
    {"a $ ends a key of rxvt",                    "a\33[3$yb",                    "ayb", "rxvt"},
    {"a $ ends only digits on rxvt",              "a\33[?3$yb\33[$yc",            "abc", "rxvt"},
    {"CAN and SUB end a CSI",                     "\33[12\x18""a\33[1\x1a""b",    "ab"},
    {"ESC begins another sequence",               "\33[12\33[A\33O\33[B",         "<up><down>"},
    {"Ctrl-C gets out of a CSI",                  "\33[12\3x",                    "<3>x"},
    {"Enter gets out of a CSI",                     "\33[12\r\nx\33O\rx\33[\nx",
     "<cr>x<cr>x<cr>x"},
    {"other controls in a CSI are dropped",         "\33[1\1\7\t;5Cx\33[\x7f""A",
     "<word-right>x<up>"},
    {"bytes above 127 in a CSI are dropped",      "\33[\xe9""A",                  "<up>"},

    {"an OSC up to BEL",                          "a\33]11;rgb:0/0/0\7b",         "ab"},
    {"an OSC up to ESC \\",                       "a\33]11;rgb:0/0/0\33\\b",      "ab"},
    {"DCS, SOS, PM and APC", "a\33P1$r\33\\b\33Xq\33\\c\33^q\33\\d\33_q\33\\e",
     "abcde"},
    {"BEL after ESC ends a string",              "a\33]1\33\7b",                 "ab"},
    {"bytes above 127 in a string",               "a\33]\xe9\x9c\x7f\7b",         "ab"},
    {"CAN and SUB end a string",                  "a\33]1\x18""b\33P1\x1a""c",    "abc"},
    {"ESC in a string begins another sequence",   "\33]1\33[A\33P\33]2\33bx",     "<up><esc>bx"},
    {"ESC ESC \\ ends a string",                  "a\33]1\33\33\\b",              "ab"},
    {"Ctrl-C gets out of a string",               "a\33]1\3b",                    "a<3>b"},
    {"Enter gets out of a string",                  "a\33]1\rb\33]\nc\33P\r\nd",
     "a<cr>b<cr>c<cr>d"},
    {"other controls in a string are dropped",    "a\33]1\1\t2\7b",               "ab"},

    {"a paste",                                   "a\33[200~show ip\33[201~b",    "a{show ip}b"},
    {"an empty paste",                            "a\33[200~\33[201~b",           "ab"},
    {"line ends in a paste",                        "\33[200~a\rb\nc\r\nd\r\0e\33[201~"s,
     "{a<enter>b<enter>c<enter>d<enter>e}"},
    {"empty lines in a paste",                      "\33[200~\r\r\n\n\33[201~",
     "{<enter><enter><enter>}"},
    {"a line end around a paste's marks",           "\r\33[200~\n\r\33[201~\n",
     "<cr>{<enter><enter>}<cr>"},
    {"a tab in a paste is a blank",               "\33[200~a\tb\33[201~",         "{a b}"},
    {"controls in a paste are dropped",           "\33[200~a\1\4\x7f\0b\33[201~"s, "{ab}"},
    {"? and bytes above 127 in a paste are text", "\33[200~?\xc3\xa9\33[201~",    "{?\xc3\xa9}"},
    {"sequences in a paste are swallowed", "\33[200~a\33[1mb\33[Ac\33OAd\33]0;t\7e\33[201~",
     "{abcde}"},
    {"short sequences in a paste are swallowed",  "\33[200~a\33(Bb\33=c\0337d\33[201~", "{abcd}"},
    {"what is no sequence in a paste is kept",      "\33[200~a\33\rb\33\xe9\33\33\33[201~",
     "{a<enter>b\xe9}"},
    {"a line end in a string within a paste",     "\33[200~a\33]b\rc\33[201~",    "{a<enter>c}"},
    {"an end mark within a string",               "\33[200~a\33]b\33[201~c",      "{a}c"},
    {"a begin mark within a paste",               "\33[200~a\33[200~b\33[201~c",  "{ab}c"},
    {"an end mark without a paste",               "a\33[201~b",                   "ab"},
    {"Ctrl-C ends a paste",                       "\33[200~a\3b\33[201~c",        "{a}<3>bc"},
    {"Ctrl-C in a sequence ends a paste",           "\33[200~a\33[1\3b\33\3c",
     "{a}<3>b<esc><3>c"},
    {"Ctrl-C after ESC ends a paste",            "\33[200~a\33\3b",              "{a}<3>b"},
    {"ESC before a paste",                        "\33\33[200~a\33[201~b",        "{a}b"},
};
// clang-format on

std::string fed_whole(const Case &row)
{
    return KeyLog(row.type).feed(row.bytes).log;
}

std::string fed_singly(std::string_view bytes, const char *type)
{
    KeyLog log(type);
    for (size_t i = 0; i < bytes.size(); i++)
        log.feed(bytes.substr(i, 1));
    return log.log;
}

} // namespace

TEST(Keyboard, MakesKeysOfBytes)
{
    for (const Case &row : cases)
        EXPECT_EQ(fed_whole(row), row.log) << row.behaviour;
}

TEST(Keyboard, IsNotPendingAfterAnyCase)
{
    for (const Case &row : cases)
        EXPECT_FALSE(KeyLog(row.type).feed(row.bytes).keyboard.is_pending()) << row.behaviour;
}

TEST(Keyboard, DoesNotMindWhereTheInputIsCut)
{
    for (const Case &row : cases) {
        const std::string_view bytes = row.bytes;
        for (size_t i = 0; i <= bytes.size(); i++) {
            for (size_t j = i; j <= bytes.size(); j++) {
                KeyLog log(row.type);
                log.feed(bytes.substr(0, i)).feed(bytes.substr(i, j - i)).feed(bytes.substr(j));
                EXPECT_EQ(log.log, row.log) << row.behaviour << ", cut at " << i << ", " << j;
            }
        }
        EXPECT_EQ(fed_singly(bytes, row.type), row.log) << row.behaviour << ", singly";
    }
}

TEST(Keyboard, DoesNotMindWhereRandomInputIsCut)
{
    const std::vector<std::string> pieces = {
        "\33",      "[",        "O",  "]",    "P",
        "\\",       "\7",       "\r", "\n",   std::string(1, '\0'),
        "\3",       "\x18",     "$",  "200~", "201~",
        "\33[200~", "\33[201~", "3",  ";",    "~",
        "A",        "x",        " ",  "\x7f", "\xe9",
        "\t"};
    std::mt19937 random(20240611);
    for (int round = 0; round < 4000; round++) {
        std::string bytes;
        for (size_t i = random() % 60; i > 0; i--)
            bytes += pieces[random() % pieces.size()];
        const char *type = round % 2 ? "rxvt" : "xterm";
        KeyLog whole(type);
        whole.feed(bytes);
        KeyLog cut(type);
        for (size_t i = 0; i < bytes.size();) {
            const size_t count = 1 + random() % 9;
            cut.feed(std::string_view(bytes).substr(i, count));
            i += count;
        }
        ASSERT_EQ(cut.log, whole.log) << round;
        ASSERT_EQ(fed_singly(bytes, type), whole.log) << round;
        ASSERT_EQ(cut.keyboard.is_pending(), whole.keyboard.is_pending());
        ASSERT_FALSE(whole.has_empty_event || cut.has_empty_event);
    }
}

TEST(Keyboard, EveryStreamCanBeLeft)
{
    std::mt19937 random(7);
    for (int round = 0; round < 4000; round++) {
        std::string bytes;
        for (size_t i = random() % 40; i > 0; i--)
            bytes += "\33\33\33[]OP$2a01~;\7"[random() % 16];
        KeyLog log;
        log.feed(bytes).feed("\3\r").take();
        EXPECT_EQ(log.feed("ok\r").log, "ok<cr>") << bytes;
    }
}

TEST(Keyboard, LongRunsComeWholeInFewEvents)
{
    std::string bytes;
    for (int i = 0; i < 10000; i++)
        bytes += static_cast<char>('a' + i % 26);
    KeyLog typed;
    EXPECT_EQ(typed.feed(bytes).log, bytes);
    EXPECT_LE(typed.events, 40);
    KeyLog pasted;
    pasted.feed("\33[200~").feed(bytes).feed("\33[201~");
    EXPECT_EQ(pasted.log, "{" + bytes + "}");
    EXPECT_EQ(pasted.events, 1);
}

TEST(Keyboard, SequencesOfAnyLengthAreSwallowed)
{
    for (const size_t len : {28u, 29u, 30u, 31u, 32u, 33u, 255u, 256u, 257u, 1000000u}) {
        const std::string middle(len, '1');
        KeyLog log;
        log.feed("\33[").feed(middle).feed("Aa\33O").feed(middle).feed("Ab");
        log.feed("\33]").feed(middle).feed("\7c\33P").feed(middle).feed("\33\\d");
        EXPECT_EQ(log.log, "abcd") << len;
    }
}

TEST(Keyboard, AKeyAfterAnOverlongSequenceWorks)
{
    KeyLog log;
    EXPECT_EQ(log.feed("\33[" + std::string(300, '1') + "~\33[A\33[3~").log, "<up><delete>");
}

TEST(Keyboard, TimeOutMakesAKeyOfALoneEscAndDropsTheRest)
{
    // What is pending, what comes out when the time has run out.
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"\33", "<esc>"},  {"\33\33", "<esc><esc>"},
        {"\33[", ""},      {"\33[12;", ""},
        {"\33[[", ""},     {"\33O", ""},
        {"\33\33[", ""},   {"\33]0;title", ""},
        {"\33]0;\33", ""}, {"\33P", ""}};
    for (const auto &[bytes, expected] : rows) {
        KeyLog log;
        EXPECT_FALSE(log.keyboard.is_pending());
        EXPECT_EQ(log.feed(bytes).log, "");
        EXPECT_TRUE(log.keyboard.is_pending());
        log.keyboard.time_out();
        EXPECT_EQ(log.take(), expected);
        EXPECT_FALSE(log.keyboard.is_pending());
        EXPECT_EQ(log.feed("[Ab\33[A").log, "[Ab<up>");
    }
}

TEST(Keyboard, TimeOutWithNothingPendingDoesNothing)
{
    KeyLog log;
    log.keyboard.time_out();
    log.feed("a\r").keyboard.time_out();
    EXPECT_EQ(log.feed("\nb").log, "a<cr>b");
}

TEST(Keyboard, TheEndMarkOfAPasteMayComeLate)
{
    KeyLog log;
    log.feed("\33[200~a\33");
    EXPECT_FALSE(log.keyboard.is_pending());
    log.keyboard.time_out();
    EXPECT_EQ(log.feed("[201~b").log, "{a}b");
}

TEST(Keyboard, AnotherTypeDropsAnUnfinishedSequenceButNoPaste)
{
    KeyLog log;
    log.feed("\33[3").keyboard.set_type(varno::find_terminal_type("rxvt"));
    EXPECT_EQ(log.feed("$\33[3$x").take(), "$x");
    log.feed("\33[200~a").keyboard.set_type(varno::find_terminal_type("xterm"));
    EXPECT_EQ(log.feed("\r\33[201~b").take(), "{a<enter>}b");
}

TEST(Keyboard, BeginForgetsEverything)
{
    for (const char *bytes : {"\33", "\33[1", "\33]", "\33[200~", "\33[200~\33", "\r"}) {
        KeyLog log;
        log.feed(bytes);
        log.keyboard.begin({&log, KeyLog::take_keys, KeyLog::take_text, KeyLog::take_enter},
                           varno::find_terminal_type("xterm"));
        log.take();
        EXPECT_EQ(log.feed("\nA").log, "<cr>A");
    }
}

TEST(Keyboard, AnEventMayUseAnotherKeyboard)
{
    KeyLog other;
    KeyLog log;
    log.on_event = [&] { other.feed("\33[B\33[5~"); };
    EXPECT_EQ(log.feed("\33[Aa\33[1;5Cb").log, "<up>a<word-right>b");
    EXPECT_EQ(other.log, "<down><down><down><down>");
}

TEST(Keyboard, AnEventMaySetAnotherType)
{
    const varno::TerminalType *rxvt = varno::find_terminal_type("rxvt");
    KeyLog log;
    log.on_event = [&] { log.keyboard.set_type(rxvt); };
    EXPECT_EQ(log.feed("\33[3$y\33[A\33[3$y\33Oc").log, "<up>y<word-right>");
}

// The bytes after the event are lost; what comes later is taken as if these had not
// been sent.
TEST(Keyboard, AnEventMayLeaveByAnException)
{
    for (const Case &row : cases) {
        const int events = [&row] {
            KeyLog log(row.type);
            log.feed(row.bytes);
            return log.events;
        }();
        for (int n = 1; n <= events; n++) {
            KeyLog log(row.type);
            log.on_event = [&log, n] {
                if (log.events == n)
                    throw std::runtime_error("left");
            };
            EXPECT_THROW(log.feed(row.bytes), std::runtime_error) << row.behaviour;
            const bool is_escape_left = log.keyboard.is_pending();
            EXPECT_TRUE(!is_escape_left || row.bytes.find("\33\33\33") != std::string::npos)
                << row.behaviour;
            log.feed("\33[201~").take();
            EXPECT_EQ(log.feed("a\33[Ab\r").log, "a<up>b<cr>") << row.behaviour << ", " << n;
        }
    }
}
