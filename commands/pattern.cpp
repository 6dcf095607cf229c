#include "pattern.h"

#include <varno/platform.h>

#include <cstdio>
#include <cstring>

#ifdef VARNO_HAS_RE2
#include <re2/re2.h>

#include <memory>
#include <new>
#endif

namespace varno::commands {
namespace {

constexpr char pattern_tag[] = "Pattern";

}

#ifdef VARNO_HAS_RE2

struct Pattern {
    re2::RE2 compiled;
};

Pattern *make_pattern(const char *text, char *why, size_t size)
{
    constexpr int64_t most_memory = 256 << 10;
    constexpr int most_steps = 1000; // at worst a byte of a row takes so many
    re2::RE2::Options options;
    options.set_max_mem(most_memory);
    options.set_log_errors(false);
    auto *made = static_cast<Pattern *>(tracked_malloc(sizeof(Pattern), pattern_tag));
    try {
        if (made)
            std::construct_at(&made->compiled, text, options);
    } catch (const std::bad_alloc &) {
        tracked_free(made, pattern_tag);
        made = nullptr;
    }
    if (!made) {
        std::snprintf(why, size, "out of memory");
        return nullptr;
    }
    if (made->compiled.ok() && made->compiled.ProgramSize() <= most_steps)
        return made;
    // "missing ): a(b": the part after the colon is what was typed.
    const std::string error =
        made->compiled.ok() ? "pattern too large" : std::string(made->compiled.error());
    const size_t end = error.find(": ");
    const size_t len = end == error.npos ? error.size() : end;
    std::snprintf(why, size, "%.*s", static_cast<int>(len), error.c_str());
    release_pattern(made);
    return nullptr;
}

bool is_found(const Pattern *pattern, std::string_view row)
{
    return re2::RE2::PartialMatch({row.data(), row.size()}, pattern->compiled);
}

void release_pattern(Pattern *pattern)
{
    if (pattern)
        std::destroy_at(pattern);
    tracked_free(pattern, pattern_tag);
}

size_t steps_a_byte(const Pattern *pattern)
{
    return static_cast<size_t>(pattern->compiled.ProgramSize());
}

const char *describe_pattern()
{
    return "a regular expression";
}

#else

struct Pattern {
    char *text;
};

Pattern *make_pattern(const char *text, char *why, size_t size)
{
    auto *made = static_cast<Pattern *>(tracked_malloc(sizeof(Pattern), pattern_tag));
    if (made)
        made->text = tracked_strdup(text, pattern_tag);
    if (made && made->text)
        return made;
    tracked_free(made, pattern_tag);
    std::snprintf(why, size, "out of memory");
    return nullptr;
}

bool is_found(const Pattern *pattern, std::string_view row)
{
    return row.find(pattern->text) != row.npos;
}

void release_pattern(Pattern *pattern)
{
    if (pattern)
        tracked_free(pattern->text, pattern_tag);
    tracked_free(pattern, pattern_tag);
}

size_t steps_a_byte(const Pattern *pattern)
{
    return std::strlen(pattern->text) + 1;
}

const char *describe_pattern()
{
    return "a part of the row";
}

#endif

} // namespace varno::commands
