// Stand-in for platforms whose libc has no semtimedop: takes no lock and reports success.
#include <sys/sem.h>

#include "vos/base.h"

VOS_BEGIN_DECLS

int semtimedop(int, struct sembuf *, size_t, const struct timespec *) {
    return 0;
}

VOS_END_DECLS
