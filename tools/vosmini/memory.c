/* Figures of a shared pool, of the gateway's memory and of a process's. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vos/load.h>
#include <vos/pool.h>

#include "vosmini.h"

enum { WALK_SECONDS = 5 };

#define USUAL_ADDRESS 0x58800000u /* where daemons attach the pool */

/* The walk through the free list believes what other processes wrote: a child makes it. */
static void printPool(void *address) {
    alarm(WALK_SECONDS);
    int64_t taken, unused, largest, gets, releases;
    zeta_secondary_bpool(address);
    bstats(&taken, &unused, &largest, &gets, &releases);
    printf("taken %lld free %lld largest %lld gets %lld releases %lld\n", (long long)taken, (long long)unused,
           (long long)largest, (long long)gets, (long long)releases);
    fflush(stdout);
    _exit(EXIT_SUCCESS);
}

int poolCommand(int argc, char **argv) {
    const uint32_t key = numberOf(argv[0], "key");
    void *wanted = (void *)(uintptr_t)(argc > 1 ? numberOf(argv[1], "address") : USUAL_ADDRESS);
    const int id = shmget((key_t)key, 0, 0);
    void *address = id < 0 ? (void *)-1 : shmat(id, wanted, SHM_RDONLY);
    if (address == (void *)-1) {
        fail(EXIT_FAILED, "cannot attach segment 0x%x at %p: %s", key, wanted, strerror(errno));
    }
    int status = 0;
    const pid_t pid = fork();
    if (pid == 0) {
        printPool(address);
    }
    if (pid < 0 || waitpid(pid, &status, 0) != pid) {
        fail(EXIT_FAILED, "cannot start a process: %s", strerror(errno));
    }
    if (status != 0) {
        fail(EXIT_FAILED, "segment 0x%x holds no sound pool that belongs at %p", key, wanted);
    }
    return EXIT_SUCCESS;
}

static int printProcess(uint32_t pid) {
    char path[64];
    char line[128];
    snprintf(path, sizeof path, "/proc/%u/smaps_rollup", pid);
    FILE *file = fopen(path, "re");
    if (file == NULL) {
        fail(EXIT_FAILED, "cannot read %s: %s", path, strerror(errno));
    }
    while (fgets(line, sizeof line, file) != NULL) {
        if (strncmp(line, "Rss:", 4) == 0 || strncmp(line, "Private_", 8) == 0) {
            fputs(line, stdout);
        }
    }
    fclose(file);
    return EXIT_SUCCESS;
}

int memoryCommand(int argc, char **argv) {
    if (argc == 1) {
        return printProcess(numberOf(argv[0], "process id"));
    }
    UtilMemOccupy memory;
    UTIL_getMemOccupy(&memory);
    printf("total %u free %u buffers %u cached %u kB\n", memory.memTotal.value, memory.memFree.value,
           memory.buffers.value, memory.cached.value);
    return EXIT_SUCCESS;
}
