// What the keys of each known terminal send, and which keys come out; the terminal
// database with its oddities, and without it.

#include "support/key_log.h"

#include <varno/platform_default.h>

#include <cstdlib>
#include <dlfcn.h>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <term.h> // last: it defines capability names as macros
#include <termcap.h>

using namespace varno_test;
using varno::Decoders;
using varno::find_terminal_type;

// This program stands in front of the terminal database. No test runs beside
// another, so plain globals do.
namespace {

bool is_database_missing = false;
std::vector<std::string> looked_up;
std::function<char *(const std::string &)> made_up_capability;

} // namespace

extern "C" int setupterm(const char *name, int fd, int *result)
{
    static const auto real = reinterpret_cast<decltype(&setupterm)>(dlsym(RTLD_NEXT, "setupterm"));
    looked_up.push_back(name);
    if (!is_database_missing)
        return real(name, fd, result);
    *result = -1;
    return -1;
}

extern "C" char *tgetstr(const char *id, char **area)
{
    static const auto real = reinterpret_cast<decltype(&tgetstr)>(dlsym(RTLD_NEXT, "tgetstr"));
    return made_up_capability ? made_up_capability(id) : real(id, area);
}

namespace {

const char *const known_types[] = {"xterm",  "vt100", "vt102", "vt220",        "linux",
                                   "screen", "tmux",  "rxvt",  "rxvt-unicode", "putty",
                                   "cygwin", "ansi",  "dumb"};

struct Key {
    const char *name;
    const char *bytes;
    const char *result; // "" for a key that does nothing
};

// What every terminal sends: name, bytes, result.
// clang-format off
const std::vector<Key> common_keys = {
    {"a",              "a",          "a"},
    {"?",              "?",          "?"},
    {"Space",          " ",          " "},
    {"Enter",          "\r",         "<cr>"},
    {"Tab",            "\t",         "<9>"},
    {"Esc b",          "\33b",       "<esc>b"},
    {"Alt-f",          "\33f",       "<esc>f"},
    {"Alt-Backspace",  "\33\x7f",    "<esc><127>"},
    {"Backspace",      "\x7f",       "<127>"},
    {"Ctrl-H",         "\b",         "<8>"},
    {"Ctrl-A",         "\1",         "<1>"},
    {"Ctrl-C",         "\3",         "<3>"},
    {"Ctrl-D",         "\4",         "<4>"},
};

const std::vector<Key> xterm_keys = {
    {"Up",             "\33OA",      "<up>"},
    {"Down",           "\33OB",      "<down>"},
    {"Right",          "\33OC",      "<right>"},
    {"Left",           "\33OD",      "<left>"},
    {"Up, normal",     "\33[A",      "<up>"},
    {"Down, normal",   "\33[B",      "<down>"},
    {"Right, normal",  "\33[C",      "<right>"},
    {"Left, normal",   "\33[D",      "<left>"},
    {"Home",           "\33OH",      "<home>"},
    {"End",            "\33OF",      "<end>"},
    {"Home, normal",   "\33[H",      "<home>"},
    {"End, normal",    "\33[F",      "<end>"},
    {"Delete",         "\33[3~",     "<delete>"},
    {"Insert",         "\33[2~",     ""},
    {"Page Up",        "\33[5~",     ""},
    {"Page Down",      "\33[6~",     ""},
    {"Ctrl-Right",     "\33[1;5C",   "<word-right>"},
    {"Ctrl-Left",      "\33[1;5D",   "<word-left>"},
    {"Alt-Right",      "\33[1;3C",   "<word-right>"},
    {"Alt-Left",       "\33[1;3D",   "<word-left>"},
    {"Ctrl-Alt-Left",  "\33[1;7D",   "<word-left>"},
    {"Shift-Left",     "\33[1;2D",   ""},
    {"Ctrl-Up",        "\33[1;5A",   ""},
    {"Ctrl-Home",      "\33[1;5H",   ""},
    {"Ctrl-Delete",    "\33[3;5~",   ""},
    {"Shift-Tab",      "\33[Z",      ""},
    {"keypad Enter",   "\33OM",      "<cr>"},
    {"keypad 5",       "\33Ou",      "5"},
    {"F1",             "\33OP",      "<f1>"},
    {"F2",             "\33OQ",      "<f2>"},
    {"F3",             "\33OR",      "<f3>"},
    {"F4",             "\33OS",      "<f4>"},
    {"F5",             "\33[15~",    "<f5>"},
    {"F6",             "\33[17~",    "<f6>"},
    {"F7",             "\33[18~",    "<f7>"},
    {"F8",             "\33[19~",    "<f8>"},
    {"F9",             "\33[20~",    "<f9>"},
    {"F10",            "\33[21~",    "<f10>"},
    {"F11",            "\33[23~",    "<f11>"},
    {"F12",            "\33[24~",    "<f12>"},
    {"Shift-F1",       "\33[1;2P",   ""},
    {"Shift-F5",       "\33[15;2~",  ""},
    {"older Ctrl-Right", "\33[5C",   "<word-right>"},
    {"Meta-Left",      "\33[1;9D",   "<word-left>"},
    {"focus in",       "\33[I",      ""},
};

const std::vector<Key> vt100_keys = {
    {"Up",             "\33OA",      "<up>"},
    {"Down",           "\33OB",      "<down>"},
    {"Right",          "\33OC",      "<right>"},
    {"Left",           "\33OD",      "<left>"},
    {"Up, normal",     "\33[A",      "<up>"},
    {"Down, normal",   "\33[B",      "<down>"},
    {"Right, normal",  "\33[C",      "<right>"},
    {"Left, normal",   "\33[D",      "<left>"},
    {"PF1",            "\33OP",      "<f1>"},
    {"PF2",            "\33OQ",      "<f2>"},
    {"PF3",            "\33OR",      "<f3>"},
    {"PF4",            "\33OS",      "<f4>"},
    {"keypad Enter",   "\33OM",      "<cr>"},
    {"keypad 0",       "\33Op",      ""},
    {"keypad 1",       "\33Oq",      ""},
    {"keypad 2",       "\33Or",      ""},
    {"keypad 3",       "\33Os",      ""},
    {"keypad 4",       "\33Ot",      "<f5>"},
    {"keypad 5",       "\33Ou",      "<f6>"},
    {"keypad 6",       "\33Ov",      "<f7>"},
    {"keypad comma",   "\33Ol",      "<f8>"},
    {"keypad 7",       "\33Ow",      "<f9>"},
    {"keypad 8",       "\33Ox",      "<f10>"},
    {"keypad 9",       "\33Oy",      ""},
    {"keypad -",       "\33Om",      ""},
    {"keypad .",       "\33On",      ""},
    {"Line Feed",      "\n",         "<cr>"},
};

const std::vector<Key> vt220_keys = {
    {"Up",             "\33[A",      "<up>"},
    {"Down",           "\33[B",      "<down>"},
    {"Right",          "\33[C",      "<right>"},
    {"Left",           "\33[D",      "<left>"},
    {"Up, application", "\33OA",     "<up>"},
    {"Left, application", "\33OD",   "<left>"},
    {"Find",           "\33[1~",     "<home>"},
    {"Insert Here",    "\33[2~",     ""},
    {"Remove",         "\33[3~",     "<delete>"},
    {"Select",         "\33[4~",     "<end>"},
    {"Prev Screen",    "\33[5~",     ""},
    {"Next Screen",    "\33[6~",     ""},
    {"PF1",            "\33OP",      "<f1>"},
    {"PF2",            "\33OQ",      "<f2>"},
    {"PF3",            "\33OR",      "<f3>"},
    {"PF4",            "\33OS",      "<f4>"},
    {"F6",             "\33[17~",    "<f6>"},
    {"F7",             "\33[18~",    "<f7>"},
    {"F8",             "\33[19~",    "<f8>"},
    {"F9",             "\33[20~",    "<f9>"},
    {"F10",            "\33[21~",    "<f10>"},
    {"F11",            "\33[23~",    "<f11>"},
    {"F12",            "\33[24~",    "<f12>"},
    {"F13",            "\33[25~",    ""},
    {"F14",            "\33[26~",    ""},
    {"Help",           "\33[28~",    ""},
    {"Do",             "\33[29~",    ""},
    {"F20",            "\33[34~",    ""},
    {"keypad Enter",   "\33OM",      "<cr>"},
    {"keypad 0",       "\33Op",      "0"},
    {"keypad 9",       "\33Oy",      "9"},
    {"keypad -",       "\33Om",      "-"},
    {"keypad comma",   "\33Ol",      ","},
    {"keypad .",       "\33On",      "."},
};

const std::vector<Key> linux_keys = {
    {"Up",             "\33[A",      "<up>"},
    {"Down",           "\33[B",      "<down>"},
    {"Right",          "\33[C",      "<right>"},
    {"Left",           "\33[D",      "<left>"},
    {"Up, application", "\33OA",     "<up>"},
    {"Left, application", "\33OD",   "<left>"},
    {"Home",           "\33[1~",     "<home>"},
    {"Insert",         "\33[2~",     ""},
    {"Delete",         "\33[3~",     "<delete>"},
    {"End",            "\33[4~",     "<end>"},
    {"Page Up",        "\33[5~",     ""},
    {"Page Down",      "\33[6~",     ""},
    {"Alt-Right",      "\33\33[C",   "<word-right>"},
    {"Alt-Left",       "\33\33[D",   "<word-left>"},
    {"Alt-Tab",        "\33\t",      "<esc><9>"},
    {"keypad 5",       "\33[G",      ""},
    {"keypad Enter",   "\33OM",      "<cr>"},
    {"F1",             "\33[[A",     "<f1>"},
    {"F2",             "\33[[B",     "<f2>"},
    {"F3",             "\33[[C",     "<f3>"},
    {"F4",             "\33[[D",     "<f4>"},
    {"F5",             "\33[[E",     "<f5>"},
    {"F6",             "\33[17~",    "<f6>"},
    {"F7",             "\33[18~",    "<f7>"},
    {"F8",             "\33[19~",    "<f8>"},
    {"F9",             "\33[20~",    "<f9>"},
    {"F10",            "\33[21~",    "<f10>"},
    {"F11",            "\33[23~",    "<f11>"},
    {"F12",            "\33[24~",    "<f12>"},
    {"Shift-F1",       "\33[25~",    ""},
    {"Shift-F8",       "\33[34~",    ""},
    {"Pause",          "\33[P",      ""},
};

// screen and tmux send the same to what runs in them.
const std::vector<Key> screen_keys = {
    {"Up",             "\33OA",      "<up>"},
    {"Down",           "\33OB",      "<down>"},
    {"Right",          "\33OC",      "<right>"},
    {"Left",           "\33OD",      "<left>"},
    {"Up, normal",     "\33[A",      "<up>"},
    {"Down, normal",   "\33[B",      "<down>"},
    {"Right, normal",  "\33[C",      "<right>"},
    {"Left, normal",   "\33[D",      "<left>"},
    {"Home",           "\33[1~",     "<home>"},
    {"Insert",         "\33[2~",     ""},
    {"Delete",         "\33[3~",     "<delete>"},
    {"End",            "\33[4~",     "<end>"},
    {"Page Up",        "\33[5~",     ""},
    {"Page Down",      "\33[6~",     ""},
    {"Ctrl-Right",     "\33[1;5C",   "<word-right>"},
    {"Ctrl-Left",      "\33[1;5D",   "<word-left>"},
    {"Alt-Right",      "\33[1;3C",   "<word-right>"},
    {"Alt-Left",       "\33[1;3D",   "<word-left>"},
    {"older Alt-Left", "\33\33[D",   "<word-left>"},
    {"older Alt-Left, application", "\33\33OD", "<word-left>"},
    {"Shift-Right",    "\33[1;2C",   ""},
    {"Shift-Tab",      "\33[Z",      ""},
    {"keypad Enter",   "\33OM",      "<cr>"},
    {"keypad 7",       "\33Ow",      "7"},
    {"F1",             "\33OP",      "<f1>"},
    {"F2",             "\33OQ",      "<f2>"},
    {"F3",             "\33OR",      "<f3>"},
    {"F4",             "\33OS",      "<f4>"},
    {"F5",             "\33[15~",    "<f5>"},
    {"F6",             "\33[17~",    "<f6>"},
    {"F7",             "\33[18~",    "<f7>"},
    {"F8",             "\33[19~",    "<f8>"},
    {"F9",             "\33[20~",    "<f9>"},
    {"F10",            "\33[21~",    "<f10>"},
    {"F11",            "\33[23~",    "<f11>"},
    {"F12",            "\33[24~",    "<f12>"},
};

const std::vector<Key> rxvt_keys = {
    {"Up",             "\33[A",      "<up>"},
    {"Down",           "\33[B",      "<down>"},
    {"Right",          "\33[C",      "<right>"},
    {"Left",           "\33[D",      "<left>"},
    {"Up, application", "\33OA",     "<up>"},
    {"Left, application", "\33OD",   "<left>"},
    {"Home",           "\33[7~",     "<home>"},
    {"End",            "\33[8~",     "<end>"},
    {"Find",           "\33[1~",     "<home>"},
    {"Select",         "\33[4~",     "<end>"},
    {"Insert",         "\33[2~",     ""},
    {"Delete",         "\33[3~",     "<delete>"},
    {"Page Up",        "\33[5~",     ""},
    {"Page Down",      "\33[6~",     ""},
    {"Ctrl-Right",     "\33Oc",      "<word-right>"},
    {"Ctrl-Left",      "\33Od",      "<word-left>"},
    {"Ctrl-Up",        "\33Oa",      ""},
    {"Alt-Right",      "\33\33[C",   "<word-right>"},
    {"Alt-Left",       "\33\33[D",   "<word-left>"},
    {"Shift-Right",    "\33[c",      ""},
    {"Shift-Left",     "\33[d",      ""},
    {"Shift-Home",     "\33[7$",     ""},
    {"Shift-End",      "\33[8$",     ""},
    {"Shift-Delete",   "\33[3$",     ""},
    {"Ctrl-Delete",    "\33[3^",     ""},
    {"Ctrl-Shift-Delete", "\33[3@",  ""},
    {"keypad Enter",   "\33OM",      "<cr>"},
    {"keypad 4",       "\33Ot",      "4"},
    {"F1",             "\33[11~",    "<f1>"},
    {"F2",             "\33[12~",    "<f2>"},
    {"F3",             "\33[13~",    "<f3>"},
    {"F4",             "\33[14~",    "<f4>"},
    {"F5",             "\33[15~",    "<f5>"},
    {"F6",             "\33[17~",    "<f6>"},
    {"F7",             "\33[18~",    "<f7>"},
    {"F8",             "\33[19~",    "<f8>"},
    {"F9",             "\33[20~",    "<f9>"},
    {"F10",            "\33[21~",    "<f10>"},
    {"F11",            "\33[23~",    "<f11>"},
    {"F12",            "\33[24~",    "<f12>"},
    {"Shift-F11",      "\33[23$",    ""},
    {"Ctrl-F1",        "\33[11^",    ""},
};

// Ctrl-Right sends what Right sends in the other cursor mode, so it is Right.
const std::vector<Key> putty_keys = {
    {"Up",             "\33OA",      "<up>"},
    {"Down",           "\33OB",      "<down>"},
    {"Right",          "\33OC",      "<right>"},
    {"Left",           "\33OD",      "<left>"},
    {"Up, normal",     "\33[A",      "<up>"},
    {"Down, normal",   "\33[B",      "<down>"},
    {"Ctrl-Right",     "\33[C",      "<right>"},
    {"Ctrl-Left",      "\33[D",      "<left>"},
    {"newer Ctrl-Right", "\33[1;5C", "<word-right>"},
    {"newer Ctrl-Left", "\33[1;5D",  "<word-left>"},
    {"Alt-Right",      "\33\33OC",   "<word-right>"},
    {"Alt-Left",       "\33\33OD",   "<word-left>"},
    {"Alt-Right, normal", "\33\33[C", "<word-right>"},
    {"Home",           "\33[1~",     "<home>"},
    {"End",            "\33[4~",     "<end>"},
    {"Home, xterm style", "\33[H",    "<home>"},
    {"End, xterm style", "\33[F",    "<end>"},
    {"Insert",         "\33[2~",     ""},
    {"Delete",         "\33[3~",     "<delete>"},
    {"Page Up",        "\33[5~",     ""},
    {"Page Down",      "\33[6~",     ""},
    {"Shift-Tab",      "\33[Z",      ""},
    {"middle of keypad", "\33[G",    ""},
    {"keypad Enter",   "\33OM",      "<cr>"},
    {"keypad 0",       "\33Op",      "0"},
    {"keypad 5",       "\33Ou",      "5"},
    {"keypad .",       "\33On",      "."},
    {"F1",             "\33[11~",    "<f1>"},
    {"F2",             "\33[12~",    "<f2>"},
    {"F3",             "\33[13~",    "<f3>"},
    {"F4",             "\33[14~",    "<f4>"},
    {"F5",             "\33[15~",    "<f5>"},
    {"F6",             "\33[17~",    "<f6>"},
    {"F7",             "\33[18~",    "<f7>"},
    {"F8",             "\33[19~",    "<f8>"},
    {"F9",             "\33[20~",    "<f9>"},
    {"F10",            "\33[21~",    "<f10>"},
    {"F11",            "\33[23~",    "<f11>"},
    {"F12",            "\33[24~",    "<f12>"},
    {"F1, Linux style", "\33[[A",    "<f1>"},
    {"F1, VT100+ style", "\33OP",    "<f1>"},
    {"Shift-F1",       "\33[23~",    "<f11>"},
    {"Shift-F3",       "\33[25~",    ""},
};

// What a terminal is called, and its keys.
const struct {
    const char *type;
    const std::vector<Key> &keys;
} terminals[] = {
    {"xterm",  xterm_keys},  {"xterm-256color", xterm_keys},
    {"vt100",  vt100_keys},  {"vt220",          vt220_keys},
    {"linux",  linux_keys},  {"screen",         screen_keys},
    {"tmux",   screen_keys}, {"tmux-256color",  screen_keys},
    {"rxvt",   rxvt_keys},   {"rxvt-unicode",   rxvt_keys},
    {"putty",  putty_keys},  {"putty-256color", putty_keys},
};
// clang-format on

// Each key comes out whole, and nothing of it is left for the next.
void expect_keys(const char *type, const std::vector<Key> &keys, Decoders &decoders)
{
    KeyLog log(type, &decoders);
    for (const Key &key : keys) {
        EXPECT_EQ(log.feed(key.bytes).take(), key.result) << type << ": " << key.name;
        EXPECT_FALSE(log.keyboard.is_pending()) << type << ": " << key.name;
        EXPECT_EQ(log.feed("z").take(), "z") << type << ": " << key.name;
    }
}

// Fetches one capability of a type as it stands in the database; "" for none.
std::string capability(const char *type, const char *name)
{
    int found = 0;
    if (setupterm(type, 1, &found) != 0)
        return "";
    const char *text = tgetstr(const_cast<char *>(name), nullptr);
    const std::string copy = text ? text : "";
    del_curterm(cur_term);
    return copy;
}

std::string expected_key(const termkey_desc_s &row, const std::string &bytes)
{
    const auto key = static_cast<mkey_t>(row.code);
    if (key == VIRTKEY_BACKSPACE)
        return key_text(static_cast<unsigned char>(bytes[0]));
    return key_text(key == VIRTKEY_ENTER ? VIRTKEY_RETURN : key);
}

struct MissingDatabase {
    MissingDatabase() { is_database_missing = true; }
    ~MissingDatabase() { is_database_missing = false; }
};

// What the made-up capability text binds its key to, and whether arrows still work.
std::string with_capability(const std::string &name, std::string text, const std::string &bytes)
{
    Decoders decoders;
    made_up_capability = [&](const std::string &asked) {
        return asked == name ? text.data() : nullptr;
    };
    decoders.get(find_terminal_type("xterm"));
    made_up_capability = nullptr;
    KeyLog log("xterm", &decoders);
    EXPECT_EQ(log.feed("\33[A\33OB\33[3~").take(), "<up><down><delete>") << name;
    log.feed(bytes).keyboard.time_out();
    decoders.release();
    return log.take();
}

} // namespace

