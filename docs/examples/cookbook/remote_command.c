/* A developer's command inside a daemon in C: `vosctl cli meshd -- add 3 4` asks for it. */
#include <stdio.h>
#include <stdlib.h>
#include <vos/loop.h>

enum { MSG_REMOTE_CLI = 0x1000f030 };

static uint32_t command(int argc, char **argv, FILE *out) {
    if (argc != 3 || strcmp(argv[0], "add") != 0) {
        fprintf(out, "commands: add NUMBER NUMBER\n");
        return VOS_RET_UNKNOWN_NAME;
    }
    fprintf(out, "%d\n", atoi(argv[1]) + atoi(argv[2]));
    return VOS_RET_OK;
}

static void done(VosLoop *loop, VosRet ret, const VosMsgHeader *reply, void *ctx) {
    char line[32] = "";
    FILE *const output = fopen(UTIL_CLI_RESULT_FILE, "r"); /* complete by now */
    (void)reply, (void)ctx;
    if (output != NULL) {
        printf("%u: %s", ret, fgets(line, sizeof line, output) != NULL ? line : "nothing\n");
        fclose(output);
    }
    vosLoop_stop(loop, 0);
}

int main(void) {
    static VosLoop loop;
    static VosLoopHandler onCommand;
    static VosLoopCall call;
    static const char request[] = "\0\0\0\0\0\0\0\0add\0003\0004"; /* 8 bytes that are not looked at, the words */
    VosMsgHandle *hub = NULL;
    if (vosMsg_initByName("meshd", &hub) != VOS_RET_OK || vosLoop_init(&loop, hub) != VOS_RET_OK) {
        return 1;
    }
    vosLoop_serveCommands(&loop, &onCommand, MSG_REMOTE_CLI, command);
    vosLoop_ask(&loop, &call, vosMsg_getHandleEid(hub), MSG_REMOTE_CLI, VOS_LOOP_BY_TYPE, 3, request, sizeof request,
                5000, done, NULL);
    vosLoop_run(&loop);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
0: 7
*/
