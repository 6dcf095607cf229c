// The print formatter against the C library's.

#include "print_format.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// A sink with a bounded room that hands out its bytes filled with rubbish and moves.
struct Sink {
    explicit Sink(size_t most = SIZE_MAX) : left(most) {}

    static char *room(void *user, size_t count)
    {
        auto *sink = static_cast<Sink *>(user);
        sink->asked.push_back(count);
        if (count > sink->left)
            return nullptr;
        sink->area.assign(count, '#');
        return sink->area.data();
    }

    static void commit(void *user, size_t count)
    {
        auto *sink = static_cast<Sink *>(user);
        ASSERT_LE(count, sink->area.size());
        sink->written.append(sink->area.data(), count);
        sink->left -= count;
        sink->area.clear();
        sink->area.shrink_to_fit();
    }

    [[gnu::format(printf, 2, 3)]] int print(const char *format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        const int result = varno::print_format({this, room, commit}, format, arguments);
        va_end(arguments);
        return result;
    }

    size_t left;
    std::vector<char> area;
    std::vector<size_t> asked;
    std::string written;
};

[[gnu::format(printf, 2, 0)]] std::string as_printf(int *out_result, const char *format,
                                                    va_list arguments)
{
    char buf[4096];
    *out_result = std::vsnprintf(buf, sizeof(buf), format, arguments);
    return std::string(buf, static_cast<size_t>(*out_result));
}

// Prints both ways; both must agree, also in the result without room, and room is
// asked for once, for little more than is written.
[[gnu::format(printf, 1, 2)]] void expect_like_printf(const char *format, ...)
{
    va_list arguments;
    int result = 0;
    va_start(arguments, format);
    const std::string expected = as_printf(&result, format, arguments);
    va_end(arguments);

    Sink sink;
    va_start(arguments, format);
    EXPECT_EQ(varno::print_format({&sink, Sink::room, Sink::commit}, format, arguments), result);
    va_end(arguments);
    EXPECT_EQ(sink.written, expected) << format;
    EXPECT_EQ(sink.asked.size(), expected.empty() ? 0u : 1u) << format;
    for (const size_t asked : sink.asked)
        EXPECT_TRUE(asked == expected.size() || asked == expected.size() + 1) << format;

    Sink full(0);
    va_start(arguments, format);
    EXPECT_EQ(varno::print_format({&full, Sink::room, Sink::commit}, format, arguments), result);
    va_end(arguments);
    EXPECT_EQ(full.written, "");
}

} // namespace

TEST(PrintFormat, PrintsCharactersLikePrintf)
{
    for (int c = 0; c <= 255; c++)
        expect_like_printf("%c", c);
    expect_like_printf("%c", -1);
    expect_like_printf("%c", 256 + 'a');
}

TEST(PrintFormat, PrintsTextsLikePrintf)
{
    const std::string longer(700, 'x');
    for (const char *text : {"", "a", "\r\n", "show ip", "%d%s", longer.c_str()}) {
        expect_like_printf("%s", text);
        expect_like_printf("\r%s", text);
        for (const int n : {-700, -7, -1, 0, 1, 3, 6, 7, 8, 255, 256, 257, 699, 700, 701, 1000}) {
            expect_like_printf("%.*s", n, text);
            expect_like_printf("%*s", n, text);
        }
        expect_like_printf("%.*s", INT_MAX, text);
        expect_like_printf("%.*s", INT_MIN, text);
    }
}

TEST(PrintFormat, APrecisionBoundsWhatIsRead)
{
    const std::vector<char> unterminated = {'a', 'b', 'c'};
    expect_like_printf("%.*s", 3, unterminated.data());
    expect_like_printf("%.*s", 2, unterminated.data());
}

TEST(PrintFormat, PrintsAMissingTextLikePrintf)
{
    const char *volatile none = nullptr;
    expect_like_printf("%s", none);
    expect_like_printf("\r%s", none);
    for (const int n : {-10, -1, 0, 3, 5, 6, 10}) {
        expect_like_printf("%.*s", n, none);
        expect_like_printf("%*s", n, none);
    }
}

TEST(PrintFormat, LeavesAllElseToPrintf)
{
    const std::string longer(700, 'x');
    expect_like_printf("%s", "");
    expect_like_printf("plain");
    expect_like_printf("%%");
    expect_like_printf("%d %u %lx %5.2f", -3, 7u, 255ul, 1.5);
    expect_like_printf("%c%c", 'a', 'b');
    expect_like_printf("%s\n", "row");
    expect_like_printf("\r%s\n", "row");
    expect_like_printf("%.*s|%*s|", 2, "abc", 4, "d");
    expect_like_printf("%10s|%-10s|%.2s", "a", "b", "cde");
    for (const int n : {253, 254, 255, 256, 257, 600})
        expect_like_printf("%d%.*s", 1, n, longer.c_str());
}

TEST(PrintFormat, PrintsIntoWhatRoomThereIs)
{
    Sink sink(10);
    EXPECT_EQ(sink.print("%s", "12345"), 5);
    EXPECT_EQ(sink.print("%s", "123456"), 6);
    EXPECT_EQ(sink.print("%*s", 6, ""), 6);
    EXPECT_EQ(sink.print("\r%s", "12345"), 6);
    EXPECT_EQ(sink.print("%.*s", 4, "6789"), 4);
    EXPECT_EQ(sink.print("%c", '\b'), 1);
    EXPECT_EQ(sink.print("%c", '\b'), 1);
    EXPECT_EQ(sink.written, "123456789\b");
}
