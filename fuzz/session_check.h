#ifndef VARNO_FUZZ_SESSION_CHECK_H
#define VARNO_FUZZ_SESSION_CHECK_H

// What holds for every session between calls, whatever came before.

#include "support/terminal.h"

#include <varno/tsession.h>

namespace varno_fuzz {

// Its record: every count within its bounds, nothing held of the last call.
void check_record(const tsession_s *s);

// Its row on the emulator is what its model says, the cursor included. The terminal is
// as wide as the session thinks, or wider.
void check_row(const tsession_s *s, const varno_test::Terminal &terminal);

} // namespace varno_fuzz

#endif
