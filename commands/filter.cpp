// A word is left out when its type refuses it, or when the option of a set that it is has
// been given: then it is refused, even where others would take it, so that no command is run
// that cli_parse alone would not run. Definitions with sets are followed along the words before.

#include "filter.h"

#include "pattern.h"
#include "pipes.h"
#include "set.h"
#include "shell.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

namespace varno::commands {
namespace {

// How far a definition has been followed.
struct Track {
    int32_t first_step;
    int32_t end_step;
    int32_t position; // -1: before the first word
    uint64_t given;   // options
};

Track begin_track(const Graph &graph, int32_t form)
{
    const Form &followed = graph.forms[static_cast<size_t>(form)];
    return {followed.first_step, followed.end_step, -1, 0};
}

// Goes on by a word. Returns false where the definition has no such word, or has it no more.
bool advance(const Graph &graph, Track &track, int32_t symbol)
{
    for (int32_t i = track.first_step; i < track.end_step; i++) {
        const Step &step = graph.steps[static_cast<size_t>(i)];
        const Position &to = graph.positions[static_cast<size_t>(step.to)];
        if (to.symbol != symbol || (step.options & track.given) != 0)
            continue;
        track = {to.first_step, to.end_step, step.to, track.given | step.options};
        return true;
    }
    return false;
}

bool advance_along(const Graph &graph, Track &track, const cli_pmatch_s *before)
{
    if (before && (before->node->attr & attr_prefix) != 0)
        before = before->next;
    for (; before; before = before->next) {
        if (!advance(graph, track, before->node->aux_int))
            return false;
    }
    return true;
}

bool can_follow(const Graph &graph, const Through &through, const cli_pmatch_s *before,
                int32_t symbol)
{
    for (int32_t i = through.first_form; i < through.end_form; i++) {
        Track track = begin_track(graph, graph.form_lists[static_cast<size_t>(i)]);
        if (advance_along(graph, track, before) && advance(graph, track, symbol))
            return true;
    }
    return through.has_others;
}

bool can_end(const Graph &graph, const End &end, const cli_pmatch_s *before)
{
    if (end.form < 0)
        return true;
    Track track = begin_track(graph, end.form);
    return advance_along(graph, track, before) &&
           graph.positions[static_cast<size_t>(track.position)].is_end;
}

// A type's values on their way past a word.
struct Search {
    const char *word;
    size_t len;
    bool has_whole;
    bool has_longer;

