// The platform's one sink, which hears the traces of all threads: debug traces are
// wanted only in the turns of sessions that want them, or by a file.

#include "traces.h"

#include <varno/platform_default.h>
#include <varno/varno.h>

#include <cstring>
#include <iterator>
#include <mutex>
#include <utility>

#include "clean_text.h"
#include "commands.h"

namespace device {
namespace {

constexpr int debug_level = 7;
constexpr int silent_level = 6;

thread_local Traces *listening = nullptr;

FILE *trace_file = nullptr;

struct Listeners {
    std::mutex mutex;
    int count = 0;
};

Listeners listeners;

void change_listeners(int by)
{
    const std::lock_guard lock(listeners.mutex);
    listeners.count += by;
    trace_set_level(g_varno_trace_module_id, listeners.count > 0 ? debug_level : silent_level);
}

void hear(void *, int, int, const char *text)
{
    if (listening)
        listening->add(text);
    if (trace_file)
        std::fprintf(trace_file, "%s\n", text);
}

} // namespace

// A trace goes in whole or not at all.
void Traces::add(const char *text)
{
    const size_t len = std::strlen(text);
    if (dropped_ > 0 || len + 1 > std::size(bytes_) - used_) {
        dropped_++;
        return;
    }
    const std::string row = cleaned(text) + "\n";
    used_ += row.copy(bytes_ + used_, std::size(bytes_) - used_);
}

// Writing traces too; nobody listens then.
void Traces::show(tsession_s *s)
{
    tsession_write(s, bytes_, std::exchange(used_, 0));
    if (const size_t dropped = std::exchange(dropped_, 0))
        tsession_print(s, "(%zu more)\n", dropped);
}

void open_traces()
{
    varno_trace_init(); // when it is refused there are none
    trace_set_sink(hear, nullptr);
}

void close_traces()
{
    trace_set_sink(nullptr, nullptr);
    if (std::exchange(trace_file, nullptr))
        change_listeners(-1);
}

void trace_to(FILE *file)
{
    trace_file = file;
    change_listeners(1);
}

void begin_tracing(Console &console)
{
    if (console.is_debugging) {
        console.traces = std::make_unique<Traces>();
        change_listeners(1);
    }
    console.outer_traces = std::exchange(listening, console.traces.get());
}

void end_tracing(Console &console)
{
    listening = std::exchange(console.outer_traces, nullptr);
    const std::unique_ptr<Traces> traces = std::exchange(console.traces, nullptr);
    if (!traces)
        return;
    change_listeners(-1);
    if (console.is_debugging)
        traces->show(session_of(console));
}

int32_t start_debugging(cli_call_s *call, Console &console)
{
    if (!console.visitor) {
        cli_fail(call, "Only a session is traced");
        return CLI_FAILED;
    }
    console.is_debugging = true;
    return CLI_DONE;
}

int32_t stop_debugging(cli_call_s *, Console &console)
{
    console.is_debugging = false;
    return CLI_DONE;
}

} // namespace device
