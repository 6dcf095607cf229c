// argument: the syntax has no argument of this name

#include <varno/commands.hpp>

cli_command_s made = varno::command<"vlan VLAN(1-4094)">(
    [](auto &call) { call.print(varno::argument<"LAN">(call)); }, "make a VLAN");
