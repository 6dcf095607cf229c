// A whole session on plain bytes, whole and cut.

#include "session_play.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    varno_fuzz::play_whole_and_cut(TSESSION_PLAIN, data, size);
    return 0;
}
