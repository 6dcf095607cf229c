#include "failing_allocator.h"

#include <varno/platform.h>

#include <dlfcn.h>

namespace {

long requests = 0;
long until_failure = 0; // requests, the one to fail included; 0: none is to fail
bool fails_on = false;
bool has_failed = false;

bool must_fail()
{
    requests++;
    if (has_failed && fails_on)
        return true;
    const bool is_it = until_failure > 0 && --until_failure == 0;
    has_failed |= is_it;
    return is_it;
}

template <typename Function>
Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

namespace varno_test {

void fail_request(long n, Failing form)
{
    until_failure = n;
    fails_on = form == Failing::this_and_all_later;
    has_failed = false;
}

bool stop_failing()
{
    const bool failed = has_failed;
    fail_request(0);
    return failed;
}

long requests_made()
{
    return requests;
}

} // namespace varno_test

void *tracked_malloc(size_t size, const char *tag)
{
    static const auto next = real<decltype(tracked_malloc)>("tracked_malloc");
    return must_fail() ? nullptr : next(size, tag);
}

void *tracked_calloc(size_t count, size_t size, const char *tag)
{
    static const auto next = real<decltype(tracked_calloc)>("tracked_calloc");
    return must_fail() ? nullptr : next(count, size, tag);
}

char *tracked_strdup(const char *text, const char *tag)
{
    static const auto next = real<decltype(tracked_strdup)>("tracked_strdup");
    return must_fail() ? nullptr : next(text, tag);
}

void *crealloc(void *array, size_t element_size, size_t count, size_t added)
{
    static const auto next = real<decltype(crealloc)>("crealloc");
    return must_fail() ? nullptr : next(array, element_size, count, added);
}
