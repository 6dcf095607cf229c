#ifndef VARNO_BENCH_PROBE_H
#define VARNO_BENCH_PROBE_H

// A few sessions that wait for each echo before they type on, and how long it took.

#include <cstdint>
#include <memory>
#include <vector>

#include <uv.h>

namespace varno_load {

class Typist;

class Probe {
  public:
    Probe(uint16_t port, size_t sessions);
    ~Probe();
    Probe(const Probe &) = delete;
    Probe &operator=(const Probe &) = delete;

    // Opens the sessions. Returns: false when one cannot be opened.
    bool open();

    // Types for a time; what was measured before is forgotten.
    void type(double seconds);

    const std::vector<uint64_t> &latencies() const { return latencies_; } // nanoseconds
    long keys() const { return keys_; }
    long missing() const { return missing_; } // keys left out: the echo before had not come
    long ended() const { return ended_; }

  private:
    struct Seat; // a session, and its key that has no echo yet

    void run_for(uint64_t milliseconds);
    void type_one(Seat &seat);
    void echoed(Seat &seat, bool is_first);

    uint16_t port_;
    uv_loop_t loop_;
    std::vector<std::unique_ptr<Seat>> seats_;
    std::vector<uint64_t> latencies_;
    long keys_ = 0, missing_ = 0, ended_ = 0;
    size_t open_ = 0;
};

} // namespace varno_load

#endif
