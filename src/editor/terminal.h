#ifndef VARNO_EDITOR_TERMINAL_H
#define VARNO_EDITOR_TERMINAL_H

#include <varno/prompt.h>

namespace varno {

// All of a redraw has been printed.
void flush(prompt_s *p);

} // namespace varno

#endif
