#ifndef VARNO_SESSION_INPUT_TERMINAL_TYPES_H
#define VARNO_SESSION_INPUT_TERMINAL_TYPES_H

// The terminal types that a session knows: their names, what is sent to them, and
// a decoder for the sequences that their keys send. What a client names only ever
// selects a row here; no name from the wire reaches the terminal database.

#include <varno/keys.h>
#include <varno/stroker.h>

#include <cstddef>

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

// As it is looked up in the database; an alias has its type's name ("konsole" is
// served as "xterm").
const char *terminal_type_name(const TerminalType *type);

// What to send when a session begins and when it ends; "" for nothing. The keypad
// is left in the mode that it is in: both modes' sequences are bound, and a numeric
// keypad keeps typing digits.
const char *paste_on(const TerminalType *type);
const char *paste_off(const TerminalType *type);
bool has_bracketed_paste(const TerminalType *type);

// Longer sequences are no keys: the decoder binds none.
constexpr size_t max_sequence_len = 32;

// The grammar of a key's sequence, which the keyboard collects by and a binding must
// agree with. `sequence` is ESC, the introducer '[' or 'O', and what came since, cut
// at max_sequence_len bytes; `next` is printable (0x20..0x7e). A CSI sequence ends
// with 0x40..0x7e, but "ESC [ [" of the Linux console takes one more character, and
// rxvt's "ESC [ 3 $" ends with its $. An SS3 sequence ends with anything but a digit
// or other parameter character.
bool ends_sequence(const TerminalType *type, const char *sequence, size_t len, char next);

// The keys that a whole sequence is bound to.
struct DecodedKeys {
    mkey_t keys[4];
    size_t count;
};

// Puts one whole sequence through a decoder. Returns false, `out` empty, when it is
// not bound. The decoder's callback is set anew, so that decoders can be shared, and
// nobody's code runs before the decoder is done.
bool decode_sequence(stroker_s *decoder, const char *sequence, size_t len, DecodedKeys &out);

// Decoders by terminal type, made on first use and kept: what the sessions of one
// thread share. A decoder holds nothing of a session between calls.
//
// The first use of a type reads the terminal database, under a lock of the process;
// the host's own terminal entry (tgetent) is in force again afterwards. A thread
// that uses the termcap interface by itself at that moment is not kept out.
class Decoders {
  public:
    // Returns NULL without memory. What was made by then is kept and finished by a
    // later call, so that failures in a row grow nothing.
    stroker_s *get(const TerminalType *type);

    // Frees the decoders. One array of keys stays behind for each of their bindings
    // (see stroker_free_context), so a process keeps its decoders as long as it may
    // open sessions.
    void release();

    static constexpr size_t max_types = 16;

  private:
    stroker_s *decoders_[max_types] = {};
    bool is_complete_[max_types] = {};
};

} // namespace varno

#endif
