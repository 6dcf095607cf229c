// The types of arguments: which words each takes, what can begin one, and what a word is
// worth, as tables of edges.

#include "types.h"

#include <cstdio>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using namespace varno::commands;

ArgumentType type_of(std::string_view text)
{
    ArgumentType type = {};
    const TypeNames none = {nullptr, nullptr, nullptr};
    EXPECT_EQ(read_type(text, none, type), TypeReading::read) << text;
    return type;
}

std::string spell_worth(const ArgumentType &type, const Value &value)
{
    if (type.kind == TypeKind::range || type.kind == TypeKind::hex)
        return std::to_string(value.number);
    std::string text = std::to_string(value.family) + " ";
    const int bytes = value.family == 4 ? 4 : value.family == 6 ? 16 : 6;
    for (int i = 0; i < bytes; i++) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", value.address[i]);
        text += digits;
    }
    return text + "/" + std::to_string(value.bits);
}

struct Edge {
    const char *type;
    const char *word;
    const char *worth; // NULL: the type refuses the word
};

// clang-format off
constexpr Edge edges[] = {
    {"1-4094",  "1",                 "1"},
    {"1-4094",  "4094",              "4094"},
    {"1-4094",  "0",                 nullptr},
    {"1-4094",  "4095",              nullptr},
    {"1-4094",  "010",               "10"},
    {"1-4094",  "00000000000000001", "1"},
    {"1-4094",  "0x1f",              nullptr},
    {"1-4094",  "+5",                nullptr},
    {"1-4094",  "-5",                nullptr},
    {"1-4094",  " 5",                nullptr},
    {"1-4094",  "5 ",                nullptr},
    {"1-4094",  "5a",                nullptr},
    {"1-4094",  "",                  nullptr},
    {"1-4094",  "4294967297",        nullptr},
    {"1-4094",  "18446744073709551617", nullptr},
    {"0-9",     "0",                 "0"},
    {"0-9",     "-0",                nullptr},
    {"-5-5",    "-5",                "-5"},
    {"-5-5",    "-6",                nullptr},
    {"-5-5",    "-0",                nullptr},
    {"-5-5",    "--5",               nullptr},
    {"-5-5",    "-",                 nullptr},
    {"-5--2",   "-3",                "-3"},
    {"-5--2",   "-1",                nullptr},
    {"0-4294967296", "4294967296",   "4294967296"},
    {"0-4294967296", "4294967297",   nullptr},
    {"-9223372036854775808-9223372036854775807", "-9223372036854775808", "-9223372036854775808"},
    {"-9223372036854775808-9223372036854775807", "9223372036854775807",  "9223372036854775807"},
    {"-9223372036854775808-9223372036854775807", "9223372036854775808",  nullptr},
    {"hex",     "ff",                "255"},
    {"hex",     "0xFf",              "255"},
    {"hex",     "0x",                nullptr},
    {"hex",     "-1",                nullptr},
    {"hex",     "ffffffffffffffff",  "-1"},
    {"hex",     "10000000000000000", nullptr},
    {"hex",     "fg",                nullptr},
    {"hex",     "",                  nullptr},
    {"ipv4",    "1.2.3.4",           "4 01020304/32"},
    {"ipv4",    "255.255.255.255",   "4 ffffffff/32"},
    {"ipv4",    "1.2.3",             nullptr},
    {"ipv4",    "1.2.3.256",         nullptr},
    {"ipv4",    "01.2.3.4",          nullptr},
    {"ipv4",    "1.2.3.4.5",         nullptr},
    {"ipv4",    "::1",               nullptr},
    {"ipv4",    "",                  nullptr},
    {"ipv6",    "::",                "6 00000000000000000000000000000000/128"},
    {"ipv6",    "::ffff:1.2.3.4",    "6 00000000000000000000ffff01020304/128"},
    {"ipv6",    "FE80::1",           "6 fe800000000000000000000000000001/128"},
    {"ipv6",    "1:2:3:4:5:6:7:8",   "6 00010002000300040005000600070008/128"},
    {"ipv6",    "1:2:3:4:5:6:7",     nullptr},
    {"ipv6",    "::1::",             nullptr},
    {"ipv6",    "fe80::1%eth0",      nullptr},
    {"ipv6",    "1.2.3.4",           nullptr},
    {"ipv6",    ":",                 nullptr},
    {"ip",      "1.2.3.4",           "4 01020304/32"},
    {"ip",      "::1",               "6 00000000000000000000000000000001/128"},
    {"ip",      "1.2.3.4/8",         nullptr},
    {"ipv4/",   "1.2.3.4/0",         "4 01020304/0"},
    {"ipv4/",   "1.2.3.4/32",        "4 01020304/32"},
    {"ipv4/",   "1.2.3.4/33",        nullptr},
    {"ipv4/",   "1.2.3.4/",          nullptr},
    {"ipv4/",   "1.2.3.4",           nullptr},
    {"ipv4/",   "1.2.3.4/-1",        nullptr},
    {"ipv4/",   "1.2.3.4/+1",        nullptr},
    {"ipv4/",   "1.2.3.4/0000",      nullptr},
    {"ipv4/",   "1.2.3.4/8/8",       nullptr},
    {"ipv4/",   "::/8",              nullptr},
    {"ipv6/",   "::/128",            "6 00000000000000000000000000000000/128"},
    {"ipv6/",   "::/129",            nullptr},
    {"ipv6/",   "1.2.3.4/8",         nullptr},
    {"ip/",     "1.2.3.4/8",         "4 01020304/8"},
    {"ip/",     "2001:db8::/32",     "6 20010db8000000000000000000000000/32"},
    {"ip/",     "1.2.3.4/64",        nullptr},
    {"mac",     "00:1a:2B:3c:4d:5e", "48 001a2b3c4d5e/48"},
    {"mac",     "00-1a-2B-3c-4d-5e", "48 001a2b3c4d5e/48"},
    {"mac",     "001a.2B3c.4d5e",    "48 001a2b3c4d5e/48"},
    {"mac",     "00:1a-2b:3c:4d:5e", nullptr},
    {"mac",     "001a2b3c4d5e",      nullptr},
    {"mac",     "00:1a:2b:3c:4d",    nullptr},
    {"mac",     "00:1a:2b:3c:4d:5e:", nullptr},
    {"mac",     "00:1a:2b:3c:4d:5e:6f", nullptr},
    {"mac",     "0:1a:2b:3c:4d:5e",  nullptr},
    {"mac",     "001a.2b3c.4d5g",    nullptr},
    {"mac",     "",                  nullptr},
};
// clang-format on

