// The known terminal types and what their keys send, as tables, and the decoders made
// from these and from the terminal database.

#include "terminal_types.h"

#include <varno/termcap_util.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <mutex>
#include <string_view>

#include <sys/time.h>
#include <term.h>
#include <termcap.h>
#include <unistd.h>

namespace varno {

// What is peculiar to a type.
enum TypeTraits : uint8_t {
    plain = 0,
    pastes = 1,           // understands mode 2004
    ends_with_dollar = 2, // rxvt's shifted keys
    keypad_has_f_keys = 4 // its F5 to F10 are the numeric keypad's digits
};

struct TerminalType {
    const char *name;
    uint8_t traits;
};

namespace {

// Name in the database, traits.
// clang-format off
constexpr TerminalType terminal_types[] = {
    {"vt100",        keypad_has_f_keys},
    {"vt102",        keypad_has_f_keys},
    {"vt220",        plain},
    {"xterm",        pastes},
    {"linux",        plain},
    {"screen",       pastes},
    {"tmux",         pastes},
    {"rxvt",         ends_with_dollar},
    {"rxvt-unicode", pastes | ends_with_dollar},
    {"putty",        pastes},
    {"cygwin",       plain},
    {"ansi",         plain},
    {"dumb",         plain},
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
    uint8_t except; // types with any of these traits
    const char *bytes;
    mkey_t key;
};

// Except for types with, sequence, key. Bound for all others, since many terminals run
// under another's name; none may begin with another. Insert, the page keys and
// modified keys that are not here do nothing.
constexpr KeySequence key_sequences[] = {
    {plain,             "\033[A",    VIRTKEY_UP},
    {plain,             "\033OA",    VIRTKEY_UP},
    {plain,             "\033[B",    VIRTKEY_DOWN},
    {plain,             "\033OB",    VIRTKEY_DOWN},
    {plain,             "\033[C",    VIRTKEY_RIGHT},
    {plain,             "\033OC",    VIRTKEY_RIGHT},
    {plain,             "\033[D",    VIRTKEY_LEFT},
    {plain,             "\033OD",    VIRTKEY_LEFT},
    {plain,             "\033[H",    VIRTKEY_HOME},
    {plain,             "\033OH",    VIRTKEY_HOME},
    {plain,             "\033[1~",   VIRTKEY_HOME},
    {plain,             "\033[7~",   VIRTKEY_HOME},
    {plain,             "\033[F",    VIRTKEY_END},
    {plain,             "\033OF",    VIRTKEY_END},
    {plain,             "\033[4~",   VIRTKEY_END},
    {plain,             "\033[8~",   VIRTKEY_END},
    {plain,             "\033[3~",   key_delete},
    {plain,             "\033[1;5C", key_word_right},     // Ctrl
    {plain,             "\033[1;5D", key_word_left},
    {plain,             "\033[1;3C", key_word_right},     // Alt
    {plain,             "\033[1;3D", key_word_left},
    {plain,             "\033[1;7C", key_word_right},     // both
    {plain,             "\033[1;7D", key_word_left},
    {plain,             "\033[1;9C", key_word_right},     // Meta
    {plain,             "\033[1;9D", key_word_left},
    {plain,             "\033[5C",   key_word_right},     // Ctrl, older terminals
    {plain,             "\033[5D",   key_word_left},
    {plain,             "\033O5C",   key_word_right},
    {plain,             "\033O5D",   key_word_left},
    {plain,             "\033Oc",    key_word_right},     // Ctrl, rxvt
    {plain,             "\033Od",    key_word_left},
    {plain,             "\033OP",    VIRTKEY_F1},
    {plain,             "\033[11~",  VIRTKEY_F1},
    {plain,             "\033[[A",   VIRTKEY_F1},
    {plain,             "\033OQ",    VIRTKEY_F2},
    {plain,             "\033[12~",  VIRTKEY_F2},
    {plain,             "\033[[B",   VIRTKEY_F2},
    {plain,             "\033OR",    VIRTKEY_F3},
    {plain,             "\033[13~",  VIRTKEY_F3},
    {plain,             "\033[[C",   VIRTKEY_F3},
    {plain,             "\033OS",    VIRTKEY_F4},
    {plain,             "\033[14~",  VIRTKEY_F4},
    {plain,             "\033[[D",   VIRTKEY_F4},
    {plain,             "\033[15~",  VIRTKEY_F5},
    {plain,             "\033[[E",   VIRTKEY_F5},
    {plain,             "\033[17~",  VIRTKEY_F6},
    {plain,             "\033[18~",  VIRTKEY_F7},
    {plain,             "\033[19~",  VIRTKEY_F8},
    {plain,             "\033[20~",  VIRTKEY_F9},
    {plain,             "\033[21~",  VIRTKEY_F10},
    {plain,             "\033[23~",  VIRTKEY_F11},
    {plain,             "\033[24~",  VIRTKEY_F12},
    {plain,             "\033OM",    VIRTKEY_RETURN},     // the keypad in application mode
    {keypad_has_f_keys, "\033Op",    '0'},
    {keypad_has_f_keys, "\033Oq",    '1'},
    {keypad_has_f_keys, "\033Or",    '2'},
    {keypad_has_f_keys, "\033Os",    '3'},
    {keypad_has_f_keys, "\033Ot",    '4'},
    {keypad_has_f_keys, "\033Ou",    '5'},
    {keypad_has_f_keys, "\033Ov",    '6'},
    {keypad_has_f_keys, "\033Ow",    '7'},
    {keypad_has_f_keys, "\033Ox",    '8'},
    {keypad_has_f_keys, "\033Oy",    '9'},
    {keypad_has_f_keys, "\033Oj",    '*'},
    {keypad_has_f_keys, "\033Ok",    '+'},
    {keypad_has_f_keys, "\033Ol",    ','},
    {keypad_has_f_keys, "\033Om",    '-'},
    {keypad_has_f_keys, "\033On",    '.'},
    {keypad_has_f_keys, "\033Oo",    '/'},
};
// clang-format on

// Unknown terminals are most often relatives of this one.
constexpr const TerminalType *default_type = &terminal_types[0];
static_assert(std::string_view(default_type->name) == "vt100");
static_assert(std::size(terminal_types) <= Decoders::max_types);

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

bool has_trait(const TerminalType *type, TypeTraits trait)
{
    return (type->traits & trait) != 0;
}

bool is_digits(std::string_view text)
{
    return text.find_first_not_of("0123456789") == text.npos && !text.empty();
}

bool is_printable(char c)
{
    return c >= ' ' && c <= '~';
}

// Whole sequences never begin one another, so a decoder refuses none of them.
bool is_whole_sequence(const TerminalType *type, std::string_view bytes)
{
    if (bytes.size() < 3 || bytes.size() > max_sequence_len || bytes[0] != '\033' ||
        (bytes[1] != '[' && bytes[1] != 'O'))
        return false;
    for (size_t i = 2; i < bytes.size(); i++) {
        const bool is_last = i + 1 == bytes.size();
        if (!is_printable(bytes[i]) || ends_sequence(type, bytes.data(), i, bytes[i]) != is_last)
            return false;
    }
    return true;
}

// Sequences of the rows of basic_keys; "" where there is none to be bound.
struct DatabaseKeys {
    char bytes[std::size(basic_keys)][max_sequence_len + 1];
};

constinit std::mutex database_mutex;

// Backspace is left out: its capability is a plain byte for most types, and the other
// byte that it may send must stay a Backspace too.
void read_database_keys(const TerminalType *type, DatabaseKeys &out)
{
    for (const termkey_desc_s *row = basic_keys; row->capability; row++) {
        const char *text = tgetstr(const_cast<char *>(row->capability), nullptr);
        if (!text || static_cast<mkey_t>(row->code) == VIRTKEY_BACKSPACE ||
            !is_whole_sequence(type, text))
            continue;
        std::memcpy(out.bytes[row - basic_keys], text, std::strlen(text) + 1);
    }
}

// Not tgetent: that frees the entry which the host has selected.
void read_database(const TerminalType *type, DatabaseKeys &out)
{
    const std::lock_guard lock(database_mutex);
    TERMINAL *hosts = set_curterm(nullptr);
    int found = 0;
    if (setupterm(const_cast<char *>(type->name), STDOUT_FILENO, &found) == 0)
        read_database_keys(type, out);
    TERMINAL *ours = set_curterm(hosts);
    if (ours)
        del_curterm(ours);
}

// Returns false without memory.
bool bind(stroker_s *decoder, const char *bytes, mkey_t key)
{
    DecodedKeys decoded;
    return decode_sequence(decoder, bytes, std::strlen(bytes), decoded) ||
           stroker_bind_sequence_to_vkey(decoder, bytes, key) == 0;
}

// Enter is Enter, whatever key it is.
mkey_t database_key(const termkey_desc_s &row)
{
    const auto key = static_cast<mkey_t>(row.code);
    return key == VIRTKEY_ENTER ? VIRTKEY_RETURN : key;
}

// The database's rows first: what a type says of itself counts. Returns false without
// memory.
bool bind_all(stroker_s *decoder, const TerminalType *type)
{
    DatabaseKeys found = {};
    read_database(type, found);
    for (size_t i = 0; i < std::size(found.bytes); i++) {
        if (found.bytes[i][0] != '\0' &&
            !bind(decoder, found.bytes[i], database_key(basic_keys[i])))
            return false;
    }
    for (const KeySequence &row : key_sequences) {
        if ((type->traits & row.except) == 0 && !bind(decoder, row.bytes, row.key))
            return false;
    }
    return stroker_bindings_prepare(decoder) == 0;
}

// What the decoder delivers for one sequence. An unknown one comes back as its own
// bytes, a bound one in a single call.
struct Delivered {
    DecodedKeys *out;
    int calls;
};

int take_keys(stroker_s *, void *user, const mkey_t *keys, int32_t count)
{
    auto *delivered = static_cast<Delivered *>(user);
    DecodedKeys &out = *delivered->out;
    delivered->calls++;
    out.count = std::min(static_cast<size_t>(count), std::size(out.keys));
    std::copy_n(keys, out.count, out.keys);
    return 0;
}

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
    return has_trait(type, pastes);
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
    if (sequence[1] == 'O')
        return next < '0' || next > '?';
    if (next == '[' && len == 2)
        return false;
    if (len == 3 && sequence[2] == '[')
        return true;
    if (next == '$' && has_trait(type, ends_with_dollar))
        return is_digits({sequence + 2, len - 2});
    return next >= '@';
}

// A bound sequence comes in the first call, as keys that are not its bytes; all else
// begins with the ESC.
bool decode_sequence(stroker_s *decoder, const char *sequence, size_t len, DecodedKeys &out)
{
    Delivered delivered = {&out, 0};
    timeval wait;
    out.count = 0;
    stroker_set_callback_chars(decoder, take_keys, &delivered);
    const int32_t used = stroker_consume(decoder, reinterpret_cast<const unsigned char *>(sequence),
                                         static_cast<int32_t>(len), &wait);
    if (delivered.calls == 1 && used == static_cast<int32_t>(len) && out.keys[0] != VIRTKEY_ESC)
        return true;
    out.count = 0;
    return false;
}

stroker_s *Decoders::get(const TerminalType *type)
{
    const auto i = static_cast<size_t>(type - terminal_types);
    if (!decoders_[i])
        decoders_[i] = stroker_create_context();
    if (decoders_[i] && !is_complete_[i])
        is_complete_[i] = bind_all(decoders_[i], type);
    return is_complete_[i] ? decoders_[i] : nullptr;
}

void Decoders::release()
{
    for (size_t i = 0; i < std::size(decoders_); i++) {
        if (decoders_[i])
            stroker_free_context(decoders_[i]);
        decoders_[i] = nullptr;
        is_complete_[i] = false;
    }
}

} // namespace varno
