// The built-in types, each with what it takes, what can begin it, and its help.

#include "types.h"

#include "pattern.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <arpa/inet.h>

namespace varno::commands {
namespace {

constexpr int32_t family_ipv4 = 4;
constexpr int32_t family_ipv6 = 6;
constexpr int32_t family_mac = 48;

struct TypeRow {
    std::string_view name; // in parentheses; "" has none
    TypeKind kind;
    const char *help;
};

// The name of a type, the type, what a person is told of it. ORDER types
// clang-format off
constexpr TypeRow type_rows[] = {
    {"",       TypeKind::word,        "a word"},
    {"",       TypeKind::range,       "a number"},
    {"ipv4",   TypeKind::ipv4,        "an IPv4 address"},
    {"ipv6",   TypeKind::ipv6,        "an IPv6 address"},
    {"ip",     TypeKind::ip,          "an IPv4 or IPv6 address"},
    {"ipv4/",  TypeKind::ipv4_prefix, "an IPv4 prefix: address/bits"},
    {"ipv6/",  TypeKind::ipv6_prefix, "an IPv6 prefix: address/bits"},
    {"ip/",    TypeKind::ip_prefix,   "an IPv4 or IPv6 prefix: address/bits"},
    {"mac",    TypeKind::mac,         "a hardware address"},
    {"hex",    TypeKind::hex,         "a hexadecimal number"},
    {"line",   TypeKind::line,        "the rest of the line"},
    {"secret", TypeKind::secret,      "a secret"},
    {"pattern", TypeKind::pattern,    nullptr}, // describe_pattern
    {"",       TypeKind::registered,  "a value"},
};
// clang-format on

static_assert(std::size(type_rows) == static_cast<size_t>(TypeKind::registered) + 1);

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool is_hex_digit(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool all_of(std::string_view text, bool (*is_one)(char))
{
    return std::all_of(text.begin(), text.end(), is_one);
}

// A decimal number as it is written: digits, and a "-" only where the type has negatives.
// Leading zeros do not count: 010 is ten. There is no -0.
bool read_decimal(std::string_view text, bool may_be_negative, int64_t &out_number)
{
    const bool is_negative = may_be_negative && text.starts_with('-');
    const std::string_view digits = text.substr(is_negative ? 1 : 0);
    if (digits.empty() || !all_of(digits, is_digit))
        return false;
    const auto [end, error] = std::from_chars(text.begin(), text.end(), out_number);
    return error == std::errc() && end == text.end() && !(is_negative && out_number == 0);
}

bool takes_range(const ArgumentType &type, std::string_view word, Value &value)
{
    return read_decimal(word, type.least < 0, value.number) && value.number >= type.least &&
           value.number <= type.most;
}

// "0x" may stand before the digits.
bool takes_hex(std::string_view word, Value &value)
{
    if (word.starts_with("0x") || word.starts_with("0X"))
        word.remove_prefix(2);
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(word.begin(), word.end(), number, 16);
    value.number = static_cast<int64_t>(number);
    return !word.empty() && error == std::errc() && end == word.end();
}

bool takes_address_of(int32_t family, std::string_view word, Value &value)
{
    char text[INET6_ADDRSTRLEN];
    if (word.size() >= std::size(text))
        return false;
    text[word.copy(text, word.size())] = '\0';
    value.family = family;
    value.bits = family == family_ipv4 ? 32 : 128;
    return inet_pton(family == family_ipv4 ? AF_INET : AF_INET6, text, value.address) == 1;
}

bool takes_address(TypeKind kind, std::string_view word, Value &value)
{
    return (kind != TypeKind::ipv6 && takes_address_of(family_ipv4, word, value)) ||
           (kind != TypeKind::ipv4 && takes_address_of(family_ipv6, word, value));
}

// The kind of address in a prefix.
TypeKind address_kind(TypeKind prefix)
{
    switch (prefix) {
    case TypeKind::ipv4_prefix:
        return TypeKind::ipv4;
    case TypeKind::ipv6_prefix:
        return TypeKind::ipv6;
    default:
        return TypeKind::ip;
    }
}

bool takes_prefix(TypeKind kind, std::string_view word, Value &value)
{
    const size_t slash = word.find('/');
    if (slash == word.npos || !takes_address(address_kind(kind), word.substr(0, slash), value))
        return false;
    const std::string_view digits = word.substr(slash + 1);
    int64_t bits = 0;
    if (digits.size() > 3 || !read_decimal(digits, false, bits) || bits > value.bits)
        return false;
    value.bits = static_cast<int32_t>(bits);
    return true;
}

struct MacSpelling {
    char separator;
    size_t digits; // between two separators
};

constexpr MacSpelling mac_spellings[] = {{':', 2}, {'-', 2}, {'.', 4}};
constexpr size_t mac_digits = 12;

// Returns how many of the address's digits a word has, spelled so; none for any other word.
// Each digit goes to its place in the address, if one is given.
size_t read_mac(const MacSpelling &spelling, std::string_view word, uint8_t *address)
{
    size_t digits = 0;
    for (size_t i = 0; i < word.size(); i++) {
        const bool is_separator = i % (spelling.digits + 1) == spelling.digits;
        if (digits == mac_digits || is_separator != (word[i] == spelling.separator) ||
            (!is_separator && !is_hex_digit(word[i])))
            return 0;
        if (is_separator)
            continue;
        unsigned value = 0;
        std::from_chars(word.begin() + i, word.begin() + i + 1, value, 16);
        if (address)
            address[digits / 2] = static_cast<uint8_t>(16U * address[digits / 2] + value);
        digits++;
    }
    return digits;
}

bool takes_mac(std::string_view word, Value &value)
{
    value.family = family_mac;
    value.bits = 48;
    return std::any_of(std::begin(mac_spellings), std::end(mac_spellings), [&](const auto &one) {
        std::fill_n(value.address, std::size(value.address), uint8_t{0});
        return read_mac(one, word, value.address) == mac_digits;
    });
}

// Some number of the range begins with these digits: with more digits after them, the number
// stands for ten, a hundred, ... numbers in a row.
bool can_begin_range(const ArgumentType &type, std::string_view begun)
{
    if (begun == "-")
        return type.least < 0;
    int64_t number = 0;
    if (!read_decimal(begun, type.least < 0, number))
        return false;
    if (number == 0)
        return type.most >= 0; // more zeros, then whatever there is
    // Compared without signs: the range's numbers on this side of zero.
    const bool is_negative = number < 0;
    const auto magnitude = [](int64_t signed_number) {
        const auto bits = static_cast<uint64_t>(signed_number);
        return signed_number < 0 ? 0 - bits : bits;
    };
    if (is_negative ? type.least >= 0 : type.most < 0)
        return false;
    const uint64_t least = is_negative ? magnitude(std::min<int64_t>(type.most, 0))
                                       : magnitude(std::max<int64_t>(type.least, 0));
    const uint64_t most = magnitude(is_negative ? type.least : type.most);
    uint64_t count = 1;
    for (uint64_t low = magnitude(number); low <= most; low *= 10, count *= 10) {
        if (low + (count - 1) >= least)
            return true;
        if (low > most / 10)
            return false;
    }
    return false;
}

// A dotted quad that is not whole: up to four numbers, the last one perhaps empty.
bool can_begin_ipv4(std::string_view begun)
{
    int parts = 1;
    for (size_t at = 0;; parts++) {
        const size_t dot = std::min(begun.find('.', at), begun.size());
        const std::string_view part = begun.substr(at, dot - at);
        int64_t number = 0;
        if (part.empty())
            return dot == begun.size() && parts <= 4;
        if (part.size() > 3 || (part.size() > 1 && part[0] == '0') ||
            !read_decimal(part, false, number) || number > 255)
            return false;
        if (dot == begun.size())
            return parts <= 4;
        at = dot + 1;
    }
}

// What is missing of an IPv6 address may be digits, groups, or a "::" that stands for the
// rest: it is enough to try these ends.
bool can_begin_ipv6(std::string_view begun)
{
    constexpr std::string_view ends[] = {"",
                                         "0",
                                         "::",
                                         ":",
                                         ":0",
                                         "0.0.0.0",
                                         "0.0.0",
                                         "0.0",
                                         ".0.0.0",
                                         ".0.0",
                                         ".0",
                                         ":0:0:0:0:0:0:0",
                                         ":0:0:0:0:0:0",
                                         ":0:0:0:0:0",
                                         ":0:0:0:0",
                                         ":0:0:0",
                                         ":0:0",
                                         "0:0:0:0:0:0:0:0",
                                         "0:0:0:0:0:0:0",
                                         "0:0:0:0:0:0",
                                         "0:0:0:0:0",
                                         "0:0:0:0",
                                         "0:0:0",
                                         "0:0"};
    char text[INET6_ADDRSTRLEN];
    return std::any_of(std::begin(ends), std::end(ends), [&](std::string_view end) {
        Value value = {};
        if (begun.size() + end.size() >= std::size(text))
            return false;
        const size_t len = begun.copy(text, begun.size());
        return takes_address_of(family_ipv6, {text, len + end.copy(text + len, end.size())}, value);
    });
}

bool can_begin_address(TypeKind kind, std::string_view begun)
{
    return (kind != TypeKind::ipv6 && can_begin_ipv4(begun)) ||
           (kind != TypeKind::ipv4 && can_begin_ipv6(begun));
}

bool can_begin_prefix(TypeKind kind, std::string_view begun)
{
    Value value = {};
    const size_t slash = begun.find('/');
    if (slash == begun.npos)
        return can_begin_address(address_kind(kind), begun);
    if (slash + 1 == begun.size())
        return takes_address(address_kind(kind), begun.substr(0, slash), value);
    return takes_prefix(kind, begun, value);
}

bool can_begin_mac(std::string_view begun)
{
    return std::any_of(std::begin(mac_spellings), std::end(mac_spellings),
                       [&](const auto &one) { return read_mac(one, begun, nullptr) > 0; });
}

bool can_begin_hex(std::string_view begun)
{
    Value value = {};
    return begun == "0x" || begun == "0X" || takes_hex(begun, value);
}

// Which families of addresses a type takes.
bool takes_family(TypeKind kind, int32_t family)
{
    switch (kind) {
    case TypeKind::ipv4:
    case TypeKind::ipv4_prefix:
        return family == family_ipv4;
    case TypeKind::ipv6:
    case TypeKind::ipv6_prefix:
        return family == family_ipv6;
    default:
        return true;
    }
}

enum class Shape : uint8_t { number, address, prefix, mac, free, unknown };

Shape shape_of(const ArgumentType &type)
{
    switch (type.kind) {
    case TypeKind::range:
    case TypeKind::hex:
        return Shape::number;
    case TypeKind::ipv4:
    case TypeKind::ipv6:
    case TypeKind::ip:
        return Shape::address;
    case TypeKind::ipv4_prefix:
    case TypeKind::ipv6_prefix:
    case TypeKind::ip_prefix:
        return Shape::prefix;
    case TypeKind::mac:
        return Shape::mac;
    case TypeKind::registered:
        return Shape::unknown;
    default:
        return Shape::free;
    }
}

// A range's numbers look like hexadecimal ones, but for the negative ones.
bool do_numbers_overlap(const ArgumentType &one, const ArgumentType &other)
{
    if (one.kind == TypeKind::hex)
        return other.kind == TypeKind::hex || other.most >= 0;
    if (other.kind == TypeKind::hex)
        return one.most >= 0;
    return one.least <= other.most && other.least <= one.most;
}

} // namespace

bool operator==(const ArgumentType &left, const ArgumentType &right)
{
    return left.kind == right.kind && left.registered == right.registered &&
           left.least == right.least && left.most == right.most;
}

TypeReading read_type(std::string_view text, const TypeNames &names, ArgumentType &out_type)
{
    out_type = {};
    for (const TypeRow &row : type_rows) {
        if (!row.name.empty() && row.name == text) {
            out_type.kind = row.kind;
            return TypeReading::read;
        }
    }
    if (text.empty())
        return TypeReading::no_type;
    if (is_digit(text[0]) || text[0] == '-') {
        // The "-" between the two numbers is not the first character: that is a sign.
        const size_t dash = text.find('-', 1);
        if (dash == text.npos || !read_decimal(text.substr(0, dash), true, out_type.least) ||
            !read_decimal(text.substr(dash + 1), true, out_type.most) ||
            out_type.least > out_type.most)
            return TypeReading::no_range;
        out_type.kind = TypeKind::range;
        return TypeReading::read;
    }
    out_type.kind = TypeKind::registered;
    out_type.registered = names.find ? names.find(names.user, text) : -1;
    return out_type.registered < 0 ? TypeReading::not_registered : TypeReading::read;
}

bool is_free(const ArgumentType &type)
{
    return shape_of(type) == Shape::free;
}

bool do_overlap(const ArgumentType &one, const ArgumentType &other)
{
    const Shape shape = shape_of(one);
    if (shape == Shape::unknown || shape != shape_of(other))
        return false;
    if (shape == Shape::number)
        return do_numbers_overlap(one, other);
    if (shape != Shape::address && shape != Shape::prefix)
        return true;
    return (takes_family(one.kind, family_ipv4) && takes_family(other.kind, family_ipv4)) ||
           (takes_family(one.kind, family_ipv6) && takes_family(other.kind, family_ipv6));
}

bool takes_word(const ArgumentType &type, std::string_view word, Value &out_value)
{
    out_value = {};
    switch (type.kind) {
    case TypeKind::range:
        return takes_range(type, word, out_value);
    case TypeKind::hex:
        return takes_hex(word, out_value);
    case TypeKind::ipv4:
    case TypeKind::ipv6:
    case TypeKind::ip:
        return takes_address(type.kind, word, out_value);
    case TypeKind::ipv4_prefix:
    case TypeKind::ipv6_prefix:
    case TypeKind::ip_prefix:
        return takes_prefix(type.kind, word, out_value);
    case TypeKind::mac:
        return takes_mac(word, out_value);
    default:
        return true;
    }
}

bool can_begin(const ArgumentType &type, std::string_view begun)
{
    if (begun.empty())
        return true;
    switch (type.kind) {
    case TypeKind::range:
        return can_begin_range(type, begun);
    case TypeKind::hex:
        return can_begin_hex(begun);
    case TypeKind::ipv4:
    case TypeKind::ipv6:
    case TypeKind::ip:
        return can_begin_address(type.kind, begun);
    case TypeKind::ipv4_prefix:
    case TypeKind::ipv6_prefix:
    case TypeKind::ip_prefix:
        return can_begin_prefix(type.kind, begun);
    case TypeKind::mac:
        return can_begin_mac(begun);
    default:
        return true;
    }
}

size_t describe_type(const ArgumentType &type, char *text, size_t size)
{
    if (type.kind == TypeKind::range) {
        const int len = std::snprintf(text, size, "%" PRId64 " to %" PRId64, type.least, type.most);
        return std::min(static_cast<size_t>(std::max(len, 0)), size - 1);
    }
    const std::string_view help = type.kind == TypeKind::pattern
                                      ? describe_pattern()
                                      : type_rows[static_cast<size_t>(type.kind)].help;
    const size_t len = help.copy(text, size - 1);
    text[len] = '\0';
    return len;
}

} // namespace varno::commands
