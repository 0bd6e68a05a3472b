/* Linked into every program of the coverage build only (see scripts/mutate.py,
 * "map"): a program that leaves through _exit, as the helpers' signal handlers
 * do, would otherwise take the counts of that run with it. The linker's
 * --wrap=_exit sends the programs' own calls here. */
#include <stdlib.h>

extern void __gcov_dump(void);
extern void __real__exit(int status) __attribute__((noreturn));

void __wrap__exit(int status)
{
    __gcov_dump();
    __real__exit(status);
}
