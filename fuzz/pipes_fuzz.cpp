// Rows from the input through filters from the input.

#include "finding.h"
#include "input_reader.h"
#include "pipes_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    varno_fuzz::PipesCheck pipes(in);
    pipes.compare(in);
    pipes.divide(in);
    pipes.type(in);
    return 0;
}
