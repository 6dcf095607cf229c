#ifndef VARNO_BENCH_TYPING_H
#define VARNO_BENCH_TYPING_H

// What a person at a device types, again and again: commands whole and shortened, with
// help, completion, corrections in mid-line and lines out of the history.

#include <cstddef>
#include <string_view>

namespace varno_load {

// The bytes of one key; there are keys_typed() of them, and after the last comes the
// first. The line is empty before the first.
std::string_view key_typed(size_t place);
size_t keys_typed();

// A place where a session may begin and have an echo of every key from the first on: a
// line's beginning that asks nothing of the history. Numbers go round.
size_t line_begun(size_t number);

} // namespace varno_load

#endif
