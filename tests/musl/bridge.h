#ifndef VARNO_TESTS_MUSL_BRIDGE_H
#define VARNO_TESTS_MUSL_BRIDGE_H

/* What the C++ library's headers, which were set up for glibc, take from its headers.
 * Included before all others where musl stands in for glibc. */

#define __GLIBC_PREREQ(major, minor) 0
#define __locale_t locale_t

#ifdef __cplusplus
#include <pthread.h>
extern "C" {
int pthread_cond_clockwait(pthread_cond_t *condition, pthread_mutex_t *mutex, clockid_t clock,
                           const struct timespec *until);
int pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const struct timespec *until);
}
#endif

#endif
