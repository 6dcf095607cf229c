// varno_count_instructions: runs one act for an instruction counter.
//
//   varno_count_instructions            lists the acts: name, operations in a pass
//   varno_count_instructions NAME N     runs N passes of one
//
// Each pass is a call of varno_run_counted and nothing else is, so that a counter that
// is switched on by this name (callgrind's --toggle-collect) sees the passes alone.

#include "acts.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using varno_bench::Act;
using varno_bench::ActRow;
using varno_bench::Topic;

extern "C" [[gnu::noinline]] void varno_run_counted(Act *act)
{
    act->run();
    // Keeps the call above from becoming a jump, which would not return here.
    asm volatile("" ::: "memory");
}

namespace {

void list_acts()
{
    for (const Topic *topic = varno_bench::first_topic(); topic; topic = topic->next) {
        for (const ActRow &row : topic->rows)
            std::printf("%s %" PRId64 "\n", row.name, row.make()->operations);
    }
}

const ActRow *find_act(const char *name)
{
    for (const Topic *topic = varno_bench::first_topic(); topic; topic = topic->next) {
        for (const ActRow &row : topic->rows) {
            if (std::strcmp(row.name, name) == 0)
                return &row;
        }
    }
    return nullptr;
}

int run_act(const ActRow &row, long passes)
{
    const std::unique_ptr<Act> act = row.make();
    for (long pass = 0; pass < passes; pass++) {
        act->prepare();
        varno_run_counted(act.get());
    }
    const char *problem = act->problem();
    if (problem)
        std::fprintf(stderr, "%s: %s\n", row.name, problem);
    return problem ? 1 : 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 1) {
        list_acts();
        return 0;
    }
    const ActRow *row = argc == 3 ? find_act(argv[1]) : nullptr;
    const long passes = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (!row || passes < 1) {
        std::fprintf(stderr, "usage: varno_count_instructions [NAME PASSES]\n");
        return 2;
    }
    return run_act(*row, passes);
}
