#ifndef VARNO_TESTS_FAILING_ALLOCATOR_H
#define VARNO_TESTS_FAILING_ALLOCATOR_H

// An allocator of the program's own in front of the platform's, which passes each
// request on but those that are to fail. Programs that list failing_allocator.cpp
// among their sources have it.

namespace varno_test {

enum class Failing {
    only_this_one,
    this_and_all_later,
};

// The n-th request from now fails (n >= 1); 0: none does.
void fail_request(long n, Failing form = Failing::only_this_one);

// Whether it came to that since; no request fails any more then.
bool stop_failing();

// Requests so far, failed ones included.
long requests_made();

} // namespace varno_test

#endif
