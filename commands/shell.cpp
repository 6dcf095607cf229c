// A shell: what a session or a batch runs commands with.

#include "shell.h"

#include "filter.h"
#include "output.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

namespace varno::commands {
namespace {

constexpr char shell_tag[] = "cli_shell_s";

const cli_pnode_s *root(const cli_shell_s *shell)
{
    return root_of(shell->snapshot, mode_of(shell->modes), shell->level);
}

void release_modes(cli_shell_s *shell)
{
    leave_to(shell->modes, 0);
    leave_to(shell->checked, 0);
}

void destroy(cli_shell_s *shell)
{
    try {
        while (shell->calls)
            end_call(shell->calls);
    } catch (...) {
        destroy(shell);
        throw;
    }
    shell->set->freed_shells++;
    cli_shell_s **link = &shell->set->shells;
    while (*link != shell)
        link = &(*link)->next;
    *link = shell->next;
    Snapshot *snapshot = shell->snapshot;
    release_modes(shell);
    tracked_free(shell, shell_tag);
    let_go(snapshot);
}

// A shell whose free was asked for goes when nothing can call it any more.
void leave(cli_shell_s *shell)
{
    const bool is_unused = !shell->session || shell->is_closed_told;
    if (--shell->depth == 0 && shell->is_free_asked && is_unused)
        destroy(shell);
}

// Calls act as one of the shell's calls on the program.
template <typename Act>
void enter(cli_shell_s *shell, Act act)
{
    shell->depth++;
    try {
        act();
    } catch (...) {
        leave(shell);
        throw;
    }
    leave(shell);
}

// What a session asks of its host

void pass_output(tsession_s *s, void *user, const char *bytes, size_t count)
{
    const auto *shell = static_cast<const cli_shell_s *>(user);
    if (shell->host_output)
        shell->host_output(s, shell->host_user, bytes, count);
}

void pass_event(tsession_s *s, void *user, const tsession_event_s *event)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    shell->is_closed_told = event->kind == TSESSION_CLOSED;
    enter(shell, [&] {
        if (shell->host_event)
            shell->host_event(s, shell->host_user, event);
        if (shell->is_closed_told && shell->is_others)
            shell->session = nullptr;
    });
}

// A secret may be in a line that is refused before the place where it would have been known for
// one.
bool may_have_secret(cli_shell_s *shell, const char *line, const cli_assist_error_s &error)
{
    const cli_pnode_s *first = root(shell);
    if (first == &NONE || (first->attr & attr_secret) == 0 || error.reason == CLI_ASSIST_INCOMPLETE)
        return false;
    const bool is_at_word = error.reason == CLI_ASSIST_UNKNOWN ||
                            error.reason == CLI_ASSIST_AMBIGUOUS ||
                            error.reason == CLI_ASSIST_EMPTY_WORD;
    uint32_t attr = attr_secret;
    const auto see = [](void *ctx, const cli_pnode_s *node, const char *, const char *) {
        *static_cast<uint32_t *>(ctx) = node->attr;
    };
    if (is_at_word)
        cli_assist_help(first, &shell->filter, line, error.at, see, &attr);
    return (attr & attr_secret) != 0;
}

void forget_refused(tsession_s *s, void *user, const char *line, const cli_assist_error_s *error)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    if (may_have_secret(shell, line, *error))
        see_secret(shell);
    if (shell->host_refused)
        shell->host_refused(s, shell->host_user, line, error);
}

int pass_key(tsession_s *s, void *user, uint32_t key)
{
    constexpr uint32_t ctrl_z = 26;
    auto *shell = static_cast<cli_shell_s *>(user);
    if (key == ctrl_z && shell->modes) {
        leave_to(shell->modes, 0);
        show_mode(shell); // the line that is being typed stays
        return 1;
    }
    return shell->host_key ? shell->host_key(s, shell->host_user, key) : 0;
}