TEST(TerminalKeys, EveryKeyOfEveryTerminalJustWorks)
{
    for (const auto &terminal : terminals) {
        expect_keys(terminal.type, common_keys, KeyLog::shared_decoders());
        expect_keys(terminal.type, terminal.keys, KeyLog::shared_decoders());
    }
}

// The function keys on a vt100's keypad are known to its database entry alone.
TEST(TerminalKeys, WithoutTheDatabaseEveryKeyStillWorks)
{
    const MissingDatabase missing;
    Decoders decoders;
    for (const auto &terminal : terminals) {
        expect_keys(terminal.type, common_keys, decoders);
        for (const Key &key : terminal.keys) {
            const bool is_f_keypad = terminal.type == std::string("vt100") &&
                                     std::string(key.name).find("keypad") == 0 &&
                                     key.bytes != std::string("\33OM");
            const char *expected = is_f_keypad ? "" : key.result;
            expect_keys(terminal.type, {{key.name, key.bytes, expected}}, decoders);
        }
    }
    decoders.release();
}

TEST(TerminalKeys, EveryKeyInTheDatabaseIsItsVirtualKey)
{
    int tested = 0;
    for (const char *type : known_types) {
        KeyLog log(type);
        for (const termkey_desc_s *row = basic_keys; row->capability; row++) {
            const std::string bytes = capability(type, row->capability);
            if (bytes.empty())
                continue;
            EXPECT_EQ(log.feed(bytes).take(), expected_key(*row, bytes)) << type << row->name;
            EXPECT_FALSE(log.keyboard.is_pending()) << type << row->name;
            tested++;
        }
    }
    EXPECT_GT(tested, 150);
}

