#ifndef VARNO_PLATFORM_H
#define VARNO_PLATFORM_H

/* What the library asks of its platform. libvarno calls these services and
 * contains none of them; libvarno-platform is the default implementation, and a
 * device with services of its own provides a library with the same names
 * instead (the same soname, so that the same libvarno runs on it).
 *
 * All services may be called from any thread. An implementation keeps every
 * result and bound stated here: the library relies on them. */

#include <stddef.h>

#include <varno/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Trace. module_id is what trace_register_module has returned, level how much a
 * message matters: 0 the most; debug traces have 7. */

/* The highest level at which any module's emit can reach anyone; every emit
 * above it is dropped. Below every level while nobody listens. Read on hot
 * paths, and by any thread while another one changes it: so with relaxed order,
 * as a platform stores it if it does so while threads trace. */
VARNO_API extern int g_trace_max_level;

/* Registers a module by name.
 * Returns: its identifier, above 0; -1 when there is no room. */
VARNO_API int trace_register_module(const char *name);

/* Hands one message of module_id at level, formatted as printf does with format, to
 * whoever listens; drops it when nobody does. Leaves errno as it was, so that code
 * behaves alike with traces and without. */
VARNO_API void trace_emit(int module_id, int level, const char *format, ...) VARNO_PRINTF(3, 4);

/* Returns: 0 when an emit of the module module_id at this level would be dropped,
 *          else 1. */
VARNO_API int trace_module_wants(int module_id, int level);

/* What a caller asks before it evaluates the arguments of a trace of module_id at
 * level: a silent trace costs a load, a test and a branch.
 * Returns: not 0 when it is wanted. */
static inline int trace_wants(int module_id, int level)
{
    return level <= __atomic_load_n(&g_trace_max_level, __ATOMIC_RELAXED) &&
           trace_module_wants(module_id, level);
}

/* Assertion */

/* Reports a broken precondition: the condition's source text, the module's name
 * without directory or extension, and the line. Does not return; it may leave by
 * an exception or longjmp. */
VARNO_API VARNO_NORETURN void assert_fail(const char *condition, const char *source, int line);

/* Tracked allocator. Every block is taken and released under a tag, a text (its
 * record type's name); tags are compared as texts, and one need not outlive the call.
 * A size is a number of bytes. A request whose number of bytes overflows fails. A
 * request for no bytes gives a block of its own, so NULL always means failure. */

/* Returns: a block of size bytes under the tag, not cleared; NULL without memory. */
VARNO_API void *tracked_malloc(size_t size, const char *tag);

/* Returns: a zeroed block of count elements of size bytes each, under the tag; NULL
 *          without memory. */
VARNO_API void *tracked_calloc(size_t count, size_t size, const char *tag);

/* Returns: a copy of the terminated text, under the tag; NULL without memory. */
VARNO_API char *tracked_strdup(const char *text, const char *tag);

/* Releases ptr, a block that was taken under the tag; NULL is allowed, whatever the
 * tag. */
VARNO_API void tracked_free(void *ptr, const char *tag);

/* Grows an array of count elements of element_size bytes each (NULL when count is 0)
 * by added elements.
 * Returns: the array, possibly moved, its new elements zeroed; NULL without
 *          memory, the old array is then as it was.
 * Owns:    the caller; released with tracked_free(..., "BYTE"). */
VARNO_API void *crealloc(void *array, size_t element_size, size_t count, size_t added);

/* Text. White space is what isspace says of a byte taken as a signed value.
 *
 * Quotes are " and '. Inside a quoted stretch only the same quote character
 * closes it. A backslash outside single quotes makes the character after it
 * ordinary (neither a quote, nor a separator, nor a backslash); a backslash at
 * the very end of the text is an ordinary character. A token is a maximal run of
 * characters that are not unquoted, unescaped white space; its bounds include
 * its quotes and backslashes. An unclosed quote runs to the end of the text. */

/* Finds the first character at or after buf + index that is not white space.
 * Requires: index at most the terminator's; one below 0 counts as 0.
 * Returns:  the character; NULL when there is none before the terminator. */
VARNO_API char *spanws(const char *buf, int index);

/* Finds the nearest character at or before buf + index that is not white space.
 * The terminator is no character of the text: from its index the search starts at
 * the character before it.
 * Requires: index at most the terminator's.
 * Returns:  the character; NULL when there is none back to buf, or index is
 *           below 0. */
VARNO_API char *spanws_back(const char *buf, int index);

/* Finds the word [a, b), a run of characters that are not white space, with
 * a <= cursor_location <= b, in the text buf[0..buf_used). No two words qualify:
 * white space separates them.
 * Returns: 0, *start the word's first index and *len its number of characters; -1 and
 *          neither when the cursor touches no word or is outside 0..buf_used. */
VARNO_API int string_get_cursor_token(const char *buf, int buf_used, int cursor_location,
                                      int *start, int *len);

/* Finds the first token of s.
 * Returns: 0 and its bounds [*start, *end) as indices of s; -1 and neither when s
 *          holds none. */
VARNO_API int token_find_bounds(const char *s, int *start, int *end);

/* Copies out the next token, its quotes and escaping backslashes removed (an
 * empty quoted token gives an empty text), and sets *out_at to the offset of its
 * first character (an opening quote included).
 * Returns: the characters of leading white space, the token and all white space
 *          after it. When only white space is left: the number of characters
 *          passed over, *out_token NULL and *out_at that number. Without memory
 *          for the copy: as for a token, *out_token NULL.
 * Owns:    the caller; *out_token is released with tracked_free(..., "BYTE"). */
VARNO_API int token_copy(const char *text, char **out_token, int *out_at);

/* Checks the quotes of a text.
 * Returns: the first opening quote that has no closing partner; NULL when the
 *          quotes are balanced. */
VARNO_API const char *string_check_quotes(const char *text);

/* Copies at most n characters of src to dst, and a terminator right after them:
 * dst holds n + 1 bytes for a src of n characters or more.
 * Returns: 0 when the whole of src was copied, 1 when it was cut. */
VARNO_API int strlcpy2(char *dst, const char *src, size_t n);

#ifdef __cplusplus
}
#endif

#endif
