#ifndef VARNO_EDITOR_ROW_MODEL_H
#define VARNO_EDITOR_ROW_MODEL_H

// What the two drawing modules share: reading a rendered row safely, and the end
// of a draw.

#include <varno/prompt.h>

#include <algorithm>

namespace varno {

constexpr int32_t max_stored_columns = sizeof(prompt_model_s::buf) - 1;

// A row longer than the model's buffer is stored only in part.
inline int32_t stored_columns(const prompt_model_s *mod)
{
    return std::clamp(mod->buf_len, 0, max_stored_columns);
}

// The rendered text from a column on; columns that are not stored read as empty.
inline const char *row_from(const prompt_model_s *mod, int32_t column)
{
    return mod->buf + std::clamp(column, 0, stored_columns(mod));
}

inline void flush(prompt_s *p)
{
    if (p->pinfo.flush_fn)
        p->pinfo.flush_fn(p, p->pinfo.flush_ctx);
}

// What a redraw is when the line has changed: the models change places, the new one is
// built, and the difference is written.
void redraw_line(prompt_s *p);

} // namespace varno

#endif
