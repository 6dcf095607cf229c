// The text services: tables for every rule of white space, words, quotes and
// backslashes, and what must hold for any text at all. Texts lie in blocks of
// exactly their size, so that a sanitizer sees a read outside them.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <random>
#include <regex.h>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

class ExactText {
  public:
    explicit ExactText(const std::string &text) : bytes_(new char[text.size() + 1])
    {
        std::memcpy(bytes_.get(), text.c_str(), text.size() + 1);
    }

    const char *get() const { return bytes_.get(); }

    // The index of a character of this text; -1 for none.
    int index_of(const char *at) const { return at ? static_cast<int>(at - get()) : -1; }

  private:
    std::unique_ptr<char[]> bytes_;
};

// White space

struct SpanRow {
    const char *text;
    int index;
    int found; // -1: none
};

// clang-format off
const SpanRow forward_rows[] = {
    // text                   index  found
    {"",                          0,    -1},
    {" ",                         0,    -1},
    {" ",                         1,    -1},
    {" \t\n\v\f\r",               0,    -1},
    {" \t\n\v\f\rx",              0,     6},
    {"show",                      0,     0},
    {"show",                      3,     3},
    {"show",                      4,    -1},
    {"show  ip",                  4,     6},
    {"show  ip",                  5,     6},
    {"show  ",                    4,    -1},
    {"  show",                   -1,     2},
    {" \x80",                     0,     1},
    {" \xa0 ",                    0,     1},
    {" \xff ",                    0,     1},
    {" \x01",                     0,     1},
    {" \"",                       0,     1},
};

const SpanRow backward_rows[] = {
    // text                   index  found
    {"",                          0,    -1},
    {"",                         -1,    -1},
    {" ",                         0,    -1},
    {" ",                         1,    -1},
    {" \t\n\v\f\r",               6,    -1},
    {"x \t\n\v\f\r",              6,     0},
    {"show",                      4,     3},
    {"show",                      3,     3},
    {"show",                      0,     0},
    {"show",                     -1,    -1},
    {"show ",                     5,     3},
    {"show ",                     4,     3},
    {"show  ip",                  5,     3},
    {"show  ip",                  6,     6},
    {"  show",                    1,    -1},
    {"\x80 ",                     2,     0},
    {"\xff ",                     2,     0},
};
// clang-format on

TEST(WhiteSpace, IsPassedOverForward)
{
    for (const SpanRow &row : forward_rows) {
        const ExactText text(row.text);
        EXPECT_EQ(text.index_of(spanws(text.get(), row.index)), row.found)
            << '"' << row.text << "\" from " << row.index;
    }
}

TEST(WhiteSpace, IsPassedOverBackwardAndTheTerminatorIsNoCharacter)
{
    for (const SpanRow &row : backward_rows) {
        const ExactText text(row.text);
        EXPECT_EQ(text.index_of(spanws_back(text.get(), row.index)), row.found)
            << '"' << row.text << "\" from " << row.index;
    }
}

TEST(WhiteSpace, IsWhatIsspaceSaysOfTheByteAsASignedValue)
{
    for (int byte = 1; byte < 256; byte++) {
        const ExactText text(std::string(1, static_cast<char>(byte)));
        const bool is_space = std::isspace(static_cast<signed char>(byte)) != 0;
        EXPECT_EQ(text.index_of(spanws(text.get(), 0)), is_space ? -1 : 0) << byte;
        EXPECT_EQ(text.index_of(spanws_back(text.get(), 1)), is_space ? -1 : 0) << byte;
        int start, end;
        EXPECT_EQ(token_find_bounds(text.get(), &start, &end), is_space ? -1 : 0) << byte;
        EXPECT_EQ(string_get_cursor_token(text.get(), 1, 0, &start, &end), is_space ? -1 : 0)
            << byte;
    }
}

// The word at the cursor, `|` in the text

struct WordRow {
    const char *text;
    int start; // -1: none
    int len;
};

