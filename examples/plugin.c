/* An operator plug-in that keeps one parameter and answers the plug-in manager's set-parameter events.
 *
 * Its name comes from ../Info.plugin (see plugin/Info.plugin), so it is started in a directory below that file:
 *
 *     mkdir -p /tmp/light/bin && cp plugin/Info.plugin /tmp/light/ && cd /tmp/light/bin && plugin
 *
 * The parameters are the text "level=NUMBER"; the answer says what is in force. Stops cleanly on SIGTERM and SIGINT.
 */
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <vos/plugin.h>
#include <vos/plugin_info.h>
#include <vos/text.h>
#include <vos/vos.h>

#include "stop_signals.h"

static uint32_t level = 50;

/* The library sends the returned text and frees it. */
static char *setParameters(const char *commonCtx) {
    static const char key[] = "level=";
    char *answer = NULL;
    uint32_t wanted = 0;
    if (commonCtx == NULL || strncmp(commonCtx, key, strlen(key)) != 0 ||
        util_strtoul(commonCtx + strlen(key), NULL, 10, &wanted) != VOS_RET_OK || wanted > 100) {
        util_sprintf_alloc(__func__, __LINE__, &answer, "refused, level=%u", level);
        return answer;
    }
    level = wanted;
    util_sprintf_alloc(__func__, __LINE__, &answer, "level=%u", level);
    return answer;
}

int main(void) {
    const sigset_t waitMask = catchStopSignals();
    struct pollfd waiting = {.events = POLLIN};
    VosMsgHandle *handle = NULL;
    char name[64] = "";
    VosRet ret = VOS_RET_OK;

    if (UTIL_pluginGetName(name, sizeof name) != VOS_RET_OK || name[0] == '\0') {
        fprintf(stderr, "plugin: no name in ../Info.plugin; start it one directory below that file\n");
        return 1;
    }
    ret = vosMsg_initEasy(&handle);
    if (ret != VOS_RET_OK) {
        fprintf(stderr, "plugin: no hub (%u)\n", ret);
        return 1;
    }
    vosMsg_getEventHandle(handle, &waiting.fd);
    UTIL_pluginRegisterSetParamEvent(handle, setParameters);
    printf("%s: entity %u\n", name, vosMsg_getHandleEid(handle));
    fflush(stdout);
    while (ret == VOS_RET_OK && !stopped) {
        VosMsgHeader *msg = NULL;
        if (ppoll(&waiting, 1, NULL, &waitMask) <= 0 || (ret = vosMsg_receive(handle, &msg)) != VOS_RET_OK) {
            continue;
        }
        if (msg->type == VOS_MSG_PLUGIN_SET_PARAMETER && UTIL_pluginExecuteSetParamEvent(msg) == VOS_RET_OK) {
            printf("%s: level is %u\n", name, level);
            fflush(stdout);
        }
        VOS_FREE(msg);
    }
    vosMsg_cleanup(&handle);
    return stopped || ret == VOS_RET_PEER_GONE ? 0 : 1;
}
