// The demo device, with commands from its own parse graph.

#include "device_play.h"
#include "finding.h"
#include "session_play.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    varno_fuzz::process_shared();
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    varno_fuzz::DevicePlay device;
    while (!in.is_empty())
        device.act(in);
    return 0;
}
