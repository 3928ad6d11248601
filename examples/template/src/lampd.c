/* lampd in C. The marks in brackets are for the manual's tutorial, which goes
 * through this file. */
#include "lampd.h"

#include <stdio.h>
#include <stdlib.h>
#include <vos/loop.h>
#include <vos/ret_text.h>
#include <vos/vos.h>

#include "buttond.h"

static LampdState lamp;
static uint32_t changes; /* a delay belongs to the change that asked for it */
static unsigned trials;  /* under way */

/* [request] */
static void reply(VosLoop *loop, const VosMsgHeader *request,
                  const LampdState *state) {
    uint8_t payload[sizeof *state];
    uint32_t length = 0;
    const VosRet ret =
        lampd_writeState(state, payload, sizeof payload, &length);
    vosLoop_reply(loop, request, ret, payload, ret == VOS_RET_OK ? length : 0);
}

static void get(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    (void)ctx;
    reply(loop, request, &lamp);
}
/* [request] */

/* [event] */
static void become(VosLoop *loop, LampdState wanted) {
    uint8_t payload[sizeof wanted];
    uint32_t length = 0;
    lamp = wanted;
    changes++;
    VOS_LOG_NOTICE("%u %% from now on", lamp.level);
    if (lampd_writeState(&lamp, payload, sizeof payload, &length) ==
        VOS_RET_OK) {
        vosLoop_publish(loop, LAMPD_CHANGED_TYPE, 0, payload, length);
    }
}
/* [event] */

/* [procedure] */
static void set(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    const LampdState before = lamp;
    LampdState wanted;
    (void)ctx;
    if (lampd_readState(request + 1, request->dataLength, &wanted) !=
            VOS_RET_OK ||
        wanted.level > LAMPD_MAX_LEVEL) {
        VOS_LOG_ERROR("entity %u wants what the lamp cannot do", request->src);
        vosLoop_fail(loop, request, VOS_RET_BAD_ARG);
        return;
    }
    become(loop, wanted);
    if (lamp.offAfterMs != 0) {
        UTIL_sendRequestToHubd(loop->handle, VOS_MSG_REGISTER_DELAYED_MSG,
                               changes, (const uint8_t *)&lamp.offAfterMs,
                               sizeof lamp.offAfterMs);
    }
    reply(loop, request, &before);
}
/* [procedure] */

/* [delay] */
static void switchOff(VosLoop *loop, const VosMsgHeader *delayed, void *ctx) {
    (void)ctx;
    if (delayed->wordData == changes) {
        become(loop, (LampdState){0});
    }
}
/* [delay] */

/* [subscribe] */
static void toggle(VosLoop *loop, const VosMsgHeader *event, void *ctx) {
    (void)event, (void)ctx;
    become(loop, (LampdState){.level = lamp.level == 0 ? LAMPD_MAX_LEVEL : 0});
}
/* [subscribe] */

/* [timer] */
static void beat(VosLoop *loop, void *ctx) {
    (void)ctx;
    UTIL_sendHeartbeat(loop->handle);
}
/* [timer] */

/* [task] */
typedef struct {
    VosLoop *loop;
    VosMsgHeader request; /* what a reply has to know of it */
    LampdCheckReply result;
} Trial; /* the thread's while it works, then the loop's */

static bool shines(uint32_t level) {
    const struct timespec pause = {.tv_nsec = 20000000};
    nanosleep(&pause, NULL); /* a driver would look at the lamp */
    return level <= LAMPD_MAX_LEVEL;
}

static void tryOut(void *arg) { /* in a thread of its own */
    Trial *const trial = arg;
    for (uint32_t level = 0; level <= LAMPD_MAX_LEVEL; level += 20) {
        trial->result.faults += shines(level) ? 0 : 1;
    }
}

static void answer(void *arg) { /* in the loop again */
    Trial *const trial = arg;
    uint8_t payload[sizeof trial->result];
    uint32_t length = 0;
    const VosRet ret =
        lampd_writeCheckReply(&trial->result, payload, sizeof payload, &length);
    vosLoop_reply(trial->loop, &trial->request, ret, payload, length);
    free(trial);
    trials--;
}

static void check(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    Trial *const trial = calloc(1, sizeof *trial);
    (void)ctx;
    if (trial != NULL) {
        trial->loop = loop;
        trial->request = *request;
    }
    if (trial == NULL ||
        UTIL_taskStart(tryOut, trial, answer, loop->handle) != VOS_RET_OK) {
        free(trial);
        return; /* the loop refuses for us */
    }
    trials++;
    vosLoop_dismiss(loop); /* answered later */
}
/* [task] */

int main(void) {
    /* [start] */
    static VosLoop loop;
    VosMsgHandle *handle = NULL;
    VosRet ret = vosMsg_initByName(LAMPD_SERVER, &handle);
    if (ret != VOS_RET_OK ||
        (ret = vosLoop_init(&loop, handle)) != VOS_RET_OK) {
        fprintf(stderr, "lampd: cannot start (%s); is the hub running?\n",
                vos_retText(ret));
        return 1;
    }
    vosLog_init(vosMsg_getHandleEid(handle));
    /* [start] */
    /* [serve] */
    static VosLoopHandler getter, setter, checker;
    vosLoop_serve(&loop, &getter, LAMPD_GET_TYPE, get, NULL);
    vosLoop_serveProcedure(&loop, &setter, LAMPD_SET_TYPE, LAMPD_SET_NUMBER,
                           set, NULL);
    vosLoop_serve(&loop, &checker, LAMPD_CHECK_TYPE, check, NULL);
    /* [serve] */
    /* [listen] */
    static VosLoopHandler delays, button;
    static VosLoopTimer beats;
    vosLoop_on(&loop, &delays, VOS_MSG_REGISTER_DELAYED_MSG, switchOff, NULL);
    vosLoop_on(&loop, &button, BUTTOND_PRESSED_TYPE, toggle, NULL);
    if ((ret = UTIL_registerEvent(handle, BUTTOND_PRESSED_TYPE, NULL, 0)) !=
        VOS_RET_OK) {
        VOS_LOG_ERROR("no button (%s)", vos_retText(ret));
    }
    vosLoop_every(&loop, &beats, 1000, beat, NULL);
    /* [listen] */
    /* [stop] */
    const int status = vosLoop_run(
        &loop); /* SIGTERM ends it with 0, a hub that is gone with 1 */
    while (status == 0 && trials > 0 &&
           vosLoop_turn(&loop, UINT32_MAX) == VOS_RET_OK) {
    } /* the threads still need the handle */
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&handle);
    vosLog_cleanup();
    return status;
    /* [stop] */
}
