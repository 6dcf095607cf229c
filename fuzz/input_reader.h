#ifndef VARNO_FUZZ_INPUT_READER_H
#define VARNO_FUZZ_INPUT_READER_H

// Reads what a target is to do from the bytes of its input. Past the end all bytes
// are zero.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varno_fuzz {

class InputReader {
  public:
    InputReader(const uint8_t *data, size_t size)
        : rest_(reinterpret_cast<const char *>(data), size)
    {}

    bool is_empty() const { return rest_.empty(); }

    uint8_t byte()
    {
        const std::string_view taken = take(1);
        return taken.empty() ? uint8_t{0} : static_cast<uint8_t>(taken[0]);
    }

    bool flag() { return (byte() & 1) != 0; }

    // 0 <= result < limit <= 256.
    int below(int limit) { return byte() % limit; }

    std::string_view take(size_t count)
    {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    // Up to the next byte of this kind, which is passed over.
    std::string_view take_until(char end)
    {
        const std::string_view taken = take(std::min(rest_.find(end), rest_.size()));
        take(1);
        return taken;
    }

    // A length byte, and as many bytes.
    std::string_view take_text(int most) { return take(static_cast<size_t>(below(most + 1))); }

    std::string_view rest() const { return rest_; }

  private:
    std::string_view rest_;
};

inline std::vector<std::string> lines_of(std::string_view text)
{
    std::vector<std::string> lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

} // namespace varno_fuzz

#endif
