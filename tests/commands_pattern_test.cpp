// Patterns for rows. With RE2: evil ones are refused, or take no more than in proportion to the
// row. Without it they are texts. Each is a program of its own.

#include "pattern.h"

#include "support/memory.h"

#include <varno/platform_default.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace varno::commands;

class OnePattern {
  public:
    explicit OnePattern(const char *text) : made_(make_pattern(text, why_, std::size(why_))) {}
    ~OnePattern() { release_pattern(made_); }
    OnePattern(const OnePattern &) = delete;
    OnePattern &operator=(const OnePattern &) = delete;

    bool is_made() const { return made_ != nullptr; }
    bool is_in(const std::string &row) const { return is_found(made_, row); }
    size_t steps() const { return steps_a_byte(made_); }
    std::string why() const { return why_; }

  private:
    char why_[128] = "";
    Pattern *made_;
};

TEST(Patterns, AreFoundAnywhereInARow)
{
    for (const char *row : {"eth0 up", "up eth0", "eth0"})
        EXPECT_TRUE(OnePattern("eth0").is_in(row)) << row;
    EXPECT_FALSE(OnePattern("eth0").is_in("eth1 up"));
    EXPECT_FALSE(OnePattern("eth0").is_in(""));
    EXPECT_TRUE(OnePattern("").is_in(""));
    EXPECT_TRUE(OnePattern("caf\xc3\xa9").is_in("a caf\xc3\xa9"));
}

TEST(Patterns, WithoutMemoryThereIsNone)
{
    varno_test::fail_each_allocation([](const auto &fail_from_here) {
        fail_from_here();
        const OnePattern pattern("a.c");
        EXPECT_TRUE(pattern.is_made() || pattern.why() == "out of memory");
        return pattern.is_made();
    });
}

#ifdef VARNO_HAS_RE2

constexpr const char *evil[] = {
    "(x+x+)+y",
    "(x*)*y",
    "((((x*)*)*)*)*y",
    "(x|x)*y",
    "(.*)(.*)(.*)(.*)(.*)(.*)(.*)(.*)(.*)[0-9]",
    "((x{100}){100}){100}",
    "(x{1000}){1000}",
    "x{2000}",
    "((x{0,100}){0,100}){0,10}",
    "(?:(?:x?){500}){2}y",
    "x?x?x?x?x?x?x?x?x?x?x?x?x?x?x?xxxxxxxxxxxxxxxy",
    "^(([a-z])+.)+[A-Z]([a-z])+$",
    "([a-zA-Z]+)*$",
    "(x|xx)+$y",
    "[[:alpha:]]{1,500}y",
    "\\pL{500}",
    "(.{1,300}){3}y",
    "(\\w+\\s?)*y",
    "^(.*?,){30}P",
    "(x+)+\\d",
    "(((x)+)+)+y",
    "(x{0,500}y)*z",
    "(a?){999}a{999}",
    "((ab)*c)*d",
    "(x.*x.*x.*x.*x.*x.*x.*x.*)+y",
    "(?i)(X+)+Y",
    ".*.*.*.*.*.*y",
    "(\\PN{100}){9}",
    "[^y]{999}y",
    "(((((((((x)?)?)?)?)?)?)?)?)?{500}",
    "(x+)*$y",
    "(x|x|x|x|x|x)+y",
    "(?:x*){50}y",
    "(x?){1000}",
    "(.*x){20}y",
    "([^y]*y?)*z",
    "(?s).*.*.*.*=.*",
    "^(x+)+$",
    "((x{1,50}){1,50}){1,50}",
    "(x*x*x*x*x*x*)*y",
    "\\b(\\w+\\W*)+y",
    "(\\pL|\\pN|.)*y",
    "(?i)([a-z]|[A-Z])*[0-9]",
    "[\\x{0}-\\x{10ffff}]{200}",
    "(x(x(x(x(x)*)*)*)*)*y",
    "(|x)*y",
    "(()|())*y",
    "x{0,1000}x{0,1000}y",
    "(^x|x$|x)*y",
    "(xx?)+(x?x)+y",
};

// Processor time of this thread for one look at a row, in nanoseconds; of some looks the least.
double time_of(const OnePattern &pattern, const std::string &row)
{
    const auto now = [] {
        timespec time = {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    };
    double least = 1e18;
    for (int i = 0; i < 3; i++) {
        const double before = now();
        pattern.is_in(row);
        least = std::min(least, now() - before);
    }
    return least;
}

// Sixteen times the row may take 16 times as long, and the machine's moods some more; who looked
// again from each place would take 256 times as long. What a byte may take is limited.
TEST(Patterns, EvilOnesAreRefusedOrTakeTimeInProportion)
{
    static_assert(std::size(evil) == 50);
    constexpr double most_growth = 70;
    constexpr double too_little_to_tell = 20000;
    int refused = 0;
    for (const char *text : evil) {
        const OnePattern pattern(text);
        refused += pattern.is_made() ? 0 : 1;
        EXPECT_EQ(pattern.is_made(), pattern.why().empty()) << text;
        if (!pattern.is_made())
            continue;
        EXPECT_LE(pattern.steps(), 1000U) << text;
        for (const char *unit : {"x", "ab,"}) {
            std::string row;
            while (row.size() < 16384)
                row += unit;
            const double few = std::max(time_of(pattern, row.substr(0, 1024)), too_little_to_tell);
            EXPECT_LT(time_of(pattern, row), most_growth * few) << text << " in " << unit;
        }
    }
    EXPECT_GT(refused, 3);
    EXPECT_LT(refused, 30);
    std::printf("%d refused\n", refused);
}

TEST(Patterns, AreRegularExpressions)
{
    EXPECT_TRUE(OnePattern("^e.h[0-9]$").is_in("eth0"));
    const OnePattern wrong("a(b");
    EXPECT_FALSE(wrong.is_made());
    EXPECT_EQ(wrong.why(), "missing )");
    EXPECT_STREQ(describe_pattern(), "a regular expression");
}

#else

TEST(Patterns, AreTexts)
{
    for (const char *text : {"a(b", "[", "^a", ".*", "\\"}) {
        EXPECT_TRUE(OnePattern(text).is_in("x" + std::string(text) + "y")) << text;
        EXPECT_FALSE(OnePattern(text).is_in("abc")) << text;
    }
    EXPECT_STREQ(describe_pattern(), "a part of the row");
}

#endif

} // namespace
