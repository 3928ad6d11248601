// Messages between vos-hubd and the developer's tools (vosctl), as interfaces/hub.toml describes them. Not part of the
// library's wire format: no firmware daemon sends these.
#pragma once

#include <cstdint>

#include "hub.h"

namespace hubproto {

enum : uint32_t {
    /** Request to the hub from a client of the same user: from now on send me a copy of every message routed. Answered
     *  with VOS_RET_OK. Copies that do not fit in the monitor's queue are dropped and counted, never delayed. */
    kMonitorAttach = HUB_ATTACH_MONITOR_TYPE,
    /** Event to an attached monitor: payload = MonitorRecord, the copied header, the copied payload. */
    kMonitorCopy = HUB_COPY_TYPE,
    /** Request to the hub: reply payload = ClientRow for every connected client, in order of entity id. */
    kListClients = HUB_LIST_CLIENTS_TYPE,
    /** Request to the hub: reply payload = HubCounters. */
    kGetCounters = HUB_GET_COUNTERS_TYPE,
    /** Request to a hub with --test-clock from a client of the same user: wordData milliseconds pass for delayed
     *  messages. Answered with VOS_RET_OK, then what is due is sent; without the option answered with VOS_RET_ERROR. */
    kAdvanceClock = HUB_ADVANCE_CLOCK_TYPE,
    /** Request to any daemon that follows the convention of the examples: answered with the same payload. */
    kEcho = HUB_ECHO_TYPE,
    /** Request to any daemon that follows the convention of the examples: a command line as vos/cli.h lays it out. The
     *  daemon finds the command by its first argument, so the 8 bytes in front of the arguments are zero. */
    kRemoteCli = HUB_REMOTE_CLI_TYPE,
};

/** What happened to the copied message. */
enum class Verdict : HubVerdict {
    kDelivered = HUB_VERDICT_DELIVERED,
    kToHub = HUB_VERDICT_TO_HUB,
    kFromHub = HUB_VERDICT_FROM_HUB,
    kNoDestination = HUB_VERDICT_NO_DESTINATION
};
using MonitorRecord = HubCopyHead;
using ClientRow = HubClientRow;
using HubCounters = HubGetCountersReply;

/** Payload of VOS_MSG_ADD_ENTITY_INFO as vos-hubd reads it; the library passes it on as opaque bytes. */
struct EntityDescription {
    char name[64];  // NUL-terminated, not empty, not a name of the firmware's table
    uint32_t eid;   // the id that a process of this name gets; 0: that of who runs under it, else a dynamic one
    uint8_t ignored[376];
};
static_assert(sizeof(EntityDescription) == 444);

}  // namespace hubproto
