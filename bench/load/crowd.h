#ifndef VARNO_BENCH_CROWD_H
#define VARNO_BENCH_CROWD_H

// The many sessions that load the server, in a process of their own.

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace varno_load {

constexpr unsigned key_interval_ms = 200;

// How things stand, in memory that both processes see.
struct Progress {
    std::atomic<bool> may_type;
    std::atomic<long> open;  // sessions that had their first output
    std::atomic<long> ended; // sessions that are no more, or never were
    std::atomic<long> keys;
    std::atomic<long> latest_ms; // how late a key was, at worst
};

// Opens sessions at a bounded rate, has each type once may_type says so, and goes on
// until the process is killed.
[[noreturn]] void run_crowd(uint16_t port, size_t sessions, unsigned opened_per_second,
                            Progress &progress);

} // namespace varno_load

#endif
