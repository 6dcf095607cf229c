#include "finding.h"

#include <cstdio>
#include <cstdlib>

#include <varno/platform_default.h>
#include <varno/varno.h>

#include <gtest/gtest.h>

namespace varno_fuzz {
namespace {

constexpr int debug_level = 7;

// Sessions keep these for each other; one for each output that waits for another.
constexpr size_t most_buffers = 16;

size_t blocks()
{
    return tracked_outstanding(nullptr) - tracked_outstanding("OutputBuffer");
}

// The test support's expectations count here too; the default listener has printed
// what failed by then.
class EndAtFailure : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult &result) override
    {
        std::fflush(stdout);
        if (result.failed())
            std::abort();
    }
};

} // namespace

void found(const char *condition, const char *file, int line)
{
    std::fprintf(stderr, "finding: %s (%s:%d)\n", condition, file, line);
    std::abort();
}

Books::Books() : blocks_(blocks()) {}

Books::~Books()
{
    tracked_fail_after(-1);
    FUZZ_REQUIRE(blocks() == blocks_);
    FUZZ_REQUIRE(tracked_outstanding("OutputBuffer") <= most_buffers);
}

Traced::Traced(bool is_on)
{
    if (is_on)
        trace_set_sink([](void *, int, int, const char *) {}, nullptr);
}

Traced::~Traced()
{
    trace_set_sink(nullptr, nullptr);
}

} // namespace varno_fuzz

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    testing::UnitTest::GetInstance()->listeners().Append(new varno_fuzz::EndAtFailure);
    varno_trace_init();
    trace_set_level(g_varno_trace_module_id, varno_fuzz::debug_level);
    return 0;
}
