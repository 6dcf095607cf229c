// handler: a lambda without captures, or a function

#include <varno/commands.hpp>

cli_command_s row_for(int device)
{
    return varno::command<"reload">([device](varno::Call &call) { call.print(device); }, "again");
}
