#ifndef VARNO_VARNO_H
#define VARNO_VARNO_H

/* The whole library in one include, and its place in the host's trace service.
 *
 * The library owns no thread, timer, event loop, socket or terminal: bytes are
 * handed in, output leaves through callbacks, and every operation runs on the
 * caller's thread. Nothing locks; each object is used by one thread at a time.
 *
 * Two kinds of failure, never mixed. A recoverable one (no memory, an unknown
 * name, a refused binding) is a result: -1 or NULL. A broken precondition (a
 * NULL context, an index outside the line) is a programming error: it goes to
 * assert_fail of varno/platform.h with a text that docs/assertions.md lists, and
 * does not return. No function is noexcept: an assertion handler or a
 * callback may leave by an exception or longjmp. */

#include <varno/api.h>
#include <varno/cli_parse.h>
#include <varno/keys.h>
#include <varno/mckeys.h>
#include <varno/prompt.h>
#include <varno/stroker.h>
#include <varno/telnet_parser.h>
#include <varno/termcap_util.h>
#include <varno/version.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The identifier under which the library's traces are emitted: 0 until
 * varno_trace_init has registered the module. The traces are debug traces
 * (level 7, texts beginning with "(debug): "); the telnet parser alone traces
 * through a callback of its own. */
VARNO_API extern int g_varno_trace_module_id;

/* Registers the module "varno" with the platform's trace service. A host calls
 * it once per process, before the first session; the library never does.
 * Returns: 0; -1 when the platform refuses, the identifier then stays as it was. */
VARNO_API int varno_trace_init(void);

#ifdef __cplusplus
}
#endif

#endif
