#ifndef VARNO_COMMANDS_FILTER_H
#define VARNO_COMMANDS_FILTER_H

// What a word may be in a graph of definitions: for help, completion and parsing alike.

#include "automaton.h"

#include <varno/commands.h>

namespace varno::commands {

// The filter of a shell, which lives as long as that.
cli_assist_filter_s filter_of(cli_shell_s *shell);

// The values of a type that has a list.
void list_values(cli_shell_s *shell, const cli_type_s &type, const char *begun,
                 cli_assist_value_fn value, void *ctx);

// The argument that a <a|b>$which made of a word, by the words before it and itself; empty:
// none. form: of graph.forms.
std::string_view which_of(const Graph &graph, int32_t form, const cli_pmatch_s *matches,
                          const cli_pmatch_s *word);

} // namespace varno::commands

#endif
