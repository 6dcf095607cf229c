// What the keys of each known terminal send, and which keys come out: by hand, and by
// the system's terminal database, which the session library does not use.

#include "support/key_log.h"

#include <varno/termcap_util.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <term.h> // last: it defines capability names as macros
#include <termcap.h>

using namespace varno_test;
using varno::find_terminal_type;

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
void expect_keys(const char *type, const std::vector<Key> &keys)
{
    KeyLog log(type);
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

} // namespace

TEST(TerminalKeys, EveryKeyOfEveryTerminalJustWorks)
{
    for (const auto &terminal : terminals) {
        expect_keys(terminal.type, common_keys);
        expect_keys(terminal.type, terminal.keys);
    }
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
