// handler: after Call & it takes what the syntax has

#include <varno/commands.hpp>

static void make_vlan(varno::Call &, int64_t, std::string_view) {}

cli_command_s made = varno::command<"vlan VLAN(1-4094) [name NAME]", make_vlan>("make a VLAN");
