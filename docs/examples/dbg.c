/* Diagnostics that cost one access(2) while nobody listens: they go to syslog while the gate file exists. */
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>
#include <vos/dbg.h>

static int evaluated;

static int readTemperature(void) {
    evaluated++;
    return 41;
}

int main(void) {
    VOS_DBG_DEBUG("temperature %d", readTemperature()); /* the gate is closed: the argument is not evaluated */
    printf("closed: evaluated %d times\n", evaluated);

    close(open(VOS_DBG_GATE_FILE, O_CREAT | O_WRONLY, 0644)); /* what `touch /tmp/logdbg` does */
    VOS_DBG_DEBUG("temperature %d", readTemperature());
    UTIL_ASSERT(evaluated == 0); /* reported to syslog; the program goes on */
    unlink(VOS_DBG_GATE_FILE);
    printf("open: evaluated %d times\n", evaluated);
    return 0;
}

/* Prints:
closed: evaluated 0 times
open: evaluated 1 times
*/
