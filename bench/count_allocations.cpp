// The counting heap. While it does not count, a call costs one test more than the C
// library's own.

#include "count_allocations.h"

#include <cstddef>
#include <malloc.h>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);
}

namespace varno_bench {
namespace {

constinit thread_local bool is_counting = false;
constinit thread_local HeapCount counted = {};

void note_gone(void *block)
{
    if (!is_counting || !block)
        return;
    counted.blocks--;
    counted.bytes -= static_cast<int64_t>(malloc_usable_size(block));
}

void *note_new(void *block)
{
    if (!is_counting)
        return block;
    counted.allocations++;
    if (block) {
        counted.blocks++;
        counted.bytes += static_cast<int64_t>(malloc_usable_size(block));
    }
    return block;
}

} // namespace

void start_counting()
{
    counted = {};
    is_counting = true;
}

HeapCount stop_counting()
{
    is_counting = false;
    return counted;
}

} // namespace varno_bench

// The default visibility is what lets the shared libraries find these.
extern "C" {

[[gnu::visibility("default")]] void *malloc(size_t size)
{
    return varno_bench::note_new(__libc_malloc(size));
}

[[gnu::visibility("default")]] void *calloc(size_t count, size_t size)
{
    return varno_bench::note_new(__libc_calloc(count, size));
}

// A realloc that fails leaves the old block, which is then counted as gone: a
// benchmark does not run out of memory.
[[gnu::visibility("default")]] void *realloc(void *block, size_t size)
{
    varno_bench::note_gone(block);
    return varno_bench::note_new(__libc_realloc(block, size));
}

[[gnu::visibility("default")]] void free(void *block)
{
    varno_bench::note_gone(block);
    __libc_free(block);
}
}
