// Sets sessions up as a host does, in the order that a host has to keep.

#include "host.h"

#include "acts.h"

#include <varno/platform.h>
#include <varno/termcap_util.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include <termcap.h>

namespace varno_bench {
namespace {

// Collects one redraw, as a host that writes once for each redraw would.
struct Screen {
    char text[4096];
    size_t used;
};
constinit Screen screen = {};

VARNO_PRINTF(3, 4) int print(prompt_s *, void *, const char *format, ...)
{
    const size_t room = std::size(screen.text) - screen.used;
    va_list arguments;
    va_start(arguments, format);
    const int len = std::vsnprintf(screen.text + screen.used, room, format, arguments);
    va_end(arguments);
    screen.used += std::min(static_cast<size_t>(len), room - 1);
    output.calls++;
    output.bytes += len;
    return len;
}

void flush(prompt_s *, void *)
{
    screen.used = 0;
}

int accept_token(prompt_s *p, pstate *, const char *, void *, void *)
{
    prompt_insert_char_at_cursor(p, ' ');
    return 0;
}

int do_nothing(prompt_s *, pstate *, const char *, void *, void *)
{
    return 0;
}

// clang-format off
constexpr prompt_builtin_s host_commands[] = {
    {"accept-token",   accept_token},
    {"expand-token",   do_nothing},
    {"complete-token", do_nothing},
    {"execute",        do_nothing},
    {nullptr,          nullptr},
};
// clang-format on

void release_history_texts(prompt_s *p)
{
    prompt_history_s *entry = p->history.cqh_first;
    for (int32_t i = 0; i < p->history_count; i++, entry = entry->next)
        tracked_free(entry->command, "BYTE*");
}

// One terminal entry serves the whole process.
void select_terminal()
{
    static const bool is_selected = tgetent(nullptr, "vt100") == 1;
    if (!is_selected)
        give_up("tgetent(\"vt100\")");
}

} // namespace

void give_up(const char *step)
{
    std::fprintf(stderr, "cannot set up: %s\n", step);
    std::exit(1);
}

prompt_s *open_prompt()
{
    prompt_s *p = prompt_create();
    if (!p)
        give_up("prompt_create");
    prompt_util_bind_reset(p);
    prompt_util_bind_insert(p);
    if (prompt_util_bind_commands(p, prompt_builtins, nullptr) ||
        prompt_util_bind_commands(p, host_commands, nullptr) ||
        prompt_util_bind_keys(p, ostra_keys, nullptr))
        give_up("prompt bindings");
    prompt_set_dimension(p, 80, 25);
    prompt_set_print_callback(p, print, nullptr);
    prompt_set_flush_callback(p, flush, nullptr);
    return p;
}

void close_prompt(prompt_s *p)
{
    release_history_texts(p);
    prompt_free(p);
}

void show_line(prompt_s *p, std::string_view text, size_t cursor)
{
    pstate line = {};
    std::copy(text.begin(), text.end(), line.buf);
    line.buf_used = static_cast<int32_t>(text.size());
    line.cursor_location = static_cast<int32_t>(cursor);
    prompt_history_reset_state(p);
    prompt_clear_command(p);
    prompt_redraw(p);
    prompt_set_content(p, &line);
    prompt_set_dirty(p);
    prompt_redraw(p);
}

stroker_s *open_decoder()
{
    select_terminal();
    stroker_s *decoder = stroker_create_context();
    if (!decoder)
        give_up("stroker_create_context");
    for (const termkey_desc_s *row = basic_keys; row->capability; row++) {
        char sequence[128];
        if (tcap_get_string(row->capability, sequence) &&
            stroker_bind_sequence_to_vkey(decoder, sequence, static_cast<mkey_t>(row->code)) != 0)
            give_up(row->name);
    }
    stroker_bindings_prepare(decoder);
    return decoder;
}

} // namespace varno_bench
