// syntax: an alternative is empty

#include <varno/commands.hpp>

cli_command_s made = varno::row<"show <version|>">("what there is");
