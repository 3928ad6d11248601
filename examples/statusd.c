/* A status daemon on vos/loop.h: procedures, a background task, heartbeat, delayed messages, remote commands. */
#include <stdio.h>
#include <vos/loop.h>
#include <vos/vos.h>

#include "statusd.h"
enum { HEARTBEAT_MS = 1000, REPORT_MS = 500, MEASURE_MS = 200, TEXT_SIZE = 64 };
static VosLoop loop;
static void *reports; /* run when the hub says so */
static UtilTimestamp started;
static UtilCpuOccupy before, after; /* the task's while it runs */
static bool measuring;
static uint32_t loadPercent;

static uint32_t figure(uint32_t procedure, char *text) {
    UtilTimestamp now, up;
    utilTms_get(&now);
    utilTms_delta(&now, &started, &up);
    if (procedure == STATUS_LOAD) {
        snprintf(text, TEXT_SIZE, "%u %% of the CPU", loadPercent);
    } else {
        utilTms_getDaysHoursMinutesSeconds(up.sec, text, TEXT_SIZE);
    }
    return (uint32_t)strlen(text);
}

static void replyFigure(VosLoop *l, const VosMsgHeader *request, void *ctx) {
    char text[TEXT_SIZE];
    (void)ctx;
    vosLoop_reply(l, request, VOS_RET_OK, text, figure(request->wordData, text));
}

static uint32_t runCommand(int argc, char **argv, FILE *out) {
    char text[TEXT_SIZE];
    if (argc > 0 && strcmp(argv[0], "echo") == 0) {
        for (int i = 1; i < argc; i++) {
            fprintf(out, "%s%s", argv[i], i + 1 < argc ? " " : "\n");
        }
    } else if (argc == 1 && (strcmp(argv[0], "uptime") == 0 || strcmp(argv[0], "load") == 0)) {
        figure(argv[0][0] == 'l' ? STATUS_LOAD : STATUS_UPTIME, text);
        fprintf(out, "%s\n", text);
    } else {
        fprintf(out, "commands: uptime, load, echo WORDS\n");
        return VOS_RET_UNKNOWN_NAME;
    }
    return VOS_RET_OK;
}

static void measure(void *arg) { /* in a thread of its own */
    (void)arg;
    UTIL_getCpuOccupy(&before);
    nanosleep(&(struct timespec){.tv_nsec = MEASURE_MS * 1000000L}, NULL);
    UTIL_getCpuOccupy(&after);
}

static void measured(void *arg) { /* in the main loop again */
    (void)arg;
    loadPercent = UTIL_calCpuOccupy(&before, &after);
    measuring = false;
    VOS_LOG_DEBUG("load is %u %%", loadPercent);
}

static void heartbeat(VosLoop *l, void *ctx) {
    (void)ctx;
    UTIL_sendHeartbeat(l->handle);
}

static void report(void *arg) {
    char text[TEXT_SIZE];
    vosLoop_publish(&loop, MSG_STATUS_REPORT, loadPercent, text, figure(STATUS_UPTIME, text));
    measuring = measuring || UTIL_taskStart(measure, NULL, measured, loop.handle) == VOS_RET_OK;
    utilMsgTmr_set(loop.handle, reports, report, arg, REPORT_MS, "report");
}

static void delayed(VosLoop *l, const VosMsgHeader *msg, void *ctx) {
    (void)l, (void)msg, (void)ctx;
    utilMsgTmr_executeExpiredEvents(reports);
}

int main(int argc, char **argv) {
    static VosLoopHandler procedures[2], commands, delays;
    static VosLoopTimer beat;
    VosMsgHandle *handle = NULL;
    setvbuf(stdout, NULL, _IOLBF, 0);
    utilTms_get(&started);
    VosRet ret = vosMsg_initByName(argc > 1 ? argv[1] : "statusd", &handle);
    if (ret != VOS_RET_OK || (ret = vosLoop_init(&loop, handle)) != VOS_RET_OK ||
        (ret = utilTmr_init(&reports)) != VOS_RET_OK) {
        fprintf(stderr, "statusd: launch failed (%s); is the hub running?\n", vos_retText(ret));
        return 1;
    }
    printf("launched as entity %u\n", vosMsg_getHandleEid(handle));
    vosLog_init(vosMsg_getHandleEid(handle));
    VOS_LOG_NOTICE("launched"); /* written at this level and above only */
    vosLoop_serveProcedure(&loop, &procedures[0], MSG_STATUS, STATUS_UPTIME, replyFigure, NULL);
    vosLoop_serveProcedure(&loop, &procedures[1], MSG_STATUS, STATUS_LOAD, replyFigure, NULL);
    vosLoop_serveCommands(&loop, &commands, MSG_REMOTE_CLI, runCommand);
    vosLoop_on(&loop, &delays, VOS_MSG_REGISTER_DELAYED_MSG, delayed, NULL);
    vosLoop_every(&loop, &beat, HEARTBEAT_MS, heartbeat, NULL);
    report(NULL);
    int result = vosLoop_run(&loop);
    while (result == 0 && measuring && vosLoop_turn(&loop, UINT32_MAX) == VOS_RET_OK) {
    } /* a running measurement still needs the handle */
    printf("%s\n", result == 0 ? "stopped" : "the hub is gone");
    utilTmr_cleanup(&reports);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&handle);
    vosLog_cleanup();
    return result;
}
