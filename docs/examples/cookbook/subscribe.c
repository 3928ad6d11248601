/* Events in C: one publishes, whoever registered gets a copy. */
#include <stdio.h>
#include <vos/loop.h>
#include <vos/request.h>

enum { MSG_LINK_CHANGED = 0x1000f202 };

typedef struct {
    uint32_t port, up;
} Link;

static void changed(VosLoop *loop, const VosMsgHeader *event, void *ctx) {
    Link link;
    (void)ctx;
    if (event->dataLength != sizeof link) {
        printf("not a link: %u bytes\n", event->dataLength); /* whoever sent it, it is not ours */
        return;
    }
    memcpy(&link, event + 1, sizeof link);
    printf("change %u: port %u is %s\n", event->wordData, link.port, link.up != 0 ? "up" : "down");
    if (link.up == 0) {
        UTIL_unregisterEvent(loop->handle, MSG_LINK_CHANGED, NULL, 0);
        vosLoop_stop(loop, 0);
    }
}

int main(void) {
    static VosLoop loop, other;
    static VosLoopHandler onChange;
    VosMsgHandle *hub = NULL, *wand = NULL;
    const Link up = {.port = 3, .up = 1}, down = {.port = 3};
    if (vosMsg_initByName("viewer", &hub) != VOS_RET_OK || vosLoop_init(&loop, hub) != VOS_RET_OK ||
        vosMsg_initByName("wand", &wand) != VOS_RET_OK || vosLoop_init(&other, wand) != VOS_RET_OK) {
        return 1;
    }
    vosLoop_on(&loop, &onChange, MSG_LINK_CHANGED, changed, NULL);
    if (UTIL_registerEvent(hub, MSG_LINK_CHANGED, NULL, 0) != VOS_RET_OK) {
        return 1;
    }
    vosLoop_publish(&other, MSG_LINK_CHANGED, 0, "text", 4); /* another daemon does this, usually */
    vosLoop_publish(&other, MSG_LINK_CHANGED, 1, &up, sizeof up);
    vosLoop_publish(&other, MSG_LINK_CHANGED, 2, &down, sizeof down);
    vosLoop_run(&loop);
    vosLoop_cleanup(&other);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&wand);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
not a link: 4 bytes
change 1: port 3 is up
change 2: port 3 is down
*/
