#ifndef VARNO_TESTS_HEAP_BYTES_H
#define VARNO_TESTS_HEAP_BYTES_H

// What the process has of the heap, whoever took it.

#include <cstddef>

#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes(); // its header is no part of g++
#endif

namespace varno_test {

inline size_t heap_bytes()
{
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

} // namespace varno_test

#endif