TEST(TerminalKeys, OddCapabilitiesAreLeftAlone)
{
    const std::string longest = "\33[" + std::string(29, '9') + "~"; // 32 bytes
    EXPECT_EQ(with_capability("kh", longest, longest), "<home>");
    const std::string longer = "\33[" + std::string(30, '9') + "~";
    EXPECT_EQ(with_capability("kh", longer, longer), "");
    const std::string fatal = "\33[" + std::string(5000, '9') + "~";
    EXPECT_EQ(with_capability("kh", fatal, fatal), "");

    EXPECT_EQ(with_capability("kh", "", "x"), "x");
    EXPECT_EQ(with_capability("kh", "h", "h"), "h");            // no sequence
    EXPECT_EQ(with_capability("kh", "\33h", "\33h"), "<esc>h"); // a meta key
    EXPECT_EQ(with_capability("kh", "\33[", "\33["), "");       // begins all others
    EXPECT_EQ(with_capability("kh", "\33O", "\33O"), "");
    EXPECT_EQ(with_capability("kh", "\33[[", "\33[["), "");
    EXPECT_EQ(with_capability("kh", "\33[A9", "\33[A9"), "<up>9"); // extends another
    EXPECT_EQ(with_capability("kh", "\33[\xe9~", "\33[\xe9~"), "");
    EXPECT_EQ(with_capability("@7", "\33[1~", "\33[1~"), "<end>"); // the type's own word
    EXPECT_EQ(with_capability("kb", "\33[99~", "\33[99~"), "");    // Backspace never
    EXPECT_EQ(with_capability("@8", "\33[99~", "\33[99~"), "<cr>");
}

