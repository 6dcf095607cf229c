#ifndef VARNO_SERVER_LIMITS_H
#define VARNO_SERVER_LIMITS_H

// How many sessions a server has, in all and by address; for all its threads.

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

namespace varno {

class Limits {
  public:
    Limits(unsigned most, unsigned most_per_address)
        : most_(most), most_per_address_(most_per_address)
    {}

    // Counts one more session of an address.
    // Returns: NULL, or the sentence for a client that there is no room for.
    const char *enter(const std::string &address);
    void leave(const std::string &address);

    uint64_t sessions();

  private:
    const unsigned most_;
    const unsigned most_per_address_;
    std::mutex mutex_;
    uint64_t sessions_ = 0;
    std::unordered_map<std::string, unsigned> by_address_;
};

} // namespace varno

#endif
