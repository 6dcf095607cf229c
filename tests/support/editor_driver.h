#ifndef VARNO_TESTS_EDITOR_DRIVER_H
#define VARNO_TESTS_EDITOR_DRIVER_H

// The line editor's side of the editor_*.t scripts.
//
//   SESSION WIDTH             a fresh editor on a terminal of that many columns
//   PROMPT "dev> "            both prompts
//   GUARDS "<lt>" ">"         left and right guard
//   KEYS "show"<cr>           feeds keys, then redraws
//   FEED "show"               feeds keys without a redraw
//   REDRAW                    redraws
//   FULL                      asks for a full draw
//     out "..."               bytes that a redraw, or a command before it, printed
//     std "..."               bytes that a command wrote to standard output
//     row ">sho|w"            the terminal's row, with the cursor
//     line "sho|w"            the line, with the cursor
//     offset N                the index of the first character shown

#include "script.h"

#include <memory>

namespace varno_test {

std::unique_ptr<ScriptDriver> make_editor_driver();

} // namespace varno_test

#endif
