/* A daemon's log. Level and destination lie in shared memory, so `vosctl log` changes them while the daemon runs. */
#include <stdio.h>
#include <vos/log.h>

int main(void) {
    const VosEntityId eid = 300;
    vosLog_init(eid); /* named after the plug-in, else the entity, else "EID300" */
    vosLog_setHeaderMask(VOS_LOG_HDRMASK_LOCATION);
    vosLog_setDestination(0); /* the file alone */

    VOS_LOG_ERROR("cannot reach %s", "192.168.1.2");
    VOS_LOG_DEBUG("not written at level %u, yet its call site is remembered", vosLog_getLevel());
    vosLog_setLevel(VOS_LOG_LEVEL_DEBUG);
    VOS_LOG_DEBUG("now it is");

    fflush(stdout);
    vosLog_show(eid);
    vosLog_cleanup();
    return 0;
}

/* Prints:
main:11:cannot reach 192.168.1.2
main:14:now it is
*/
