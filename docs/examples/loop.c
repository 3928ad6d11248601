/* Two daemons on vos/loop.h: one serves a procedure and publishes an event, the other subscribes and calls. */
#include <stdio.h>
#include <vos/loop.h>
#include <vos/request.h>

enum { MSG_MESH = 0x1000f120, MSG_MESH_CHANGED = 0x1000f122, MESH_ADD = 1 };

static void addNode(VosLoop *loop, const VosMsgHeader *request, void *ctx) {
    uint32_t *nodes = ctx;
    (*nodes)++;
    vosLoop_publish(loop, MSG_MESH_CHANGED, *nodes, NULL, 0);
    vosLoop_reply(loop, request, VOS_RET_OK, nodes, sizeof *nodes); /* flag and number come from the request */
}

static void changed(VosLoop *loop, const VosMsgHeader *event, void *ctx) {
    (void)loop, (void)ctx;
    printf("event: %u nodes\n", event->wordData);
}

static void added(VosLoop *loop, VosRet ret, const VosMsgHeader *reply, void *ctx) {
    (void)ctx;
    printf("reply: %u, %u bytes\n", ret, reply != NULL ? reply->dataLength : 0);
    vosLoop_stop(loop, 0);
}

int main(void) {
    static VosLoop mesh, viewer;
    static VosLoopHandler add, onChange;
    static VosLoopCall call;
    VosMsgHandle *meshd = NULL, *viewerd = NULL;
    uint32_t nodes = 0;
    if (vosMsg_initByName("meshd", &meshd) != VOS_RET_OK || vosMsg_initByName("viewer", &viewerd) != VOS_RET_OK ||
        vosLoop_init(&mesh, meshd) != VOS_RET_OK || vosLoop_init(&viewer, viewerd) != VOS_RET_OK) {
        return 1;
    }
    vosLoop_serveProcedure(&mesh, &add, MSG_MESH, MESH_ADD, addNode, &nodes);
    vosLoop_on(&viewer, &onChange, MSG_MESH_CHANGED, changed, NULL);
    UTIL_registerEvent(viewerd, MSG_MESH_CHANGED, NULL, 0); /* subscribes */
    vosLoop_ask(&viewer, &call, vosMsg_getHandleEid(meshd), MSG_MESH, VOS_LOOP_PROCEDURE, MESH_ADD, NULL, 0, 5000,
                added, NULL);
    while (!viewer.stopped && vosLoop_turn(&viewer, 1) == VOS_RET_OK) {
        vosLoop_turn(&mesh, 1); /* a daemon has one loop and calls vosLoop_run() */
    }
    vosLoop_cleanup(&viewer);
    vosLoop_cleanup(&mesh);
    vosMsg_cleanup(&viewerd);
    vosMsg_cleanup(&meshd);
    return 0;
}

/* Prints:
event: 1 nodes
reply: 0, 4 bytes
*/
