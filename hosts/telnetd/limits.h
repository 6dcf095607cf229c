#ifndef VARNO_TELNETD_LIMITS_H
#define VARNO_TELNETD_LIMITS_H

// What the process has room for, for all threads: sessions, in all and by address, and
// a descriptor for when there are no more.

#include <mutex>
#include <string>
#include <unordered_map>

#include "settings.h"
#include "spare_descriptor.h"

namespace telnetd {

class Limits {
  public:
    explicit Limits(const Settings &settings) : settings_(settings) {}

    // Counts one more session of a group of addresses.
    // Returns: NULL, or the sentence for a client that there is no room for.
    const char *enter(const std::string &group);
    void leave(const std::string &group);

    unsigned sessions();
    SpareDescriptor &spare() { return spare_; }

  private:
    const Settings &settings_;
    std::mutex mutex_;
    unsigned sessions_ = 0;
    std::unordered_map<std::string, unsigned> by_group_;
    SpareDescriptor spare_;
};

} // namespace telnetd

#endif
