// The line editor on an emulated terminal, its row checked after every redraw.

#include "editor_acts.h"
#include "finding.h"
#include "input_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const varno_fuzz::Books books;
    varno_fuzz::InputReader in(data, size);
    const varno_fuzz::Traced traced(in.flag());
    varno_fuzz::EditorActs editor(20 + in.below(237));
    while (!in.is_empty())
        editor.act(in);
    editor.redraw();
    return 0;
}
