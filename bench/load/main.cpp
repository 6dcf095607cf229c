// varno_load: one row of the table that scripts/load prints. A child process is the
// crowd; this one has the probe, which is idle otherwise, and reads the figures.

#include "crowd.h"
#include "figures.h"
#include "probe.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace varno_load;

constexpr size_t most_probes = 16;
constexpr double warm_up_seconds = 2;
constexpr int crowd_niceness = 10;
constexpr rlim_t other_descriptors = 64;

struct Choices {
    uint16_t port = 0;
    pid_t server = 0;
    unsigned threads = 1; // of the server: for the table
    size_t sessions = 1;
    double seconds = 20;
    unsigned opened_per_second = 1000;
};

struct Snapshot {
    ProcessorTime server, crowd;
    MachineTime machine;
    long crowd_keys;
};

struct Results {
    size_t sessions;
    Memory before, idle, used; // without a session, with all, and after they have typed
    Snapshot from, to;
    double seconds;
};

void parse(int argc, char **argv, Choices &choices, bool &out_is_header)
{
    CLI::App options("Types in many telnet sessions of a server on 127.0.0.1, five keys a second "
                     "in each, and prints what that costs the server as a row of a table.");
    options.add_flag("--header", out_is_header, "Print the head of the table and its legend");
    options.add_option("--port", choices.port, "Port of the server");
    options.add_option("--server", choices.server, "Process of the server");
    options.add_option("--threads", choices.threads, "What to print as its threads");
    options.add_option("--sessions", choices.sessions, "Sessions at once")
        ->check(CLI::Range(1, 1000000));
    options.add_option("--seconds", choices.seconds, "How long to type");
    options.add_option("--rate", choices.opened_per_second, "Sessions to open in a second")
        ->check(CLI::Range(1, 100000));
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        std::exit(options.exit(error));
    }
}

void print_header()
{
    std::puts("| threads | sessions | keys/s | p50 | p90 | p99 | p99.9 | max | samples "
              "| us/key | in kernel | server | crowd | idle | late | KiB opened | KiB used | KiB "
              "kernel |\n"
              "| ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: "
              "| ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |");
}

// Also says so when the limit is too low.
bool raise_descriptor_limit(size_t sessions)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t needed = sessions + other_descriptors;
    if (limit.rlim_max < needed) {
        std::fprintf(stderr,
                     "varno_load: %zu sessions need %ju descriptors, and the hard limit is %ju "
                     "(ulimit -Hn)\n",
                     sessions, static_cast<uintmax_t>(needed),
                     static_cast<uintmax_t>(limit.rlim_max));
        return false;
    }
    limit.rlim_cur = limit.rlim_max;
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

Progress &shared_progress()
{
    void *place =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED)
        std::abort();
    return *new (place) Progress{};
}

// The crowd yields to the server and to the probe, and ends with this process.
pid_t start_crowd(const Choices &choices, size_t sessions, Progress &progress)
{
    const pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpriority(PRIO_PROCESS, 0, crowd_niceness);
    run_crowd(choices.port, sessions, choices.opened_per_second, progress);
}

