/* Numbered procedures: the request's wordData chooses the handler. */
#include <stdio.h>
#include <vos/mem.h>
#include <vos/srpc.h>

enum { BASE = 1000 };

static VosRet reset(VosMsgHandle *handle, VosMsgHeader *msg) {
    /* The requester takes only a reply with the flag and the request's wordData, which vosMsg_sendReply() does not set.
     */
    VosMsgHeader reply = {.type = msg->type, .flags = VOS_MSG_FLAG_RESPONSE | VOS_MSG_FLAG_SRPC};
    reply.src = msg->dst;
    reply.dst = msg->src;
    reply.wordData = msg->wordData;
    printf("procedure %u\n", msg->wordData - BASE);
    return vosMsg_send(handle, &reply);
}

static SrpcHandler handlers[] = {NULL, NULL, reset}; /* slot 0 is never used */
static SrpcTaskParams table = {.count = 3, .handlers = handlers, .baseId = BASE};

int main(void) {
    VosMsgHandle *handle = NULL;
    if (vosMsg_initByName("server", &handle) != VOS_RET_OK || SRPC_setTaskParams(NULL, &table) != VOS_RET_OK) {
        return 1;
    }
    VosMsgHeader *request = VOS_MALLOC_FLAGS((uint32_t)sizeof *request + 8, ALLOC_ZEROIZE); /* as one arrives */
    if (request != NULL) {
        request->type = 0x1000f110;
        request->src = request->dst = vosMsg_getHandleEid(handle); /* from ourselves, so the reply comes back */
        request->flags = VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC;
        request->wordData = BASE + 2;
        request->dataLength = 8;
        printf("served: %u\n", SRPC_msgProcess(handle, request));
        VosMsgHeader *reply = NULL;
        if (vosMsg_receive(handle, &reply) == VOS_RET_OK) {
            printf("reply: number %u, flags 0x%x\n", reply->wordData, reply->flags);
        }
        VOS_FREE(reply);
        request->wordData = BASE + 7;
        printf("unknown: %u\n", SRPC_msgProcess(handle, request));
    }
    VOS_FREE(request);
    vosMsg_cleanup(&handle);
    return 0;
}

/* Prints:
procedure 2
served: 0
reply: number 1002, flags 0x24
unknown: 9002
*/
