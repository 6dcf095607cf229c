// A call: a command's function from its first time to its last, and what it asks about its
// arguments.

#include "filter.h"
#include "output.h"
#include "shell.h"

#include "contract.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

namespace varno::commands {
namespace {

constexpr char source_name[] = "commands_call";

constexpr char call_tag[] = "cli_call_s";
constexpr char kept_tag[] = "cli_call_words";
constexpr char state_tag[] = "cli_call_state";

bool goes_on(int32_t result)
{
    return result == CLI_MORE || result == CLI_LATER;
}

// why may be empty: nobody has said.
void fail_saving(cli_call_s *call, const char *why)
{
    char text[64 + CLI_ASSIST_MAX_WHY];
    std::snprintf(text, std::size(text), "not all could be saved%s%s", *why ? ": " : "", why);
    fail(call, text);
}

// Line and words are the parse's: who goes on needs copies.
bool keep_words(cli_call_s *call)
{
    size_t count = 0;
    size_t bytes = std::strlen(call->line) + 1;
    for (const cli_pmatch_s *one = call->words; one != call->end_word; one = one->next) {
        count++;
        bytes += std::strlen(one->token) + 1;
    }
    call->kept_words =
        static_cast<cli_pmatch_s *>(tracked_malloc(count * sizeof(cli_pmatch_s), kept_tag));
    call->kept_text = static_cast<char *>(tracked_malloc(bytes, kept_tag));
    if (!call->kept_words || !call->kept_text)
        return false;
    char *text = call->kept_text;
    const auto copy = [&text](const char *from) {
        char *copied = text;
        text = stpcpy(text, from) + 1;
        return copied;
    };
    cli_pmatch_s *word = call->kept_words;
    for (const cli_pmatch_s *one = call->words; one != call->end_word; one = one->next) {
        *word = *one;
        word->token = copy(one->token);
        word->next = one->next == call->end_word ? nullptr : word + 1;
        word++;
    }
    call->words = call->kept_words;
    call->end_word = nullptr;
    call->line = copy(call->line);
    return true;
}

bool is_notation(char c)
{
    return std::strchr(" <>[]{}|()$.!", c) != nullptr; // the terminator, too
}

bool is_argument(const cli_pmatch_s *word, const char *name)
{
    return word->node->type == PNODE_STRING && std::strcmp(word->node->keyword, name) == 0;
}

void release_both(Pipe *pipe, Snapshot *snapshot)
{
    try {
        release_pipe(pipe);
    } catch (...) {
        let_go(snapshot);
        throw;
    }
    let_go(snapshot);
}

// The call has ended; its record stays until whoever has it lets go. What the program is told of
// comes last: any of that may leave by an exception.
void finish_call(cli_call_s *call)
{
    if (call->is_over)
        return;
    call->is_over = true;
    call->table.release();
    tracked_free(call->kept_words, kept_tag);
    tracked_free(call->kept_text, kept_tag);
    call->kept_words = nullptr;
    call->kept_text = nullptr;
    call->words = call->end_word = nullptr;
    Pipe *pipe = std::exchange(call->pipe, nullptr);
    Snapshot *snapshot = std::exchange(call->snapshot, nullptr);
    try {
        release_state(call);
    } catch (...) {
        release_both(pipe, snapshot);
        throw;
    }
    release_both(pipe, snapshot);
}

const char *text_of_choice(const cli_pmatch_s *word)
{
    return word->node->type == PNODE_KEYWORD ? word->node->keyword : word->token;
}

bool read_argument(cli_call_s *call, const char *name, Value &out_value)
{
    const cli_pmatch_s *word = find_argument(call, name, 0);
    if (!word)
        return false;
    const Graph &graph = call->snapshot->graph;
    return takes_word(graph.types[static_cast<size_t>(word->node->aux_int)], word->token,
                      out_value);
}

// The modes after a command that is done. A set that was built meanwhile may have lost the mode,
// and the shell its level.
bool move(cli_call_s *call)
{
    cli_shell_s *shell = call->shell;
    if (call->row->move == Move::stay)
        return true;
    Row row = *call->row;
    row.of = same_mode(call->snapshot, row.of, shell->snapshot);
    row.enters = same_mode(call->snapshot, row.enters, shell->snapshot);
    const bool is_there = row.of >= 0 && (row.enters >= 0 || row.move != Move::enter);
    const bool is_allowed = row.command->level <= shell->level;
    const bool is_moved =
        is_there && is_allowed && follow_row(shell->modes, row, call->words, call->end_word);
    if (!is_moved)
        fail(call, !is_there     ? "the mode is gone"
                   : !is_allowed ? "the level is gone"
                                 : "out of memory");
    show_mode(shell);
    return is_moved;
}

// Writes what a call that has ended has not written yet, and goes where it leads. Returns its
// result.
int32_t conclude(cli_call_s *call, int32_t result)
{
    if (result == CLI_DONE)
        end_table(call);
    if (call->has_failed)
        result = CLI_FAILED;
    if (call->pipe && !end_pipe(call->pipe, result == CLI_DONE)) {
        fail_saving(call, call->pipe->why);
        result = CLI_FAILED;
    }
    return result == CLI_DONE && move(call) ? CLI_DONE : CLI_FAILED;
}

bool begin_pipe(cli_call_s *call)
{
    char why[CLI_ASSIST_MAX_WHY + 1];
    const cli_pmatch_s *at = nullptr;
    if (make_pipe(call, call->end_word, call->pipe, at, why, std::size(why)))
        return true;
    if (at)
        fail_at(call, at, why);
    else
        fail(call, why);
    return false;
}

// Its parents' commands are a mode's, too: to run one leaves it.
void leave_modes(cli_shell_s *shell, int32_t mode)
{
    if (mode_of(shell->modes) == mode)
        return;
    leave_to(shell->modes, mode);
    show_mode(shell);
}

} // namespace

bool has_name(const cli_call_s *call, const char *name)
{
    const char *syntax = call->row->command->syntax;
    const size_t len = std::strlen(name);
    for (const char *at = std::strstr(syntax, name); at && len > 0;
         at = std::strstr(at + 1, name)) {
        if ((at == syntax || is_notation(at[-1])) && is_notation(at[len]))
            return true;
    }
    return false;
}

const cli_pmatch_s *find_argument(const cli_call_s *call, const char *name, size_t index)
{
    VARNO_ASSERT(has_name(call, name));
    for (const cli_pmatch_s *word = call->words; word != call->end_word; word = word->next) {
        if (is_argument(word, name) && index-- == 0)
            return word;
    }
    return nullptr;
}

const cli_pmatch_s *find_choice(const cli_call_s *call, const char *name)
{
    if (call->form < 0)
        return nullptr;
    for (const cli_pmatch_s *word = call->words; word != call->end_word; word = word->next) {
        if (which_of(call->snapshot->graph, call->form, call->words, word) == name)
            return word;
    }
    return nullptr;
}

void release_state(cli_call_s *call)
{
    void *state = std::exchange(call->state, nullptr);
    try {
        if (state && call->release_state)
            call->release_state(state);
    } catch (...) {
        tracked_free(state, state_tag);
        throw;
    }
    tracked_free(state, state_tag);
}

int32_t begin_call(cli_shell_s *shell, const char *line, const cli_pnode_s *action,
                   const cli_pmatch_s *matches, cli_call_s **out_call)
{
    auto *call = static_cast<cli_call_s *>(tracked_calloc(1, sizeof(cli_call_s), call_tag));
    if (!call) {
        write_error(shell, "% out of memory\n");
        return CLI_FAILED;
    }
    const End &end = *find_command(action, matches);
    call->shell = shell;
    call->snapshot = hold(shell->snapshot);
    call->row = &call->snapshot->rows[static_cast<size_t>(end.definition)];
    call->form = end.form;
    call->line = line;
    call->words = (matches->node->attr & attr_prefix) != 0 ? matches->next : matches;
    call->end_word = find_bar(matches);
    end_check(shell);
    call->is_running = true; // whoever removes its rows while its filters are made waits for it
    call->next = shell->calls;
    shell->calls = call;
    int32_t result = CLI_FAILED;
    try {
        if (call->end_word && !begin_pipe(call)) {
            end_call(call);
            return CLI_FAILED;
        }
        if (call->words == matches) // else it is run from where the shell is
            leave_modes(shell, same_mode(call->snapshot, call->row->of, shell->snapshot));
        result = go_on(call);
        if (goes_on(result) && !keep_words(call)) {
            cancel(call);
            write_error(shell, "% out of memory\n");
            result = CLI_FAILED;
        }
    } catch (...) {
        end_call(call);
        throw;
    }
    if (goes_on(result))
        *out_call = call;
    else
        end_call(call);
    return result;
}

int32_t go_on(cli_call_s *call)
{
    const cli_command_s &command = *call->row->command;
    int32_t result = CLI_DONE;
    call->is_running = true;
    call->is_woken = false;
    try {
        if (command.run)
            result = command.run(call, command.user);
        if (!goes_on(result))
            result = conclude(call, result);
    } catch (...) {
        finish_call(call);
        throw;
    }
    call->is_running = false;
    call->is_late = result == CLI_LATER;
    if (!goes_on(result)) {
        finish_call(call);
        return result;
    }
    const bool is_broken = call->pipe && call->pipe->is_broken;
    if (!call->is_cancel_asked && !is_broken)
        return result;
    char why[CLI_ASSIST_MAX_WHY + 1] = ""; // the pipe goes with what is cancelled
    if (is_broken)
        strlcpy2(why, call->pipe->why, std::size(why) - 1);
    cancel(call);
    if (is_broken)
        fail_saving(call, why);
    return CLI_FAILED;
}

void cancel(cli_call_s *call)
{
    if (call->is_over || call->is_running) {
        call->is_cancel_asked = true;
        return;
    }
    const cli_command_s &command = *call->row->command;
    call->is_cancelled = true;
    call->is_running = true;
    try {
        if (command.run)
            command.run(call, command.user);
    } catch (...) {
        finish_call(call);
        throw;
    }
    finish_call(call);
}

void end_call(cli_call_s *call)
{
    finish_call(call);
    cli_call_s **link = &call->shell->calls;
    while (*link != call)
        link = &(*link)->next;
    *link = call->next;
    tracked_free(call, call_tag);
}

} // namespace varno::commands

