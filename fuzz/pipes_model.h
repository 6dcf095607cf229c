#ifndef VARNO_FUZZ_PIPES_MODEL_H
#define VARNO_FUZZ_PIPES_MODEL_H

// What filters after "|" make of rows, said plainly: all rows are there at once, and each
// filter makes a list of another. Patterns are a few of those that there are.

#include <cstdint>
#include <string>
#include <vector>

#include "finding.h"

namespace varno_fuzz {

struct ModelRow {
    std::string text;
    bool is_title = false;
    std::string name, number; // of a table's row: its cells
    bool is_cells = false;
};

using ModelRows = std::vector<ModelRow>;

struct ModelFilter {
    std::string name;
    std::string pattern;
};

// Characters, "*" after one, "^" and "$" at the ends.
inline bool matches_here(const char *pattern, const char *text)
{
    if (*pattern == '\0')
        return true;
    if (pattern[0] == '$' && pattern[1] == '\0')
        return *text == '\0';
    if (pattern[1] == '*') {
        do {
            if (matches_here(pattern + 2, text))
                return true;
        } while (*text != '\0' && *text++ == *pattern);
        return false;
    }
    return *text == *pattern && matches_here(pattern + 1, text + 1);
}

inline bool has_pattern(const std::string &pattern, const std::string &row)
{
    const std::string seen = row.substr(0, 4096);
#ifdef VARNO_HAS_RE2
    if (pattern[0] == '^')
        return matches_here(pattern.c_str() + 1, seen.c_str());
    for (size_t at = 0; at <= seen.size(); at++) {
        if (matches_here(pattern.c_str(), seen.c_str() + at))
            return true;
    }
    return false;
#else
    return seen.find(pattern) != seen.npos;
#endif
}

inline size_t indent_of(const std::string &row)
{
    const size_t indent = row.substr(0, 4096).find_first_not_of(" \t");
    return indent == row.npos ? 0 : indent;
}

inline ModelRows filtered(const ModelRows &rows, const ModelFilter &filter)
{
    ModelRows out;
    bool is_open = false;
    size_t indent = 0;
    int64_t count = 0;
    for (const ModelRow &row : rows) {
        count += row.is_title ? 0 : 1;
        bool passes = filter.name != "count";
        if (filter.name == "include")
            passes = has_pattern(filter.pattern, row.text);
        else if (filter.name == "exclude")
            passes = !has_pattern(filter.pattern, row.text);
        else if (filter.name == "begin")
            passes = is_open = is_open || has_pattern(filter.pattern, row.text);
        if (filter.name == "section") {
            passes = is_open && indent_of(row.text) > indent;
            if (!passes) {
                passes = is_open = has_pattern(filter.pattern, row.text);
                indent = indent_of(row.text);
            }
        }
        if (passes)
            out.push_back(row);
    }
    if (filter.name == "count")
        out.push_back({std::to_string(count), false, "", "", false});
    return out;
}

// UTF-8, by what it stands for. Returns the bytes of the character at a place; 0: there is none.
inline size_t character_at(const std::string &text, size_t at, uint32_t &out_code)
{
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(i < text.size() ? text[i] : 0); };
    const uint8_t first = byte(at);
    const size_t len = first < 0x80 ? 1 : first >> 5 == 6 ? 2 : first >> 4 == 14 ? 3 : 4;
    if (len == 4 && first >> 3 != 30)
        return 0;
    out_code = len == 1 ? first : first & (0x7fU >> len);
    for (size_t i = 1; i < len; i++) {
        if (byte(at + i) >> 6 != 2)
            return 0;
        out_code = out_code << 6 | (byte(at + i) & 0x3fU);
    }
    constexpr uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = out_code >= 0xd800 && out_code <= 0xdfff;
    return out_code < least[len] || out_code > 0x10ffff || is_surrogate ? 0 : len;
}

using Codes = std::vector<uint32_t>;

// What is no UTF-8 counts byte by byte.
inline Codes codes_of(const std::string &text)
{
    Codes codes;
    for (size_t at = 0; at < text.size();) {
        uint32_t code = 0;
        const size_t len = character_at(text, at, code);
        codes.push_back(len > 0 ? code : static_cast<uint8_t>(text[at]));
        at += len > 0 ? len : 1;
    }
    return codes;
}

// An array of texts and of objects {"name": text, "n": text or number}, by RFC 8259.
class JsonReader {
  public:
    explicit JsonReader(const std::string &text) : text_(text) {}

    struct Entry {
        bool is_object = false;
        Codes text, name, number;
    };

    std::vector<Entry> read()
    {
        std::vector<Entry> entries;
        take('[');
        if (!is_next(']')) {
            do
                entries.push_back(read_entry());
            while (is_next(','));
            take(']');
        }
        skip_blanks();
        FUZZ_REQUIRE(at_ == text_.size());
        return entries;
    }

  private:
    void skip_blanks()
    {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\n'))
            at_++;
    }

    bool is_next(char c)
    {
        skip_blanks();
        const bool is_it = at_ < text_.size() && text_[at_] == c;
        at_ += is_it ? 1 : 0;
        return is_it;
    }

    void take(char c) { FUZZ_REQUIRE(is_next(c)); }

    Entry read_entry()
    {
        Entry entry;
        entry.is_object = is_next('{');
        if (!entry.is_object) {
            entry.text = read_text();
            return entry;
        }
        FUZZ_REQUIRE(read_text() == codes_of("name"));
        take(':');
        entry.name = read_text();
        take(',');
        FUZZ_REQUIRE(read_text() == codes_of("n"));
        take(':');
        skip_blanks();
        entry.number = text_[at_] == '"' ? read_text() : read_number();
        take('}');
        return entry;
    }

    Codes read_text()
    {
        take('"');
        Codes codes;
        while (text_[at_] != '"') {
            uint32_t code = 0;
            const size_t len = character_at(text_, at_, code);
            FUZZ_REQUIRE(len > 0 && code >= ' ');
            at_ += len;
            codes.push_back(code == '\\' ? read_escape() : code);
        }
        at_++;
        return codes;
    }

    uint32_t read_escape()
    {
        const char kind = text_[at_++];
        if (kind != 'u') {
            FUZZ_REQUIRE(kind == '"' || kind == '\\');
            return static_cast<uint32_t>(kind);
        }
        const std::string digits = text_.substr(at_, 4);
        FUZZ_REQUIRE(digits.size() == 4);
        FUZZ_REQUIRE(digits.find_first_not_of("0123456789abcdefABCDEF") == digits.npos);
        at_ += 4;
        return static_cast<uint32_t>(std::stoul(digits, nullptr, 16));
    }

    size_t skip_digits()
    {
        const size_t end = std::min(text_.find_first_not_of("0123456789", at_), text_.size());
        const size_t digits = end - at_;
        at_ = end;
        return digits;
    }

    Codes read_number()
    {
        const size_t from = at_;
        at_ += text_[at_] == '-' ? 1 : 0;
        const bool is_zero = text_[at_] == '0';
        const size_t digits = skip_digits();
        FUZZ_REQUIRE(digits > 0 && (!is_zero || digits == 1));
        if (text_[at_] == '.') {
            at_++;
            FUZZ_REQUIRE(skip_digits() > 0);
        }
        return codes_of(text_.substr(from, at_ - from));
    }

    const std::string &text_;
    size_t at_ = 0;
};

} // namespace varno_fuzz

#endif