// With the arrows' own rows, the made-up Up above takes none of the others.
TEST(TerminalKeys, OneSequenceForTwoKeysIsTheFirst)
{
    Decoders decoders;
    char text[] = "\33[99~";
    made_up_capability = [&](const std::string &) { return text; };
    decoders.get(find_terminal_type("xterm"));
    made_up_capability = nullptr;
    EXPECT_EQ(KeyLog("xterm", &decoders).feed("\33[99~\33[D").log, "<up><left>");
    decoders.release();
}

TEST(TerminalTypes, NamesAreFoundWithSuffixesAndInAnyCase)
{
    // Name, type; NULL for an unknown name.
    const std::vector<std::pair<const char *, const char *>> rows = {
        {"xterm", "xterm"},
        {"XTERM", "xterm"},
        {"xterm-256color", "xterm"},
        {"Xterm-Direct", "xterm"},
        {"xterm-kitty", "xterm"},
        {"vt100", "vt100"},
        {"VT102", "vt102"},
        {"vt220-8", "vt220"},
        {"vt320", "vt220"},
        {"linux-16color", "linux"},
        {"screen.xterm-256color", "screen"},
        {"tmux-256color", "tmux"},
        {"rxvt", "rxvt"},
        {"rxvt-256color", "rxvt"},
        {"rxvt-unicode", "rxvt-unicode"},
        {"rxvt-unicode-256color", "rxvt-unicode"},
        {"putty-256color", "putty"},
        {"konsole-256color", "xterm"},
        {"cygwin", "cygwin"},
        {"ansi", "ansi"},
        {"dumb", "dumb"},
        {"", nullptr},
        {"-", nullptr},
        {"xter", nullptr},
        {"xterms", nullptr},
        {"xterm256", nullptr},
        {"rxvt_unicode", nullptr},
        {"network", nullptr},
        {"../xterm", nullptr},
        {"-xterm", nullptr},
    };
    for (const auto &[name, type] : rows) {
        EXPECT_EQ(varno::is_known_terminal_type(name), type != nullptr) << name;
        EXPECT_STREQ(terminal_type_name(find_terminal_type(name)), type ? type : "vt100") << name;
    }
    EXPECT_FALSE(varno::is_known_terminal_type(nullptr));
    EXPECT_STREQ(terminal_type_name(find_terminal_type(nullptr)), "vt100");
}

