// syntax: this is no range of numbers: LEAST-MOST, decimal

#include <varno/commands.hpp>

cli_command_s made = varno::row<"vlan VLAN(4094-1)">("number of the VLAN");
