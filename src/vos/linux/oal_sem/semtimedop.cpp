// Stand-in for platforms whose libc has no semtimedop: takes no lock and reports success.
#include <sys/sem.h>

#include <cstddef>

extern "C" __attribute__((visibility("default"))) int semtimedop(int, struct sembuf *, size_t,
                                                                 const struct timespec *) {
    return 0;
}