TEST(Types, EachTakesItsWordsAndNoOthers)
{
    for (const Edge &edge : edges) {
        const ArgumentType type = type_of(edge.type);
        Value value = {};
        const bool is_taken = takes_word(type, edge.word, value);
        EXPECT_EQ(is_taken, edge.worth != nullptr) << edge.type << " '" << edge.word << "'";
        if (is_taken && edge.worth) {
            EXPECT_EQ(spell_worth(type, value), edge.worth) << edge.type << " " << edge.word;
        }
    }
}

TEST(Types, WhateverIsTakenCanBeTypedCharacterByCharacter)
{
    for (const Edge &edge : edges) {
        const std::string_view word = edge.word;
        for (size_t len = 0; edge.worth && len <= word.size(); len++)
            EXPECT_TRUE(can_begin(type_of(edge.type), word.substr(0, len)))
                << edge.type << " " << word.substr(0, len);
    }
}

struct Beginning {
    const char *type;
    const char *begun;
    bool can_begin;
};

// clang-format off
constexpr Beginning beginnings[] = {
    {"1-4094",   "4095",       false},
    {"1-4094",   "409",        true},
    {"1-4094",   "5000",       false},
    {"1-4094",   "-",          false},
    {"20-29",    "1",          false},
    {"20-29",    "2",          true},
    {"20-29",    "3",          false},
    {"20-29",    "0",          true},
    {"200-205",  "20",         true},
    {"200-205",  "21",         false},
    {"-30--20",  "-",          true},
    {"-30--20",  "-2",         true},
    {"-30--20",  "-4",         false},
    {"-30--20",  "2",          false},
    {"0-9223372036854775807", "9223372036854775808", false},
    {"hex",      "0x",         true},
    {"hex",      "0xg",        false},
    {"ipv4",     "1..",        false},
    {"ipv4",     "256",        false},
    {"ipv4",     "1.2.3.4.",   false},
    {"ipv4",     "1.2.",       true},
    {"ipv6",     "1:2",        true},
    {"ipv6",     "1::2::",     false},
    {"ipv6",     "12345",      false},
    {"ipv6",     "::ffff:1.",  true},
    {"ipv6",     "g",          false},
    {"ip",       "1",          true},
    {"ipv4/",    "1.2.3.4/",   true},
    {"ipv4/",    "1.2.3/",     false},
    {"ipv4/",    "1.2.3.4/33", false},
    {"mac",      "00:1",       true},
    {"mac",      "001",        true},
    {"mac",      "00:1g",      false},
    {"mac",      "00:1a-",     false},
};
// clang-format on

