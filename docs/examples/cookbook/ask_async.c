/* Asking without waiting in C: several requests under way, each with a record of its own. */
#include <stdio.h>
#include <vos/loop.h>

enum { MSG_DOUBLE = 0x1000f200, MSG_SILENCE = 0x1000f201 };

static unsigned answers;

static void doubled(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    (void)ctx;
    vosLoop_reply(loop, request, 2 * request->wordData, NULL, 0);
}

static void keep(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    (void)request, (void)ctx; /* a copy (vosMsg_duplicate()) could be answered later */
    vosLoop_dismiss(loop);    /* or else it is answered VOS_RET_ERROR */
}

static void answered(VosLoop *loop, VosRet ret, const VosMsgHeader *reply, void *name) {
    if (ret == VOS_RET_OK) {
        printf("%s: %u\n", (const char *)name, reply->wordData);
    } else {
        printf("%s: code %u\n", (const char *)name, ret);
    }
    if (++answers == 3) {
        vosLoop_stop(loop, 0);
    }
}

int main(void) {
    static VosLoop loop;
    static VosLoopHandler onDouble, onSilence;
    static VosLoopCall calls[3]; /* stay until they are answered */
    static char first[] = "first", second[] = "second", silence[] = "silence";
    VosMsgHandle *hub = NULL;
    if (vosMsg_initByName("asker", &hub) != VOS_RET_OK || vosLoop_init(&loop, hub) != VOS_RET_OK) {
        return 1;
    }
    const VosEntityId peer = vosMsg_getHandleEid(hub); /* ourselves, here; UTIL_getEidByAppName() for others */
    vosLoop_serve(&loop, &onDouble, MSG_DOUBLE, doubled, NULL);
    vosLoop_serve(&loop, &onSilence, MSG_SILENCE, keep, NULL);
    vosLoop_ask(&loop, &calls[0], peer, MSG_DOUBLE, VOS_LOOP_BY_TYPE, 1, NULL, 0, 5000, answered, first);
    vosLoop_ask(&loop, &calls[1], peer, MSG_DOUBLE, VOS_LOOP_BY_TYPE, 2, NULL, 0, 5000, answered, second);
    vosLoop_ask(&loop, &calls[2], peer, MSG_SILENCE, VOS_LOOP_BY_TYPE, 0, NULL, 0, 50, answered, silence);
    vosLoop_run(&loop);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
first: 2
second: 4
silence: code 9809
*/
