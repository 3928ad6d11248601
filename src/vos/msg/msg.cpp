// Messages as daemons use them: put-back queue, replies, request and reply.
#include "vos/msg.h"

#include <cstring>
#include <utility>

#include "internal/guards.h"
#include "vos/dbg.h"
#include "vos/mem.h"
#include "vos/msg/handle.h"

using vos::FirstStep;
using vos::kMaxSliceMs;
using vos::MemPtr;

namespace {

constexpr int kMaxResends = 16;

// The time that a request may still wait, handed out in slices.
class Budget {
  public:
    explicit Budget(const uint32_t *timeoutMs)
        : limited_{timeoutMs != nullptr}, remaining_{limited_ ? *timeoutMs : 0} {}

    /** Starts the next slice; what the last one left over counts on. */
    void nextSlice() {
        if (!limited_) {
            slice_ = kMaxSliceMs;
            return;
        }
        const uint64_t total = uint64_t{remaining_} + slice_;
        slice_ = total < kMaxSliceMs ? static_cast<uint32_t>(total) : kMaxSliceMs;
        remaining_ = static_cast<uint32_t>(total - slice_);
    }
    uint32_t *slice() { return &slice_; }
    bool exhausted() const { return limited_ && remaining_ == 0; }
    /** Counts a message that was not the answer. Data that is there costs no waiting time, so a peer that never stops
     *  would hold the request for ever: true when the whole time has gone by since the first one, and what may have
     *  waited on the socket until then is read too. */
    bool isFlooded() {
        if (!limited_) {
            return false;
        }
        const int64_t now = vos::monotonicNs();
        if (floodedAtNs_ == 0) {
            floodedAtNs_ = now + (int64_t{remaining_} + slice_) * vos::kNsPerMs;
        }
        return now > floodedAtNs_ && ++late_ > kMaxLate;
    }

  private:
    static constexpr uint32_t kMaxLate = 4096;

    bool limited_;
    uint32_t remaining_;
    uint32_t slice_ = 0;
    uint32_t late_ = 0;
    int64_t floodedAtNs_ = 0;
};

// A request on its way: what it waits for and how it ends.
struct Exchange {
    VosMsgHandle *handle;
    const VosMsgHeader *request;
    const uint32_t *timeoutMs;  // NULL: without limit
    bool wholeReply;            // the caller wants the block: SRPC replies are matched by id too
    MemPtr<VosMsgHeader> reply{};
};

enum class Arrival { kAnswer, kResend, kOther };

VosRet sendRequest(const Exchange &exchange) {
    const VosMsgHeader *msg = exchange.request;
    const VosRet ret = vosMsg_send(exchange.handle, msg);
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("Send msg 0x%x wordData %u from %u to %u failed", msg->type, msg->wordData, msg->src, msg->dst);
    }
    return ret;
}

bool matchesSrpcId(const VosMsgHeader *request, const VosMsgHeader *reply) {
    if ((request->flags & VOS_MSG_FLAG_SRPC) == 0 ||
        ((reply->flags & VOS_MSG_FLAG_SRPC) != 0 && reply->wordData == request->wordData)) {
        return true;
    }
    VOS_DBG_ERROR("Unmatched srpc msg %u from %u to %u, expect srpc msg %u", reply->wordData, reply->src, reply->dst,
                  request->wordData);
    return false;
}

// Keeps an answer in the exchange, puts unrelated messages back and drops the rest.
Arrival sortIn(Exchange &exchange, VosMsgHeader *received) {
    MemPtr<VosMsgHeader> msg{received};
    const VosMsgHeader *request = exchange.request;
    if (msg->type == request->type) {
        // Only the type is compared, not flags or source: peers answer in many ways.
        if (exchange.wholeReply && !matchesSrpcId(request, msg.get())) {
            return Arrival::kOther;
        }
        exchange.reply = std::move(msg);
        return Arrival::kAnswer;
    }
    if (msg->type == VOS_MSG_RESEND_REQUEST) {
        return msg->src == request->dst ? Arrival::kResend : Arrival::kOther;
    }
    VosMsgHeader *unrelated = msg.release();
    vosMsg_putBack(exchange.handle, &unrelated);
    return Arrival::kOther;
}

// Waits until the answer is in, the time is up, the socket fails or the peer asks for the request again (kResend).
VosRet awaitReply(Exchange &exchange, Arrival *arrival) {
    const VosMsgHeader *msg = exchange.request;
    Budget budget{exchange.timeoutMs};
    FirstStep firstStep = FirstStep::kWait;
    for (;;) {
        budget.nextSlice();
        VosMsgHeader *received = nullptr;
        VosRet ret = vos::receiveMessage(exchange.handle->commFd, &received, budget.slice(), firstStep);
        firstStep = FirstStep::kRead;
        bool isOver = budget.exhausted();
        if (ret == VOS_RET_OK) {
            *arrival = sortIn(exchange, received);
            if (*arrival != Arrival::kOther) {
                return VOS_RET_OK;
            }
            isOver = budget.isFlooded();
            if (!isOver) {
                continue;
            }
            ret = VOS_RET_TIMEOUT;
        }
        if (ret != VOS_RET_TIMEOUT) {
            VOS_DBG_ERROR("error during get of reply, ret=%d", static_cast<int>(ret));
            return ret;
        }
        VOS_DBG_ERROR("Reply msg 0x%x wordData %u from %u to %u timeout(%dms)", msg->type, msg->wordData, msg->src,
                      msg->dst, exchange.timeoutMs != nullptr ? static_cast<int>(*exchange.timeoutMs) : -1);
        if (isOver) {
            return ret;
        }
    }
}

