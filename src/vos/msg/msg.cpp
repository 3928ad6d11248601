// Messages as daemons use them: one out, one in, the put-back queue.
#include "vos/msg.h"

#include <cstring>

#include "internal/dbg.h"
#include "internal/message.h"
#include "vos/mem.h"
#include "vos/msg/handle.h"

using vos::Deadline;
using vos::FirstStep;
using vos::MessageStream;

namespace {

// Whether a receive has what it needs; *msgOut is NULL from here on.
bool isReady(const VosMsgHandle *handle, VosMsgHeader **msgOut) {
    if (msgOut == nullptr) {
        return false;
    }
    *msgOut = nullptr;
    return handle != nullptr;
}

// Hands out the oldest put-back message; false when there is none.
bool takePutBack(VosMsgHandle *handle, VosMsgHeader **msgOut) {
    VosMsgHeader *oldest = handle->putBackQueue;
    *msgOut = oldest;
    if (oldest == nullptr) {
        return false;
    }
    handle->putBackQueue = oldest->next;
    oldest->next = nullptr;
    return true;
}

VosRet receive(VosMsgHandle &handle, VosMsgHeader **msgOut, Deadline deadline) {
    return handle.stream.receive(handle.commFd, msgOut, deadline, FirstStep::kRead);
}

}  // namespace

void vos::wakeUp(const VosMsgHandle &handle, Deadline deadline) {
    const VosMsgHeader *queued = handle.putBackQueue;
    if (queued == nullptr) {
        return;
    }
    const VosMsgHeader marker =
        vos::messageHeader(VOS_MSG_REQUEUE_WAKEUP, queued->src, queued->dst, VOS_MSG_FLAG_REQUEUE);
    MessageStream::send(handle.commFd, &marker, deadline);
}

VosRet vosMsg_init(VosEntityId eid, VosMsgHandle **handleOut) {
    return oalVosMsg_init(eid, nullptr, handleOut);
}

VosRet vosMsg_initEasy(VosMsgHandle **handleOut) {
    return oalVosMsg_init(0, nullptr, handleOut);
}

VosRet vosMsg_initByName(const char *name, VosMsgHandle **handleOut) {
    return oalVosMsg_init(0, name, handleOut);
}

void vosMsg_cleanup(VosMsgHandle **handlePtr) {
    if (handlePtr == nullptr || *handlePtr == nullptr) {
        return;
    }
    VosMsgHeader *queued = nullptr;
    while (takePutBack(*handlePtr, &queued)) {
        VOS_FREE(queued);
    }
    oalVosMsg_cleanup(handlePtr);
}

VosRet vosMsg_send(VosMsgHandle *handle, const VosMsgHeader *msg) {
    if (handle == nullptr || msg == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    return MessageStream::send(handle->commFd, msg);
}

VosRet vosMsg_sendReply(VosMsgHandle *handle, const VosMsgHeader *request, uint32_t result) {
    if (handle == nullptr || request == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const VosMsgHeader reply = vos::messageHeader(request->type, request->dst, request->src,
                                                  VOS_MSG_FLAG_RESPONSE | (request->flags & VOS_MSG_FLAG_KEEP), result);
    return MessageStream::send(handle->commFd, &reply);
}

VosRet vosMsg_getEventHandle(const VosMsgHandle *handle, int32_t *fdOut) {
    return oalVosMsg_getEventHandle(handle, fdOut);
}

VosEntityId vosMsg_getHandleEid(const VosMsgHandle *handle) {
    return handle == nullptr ? 0 : handle->eid;
}

VosMsgHeader *vosMsg_duplicate(const VosMsgHeader *msg) {
    if (msg == nullptr) {
        return nullptr;
    }
    const uint64_t size = sizeof *msg + uint64_t{msg->dataLength};
    void *copy = size > UINT32_MAX ? nullptr : VOS_MALLOC_FLAGS(static_cast<uint32_t>(size), 0);
    if (copy == nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return nullptr;
    }
    return static_cast<VosMsgHeader *>(memcpy(copy, msg, size));
}

void vosMsg_putBack(VosMsgHandle *handle, VosMsgHeader **msgPtr) {
    if (handle == nullptr || msgPtr == nullptr || *msgPtr == nullptr) {
        return;
    }
    VosMsgHeader *msg = *msgPtr;
    *msgPtr = nullptr;
    if (msg->type == VOS_MSG_REQUEUE_WAKEUP) {
        VOS_FREE(msg);
        return;
    }
    msg->next = nullptr;
    if (handle->putBackQueue == nullptr) {
        handle->putBackQueue = msg;
    } else {
        handle->putBackTail->next = msg;
    }
    handle->putBackTail = msg;
}

void vosMsg_requeuePutBacks(VosMsgHandle *handle) {
    if (handle != nullptr) {
        vos::wakeUp(*handle, Deadline{});
    }
}

void vosMsg_receivePutBack(VosMsgHandle *handle, VosMsgHeader **msgOut) {
    if (msgOut == nullptr) {
        return;
    }
    *msgOut = nullptr;
    if (handle != nullptr) {
        takePutBack(handle, msgOut);
    }
}

VosRet vosMsg_receive(VosMsgHandle *handle, VosMsgHeader **msgOut) {
    if (!isReady(handle, msgOut)) {
        return VOS_RET_BAD_ARG;
    }
    if (takePutBack(handle, msgOut)) {
        return VOS_RET_OK;
    }
    return receive(*handle, msgOut, Deadline{});
}

VosRet vosMsg_receiveWithTimeout(VosMsgHandle *handle, VosMsgHeader **msgOut, uint32_t timeoutMs) {
    if (!isReady(handle, msgOut)) {
        return VOS_RET_BAD_ARG;
    }
    if (takePutBack(handle, msgOut)) {
        return VOS_RET_OK;
    }
    return receive(*handle, msgOut, Deadline{timeoutMs});
}
