// What the editor can do to a terminal: carriage return, backspace, blanks, and
// printing again what stands there. No escape sequence is among it, so that any
// terminal will do, a printing one included.

#include "editor/terminal.h"

#include "contract.h"
#include "editor/row_model.h"

using namespace varno;

namespace {

constexpr char source_name[] = "prompt";

} // namespace

void prompt_move_term_cursor_forward(prompt_s *p, int amount)
{
    VARNO_ASSERT(p);
    if (!p->pinfo.print_fn || amount <= 0)
        return;
    const prompt_model_s *mod = prompt_active_model(p);
    p->pinfo.print_fn(p, p->pinfo.print_ctx, "%.*s", amount, row_from(mod, mod->virtual_cursor));
}

// One call a column, so that a print callback has few formats to know and a budget of
// output can end between any two.
void prompt_move_term_cursor_back(prompt_s *p, int amount)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(amount > 0);
    if (!p->pinfo.print_fn)
        return;
    for (int i = 0; i < amount; i++)
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "%c", '\b');
}

// Unlike the others it insists on a print callback: a draw that begins here must not be
// taken for done when nothing was shown.
void prompt_move_term_cursor_to_bol(prompt_s *p)
{
    VARNO_ASSERT(p);
    VARNO_ASSERT(p->pinfo.print_fn);
    p->pinfo.print_fn(p, p->pinfo.print_ctx, "%c", '\r');
}

void prompt_term_whiteout(prompt_s *p, int len)
{
    VARNO_ASSERT(p && len >= 0);
    if (len > 0 && p->pinfo.print_fn)
        p->pinfo.print_fn(p, p->pinfo.print_ctx, "%*s", len, "");
}

void varno::flush(prompt_s *p)
{
    if (p->pinfo.flush_fn)
        p->pinfo.flush_fn(p, p->pinfo.flush_ctx);
}
