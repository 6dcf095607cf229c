// The main program of varno_count_instructions, varno_growth and each varno_peer_NAME: the
// acts linked with it, one to a process, since some libraries keep their state in globals.
//
//   PROGRAM                lists the acts: name, operations in a pass
//   PROGRAM NAME N         runs N passes of one, for an instruction counter
//   PROGRAM --time NAME    prints nanoseconds and bytes written, both per operation
//   PROGRAM --memory NAME  prints the KiB that the process has resident after a pass
//
// Each counted pass is a call of varno_run_counted and nothing else is.
// Every mode checks what the act did.

#include "acts.h"

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <unistd.h>

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

using Clock = std::chrono::steady_clock;

constexpr int repeats = 9;
constexpr double seconds_of_repeat = 0.03;

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

int judge(const ActRow &row, Act &act)
{
    const char *problem = act.problem();
    if (problem)
        std::fprintf(stderr, "%s: %s\n", row.name, problem);
    return problem ? 1 : 0;
}

int count_act(const ActRow &row, long passes)
{
    const std::unique_ptr<Act> act = row.make();
    for (long pass = 0; pass < passes; pass++) {
        act->prepare();
        varno_run_counted(act.get());
    }
    return judge(row, *act);
}

double seconds_of_pass(Act &act)
{
    act.prepare();
    const Clock::time_point start = Clock::now();
    act.run();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Enough passes to tell them from the clock's steps, preparations left out.
double seconds_per_pass(Act &act)
{
    double total = 0;
    int64_t passes = 0;
    while (total < seconds_of_repeat) {
        total += seconds_of_pass(act);
        passes++;
    }
    return total / static_cast<double>(passes);
}

// The median of the repeats; the first pass pays for what happens once in a process.
int time_act(const ActRow &row)
{
    const std::unique_ptr<Act> act = row.make();
    seconds_of_pass(*act);
    act->prepare();
    const int64_t before = varno_bench::output.bytes;
    act->run();
    const int64_t written = varno_bench::output.bytes - before;
    std::vector<double> seconds;
    for (int i = 0; i < repeats; i++)
        seconds.push_back(seconds_per_pass(*act));
    std::nth_element(seconds.begin(), seconds.begin() + repeats / 2, seconds.end());
    const auto operations = static_cast<double>(act->operations);
    std::printf("%.3f %.3f\n", seconds[repeats / 2] * 1e9 / operations,
                static_cast<double>(written) / operations);
    act->prepare();
    act->run();
    return judge(row, *act);
}

int print_memory(const ActRow &row)
{
    const std::unique_ptr<Act> act = row.make();
    act->prepare();
    act->run();
    long pages = 0;
    std::FILE *file = std::fopen("/proc/self/statm", "r");
    if (!file || std::fscanf(file, "%*d %ld", &pages) != 1) {
        std::perror("/proc/self/statm");
        return 1;
    }
    std::fclose(file);
    std::printf("%ld\n", pages * (sysconf(_SC_PAGESIZE) / 1024));
    return judge(row, *act);
}

int run(const char *first, const char *second)
{
    const bool is_timed = std::strcmp(first, "--time") == 0;
    if (is_timed || std::strcmp(first, "--memory") == 0) {
        const ActRow *row = find_act(second);
        return !row ? 2 : is_timed ? time_act(*row) : print_memory(*row);
    }
    const ActRow *row = find_act(first);
    const long passes = std::strtol(second, nullptr, 10);
    return row && passes > 0 ? count_act(*row, passes) : 2;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 1) {
        list_acts();
        return 0;
    }
    const int status = argc == 3 ? run(argv[1], argv[2]) : 2;
    if (status == 2)
        std::fprintf(stderr, "usage: %s [NAME PASSES | --time NAME | --memory NAME]\n", argv[0]);
    return status;
}
