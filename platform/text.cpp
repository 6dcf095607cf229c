// The text services: white space, words and quoted tokens. What quotes and
// backslashes mean stands in one place, read_step; everything that asks about
// tokens walks a text with it.

#include <varno/platform.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

// What most texts are made of: in no locale is a letter or digit of the basic set
// white space, nor is it a quote or backslash.
struct character_table {
    bool has[256];
};

constexpr character_table make_plain()
{
    character_table made{};
    for (int c = '0'; c <= '9'; c++)
        made.has[c] = true;
    for (int c = 'a'; c <= 'z'; c++)
        made.has[c] = made.has[c - 'a' + 'A'] = true;
    return made;
}

constexpr character_table plain = make_plain();

bool is_plain(char c)
{
    return plain.has[static_cast<unsigned char>(c)];
}

// The blank is white space in every locale, and the terminator in none.
bool is_space(char c)
{
    if (c == ' ')
        return true;
    return !is_plain(c) && c != '\0' && std::isspace(static_cast<signed char>(c)) != 0;
}

// How a step of a token walk counts.
enum class step {
    end,       // the terminator; not passed over
    blank,     // white space that separates tokens
    quote,     // opens or closes a quoted stretch; no part of a token's value
    character, // at[-1] belongs to a token's value; it may have been escaped
};

struct token_walk {
    const char *at;
    const char *opened; // the quote whose stretch `at` is in, or NULL
};

bool is_escape(const token_walk &walk)
{
    const bool in_single_quotes = walk.opened && *walk.opened == '\'';
    return *walk.at == '\\' && !in_single_quotes && walk.at[1] != '\0';
}

// Passes over one character, or over a backslash and the character it escapes.
step read_step(token_walk &walk)
{
    const char c = *walk.at;
    if (c == '\0')
        return step::end;
    if (is_escape(walk)) {
        walk.at += 2;
        return step::character;
    }
    walk.at++;
    if (walk.opened ? c == *walk.opened : c == '"' || c == '\'') {
        walk.opened = walk.opened ? nullptr : walk.at - 1;
        return step::quote;
    }
    return !walk.opened && is_space(c) ? step::blank : step::character;
}

// Plain characters are steps of one character each.
void skip_plain(token_walk &walk)
{
    while (is_plain(*walk.at))
        walk.at++;
}

const char *skip_space(const char *s)
{
    while (is_space(*s))
        s++;
    return s;
}

// Returns the end of the token that begins at s: its first blank or the terminator; s
// itself when no token begins there.
const char *token_end(const char *s)
{
    token_walk walk = {s, nullptr};
    const char *end;
    step passed;
    do {
        skip_plain(walk);
        end = walk.at;
        passed = read_step(walk);
    } while (passed == step::quote || passed == step::character);
    return end;
}

// Copies the value of the token [begin, end), which is never longer than that.
char *copy_value(const char *begin, const char *end)
{
    const auto most = static_cast<size_t>(end - begin);
    auto *copy = static_cast<char *>(tracked_malloc(most + 1, "BYTE"));
    if (!copy)
        return nullptr;
    char *to = copy;
    for (token_walk walk = {begin, nullptr}; walk.at < end;) {
        while (is_plain(*walk.at))
            *to++ = *walk.at++;
        if (walk.at < end && read_step(walk) == step::character)
            *to++ = walk.at[-1];
    }
    *to = '\0';
    return copy;
}

int index_in(const char *text, const char *at)
{
    return static_cast<int>(at - text);
}

} // namespace

char *spanws(const char *buf, int index)
{
    const char *found = skip_space(buf + std::max(index, 0));
    return *found != '\0' ? const_cast<char *>(found) : nullptr;
}

char *spanws_back(const char *buf, int index)
{
    if (index >= 0 && buf[index] == '\0')
        index--;
    while (index >= 0 && is_space(buf[index]))
        index--;
    return index >= 0 ? const_cast<char *>(buf + index) : nullptr;
}

int string_get_cursor_token(const char *buf, int buf_used, int cursor_location, int *start,
                            int *len)
{
    if (cursor_location < 0 || cursor_location > buf_used)
        return -1;
    int first = cursor_location;
    while (first > 0 && !is_space(buf[first - 1]))
        first--;
    int end = cursor_location;
    while (end < buf_used && !is_space(buf[end]))
        end++;
    if (first == end)
        return -1;
    *start = first;
    *len = end - first;
    return 0;
}

int token_find_bounds(const char *s, int *start, int *end)
{
    const char *first = skip_space(s);
    if (*first == '\0')
        return -1;
    *start = index_in(s, first);
    *end = index_in(s, token_end(first));
    return 0;
}

int token_copy(const char *text, char **out_token, int *out_at)
{
    const char *first = skip_space(text);
    const char *end = token_end(first);
    *out_at = index_in(text, first);
    *out_token = first != end ? copy_value(first, end) : nullptr;
    return index_in(text, skip_space(end));
}

const char *string_check_quotes(const char *text)
{
    token_walk walk = {text, nullptr};
    do
        skip_plain(walk);
    while (read_step(walk) != step::end);
    return walk.opened;
}

int strlcpy2(char *dst, const char *src, size_t n)
{
    const size_t len = strnlen(src, n);
    std::memcpy(dst, src, len);
    dst[len] = '\0';
    return src[len] != '\0';
}