TEST(Types, WhatCannotBeginAValueIsKnownWhileItIsTyped)
{
    for (const Beginning &one : beginnings)
        EXPECT_EQ(can_begin(type_of(one.type), one.begun), one.can_begin)
            << one.type << " '" << one.begun << "'";
}

// What can begin a number of a range, by trying every number.
TEST(Types, ARangeCanBeginWithWhatOneOfItsNumbersBeginsWith)
{
    for (int least = -12; least <= 120; least += 7) {
        for (int most = least; most <= 130; most += 9) {
            const ArgumentType type = type_of(std::to_string(least) + "-" + std::to_string(most));
            for (int begun = -130; begun <= 130; begun++) {
                if (begun == 0)
                    continue; // zeros may stand before any number
                const std::string text = std::to_string(begun);
                bool expected = false;
                for (int number = least; number <= most; number++)
                    expected |= std::to_string(number).starts_with(text);
                EXPECT_EQ(can_begin(type, text), expected) << least << "-" << most << " " << text;
            }
        }
    }
}

struct Overlap {
    const char *one;
    const char *other;
    bool overlaps;
};

// clang-format off
constexpr Overlap overlaps[] = {
    {"1-5",   "5-9",   true},
    {"1-5",   "6-9",   false},
    {"1-5",   "hex",   true},
    {"-5--1", "hex",   false},
    {"ipv4",  "ip",    true},
    {"ipv4",  "ipv6",  false},
    {"ipv4",  "ipv4/", false},
    {"ip/",   "ipv6/", true},
    {"mac",   "mac",   true},
    {"mac",   "ipv6",  false},
    {"mac",   "hex",   false},
    {"ipv4",  "1-5",   false},
    {"line",  "secret", true},
    {"line",  "mac",   false},
};
// clang-format on

TEST(Types, OverlapsAreKnownBothWays)
{
    for (const Overlap &pair : overlaps) {
        const ArgumentType one = type_of(pair.one);
        const ArgumentType other = type_of(pair.other);
        EXPECT_EQ(do_overlap(one, other), pair.overlaps) << pair.one << " " << pair.other;
        EXPECT_EQ(do_overlap(other, one), pair.overlaps) << pair.other << " " << pair.one;
    }
}

// Two types that do not overlap take no word of the table both.
TEST(Types, WhatDoesNotOverlapTakesNoWordTogether)
{
    for (const Edge &edge : edges) {
        for (const Edge &other : edges) {
            const ArgumentType one = type_of(edge.type);
            const ArgumentType two = type_of(other.type);
            Value value = {};
            if (edge.worth && !(one == two) && takes_word(two, edge.word, value)) {
                EXPECT_TRUE(do_overlap(one, two)) << edge.word << " " << other.type;
            }
        }
    }
}

} // namespace
