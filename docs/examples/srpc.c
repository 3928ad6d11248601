/* Numbered procedures: the request's wordData chooses the handler. */
#include <stdio.h>
#include <vos/mem.h>
#include <vos/srpc.h>

enum { BASE = 1000 };

static VosRet reset(VosMsgHandle *handle, VosMsgHeader *msg) {
    (void)handle; /* a daemon replies here, with VOS_MSG_FLAG_SRPC and the request's wordData */
    printf("procedure %u\n", msg->wordData - BASE);
    return VOS_RET_OK;
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
        request->flags = VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC;
        request->wordData = BASE + 2;
        request->dataLength = 8;
        printf("served: %u\n", SRPC_msgProcess(handle, request));
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
unknown: 9002
*/
