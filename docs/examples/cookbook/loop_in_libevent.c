/* The library inside libevent: one descriptor, one function. */
#include <event2/event.h>
#include <stdio.h>
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

static struct event_base *base;

static void ready(evutil_socket_t fd, short events, void *ctx) {
    VosLoop *const loop = ctx;
    (void)fd, (void)events;
    if (vosLoop_turn(loop, 0) != VOS_RET_OK || loop->stopped) { /* the hub is gone, or stopped */
        event_base_loopbreak(base);
    }
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

    base = event_base_new();
    struct event *const event = event_new(base, vosLoop_descriptor(&loop), EV_READ | EV_PERSIST, ready, &loop);
    event_add(event, NULL);
    vosLoop_turn(&loop, 0); /* once at the beginning */
    event_base_dispatch(base);
    event_free(event);
    event_base_free(base);

    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
timer
event 7
*/
