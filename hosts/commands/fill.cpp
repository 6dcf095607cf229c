// The device's commands, for varno-commands.

#include <varno/commands_main.h>

#include "../device/table.h"

int32_t varno_commands_fill(cli_set_s *set)
{
    return device::add_to(set) ? 0 : -1;
}
