// A file of configuration for the demo device, and words to be written as one.

#include "config_check.h"
#include "finding.h"
#include "input_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const bool is_file = in.flag();
    if (is_file)
        varno_fuzz::check_device_file(in.rest());
    else
        varno_fuzz::WordsCheck(in.rest()).check();
    device::release_thread();
    return 0;
}
