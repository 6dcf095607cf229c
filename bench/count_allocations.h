#ifndef VARNO_BENCH_COUNT_ALLOCATIONS_H
#define VARNO_BENCH_COUNT_ALLOCATIONS_H

// Counts what the heap is asked for. A program that links count_allocations.cpp has
// malloc, calloc, realloc and free of its own, which every shared library in the
// process uses too; they count, and leave the work to the C library.

#include <cstdint>

namespace varno_bench {

struct HeapCount {
    int64_t allocations; // calls of malloc, calloc and realloc
    int64_t blocks;      // taken and not given back
    // Of these, as malloc_usable_size has them: without headers, and up to 16 more in a
    // block that reuses an old place.
    int64_t bytes;
};

// Counts from zero, on this thread, until stop_counting.
void start_counting();
HeapCount stop_counting();

} // namespace varno_bench

#endif
