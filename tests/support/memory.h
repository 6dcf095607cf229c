#ifndef VARNO_TESTS_MEMORY_H
#define VARNO_TESTS_MEMORY_H

// Allocation failure by injection, and the allocator's books.

#include <functional>

namespace varno_test {

// Fails the 1st allocation of an act (and all later ones), then the 2nd, and so
// on until the act gets through without meeting a failure. The act builds what it
// needs, calls `fail_from_here` where the injected failure may begin, and returns
// whether the operation under test succeeded; it releases all it took. After each
// failed run nothing may be left behind. Returns the number of failed runs.
int fail_each_allocation(
    const std::function<bool(const std::function<void()> &fail_from_here)> &act);

} // namespace varno_test

#endif
