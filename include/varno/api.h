#ifndef VARNO_API_H
#define VARNO_API_H

/* What every public header needs to declare itself: the mark of an exported
 * name and the check of printf-like arguments. Nothing here exists at run time. */

#if defined(__GNUC__)
#define VARNO_API __attribute__((visibility("default"))) /* an exported name */
#define VARNO_PRINTF(format_at, arguments_at)                                                      \
    __attribute__((format(printf, format_at, arguments_at))) /* of arguments, from 1 */
#define VARNO_NORETURN __attribute__((noreturn))             /* a function that does not return */
#else
#define VARNO_API
#define VARNO_PRINTF(format_at, arguments_at)
#define VARNO_NORETURN
#endif

#endif
