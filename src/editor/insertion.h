#ifndef VARNO_EDITOR_INSERTION_H
#define VARNO_EDITOR_INSERTION_H

// The name that the insert callbacks are called under. One array, so that the built-in
// ones, called for every key of text, know it by its address.

namespace varno {

inline constexpr char insert_invocation[] = "insert-character";

} // namespace varno

#endif
