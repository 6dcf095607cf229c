#include "memory.h"

#include <varno/platform_default.h>

#include <gtest/gtest.h>

namespace varno_test {

int fail_each_allocation(
    const std::function<bool(const std::function<void()> &fail_from_here)> &act)
{
    constexpr int most = 1000;
    for (int n = 1; n <= most; n++) {
        const size_t before = tracked_outstanding(nullptr);
        const bool succeeded = act([n] { tracked_fail_after(n); });
        tracked_fail_after(-1);
        EXPECT_EQ(tracked_outstanding(nullptr), before)
            << "left behind when allocation " << n << " failed";
        if (succeeded)
            return n - 1;
    }
    ADD_FAILURE() << "still failing after " << most << " allocations";
    return most;
}

} // namespace varno_test
