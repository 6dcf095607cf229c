// syntax: this bracket is not closed

#include <varno/commands.hpp>

cli_command_s made = varno::command<"show version [brief">([](varno::Call &) {}, "the version");
