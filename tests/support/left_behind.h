#ifndef VARNO_TESTS_LEFT_BEHIND_H
#define VARNO_TESTS_LEFT_BEHIND_H

// What the library leaves to its host when objects are released: tests that are not
// about that release it too.

#include <varno/prompt.h>
#include <varno/stroker.h>

namespace varno_test {

// The arrays of virtual keys with the decoder.
void free_decoder(stroker_s *decoder);

// The texts of the history; prompt_free comes next.
void release_history_texts(prompt_s *p);

} // namespace varno_test

#endif
