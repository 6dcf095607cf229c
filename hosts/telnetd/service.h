#ifndef VARNO_TELNETD_SERVICE_H
#define VARNO_TELNETD_SERVICE_H

// The device, served: sessions as the command line wants them, and what the log hears.

#include <varno/server.h>

#include <cstdint>
#include <string>

namespace telnetd {

// What the command line sets.
struct Settings {
    server_config_s server = SERVER_CONFIG_INIT;
    std::string address = "127.0.0.1"; // to listen on, numeric
    uint16_t port = 2323;              // 0: any that is free
    bool is_stdio = false;             // one client on standard input and output instead
    std::string motd;                  // what is shown before the first prompt
};

// Serves until SIGTERM, SIGINT or SIGHUP, a second of which ends the process at once, or
// until the client on standard input and output has gone.
// Returns: the exit status.
int serve(const Settings &settings);

} // namespace telnetd

#endif
