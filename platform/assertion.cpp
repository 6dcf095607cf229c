// The assertion service: hands a broken precondition to the host's handler, or
// reports it and ends the process. A handler is installed while no other thread
// can fail an assertion.

#include <varno/platform.h>
#include <varno/platform_default.h>

#include <cstdio>
#include <cstdlib>

namespace {

constinit assert_handler_fn current_handler = nullptr;
constinit void *current_handler_ctx = nullptr;

} // namespace

// Nothing here has a destructor: the handler may leave by longjmp.
void assert_fail(const char *condition, const char *source, int line)
{
    if (current_handler)
        current_handler(current_handler_ctx, condition, source, line);
    else
        std::fprintf(stderr, "assertion failed: %s (%s:%d)\n", condition, source, line);
    std::abort();
}

void assert_set_handler(assert_handler_fn handler, void *ctx)
{
    current_handler = handler;
    current_handler_ctx = ctx;
}
