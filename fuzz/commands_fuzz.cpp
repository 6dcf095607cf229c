// A device of definitions from the input, and lines for it: in a batch, looked at word by
// word, and typed into a session; each allocation may fail.

#include <string>

#include "commands_check.h"
#include "finding.h"
#include "input_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const int fail_after = in.byte() - 200;
    varno_fuzz::CommandsCheck commands(in.take_until('\0'));
    if (!commands.is_built())
        return 0;
    for (const std::string &line : varno_fuzz::lines_of(in.take_until('\0')))
        commands.run(line, fail_after);
    commands.type(in.rest());
    return 0;
}
