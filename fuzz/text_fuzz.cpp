// The text services against string functions.

#include <string>

#include "finding.h"
#include "input_reader.h"
#include "text_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const int place = in.byte();
    const int fail_after = in.byte() < 250 ? -1 : 1;
    const std::string text(in.take_until('\0'));
    const int index = place % (static_cast<int>(text.size()) + 2) - 1;
    varno_fuzz::check_white_space(text, index);
    varno_fuzz::check_word_at(text, index);
    varno_fuzz::check_word_at(text, index + 2);
    varno_fuzz::check_first_token(text, fail_after);
    varno_fuzz::check_quotes(text);
    varno_fuzz::check_copy(text, static_cast<size_t>(place));
    return 0;
}
