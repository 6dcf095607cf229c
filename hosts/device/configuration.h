#ifndef VARNO_DEVICE_CONFIGURATION_H
#define VARNO_DEVICE_CONFIGURATION_H

// What users configure: the device's own state, the same for the sessions of all threads.
// Nothing of the machine is changed by it.

#include <cstdint>
#include <string>

#include <varno/commands.h>

namespace device {

// Makes it what a file says: every line is looked at before one runs.
// Returns: false, and what is wrong, with nothing changed where a line could not run.
bool read_configuration(const std::string &path, std::string &out_problem);

// What is being saved is saved before that returns, and nothing after it.
void stop_saving();

// Forgets all of it.
void forget_configuration();

// Names the device in this thread's prompts, once it is named anew.
void follow_name(cli_set_s *set, uint64_t &generation);

} // namespace device

#endif
