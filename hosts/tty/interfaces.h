#ifndef VARNO_TTY_INTERFACES_H
#define VARNO_TTY_INTERFACES_H

// Prints the network interface of this name, or all of them for NULL.
// Returns: false when there is none to print.
bool interfaces_print(const char *name);

#endif
