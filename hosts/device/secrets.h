#ifndef VARNO_DEVICE_SECRETS_H
#define VARNO_DEVICE_SECRETS_H

// The secret that lets its user have any level.

#include <cstdint>
#include <string>

#include "device.h"

namespace device {

// Takes the first line of a file that nobody else may read or write, a hash of crypt(3).
// Returns: false, and what is wrong, for another.
bool read_secret(const std::string &path, std::string &out_problem);

// Whether it is the secret, as a shell of a console asks: found on another thread.
int32_t check_secret(cli_shell_s *shell, void *console, int32_t level, const char *secret);
// Nobody waits for a console's any more.
void forget_check(const Console &console);

// Ends that thread; what waits for it is forgotten.
void stop_checks();

} // namespace device

#endif
