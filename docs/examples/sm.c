/* A segment that two processes share, and the lock around their work on it. */
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vos/sem.h>
#include <vos/sm.h>

enum { KEY = 0x5601, ROUNDS = 1000 };

static void countUp(uint32_t lock, volatile uint32_t *counter) {
    for (int i = 0; i < ROUNDS; i++) {
        vosSem_lock(lock, NULL); /* without a time-out: until it is ours */
        (*counter)++;
        vosSem_unlock(lock);
    }
}

int main(void) {
    int32_t segment, lock;
    void *address;
    if (vosSm_creat(KEY, 4096, &segment, &address) != VOS_RET_OK || vosSem_init(KEY, false, &lock) != VOS_RET_OK) {
        return 1;
    }
    if (fork() == 0) {
        countUp((uint32_t)lock, address);
        _exit(0);
    }
    countUp((uint32_t)lock, address);
    wait(NULL);
    printf("%u of %d\n", *(uint32_t *)address, 2 * ROUNDS);

    vosSm_cleanup(address);
    vosSm_delete((uint32_t)segment);
    vosSem_cleanup((uint32_t)lock);
    return 0;
}

/* Prints:
2000 of 2000
*/
