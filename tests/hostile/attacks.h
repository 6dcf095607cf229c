#ifndef VARNO_TESTS_ATTACKS_H
#define VARNO_TESTS_ATTACKS_H

// What hostile clients send.

#include <ostream>
#include <span>
#include <string>

namespace varno_test {

struct Attack {
    const char *name;
    int times;         // in each session
    const char *shows; // what must come of it, or NULL
    const char *never; // what must not, or NULL
    std::string bytes;
    bool is_end = false; // the session is over by then
};

std::span<const Attack> attacks();

inline void PrintTo(const Attack &attack, std::ostream *out)
{
    *out << attack.name;
}

} // namespace varno_test

#endif
