// Configuration as commands: lines whose values can be read back, and all of a device's.

#include "output.h"
#include "quoted_word.h"
#include "shell.h"

#include <varno/commands.h>

#include "contract.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

namespace varno::commands {
namespace {

constexpr char source_name[] = "commands_config";

// What stands between a "%" and its conversion.
struct Conversion {
    std::string_view flags;
    std::string_view length;
    char kind;
};

Conversion read_conversion(const char *&at)
{
    const char *from = at;
    at += std::strspn(at, "-+ #0123456789.");
    const std::string_view flags(from, static_cast<size_t>(at - from));
    from = at;
    at += std::strspn(at, "hljzt");
    const std::string_view length(from, static_cast<size_t>(at - from));
    return {flags, length, *at ? *at++ : '\0'};
}

void add_number(Array<char> &out, const Conversion &one, va_list &arguments)
{
    const bool is_signed = one.kind == 'd' || one.kind == 'i';
    const bool is_long = one.length == "l";
    const bool is_widest = one.length == "ll" || one.length == "j";
    const bool is_size = one.length == "z" || one.length == "t";
    static_assert(sizeof(size_t) == sizeof(ptrdiff_t));
    intmax_t number = 0;
    if (is_widest)
        number = va_arg(arguments, intmax_t);
    else if (is_size && is_signed)
        number = va_arg(arguments, ptrdiff_t);
    else if (is_size)
        number = static_cast<intmax_t>(va_arg(arguments, size_t));
    else if (is_long && is_signed)
        number = va_arg(arguments, long);
    else if (is_long)
        number = static_cast<intmax_t>(va_arg(arguments, unsigned long));
    else if (is_signed)
        number = va_arg(arguments, int);
    else
        number = static_cast<intmax_t>(va_arg(arguments, unsigned));
    char text[32];
    switch (one.kind) {
    case 'x':
        std::snprintf(text, std::size(text), "%jx", static_cast<uintmax_t>(number));
        break;
    case 'X':
        std::snprintf(text, std::size(text), "%jX", static_cast<uintmax_t>(number));
        break;
    case 'u':
        std::snprintf(text, std::size(text), "%ju", static_cast<uintmax_t>(number));
        break;
    default:
        std::snprintf(text, std::size(text), "%jd", number);
    }
    for (const char *at = text; *at; at++)
        out.add(*at);
}

// Numbers are written without a width.
bool is_known(const Conversion &one)
{
    if (one.kind == '\0' || !std::strchr("sdiuxXc%", one.kind))
        return false;
    if (std::strchr("sc%", one.kind) && !one.length.empty())
        return false;
    return one.flags.empty() || (one.kind == 's' && one.flags == "-");
}

void add_conversion(Array<char> &out, const Conversion &one, va_list &arguments)
{
    VARNO_ASSERT(is_known(one));
    if (one.kind == '%') {
        out.add('%');
    } else if (one.kind == 'c') {
        add_character(out, static_cast<char>(va_arg(arguments, int)));
    } else if (one.kind == 's') {
        const char *text = va_arg(arguments, const char *);
        if (one.flags.empty())
            return add_quoted(out, text);
        for (; *text; text++)
            add_character(out, *text);
    } else {
        add_number(out, one, arguments);
    }
}

} // namespace
} // namespace varno::commands

using namespace varno::commands;

void cli_config(cli_call_s *call, const char *format, ...)
{
    if (call->is_cancelled)
        return;
    Array<char> line = {};
    va_list arguments;
    va_start(arguments, format);
    try {
        for (const char *at = format; *at;) {
            if (*at != '%') {
                line.add(*at++);
                continue;
            }
            const Conversion one = read_conversion(++at);
            add_conversion(line, one, arguments);
        }
        if (line.add('\n') && line.add('\0'))
            write_output(call, line.begin());
        else
            fail(call, "out of memory");
    } catch (...) {
        va_end(arguments);
        line.release();
        throw;
    }
    va_end(arguments);
    line.release();
}

// One mode a call, so that pages and others have their turn.
int32_t cli_show_config(cli_call_s *call, void *)
{
    const char *section = has_name(call, "SECTION") ? cli_text(call, "SECTION") : nullptr;
    const Array<ModeRow> &modes = call->snapshot->modes;
    if (call->is_cancelled && !call->is_mode_begun)
        return CLI_FAILED;
    if (section && find_mode(call->snapshot, section) < 0) {
        cli_fail_at(call, "SECTION", "no section of this name");
        return CLI_FAILED;
    }
    while (static_cast<size_t>(call->config_mode) < modes.used) {
        const cli_mode_s &mode = *modes[static_cast<size_t>(call->config_mode)].mode;
        if (!mode.write || (section && std::strcmp(mode.name, section) != 0)) {
            call->config_mode++;
            continue;
        }
        call->is_mode_begun = true;
        const int32_t result = mode.write(call, mode.user);
        if (result != CLI_DONE)
            return result;
        call->is_mode_begun = false;
        release_state(call);
        call->config_mode++;
        return CLI_MORE;
    }
    return CLI_DONE;
}