// clang-format off
const WordRow word_rows[] = {
    // text              start  len
    {"|",                   -1,   0},
    {"| ",                  -1,   0},
    {" |",                  -1,   0},
    {" | ",                 -1,   0},
    {"|show ip",             0,   4},
    {"sh|ow ip",             0,   4},
    {"show| ip",             0,   4},
    {"show |ip",             5,   2},
    {"show i|p",             5,   2},
    {"show ip|",             5,   2},
    {"show | ip",           -1,   0},
    {"show |  ip",          -1,   0},
    {"show  |ip",            6,   2},
    {"show ip |",           -1,   0},
    {"x|",                   0,   1},
    {"|x",                   0,   1},
    {"a\tb|\nc",             2,   1},
    {"\"a b|\"",             3,   2},
    {"a\\ b|",               3,   1},
    {"\x80\xff|\xa0 ",       0,   3},
};
// clang-format on

TEST(WordAtTheCursor, IsTheRunThatTheCursorIsInOrTouches)
{
    for (const WordRow &row : word_rows) {
        std::string marked = row.text;
        const size_t cursor = marked.find('|');
        const ExactText text(marked.erase(cursor, 1));
        int start = -1;
        int len = 0;
        const int result = string_get_cursor_token(text.get(), static_cast<int>(marked.size()),
                                                   static_cast<int>(cursor), &start, &len);
        EXPECT_EQ(result, row.start < 0 ? -1 : 0) << row.text;
        EXPECT_EQ(start, row.start) << row.text;
        EXPECT_EQ(len, row.len) << row.text;
    }
}

TEST(WordAtTheCursor, EndsAtTheGivenNumberOfCharacters)
{
    int start = 0;
    int len = 0;
    EXPECT_EQ(string_get_cursor_token("showing", 4, 4, &start, &len), 0);
    EXPECT_EQ(start, 0);
    EXPECT_EQ(len, 4);
}

TEST(WordAtTheCursor, ACursorOutsideTheTextTouchesNone)
{
    int start = 77;
    int len = 78;
    const char around[] = "xshowx";
    EXPECT_EQ(string_get_cursor_token(around + 1, 4, 5, &start, &len), -1);
    EXPECT_EQ(string_get_cursor_token(around + 1, 4, -1, &start, &len), -1);
    EXPECT_EQ(start, 77);
    EXPECT_EQ(len, 78);
}

// Tokens

struct TokenRow {
    const char *text;
    int start; // -1: only white space
    int end;
    const char *value; // NULL: only white space
    int used;
    int unmatched; // -1: balanced
};

