#ifndef VARNO_BENCH_TELNET_STREAMS_H
#define VARNO_BENCH_TELNET_STREAMS_H

// What telnet's streams are made of, for every parser alike.

#include <cstddef>
#include <string>
#include <string_view>

namespace varno_bench {

inline constexpr std::string_view nop = "\xff\xf1";
inline constexpr std::string_view window_80_24("\xff\xfa\x1f\0\x50\0\x18\xff\xf0", 9);

// Printable, every value from ' ' to '~' in turn.
inline std::string plain_text(size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; i++)
        text.push_back(static_cast<char>(' ' + i % 95));
    return text;
}

} // namespace varno_bench

#endif
