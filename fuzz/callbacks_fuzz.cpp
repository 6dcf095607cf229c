// Sessions whose host does in every callback what it likes.

#include "finding.h"
#include "hostile_host.h"
#include "session_play.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    varno_fuzz::process_shared();
    const varno_fuzz::Books books;
    varno_fuzz::HostileHost host(varno_fuzz::InputReader(data, size));
    host.run();
    return 0;
}
