#ifndef VARNO_TESTS_SESSION_DRIVER_H
#define VARNO_TESTS_SESSION_DRIVER_H

// A whole session's side of the session_*.t scripts.
//
//   SESSION plain 60 xterm    a fresh session: transport, columns, terminal type
//   INPUT "show ver"<cr>      bytes from the terminal, spelled
//   HEX ff fa 1f              bytes from the terminal, as numbers
//   WRITE "news<lf>"          a message from the host
//   TIMEOUT                   the wait for an escape sequence has run out
//   RESIZE 40 10, PROMPT "dev# ", WRITABLE 0, UNPAGED, ROWS 100, CLOSE
//     line show ver           events, as SessionHost notes them
//     reply ff fb 01          telnet commands sent
//     row "> show|"           the terminal's row with the cursor
//     above "version 1"       the row above it; above2 ... above9 further up
//     wait 500                what the host is to wait, in milliseconds

#include <memory>

#include "script.h"

namespace varno_test {

std::unique_ptr<ScriptDriver> make_session_driver();

} // namespace varno_test

#endif
