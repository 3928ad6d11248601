/* A pool in a region of our own. Daemons use a shared segment that every process attaches at the same address. */
#include <stdio.h>
#include <vos/pool.h>

static int64_t region[8192];

int main(void) {
    bpool(region, sizeof region);
    void *first = bget(100);
    void *second = bget(200);
    int64_t taken, unused, largest, gets, releases;
    bstats(&taken, &unused, &largest, &gets, &releases);
    printf("%lld blocks taken\n", (long long)(gets - releases));
    brel(second);
    brel(first);
    bstats(&taken, &unused, &largest, &gets, &releases);
    printf("%lld bytes taken, one free block: %s\n", (long long)taken, unused == largest ? "yes" : "no");
    zeta_cleanup_bpool();
    return first != NULL && second != NULL ? 0 : 1;
}

/* Prints:
2 blocks taken
0 bytes taken, one free block: yes
*/
