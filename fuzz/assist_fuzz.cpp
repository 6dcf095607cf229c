// Help, completion and errors on a graph and a line from the input.

#include <string>

#include "assist_check.h"
#include "finding.h"
#include "input_reader.h"
#include "parse_graph.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    varno_fuzz::ParseGraph graph(in);
    const int fail_after = in.byte();
    const std::string line(in.take_until('\0'));
    varno_fuzz::check_assist_parse(graph.root(), line);
    varno_fuzz::check_completion(graph.root(), line);
    varno_fuzz::help_of(graph.root(), line);
    varno_fuzz::check_filtered(graph.root(), line, {std::string(in.take_until('\0'))});
    if (fail_after >= 240)
        varno_fuzz::check_failures(graph.root(), line, fail_after - 239);
    return 0;
}
