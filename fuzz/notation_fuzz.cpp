// Definitions, a line each: read, written, built together.

#include <string>

#include "finding.h"
#include "input_reader.h"
#include "notation_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const int fail_after = in.byte() - 200;
    const auto lines = varno_fuzz::lines_of(in.take_until('\0'));
    for (const std::string &line : lines)
        varno_fuzz::check_notation(line);
    varno_fuzz::check_definitions(lines, fail_after);
    return 0;
}
