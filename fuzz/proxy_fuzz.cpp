// A proxy's header in two cuts, beside what the whole text says.

#include "../server/proxy_header.h"

#include "finding.h"
#include "input_reader.h"
#include "proxy_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const size_t part = 1 + static_cast<size_t>(in.below(20));
    varno::ProxyHeader whole, cut;
    const auto as_whole = varno_fuzz::take_header(whole, in.rest(), in.rest().size() + 1);
    FUZZ_REQUIRE(as_whole == varno_fuzz::take_header(cut, in.rest(), part));
    FUZZ_REQUIRE(as_whole == varno_fuzz::header_of(in.rest()));
    return 0;
}
