// One connected process.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <vector>

#include "descriptor.h"
#include "framing.h"
#include "send_queue.h"
#include "vos/msg_types.h"

namespace hubd {

struct Process;

/** A request that this client sent and that nobody has answered yet. */
struct PendingRequest {
    VosEntityId dst;
    uint32_t type;
    bool operator==(const PendingRequest &) const = default;
};

struct Client {
    Descriptor fd;
    ucred credentials{};
    uint64_t serial = 0;  // of the connection; descriptors are used again, serials are not
    int64_t connectedNs = 0;

    VosEntityId eid = 0;  // 0 until it has announced itself
    std::string name;
    std::string path;

    Partial partial;
    Kept kept;            // read from it, to be served when its turn comes; nothing more is read before
    SendQueue queue;      // to be sent to it
    int64_t takenNs = 0;  // when its socket took something last, or its queue began
    int64_t fullNs = 0;   // since when others wait for it to take something; 0 when nobody does
    std::vector<PendingRequest> pending;

    uint64_t messagesIn = 0;
    uint64_t messagesOut = 0;
    uint32_t heartbeats = 0;
    int64_t lastHeartbeatNs = 0;
    int64_t refusedNs = 0;  // when a line told of a refusal last; 0: none did
    bool watchdogStopped = false;
    bool monitor = false;
    uint32_t copiesLost = 0;  // since the last copy that a monitor got

    bool deaf = false;     // its end of the socket is closed: nothing can be sent any more, what it sent is still read
    bool leaving = false;  // about to be disconnected
    uint32_t pauses = 0;   // not read for a while, because it floods so many destinations
    bool slow = false;     // took nothing while its senders were held back: its queue may grow to the limit
    uint32_t watched = 0;  // what the poller watches for

    Process *process = nullptr;
    bool canRead = false;  // what the system said and no turn has used yet
    bool canSend = false;
    bool inLine = false;  // for a turn of its process
    Client *nextInLine = nullptr;
    Client *nextDeparture = nullptr;
    std::string departsWhy;
    bool lacksMemory = false;

    /** Bytes that the hub keeps for it and because of it. */
    size_t held() const { return queue.held() + kept.held() + partial.capacity(); }

    /** "echo (eid 65536, pid 4711)" for report lines. */
    std::string describe() const {
        const std::string pid = "pid " + std::to_string(credentials.pid);
        return eid == 0 ? pid : name + " (eid " + std::to_string(eid) + ", " + pid + ")";
    }
};

}  // namespace hubd
