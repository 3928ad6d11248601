/* Made by vosgen from the description of hub; do not edit. */
#ifndef HUB_INTERFACE_H
#define HUB_INTERFACE_H

#include <string.h>
#include <vos/msg_types.h>
#include <vos/ret.h>

/** @file
 *  The development hub's own services, and the conventions of the examples.
 *
 *  Readers take a message's payload, aligned to 8 bytes as in every message: VOS_RET_OK, or VOS_RET_BAD_ARG for
 *  NULL and whatever does not fit, where nothing in the result means anything. Pointers in a result point into the payload.
 *  Writers give the length in any case; VOS_RET_NO_RESOURCE where the room is smaller, VOS_RET_BAD_ARG for NULL, a text
 *  without its NUL and more elements than can be counted.
 */

#ifndef VOS_ADDRESS
#ifdef __cplusplus
#define VOS_ADDRESS(pointer) reinterpret_cast<uintptr_t>(pointer)
#else
#define VOS_ADDRESS(pointer) ((uintptr_t)(pointer))
#endif
#endif
#ifndef VOS_KEEP
#define VOS_KEEP
/* 16 bytes, zero where the mask is: in one store, so that clearing a gap costs a copy next to nothing. */
static inline void vos_keep(uint8_t *to, const uint8_t *from, const uint8_t *mask) {
#ifdef __GNUC__
    typedef uint8_t VosBlock __attribute__((vector_size(16)));
    VosBlock block, kept;
    memcpy(&block, from, sizeof block);
    memcpy(&kept, mask, sizeof kept);
    block &= kept;
    memcpy(to, &block, sizeof block);
#else
    for (int i = 0; i < 16; i++) to[i] = VOS_CAST(uint8_t, from[i] & mask[i]);
#endif
}
#endif
#define HUB_SERVER "hubd" /**< the daemon's name */
#define HUB_EID 20u /**< and its entity id */

#define HUB_ATTACH_MONITOR_TYPE 0x1000f001u /**< HUB_MONITOR_ATTACH: From now on a copy of every message routed; from a client of the hub's user only. */
#define HUB_COPY_TYPE 0x1000f002u /**< HUB_MONITOR_COPY: A copy of a message, to an attached monitor. */
#define HUB_LIST_CLIENTS_TYPE 0x1000f003u /**< HUB_LIST_CLIENTS: Every connected client, in order of entity id. */
#define HUB_GET_COUNTERS_TYPE 0x1000f004u /**< HUB_GET_COUNTERS: What the hub has done so far. */
#define HUB_ADVANCE_CLOCK_TYPE 0x1000f005u /**< HUB_ADVANCE_CLOCK: Lets time pass for delayed messages; from a client of the hub's user, of a hub with --test-clock. */
#define HUB_ECHO_TYPE 0x1000f010u /**< ECHO: Any daemon that follows the examples answers with the same payload. */
#define HUB_REMOTE_CLI_TYPE 0x1000f030u /**< REMOTE_CLI: A command line for any daemon that follows the examples, which finds the command by its first word. */

/** What became of a message. */
typedef uint32_t HubVerdict;
#define HUB_VERDICT_DELIVERED UINT32_C(0) /**< queued for its destination */
#define HUB_VERDICT_TO_HUB UINT32_C(1) /**< a request or event for the hub itself */
#define HUB_VERDICT_FROM_HUB UINT32_C(2) /**< built by the hub */
#define HUB_VERDICT_NO_DESTINATION UINT32_C(3) /**< nobody holds the id: answered with VOS_RET_PEER_GONE or dropped */

