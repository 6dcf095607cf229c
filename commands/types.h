#ifndef VARNO_COMMANDS_TYPES_H
#define VARNO_COMMANDS_TYPES_H

// The types of arguments: which words each takes, and what a word is worth. Types that a
// program registers are known here by number alone.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace varno::commands {

// ORDER types
enum class TypeKind : uint8_t {
    word,
    range,
    ipv4,
    ipv6,
    ip,
    ipv4_prefix,
    ipv6_prefix,
    ip_prefix,
    mac,
    hex,
    line,
    secret,
    pattern,
    registered,
};

struct ArgumentType {
    TypeKind kind;
    int32_t registered;  // which of the program's types, else 0
    int64_t least, most; // of a range, else 0
};

bool operator==(const ArgumentType &left, const ArgumentType &right);

// What is known of a program's types when definitions are built.
struct TypeNames {
    void *user;
    int32_t (*find)(void *user, std::string_view name); // its number; -1: there is none
    const char *(*help)(void *user, int32_t type);      // may be NULL
};

enum class TypeReading : uint8_t { read, no_type, no_range, not_registered };

// Reads what stands in the parentheses after an argument's name.
TypeReading read_type(std::string_view text, const TypeNames &names, ArgumentType &out_type);

// Takes any word: a free word, a secret, the rest of a line.
bool is_free(const ArgumentType &type);

// There are words that both of two built-in types take. Of registered types nothing is known.
bool do_overlap(const ArgumentType &one, const ArgumentType &other);

// A word by a built-in type. Numbers of 64 bits; addresses in network byte order.
struct Value {
    int64_t number; // of range and hex
    uint8_t address[16];
    int32_t family; // 4, 6, or 48 for a hardware address
    int32_t bits;   // of a prefix, else those of the address
};

// Returns: whether a built-in type takes the word; out_value is then its worth.
bool takes_word(const ArgumentType &type, std::string_view word, Value &out_value);

// Some word that begins so is taken: while it is being typed.
bool can_begin(const ArgumentType &type, std::string_view begun);

// What a person is told that the type takes: "1 to 4094", "an IPv4 address". Returns the
// number of characters, cut to what fits size - 1.
size_t describe_type(const ArgumentType &type, char *text, size_t size);

} // namespace varno::commands

#endif
