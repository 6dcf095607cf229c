#ifndef VARNO_SERVER_S_H
#define VARNO_SERVER_S_H

// A server's record: what its threads share, and the thread that waits for signals.

#include <varno/server.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include <uv.h>

#include "address.h"
#include "limits.h"
#include "spare_descriptor.h"

namespace varno {

class Worker;

// Counted by all threads.
struct Figures {
    std::atomic<uint64_t> accepted = 0;
    std::atomic<uint64_t> refused = 0;
    std::atomic<uint64_t> bytes_in = 0;
    std::atomic<uint64_t> bytes_out = 0;
    std::atomic<uint64_t> slowest_turn_ns = 0;
};

struct Signal {
    uv_signal_t handle;
    server_s *server;
    server_signal_fn act;
};

} // namespace varno

struct server_s {
    explicit server_s(const server_config_s &complete);
    ~server_s();
    server_s(const server_s &) = delete;
    server_s &operator=(const server_s &) = delete;

    bool share_out(std::vector<int> sockets);
    int run();
    void note_turn(uint64_t ns);

    const server_config_s config;
    varno::Limits limits;
    std::unordered_set<std::string> proxies; // that say whose client they bring
    varno::SpareDescriptor spare;
    varno::Figures figures;
    std::vector<std::unique_ptr<varno::Worker>> workers; // one a thread
    uv_loop_t loop;                                      // of the thread in server_run
    uv_async_t done;
    std::list<varno::Signal> signals;
    std::vector<std::string> unix_paths;
    std::atomic<size_t> running = 0;
};

#endif