/** A connected client. (640 bytes) */
typedef struct {
    uint32_t eid; /**< its entity id */
    uint32_t pid; /**< its process id */
    uint32_t uid; /**< its user */
    uint32_t heartbeats; /**< how many it sent */
    uint64_t connectedMs; /**< how long ago it connected */
    uint64_t lastHeartbeatMs; /**< how long ago the last heartbeat came; all ones: never */
    uint64_t messagesIn; /**< received from it */
    uint64_t messagesOut; /**< sent to it */
    uint64_t queuedBytes; /**< waiting for it */
    bool watchdogStopped; /**< whether it stopped the watchdog */
    bool monitor; /**< whether it gets copies */
    bool heldBack; /**< not read for a while, because somebody takes what it sends too slowly */
    uint8_t reserved1[5]; /**< 0 */
    char name[64]; /**< under which it launched */
    char path[512]; /**< its executable */
} HubClientRow;
VOS_STATIC_ASSERT(sizeof(HubClientRow) == 640, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, eid) == 0, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, pid) == 4, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, uid) == 8, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, heartbeats) == 12, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, connectedMs) == 16, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, lastHeartbeatMs) == 24, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, messagesIn) == 32, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, messagesOut) == 40, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, queuedBytes) == 48, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, watchdogStopped) == 56, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, monitor) == 57, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, heldBack) == 58, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, reserved1) == 59, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, name) == 64, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubClientRow, path) == 128, "hub describes the wire so");
static inline bool hub_fitsClientRow(const uint8_t *bytes) {
    if (bytes[56] > 1) return false;
    if (bytes[57] > 1) return false;
    if (bytes[58] > 1) return false;
    if (bytes[127] != 0) return false;
    if (bytes[639] != 0) return false;
    return true;
}
static inline void hub_clearClientRow(uint8_t *to, const uint8_t *from) {
    (void)from;
    static const uint8_t kept48[16] = {255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0, 0, 0, 0, 0};
    vos_keep(to + 48, from + 48, kept48);
}
static inline VosRet hub_readClientRow(const void *payload, uint32_t length, HubClientRow *out) {
    if (payload == NULL || out == NULL || length != sizeof *out || !hub_fitsClientRow(VOS_CAST(const uint8_t *, payload))) return VOS_RET_BAD_ARG;
    memcpy(out, payload, sizeof *out);
    return VOS_RET_OK;
}
static inline VosRet hub_writeClientRow(const HubClientRow *value, void *payload, uint32_t room, uint32_t *length) {
    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;
    *length = sizeof *value;
    if (payload == NULL || room < sizeof *value) return VOS_RET_NO_RESOURCE;
    const void *const bytes = value;
    if (!hub_fitsClientRow(VOS_CAST(const uint8_t *, bytes))) return VOS_RET_BAD_ARG;
    memcpy(payload, value, sizeof *value);
    hub_clearClientRow(VOS_CAST(uint8_t *, payload), VOS_CAST(const uint8_t *, bytes));
    return VOS_RET_OK;
}
/** Reply: Every connected client, in order of entity id. */
typedef struct {
    const HubClientRow *clients; /**< one for each */
    uint32_t clientsCount; /**< how many */
} HubListClientsReply;
static inline VosRet hub_readListClientsReply(const void *payload, uint32_t length, HubListClientsReply *out) {
    const uint8_t *const bytes = VOS_CAST(const uint8_t *, payload);
    if (bytes == NULL || out == NULL || (VOS_ADDRESS(bytes) & 7u) != 0) return VOS_RET_BAD_ARG;
    uint32_t at = 0;
    if ((length - at) % 640u != 0) return VOS_RET_BAD_ARG;
    out->clientsCount = (length - at) / 640u;
    out->clients = VOS_CAST(const HubClientRow *, VOS_CAST(const void *, bytes + at));
    for (size_t i = 0; i < out->clientsCount; i++) {
        if (!hub_fitsClientRow(bytes + at + i * 640u)) return VOS_RET_BAD_ARG;
    }
    at += out->clientsCount * 640u;
    return at == length ? VOS_RET_OK : VOS_RET_BAD_ARG;
}
static inline VosRet hub_writeListClientsReply(const HubListClientsReply *value, void *payload, uint32_t room, uint32_t *length) {
    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;
    uint64_t size = 0;
    if (value->clients == NULL && value->clientsCount != 0) return VOS_RET_BAD_ARG;
    size += VOS_CAST(uint64_t, value->clientsCount) * 640u;
    *length = size <= UINT32_MAX ? VOS_CAST(uint32_t, size) : UINT32_MAX;
    if (size > room || payload == NULL) return size == 0 ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
    uint8_t *const bytes = VOS_CAST(uint8_t *, payload);
    size_t at = 0;
    if (value->clientsCount != 0) memcpy(bytes + at, value->clients, VOS_CAST(size_t, value->clientsCount) * 640u);
    for (size_t i = 0; i < value->clientsCount; i++) {
        const void *const one = &value->clients[i];
        hub_clearClientRow(bytes + at + i * 640u, VOS_CAST(const uint8_t *, one));
        if (!hub_fitsClientRow(bytes + at + i * 640u)) return VOS_RET_BAD_ARG;
    }
    at += VOS_CAST(size_t, value->clientsCount) * 640u;
    return at == *length ? VOS_RET_OK : VOS_RET_ERROR;
}

