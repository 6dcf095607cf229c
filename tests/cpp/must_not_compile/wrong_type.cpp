// handler: after Call & it takes what the syntax has

#include <varno/commands.hpp>

cli_command_s made = varno::command<"vlan VLAN(1-4094)">([](varno::Call &, int) {}, "make a VLAN");
