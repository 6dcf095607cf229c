#ifndef VARNO_TELNETD_LOG_H
#define VARNO_TELNETD_LOG_H

// Where spdlog's default logger writes.

#include <string>

namespace telnetd {

// To standard error, with the time and its zone. A line that nobody takes (a full pipe, a
// stopped terminal) is dropped and counted, rather than have all sessions wait for it.
void log_to_standard_error();

// To the system's log: under inetd, standard error is the client.
void log_to_syslog();

// Makes a file standard error, which it is added to; again, to let an old one go. Returns:
// false with errno: all is as before.
bool log_to_file(const std::string &path);

// Returns: a text from the wire, short and without control characters.
std::string for_log(const char *text);

} // namespace telnetd

#endif
