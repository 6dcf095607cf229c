// The device as its hosts see it: input on its way to a session, and lines on their way
// to actions.

#include "device.h"

#include <varno/cli_assist.h>

#include <algorithm>
#include <memory>
#include <new>

#include "aliases.h"
#include "commands.h"
#include "graph.h"
#include "host.h"
#include "nesting.h"
#include "traces.h"
#include "visitors.h"

namespace device {
namespace {

// So many choices the errors of one input may list: a line costs its sender little.
constexpr size_t most_listed = 65536;

Host the_host = {};

// This thread's calls that have not returned, and what the outermost has listed.
struct Calls {
    int inputs = 0;
    int lines = 0;
    size_t listed = 0;
};

thread_local Calls calls;

void run(const Command &command, const cli_pnode_s *end)
{
    const Nesting nesting(calls.lines);
    try {
        reinterpret_cast<Action>(end->func)(command);
    } catch (const std::bad_alloc &) {
        refuse(command.console, "Out of memory\n");
    }
}

// Saying what is wrong, in the words of a session

void add_choice(void *user, const cli_pnode_s *, const char *text, const char *help)
{
    std::string name = cleaned(text);
    name.resize(std::max<size_t>(name.size() + 1, 18), ' ');
    *static_cast<std::string *>(user) += "  " + name + cleaned(help) + "\n";
}

std::string choices_of(const char *line, const cli_assist_error_s &error)
{
    std::string choices;
    if (calls.listed <= most_listed)
        cli_assist_candidates(graph(), nullptr, line, &error, INT32_MAX, add_choice, &choices);
    calls.listed += choices.size();
    return choices;
}

// A batch names its place first: there the reason comes first.
void explain(Console &console, const char *line, const cli_assist_error_s &error)
{
    const std::string reason = cli_assist_strreason(error.reason);
    const std::string shown = "  " + cleaned(line) + "\n";
    const std::string caret = std::string(static_cast<size_t>(error.at) + 2, ' ') + "^";
    const std::string text =
        console.session ? shown + caret + " " + reason : reason + "\n" + shown + caret;
    refuse(console, "%s\n%s", text.c_str(), choices_of(line, error).c_str());
}

} // namespace

const Host &host()
{
    return the_host;
}

void start(const Host &host)
{
    the_host = host;
    open_traces();
}

void stop()
{
    close_traces();
    forget_aliases();
}

void release_thread()
{
    release_graph();
}

// Where a call on another session led here, its walk through the graph is not disturbed.
void take_input(Console &console, const void *bytes, size_t count)
{
    const Nesting nesting(calls.inputs);
    const int64_t now = now_ms();
    if (calls.inputs == 1 && calls.lines == 0) {
        calls.listed = 0;
        refresh_graph(now);
    }
    if (console.visitor)
        console.visitor->last_input.store(now, std::memory_order_relaxed);
    note_terminal(console);
    {
        const TracedCall traced(console);
        tsession_input(console.session, bytes, count);
    }
    if (console.visitor && console.visitor->traces)
        console.visitor->traces->show(console.session);
}

// The next line may be in the same input, and name an alias that this one has made.
void run_line(tsession_s *, void *console, const char *line, const cli_pnode_s *action,
              cli_pmatch_s *matches)
{
    run({*static_cast<Console *>(console), line, matches}, action);
    if (calls.inputs <= 1 && calls.lines == 0)
        refresh_aliases();
}

void take_event(Console &console, const tsession_event_s &event)
{
    if (event.kind == TSESSION_END_OF_INPUT)
        tsession_close(console.session);
    if (event.kind == TSESSION_SIZE || event.kind == TSESSION_TERMINAL)
        note_terminal(console);
}

void run_text(Console &console, const char *line)
{
    if (calls.inputs == 0 && calls.lines == 0)
        refresh_graph(now_ms());
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    const cli_pnode_s *end = cli_assist_parse(graph(), nullptr, line, &matches, &error);
    const std::unique_ptr<cli_pmatch_s, decltype(&cli_match_free)> owner(matches, cli_match_free);
    if (end)
        run({console, line, matches}, end);
    else if (error.reason != CLI_ASSIST_EMPTY)
        explain(console, line, error);
}

} // namespace device
