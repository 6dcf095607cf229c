#ifndef VARNO_DEVICE_SETTINGS_H
#define VARNO_DEVICE_SETTINGS_H

// What a session may set of itself. A batch has no terminal: there they do nothing,
// once their numbers have been checked.

#include "commands.h"

namespace device {

void set_width(const Command &command);
void set_length(const Command &command);
void set_prompt(const Command &command);
void clear_screen(const Command &command);

} // namespace device

#endif