// Where nothing passes the filters a turn is many calls, but not so many, nor so much work for
// patterns, that others wait.
int32_t go_on_for_a_turn(cli_call_s *call)
{
    constexpr int calls_a_turn = 32;
    constexpr size_t work_a_turn = 2000000; // some milliseconds
    const size_t work = call->pipe ? work_of(call->pipe) : 0;
    int32_t result = CLI_MORE;
    for (int i = 0; i < calls_a_turn && result == CLI_MORE; i++) {
        const int64_t passed = call->pipe ? call->pipe->passed : 0;
        result = go_on(call);
        if (!call->pipe || call->pipe->passed != passed || work_of(call->pipe) - work > work_a_turn)
            break;
    }
    return result;
}

void cancel_and_end(cli_call_s *call)
{
    try {
        cancel(call);
    } catch (...) {
        end_call(call);
        throw;
    }
    end_call(call);
}

// An output that goes on.
int produce(tsession_s *, void *user, void *ctx, int is_cancelled)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    auto *call = static_cast<cli_call_s *>(ctx);
    if (is_cancelled) {
        shell->result = CLI_FAILED;
        cancel_and_end(call);
        return TSESSION_DONE;
    }
    if (call->is_late && !call->is_woken)
        return TSESSION_LATER;              // a session asks once before it waits
    shell->result = go_on_for_a_turn(call); // left by an exception, it is cancelled next
    if (!call->is_over)
        return shell->result; // CLI_MORE and CLI_LATER are the session's
    end_call(call);
    return TSESSION_DONE;
}

static_assert(static_cast<int>(CLI_MORE) == static_cast<int>(TSESSION_MORE));
static_assert(static_cast<int>(CLI_LATER) == static_cast<int>(TSESSION_LATER));

bool begin_output(tsession_s *s, cli_call_s *call)
{
    const int is_paged = tsession_is_paged(s);
    if (call->pipe && call->pipe->is_unpaged)
        tsession_set_paged(s, 0);
    const int result = tsession_page(s, produce, call);
    tsession_set_paged(s, is_paged);
    return result == 0;
}

void run_in_session(tsession_s *s, void *user, const char *line, const cli_pnode_s *action,
                    cli_pmatch_s *matches)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    const End *end = find_command(action, matches);
    const Row &row = shell->snapshot->rows[static_cast<size_t>(end->definition)];
    if ((row.command->flags & CLI_FORGOTTEN) != 0 && shell->lines == 0)
        tsession_history_amend(s, nullptr);
    cli_call_s *call = nullptr;
    shell->result = begin_call(shell, line, action, matches, &call);
    if (!call)
        return;
    if (begin_output(s, call))
        return;
    shell->result = CLI_FAILED;
    cancel_and_end(call);
    write_error(shell, "% another output is going on\n");
}

bool read_config(cli_shell_config_s &out, const cli_shell_config_s *config)
{
    if (config->size != sizeof(out))
        return false;
    out = *config;
    return out.set != nullptr;
}

bool read_session_config(tsession_config_s &out, const tsession_config_s *config)
{
    out = TSESSION_CONFIG_INIT;
    if (config->size < sizeof(out.size) || config->size > sizeof(out))
        return false;
    std::memcpy(&out, config, config->size);
    out.size = sizeof(out);
    return !out.line && !out.graph && !out.filter;
}

// A shell that nothing knows yet. Returns NULL without memory or its mode.
cli_shell_s *make_shell(const cli_shell_config_s &config)
{
    auto *shell = static_cast<cli_shell_s *>(tracked_calloc(1, sizeof(cli_shell_s), shell_tag));
    if (!shell)
        return nullptr;
    shell->set = config.set;
    shell->snapshot = config.set->current;
    shell->filter = filter_of(shell);
    shell->user = config.user;
    shell->output = config.output;
    shell->errors = config.errors ? config.errors : config.output;
    shell->level = std::clamp(config.level, 0, most_level);
    shell->authenticate = config.authenticate;
    shell->save = config.save;
    const int32_t mode = shell->snapshot ? find_mode(shell->snapshot, config.mode) : 0;
    if (mode >= 0 && enter_path(shell->modes, shell->snapshot, mode))
        return shell;
    release_modes(shell);
    tracked_free(shell, shell_tag);
    return nullptr;
}

void enter_set(cli_shell_s *shell)
{
    hold(shell->snapshot);
    shell->next = shell->set->shells;
    shell->set->shells = shell;
}

