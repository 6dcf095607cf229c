#ifndef VARNO_BENCH_ACTS_H
#define VARNO_BENCH_ACTS_H

// Acts: what a person or an operator feels, on fixed inputs. Each is defined once, in
// NAME_bench.cpp, and measured twice: run_benchmarks.cpp takes time, allocations and
// output, measure.cpp runs it under an instruction counter.

#include <cstdint>
#include <memory>
#include <span>

namespace varno_bench {

// One pass of an act is some number of operations (keys, lines, calls) in a row. What
// a pass needs is made by the constructor and put back by prepare.
class Act {
  public:
    Act() = default;
    Act(const Act &) = delete;
    Act &operator=(const Act &) = delete;
    virtual ~Act() = default;

    // Puts everything where a pass begins. Not measured.
    virtual void prepare() {}
    // One pass. This is what is measured.
    virtual void run() = 0;
    // Called once, after a pass; it may run the act again to look closer.
    // Returns: NULL, or what is wrong with what the act did.
    virtual const char *problem() = 0;

    int64_t operations = 1; // in one pass
    int64_t bytes = 0;      // of input in one pass; 0: not an act on bytes
    bool allocates = false; // else an allocation is an error
};

struct ActRow {
    const char *name; // "topic/act"
    std::unique_ptr<Act> (*make)();
};

// The acts of one NAME_bench.cpp, a file-scope object there; it joins the list of its
// program.
class Topic {
  public:
    explicit Topic(std::span<const ActRow> topic_rows);

    const std::span<const ActRow> rows;
    const Topic *next = nullptr;
};

// Returns: the first topic linked into this program; NULL when there is none.
const Topic *first_topic();

// What the acts have written to their terminals so far.
struct Output {
    int64_t calls; // of the print callback
    int64_t bytes;
};
extern Output output;

} // namespace varno_bench

#endif
