#ifndef VARNO_SESSION_INPUT_TERMINAL_TYPES_H
#define VARNO_SESSION_INPUT_TERMINAL_TYPES_H

// The terminal types that a session knows: their names, what is sent to them, and
// what the sequences mean that their keys send. What a client names only ever selects
// a row here; nothing is looked up outside the program.

#include <varno/keys.h>

#include <cstddef>
#include <optional>
#include <string_view>

namespace varno {

// Keys beyond the library's virtual ones. They are no bytes and never printable.
constexpr mkey_t key_delete = 0x100;    // the Delete key
constexpr mkey_t key_word_left = 0x101; // Ctrl-Left, Alt-Left
constexpr mkey_t key_word_right = 0x102;

struct TerminalType;

// Returns the known type of that name (lower or upper case, with suffixes such as
// "-256color"); the default type when the name is unknown or NULL.
const TerminalType *find_terminal_type(const char *name);
bool is_known_terminal_type(const char *name);

// As terminal databases call it; an alias has its type's name ("konsole" is served
// as "xterm").
const char *terminal_type_name(const TerminalType *type);

// What to send when a session begins and when it ends; "" for nothing. The keypad
// is left in the mode that it is in: both modes' sequences are bound, and a numeric
// keypad keeps typing digits.
const char *paste_on(const TerminalType *type);
const char *paste_off(const TerminalType *type);
bool has_bracketed_paste(const TerminalType *type);

// Longer sequences are no keys.
constexpr size_t max_sequence_len = 32;

// The grammar of a key's sequence, which the keyboard collects by and every row
// of the table agrees with. `sequence` is ESC, the introducer '[' or 'O', and what came since, cut
// at max_sequence_len bytes; `next` is printable (0x20..0x7e). A CSI sequence ends
// with 0x40..0x7e, but "ESC [ [" of the Linux console takes one more character, and
// rxvt's "ESC [ 3 $" ends with its $. An SS3 sequence ends with anything but a digit
// or other parameter character.
bool ends_sequence(const TerminalType *type, const char *sequence, size_t len, char next);

// Returns the key that sends a whole sequence on terminals of the type; nothing for a
// sequence that is no key.
std::optional<mkey_t> key_of_sequence(const TerminalType *type, std::string_view sequence);

} // namespace varno

#endif
