// syntax: this character has no place here

#include <varno/commands.hpp>

cli_command_s made = varno::row<"show version]">("the version");
