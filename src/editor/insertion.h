#ifndef VARNO_EDITOR_INSERTION_H
#define VARNO_EDITOR_INSERTION_H

namespace varno {

// The name that both insert callbacks are called under, and that no command may have.
inline constexpr char insert_invocation[] = "insert-character";

} // namespace varno

#endif
