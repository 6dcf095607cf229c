// Each attack is harmless to all but the session that it is sent in, if to that one.

#include "attacks.h"

#include <vector>

namespace varno_test {
namespace {

using namespace std::string_literals;

std::string repeated(int times, const std::string &text)
{
    std::string all;
    for (int i = 0; i < times; i++)
        all += text;
    return all;
}

std::string window(int columns, int rows)
{
    std::string bytes = "\xff\xfb\x1f\xff\xfa\x1f"s;
    for (const int byte : {columns >> 8, columns & 255, rows >> 8, rows & 255})
        bytes += std::string(byte == 255 ? 2 : 1, static_cast<char>(byte));
    return bytes + "\xff\xf0";
}

std::string terminal(const std::string &name)
{
    return "\xff\xfb\x18\xff\xfa\x18\0"s + name + "\xff\xf0";
}

// Asks, agrees and refuses, each option in turn.
std::string all_options()
{
    std::string bytes;
    for (const char command : {'\xfb', '\xfc', '\xfd', '\xfe'}) {
        for (int option = 0; option < 255; option++)
            bytes += {'\xff', command, static_cast<char>(option)};
    }
    return bytes;
}

// Every window size that matters, with enough typed in each to scroll.
std::string all_windows()
{
    const std::string typing =
        "\025" + std::string(200, 'x') + "\001" + repeated(84, "\033[C") + "\033b\005\r";
    std::string bytes;
    for (const int columns : {0, 1, 2, 5, 8, 19, 20, 21, 79, 80, 255, 256, 257, 1000, 65535}) {
        for (const int rows : {0, 1, 2, 24, 255, 512, 65535})
            bytes += window(columns, rows) + typing;
    }
    return bytes;
}

std::string all_bytes()
{
    std::string bytes;
    for (int byte = 1; byte < 255; byte++) // but for what ends a session, and IAC
        bytes += byte == 4 ? "" : std::string(1, static_cast<char>(byte)) + "\025";
    return bytes;
}

const std::string typed_text = "echo unwanted";
const std::string mib_of_text = std::string(1 << 20, 'x');

constexpr const char *none = nullptr;

// Name, how often in a session, what must be shown, what never, the bytes.
// clang-format off
const Attack table[] = {
    // Window sizes: cut short, unescaped, escaped, beyond all bounds
    {"NawsOfNoBytes",              99, none,              none,
     "\xff\xfa\x1f\xff\xf0\0\x18\xff\xf0"s},
    {"NawsOfTwoBytes",             99, none,              none,
     "\xff\xfa\x1f\0\x50\xff\xf0\xff\xf0"s},
    {"NawsUnescaped",              99, none,              none,
     "\xff\xfa\x1f\0\x50\0\xff\xff\xf0 typed \xff\xf0"s},
    {"NawsEscaped",                99, none,              "\r\nunwanted",
     typed_text + window(255, 255) + window(80, 13) + window(255, 13) + "\025"},
    {"NawsOfEverySize",             1, none,              none,                      all_windows()},
    {"NawsTooLong",                 3, none,              "varno> \r\nvarno> \r\nvarno> \r\nvarno> ",
     "\xff\xfa\x1f" + std::string(70000, '\r') + "\xff\xf0"},
    // Telnet commands: cut, nested, without end, without a beginning
    {"RequestCutAtItsOption",       1, none,              none,                      "\xff\xfb"},
    {"CommandCutAtIac",             1, none,              none,                      "\xff"},
    {"SubnegotiationNoEnd",         2, none,              none,
     "\xff\xfa\x18" + mib_of_text},
    {"SubnegotiationOfIacs",        2, none,              none,
     "\xff\xfa\x18" + std::string(1 << 20, '\xff')},
    {"SubnegotiationOfCrs",         3, none,              "\r\nunwanted",
     typed_text + "\xff\xfa\x05" + std::string(70000, '\r') + "\xff\xf0\025"},
    {"SubnegotiationNested",       99, none,              "\r\nunwanted",
     typed_text + "\xff\xfa\x05\r\xff\xf1\r\xff\xf0\025"},
    {"SubnegotiationsOfAll",        9, none,              none,
     repeated(255, "\xff\xfa\x22\x03\x01\r\xff\xf0\xff\xfa\xff\xf0")},
    {"DataAfterACommand",           1, "\r\ndata\r\n",    none,
     "\xff\xf1" "echo dat" "\xff\xf1" "a\r"},
    {"EndWithoutBeginning",        50, none,              none,
     repeated(1024, "\xff\xf0")},
    {"EraseBeforeLogin",           50, none,              none,
     repeated(1024, "\xff\xf7\xff\xf8")},
    {"AreYouThere",                20, "[Yes]",           none,
     repeated(1000, "\xff\xf6")},
    {"AreYouThereInAParagraph",     5, "[Yes]",           none,
     repeated(2000, "\xff\xf6[Yes]")},
    {"BreaksAndInterrupts",         5, none,              none,
     repeated(1000, "x\xff\xf3y\xff\xf4z\xff\xf5")},
    {"EveryOption",                50, none,              none,                      all_options()},
    {"OptionsOnAndOff",             5, none,              none,
     repeated(5000, "\xff\xfb\x1f\xff\xfc\x1f\xff\xfd\x01\xff\xfe\x01")},
    {"LinemodeCharacters",          5, none,              none,
     "\xff\xfb\x22\xff\xfa\x22\x03" + repeated(20000, "\x01\x02\x03") + "\xff\xf0"},
    {"EncryptionKey",              20, none,              none,
     "\xff\xfb\x26\xff\xfa\x26\x07" + std::string(5000, 'K') + "\xff\xf0"},
    {"Environment",                99, none,              "root",
     "\xff\xfb\x27\xff\xfa\x27\0\0USER\1-f root\0LD_PRELOAD\1/x\xff\xf0"s},
    // Terminal types
    {"TypesUnknown",               20, none,              none,
     terminal("../../etc/passwd") + terminal("%s%n%n") + terminal("") +
     terminal("\033]0;x\a") + terminal("xterm;id") + terminal("dumb") + terminal("hpterm")},
    {"TypeTooLong",                20, none,              none,
     terminal(std::string(5000, 'A'))},
    {"TypeChangesAllTheTime",     500, none,              none,
     terminal("vt52") + "a\033A" + terminal("xterm") + "b\033[A"},
    // Keys
    {"EveryByte",                  20, none,              none,                      all_bytes()},
    {"LineWithoutEnd",              2, none,              none,                      mib_of_text},
    {"EscapesWithoutEnd",           1, none,              none,
     std::string(1 << 18, '\033')},
    {"ParametersWithoutEnd",        1, none,              none,
     "\033[" + repeated(1 << 16, "99999999;")},
    {"PasteWithoutEnd",             5, none,              none,
     "\033[200~" + repeated(1000, "echo pasted\r")},
    {"BeginAndEndHeldDown",         1, none,              none,
     std::string(70, 'x') + repeated(1 << 14, "\001\005")},
    {"MidLineTyping",             100, none,              none,
     std::string(200, 'x') + "\001" + std::string(50, 'y') + "\025"},
    {"ScrollAtEightyColumns",      50, none,              none,
     std::string(83, 'a') + " " + std::string(100, 'b') + "\001\033f\025" +
     std::string(200, 'c') + "\001" + repeated(84, "\033[C") + "\025"},
    {"CommandsByName",              1, none,              none,
     repeated(50, "\033\030redisplay\r\033\030echo\r\033\030invoke\r"
     "\033\030execute-and-restore\r\033\030self-insert\r")},
    {"HelpHeldDown",                1, none,              none,
     std::string(2000, '?')},
    {"CompletionHeldDown",          1, none,              none,
     "s" + std::string(2000, '\t')},
    {"HistoryHeldDown",             5, "two",             none,
     repeated(200, "echo one\recho two\r\033[A\033[A\033[B")},
    // Lines
    {"FloodOfCommands",             2, "varno-telnetd",   none,
     repeated(2000, "show version\r")},
    {"FloodOfErrors",               2, none,              none,
     repeated(2000, "no such thing\r\n")},
    {"FloodOfPages",                1, none,              none,
     repeated(1000, "show numbers 1000000\rq")},
    {"FloodOfLists",                1, none,              none,
     repeated(500, "show sessions\r\nshow memory\r\n  q")},
    {"EmptyWords",                  1, none,              none,
     repeated(100, "\"\"\rshow \"\"\r\"\" \"\"\rshow numbers \"\"\rno \"\" \"\"\r")},
    {"NumbersBeyondAll",            1, none,              none,
     repeated(100, "show numbers 9223372036854775807\rshow numbers 99999999999999999999\r"
     "terminal width -1\rterminal length 4294967296\rterminal width 0\r")},
    {"QuotesWithoutEnd",            1, none,              none,
     repeated(100, "echo \"\recho \\\recho 'a\"b\r\"\r")},
    {"AliasOfItself",               5, none,              none,
     "alias q! \"q! q!\"\rq!\ralias w! \"echo w; w!\"\rw!\rno alias q!\rno alias w!\r"},
    {"AliasNamesOfAllKinds",       20, none,              none,
     "alias \"\" x\ralias \"a b\" x\ralias \033[31m x\ralias \x9b" "1m x\ralias show x\r"},
    {"EscapesInErrors",            50, none,              "\x9b",
     "echo \x9b" "31m \x84\x90\rno \x9b" "31m\r"},
    {"Timers",                      1, none,              none,
     repeated(200, "timer 1 later\rtimer 1000000 never\r")},
    {"Traces",                      5, none,              none,
     "debug on\r" + repeated(1024, "\xff\xf0") + repeated(20, "show version\r") +
     repeated(200, "\xff\xf1\xff\xfa\x1f\0\x50\0\x18\xff\xf0"s) + "debug off\r"},
    {"PromptsOfAllKinds",          20, none,              none,
     "prompt " + std::string(250, 'p') + "\rprompt \"\"\rprompt %s%n\rprompt \"varno> \"\r"},
    // Ends
    {"TypingAfterTheEnd",           1, none,              "\r\ntoo late",
     "exit\r" + repeated(2000, "echo too late\r"), true},
    {"EndOfInput",                  1, none,              none,
     repeated(1000, "\004"), true},
};
// clang-format on

} // namespace

std::span<const Attack> attacks()
{
    return table;
}

} // namespace varno_test
