#ifndef VARNO_CONTRACT_H
#define VARNO_CONTRACT_H

// The two services that every module uses on every path: the check of a
// precondition and the debug trace. Both cost a test and a branch when there is
// nothing to say. A module names itself for its assertions by a file-local
// constant `source_name`.

#include <varno/platform.h>

// The library's identifier as varno/varno.h declares it, without all that it includes.
extern "C" VARNO_API int g_varno_trace_module_id;

// Reports the condition's own source text; it is observable, so parameters are
// named as the text names them.
#define VARNO_ASSERT(condition) VARNO_ASSERT_AS(condition, #condition)

// For the few conditions whose reported text is not their source text.
#define VARNO_ASSERT_AS(condition, text)                                                           \
    do {                                                                                           \
        if (!(condition))                                                                          \
            assert_fail(text, source_name, __LINE__);                                              \
    } while (0)

// Evaluates its arguments only when somebody listens.
#define VARNO_DEBUG(...)                                                                           \
    do {                                                                                           \
        if (varno::wants_debug())                                                                  \
            trace_emit(g_varno_trace_module_id, varno::debug_level, "(debug): " __VA_ARGS__);      \
    } while (0)

namespace varno {

constexpr int debug_level = 7;

// Somebody listens to the library's debug traces. As trace_wants, but the module's
// identifier is looked at only when any module is listened to: an alternative of a level
// that does not match costs 30 instructions instead of 32.
inline bool wants_debug()
{
    return debug_level <= __atomic_load_n(&g_trace_max_level, __ATOMIC_RELAXED) &&
           trace_module_wants(g_varno_trace_module_id, debug_level) != 0;
}

} // namespace varno

#endif