/** Reply: What the hub has done so far. (80 bytes) */
typedef struct {
    uint64_t uptimeMs; /**< since it started */
    uint64_t clients; /**< connected now */
    uint64_t routed; /**< messages delivered between clients */
    uint64_t hubRequests; /**< requests that it answered itself */
    uint64_t eventsDropped; /**< events to an id that nobody holds */
    uint64_t peerGoneReplies; /**< requests to an id that nobody holds */
    uint64_t disconnects; /**< clients thrown out */
    uint64_t bytesRouted; /**< between clients */
    uint64_t memoryUsed; /**< by messages that wait, are being read or are kept */
    uint64_t memoryLimit; /**< that they may take */
} HubGetCountersReply;
VOS_STATIC_ASSERT(sizeof(HubGetCountersReply) == 80, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, uptimeMs) == 0, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, clients) == 8, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, routed) == 16, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, hubRequests) == 24, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, eventsDropped) == 32, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, peerGoneReplies) == 40, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, disconnects) == 48, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, bytesRouted) == 56, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, memoryUsed) == 64, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubGetCountersReply, memoryLimit) == 72, "hub describes the wire so");
static inline VosRet hub_readGetCountersReply(const void *payload, uint32_t length, HubGetCountersReply *out) {
    if (payload == NULL || out == NULL || length != sizeof *out) return VOS_RET_BAD_ARG;
    memcpy(out, payload, sizeof *out);
    return VOS_RET_OK;
}
static inline VosRet hub_writeGetCountersReply(const HubGetCountersReply *value, void *payload, uint32_t room, uint32_t *length) {
    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;
    *length = sizeof *value;
    if (payload == NULL || room < sizeof *value) return VOS_RET_NO_RESOURCE;
    memcpy(payload, value, sizeof *value);
    return VOS_RET_OK;
}
/** Any daemon that follows the examples answers with the same payload. */
typedef struct {
    const uint8_t *data; /**< whatever is to come back */
    uint32_t dataLength; /**< its bytes */
} HubEcho;
static inline VosRet hub_readEcho(const void *payload, uint32_t length, HubEcho *out) {
    const uint8_t *const bytes = VOS_CAST(const uint8_t *, payload);
    if (bytes == NULL || out == NULL) return VOS_RET_BAD_ARG;
    uint32_t at = 0;
    out->data = bytes + at;
    out->dataLength = length - at;
    at = length;
    return at == length ? VOS_RET_OK : VOS_RET_BAD_ARG;
}
static inline VosRet hub_writeEcho(const HubEcho *value, void *payload, uint32_t room, uint32_t *length) {
    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;
    uint64_t size = 0;
    if (value->data == NULL && value->dataLength != 0) return VOS_RET_BAD_ARG;
    size += value->dataLength;
    *length = size <= UINT32_MAX ? VOS_CAST(uint32_t, size) : UINT32_MAX;
    if (size > room || payload == NULL) return size == 0 ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
    uint8_t *const bytes = VOS_CAST(uint8_t *, payload);
    size_t at = 0;
    if (value->dataLength != 0) memcpy(bytes + at, value->data, value->dataLength);
    at += value->dataLength;
    return at == *length ? VOS_RET_OK : VOS_RET_ERROR;
}
/** Reply: Any daemon that follows the examples answers with the same payload. */
typedef struct {
    const uint8_t *data; /**< as sent */
    uint32_t dataLength; /**< its bytes */
} HubEchoReply;
static inline VosRet hub_readEchoReply(const void *payload, uint32_t length, HubEchoReply *out) {
    const uint8_t *const bytes = VOS_CAST(const uint8_t *, payload);
    if (bytes == NULL || out == NULL) return VOS_RET_BAD_ARG;
    uint32_t at = 0;
    out->data = bytes + at;
    out->dataLength = length - at;
    at = length;
    return at == length ? VOS_RET_OK : VOS_RET_BAD_ARG;
}
static inline VosRet hub_writeEchoReply(const HubEchoReply *value, void *payload, uint32_t room, uint32_t *length) {
    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;
    uint64_t size = 0;
    if (value->data == NULL && value->dataLength != 0) return VOS_RET_BAD_ARG;
    size += value->dataLength;
    *length = size <= UINT32_MAX ? VOS_CAST(uint32_t, size) : UINT32_MAX;
    if (size > room || payload == NULL) return size == 0 ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
    uint8_t *const bytes = VOS_CAST(uint8_t *, payload);
    size_t at = 0;
    if (value->dataLength != 0) memcpy(bytes + at, value->data, value->dataLength);
    at += value->dataLength;
    return at == *length ? VOS_RET_OK : VOS_RET_ERROR;
}