// Sends the request and waits; sends it again, with the full time, each time the peer came back.
VosRet run(Exchange &exchange) {
    VosRet ret = sendRequest(exchange);
    if (ret != VOS_RET_OK) {
        return ret;
    }
    for (int resends = 0;; resends++) {
        Arrival arrival = Arrival::kOther;
        ret = awaitReply(exchange, &arrival);
        if (ret == VOS_RET_OK && arrival == Arrival::kResend && resends < kMaxResends) {
            if (sendRequest(exchange) != VOS_RET_OK) {
                return VOS_RET_OK;
            }
            continue;
        }
        vosMsg_requeuePutBacks(exchange.handle);
        if (arrival == Arrival::kResend) {
            return VOS_RET_ERROR;  // a peer that keeps coming back
        }
        if (resends > 0) {
            return VOS_RET_OK;  // callers rely on success once a request had to be sent again, whatever came of it
        }
        return ret == VOS_RET_OK && !exchange.wholeReply ? exchange.reply->wordData : ret;
    }
}

VosRet sendAndGetReply(VosMsgHandle *handle, const VosMsgHeader *msg, const uint32_t *timeoutMs) {
    if (handle == nullptr || msg == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    Exchange exchange{.handle = handle, .request = msg, .timeoutMs = timeoutMs, .wholeReply = false};
    return run(exchange);
}

VosRet sendAndGetReplyBuf(VosMsgHandle *handle, const VosMsgHeader *msg, VosMsgHeader **replyOut,
                          const uint32_t *timeoutMs) {
    if (replyOut != nullptr) {
        *replyOut = nullptr;
    }
    if (handle == nullptr || msg == nullptr || replyOut == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    Exchange exchange{.handle = handle, .request = msg, .timeoutMs = timeoutMs, .wholeReply = true};
    const VosRet ret = run(exchange);
    *replyOut = exchange.reply.release();
    return ret;
}

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

}  // namespace

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
    return oalVosMsg_send(handle->commFd, msg);
}

VosRet vosMsg_sendReply(VosMsgHandle *handle, const VosMsgHeader *request, uint32_t result) {
    if (handle == nullptr || request == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    VosMsgHeader reply{};
    reply.type = request->type;
    reply.src = request->dst;
    reply.dst = request->src;
    reply.flags = static_cast<uint16_t>(VOS_MSG_FLAG_RESPONSE | (request->flags & VOS_MSG_FLAG_KEEP));
    reply.wordData = result;
    return oalVosMsg_send(handle->commFd, &reply);
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
    if (handle == nullptr || handle->putBackQueue == nullptr) {
        return;
    }
    VosMsgHeader marker{};
    marker.type = VOS_MSG_REQUEUE_WAKEUP;
    marker.src = handle->putBackQueue->src;
    marker.dst = handle->putBackQueue->dst;
    marker.flags = VOS_MSG_FLAG_REQUEUE;
    oalVosMsg_send(handle->commFd, &marker);
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
    return oalVosMsg_receive(handle->commFd, msgOut, nullptr);
}

VosRet vosMsg_receiveWithTimeout(VosMsgHandle *handle, VosMsgHeader **msgOut, uint32_t timeoutMs) {
    if (!isReady(handle, msgOut)) {
        return VOS_RET_BAD_ARG;
    }
    if (takePutBack(handle, msgOut)) {
        return VOS_RET_OK;
    }
    return oalVosMsg_receive(handle->commFd, msgOut, &timeoutMs);
}

VosRet vosMsg_sendAndGetReply(VosMsgHandle *handle, const VosMsgHeader *msg) {
    return sendAndGetReply(handle, msg, nullptr);
}

VosRet vosMsg_sendAndGetReplyWithTimeout(VosMsgHandle *handle, const VosMsgHeader *msg, uint32_t timeoutMs) {
    return sendAndGetReply(handle, msg, &timeoutMs);
}

VosRet vosMsg_sendAndGetReplyBuf(VosMsgHandle *handle, const VosMsgHeader *msg, VosMsgHeader **replyOut) {
    return sendAndGetReplyBuf(handle, msg, replyOut, nullptr);
}

VosRet vosMsg_sendAndGetReplyBufWithTimeout(VosMsgHandle *handle, const VosMsgHeader *msg, VosMsgHeader **replyOut,
                                            uint32_t timeoutMs) {
    return sendAndGetReplyBuf(handle, msg, replyOut, &timeoutMs);
}
