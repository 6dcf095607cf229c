#ifndef VARNO_EDITOR_ROW_MODEL_H
#define VARNO_EDITOR_ROW_MODEL_H

// How a rendered row is read, whatever its numbers say: a row that is longer than the
// model's buffer is stored only in part.

#include <varno/prompt.h>

#include <algorithm>
#include <iterator>

namespace varno {

inline int32_t stored_columns(const prompt_model_s *mod)
{
    return std::clamp(mod->buf_len, 0, static_cast<int32_t>(std::size(mod->buf) - 1));
}

// The rendered text from a column on; columns that are not stored read as empty.
inline const char *row_from(const prompt_model_s *mod, int32_t column)
{
    return mod->buf + std::clamp(column, 0, stored_columns(mod));
}

} // namespace varno

#endif