TEST(TerminalTypes, OnlyNamesOfTheTableReachTheDatabase)
{
    looked_up.clear();
    Decoders decoders;
    for (const char *name : {"xterm-256color", "KONSOLE", "../../etc/passwd", "Rxvt-Unicode-x"})
        decoders.get(find_terminal_type(name));
    EXPECT_EQ(looked_up, (std::vector<std::string>{"xterm", "vt100", "rxvt-unicode"}));
    decoders.release();
}

TEST(TerminalTypes, WhatIsSwitchedOnIsSwitchedOff)
{
    for (const char *name : known_types) {
        const varno::TerminalType *type = find_terminal_type(name);
        EXPECT_STREQ(terminal_type_name(type), name);
        EXPECT_STREQ(paste_on(type), has_bracketed_paste(type) ? "\33[?2004h" : "");
        EXPECT_STREQ(paste_off(type), has_bracketed_paste(type) ? "\33[?2004l" : "");
    }
    EXPECT_TRUE(has_bracketed_paste(find_terminal_type("xterm-256color")));
    EXPECT_FALSE(has_bracketed_paste(find_terminal_type("vt100")));
}

TEST(Decoders, AreMadeOnceForEachType)
{
    const size_t before = tracked_outstanding("stroker_s");
    Decoders decoders;
    stroker_s *xterm = decoders.get(find_terminal_type("xterm"));
    stroker_s *linux_console = decoders.get(find_terminal_type("linux"));
    ASSERT_NE(xterm, nullptr);
    EXPECT_NE(xterm, linux_console);
    const size_t outstanding = tracked_outstanding(nullptr);
    EXPECT_EQ(decoders.get(find_terminal_type("konsole")), xterm);
    EXPECT_EQ(decoders.get(find_terminal_type("linux")), linux_console);
    EXPECT_EQ(tracked_outstanding(nullptr), outstanding);
    decoders.release();
    decoders.release();
    EXPECT_EQ(tracked_outstanding("stroker_s"), before);
}

