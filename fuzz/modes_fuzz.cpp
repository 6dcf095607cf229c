// Rows in three modes from the input, with levels and filters, and lines that go from one mode
// to another: the library and the plain interpreter agree on each.

#include <string>
#include <vector>

#include "finding.h"
#include "input_reader.h"
#include "support/modes_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace varno_test;
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    Author author([&in] { return in.byte(); });
    const std::vector<RowInMode> rows = random_rows(author);
    const ModesModel model(rows);
    ModesDevice device(rows);
    for (int mode = 0; !in.is_empty();) {
        const int before = device.shell()->level;
        const int level = in.below(8) == 0 ? levels[in.below(std::size(levels))] : before;
        mode = level < before ? 0 : mode;
        cli_shell_set_level(device.shell(), level);
        std::vector<std::string> words = walk(author, model.start(mode, level), device);
        if (in.flag())
            mutate(author, words);
        if (words.empty())
            continue;
        const std::string expected = model.run(words, mode, level);
        FUZZ_REQUIRE(device.run(joined(words)) == expected);
    }
    return 0;
}
