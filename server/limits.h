#ifndef VARNO_SERVER_LIMITS_H
#define VARNO_SERVER_LIMITS_H

// Who may have a session: how many there are in all and by address, how fast an address
// takes them, and what is kept free for some; for all threads of a server.

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

#include <varno/server.h>

namespace varno {

// How often each address may come: so many times at once, then once whenever that share of
// a minute has passed.
class ConnectRate {
  public:
    // a_minute: 0 is without a limit
    explicit ConnectRate(unsigned a_minute) : a_minute_(a_minute) {}

    // Counts a client that is let in. ms: by a clock that only goes on.
    bool admits(const std::string &address, uint64_t ms);

  private:
    void forget_old(uint64_t ms);

    const unsigned a_minute_;
    uint64_t forgot_at_ = 0;
    std::unordered_map<std::string, uint64_t> free_at_; // when all its share is there again
};

class Limits {
  public:
    explicit Limits(const server_config_s &config)
        : most_(config.max_sessions), most_per_address_(config.max_per_address),
          rate_(config.max_connect_rate)
    {}

    // Keeps so many sessions for an address. Returns: false when there are not so many.
    bool reserve(const std::string &address, unsigned count);

    // Counts one more session of an address.
    // Returns: NULL, or the sentence for a client that there is no room for.
    const char *enter(const std::string &address, uint64_t ms);
    void leave(const std::string &address);

    uint64_t sessions();

  private:
    const char *look_for_room(const std::string &address, unsigned own, uint64_t ms);

    const uint64_t most_;
    const unsigned most_per_address_;
    std::mutex mutex_;
    uint64_t sessions_ = 0;
    uint64_t kept_ = 0; // of what is reserved: nobody has it now
    std::unordered_map<std::string, unsigned> by_address_;
    std::unordered_map<std::string, unsigned> reserved_;
    ConnectRate rate_;
};

} // namespace varno

#endif
