/* Delays in C that the hub keeps and reports as messages. */
#include <stdio.h>
#include <vos/loop.h>
#include <vos/tmr.h>

static VosLoop loop;
static void *delays; /* what is to run when the hub says so */

static void run(void *text) {
    printf("%s\n", (const char *)text);
    if (utilTmr_getNumberOfEvents(delays) == 0) {
        vosLoop_stop(&loop, 0);
    }
}

static void due(VosLoop *l, const VosMsgHeader *msg, void *ctx) {
    (void)l, (void)msg, (void)ctx;
    utilMsgTmr_executeExpiredEvents(delays);
}

int main(void) {
    static VosLoopHandler onDue;
    static char first[] = "first", second[] = "second", never[] = "never";
    VosMsgHandle *hub = NULL;
    if (vosMsg_initByName("sleeper", &hub) != VOS_RET_OK || vosLoop_init(&loop, hub) != VOS_RET_OK ||
        utilTmr_init(&delays) != VOS_RET_OK) {
        return 1;
    }
    vosLoop_on(&loop, &onDue, VOS_MSG_REGISTER_DELAYED_MSG, due, NULL);
    utilMsgTmr_set(hub, delays, run, second, 40, "second");
    utilMsgTmr_set(hub, delays, run, first, 10, "first");
    utilMsgTmr_set(hub, delays, run, never, 60000, "never");
    utilMsgTmr_cancel(hub, delays, run, never); /* by function and argument */
    vosLoop_run(&loop);
    utilTmr_cleanup(&delays);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
first
second
*/
