#ifndef VARNO_TESTS_TELNET_DRIVER_H
#define VARNO_TESTS_TELNET_DRIVER_H

// Plays the telnet scripts. Acts:
//
//   BYTES ff f1     what arrives, in hexadecimal; one call of the parser
//   TEXT "abc"      the same, spelled
//   AGAIN           presents what was kept again, with nothing new
//   BEHIND 18       the byte that lies past the buffer from now on
//   QUIET           traces are no events from now on
//
// Events: data "abc", trace "TEXT", naws 80 24, term vt100, brk,
// assertion MODULE "TEXT", and used 9 for each call. State: kept "b".

#include "script.h"

#include <memory>

namespace varno_test {

std::unique_ptr<ScriptDriver> make_telnet_driver();

} // namespace varno_test

#endif
