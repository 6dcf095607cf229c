// Modes: entering and leaving them, their prompts, and the commands that they have by themselves.

#include "modes.h"

#include <cstring>
#include <iterator>

namespace varno::commands {
namespace {

constexpr char entered_tag[] = "Entered";
constexpr char arguments_tag[] = "Entered_arguments";

constexpr cli_command_s exit_row = {"exit", "leave this mode", nullptr, nullptr, 0, 0, nullptr};
constexpr cli_command_s end_row = {"end",  "go back to the first mode", nullptr, nullptr, 0, 0,
                                   nullptr};
constexpr cli_command_s do_row = {"do",   "run a command of the first mode", nullptr, nullptr, 0, 0,
                                  nullptr};

// A mode on top of others. Returns NULL without memory.
Entered *make_entered(Entered *below, int32_t mode, size_t bytes)
{
    auto *made = static_cast<Entered *>(tracked_malloc(sizeof(Entered), entered_tag));
    if (!made)
        return nullptr;
    auto *arguments = static_cast<char *>(tracked_malloc(bytes + 1, arguments_tag));
    if (!arguments) {
        tracked_free(made, entered_tag);
        return nullptr;
    }
    *made = {below, mode, arguments, bytes};
    return made;
}

bool add_row(Snapshot *snapshot, Array<Definition> &definitions, const cli_command_s &command,
             int32_t mode, Move move)
{
    Definition made = {};
    made.syntax = command.syntax;
    made.help = command.help;
    made.is_command = true;
    made.mode = mode;
    made.is_built_in = true;
    if (&command == &do_row) {
        made.is_prefix = true;
        made.goes_on_in = 0;
    }
    return definitions.add(made) &&
           snapshot->rows.add({&command, nullptr, nullptr, move, mode, -1});
}

bool is_name_character(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

// The argument that a pattern names at `at`. Its name may be cut where a longer one is not known:
// "%NAME-1" is NAME if there is no NAME-1. Returns NULL for none.
const char *named_argument(const Entered *top, const char *at, size_t &out_len)
{
    char name[64];
    size_t len = 0;
    while (len < std::size(name) - 1 && is_name_character(at[len]))
        len++;
    for (; len > 0; len--) {
        std::memcpy(name, at, len);
        name[len] = '\0';
        out_len = len;
        if (const char *value = argument_of(top, name))
            return value;
    }
    return nullptr;
}

} // namespace

bool enter_mode(Entered *&top, int32_t mode, const cli_pmatch_s *words, const cli_pmatch_s *end)
{
    size_t bytes = 0;
    for (const cli_pmatch_s *one = words; one && one != end; one = one->next) {
        if (one->node->type == PNODE_STRING)
            bytes += std::strlen(one->node->keyword) + 1 + std::strlen(one->token) + 1;
    }
    Entered *made = make_entered(top, mode, bytes);
    if (!made)
        return false;
    char *text = made->arguments;
    for (const cli_pmatch_s *one = words; one && one != end; one = one->next) {
        if (one->node->type != PNODE_STRING)
            continue;
        text = stpcpy(text, one->node->keyword) + 1;
        text = stpcpy(text, one->token) + 1;
    }
    top = made;
    return true;
}

bool enter_path(Entered *&top, const Snapshot *snapshot, int32_t mode)
{
    if (mode == 0)
        return true;
    const int32_t parent =
        find_mode(snapshot, snapshot->modes[static_cast<size_t>(mode)].mode->parent);
    return enter_path(top, snapshot, parent) && enter_mode(top, mode, nullptr, nullptr);
}

void leave_mode(Entered *&top)
{
    Entered *left = top;
    if (!left)
        return;
    top = left->below;
    tracked_free(left->arguments, arguments_tag);
    tracked_free(left, entered_tag);
}

void leave_to(Entered *&top, int32_t mode)
{
    while (top && top->mode != mode)
        leave_mode(top);
}

bool copy_modes(const Entered *from, Entered *&out_top)
{
    if (!from)
        return true;
    if (!copy_modes(from->below, out_top))
        return false;
    Entered *made = make_entered(out_top, from->mode, from->bytes);
    if (!made)
        return false;
    std::memcpy(made->arguments, from->arguments, from->bytes);
    out_top = made;
    return true;
}

int32_t same_mode(const Snapshot *from, int32_t mode, const Snapshot *to)
{
    if (mode <= 0 || from == to)
        return mode;
    const char *name = from->modes[static_cast<size_t>(mode)].mode->name;
    for (size_t i = 1; name && i < to->modes.used; i++) {
        const char *other = to->modes[i].mode->name;
        if (other && std::strcmp(other, name) == 0)
            return static_cast<int32_t>(i);
    }
    return -1;
}

void move_modes(Entered *&top, const Snapshot *from, const Snapshot *to)
{
    const Entered *lowest_lost = nullptr;
    for (Entered *one = top; one; one = one->below) {
        one->mode = same_mode(from, one->mode, to);
        if (one->mode < 0)
            lowest_lost = one;
    }
    while (lowest_lost) {
        const bool is_last = top == lowest_lost;
        leave_mode(top);
        if (is_last)
            break;
    }
}

const char *argument_of(const Entered *top, const char *name)
{
    for (; top; top = top->below) {
        const char *text = top->arguments;
        const char *end = text + top->bytes;
        while (text < end) {
            const char *value = text + std::strlen(text) + 1;
            if (std::strcmp(text, name) == 0)
                return value;
            text = value + std::strlen(value) + 1;
        }
    }
    return nullptr;
}

bool make_prompt(const Snapshot *snapshot, const Entered *top, int32_t level, PromptEnd &out_text)
{
    const Entered *from = top;
    const auto pattern_of = [&] {
        return snapshot->modes[static_cast<size_t>(mode_of(from))].mode->prompt;
    };
    while (!pattern_of() && from)
        from = from->below;
    const char *at = pattern_of();
    if (!at)
        return false;
    while (*at) {
        size_t len = 0;
        const char *value = *at == '%' ? named_argument(top, at + 1, len) : nullptr;
        if (value) {
            out_text.add(value);
            at += 1 + len;
        } else if (at[0] == '%' && at[1] == 'h') {
            out_text.add(snapshot->set->host ? snapshot->set->host : "");
            at += 2;
        } else if (at[0] == '%' && at[1] == '#') {
            out_text.add(level == most_level ? '#' : '>');
            at += 2;
        } else {
            at += at[0] == '%' && at[1] == '%';
            out_text.add(*at++);
        }
    }
    return true;
}

bool follow_row(Entered *&top, const Row &row, const cli_pmatch_s *words, const cli_pmatch_s *end)
{
    switch (row.move) {
    case Move::stay:
        return true;
    case Move::leave:
        leave_mode(top);
        return true;
    case Move::leave_all:
        leave_to(top, 0);
        return true;
    case Move::enter:
        break;
    }
    Entered *entered = top;
    while (entered && entered->mode != row.of)
        entered = entered->below;
    const Entered *below = entered;
    if (!enter_mode(entered, row.enters, words, end))
        return false; // and none is left
    while (top != below)
        leave_mode(top);
    top = entered;
    return true;
}

bool add_built_in(Snapshot *snapshot, Array<Definition> &definitions)
{
    for (size_t i = 1; i < snapshot->modes.used; i++) {
        const auto mode = static_cast<int32_t>(i);
        const bool has_do = (snapshot->modes[i].mode->flags & CLI_DO) != 0;
        if (!add_row(snapshot, definitions, exit_row, mode, Move::leave) ||
            !add_row(snapshot, definitions, end_row, mode, Move::leave_all) ||
            (has_do && !add_row(snapshot, definitions, do_row, mode, Move::stay)))
            return false;
    }
    return true;
}

} // namespace varno::commands
