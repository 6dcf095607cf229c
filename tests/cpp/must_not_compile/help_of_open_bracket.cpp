// syntax: this bracket is not closed

#include <varno/commands.hpp>

cli_command_s made = varno::row<"show <version|clock">("what there is");
