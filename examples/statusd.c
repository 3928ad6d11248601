/* A status daemon, built around the main loop that daemons share: messages and timers in one wait.
 *
 * It answers numbered procedures (uptime, load), measures the CPU load in the background, sends a heartbeat
 * from a timer and a report from a delayed message, and takes commands through the remote command line (uptime, load,
 * echo). Stops cleanly on SIGTERM and SIGINT.
 */
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <vos/vos.h>

#include "statusd.h"
#include "stop_signals.h"

enum { HEARTBEAT_MS = 1000, REPORT_MS = 500, MEASURE_MS = 200, TEXT_SIZE = 64 };

static struct {
    VosMsgHandle *handle;
    void *timers;  /* run when the main loop's wait ends */
    void *reports; /* run when the hub says so */
    UtilTimestamp started;
    UtilCpuOccupy before, after; /* the task's while it runs */
    int measuring;
    uint32_t loadPercent;
} status;

/* --- figures: numbered procedures and remote commands give the same ones */

static void uptime(char *text) {
    UtilTimestamp now, up;
    utilTms_get(&now);
    utilTms_delta(&now, &status.started, &up);
    utilTms_getDaysHoursMinutesSeconds(up.sec, text, TEXT_SIZE);
}

static void load(char *text) {
    snprintf(text, TEXT_SIZE, "%u %% of the CPU", status.loadPercent);
}

static const struct {
    const char *name;
    void (*write)(char *text); /* at most TEXT_SIZE bytes */
} figures[] = {{"uptime", uptime}, {"load", load}};

/* A reply counts for its requester only with the SRPC flag and the request's id. */
static VosRet reply(VosMsgHandle *handle, const VosMsgHeader *request, const char *text) {
    const uint32_t length = (uint32_t)strlen(text);
    VosMsgHeader *msg = VOS_MALLOC_FLAGS((uint32_t)sizeof *msg + length, ALLOC_ZEROIZE);
    if (msg == NULL) {
        return VOS_RET_NO_RESOURCE;
    }
    msg->type = request->type;
    msg->src = request->dst;
    msg->dst = request->src;
    msg->flags = VOS_MSG_FLAG_RESPONSE | VOS_MSG_FLAG_SRPC;
    msg->wordData = request->wordData;
    msg->dataLength = length;
    memcpy(msg + 1, text, length);
    const VosRet ret = vosMsg_send(handle, msg);
    VOS_FREE(msg);
    return ret;
}

static VosRet replyFigure(VosMsgHandle *handle, VosMsgHeader *msg) {
    char text[TEXT_SIZE];
    figures[msg->wordData - STATUS_UPTIME].write(text);
    return reply(handle, msg, text);
}

static SrpcHandler handlers[] = {NULL, replyFigure, replyFigure}; /* number 0 is never called */
static SrpcTaskParams procedures = {sizeof handlers / sizeof *handlers, handlers, STATUS_BASE};

static uint32_t runCommand(int argc, char **argv, FILE *out) {
    for (size_t i = 0; argc == 1 && i < sizeof figures / sizeof *figures; i++) {
        if (strcmp(argv[0], figures[i].name) == 0) {
            char text[TEXT_SIZE];
            figures[i].write(text);
            fprintf(out, "%s\n", text);
            return VOS_RET_OK;
        }
    }
    if (argc > 0 && strcmp(argv[0], "echo") == 0) {
        for (int i = 1; i < argc; i++) {
            fprintf(out, "%s%s", argv[i], i + 1 < argc ? " " : "\n");
        }
        return VOS_RET_OK;
    }
    fprintf(out, "commands: uptime, load, echo WORDS\n");
    return VOS_RET_UNKNOWN_NAME;
}

/* --- background measurement, heartbeat and report */

/* In a thread of its own. */
static void measure(void *arg) {
    (void)arg;
    UTIL_getCpuOccupy(&status.before);
    nanosleep(&(struct timespec){.tv_nsec = MEASURE_MS * 1000000L}, NULL);
    UTIL_getCpuOccupy(&status.after);
}

/* In the main loop again. */
static void measured(void *arg) {
    (void)arg;
    status.loadPercent = UTIL_calCpuOccupy(&status.before, &status.after);
    status.measuring = 0;
    VOS_LOG_DEBUG("load is %u %%", status.loadPercent);
}

