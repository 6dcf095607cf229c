#include "traces.h"

#include <varno/platform_default.h>
#include <varno/varno.h>

#include <utility>

#include <gtest/gtest.h>

namespace varno_test {

Traces::Traces()
{
    if (g_varno_trace_module_id == 0) {
        EXPECT_EQ(varno_trace_init(), 0);
    }
    trace_set_sink(keep, this);
    trace_set_level(g_varno_trace_module_id, 7);
}

Traces::~Traces()
{
    trace_set_level(g_varno_trace_module_id, 6);
    trace_set_sink(nullptr, nullptr);
}

std::vector<std::string> Traces::take()
{
    return std::exchange(texts_, {});
}

void Traces::keep(void *ctx, int module_id, int level, const char *text)
{
    EXPECT_EQ(module_id, g_varno_trace_module_id);
    EXPECT_EQ(level, 7);
    static_cast<Traces *>(ctx)->texts_.emplace_back(text);
}

} // namespace varno_test
