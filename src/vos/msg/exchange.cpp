// Request and reply: one request on its way, what is an answer to it and how its wait ends.
#include <utility>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "vos/msg/handle.h"

using vos::Deadline;
using vos::FirstStep;
using vos::MemPtr;
using vos::MessageStream;

namespace {

// The longest single wait for a message; when it ends without one, a line in the diagnostics tells of it.
constexpr uint32_t kMaxSliceMs = 120000;

// Data that is there costs no waiting, so a peer that never stops sending could hold a request for ever.
constexpr uint32_t kMaxLate = 4096;

constexpr int kMaxResends = 16;

enum class Want { kResult, kWholeReply };  // a whole reply is matched by its SRPC id too

struct Exchange {
    VosMsgHandle *handle;
    const VosMsgHeader *request;
    const uint32_t *timeoutMs;  // NULL: without limit
    Want want;
    Deadline deadline{};  // of the current sending and its wait
    MemPtr<VosMsgHeader> reply{};
};

enum class Arrival { kAnswer, kResend, kOther };

// Sends the request; the time for it and its reply begins here.
VosRet sendRequest(Exchange &exchange) {
    const VosMsgHeader *msg = exchange.request;
    if (exchange.timeoutMs != nullptr) {
        exchange.deadline = Deadline::at(vos::monotonicNs() + *exchange.timeoutMs * vos::kNsPerMs);
    }
    const VosRet ret = MessageStream::send(exchange.handle->commFd, msg, exchange.deadline);
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
        // Contract: only the type is compared, not flags or source; peers answer in many ways.
        if (exchange.want == Want::kWholeReply && !matchesSrpcId(request, msg.get())) {
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

// The next message. A slice that ends without one is told of; VOS_RET_TIMEOUT only when the request's time is over.
VosRet receiveNext(Exchange &exchange, FirstStep firstStep, VosMsgHeader **received) {
    const VosMsgHeader *msg = exchange.request;
    for (;;) {
        Deadline slice = exchange.deadline.sliceOf(kMaxSliceMs);
        const VosRet ret = exchange.handle->stream.receive(exchange.handle->commFd, received, slice, firstStep);
        if (ret != VOS_RET_TIMEOUT) {
            return ret;
        }
        VOS_DBG_ERROR("Reply msg 0x%x wordData %u from %u to %u timeout(%dms)", msg->type, msg->wordData, msg->src,
                      msg->dst, exchange.timeoutMs != nullptr ? static_cast<int>(*exchange.timeoutMs) : -1);
        if (exchange.deadline.isOver()) {
            return ret;
        }
    }
}

// Waits for the answer or for the peer's wish to get the request again; another result says why neither came.
VosRet awaitReply(Exchange &exchange, Arrival *arrival) {
    FirstStep firstStep = FirstStep::kWait;
    for (uint32_t late = 0; late < kMaxLate;) {
        VosMsgHeader *received = nullptr;
        const VosRet ret = receiveNext(exchange, firstStep, &received);
        if (ret != VOS_RET_OK) {
            if (ret != VOS_RET_TIMEOUT) {
                VOS_DBG_ERROR("error during get of reply, ret=%d", static_cast<int>(ret));
            }
            return ret;
        }
        *arrival = sortIn(exchange, received);
        if (*arrival != Arrival::kOther) {
            return VOS_RET_OK;
        }
        late += exchange.deadline.isOver() ? 1 : 0;
        firstStep = FirstStep::kRead;
    }
    return VOS_RET_TIMEOUT;
}

// Sends the request and waits; sends it again, with the full time, each time the peer came back.
VosRet run(Exchange &exchange) {
    VosRet ret = sendRequest(exchange);
    if (ret != VOS_RET_OK) {
        return ret;
    }
    Arrival arrival = Arrival::kOther;
    ret = awaitReply(exchange, &arrival);
    int resends = 0;
    for (; arrival == Arrival::kResend && resends < kMaxResends; resends++) {
        if (sendRequest(exchange) != VOS_RET_OK) {
            return VOS_RET_OK;
        }
        arrival = Arrival::kOther;
        ret = awaitReply(exchange, &arrival);
    }
    // What is queued must not make a limited request wait for room.
    vos::wakeUp(*exchange.handle, exchange.timeoutMs == nullptr ? Deadline{} : Deadline{0});
    if (arrival == Arrival::kResend) {
        return VOS_RET_ERROR;  // a peer that keeps coming back
    }
    if (resends > 0) {
        return VOS_RET_OK;  // Contract: once a request had to be sent again the call succeeds, whatever came of it.
    }
    return ret == VOS_RET_OK && exchange.want == Want::kResult ? exchange.reply->wordData : ret;
}

VosRet sendAndGetReply(VosMsgHandle *handle, const VosMsgHeader *msg, const uint32_t *timeoutMs) {
    if (handle == nullptr || msg == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    Exchange exchange{.handle = handle, .request = msg, .timeoutMs = timeoutMs, .want = Want::kResult};
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
    Exchange exchange{.handle = handle, .request = msg, .timeoutMs = timeoutMs, .want = Want::kWholeReply};
    const VosRet ret = run(exchange);
    *replyOut = exchange.reply.release();
    return ret;
}

}  // namespace

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