void take_session_config(cli_shell_s *shell, tsession_config_s &config)
{
    shell->host_event = std::exchange(config.event, pass_event);
    shell->host_output = std::exchange(config.output, pass_output);
    shell->host_user = std::exchange(config.user, shell);
    shell->host_key = std::exchange(config.key, pass_key);
    shell->is_unattended = config.transport == TSESSION_BATCH;
    shell->host_refused = std::exchange(config.refused, forget_refused);
    const char *prompt = config.prompt ? config.prompt : "> ";
    const size_t len = std::strlen(prompt); // of a long one the end is shown
    const size_t left_out = len - std::min(len, std::size(shell->own_prompt) - 1);
    std::snprintf(shell->own_prompt, std::size(shell->own_prompt), "%s", prompt + left_out);
    config.line = run_in_session;
    config.graph = root(shell);
    config.filter = &shell->filter;
}

// Batches

void write_batch(const cli_shell_s *shell, cli_output_fn output, const char *bytes, size_t count)
{
    if (output && count > 0)
        output(shell->user, bytes, count);
}

// A part of a text without line feeds and tabs, in pieces that end between characters.
void write_clean_part(const cli_shell_s *shell, cli_output_fn output, const char *text,
                      size_t count)
{
    char piece[256];
    char clean[std::size(piece)];
    while (count > 0) {
        size_t len = std::min(count, std::size(piece) - 1);
        while (len < count && len > std::size(piece) / 2 && (text[len] & 0xc0) == 0x80)
            len--;
        std::memcpy(piece, text, len);
        piece[len] = '\0';
        tsession_clean(clean, std::size(clean), piece);
        write_batch(shell, output, clean, std::strlen(clean));
        text += len;
        count -= len;
    }
}

void write_clean_to(cli_shell_s *shell, cli_output_fn output, const char *text)
{
    if (shell->session) {
        tsession_write_clean(shell->session, text);
        return;
    }
    while (*text) {
        const size_t part = std::strcspn(text, "\n\t");
        write_clean_part(shell, output, text, part);
        text += part;
        const size_t blanks = std::strspn(text, "\n\t");
        write_batch(shell, output, text, blanks);
        text += blanks;
    }
}

bool is_comment(const char *line)
{
    line += std::strspn(line, " \t");
    return *line == '\0' || *line == '!' || *line == '#';
}

bool is_blank(const char *line)
{
    return line[std::strspn(line, " \t")] == '\0';
}

// As long as a batch's call can go on.
int32_t go_through(cli_call_s *call, int32_t result)
{
    try {
        while (result == CLI_MORE || (result == CLI_LATER && call->is_woken))
            result = go_on(call);
    } catch (...) {
        end_call(call);
        throw;
    }
    if (call->is_over)
        end_call(call);
    return result;
}

int32_t run_in_batch(cli_shell_s *shell, const char *line)
{
    if (is_comment(line))
        return CLI_DONE;
    cli_pmatch_s *matches = nullptr;
    cli_assist_error_s error;
    int32_t result = CLI_FAILED;
    try {
        const cli_pnode_s *action =
            cli_assist_parse(root(shell), &shell->filter, line, &matches, &error);
        cli_call_s *call = nullptr;
        if (action)
            result = begin_call(shell, line, action, matches, &call);
        else
            explain(shell, line, error, 0);
        if (call)
            result = go_through(call, result);
    } catch (...) {
        cli_match_free(matches);
        throw;
    }
    cli_match_free(matches);
    return result;
}

// Where a line that is checked leads, as if it had been run.
void follow_checked(cli_shell_s *shell, const cli_pnode_s *action, const cli_pmatch_s *matches,
                    cli_assist_error_s &error)
{
    const End *end = find_command(action, matches);
    const Row &row = shell->snapshot->rows[static_cast<size_t>(end->definition)];
    const bool has_prefix = (matches->node->attr & attr_prefix) != 0;
    if (!has_prefix)
        leave_to(shell->checked, row.of);
    if (!follow_row(shell->checked, row, has_prefix ? matches->next : matches, nullptr))
        error.reason = CLI_ASSIST_NO_MEMORY;
}

