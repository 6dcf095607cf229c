#ifndef VARNO_PLATFORM_DEFAULT_H
#define VARNO_PLATFORM_DEFAULT_H

/* What the default platform, libvarno-platform, offers a host beyond the
 * services of varno/platform.h: where traces go, what happens when an assertion
 * fails, and the allocator's books. A host that ships its own platform has none
 * of these.
 *
 * The allocator takes each block from the C library's heap and returns it there. Who
 * wants another heap links or preloads one that replaces malloc and free.
 *
 * Threads: the services of varno/platform.h, trace_set_level, tracked_outstanding
 * and tracked_fail_after may run on any threads at once. What a host sets with
 * trace_set_sink and assert_set_handler is read without a lock: call these from one
 * thread, while no other thread traces or can fail an assertion (before its sessions
 * start, or with them stopped). */

#include <stddef.h>

#include <varno/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Trace. There is room for 64 modules with names of up to 63 characters; a name
 * that does not fit, and a module too many, is refused with -1. A name registered
 * again gives the identifier that it has. */

/* Receives each wanted message on the emitting thread. The text is terminated and
 * lives for the call; up to 1000 characters are whole, a longer text is cut there. A
 * message that cannot be formatted is dropped. ctx is that of trace_set_sink,
 * module_id and level are those of trace_emit. A sink that traces is called again for
 * that trace. */
typedef void (*trace_sink_fn)(void *ctx, int module_id, int level, const char *text);

/* Installs the one receiver of traces, called as sink(ctx, ...); a NULL sink, the
 * default, takes none: then no trace is wanted at any level. Change it while no other
 * thread traces. */
VARNO_API void trace_set_sink(trace_sink_fn sink, void *ctx);

/* Sets the highest level at which a module's messages reach the sink; 6 until
 * then, so that debug traces (level 7) stay silent. An unregistered module_id is
 * ignored: nothing that it emits is wanted at any level. Other threads that trace
 * meanwhile go by the old level for a moment longer. */
VARNO_API void trace_set_level(int module_id, int level);

/* Receives a failed assertion: the condition's text, the source's name and the line
 * in it, as assert_fail has them; ctx is that of assert_set_handler. It may leave by
 * throwing or longjmp; if it returns, the process is aborted. */
typedef void (*assert_handler_fn)(void *ctx, const char *condition, const char *source, int line);

/* Installs the handler, called as handler(ctx, ...); NULL, the default, prints
 * "assertion failed: CONDITION (SOURCE:LINE)" to standard error and aborts. */
VARNO_API void assert_set_handler(assert_handler_fn handler, void *ctx);

/* Counts what is allocated and not yet released. A block released under another
 * tag than its own makes both tags' counts wrong; that of all tags stays right.
 * Returns: the number of live blocks under a tag; under all tags for NULL. */
VARNO_API size_t tracked_outstanding(const char *tag);

/* Makes the n-th allocation from now and all later ones fail (n >= 1), on whatever
 * thread, until it is called with -1: none fails, the default. Each call of
 * tracked_malloc, tracked_calloc, tracked_strdup and crealloc counts as one, also
 * one that fails by itself. */
VARNO_API void tracked_fail_after(long n);

#ifdef __cplusplus
}
#endif

#endif
