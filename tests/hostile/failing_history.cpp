// Loaded before the session library's tsession_history: a device's command that
// breaks a precondition of the library, which "show history" is then.

#include <varno/telnet_parser.h>
#include <varno/tsession.h>

void tsession_history(tsession_s *, tsession_history_fn, void *)
{
    telnet_consume(nullptr, nullptr, 0);
}
