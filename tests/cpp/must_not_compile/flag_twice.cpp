// syntax: this optional keyword stands in the syntax twice

#include <varno/commands.hpp>

cli_command_s made = varno::row<"copy [all] to [all]">("where to");
