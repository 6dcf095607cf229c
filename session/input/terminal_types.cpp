// The known terminal types and what their keys send, as tables.

#include "terminal_types.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

namespace varno {

// What is peculiar to a type.
enum TypeTraits : uint8_t {
    all_types = 0,         // as a row: whatever a type is like
    pastes = 1,            // understands mode 2004
    ends_with_dollar = 2,  // rxvt's shifted keys
    keypad_has_f_keys = 4, // its F5 to F10 are on the numeric keypad
    keypad_has_digits = 8  // its numeric keypad sends what is printed on it
};

struct TerminalType {
    const char *name;
    uint8_t traits;
};

namespace {

// Name, traits.
// clang-format off
constexpr TerminalType terminal_types[] = {
    {"vt100",        keypad_has_f_keys},
    {"vt102",        keypad_has_f_keys},
    {"vt220",        keypad_has_digits},
    {"xterm",        keypad_has_digits | pastes},
    {"linux",        keypad_has_digits},
    {"screen",       keypad_has_digits | pastes},
    {"tmux",         keypad_has_digits | pastes},
    {"rxvt",         keypad_has_digits | ends_with_dollar},
    {"rxvt-unicode", keypad_has_digits | ends_with_dollar | pastes},
    {"putty",        keypad_has_digits | pastes},
    {"cygwin",       keypad_has_digits},
    {"ansi",         keypad_has_digits},
    {"dumb",         keypad_has_digits},
};

// Terminals that send and understand what a known type does. Name, name of the type.
constexpr struct {
    const char *name;
    const char *type;
} aliases[] = {
    {"alacritty", "xterm"},
    {"foot",      "xterm"},
    {"gnome",     "xterm"},
    {"konsole",   "xterm"},
    {"kitty",     "xterm"},
    {"mintty",    "xterm"},
    {"st",        "xterm"},
    {"vte",       "xterm"},
    {"vt320",     "vt220"},
    {"vt420",     "vt220"},
    {"urxvt",     "rxvt-unicode"},
};

struct KeySequence {
    uint8_t traits; // of the types whose sequence it is: all of these
    std::string_view bytes;
    mkey_t key;
};

// Traits, sequence, key. Most are for all types, since many terminals run under
// another's name; no sequence of a type begins with another of its own. Insert, the
// page keys and modified keys that are not here do nothing.
constexpr KeySequence key_sequences[] = {
    {all_types,         "\033[A",    VIRTKEY_UP},
    {all_types,         "\033OA",    VIRTKEY_UP},
    {all_types,         "\033[B",    VIRTKEY_DOWN},
    {all_types,         "\033OB",    VIRTKEY_DOWN},
    {all_types,         "\033[C",    VIRTKEY_RIGHT},
    {all_types,         "\033OC",    VIRTKEY_RIGHT},
    {all_types,         "\033[D",    VIRTKEY_LEFT},
    {all_types,         "\033OD",    VIRTKEY_LEFT},
    {all_types,         "\033[H",    VIRTKEY_HOME},
    {all_types,         "\033OH",    VIRTKEY_HOME},
    {all_types,         "\033[1~",   VIRTKEY_HOME},
    {all_types,         "\033[7~",   VIRTKEY_HOME},
    {all_types,         "\033[F",    VIRTKEY_END},
    {all_types,         "\033OF",    VIRTKEY_END},
    {all_types,         "\033[4~",   VIRTKEY_END},
    {all_types,         "\033[8~",   VIRTKEY_END},
    {all_types,         "\033[3~",   key_delete},
    {all_types,         "\033[1;5C", key_word_right},     // Ctrl
    {all_types,         "\033[1;5D", key_word_left},
    {all_types,         "\033[1;3C", key_word_right},     // Alt
    {all_types,         "\033[1;3D", key_word_left},
    {all_types,         "\033[1;7C", key_word_right},     // both
    {all_types,         "\033[1;7D", key_word_left},
    {all_types,         "\033[1;9C", key_word_right},     // Meta
    {all_types,         "\033[1;9D", key_word_left},
    {all_types,         "\033[5C",   key_word_right},     // Ctrl, older terminals
    {all_types,         "\033[5D",   key_word_left},
    {all_types,         "\033O5C",   key_word_right},
    {all_types,         "\033O5D",   key_word_left},
    {all_types,         "\033Oc",    key_word_right},     // Ctrl, rxvt
    {all_types,         "\033Od",    key_word_left},
    {all_types,         "\033OP",    VIRTKEY_F1},
    {all_types,         "\033[11~",  VIRTKEY_F1},
    {all_types,         "\033[[A",   VIRTKEY_F1},
    {all_types,         "\033OQ",    VIRTKEY_F2},
    {all_types,         "\033[12~",  VIRTKEY_F2},
    {all_types,         "\033[[B",   VIRTKEY_F2},
    {all_types,         "\033OR",    VIRTKEY_F3},
    {all_types,         "\033[13~",  VIRTKEY_F3},
    {all_types,         "\033[[C",   VIRTKEY_F3},
    {all_types,         "\033OS",    VIRTKEY_F4},
    {all_types,         "\033[14~",  VIRTKEY_F4},
    {all_types,         "\033[[D",   VIRTKEY_F4},
    {all_types,         "\033[15~",  VIRTKEY_F5},
    {all_types,         "\033[[E",   VIRTKEY_F5},
    {all_types,         "\033[17~",  VIRTKEY_F6},
    {all_types,         "\033[18~",  VIRTKEY_F7},
    {all_types,         "\033[19~",  VIRTKEY_F8},
    {all_types,         "\033[20~",  VIRTKEY_F9},
    {all_types,         "\033[21~",  VIRTKEY_F10},
    {all_types,         "\033[23~",  VIRTKEY_F11},
    {all_types,         "\033[24~",  VIRTKEY_F12},
    {all_types,         "\033OM",    VIRTKEY_RETURN},     // the keypad in application mode
    {keypad_has_f_keys, "\033Ot",    VIRTKEY_F5},
    {keypad_has_f_keys, "\033Ou",    VIRTKEY_F6},
    {keypad_has_f_keys, "\033Ov",    VIRTKEY_F7},
    {keypad_has_f_keys, "\033Ol",    VIRTKEY_F8},
    {keypad_has_f_keys, "\033Ow",    VIRTKEY_F9},
    {keypad_has_f_keys, "\033Ox",    VIRTKEY_F10},
    {keypad_has_digits, "\033Op",    '0'},
    {keypad_has_digits, "\033Oq",    '1'},
    {keypad_has_digits, "\033Or",    '2'},
    {keypad_has_digits, "\033Os",    '3'},
    {keypad_has_digits, "\033Ot",    '4'},
    {keypad_has_digits, "\033Ou",    '5'},
    {keypad_has_digits, "\033Ov",    '6'},
    {keypad_has_digits, "\033Ow",    '7'},
    {keypad_has_digits, "\033Ox",    '8'},
    {keypad_has_digits, "\033Oy",    '9'},
    {keypad_has_digits, "\033Oj",    '*'},
    {keypad_has_digits, "\033Ok",    '+'},
    {keypad_has_digits, "\033Ol",    ','},
    {keypad_has_digits, "\033Om",    '-'},
    {keypad_has_digits, "\033On",    '.'},
    {keypad_has_digits, "\033Oo",    '/'},
};
// clang-format on

// Unknown terminals are most often relatives of this one.
constexpr const TerminalType *default_type = &terminal_types[0];
static_assert(std::string_view(default_type->name) == "vt100");

constexpr char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The length of the base if the name is that, or that and a suffix; else 0.
size_t matched_len(const char *name, std::string_view base)
{
    for (size_t i = 0; i < base.size(); i++) {
        if (lower(name[i]) != base[i])
            return 0;
    }
    const char next = name[base.size()];
    return next == '\0' || next == '-' || next == '.' ? base.size() : 0;
}

const TerminalType *type_named(std::string_view name)
{
    return std::find_if(std::begin(terminal_types), std::end(terminal_types),
                        [name](const TerminalType &type) { return name == type.name; });
}

// The longest name wins: "rxvt-unicode-256color" is no "rxvt". NULL for none.
const TerminalType *known_type(const char *name)
{
    const TerminalType *found = nullptr;
    size_t longest = 0;
    for (const TerminalType &type : terminal_types) {
        if (matched_len(name, type.name) > longest) {
            found = &type;
            longest = matched_len(name, type.name);
        }
    }
    for (const auto &alias : aliases) {
        if (!found && matched_len(name, alias.name) > 0)
            found = type_named(alias.type);
    }
    return found;
}

constexpr bool has_trait(const TerminalType &type, TypeTraits trait)
{
    return (type.traits & trait) != 0;
}

constexpr bool is_digits(std::string_view text)
{
    return text.find_first_not_of("0123456789") == text.npos && !text.empty();
}

constexpr bool does_end(const TerminalType &type, std::string_view sequence, char next)
{
    if (sequence[1] == 'O')
        return next < '0' || next > '?';
    if (next == '[' && sequence.size() == 2)
        return false;
    if (sequence.size() == 3 && sequence[2] == '[')
        return true;
    if (next == '$' && has_trait(type, ends_with_dollar))
        return is_digits(sequence.substr(2));
    return next >= '@';
}

// Whole sequences never begin one another.
constexpr bool is_whole_sequence(const TerminalType &type, std::string_view bytes)
{
    if (bytes.size() < 3 || bytes.size() > max_sequence_len || bytes[0] != '\033' ||
        (bytes[1] != '[' && bytes[1] != 'O'))
        return false;
    for (size_t i = 2; i < bytes.size(); i++) {
        const bool is_last = i + 1 == bytes.size();
        const bool is_printable = bytes[i] >= ' ' && bytes[i] <= '~';
        if (!is_printable || does_end(type, bytes.substr(0, i), bytes[i]) != is_last)
            return false;
    }
    return true;
}

constexpr bool is_of_type(const KeySequence &row, const TerminalType &type)
{
    return (type.traits & row.traits) == row.traits;
}

constexpr bool is_before(const KeySequence &row, std::string_view bytes)
{
    return row.bytes < bytes;
}

// In the order of their bytes, for the search.
constexpr auto sorted_sequences = [] {
    auto rows = std::to_array(key_sequences);
    std::sort(rows.begin(), rows.end(),
              [](const KeySequence &a, const KeySequence &b) { return is_before(a, b.bytes); });
    return rows;
}();

// For each type its rows are whole sequences, and no two are the same.
constexpr bool are_rows_of_each_type_distinct_and_whole()
{
    for (const TerminalType &type : terminal_types) {
        std::string_view last;
        for (const KeySequence &row : sorted_sequences) {
            if (!is_of_type(row, type))
                continue;
            if (row.bytes == last || !is_whole_sequence(type, row.bytes))
                return false;
            last = row.bytes;
        }
    }
    return true;
}
static_assert(are_rows_of_each_type_distinct_and_whole());

} // namespace

const TerminalType *find_terminal_type(const char *name)
{
    const TerminalType *type = name ? known_type(name) : nullptr;
    return type ? type : default_type;
}

bool is_known_terminal_type(const char *name)
{
    return name && known_type(name);
}

const char *terminal_type_name(const TerminalType *type)
{
    return type->name;
}

bool has_bracketed_paste(const TerminalType *type)
{
    return has_trait(*type, pastes);
}

const char *paste_on(const TerminalType *type)
{
    return has_bracketed_paste(type) ? "\033[?2004h" : "";
}

const char *paste_off(const TerminalType *type)
{
    return has_bracketed_paste(type) ? "\033[?2004l" : "";
}

bool ends_sequence(const TerminalType *type, const char *sequence, size_t len, char next)
{
    return does_end(*type, {sequence, len}, next);
}

std::optional<mkey_t> key_of_sequence(const TerminalType *type, std::string_view sequence)
{
    const auto *row =
        std::lower_bound(sorted_sequences.begin(), sorted_sequences.end(), sequence, is_before);
    for (; row != sorted_sequences.end() && row->bytes == sequence; row++) {
        if (is_of_type(*row, *type))
            return row->key;
    }
    return std::nullopt;
}

} // namespace varno
