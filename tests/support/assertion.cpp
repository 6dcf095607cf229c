#include "assertion.h"

#include <varno/platform_default.h>

namespace varno_test {
namespace {

void throw_failed(void *, const char *condition, const char *source, int line)
{
    throw FailedAssertion{condition, source, line};
}

} // namespace

std::optional<FailedAssertion> assertion_of(const std::function<void()> &act)
{
    std::optional<FailedAssertion> failed;
    assert_set_handler(throw_failed, nullptr);
    try {
        act();
    } catch (const FailedAssertion &caught) {
        failed = caught;
    }
    assert_set_handler(nullptr, nullptr);
    return failed;
}

} // namespace varno_test
