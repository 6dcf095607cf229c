#ifndef VARNO_TELNETD_SERVER_H
#define VARNO_TELNETD_SERVER_H

// The process's threads, and the signals that end it.

#include "settings.h"

namespace telnetd {

// Serves until SIGTERM, SIGINT or SIGHUP, a second of which ends the process at once.
// Returns: the exit status.
int run_server(const Settings &settings);

// Serves the client on standard input and output until it or a signal ends that.
// Returns: the exit status.
int serve_standard_streams(const Settings &settings);

} // namespace telnetd

#endif
