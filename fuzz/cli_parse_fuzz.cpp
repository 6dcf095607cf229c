// The CLI parser on a graph and a line from the input, against a naive matcher.

#include <string>

#include "cli_parse_check.h"
#include "finding.h"
#include "input_reader.h"
#include "parse_graph.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const varno_fuzz::Traced traced(in.flag());
    varno_fuzz::ParseGraph graph(in);
    const size_t shorter = in.byte();
    const std::string line(in.take_until('\0'));
    const size_t len = shorter < 200 ? line.size() : shorter % (line.size() + 1);
    varno_fuzz::check_parse(graph.root(), line, len);
    return 0;
}
