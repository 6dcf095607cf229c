// Parse nodes that come, go and are looked up, with a line parsed in between.

#include <string>

#include "finding.h"
#include "input_reader.h"
#include "nodes_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    varno_fuzz::NodesCheck nodes;
    while (!in.is_empty()) {
        const int act = in.byte();
        const size_t which = in.byte();
        const std::string text(in.take_until('\0'));
        if (act % 8 < 5)
            nodes.add(which, static_cast<uint32_t>(act / 8 % 5), text,
                      act < 128 ? "help" : nullptr);
        else if (act % 8 == 5)
            nodes.remove(which);
        else if (act % 8 == 6)
            nodes.look_up(which, text);
        else
            varno_fuzz::check_parse(nodes.top(), text, text.size());
    }
    return 0;
}
