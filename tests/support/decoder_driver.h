#ifndef VARNO_TESTS_DECODER_DRIVER_H
#define VARNO_TESTS_DECODER_DRIVER_H

// The keystroke decoder's side of its scripts. It plays the host: what a call
// did not use is kept and presented again before the next bytes.
//
// Acts:
//   BIND <esc>"[A" <up>   binds a sequence of bytes to keys
//   PREPARE               makes the bindings fast to search
//   DELAY 0.250000        sets the escape delay
//   BYTES <esc>"[A"       presents bytes, after the kept ones
//   TIMEOUT               the wait ran out: hands over the kept bytes
//
// Events:
//   refused               a binding was refused
//   was 1.000000          the escape delay that was in force
//   keys "<up>"           one call of the callback
//   used 3                the result of the call, kept bytes included
//   wait 1.000000         how long to wait for the rest of what is kept

#include "script.h"

namespace varno_test {

std::unique_ptr<ScriptDriver> make_decoder_driver();

} // namespace varno_test

#endif
