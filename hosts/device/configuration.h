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

// Whether a secret lets its user have a level: by the hash that was read.
int32_t authenticate(cli_shell_s *shell, void *console, int32_t level, const char *secret);

// Takes the first line of a file that nobody else may read or write, a hash of crypt(3).
// Returns: false, and what is wrong, for another.
bool read_secret(const std::string &path, std::string &out_problem);

} // namespace device

#endif
