#ifndef VARNO_VERSION_H
#define VARNO_VERSION_H

/* The version: of these headers as numbers, of the library that runs as a text.
 * One version for all libraries of the package. Within a major version programs
 * need not be rebuilt; the minor version rises with what was added. */

#include <varno/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The build takes the version from these three lines. */
#define VARNO_VERSION_MAJOR 1
#define VARNO_VERSION_MINOR 1
#define VARNO_VERSION_PATCH 0

/* Tells which libvarno runs, which may be a later one than the program was built
 * with: three decimal numbers with dots between, "1.1.0".
 * Returns: a constant text, never NULL.
 * Owns:    the library. */
VARNO_API const char *varno_version(void);

#ifdef __cplusplus
}
#endif

#endif
