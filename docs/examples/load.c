/* How busy the machine was between two looks, and its memory. */
#include <stdio.h>
#include <unistd.h>
#include <vos/load.h>

int main(void) {
    UtilCpuOccupy before, after;
    UtilMemOccupy memory = {0};
    if (UTIL_getCpuOccupy(&before) != 0 || usleep(20000) != 0 || UTIL_getCpuOccupy(&after) != 0) {
        return 1;
    }
    printf("busy share: %s\n", UTIL_calCpuOccupy(&before, &after) <= 100 ? "0 to 100 %" : "impossible");
    if (UTIL_getMemOccupy(&memory) == 0) {
        printf("%s: %s\n", memory.memTotal.name, memory.memTotal.value > memory.memFree.value ? "plausible" : "odd");
    }
    return 0;
}

/* Prints:
busy share: 0 to 100 %
MemTotal: plausible
*/
