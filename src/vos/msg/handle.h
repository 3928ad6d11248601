// The record behind a message handle, and what the message calls share.
#pragma once

#include "vos/msg.h"
#include "vos/msg/stream.h"

struct VosMsgHandle {
    VosEntityId eid;
    int32_t commFd;
    VosMsgHeader *putBackQueue;  // linked through `next`, oldest first
    VosMsgHeader *putBackTail;   // valid while the queue is not empty
    vos::MessageStream stream;
};

namespace vos {

/** vosMsg_requeuePutBacks() that waits for room no longer than `deadline` says. */
void wakeUp(const VosMsgHandle &handle, Deadline deadline);

}  // namespace vos
