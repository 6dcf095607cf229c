// handler: after Call & it takes what the syntax has

#include <varno/commands.hpp>

cli_command_s row =
    varno::command<"vlan VLAN(1-4094) name NAME">([](varno::Call &, int64_t) {}, "make a VLAN");
