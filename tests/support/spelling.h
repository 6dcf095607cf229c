#ifndef VARNO_TESTS_SPELLING_H
#define VARNO_TESTS_SPELLING_H

// How scripts and tables spell bytes and keys. A spelled text is quoted
// characters and tags: "show"<cr>, "<bs> <bs>", <esc>"[A". Tags count inside
// quotes too: <bs 3> is three backspaces, <x80> the byte 0x80, <c-a> Ctrl-A,
// <up> a virtual key; <lt> and <quot> stand for the two characters of the
// notation itself. Blanks outside quotes separate and mean nothing.

#include <varno/keys.h>

#include <string>
#include <string_view>
#include <vector>

namespace varno_test {

// Throws std::invalid_argument for a text that is not spelled this way.
std::vector<mkey_t> keys_of(std::string_view spelled);

// As keys_of; every key must be a byte.
std::string bytes_of(std::string_view spelled);

// The canonical spelling, quotes included; runs of one control byte are counted.
std::string spell(std::string_view bytes);
std::string spell(const std::vector<mkey_t> &keys);

// Bytes given as two-digit hexadecimal numbers: "ff fa 1f".
std::string bytes_of_hex(std::string_view numbers);

} // namespace varno_test

#endif
