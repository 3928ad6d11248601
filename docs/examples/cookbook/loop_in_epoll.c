/* The library inside an epoll loop of one's own: one descriptor, one function. */
#include <stdio.h>
#include <sys/epoll.h>
#include <vos/loop.h>
#include <vos/request.h>

enum { MSG_TICK = 0x1000f209 };

static void tick(VosLoop *loop, void *ctx) {
    (void)ctx;
    printf("timer\n");
    vosLoop_publish(loop, MSG_TICK, 7, NULL, 0);
}

static void ticked(VosLoop *loop, const VosMsgHeader *event, void *ctx) {
    (void)ctx;
    printf("event %u\n", event->wordData);
    vosLoop_stop(loop, 0); /* as SIGTERM does */
}

int main(void) {
    static VosLoop loop;
    static VosLoopTimer timer;
    static VosLoopHandler onTick;
    VosMsgHandle *hub = NULL;
    if (vosMsg_initByName("guest", &hub) != VOS_RET_OK || vosLoop_init(&loop, hub) != VOS_RET_OK) {
        return 1;
    }
    vosLoop_after(&loop, &timer, 10, tick, NULL);
    vosLoop_on(&loop, &onTick, MSG_TICK, ticked, NULL);
    UTIL_registerEvent(hub, MSG_TICK, NULL, 0);

    const int epollFd = epoll_create1(EPOLL_CLOEXEC);
    struct epoll_event event = {.events = EPOLLIN, .data.ptr = &loop};
    if (epollFd < 0 || epoll_ctl(epollFd, EPOLL_CTL_ADD, vosLoop_descriptor(&loop), &event) != 0) {
        return 1;
    }
    VosRet ret = vosLoop_turn(&loop, 0); /* once at the beginning: what the set-up left behind */
    while (ret == VOS_RET_OK && !loop.stopped && epoll_wait(epollFd, &event, 1, -1) == 1) {
        ret = vosLoop_turn(event.data.ptr, 0); /* other descriptors of this loop would be told apart here */
    }

    close(epollFd);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
timer
event 7
*/
