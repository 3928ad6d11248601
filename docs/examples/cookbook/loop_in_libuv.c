/* The library inside libuv: one descriptor, one function. */
#include <stdio.h>
#include <uv.h>
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

static void ready(uv_poll_t *poll, int status, int events) {
    VosLoop *const loop = poll->data;
    (void)status, (void)events;
    if (vosLoop_turn(loop, 0) != VOS_RET_OK || loop->stopped) { /* the hub is gone, or stopped */
        uv_stop(poll->loop);
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

    uv_poll_t poll = {.data = &loop};
    uv_poll_init(uv_default_loop(), &poll, vosLoop_descriptor(&loop));
    uv_poll_start(&poll, UV_READABLE, ready);
    vosLoop_turn(&loop, 0); /* once at the beginning */
    uv_run(uv_default_loop(), UV_RUN_DEFAULT);
    uv_close((uv_handle_t *)&poll, NULL);
    uv_run(uv_default_loop(), UV_RUN_DEFAULT);
    uv_loop_close(uv_default_loop());

    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
timer
event 7
*/