// clang-format off
const TokenRow token_rows[] = {
    // text                start  end  value         used  unmatched

    // plain tokens and white space
    {"",                      -1,   0, nullptr,         0,  -1},
    {"   ",                   -1,   0, nullptr,         3,  -1},
    {" \t\n\v\f\r",           -1,   0, nullptr,         6,  -1},
    {"show",                   0,   4, "show",          4,  -1},
    {"  show  ip",             2,   6, "show",          8,  -1},
    {"show \t ",               0,   4, "show",          7,  -1},
    {"a\nb",                   0,   1, "a",             2,  -1},
    {"\x80\xff\xa0 \x9f",      0,   3, "\x80\xff\xa0",  4,  -1},
    {"\x01\x7f x",             0,   2, "\x01\x7f",      3,  -1},

    // quoted stretches
    {R"("a b" c)",             0,   5, "a b",           6,  -1},
    {R"('a b' c)",             0,   5, "a b",           6,  -1},
    {R"(  'a b')",             2,   7, "a b",           7,  -1},
    {R"("")",                  0,   2, "",              2,  -1},
    {R"('' x)",                0,   2, "",              3,  -1},
    {R"(""'' x)",              0,   4, "",              5,  -1},
    {R"(a"b c"d e)",           0,   7, "ab cd",         8,  -1},
    {R"(a""b e)",              0,   4, "ab",            5,  -1},
    {R"("a b"'c d' e)",        0,  10, "a bc d",       11,  -1},
    {R"("it's" x)",            0,   6, "it's",          7,  -1},
    {R"('say "no"' x)",        0,  10, "say \"no\"",   11,  -1},
    {R"("'" "'")",             0,   3, "'",             4,  -1},
    {"\"a\tb\nc\" d",          0,   7, "a\tb\nc",       8,  -1},

    // backslashes outside quotes
    {R"(a\ b c)",              0,   4, "a b",           5,  -1},
    {"a\\\tb c",               0,   4, "a\tb",          5,  -1},
    {R"(\ )",                  0,   2, " ",             2,  -1},
    {R"( \  )",                1,   3, " ",             4,  -1},
    {R"(a\b)",                 0,   3, "ab",            3,  -1},
    {R"(\"a b)",               0,   3, "\"a",           4,  -1},
    {R"(\'a b)",               0,   3, "'a",            4,  -1},
    {R"(\\ a)",                0,   2, "\\",            3,  -1},
    {R"(\\"a b" c)",           0,   7, "\\a b",         8,  -1},
    {R"(\\\"a b)",             0,   5, "\\\"a",         6,  -1},

    // backslashes inside double quotes escape, inside single quotes do not
    {R"("a\"b" c)",            0,   6, "a\"b",          7,  -1},
    {R"("a\\" b)",             0,   5, "a\\",           6,  -1},
    {R"("a\b" c)",             0,   5, "ab",            6,  -1},
    {R"("a\ b" c)",            0,   6, "a b",           7,  -1},
    {R"("a\'b" c)",            0,   6, "a'b",           7,  -1},
    {R"('a\' b)",              0,   4, "a\\",           5,  -1},
    {R"('a\\' b)",             0,   5, "a\\\\",         6,  -1},
    {R"('a\"b' c)",            0,   6, "a\\\"b",        7,  -1},

    // a backslash at the very end
    {R"(\)",                   0,   1, "\\",            1,  -1},
    {R"(a\)",                  0,   2, "a\\",           2,  -1},
    {R"(a \)",                 0,   1, "a",             2,  -1},
    {R"("a"\)",                0,   4, "a\\",           4,  -1},
    {R"(a\\)",                 0,   3, "a\\",           3,  -1},
    {R"("a\)",                 0,   3, "a\\",           3,   0},
    {R"('a\)",                 0,   3, "a\\",           3,   0},

    // an unclosed quote
    {R"(")",                   0,   1, "",              1,   0},
    {R"( ')",                  1,   2, "",              2,   1},
    {R"("a b  )",              0,   6, "a b  ",         6,   0},
    {R"('a b" c)",             0,   7, "a b\" c",       7,   0},
    {R"(a")",                  0,   2, "a",             2,   1},
    {R"(a"b c)",               0,   5, "ab c",          5,   1},
    {R"(x 'a "b c)",           0,   1, "x",             2,   2},
    {R"('"' ")",               0,   3, "\"",            4,   4},
    {R"("a" 'b' "c)",          0,   3, "a",             4,   8},
    {R"("a\" b)",              0,   6, "a\" b",         6,   0},
    {R"("\)",                  0,   2, "\\",            2,   0},
};
// clang-format on

// What token_copy hands out, released.
struct Copied {
    int used;
    bool is_token;
    std::string value;
    int at;
};

Copied copy_token(const char *text)
{
    char *token = nullptr;
    Copied copied{0, false, "", -1};
    copied.used = token_copy(text, &token, &copied.at);
    copied.is_token = token != nullptr;
    copied.value = token ? token : "";
    tracked_free(token, "BYTE");
    return copied;
}

TEST(Tokens, BoundsIncludeQuotesAndBackslashes)
{
    for (const TokenRow &row : token_rows) {
        const ExactText text(row.text);
        int start = -1;
        int end = 0;
        EXPECT_EQ(token_find_bounds(text.get(), &start, &end), row.value ? 0 : -1) << row.text;
        EXPECT_EQ(start, row.start) << row.text;
        EXPECT_EQ(end, row.end) << row.text;
    }
}

TEST(Tokens, CopiesHaveQuotesAndEscapingBackslashesRemoved)
{
    for (const TokenRow &row : token_rows) {
        const ExactText text(row.text);
        const Copied copied = copy_token(text.get());
        EXPECT_EQ(copied.is_token, row.value != nullptr) << row.text;
        EXPECT_EQ(copied.value, row.value ? row.value : "") << row.text;
        EXPECT_EQ(copied.used, row.used) << row.text;
        EXPECT_EQ(copied.at, row.value ? row.start : row.used) << row.text;
    }
}

TEST(Tokens, TheFirstUnmatchedQuoteIsFound)
{
    for (const TokenRow &row : token_rows) {
        const ExactText text(row.text);
        EXPECT_EQ(text.index_of(string_check_quotes(text.get())), row.unmatched) << row.text;
    }
}

TEST(Tokens, ACopyIsABlockUnderTheTagOfPlainBuffers)
{
    char *token = nullptr;
    int at = -1;
    EXPECT_EQ(token_copy(" a b", &token, &at), 3);
    EXPECT_EQ(tracked_outstanding("BYTE"), 1u);
    tracked_free(token, "BYTE");
    EXPECT_EQ(token_copy("  ", &token, &at), 2);
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
}

TEST(Tokens, WithoutMemoryForTheCopyAllElseIsAsForAToken)
{
    char marker = 'x';
    char *token = &marker;
    int at = -1;
    tracked_fail_after(1);
    const int used = token_copy(" 'a b'  c", &token, &at);
    tracked_fail_after(-1);
    EXPECT_EQ(used, 8);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(at, 1);
    EXPECT_EQ(tracked_outstanding("BYTE"), 0u);
}

// What holds for any text

constexpr unsigned seed = 20240607;

class AnyText : public ::testing::Test {
  protected:
    int below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

    // Short texts in which everything that has a meaning is frequent.
    std::string next_text()
    {
        const std::string alphabet = "ab  \t\"\"''\\\\\x01\x80\xff";
        std::string text(static_cast<size_t>(below(25)), '\0');
        for (char &c : text)
            c = alphabet[static_cast<size_t>(below(static_cast<int>(alphabet.size())))];
        return text;
    }

    // One of the spellings that stand for the value.
    std::string spell(const std::string &value)
    {
        if (below(3) == 0 && value.find('\'') == std::string::npos)
            return "'" + value + "'";
        const bool quoted = value.empty() || below(2) == 0;
        std::string spelt;
        for (const char c : value) {
            if (quoted ? c == '"' || c == '\\' : std::strchr(" \t\"'\\", c) != nullptr)
                spelt += '\\';
            spelt += c;
        }
        return quoted ? '"' + spelt + '"' : spelt;
    }

    std::mt19937 random{seed};
    static constexpr int rounds = 5000;
};

TEST_F(AnyText, IsUsedUpExactlyByCopyingTokenAfterToken)
{
    for (int round = 0; round < rounds; round++) {
        const std::string any = next_text();
        SCOPED_TRACE(::testing::Message() << "seed " << seed << " round " << round << " " << any);
        const ExactText text(any);
        size_t done = 0;
        int start, end;
        while (token_find_bounds(text.get() + done, &start, &end) == 0) {
            const Copied copied = copy_token(text.get() + done);
            ASSERT_TRUE(copied.is_token);
            ASSERT_EQ(copied.at, start);
            ASSERT_LT(start, end);
            ASSERT_LE(end, copied.used);
            ASSERT_LE(copied.value.size(), static_cast<size_t>(end - start));
            done += static_cast<size_t>(copied.used);
            ASSERT_LE(done, any.size());
        }
        const Copied rest = copy_token(text.get() + done);
        EXPECT_FALSE(rest.is_token);
        EXPECT_EQ(rest.used, rest.at);
        EXPECT_EQ(done + static_cast<size_t>(rest.used), any.size());
    }
}

// The rules once more, as patterns of the pieces of a text.
#define ESCAPED R"(\\.|\\$)"
#define CLOSED_QUOTES R"("(\\.|[^"\])*"|'[^']*')"
#define UNCLOSED_QUOTES R"("(\\.|[^"\])*\\?$|'[^']*$)"

constexpr char balanced[] = "^(" ESCAPED "|[^\"'\\]|" CLOSED_QUOTES ")*";
constexpr char first_token[] =
    "^[ \t]*(" ESCAPED "|[^\"'\\ \t]|" CLOSED_QUOTES "|" UNCLOSED_QUOTES ")*";

class Pattern {
  public:
    explicit Pattern(const char *pattern)
    {
        EXPECT_EQ(regcomp(&compiled_, pattern, REG_EXTENDED), 0);
    }
    ~Pattern() { regfree(&compiled_); }
    Pattern(const Pattern &) = delete;
    Pattern &operator=(const Pattern &) = delete;

    // The characters of the longest match.
    int match(const std::string &text) const
    {
        regmatch_t found;
        EXPECT_EQ(regexec(&compiled_, text.c_str(), 1, &found, 0), 0);
        return found.rm_eo;
    }

  private:
    regex_t compiled_;
};

TEST_F(AnyText, HasAsUnmatchedQuoteWhatFollowsTheLongestBalancedStretch)
{
    const Pattern pattern(balanced);
    for (int round = 0; round < rounds; round++) {
        const std::string any = next_text();
        SCOPED_TRACE(::testing::Message() << "seed " << seed << " round " << round << " " << any);
        const int end = pattern.match(any);
        const ExactText text(any);
        EXPECT_EQ(text.index_of(string_check_quotes(text.get())),
                  end == static_cast<int>(any.size()) ? -1 : end);
    }
}

TEST_F(AnyText, HasAsFirstTokenTheLongestRunOfUnseparatedPieces)
{
    const Pattern pattern(first_token);
    for (int round = 0; round < rounds; round++) {
        const std::string any = next_text();
        SCOPED_TRACE(::testing::Message() << "seed " << seed << " round " << round << " " << any);
        const size_t first = std::min(any.find_first_not_of(" \t"), any.size());
        const ExactText text(any);
        int start = 0;
        int end = 0;
        const int result = token_find_bounds(text.get(), &start, &end);
        ASSERT_EQ(result, first < any.size() ? 0 : -1);
        if (result == 0) {
            EXPECT_EQ(start, static_cast<int>(first));
            EXPECT_EQ(end, pattern.match(any));
        }
    }
}

TEST_F(AnyText, ComesBackFromEverySpellingOfIt)
{
    for (int round = 0; round < rounds; round++) {
        std::vector<std::string> values(static_cast<size_t>(below(5)));
        std::string line(static_cast<size_t>(below(3)), ' ');
        for (std::string &value : values) {
            value = next_text();
            line += spell(value) + std::string(static_cast<size_t>(1 + below(2)), '\t');
        }
        SCOPED_TRACE(::testing::Message() << "seed " << seed << " round " << round << " " << line);
        const ExactText text(line);
        EXPECT_EQ(string_check_quotes(text.get()), nullptr);
        size_t done = 0;
        for (const std::string &value : values) {
            const Copied copied = copy_token(text.get() + done);
            EXPECT_TRUE(copied.is_token);
            ASSERT_EQ(copied.value, value);
            done += static_cast<size_t>(copied.used);
        }
        EXPECT_EQ(done, values.empty() ? 0 : line.size());
    }
}

// Bounded copies

struct CopyRow {
    const char *src;
    size_t n;
    const char *copied;
    int cut;
};

// clang-format off
const CopyRow copy_rows[] = {
    // src     n  copied  cut
    {"",       0, "",       0},
    {"",       5, "",       0},
    {"show",   0, "",       1},
    {"show",   1, "s",      1},
    {"show",   3, "sho",    1},
    {"show",   4, "show",   0},
    {"show",   5, "show",   0},
    {"show",  20, "show",   0},
    {"\xff x", 2, "\xff ",  1},
};
// clang-format on

TEST(BoundedCopy, EndsAfterNCharactersAndTellsWhetherItCut)
{
    for (const CopyRow &row : copy_rows) {
        const ExactText src(row.src);
        const size_t copied = std::strlen(row.copied);
        std::string dst(row.n + 1, '#');
        EXPECT_EQ(strlcpy2(dst.data(), src.get(), row.n), row.cut) << row.src << " " << row.n;
        EXPECT_EQ(dst, row.copied + std::string(1, '\0') + std::string(row.n - copied, '#'))
            << row.src << " " << row.n;
    }
}

TEST(BoundedCopy, NeedsNoMoreRoomThanAShorterTextTakes)
{
    char dst[3] = {'#', '#', '#'};
    EXPECT_EQ(strlcpy2(dst, "ab", 256), 0);
    EXPECT_STREQ(dst, "ab");
}

} // namespace