    static void see(void *ctx, const char *text, const char *)
    {
        auto &search = *static_cast<Search *>(ctx);
        if (!text || std::strncmp(text, search.word, search.len) != 0)
            return;
        (text[search.len] == '\0' ? search.has_whole : search.has_longer) = true;
    }
};

// Asks a program's type. While it is asked the graph is being walked: the set may not change.
template <typename Act>
void ask(cli_shell_s *shell, Act act)
{
    shell->set->questions++;
    try {
        act();
    } catch (...) {
        shell->set->questions--;
        throw;
    }
    shell->set->questions--;
}

int32_t fit_registered(cli_shell_s *shell, const cli_type_s &type, const char *word,
                       const char **why)
{
    if (*word == '\0')
        return CLI_ASSIST_FIT_BEGINS;
    bool is_accepted = false;
    Search search = {word, std::strlen(word), false, false};
    ask(shell, [&] {
        is_accepted = type.accept && type.accept(type.user, shell, word, why) != 0;
        if (!is_accepted && type.list)
            list_values(shell, type, word, Search::see, &search);
    });
    if (is_accepted)
        return type.list ? CLI_ASSIST_FIT_VALUE : CLI_ASSIST_FIT_TYPED;
    if (!type.accept && search.has_whole)
        return CLI_ASSIST_FIT_VALUE;
    const bool can_begin = type.list ? search.has_longer : type.accept != nullptr;
    return can_begin ? CLI_ASSIST_FIT_BEGINS : CLI_ASSIST_FIT_NO;
}

int32_t fit_built_in(const ArgumentType &type, const char *word)
{
    Value value;
    if (takes_word(type, word, value))
        return CLI_ASSIST_FIT_TYPED;
    return can_begin(type, word) ? CLI_ASSIST_FIT_BEGINS : CLI_ASSIST_FIT_NO;
}

const cli_type_s *registered_type(const Snapshot *snapshot, const ArgumentType &type)
{
    return type.kind == TypeKind::registered
               ? snapshot->types[static_cast<size_t>(type.registered)].type
               : nullptr;
}

// A pattern that is none may be the beginning of one.
int32_t fit_pattern(cli_shell_s *shell, const cli_pnode_s *node, const char *word, const char **why)
{
    char wrong[CLI_ASSIST_MAX_WHY + 1];
    Pattern *pattern = make_pattern(word, wrong, std::size(wrong));
    release_pattern(pattern);
    if (pattern)
        return CLI_ASSIST_FIT_TAKES;
    std::snprintf(shell->why, std::size(shell->why), "%s: %.100s", node->keyword, wrong);
    *why = shell->why;
    return CLI_ASSIST_FIT_BEGINS;
}

int32_t fit_argument(cli_shell_s *shell, const cli_pnode_s *node, const char *word,
                     const char **why)
{
    const Snapshot *snapshot = shell->snapshot;
    const ArgumentType &type = snapshot->graph.types[static_cast<size_t>(node->aux_int)];
    if (type.kind == TypeKind::secret && *word != '\0')
        see_secret(shell);
    if (type.kind == TypeKind::pattern)
        return fit_pattern(shell, node, word, why);
    if (is_free(type))
        return CLI_ASSIST_FIT_TAKES;
    const cli_type_s *registered = registered_type(snapshot, type);
    const int32_t fit =
        registered ? fit_registered(shell, *registered, word, why) : fit_built_in(type, word);
    if (fit > CLI_ASSIST_FIT_BEGINS || *why)
        return fit;
    char taken[64];
    describe_type(type, taken, std::size(taken));
    const char *help = registered && registered->help ? registered->help : taken;
    std::snprintf(shell->why, std::size(shell->why), "%s: %s", node->keyword, help);
    *why = shell->why;
    return fit;
}

// What is hidden is neither listed nor abbreviated, so that it makes nothing else ambiguous.
bool is_typed_whole(const cli_pnode_s *node, const char *word)
{
    return node->type == PNODE_KEYWORD ? std::strcmp(node->keyword, word) == 0 : *word != '\0';
}

int32_t count_bars(const cli_pmatch_s *words)
{
    int32_t count = 0;
    for (; words; words = words->next)
        count += (words->node->attr & attr_bar) != 0;
    return count;
}

// The end of the command that a bar comes after.
const cli_pnode_s *end_of(const cli_pnode_s *bar)
{
    while (bar->type != PNODE_EOLS)
        bar = bar->next;
    return bar;
}

int32_t fit(void *user, const cli_pnode_s *node, const char *word, const cli_pmatch_s *before,
            const char **why)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    const Graph &graph = shell->snapshot->graph;
    if (node->type == PNODE_EOLS) {
        const auto *end = static_cast<const End *>(node->func);
        return can_end(graph, *end, before) ? CLI_ASSIST_FIT_TAKES : CLI_ASSIST_FIT_NO;
    }
    if ((node->attr & attr_hidden) != 0 && !is_typed_whole(node, word))
        return CLI_ASSIST_FIT_NO;
    if ((node->attr & attr_saving) != 0 && !shell->save)
        return CLI_ASSIST_FIT_NO;
    if ((node->attr & attr_bar) != 0) {
        if (count_bars(before) < most_filters)
            return fit(user, end_of(node), "", before, why) > CLI_ASSIST_FIT_NO
                       ? CLI_ASSIST_FIT_TAKES
                       : CLI_ASSIST_FIT_REFUSED;
        *why = "at most four filters";
        return CLI_ASSIST_FIT_REFUSED;
    }
    const auto *through = static_cast<const Through *>(node->func);
    if (through && !can_follow(graph, *through, before, node->aux_int)) {
        *why = "given already";
        return CLI_ASSIST_FIT_REFUSED;
    }
    return node->type == PNODE_KEYWORD ? CLI_ASSIST_FIT_TAKES
                                       : fit_argument(shell, node, word, why);
}

void list(void *user, const cli_pnode_s *node, const char *begun, const cli_pmatch_s *,
          cli_assist_value_fn value, void *ctx)
{
    auto *shell = static_cast<cli_shell_s *>(user);
    const ArgumentType &type = shell->snapshot->graph.types[static_cast<size_t>(node->aux_int)];
    const cli_type_s *registered = registered_type(shell->snapshot, type);
    if (registered && registered->list)
        list_values(shell, *registered, begun, value, ctx);
}

} // namespace

void list_values(cli_shell_s *shell, const cli_type_s &type, const char *begun,
                 cli_assist_value_fn value, void *ctx)
{
    ask(shell, [&] { type.list(type.user, shell, begun, value, ctx); });
}

cli_assist_filter_s filter_of(cli_shell_s *shell)
{
    return {sizeof(cli_assist_filter_s), shell, fit, list, attr_narrowed, attr_rest, attr_bar};
}

std::string_view which_of(const Graph &graph, int32_t form, const cli_pmatch_s *matches,
                          const cli_pmatch_s *word)
{
    Track track = begin_track(graph, form);
    for (const cli_pmatch_s *one = matches; one; one = one->next) {
        if (!advance(graph, track, one->node->aux_int))
            return {};
        if (one == word)
            return graph.positions[static_cast<size_t>(track.position)].which;
    }
    return {};
}

} // namespace varno::commands