void check_line(cli_shell_s *shell, const char *line, cli_assist_error_s &out_error)
{
    if (!shell->is_checking && !copy_modes(shell->modes, shell->checked)) {
        leave_to(shell->checked, 0);
        out_error.reason = CLI_ASSIST_NO_MEMORY;
        return;
    }
    shell->is_checking = shell->is_asked_to_check = true;
    cli_pmatch_s *matches = nullptr;
    try {
        const cli_pnode_s *root = root_of(shell->snapshot, mode_of(shell->checked), shell->level);
        if (const cli_pnode_s *action =
                cli_assist_parse(root, &shell->filter, line, &matches, &out_error))
            follow_checked(shell, action, matches, out_error);
    } catch (...) {
        shell->is_asked_to_check = false;
        cli_match_free(matches);
        throw;
    }
    shell->is_asked_to_check = false;
    cli_match_free(matches);
}

// A batch's call that waits.
cli_call_s *waiting_call(const cli_shell_s *shell)
{
    cli_call_s *call = shell->calls;
    while (call && call->is_running)
        call = call->next;
    return call;
}

// The graph that is in force from now on.
void take_snapshot(cli_shell_s *shell, Snapshot *snapshot)
{
    Snapshot *old = shell->snapshot;
    shell->snapshot = hold(snapshot);
    if (old) {
        move_modes(shell->modes, old, snapshot);
        move_modes(shell->checked, old, snapshot);
    }
    try {
        show_mode(shell);
    } catch (...) {
        let_go(old);
        throw;
    }
    let_go(old);
}

} // namespace

// When one is gone all are looked at again: a shell that has everything shows nothing.
void update_shells(cli_set_s *set)
{
    for (cli_shell_s *shell = set->shells; shell;) {
        const uint64_t freed_before = set->freed_shells;
        try {
            take_snapshot(shell, set->current);
        } catch (...) {
            update_shells(set); // the session of this one is closed
            throw;
        }
        shell = set->freed_shells == freed_before ? shell->next : set->shells;
    }
}

// A session's call is its output. It is cancelled within the session, where a fault ends that
// alone.
void cancel_calls_of(cli_set_s *set, const Owner *owner)
{
    const auto find = [set, owner]() -> cli_call_s * {
        for (const cli_shell_s *shell = set->shells; shell; shell = shell->next) {
            for (cli_call_s *call = shell->calls; call; call = call->next) {
                if (!call->is_over && !call->is_cancel_asked && call->row->owner == owner)
                    return call;
            }
        }
        return nullptr;
    };
    while (cli_call_s *call = find()) {
        cli_shell_s *shell = call->shell;
        const bool is_running = call->is_running;
        call->is_cancel_asked = true;
        try {
            if (!is_running && shell->session)
                tsession_cancel(shell->session);
            else if (!is_running)
                enter(shell, [call] { cancel_and_end(call); });
        } catch (...) {
            cancel_calls_of(set, owner);
            throw;
        }
    }
}

void show_mode(cli_shell_s *shell)
{
    if (!shell->session)
        return;
    tsession_set_graph(shell->session, root(shell));
    PromptEnd prompt = {};
    const bool is_made =
        shell->snapshot && make_prompt(shell->snapshot, shell->modes, shell->level, prompt);
    tsession_set_prompt(shell->session, is_made ? prompt.text : shell->own_prompt);
}

// Whoever loses a level is in no mode that it had opened.
void set_level(cli_shell_s *shell, int32_t level)
{
    const int32_t before = std::exchange(shell->level, std::clamp(level, 0, most_level));
    if (shell->level < before)
        leave_to(shell->modes, 0);
    show_mode(shell);
}

void see_secret(cli_shell_s *shell)
{
    if (shell->session && shell->lines == 0 && tsession_is_running_line(shell->session))
        tsession_history_amend(shell->session, nullptr);
}

void end_check(cli_shell_s *shell)
{
    leave_to(shell->checked, 0);
    shell->is_checking = false;
}

void write_clean(cli_shell_s *shell, const char *text)
{
    write_clean_to(shell, shell->output, text);
}

