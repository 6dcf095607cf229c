// handler: after Call & it takes what the syntax has

#include <varno/commands.hpp>

cli_command_s made =
    varno::command<"match PATTERN(pattern)">([](varno::Call &, int64_t) {}, "rows that match");