static void heartbeat(void *arg) {
    UTIL_sendHeartbeat(status.handle);
    utilTmr_set(status.timers, heartbeat, arg, HEARTBEAT_MS, "heartbeat");
}

static void report(void *arg) {
    char text[TEXT_SIZE];
    uptime(text);
    UTIL_sendEventToHubd(status.handle, MSG_STATUS_REPORT, status.loadPercent, (uint8_t *)text, (uint32_t)strlen(text));
    if (!status.measuring) {
        status.measuring = UTIL_taskStart(measure, NULL, measured, status.handle) == VOS_RET_OK;
    }
    utilMsgTmr_set(status.handle, status.reports, report, arg, REPORT_MS, "report");
}

/* --- main loop */

static void dispatch(VosMsgHeader *msg) {
    if (msg->type == MSG_STATUS && (msg->flags & VOS_MSG_FLAG_SRPC) != 0) {
        if (SRPC_msgProcess(status.handle, msg) != VOS_RET_OK) {
            reply(status.handle, msg, "");
        }
    } else if (msg->type == MSG_REMOTE_CLI) {
        UTIL_processRemoteCli(status.handle, msg, runCommand);
    } else if (msg->type == VOS_MSG_SYSTEM_TASK_FINISH) {
        UTIL_taskFinish(msg);
    } else if (msg->type == VOS_MSG_REGISTER_DELAYED_MSG) {
        utilMsgTmr_executeExpiredEvents(status.reports);
    } else if ((msg->flags & VOS_MSG_FLAG_REQUEST) != 0) {
        vosMsg_sendReply(status.handle, msg, VOS_RET_ERROR);
    }
}

/* One turn: waits for a message or the next timer, then serves both. */
static VosRet turn(struct pollfd *waiting, const sigset_t *waitMask) {
    uint32_t ms = 0;
    utilTmr_getTimeToNextEvent(status.timers, &ms);
    /* The time is cut to whole milliseconds: one more, or the last fraction would be spent turning. */
    const struct timespec wait = {ms / 1000, ms % 1000 * 1000000L + 1000000L - 1};
    VosMsgHeader *msg = NULL;
    VosRet ret = VOS_RET_OK;
    if (ppoll(waiting, 1, &wait, waitMask) > 0 && (ret = vosMsg_receive(status.handle, &msg)) == VOS_RET_OK) {
        dispatch(msg);
    }
    VOS_FREE(msg);
    utilTmr_executeExpiredEvents(status.timers);
    return ret;
}

int main(int argc, char **argv) {
    setvbuf(stdout, NULL, _IOLBF, 0);
    const sigset_t waitMask = catchStopSignals();
    utilTms_get(&status.started);
    VosRet ret = vosMsg_initByName(argc > 1 ? argv[1] : "statusd", &status.handle);
    if (ret != VOS_RET_OK) {
        fprintf(stderr, "statusd: launch failed (%u); is the hub running?\n", ret);
        return 1;
    }
    struct pollfd waiting = {.events = POLLIN};
    vosMsg_getEventHandle(status.handle, &waiting.fd);
    if (utilTmr_init(&status.timers) != VOS_RET_OK || utilTmr_init(&status.reports) != VOS_RET_OK) {
        fprintf(stderr, "statusd: no memory for timers\n");
        return 1;
    }
    SRPC_setTaskParams(NULL, &procedures);
    printf("launched as entity %u\n", vosMsg_getHandleEid(status.handle));
    vosLog_init(vosMsg_getHandleEid(status.handle));
    VOS_LOG_NOTICE("launched"); /* recorded in the ring, written at this level and above only */
    heartbeat(NULL);
    report(NULL);
    /* A running measurement still needs the handle. */
    while (ret == VOS_RET_OK && (!stopped || status.measuring)) {
        ret = turn(&waiting, &waitMask);
    }
    if (ret != VOS_RET_OK) {
        VOS_LOG_ERROR("the hub is gone (%u)", ret);
        return 1;
    }
    utilTmr_cleanup(&status.timers);
    utilTmr_cleanup(&status.reports);
    printf("stopped\n");
    vosMsg_cleanup(&status.handle);
    vosLog_cleanup();
    return 0;
}