// Each failure is followed by success with the same record, which then holds what an
// undisturbed one does: failures in a row grow nothing.
TEST(Decoders, AreFinishedWhenMemoryIsBack)
{
    const varno::TerminalType *type = find_terminal_type("xterm");
    const size_t before = tracked_outstanding(nullptr);
    Decoders undisturbed;
    undisturbed.get(type);
    const size_t needed = tracked_outstanding(nullptr) - before;
    undisturbed.release();

    const size_t start = tracked_outstanding(nullptr);
    Decoders decoders;
    int failures = 0;
    for (long n = 1; n < 2000; n++) {
        tracked_fail_after(n);
        const bool is_made = decoders.get(type) != nullptr;
        tracked_fail_after(-1);
        if (is_made)
            break;
        failures++;
    }
    EXPECT_GT(failures, 5);
    EXPECT_EQ(tracked_outstanding(nullptr), start + needed);
    expect_keys("xterm", xterm_keys, decoders);
    decoders.release();
}

TEST(Decoders, LeaveTheHostsTerminalEntryInForce)
{
    ASSERT_EQ(tgetent(nullptr, "linux"), 1);
    const TERMINAL *hosts = cur_term;
    Decoders decoders;
    for (const char *name : known_types)
        decoders.get(find_terminal_type(name));
    {
        const MissingDatabase missing;
        Decoders others;
        others.get(find_terminal_type("xterm"));
        others.release();
    }
    EXPECT_EQ(cur_term, hosts);
    EXPECT_STREQ(tgetstr(const_cast<char *>("k1"), nullptr), "\33[[A");
    decoders.release();
}

TEST(Decoders, MayBeMadeOnManyThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([] {
            for (int round = 0; round < 5; round++) {
                Decoders decoders;
                for (const char *name : {"linux", "rxvt"})
                    EXPECT_NE(decoders.get(find_terminal_type(name)), nullptr);
                EXPECT_EQ(KeyLog("linux", &decoders).feed("\33[[A").log, "<f1>");
                EXPECT_EQ(KeyLog("rxvt", &decoders).feed("\33[7~").log, "<home>");
                decoders.release();
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}
