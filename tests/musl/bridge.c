/* What the C++ library's archive, which was built for glibc, takes from it. */

#include <stdlib.h>

char __libc_single_threaded = 0;

/* It is linked with parts of the archive that nothing of the libraries calls. */
unsigned arc4random(void);

unsigned arc4random(void)
{
    abort();
}

/* Not found: the unwinder then goes through the loaded objects. */
int _dl_find_object(void *address, void *result);

int _dl_find_object(void *address, void *result)
{
    (void) address;
    (void) result;
    return -1;
}
