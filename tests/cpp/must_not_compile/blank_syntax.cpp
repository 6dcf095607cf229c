// syntax: the syntax is empty

#include <varno/commands.hpp>

cli_command_s made = varno::row<"  ">("nothing");
