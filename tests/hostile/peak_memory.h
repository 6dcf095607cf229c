#ifndef VARNO_TESTS_PEAK_MEMORY_H
#define VARNO_TESTS_PEAK_MEMORY_H

// How far the memory of another process has grown at its peak.

#include <fstream>
#include <string>

#include <sys/types.h>

namespace varno_test {

class PeakMemory {
  public:
    // From now on; the kernel forgets earlier peaks (proc(5), clear_refs).
    explicit PeakMemory(pid_t process) : directory_("/proc/" + std::to_string(process))
    {
        std::ofstream(directory_ + "/clear_refs") << 5;
        before_ = read("VmRSS:");
    }

    // KiB, of resident pages.
    long grown() const { return read("VmHWM:") - before_; }
    long grown_still() const { return read("VmRSS:") - before_; }

  private:
    long read(const std::string &label) const
    {
        std::ifstream status(directory_ + "/status");
        long value = 0;
        for (std::string word; status >> word && word != label;) {
        }
        status >> value;
        return value;
    }

    std::string directory_;
    long before_;
};

} // namespace varno_test

#endif