/** The fixed part of HubRemoteCli (8 bytes) */
typedef struct {
    uint64_t function; /**< 0 */
} HubRemoteCliHead;
VOS_STATIC_ASSERT(sizeof(HubRemoteCliHead) == 8, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubRemoteCliHead, function) == 0, "hub describes the wire so");
/** A command line for any daemon that follows the examples, which finds the command by its first word. */
typedef struct {
    HubRemoteCliHead head; /**< the fixed part */
    const char *words; /**< the command line, each with its NUL */
    uint32_t wordsLength; /**< its bytes */
} HubRemoteCli;
static inline VosRet hub_readRemoteCli(const void *payload, uint32_t length, HubRemoteCli *out) {
    const uint8_t *const bytes = VOS_CAST(const uint8_t *, payload);
    if (bytes == NULL || out == NULL || length < 8u) return VOS_RET_BAD_ARG;
    memcpy(&out->head, bytes, sizeof out->head);
    uint32_t at = 8;
    if (at < length && bytes[length - 1] != 0) return VOS_RET_BAD_ARG;
    out->words = VOS_CAST(const char *, VOS_CAST(const void *, bytes + at));
    out->wordsLength = length - at;
    at = length;
    return at == length ? VOS_RET_OK : VOS_RET_BAD_ARG;
}
static inline VosRet hub_writeRemoteCli(const HubRemoteCli *value, void *payload, uint32_t room, uint32_t *length) {
    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;
    uint64_t size = 8;
    if (value->words == NULL && value->wordsLength != 0) return VOS_RET_BAD_ARG;
    if (value->wordsLength != 0 && value->words[value->wordsLength - 1] != 0) return VOS_RET_BAD_ARG;
    size += value->wordsLength;
    *length = size <= UINT32_MAX ? VOS_CAST(uint32_t, size) : UINT32_MAX;
    if (size > room || payload == NULL) return size == 0 ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
    uint8_t *const bytes = VOS_CAST(uint8_t *, payload);
    HubRemoteCliHead head = value->head;
    size_t at = 8;
    if (value->wordsLength != 0) memcpy(bytes + at, value->words, value->wordsLength);
    at += value->wordsLength;
    const void *const fixed = &head;
    memcpy(bytes, fixed, sizeof head);
    return at == *length ? VOS_RET_OK : VOS_RET_ERROR;
}

/** The fixed part of HubCopy (16 bytes) */
typedef struct {
    uint64_t realtimeNs; /**< when, as CLOCK_REALTIME says */
    HubVerdict verdict; /**< what became of it */
    uint32_t lost; /**< copies dropped for this monitor since the last one it got */
} HubCopyHead;
VOS_STATIC_ASSERT(sizeof(HubCopyHead) == 16, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubCopyHead, realtimeNs) == 0, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubCopyHead, verdict) == 8, "hub describes the wire so");
VOS_STATIC_ASSERT(offsetof(HubCopyHead, lost) == 12, "hub describes the wire so");
/** A copy of a message, to an attached monitor. */
typedef struct {
    HubCopyHead head; /**< the fixed part */
    const uint8_t *message; /**< header and payload */
    uint32_t messageLength; /**< its bytes */
} HubCopy;
static inline VosRet hub_readCopy(const void *payload, uint32_t length, HubCopy *out) {
    const uint8_t *const bytes = VOS_CAST(const uint8_t *, payload);
    if (bytes == NULL || out == NULL || length < 16u) return VOS_RET_BAD_ARG;
    memcpy(&out->head, bytes, sizeof out->head);
    uint32_t at = 16;
    out->message = bytes + at;
    out->messageLength = length - at;
    at = length;
    return at == length ? VOS_RET_OK : VOS_RET_BAD_ARG;
}
static inline VosRet hub_writeCopy(const HubCopy *value, void *payload, uint32_t room, uint32_t *length) {
    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;
    uint64_t size = 16;
    if (value->message == NULL && value->messageLength != 0) return VOS_RET_BAD_ARG;
    size += value->messageLength;
    *length = size <= UINT32_MAX ? VOS_CAST(uint32_t, size) : UINT32_MAX;
    if (size > room || payload == NULL) return size == 0 ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
    uint8_t *const bytes = VOS_CAST(uint8_t *, payload);
    HubCopyHead head = value->head;
    size_t at = 16;
    if (value->messageLength != 0) memcpy(bytes + at, value->message, value->messageLength);
    at += value->messageLength;
    const void *const fixed = &head;
    memcpy(bytes, fixed, sizeof head);
    return at == *length ? VOS_RET_OK : VOS_RET_ERROR;
}

#endif
