// Prints five numbers: milliseconds to build 4,400 definitions, the best of nine; the heap
// that they hold, in bytes for each node; how many nodes they are; the heap of an idle
// session with a shell beyond that of one without, in bytes; and what it holds beyond that while
// an output goes on through four filters.

#include "definitions.h"

#include "set.h"
#include "shell.h"

#include <varno/commands.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <malloc.h>

namespace {

constexpr size_t session_count = 2000;
constexpr size_t filtered_count = 20;

int32_t run_nothing(cli_call_s *, void *)
{
    return CLI_DONE;
}

// Patterns make their memory as rows come: these have seen some.
int32_t print_rows(cli_call_s *call, void *)
{
    for (int i = 0; i < 10000 && !cli_is_cancelled(call); i++)
        cli_print(call, "10.%d.%d.0/24 via 192.168.%d.1 dev eth%d\n", i % 256, i / 256, i % 100,
                  i % 7);
    return CLI_LATER;
}

// Blocks of their own included.
size_t heap()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

double milliseconds_to_build(cli_set_s *set)
{
    using Clock = std::chrono::steady_clock;
    double best = 1e9;
    for (int i = 0; i < 9; i++) {
        const auto start = Clock::now();
        if (cli_set_build(set, nullptr, nullptr) != 0)
            std::abort();
        const std::chrono::duration<double, std::milli> took = Clock::now() - start;
        best = std::min(best, took.count());
    }
    return best;
}

tsession_s *open_session(const cli_pnode_s *graph)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.graph = graph;
    tsession_s *s = tsession_create(&config);
    tsession_start(s);
    return s;
}

cli_shell_s *open_shell(cli_set_s *set)
{
    const tsession_config_s terminal = TSESSION_CONFIG_INIT;
    cli_shell_config_s config = CLI_SHELL_CONFIG_INIT;
    config.set = set;
    config.session = &terminal;
    cli_shell_s *shell = cli_shell_create(&config);
    tsession_start(cli_shell_session(shell));
    return shell;
}

cli_shell_s *open_filtered(cli_set_s *set)
{
    // Each has to remember which of the last bytes were digits: states without end.
    constexpr char line[] = "rows | include [0-9].{14}[a-z] | exclude [0-9].{15}x | "
                            "include [1-9].{13}[a-z] | section [0-9].{12}[a-z]\r";
    cli_shell_s *shell = open_shell(set);
    tsession_s *session = cli_shell_session(shell);
    tsession_set_paged(session, 0);
    tsession_input(session, line, sizeof(line) - 1);
    if (!shell->calls || !shell->calls->pipe || shell->calls->pipe->passed == 0)
        std::abort();
    return shell;
}

// The heap of one of many.
template <typename Open, typename Free>
double bytes_of(size_t count, Open open, Free free)
{
    std::vector<decltype(open())> all(2 * count);
    size_t before = 0;
    for (size_t i = 0; i < 2 * count; i++) {
        if (i == count)
            before = heap();
        all[i] = open();
    }
    const double bytes = static_cast<double>(heap() - before) / static_cast<double>(count);
    for (auto *one : all)
        free(one);
    return bytes;
}

} // namespace

int main()
{
    const varno_bench::Definitions definitions(4400, run_nothing);
    cli_set_s *set = cli_set_create();
    cli_set_add(set, nullptr, nullptr, definitions.rows().data(), definitions.rows().size());
    const size_t before = heap();
    cli_set_build(set, nullptr, nullptr);
    const size_t held = heap() - before;
    const size_t nodes = set->current->graph.nodes.used;
    const double session = bytes_of(
        session_count, [] { return open_session(&NONE); }, tsession_free);
    const double shell = bytes_of(
        session_count, [set] { return open_shell(set); }, cli_shell_free);
    std::printf("%g %g %zu %g ", milliseconds_to_build(set),
                static_cast<double>(held) / static_cast<double>(nodes), nodes, shell - session);
    cli_command_s rows = {};
    rows.syntax = "rows";
    rows.run = print_rows;
    if (cli_set_add(set, nullptr, nullptr, &rows, 1) != 0 ||
        cli_set_build(set, nullptr, nullptr) != 0)
        std::abort();
    const double filtered = bytes_of(
        filtered_count, [set] { return open_filtered(set); }, cli_shell_free);
    std::printf("%g\n", filtered - shell);
    cli_set_free(set);
}
