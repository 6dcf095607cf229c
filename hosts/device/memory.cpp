// The tags of the library and the session library, and what is live under each.

#include "memory.h"

#include <varno/platform_default.h>

namespace device {
namespace {

constexpr const char *tags[] = {
    "BYTE",
    "BYTE*",
    "cli_pmatch_s",
    "cli_pnode_s",
    "mc_node_s",
    "mkey_t",
    "OutputBuffer",
    "prompt_clink_s",
    "prompt_command_s",
    "Question",
    "prompt_s",
    "stroker_binding",
    "stroker_s",
    "telparser_s",
    "tsession_s",
    "tsession_shared_s",
};

std::string row_of(size_t blocks, const char *what)
{
    char row[80];
    std::snprintf(row, sizeof(row), "%8zu  %s\n", blocks, what);
    return row;
}

} // namespace

// Other threads go on meanwhile, so the total need not be the sum.
void show_memory(const Command &command)
{
    std::string text = "  blocks  tag\n";
    for (const char *tag : tags)
        text += row_of(tracked_outstanding(tag), tag);
    text += row_of(tracked_outstanding(nullptr), "in all");
    write_long(command.console, std::make_unique<Lines>(text));
}

} // namespace device
