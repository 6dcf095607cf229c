#ifndef VARNO_DEVICE_MEMORY_H
#define VARNO_DEVICE_MEMORY_H

// What the libraries have allocated.

#include "commands.h"

namespace device {

// Shows the allocator's books: live blocks by tag, and in all.
void show_memory(const Command &command);

} // namespace device

#endif
