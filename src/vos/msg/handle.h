// The record behind a message handle, and what message API and transport share beyond the public calls.
#ifndef VOS_MSG_HANDLE_H
#define VOS_MSG_HANDLE_H

#include "vos/msg.h"

struct VosMsgHandle {
    VosEntityId eid;
    int32_t commFd;
    VosMsgHeader *putBackQueue;  // linked through `next`, oldest first
    VosMsgHeader *putBackTail;   // valid while the queue is not empty
};

namespace vos {

/** The longest single wait for a reply, in milliseconds. */
constexpr uint32_t kMaxSliceMs = 120000;

constexpr int64_t kNsPerMs = 1'000'000;

int64_t monotonicNs();

/** How a receive begins; the result is the same, the number of system calls is not. */
enum class FirstStep {
    kRead,  // data is probably there: read without waiting
    kWait   // a request has just gone out, nothing can be there yet: wait at once
};

/** oalVosMsg_receive() with a chosen first step. */
VosRet receiveMessage(int32_t fd, VosMsgHeader **msgOut, uint32_t *timeoutMs, FirstStep firstStep);

}  // namespace vos

#endif