void write_error(cli_shell_s *shell, const char *text)
{
    write_clean_to(shell, shell->errors, text);
}

} // namespace varno::commands

using namespace varno::commands;

cli_shell_s *cli_shell_create(const cli_shell_config_s *config)
{
    cli_shell_config_s read;
    tsession_config_s session;
    if (!read_config(read, config) || (read.session && !read_session_config(session, read.session)))
        return nullptr;
    cli_shell_s *shell = make_shell(read);
    if (!shell)
        return nullptr;
    if (read.session) {
        take_session_config(shell, session);
        shell->session = tsession_create(&session);
        if (!shell->session) {
            release_modes(shell);
            tracked_free(shell, shell_tag);
            return nullptr;
        }
    }
    enter_set(shell);
    show_mode(shell);
    return shell;
}

cli_shell_s *cli_shell_prepare(const cli_shell_config_s *config, tsession_config_s *session)
{
    cli_shell_config_s read;
    if (!read_config(read, config) || read.session || session->size != sizeof(*session) ||
        session->line || session->graph || session->filter)
        return nullptr;
    cli_shell_s *shell = make_shell(read);
    if (!shell)
        return nullptr;
    shell->is_others = true;
    take_session_config(shell, *session);
    enter_set(shell);
    return shell;
}

void cli_shell_attach(cli_shell_s *shell, tsession_s *session)
{
    shell->session = session;
    show_mode(shell);
}

void cli_shell_free(cli_shell_s *shell)
{
    if (!shell || shell->is_free_asked)
        return;
    enter(shell, [shell] {
        shell->is_free_asked = true;
        if (shell->session && shell->is_others)
            tsession_close(shell->session);
        else if (shell->session)
            tsession_free(shell->session);
        for (cli_call_s *call = shell->session ? nullptr : shell->calls; call; call = call->next)
            cancel(call);
    });
}

tsession_s *cli_shell_session(const cli_shell_s *shell)
{
    return shell->session;
}

void *cli_shell_user(const cli_shell_s *shell)
{
    return shell->user;
}

int32_t cli_leave(cli_call_s *call, void *)
{
    if (call->shell->session)
        tsession_close(call->shell->session);
    return CLI_DONE;
}

int32_t cli_shell_run(cli_shell_s *shell, const char *line)
{
    int32_t result = CLI_FAILED;
    const bool is_without = shell->is_others && !shell->session;
    if (is_without || (!shell->session && (shell->is_free_asked || waiting_call(shell))))
        return result;
    shell->lines++;
    shell->result = CLI_DONE;
    enter(shell, [&] {
        try {
            if (!shell->session)
                result = run_in_batch(shell, line);
            else if (tsession_run_line(shell->session, line) == CLI_ASSIST_OK)
                result = shell->result;
        } catch (...) {
            shell->lines--;
            throw;
        }
        shell->lines--;
    });
    return result;
}

int32_t cli_shell_resume(cli_shell_s *shell)
{
    cli_call_s *call = shell->session ? nullptr : waiting_call(shell);
    if (!call)
        return CLI_DONE;
    int32_t result = CLI_LATER;
    enter(shell, [&] { result = go_through(call, CLI_LATER); });
    return result;
}

int32_t cli_shell_check(cli_shell_s *shell, const char *line, cli_assist_error_s *error)
{
    cli_assist_error_s found = {};
    if (!line)
        end_check(shell);
    else if (!is_comment(line) || is_blank(line))
        check_line(shell, line, found);
    if (error)
        *error = found;
    return found.reason;
}

int32_t cli_shell_level(const cli_shell_s *shell)
{
    return shell->level;
}

void cli_shell_set_level(cli_shell_s *shell, int32_t level)
{
    set_level(shell, level);
}

const char *cli_shell_mode(const cli_shell_s *shell)
{
    const Entered *top = shell->is_asked_to_check ? shell->checked : shell->modes;
    return shell->snapshot ? shell->snapshot->modes[static_cast<size_t>(mode_of(top))].mode->name
                           : nullptr;
}

const char *cli_shell_argument(const cli_shell_s *shell, const char *name)
{
    return argument_of(shell->is_asked_to_check ? shell->checked : shell->modes, name);
}
