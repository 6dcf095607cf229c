// syntax: this name is used twice in the syntax

#include <varno/commands.hpp>

cli_command_s made = varno::row<"copy FILE to FILE">("where to");
