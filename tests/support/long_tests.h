#ifndef VARNO_TESTS_LONG_TESTS_H
#define VARNO_TESTS_LONG_TESTS_H

// How much longer than in the ordinary run a test is to go on: the whole number in
// the environment's VARNO_LONG_TESTS, 1 without it.

#include <cstdlib>

namespace varno_test {

inline int long_tests_factor()
{
    const char *text = std::getenv("VARNO_LONG_TESTS");
    const int factor = text ? std::atoi(text) : 1;
    return factor > 1 ? factor : 1;
}

} // namespace varno_test

#endif
