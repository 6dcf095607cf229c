#ifndef VARNO_SESSION_INPUT_KEYBOARD_H
#define VARNO_SESSION_INPUT_KEYBOARD_H

// Turns the bytes that a terminal's keyboard sends into keys: whole escape
// sequences as the terminal's type has them, line ends as one Enter, bracketed
// paste as text, everything unknown swallowed whole.

#include "terminal_types.h"

#include <varno/keys.h>

#include <cstddef>
#include <cstdint>

namespace varno {

// What the keyboard hands over, in order. Every member is set; no count is 0, and
// what the pointers show lives for the call.
struct KeyEvents {
    void *user;
    void (*keys)(void *user, const mkey_t *keys, size_t count);         // typed; Enter is key 13
    void (*text)(void *user, const unsigned char *bytes, size_t count); // pasted: no line end, no
                                                                        // control, no tab
    void (*pasted_enter)(void *user);                                   // a line end within a paste
};

// Enter is CR, LF, CR LF, CR NUL and the keypad's. ESC and a character that begins
// no sequence pass as two keys. Sequences, however long and wherever cut, are keys
// of the terminal's type or are swallowed: CSI, SS3, and the string sequences OSC,
// DCS, SOS, PM and APC up to BEL or ESC \. ESC before a sequence is meta: it
// makes word moves of Left and Right, and changes no other key.
//
// No unfinished sequence locks a user out: Ctrl-C, CR and LF end it and are taken
// for what they are, CAN and SUB end it, ESC begins another one, and time_out drops
// it. Other controls within it are dropped. It takes no more memory however long.
//
// In a paste a tab is a blank, and sequences and controls are dropped. Only its end
// mark or Ctrl-C ends a paste; time does not.
class Keyboard {
  public:
    void begin(const KeyEvents &events, const TerminalType *type);

    // Another type from now on; an unfinished sequence is dropped, a paste goes on.
    void set_type(const TerminalType *type);

    // Takes any bytes, in any split; keeps only an unfinished sequence's state and
    // at most max_sequence_len of its bytes. Work is linear. An event may call
    // set_type and leave by an exception; then the bytes that follow are lost, and
    // the keyboard can be used on.
    void consume(const unsigned char *bytes, size_t count);

    // An escape sequence has begun and not ended: the host waits for a while and
    // then says that the time has run out. Then a lone ESC is the ESC key, and any
    // other unfinished sequence is dropped. Nothing is pending within a paste: its
    // end mark may come late.
    bool is_pending() const { return state_ != State::ground && !is_pasting_; }
    void time_out();

  private:
    enum class State : uint8_t { ground, escape, sequence, string, string_escape };

    size_t take_typed(const unsigned char *bytes, size_t count);
    size_t take_pasted(const unsigned char *bytes, size_t count);
    void take_pasted_control(unsigned char byte);
    size_t take_sequence(const unsigned char *bytes, size_t count);
    bool take_control(unsigned char byte);
    bool take_after_escape(unsigned char byte);
    bool drop_pasted_escape(unsigned char byte);
    void take_in_sequence(unsigned char byte);
    void begin_escape();
    void end_sequence();
    void pass_meta(unsigned char byte);
    void pass(const mkey_t *keys, size_t count) { events_.keys(events_.user, keys, count); }

    KeyEvents events_;
    const TerminalType *type_;
    State state_;
    bool after_cr_;
    bool is_meta_; // ESC stood before the sequence
    bool is_pasting_;
    bool is_overlong_;
    uint8_t sequence_len_;
    char sequence_[max_sequence_len];
};

} // namespace varno

#endif
