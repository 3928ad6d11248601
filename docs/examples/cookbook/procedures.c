/* Numbered procedures in C: a daemon that serves them, and a program that calls them and waits. */
#include <stdio.h>
#include <sys/wait.h>
#include <vos/loop.h>
#include <vos/request.h>

enum { MSG_SUM = 0x1000f203, SUM_ADD = 1, SUM_UNKNOWN = 3 };

typedef struct {
    int32_t a, b;
} Pair; /* 8 bytes, the least that a procedure's request carries */

static void add(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    Pair pair;
    (void)ctx;
    if (request->dataLength != sizeof pair) {
        vosLoop_fail(loop, request, VOS_RET_BAD_ARG);
        return;
    }
    memcpy(&pair, request + 1, sizeof pair);
    const int64_t sum = (int64_t)pair.a + pair.b;
    vosLoop_reply(loop, request, VOS_RET_OK, &sum, sizeof sum); /* flag and number come from the request */
}

static int serve(void) {
    static VosLoop loop;
    static VosLoopHandler onAdd;
    VosMsgHandle *hub = NULL;
    if (vosMsg_initByName("sumd", &hub) != VOS_RET_OK || vosLoop_init(&loop, hub) != VOS_RET_OK) {
        return 1;
    }
    vosLoop_serveProcedure(&loop, &onAdd, MSG_SUM, SUM_ADD, add, NULL);
    const int status = vosLoop_run(&loop);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return status;
}

static void call(VosMsgHandle *hub, VosEntityId sumd, uint32_t procedure) {
    const Pair pair = {40, 2};
    VosMsgHeader *reply = NULL;
    VosMsgHeader *request = VOS_MALLOC_FLAGS((uint32_t)(sizeof *request + sizeof pair), ALLOC_ZEROIZE);
    if (request == NULL) {
        return;
    }
    request->type = MSG_SUM;
    request->src = vosMsg_getHandleEid(hub); /* or the reply goes to nobody */
    request->dst = sumd;
    request->flags = VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC;
    request->wordData = procedure;
    request->dataLength = sizeof pair;
    memcpy(request + 1, &pair, sizeof pair);
    const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(hub, request, &reply, 5000);
    if (ret == VOS_RET_OK && reply != NULL && reply->dataLength == sizeof(int64_t)) {
        int64_t sum;
        memcpy(&sum, reply + 1, sizeof sum);
        printf("%u: %d\n", procedure, (int)sum);
    } else {
        printf("%u: %s\n", procedure, ret != VOS_RET_OK ? "no answer" : "refused");
    }
    VOS_FREE(reply);
    VOS_FREE(request);
}

int main(void) {
    const pid_t server = fork();
    VosMsgHandle *hub = NULL;
    VosEntityId sumd;
    if (server == 0) {
        _exit(serve());
    }
    if (vosMsg_initByName("asker", &hub) != VOS_RET_OK) {
        return 1;
    }
    while ((sumd = UTIL_getEidByAppName("sumd", hub)) == 0 || vosImg_isAppRunning(hub, sumd) == 0) {
        nanosleep(&(struct timespec){.tv_nsec = 20000000}, NULL); /* it is still starting */
    }
    call(hub, sumd, SUM_ADD);
    call(hub, sumd, SUM_UNKNOWN);
    vosMsg_cleanup(&hub);
    kill(server, SIGTERM);
    waitpid(server, NULL, 0);
    return 0;
}

/* Prints:
1: 42
3: refused
*/
