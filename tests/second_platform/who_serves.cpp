// Edits a line and says what can be seen of the platform behind it. Built once
// and linked like any host; which platform it runs on is settled when it starts.

#include <varno/platform.h>
#include <varno/varno.h>

#include <cstdarg>
#include <cstdio>

namespace {

// Types a line, replaces its last word (Ctrl-W) and adds one in front (Ctrl-A).
constexpr char keys[] = "show ip  routes\027route\001do ";

VARNO_PRINTF(3, 4) int count_output(prompt_s *, void *ctx, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int written = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    *static_cast<int *>(ctx) += written;
    return written;
}

// Presents one key at a time, as a terminal sends them.
bool type(prompt_s *p, const char *text)
{
    for (; *text; text++) {
        const mkey_t key = static_cast<unsigned char>(*text);
        if (prompt_consume(p, &key, 1) != 1)
            return false;
    }
    return true;
}

bool set_up(prompt_s *p)
{
    prompt_util_bind_reset(p);
    return prompt_util_bind_insert(p) == 0 &&
           prompt_util_bind_commands(p, prompt_builtins, nullptr) == 0 &&
           prompt_util_bind_commands(p, prompt_builtins_test, nullptr) == 0 &&
           prompt_util_bind_keys(p, ostra_keys, nullptr) == 0;
}

int edit()
{
    prompt_s *p = prompt_create();
    if (!p)
        return 1;
    int written = 0;
    prompt_set_print_callback(p, count_output, &written);
    const bool edited = set_up(p) && type(p, keys);
    prompt_redraw(p);
    std::printf("line: %s, %s\n", prompt_command(p), written > 0 ? "drawn" : "not drawn");
    prompt_free(p);
    return edited ? 0 : 1;
}

} // namespace

int main()
{
    if (varno_trace_init() != 0)
        return 1;
    std::printf("module: %d\n", g_varno_trace_module_id);
    std::printf("debug traces: %s\n", trace_wants(g_varno_trace_module_id, 7) ? "on" : "off");
    return edit();
}