// At a third of the rate asked for, something is wrong.
bool wait_until_open(const Choices &choices, size_t sessions, const Progress &progress)
{
    const auto wanted = static_cast<long>(sessions);
    const long most_ms = 5000 + 3 * 1000 * wanted / static_cast<long>(choices.opened_per_second);
    for (long waited = 0; waited < most_ms && progress.open + progress.ended < wanted; waited += 10)
        usleep(10'000);
    usleep(500'000); // the rest of the dialogues' beginnings
    if (progress.open == wanted && progress.ended == 0)
        return true;
    std::fprintf(stderr, "varno_load: of %ld sessions %ld opened and %ld ended\n", wanted,
                 progress.open.load(), progress.ended.load());
    return false;
}

Snapshot snapshot(pid_t server, pid_t crowd, const Progress &progress)
{
    return {processor_time(server), processor_time(crowd), machine_time(), progress.keys};
}

double percentile(const std::vector<uint64_t> &sorted, double share)
{
    if (sorted.empty())
        return 0;
    const auto rank = static_cast<size_t>(share * static_cast<double>(sorted.size()));
    return static_cast<double>(sorted[std::min(rank, sorted.size() - 1)]) / 1e6;
}

void print_times(const Probe &probe)
{
    std::vector<uint64_t> sorted = probe.latencies();
    std::sort(sorted.begin(), sorted.end());
    for (const double share : {0.5, 0.9, 0.99, 0.999, 1.0})
        std::printf(" %.3f |", percentile(sorted, share));
    std::printf(" %zu |", sorted.size());
}

void print_costs(const Results &results, double keys)
{
    const Snapshot &from = results.from;
    const Snapshot &to = results.to;
    const double server = to.server.seconds - from.server.seconds;
    const double crowd = to.crowd.seconds - from.crowd.seconds;
    const double kernel = to.server.kernel - from.server.kernel;
    const double in_ticks = to.server.user - from.server.user + kernel;
    const double idle = to.machine.idle - from.machine.idle;
    const double all = to.machine.all - from.machine.all;
    std::printf(" %.1f | %.0f %% | %.0f %% | %.0f %% | %.0f %% |", server / keys * 1e6,
                in_ticks > 0 ? kernel / in_ticks * 100 : 0, server / results.seconds * 100,
                crowd / results.seconds * 100, all > 0 ? idle / all * 100 : 0);
}

void print_memory(const Results &results)
{
    const auto each = [&results](double after, double before) {
        return (after - before) / static_cast<double>(results.sessions);
    };
    std::printf(" %.1f | %.1f | %.1f |\n", each(results.idle.process, results.before.process),
                each(results.used.process, results.before.process),
                each(results.idle.kernel, results.before.kernel));
}

void print_row(const Choices &choices, const Probe &probe, const Progress &progress,
               const Results &results)
{
    const auto keys =
        static_cast<double>(results.to.crowd_keys - results.from.crowd_keys + probe.keys());
    std::printf("| %u | %zu | %.0f |", choices.threads, choices.sessions, keys / results.seconds);
    print_times(probe);
    print_costs(results, keys);
    std::printf(" %ld |", progress.latest_ms.load());
    print_memory(results);
}

// Sessions that ended make a row worthless.
bool is_sound(const Probe &probe, const Progress &progress)
{
    const long ended = progress.ended + probe.ended();
    if (ended > 0)
        std::fprintf(stderr, "varno_load: %ld sessions ended\n", ended);
    if (probe.missing() > 0)
        std::fprintf(stderr,
                     "varno_load: %ld keys were not typed, as the echo before took over %u ms\n",
                     probe.missing(), key_interval_ms);
    return ended == 0;
}

bool measure(const Choices &choices, Progress &progress)
{
    const size_t probes = std::min(choices.sessions, most_probes);
    Results results = {};
    results.sessions = choices.sessions;
    results.before = memory(choices.server);
    const pid_t crowd =
        choices.sessions > probes ? start_crowd(choices, choices.sessions - probes, progress) : 0;
    Probe probe(choices.port, probes);
    if (!wait_until_open(choices, choices.sessions - probes, progress) || !probe.open())
        return false;
    results.idle = memory(choices.server);
    progress.may_type = true;
    probe.type(warm_up_seconds);
    progress.latest_ms = 0;
    results.from = snapshot(choices.server, crowd, progress);
    const uint64_t from = uv_hrtime();
    probe.type(choices.seconds);
    results.seconds = static_cast<double>(uv_hrtime() - from) / 1e9;
    results.to = snapshot(choices.server, crowd, progress);
    results.used = memory(choices.server);
    print_row(choices, probe, progress, results);
    return is_sound(probe, progress);
}

} // namespace

int main(int argc, char **argv)
{
    Choices choices;
    bool is_header = false;
    parse(argc, argv, choices, is_header);
    if (is_header) {
        print_header();
        return EXIT_SUCCESS;
    }
    if (!raise_descriptor_limit(choices.sessions))
        return EXIT_FAILURE;
    // The crowd ends with this process.
    return measure(choices, shared_progress()) ? EXIT_SUCCESS : EXIT_FAILURE;
}
