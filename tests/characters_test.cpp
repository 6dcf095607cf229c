// UTF-8 in output: what is a character and how wide, against the C library; cleaned texts.

#include "characters.h"

#include <clocale>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using varno::Character;
using varno::clean_row;
using varno::first_character;

class Characters : public testing::Test {
  protected:
    Characters() { EXPECT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
    ~Characters() override { std::setlocale(LC_CTYPE, "C"); }
};

std::string cleaned(std::string_view text, size_t capacity = 100)
{
    std::string clean(capacity, '#');
    clean.resize(clean_row(clean.data(), capacity, std::string(text).c_str()));
    return clean;
}

TEST_F(Characters, EveryOneIsAsWideAsTheCLibraryHasIt)
{
    for (wchar_t wanted = 1; wanted < 0x110000; wanted++) {
        char bytes[8];
        std::mbstate_t state = {};
        const size_t len = std::wcrtomb(bytes, wanted, &state);
        if (len == static_cast<size_t>(-1))
            continue;
        const Character found = first_character(bytes, len);
        EXPECT_EQ(found.len, len) << std::hex << static_cast<long>(wanted);
        const bool is_control = wanted < 0x20 || (wanted >= 0x7f && wanted < 0xa0);
        EXPECT_EQ(found.is_unsafe, is_control) << std::hex << static_cast<long>(wanted);
        const int columns = wcwidth(wanted);
        if (columns >= 0) {
            EXPECT_EQ(found.columns, columns) << std::hex << static_cast<long>(wanted);
        }
    }
}

TEST_F(Characters, WhatTheCLibraryRefusesIsUnsafe)
{
    // Every pair of bytes, and every third and fourth byte at the edges of the forms.
    constexpr unsigned char edges[] = {0x41, 0x7f, 0x80, 0x8f, 0x90, 0x9f, 0xa0, 0xbf, 0xc0, 0xff};
    for (unsigned first = 0x80; first < 0x100; first++) {
        for (unsigned second = 0; second < 0x100; second++) {
            for (const unsigned char third : edges) {
                for (const unsigned char fourth : edges) {
                    const char bytes[] = {static_cast<char>(first), static_cast<char>(second),
                                          static_cast<char>(third), static_cast<char>(fourth)};
                    std::mbstate_t state = {};
                    wchar_t value = 0;
                    const size_t len = std::mbrtowc(&value, bytes, 4, &state);
                    const Character found = first_character(bytes, 4);
                    if (len <= 4 && value <= 0x10ffff) {
                        ASSERT_EQ(found.len, len);
                        ASSERT_EQ(found.is_unsafe, value < 0xa0);
                    } else {
                        ASSERT_TRUE(found.is_unsafe) << first << " " << second;
                        ASSERT_EQ(found.len, 1u);
                    }
                }
            }
        }
    }
}

TEST_F(Characters, ABeginningIsSaidToBeOne)
{
    EXPECT_TRUE(first_character("\xe2\x82", 2).is_cut);
    EXPECT_TRUE(first_character("\xf0", 1).is_cut);
    EXPECT_FALSE(first_character("\xe2\x82\xac", 3).is_cut);
    EXPECT_FALSE(first_character("\xe2 ", 2).is_cut);
    EXPECT_FALSE(first_character("\xff", 1).is_cut);
}

TEST_F(Characters, ARowIsCleanedOfControlsAndOfWhatIsNoUtf8)
{
    EXPECT_EQ(cleaned("Größe, 日本"), "Größe, 日本");
    EXPECT_EQ(cleaned("a\033[2Jb\tc\nd\x7f"), "a?[2Jb?c?d?");
    EXPECT_EQ(cleaned("\xc2\x9b"
                      "2J"),
              "?2J")
        << "a C1 control";
    EXPECT_EQ(cleaned("\x9b"
                      "2J\xff"),
              "?2J?");
    EXPECT_EQ(cleaned("\xe2\x82"), "?");
    EXPECT_EQ(cleaned(""), "");
}

TEST_F(Characters, ARowEndsBeforeACharacterThatHasNoRoom)
{
    EXPECT_EQ(cleaned("abcd", 4), "abc");
    EXPECT_EQ(cleaned("abö", 4), "ab");
    EXPECT_EQ(cleaned("abö", 5), "abö");
    EXPECT_EQ(cleaned("a", 1), "");
}

} // namespace
