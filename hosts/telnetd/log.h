#ifndef VARNO_TELNETD_LOG_H
#define VARNO_TELNETD_LOG_H

// Where spdlog's default logger writes.

#include <string>

namespace telnetd {

// To standard error. A line that nobody takes (a full pipe, a stopped terminal) is
// dropped and counted, rather than have all sessions wait for it.
void log_to_standard_error();

// To the system's log: under inetd, standard error is the client.
void log_to_syslog();

// Returns: a text from the wire, short and without control characters.
std::string for_log(const std::string &text);

} // namespace telnetd

#endif
