/* The library inside a GLib main loop: one descriptor, one function. */
#include <glib-unix.h>
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

static GMainLoop *mainLoop;

static gboolean ready(gint fd, GIOCondition condition, gpointer ctx) {
    VosLoop *const loop = ctx;
    (void)fd, (void)condition;
    if (vosLoop_turn(loop, 0) != VOS_RET_OK || loop->stopped) { /* the hub is gone, or stopped */
        g_main_loop_quit(mainLoop);
    }
    return G_SOURCE_CONTINUE;
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

    mainLoop = g_main_loop_new(NULL, FALSE);
    const guint source = g_unix_fd_add(vosLoop_descriptor(&loop), G_IO_IN, ready, &loop);
    vosLoop_turn(&loop, 0); /* once at the beginning */
    g_main_loop_run(mainLoop);
    g_source_remove(source);
    g_main_loop_unref(mainLoop);

    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    return 0;
}

/* Prints:
timer
event 7
*/
