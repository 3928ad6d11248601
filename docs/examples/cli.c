/* A command that another process runs in this daemon; its output goes to a file. */
#include <stdio.h>
#include <string.h>
#include <vos/cli.h>
#include <vos/fil.h>
#include <vos/mem.h>

static uint32_t showPort(int argc, char **argv, FILE *out) {
    fprintf(out, "%d argument: %s\n", argc, argv[0]);
    return 0; /* the reply's wordData */
}

int main(void) {
    static const char argument[] = "lan1";
    VosMsgHandle *handle = NULL;
    char output[64] = "";
    uint32_t size = sizeof output - 1;
    if (vosMsg_initByName("daemon", &handle) != VOS_RET_OK) {
        return 1;
    }
    /* As it arrives: the number of arguments, 8 bytes that name the command, the arguments. */
    VosMsgHeader *request = VOS_MALLOC_FLAGS((uint32_t)(sizeof *request + 8 + sizeof argument), ALLOC_ZEROIZE);
    if (request == NULL) {
        return 1;
    }
    request->src = request->dst = vosMsg_getHandleEid(handle);
    request->flags = VOS_MSG_FLAG_REQUEST;
    request->wordData = 1;
    request->dataLength = 8 + sizeof argument;
    memcpy((char *)(request + 1) + 8, argument, sizeof argument);
    printf("%u\n", UTIL_processRemoteCli(handle, request, showPort)); /* runs the command and replies */
    VOS_FREE(request);

    utilFil_copyToBuffer(UTIL_CLI_RESULT_FILE, (uint8_t *)output, &size);
    printf("%s", output);
    vosMsg_cleanup(&handle);
    return 0;
}

/* Prints:
0
1 argument: lan1
*/