using namespace varno::commands;

cli_shell_s *cli_call_shell(const cli_call_s *call)
{
    return call->shell;
}

const char *cli_line(const cli_call_s *call)
{
    return call->line;
}

int cli_has(cli_call_s *call, const char *name)
{
    if (find_argument(call, name, 0) || find_choice(call, name))
        return 1;
    for (const cli_pmatch_s *word = call->words; word != call->end_word; word = word->next) {
        if (word->node->type == PNODE_KEYWORD && std::strcmp(word->node->keyword, name) == 0)
            return 1;
    }
    return 0;
}

size_t cli_count(cli_call_s *call, const char *name)
{
    size_t count = 0;
    while (find_argument(call, name, count))
        count++;
    return count > 0 || !find_choice(call, name) ? count : 1;
}

const char *cli_text(cli_call_s *call, const char *name)
{
    return cli_text_at(call, name, 0);
}

const char *cli_text_at(cli_call_s *call, const char *name, size_t index)
{
    if (const cli_pmatch_s *word = find_argument(call, name, index))
        return word->token;
    const cli_pmatch_s *choice = index == 0 ? find_choice(call, name) : nullptr;
    return choice ? text_of_choice(choice) : nullptr;
}

int64_t cli_number(cli_call_s *call, const char *name)
{
    Value value = {};
    return read_argument(call, name, value) ? value.number : 0;
}

