#ifndef VARNO_COMMANDS_JSON_H
#define VARNO_COMMANDS_JSON_H

// Texts as JSON strings: valid whatever the bytes.

#include <cstddef>
#include <string_view>

namespace varno::commands {

// Writes the next part of a text as it stands between the quotes: UTF-8 as it is, any other byte as
// \u00XX. Returns how many bytes of the text it was; at its end a character may be left that more
// could complete, unless is_last. out is terminated; size is 8 or more.
size_t escape_json(std::string_view text, bool is_last, char *out, size_t size);

} // namespace varno::commands

#endif
