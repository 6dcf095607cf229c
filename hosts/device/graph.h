#ifndef VARNO_DEVICE_GRAPH_H
#define VARNO_DEVICE_GRAPH_H

// A thread's parse graph: the commands that can be typed, and the nodes in it that
// follow the system's interfaces and the device's aliases.

#include <cstdint>
#include <vector>

#include "commands.h"

namespace device {

// Releases the graph; no session of this thread may know it any more.
void release_graph();

// Brings the nodes up to date before input, the interfaces' at most once a second.
// Nothing of this thread may be matching or running a line. now: in milliseconds.
void refresh_graph(int64_t now);

// The aliases alone, after a line that has run; records of its match may live on.
void refresh_aliases();

// Makes the interface nodes these; a name that cannot be typed as it stands has none.
void set_interface_names(const std::vector<std::string> &names);

// Returns: whether a first word is one of the device's own.
bool is_builtin(const char *name);

} // namespace device

#endif