const uint8_t *cli_address(cli_call_s *call, const char *name, int32_t *family, int32_t *bits)
{
    Value value = {};
    if (!read_argument(call, name, value) || value.family == 0)
        return nullptr;
    call->value = value;
    if (family)
        *family = value.family;
    if (bits)
        *bits = value.bits;
    return call->value.address;
}

void *cli_state(cli_call_s *call, size_t bytes, void (*release)(void *state))
{
    if (!call->state) {
        call->state = tracked_calloc(1, std::max(bytes, size_t{1}), state_tag);
        call->release_state = release;
    }
    return call->state;
}

int cli_is_cancelled(const cli_call_s *call)
{
    return call->is_cancelled ? 1 : 0;
}

uint64_t cli_ticket(cli_call_s *call)
{
    if (call->ticket == 0)
        call->ticket = ++call->shell->set->last_ticket;
    return call->ticket;
}

int32_t cli_wake(cli_set_s *set, uint64_t ticket)
{
    for (const cli_shell_s *shell = set->shells; shell; shell = shell->next) {
        for (cli_call_s *call = shell->calls; call; call = call->next) {
            if (ticket == 0 || call->ticket != ticket || call->is_over)
                continue;
            call->is_woken = true;
            if (shell->session)
                tsession_wake(shell->session);
            return 0;
        }
    }
    return -1;
}
