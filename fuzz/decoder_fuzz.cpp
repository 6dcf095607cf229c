// The keystroke decoder: bindings, and a stream whose keys no cut changes.

#include "decoder_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const varno_fuzz::Traced traced(in.flag());
    const size_t part = 1 + static_cast<size_t>(in.below(8));
    varno_fuzz::DecoderCheck decoder;
    for (int left = in.below(9); left > 0; left--) {
        const std::string_view sequence = in.take_text(33);
        const int fail_after = in.byte();
        decoder.bind(sequence, varno_fuzz::read_keys(in),
                     fail_after >= 250 ? fail_after - 249 : -1);
        if (fail_after % 4 == 0)
            decoder.prepare();
    }
    const varno_fuzz::Keys wanted = decoder.expected(in.rest());
    FUZZ_REQUIRE(decoder.decode(in.rest(), in.rest().size() + 1) == wanted);
    FUZZ_REQUIRE(decoder.decode(in.rest(), part) == wanted);
    return 0;
}
