/* What meshd and those who talk to it have agreed on. */
#ifndef MESH_H
#define MESH_H

#include <stdint.h>

enum {
    MSG_MESH = 0x1000f120,         /* procedures, by number */
    MSG_MESH_STATUS = 0x1000f121,  /* request; the reply holds a MeshStatus */
    MSG_MESH_CHANGED = 0x1000f122, /* event: how many nodes, and a MeshNode */
    MSG_LINK_CHANGED = 0x1000f123  /* event of another daemon: 1 up, 0 down */
};

enum { MESH_ADD = 1 /* a MeshNode; the reply holds how many there are */ };

enum { MESH_MOST = 64, MESH_BEST = 100 };

typedef struct {
    uint32_t id;
    uint32_t quality; /* 0 to MESH_BEST */
} MeshNode;

typedef struct {
    uint32_t nodes;
    uint32_t worst; /* the lowest quality that the last survey found */
} MeshStatus;

#endif
