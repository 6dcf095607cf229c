// The trace service: a fixed table of modules, each with its level, and one sink.
// Registering a module and setting its level take a lock and may happen at any time on
// any thread; levels are read without one. The sink is plain: a host changes it while no
// other thread traces.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

constexpr int module_capacity = 64;
constexpr size_t name_capacity = 64;       // the terminator included
constexpr size_t text_capacity = 1000 + 1; // the longest text that stays whole
constexpr int default_level = 6;
constexpr int no_level = INT_MIN; // below every level that anyone emits at

struct module_s {
    char name[name_capacity] = "";
    std::atomic<int> level = default_level;
};

constinit std::mutex registry;
constinit module_s modules[module_capacity]; // identifier n is modules[n - 1]
constinit std::atomic<int> module_count = 0; // entries below it never change their name

constinit trace_sink_fn current_sink = nullptr;
constinit void *current_sink_ctx = nullptr;

bool is_registered(int module_id)
{
    return module_id > 0 && module_id <= module_count.load(std::memory_order_acquire);
}

// Runs over free entries too: they stand at the default level already, so that
// registering a module never has to touch what other threads read.
void refresh_max_level()
{
    int level = no_level;
    for (const module_s &entry : modules)
        level = std::max(level, entry.level.load(std::memory_order_relaxed));
    __atomic_store_n(&g_trace_max_level, current_sink ? level : no_level, __ATOMIC_RELAXED);
}

// Returns the identifier of a registered name, 0 when there is none.
int find_module(const char *name, int count)
{
    for (int i = 0; i < count; i++) {
        if (std::strcmp(modules[i].name, name) == 0)
            return i + 1;
    }
    return 0;
}

} // namespace

int g_trace_max_level = no_level;

int trace_register_module(const char *name)
{
    if (std::strlen(name) >= name_capacity)
        return -1;
    const std::lock_guard<std::mutex> lock(registry);
    const int count = module_count.load(std::memory_order_relaxed);
    if (const int known = find_module(name, count))
        return known;
    if (count == module_capacity)
        return -1;
    std::strcpy(modules[count].name, name);
    module_count.store(count + 1, std::memory_order_release);
    return count + 1;
}

int trace_module_wants(int module_id, int level)
{
    return current_sink && is_registered(module_id) &&
           level <= modules[module_id - 1].level.load(std::memory_order_relaxed);
}

// A trace must not change what the code around it does: errno stays.
void trace_emit(int module_id, int level, const char *format, ...)
{
    if (!trace_wants(module_id, level))
        return;
    const int saved_errno = errno;
    char text[text_capacity];
    va_list arguments;
    va_start(arguments, format);
    const int formatted = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (formatted >= 0)
        current_sink(current_sink_ctx, module_id, level, text);
    errno = saved_errno;
}

void trace_set_sink(trace_sink_fn sink, void *ctx)
{
    const std::lock_guard<std::mutex> lock(registry);
    current_sink = sink;
    current_sink_ctx = ctx;
    refresh_max_level();
}

void trace_set_level(int module_id, int level)
{
    if (!is_registered(module_id))
        return;
    const std::lock_guard<std::mutex> lock(registry);
    modules[module_id - 1].level.store(level, std::memory_order_relaxed);
    refresh_max_level();
}
