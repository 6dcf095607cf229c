// The telnet parser beside a plain model, call by call. What it reports of a stream does
// not depend on how the stream is cut.

#include <cstdint>

#include "finding.h"
#include "input_reader.h"
#include "support/telnet_host.h"
#include "support/telnet_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const size_t part = 1 + static_cast<size_t>(in.below(12));
    varno_test::TelnetHost whole;
    varno_test::TelnetHost cut;
    whole.byte_after = cut.byte_after = in.byte();
    for (size_t at = 0; at < in.rest().size(); at += part)
        cut.present(in.rest().substr(at, part));
    varno_test::expect_as_model(whole, in.rest());
    whole.settle();
    cut.settle();
    FUZZ_REQUIRE(whole.outcome() == cut.outcome());
    return 0;
}
