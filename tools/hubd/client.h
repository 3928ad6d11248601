// One connected process.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <vector>

#include "byte_queue.h"
#include "framing.h"
#include "internal/guards.h"
#include "vos/msg_types.h"

namespace hubd {

/** A request that this client sent and that nobody has answered yet. */
struct PendingRequest {
    VosEntityId dst;
    uint32_t type;
    bool operator==(const PendingRequest &) const = default;
};

struct Client {
    vos::UniqueFd fd;
    ucred credentials{};
    uint64_t serial = 0;  // of the connection; descriptors are used again, serials are not
    int64_t connectedNs = 0;

    VosEntityId eid = 0;  // 0 until it has announced itself
    std::string name;
    std::string path;

    Partial partial;
    ByteQueue kept;     // read from it, to be served when its turn comes; nothing more is read before
    ByteQueue queue;    // to be sent to it
    uint64_t turn = 0;  // the hub's round in which it was served last
    std::vector<PendingRequest> pending;

    uint64_t messagesIn = 0;
    uint64_t messagesOut = 0;
    uint32_t heartbeats = 0;
    int64_t lastHeartbeatNs = 0;
    bool watchdogStopped = false;
    bool monitor = false;
    uint32_t copiesLost = 0;  // since the last copy that a monitor got

    bool deaf = false;     // its end of the socket is closed: nothing can be sent any more, what it sent is still read
    bool leaving = false;  // about to be disconnected
    uint32_t pauses = 0;   // not read for a moment, because it floods so many destinations
    bool slow = false;     // did not catch up during a pause of its senders
    uint32_t watched = 0;  // what the poller watches for

    /** "echo (eid 65536, pid 4711)" for report lines. */
    std::string describe() const {
        const std::string process = "pid " + std::to_string(credentials.pid);
        return eid == 0 ? process : name + " (eid " + std::to_string(eid) + ", " + process + ")";
    }
};

}  // namespace hubd
