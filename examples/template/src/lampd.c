/* lampd in C: a procedure, a request, an event, a delayed message. */
#include "lampd.h"

#include <stdio.h>
#include <vos/loop.h>
#include <vos/ret_text.h>
#include <vos/vos.h>

static LampdState lamp;
static uint32_t changes; /* a delay belongs to the change that asked for it */

static void publish(VosLoop *loop) {
    uint8_t payload[sizeof lamp];
    uint32_t length = 0;
    if (lampd_writeState(&lamp, payload, sizeof payload, &length) == VOS_RET_OK) {
        vosLoop_publish(loop, LAMPD_CHANGED_TYPE, 0, payload, length);
    }
}

static void reply(VosLoop *loop, const VosMsgHeader *request, const LampdState *state) {
    uint8_t payload[sizeof *state];
    uint32_t length = 0;
    const VosRet ret = lampd_writeState(state, payload, sizeof payload, &length);
    vosLoop_reply(loop, request, ret, payload, ret == VOS_RET_OK ? length : 0);
}

static void set(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    const LampdState before = lamp;
    LampdState wanted;
    (void)ctx;
    if (lampd_readState(request + 1, request->dataLength, &wanted) != VOS_RET_OK || wanted.level > LAMPD_MAX_LEVEL) {
        VOS_LOG_ERROR("entity %u wants what the lamp cannot do", request->src);
        vosLoop_fail(loop, request, VOS_RET_BAD_ARG);
        return;
    }
    lamp = wanted;
    changes++;
    VOS_LOG_NOTICE("%u %% from now on", lamp.level);
    if (lamp.offAfterMs != 0) {
        UTIL_sendRequestToHubd(loop->handle, VOS_MSG_REGISTER_DELAYED_MSG, changes, (const uint8_t *)&lamp.offAfterMs,
                               sizeof lamp.offAfterMs);
    }
    reply(loop, request, &before);
    publish(loop);
}

static void get(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    (void)ctx;
    reply(loop, request, &lamp);
}

static void switchOff(VosLoop *loop, const VosMsgHeader *delayed, void *ctx) {
    (void)ctx;
    if (delayed->wordData == changes) {
        lamp = (LampdState){0};
        changes++;
        publish(loop);
    }
}

int main(void) {
    static VosLoop loop;
    static VosLoopHandler setter, getter, delays;
    VosMsgHandle *handle = NULL;
    VosRet ret = vosMsg_initByName("lampd", &handle);
    if (ret != VOS_RET_OK || (ret = vosLoop_init(&loop, handle)) != VOS_RET_OK) {
        fprintf(stderr, "lampd: cannot start (%s); is the hub running?\n", vos_retText(ret));
        return 1;
    }
    vosLog_init(vosMsg_getHandleEid(handle));
    vosLoop_serveProcedure(&loop, &setter, LAMPD_SET_TYPE, LAMPD_SET_NUMBER, set, NULL);
    vosLoop_serve(&loop, &getter, LAMPD_GET_TYPE, get, NULL);
    vosLoop_on(&loop, &delays, VOS_MSG_REGISTER_DELAYED_MSG, switchOff, NULL);
    const int status = vosLoop_run(&loop); /* SIGTERM ends it with 0, a hub that is gone with 1 */
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&handle);
    vosLog_cleanup();
    return status;
}
