#ifndef VARNO_TTY_INTERFACES_H
#define VARNO_TTY_INTERFACES_H

#include "console.h"

// Prints the interface of this name, or all for NULL. Returns whether there was one.
bool interfaces_print(Console &console, const char *name);

#endif
