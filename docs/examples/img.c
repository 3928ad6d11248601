/* Whether somebody runs, as the hub sees it. */
#include <stdio.h>
#include <vos/img.h>

int main(void) {
    VosMsgHandle *handle = NULL;
    if (vosMsg_initByName("asker", &handle) != VOS_RET_OK) {
        return 1;
    }
    printf("myself: %d\n", vosImg_isAppRunning(handle, vosMsg_getHandleEid(handle)));
    printf("nobody: %d\n", vosImg_isAppRunning(handle, 4242));
    printf("configuration: %d\n", vosImg_isConfigFileLikely()); /* always */
    vosMsg_cleanup(&handle);
    return 0;
}

/* Prints:
myself: 1
nobody: 0
configuration: 1
*/
