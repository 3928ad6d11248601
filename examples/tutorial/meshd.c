/* meshd: keeps the nodes of a mesh. The manual's tutorial builds it. */
#include <stdio.h>
#include <vos/loop.h>
#include <vos/vos.h>

#include "mesh.h"

static MeshNode nodes[MESH_MOST];
static MeshStatus status = {.worst = MESH_BEST};

/* [request] */
static void tellStatus(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    (void)ctx;
    vosLoop_reply(loop, request, VOS_RET_OK, &status, sizeof status);
}
/* [request] */

/* [procedure] */
static void addNode(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    MeshNode node;
    uint32_t i = 0;
    (void)ctx;
    if (request->dataLength != sizeof node) {
        vosLoop_fail(loop, request, VOS_RET_BAD_ARG);
        return;
    }
    memcpy(&node, request + 1, sizeof node);
    while (i < status.nodes && nodes[i].id != node.id) {
        i++;
    }
    if (i == MESH_MOST || node.quality > MESH_BEST) {
        vosLoop_fail(loop, request, VOS_RET_BAD_ARG);
        return;
    }
    nodes[i] = node;
    status.nodes = i == status.nodes ? i + 1 : status.nodes;
    vosLoop_publish(loop, MSG_MESH_CHANGED, status.nodes, &node, sizeof node);
    vosLoop_reply(loop, request, VOS_RET_OK, &status.nodes, sizeof(uint32_t));
}
/* [procedure] */

/* [subscribe] */
static void linkChanged(VosLoop *loop, const VosMsgHeader *event, void *ctx) {
    (void)loop, (void)ctx;
    VOS_LOG_NOTICE("the link is %s", event->wordData != 0 ? "up" : "down");
}
/* [subscribe] */

/* [timer] */
static void beat(VosLoop *loop, void *ctx) {
    (void)loop;
    UTIL_sendHeartbeat(ctx);
}
/* [timer] */

/* [task] */
static struct {
    MeshNode nodes[MESH_MOST];
    uint32_t count, worst;
    bool running;
} survey; /* belongs to the thread while it runs */

static void measure(void *arg) { /* in a thread of its own */
    (void)arg;
    survey.worst = MESH_BEST;
    for (uint32_t i = 0; i < survey.count; i++) {
        nanosleep(&(struct timespec){.tv_nsec = 5000000}, NULL); /* slow */
        if (survey.nodes[i].quality < survey.worst) {
            survey.worst = survey.nodes[i].quality;
        }
    }
}

static void measured(void *arg) { /* in the loop again */
    (void)arg;
    survey.running = false;
    status.worst = survey.worst;
    VOS_LOG_DEBUG("the worst of %u is %u", survey.count, survey.worst);
}

static void startSurvey(VosLoop *loop, void *handle) {
    (void)loop;
    if (!survey.running) {
        memcpy(survey.nodes, nodes, sizeof nodes);
        survey.count = status.nodes;
        survey.running =
            UTIL_taskStart(measure, NULL, measured, handle) == VOS_RET_OK;
    }
}
/* [task] */

int main(void) {
    /* [start] */
    static VosLoop loop;
    VosMsgHandle *hub = NULL;
    VosRet ret = vosMsg_initByName("meshd", &hub);
    if (ret != VOS_RET_OK || (ret = vosLoop_init(&loop, hub)) != VOS_RET_OK) {
        fprintf(stderr, "meshd: no hub (%s)\n", vos_retText(ret));
        return 1;
    }
    /* [start] */
    /* [log] */
    vosLog_init(vosMsg_getHandleEid(hub));
    VOS_LOG_NOTICE("started");
    /* [log] */
    /* [request in main] */
    static VosLoopHandler onStatus;
    vosLoop_serve(&loop, &onStatus, MSG_MESH_STATUS, tellStatus, NULL);
    /* [request in main] */
    /* [procedure in main] */
    static VosLoopHandler onAdd;
    vosLoop_serveProcedure(&loop, &onAdd, MSG_MESH, MESH_ADD, addNode, NULL);
    /* [procedure in main] */
    /* [subscribe in main] */
    static VosLoopHandler onLink;
    vosLoop_on(&loop, &onLink, MSG_LINK_CHANGED, linkChanged, NULL);
    ret = UTIL_registerEvent(hub, MSG_LINK_CHANGED, NULL, 0);
    if (ret != VOS_RET_OK) {
        VOS_LOG_ERROR("link events: %s", vos_retText(ret));
    }
    /* [subscribe in main] */
    /* [timer in main] */
    static VosLoopTimer beats;
    vosLoop_every(&loop, &beats, 1000, beat, hub);
    /* [timer in main] */
    /* [task in main] */
    static VosLoopTimer surveys;
    vosLoop_every(&loop, &surveys, 300, startSurvey, hub);
    /* [task in main] */
    /* [stop] */
    int result = vosLoop_run(&loop);
    while (result == 0 && survey.running &&
           vosLoop_turn(&loop, UINT32_MAX) == VOS_RET_OK) {
    } /* the thread still needs the handle */
    VOS_LOG_NOTICE("stopped, %d", result);
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&hub);
    vosLog_cleanup();
    return result;
    /* [stop] */
}
