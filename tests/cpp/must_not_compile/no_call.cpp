// handler: after Call & it takes what the syntax has

#include <varno/commands.hpp>

cli_command_s made = varno::command<"reload">([] {}, "start again");
