/* Timers in a daemon's own loop: poll until the soonest is due, then run what is due. */
#include <poll.h>
#include <stdio.h>
#include <vos/tmr.h>

static void *timers;
static int blinks;

static void blink(void *ctxData) {
    printf("%s %d\n", (const char *)ctxData, ++blinks);
    if (blinks < 3) {
        utilTmr_set(timers, blink, ctxData, 5, "blink"); /* one-shot: set again */
    }
}

int main(void) {
    static char text[] = "blink";
    uint32_t ms;
    if (utilTmr_init(&timers) != VOS_RET_OK) {
        return 1;
    }
    utilTmr_set(timers, blink, text, 5, "blink");
    while (utilTmr_getTimeToNextEvent(timers, &ms) == VOS_RET_OK) {
        poll(NULL, 0, (int)ms + 1); /* ms is cut: without the 1 the last fraction would spin. A daemon waits on its
                                       message descriptor here. */
        utilTmr_executeExpiredEvents(timers);
    }
    utilTmr_cleanup(&timers);
    return 0;
}

/* Prints:
blink 1
blink 2
blink 3
*/
