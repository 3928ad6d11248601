/* What every daemon asks of the hub, in one call each. */
#include <stdio.h>
#include <vos/request.h>

int main(void) {
    VosMsgHandle *handle = NULL;
    if (vosMsg_initByName("requester", &handle) != VOS_RET_OK) {
        return 1;
    }
    const VosEntityId self = vosMsg_getHandleEid(handle);
    printf("heartbeat: %u\n", UTIL_sendHeartbeat(handle)); /* does not wait */
    printf("running: %d\n", vosImg_isAppRunning(handle, self));
    printf("found: %s\n", UTIL_getEidByAppName("requester", handle) == self ? "yes" : "no");
    printf("nobody: %u\n", UTIL_sendRequest(handle, 4242, 0x1000f100, 0, NULL, 0)); /* result or transport code */
    vosMsg_cleanup(&handle);
    return 0;
}

/* Prints:
heartbeat: 0
running: 1
found: yes
nobody: 9810
*/
