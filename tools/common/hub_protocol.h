// Messages between vos-hubd and the developer's tools (vosctl). Not part of the library's wire format: no firmware
// daemon sends these.
#pragma once

#include <cstdint>

#include "vos/msg_types.h"

namespace hubproto {

enum : uint32_t {
    /** Request to the hub from a client of the same user: from now on send me a copy of every message routed. Answered
     *  with VOS_RET_OK. Copies that do not fit in the monitor's queue are dropped and counted, never delayed. */
    kMonitorAttach = 0x1000f001,
    /** Event to an attached monitor: payload = MonitorRecord, the copied header, the copied payload. */
    kMonitorCopy = 0x1000f002,
    /** Request to the hub: reply payload = ClientRow for every connected client, in order of entity id. */
    kListClients = 0x1000f003,
    /** Request to the hub: reply payload = HubCounters. */
    kGetCounters = 0x1000f004,
    /** Request to a hub with --test-clock from a client of the same user: wordData milliseconds pass for delayed
     *  messages. Answered with VOS_RET_OK, then what is due is sent; without the option answered with VOS_RET_ERROR. */
    kAdvanceClock = 0x1000f005,
    /** Request to any daemon that follows the convention of the examples: answered with the same payload. */
    kEcho = 0x1000f010,
    /** Request to any daemon that follows the convention of the examples: a command line as vos/cli.h lays it out. The
     *  daemon finds the command by its first argument, so the 8 bytes in front of the arguments are zero. */
    kRemoteCli = 0x1000f030,
};

/** What happened to the copied message. */
enum class Verdict : uint32_t {
    kDelivered,     // queued for its destination
    kToHub,         // a request or event for the hub itself
    kFromHub,       // built by the hub
    kNoDestination  // nobody holds the id: answered with VOS_RET_PEER_GONE or dropped
};

struct MonitorRecord {
    uint64_t realtimeNs;  // CLOCK_REALTIME
    uint32_t verdict;     // Verdict
    uint32_t lost;        // copies dropped for this monitor since the last one it got
};
static_assert(sizeof(MonitorRecord) == 16);

struct ClientRow {
    uint32_t eid;
    uint32_t pid;
    uint32_t uid;
    uint32_t heartbeats;
    uint64_t connectedMs;      // how long ago it connected
    uint64_t lastHeartbeatMs;  // how long ago the last heartbeat came; UINT64_MAX: never
    uint64_t messagesIn;       // received from it
    uint64_t messagesOut;      // sent to it
    uint64_t queuedBytes;      // waiting for it
    uint8_t watchdogStopped;
    uint8_t monitor;
    uint8_t heldBack;  // not read for a while, because somebody takes what it sends too slowly
    uint8_t reserved[5];
    char name[64];
    char path[512];
};
static_assert(sizeof(ClientRow) == 16 + 5 * 8 + 8 + 64 + 512);

struct HubCounters {
    uint64_t uptimeMs;
    uint64_t clients;
    uint64_t routed;           // messages delivered between clients
    uint64_t hubRequests;      // requests the hub answered itself
    uint64_t eventsDropped;    // events to an id that nobody holds
    uint64_t peerGoneReplies;  // requests to an id that nobody holds
    uint64_t disconnects;      // clients thrown out: broken frame, full queue, wrong credentials
    uint64_t bytesRouted;
    uint64_t memoryUsed;   // by messages that wait, are being read or are kept
    uint64_t memoryLimit;  // that they may take
};
static_assert(sizeof(HubCounters) == 80);

/** Payload of VOS_MSG_ADD_ENTITY_INFO as vos-hubd reads it; the library passes it on as opaque bytes. */
struct EntityDescription {
    char name[64];  // NUL-terminated, not empty, not a name of the firmware's table
    uint32_t eid;   // the id that a process of this name gets; 0: that of who runs under it, else a dynamic one
    uint8_t ignored[376];
};
static_assert(sizeof(EntityDescription) == 444);

}  // namespace hubproto
