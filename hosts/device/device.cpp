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

Host the_host = {};

// This thread's calls that have not returned.
struct Calls {
    int inputs = 0;
    int lines = 0;
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

// A batch names its place first: there the reason comes first, and all candidates stand.
void explain(Console &console, const char *line, const cli_assist_error_s &error)
{
    std::string choices;
    const int32_t most =
        console.session ? std::max(tsession_rows(console.session) / 2, 1) : INT32_MAX;
    cli_assist_candidates(graph(), nullptr, line, &error, most, add_choice, &choices);
    if (console.session) {
        char text[1024];
        cli_assist_format_error(line, &error, tsession_columns(console.session), text,
                                sizeof(text));
        refuse(console, "%s%s", text, choices.c_str());
        return;
    }
    const std::string reason = cli_assist_strreason(error.reason);
    const std::string shown = "  " + cleaned(line) + "\n";
    const std::string caret = std::string(static_cast<size_t>(error.at) + 2, ' ') + "^";
    refuse(console, "%s\n%s%s\n%s", reason.c_str(), shown.c_str(), caret.c_str(), choices.c_str());
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
void begin_turn(Console &console)
{
    calls.inputs++;
    const int64_t now = now_ms();
    if (calls.inputs == 1 && calls.lines == 0)
        refresh_graph(now);
    note_terminal(console);
    if (!console.visitor)
        return;
    console.visitor->last_input.store(now, std::memory_order_relaxed);
    console.visitor->traced_call.emplace(console);
}

void end_turn(Console &console)
{
    calls.inputs--;
    if (!console.visitor)
        return;
    console.visitor->traced_call.reset();
    if (console.visitor->traces)
        console.visitor->traces->show(console.session);
}

namespace {

template <typename Call>
void call_session(Console &console, const Call &call)
{
    begin_turn(console);
    try {
        call();
    } catch (...) {
        end_turn(console);
        throw;
    }
    end_turn(console);
}

} // namespace

void take_input(Console &console, const void *bytes, size_t count)
{
    call_session(console, [&] { tsession_input(console.session, bytes, count); });
}

void time_out(Console &console)
{
    call_session(console, [&] { tsession_time_out(console.session); });
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
