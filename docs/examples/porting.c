/* A daemon's main loop by hand: log, handle, one poll for messages and timers, an end. vos/loop.h has it ready made. */
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <vos/vos.h>

static void *timers;
static volatile sig_atomic_t stopped;
static int beats;

static void stop(int signalNumber) {
    (void)signalNumber;
    stopped = 1;
}

static void heartbeat(void *handle) {
    UTIL_sendHeartbeat(handle);
    utilTmr_set(timers, heartbeat, handle, 10, "heartbeat"); /* timers are one-shot */
    if (++beats == 3) {
        raise(SIGTERM); /* a supervisor, here */
    }
}

static void dispatch(VosMsgHandle *handle, VosMsgHeader *msg) {
    if ((msg->flags & VOS_MSG_FLAG_REQUEST) != 0) {
        vosMsg_sendReply(handle, msg, VOS_RET_ERROR); /* nobody waits in vain for what is not served */
    }
}

int main(void) {
    VosMsgHandle *handle = NULL;
    struct pollfd waiting = {.events = POLLIN};
    if (vosMsg_initByName("ported", &handle) != VOS_RET_OK || utilTmr_init(&timers) != VOS_RET_OK) {
        return 1; /* no hub: the supervisor starts us again */
    }
    vosLog_init(vosMsg_getHandleEid(handle));
    signal(SIGTERM, stop);
    vosMsg_getEventHandle(handle, &waiting.fd);
    heartbeat(handle);
    VosRet ret = VOS_RET_OK;
    while (ret == VOS_RET_OK && !stopped) {
        uint32_t ms; /* cut: without the 1 the last fraction of the wait would spin */
        const int limit = utilTmr_getTimeToNextEvent(timers, &ms) == VOS_RET_OK ? (int)ms + 1 : -1;
        if (poll(&waiting, 1, limit) > 0) {
            VosMsgHeader *msg = NULL;
            if ((ret = vosMsg_receive(handle, &msg)) == VOS_RET_OK) {
                dispatch(handle, msg);
                VOS_FREE(msg); /* a received message is ours */
            }
        }
        utilTmr_executeExpiredEvents(timers);
    }
    printf("%s after %d heartbeats\n", ret == VOS_RET_OK ? "stopped" : "no hub", beats);
    utilTmr_cleanup(&timers);
    vosMsg_cleanup(&handle);
    vosLog_cleanup();
    return ret == VOS_RET_OK ? 0 : 1;
}

/* Prints:
stopped after 3 heartbeats
*/
