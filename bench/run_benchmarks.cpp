// The main program of each varno_bench_NAME: measures the acts that are linked with it.
// The Time column is per operation and covers the passes alone, without what puts the
// input back between two of them; the CPU column covers both. Whether Google Benchmark
// itself was built for debugging, as distributions do, is outside what is timed.

#include "acts.h"
#include "count_allocations.h"

#include <chrono>

#include <benchmark/benchmark.h>

namespace varno_bench {
namespace {

using Clock = std::chrono::steady_clock;

// Google Benchmark prints errors and reports success.
constinit bool has_failed = false;

void fail(benchmark::State &state, const char *problem)
{
    has_failed = true;
    state.SkipWithError(problem);
}

double seconds_of_pass(Act &act)
{
    const Clock::time_point start = Clock::now();
    act.run();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The first pass also pays for what happens once in a process: it is checked and not
// counted.
const char *check(Act &act)
{
    act.prepare();
    act.run();
    return act.problem();
}

struct PassCount {
    HeapCount heap;
    Output written;
};

PassCount count_pass(Act &act)
{
    act.prepare();
    const Output before = output;
    start_counting();
    act.run();
    const HeapCount heap = stop_counting();
    return {heap, {output.calls - before.calls, output.bytes - before.bytes}};
}

// All per operation. `heap` and `blocks` are what a pass left allocated.
void report(benchmark::State &state, const Act &act, const PassCount &count)
{
    const auto each = [&](int64_t total) { return double(total) / double(act.operations); };
    state.counters["allocs"] = each(count.heap.allocations);
    state.counters["blocks"] = each(count.heap.blocks);
    state.counters["heap"] = each(count.heap.bytes);
    state.counters["prints"] = each(count.written.calls);
    state.counters["written"] = each(count.written.bytes);
    state.SetItemsProcessed(state.iterations());
    if (act.bytes > 0)
        state.SetBytesProcessed(state.iterations() / act.operations * act.bytes);
}

void measure(benchmark::State &state, const ActRow &row)
{
    const std::unique_ptr<Act> act = row.make();
    if (const char *problem = check(*act)) {
        fail(state, problem);
        return;
    }
    const PassCount count = count_pass(*act);
    if (count.heap.allocations != 0 && !act->allocates) {
        fail(state, "memory was allocated");
        return;
    }
    while (state.KeepRunningBatch(act->operations)) {
        act->prepare();
        state.SetIterationTime(seconds_of_pass(*act));
    }
    report(state, *act, count);
}

void register_acts()
{
    for (const Topic *topic = first_topic(); topic; topic = topic->next) {
        for (const ActRow &row : topic->rows) {
            benchmark::RegisterBenchmark(row.name, measure, row)
                ->UseManualTime()
                ->Unit(benchmark::kNanosecond);
        }
    }
}

} // namespace
} // namespace varno_bench

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::AddCustomContext("compiler", VARNO_BENCH_COMPILER);
    benchmark::AddCustomContext("flags", VARNO_BENCH_FLAGS);
    varno_bench::register_acts();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return varno_bench::has_failed ? 1 : 0;
}
