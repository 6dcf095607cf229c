#ifndef VARNO_TELNETD_SETTINGS_H
#define VARNO_TELNETD_SETTINGS_H

// What the command line sets; read by all threads, changed by none.

#include <cstddef>
#include <cstdint>
#include <string>

namespace telnetd {

struct Settings {
    std::string address = "127.0.0.1"; // to listen on, numeric
    uint16_t port = 2323;              // 0: any that is free
    unsigned threads = 1;
    unsigned max_sessions = 1000;
    unsigned max_per_address = 100;
    unsigned idle_seconds = 600; // 0: for ever
    unsigned stall_seconds = 60;
    size_t backlog = 262144; // bytes of output that wait for one client
    std::string motd;        // what is shown before the first prompt
};

} // namespace telnetd

#endif
