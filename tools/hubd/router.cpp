// Routing between clients.
#include "router.h"

#include <algorithm>
#include <utility>

#include "internal/message_header.h"
#include "turns.h"

namespace hubd {

namespace {

// A client that never gets answers is remembered with its latest requests only.
constexpr size_t kMaxPending = 256;

// Longer ones to many are sent in turns of the receivers.
constexpr size_t kLongPayload = size_t{32} * 1024;

}  // namespace

// Keeps account of unanswered requests, so that their senders can be told when the destination comes back.
inline void Router::follow(Client &from, Client &to, const VosMsgHeader &header) {
    if (isRequest(header.flags)) {
        if (header.src != from.eid || &from == &to) {
            return;
        }
        const PendingRequest request{header.dst, header.type};
        if (std::ranges::find(from.pending, request) != from.pending.end()) {
            return;
        }
        if (from.pending.size() >= kMaxPending) {
            from.pending.erase(from.pending.begin());
        }
        from.pending.push_back(request);
    } else if (!to.pending.empty()) {
        // Peers answer in many ways: any message of the type that is no request counts as the answer.
        std::erase(to.pending, PendingRequest{header.src, header.type});
    }
}

bool Router::route(Client &from, const Frame &frame) {
    work_++;
    const VosMsgHeader &header = frame.header;
    Client *to = ids_.find(header.dst);
    if (to == nullptr && (header.flags & VOS_MSG_FLAG_REQUEUE) != 0) {
        to = &from;  // a wake-up is for the process that asked for it
    }
    if (to == nullptr) {
        flush();
        undeliverable(from, frame);
        return true;
    }
    const bool joins = run_.to == to && run_.from == &from &&
                       run_.bytes.data() + run_.bytes.size() == frame.bytes.data() &&
                       run_.bytes.size() + frame.bytes.size() <= congestion_.longestRun();
    if (!joins) {
        flush();
        if (!to->queue.empty() && congestion_.mustWait(from, *to, frame.bytes.size())) [[unlikely]] {
            return false;
        }
    }
    if (observers_.active()) [[unlikely]] {
        Payload payload{frame.payload(), frame.block};
        observers_.observe(header, payload, hubproto::Verdict::kDelivered);
    }
    follow(from, *to, header);
    if (joins) {
        run_.bytes = {run_.bytes.data(), run_.bytes.size() + frame.bytes.size()};
        run_.count++;
    } else {
        run_ = {&from, to, frame.bytes, frame.block, 1};
    }
    return true;
}

void Router::flush() {
    if (run_.to == nullptr) {
        return;
    }
    if (outbox_.deliver(*run_.to, run_.bytes, run_.count, run_.block)) [[likely]] {
        counters_.routed += run_.count;
        counters_.bytesRouted += run_.bytes.size();
        work_ += unitsOf(run_.bytes.size());
        Client &to = *std::exchange(run_.to, nullptr);
        run_.block = {};
        if (!to.queue.empty()) [[unlikely]] {
            congestion_.queued(*run_.from, to);
        }
    } else {
        runFailed();
    }
}

// The destination has closed its end: what was for it is treated as if it had gone already.
void Router::runFailed() {
    const Run failed = std::exchange(run_, {});
    std::span<const std::byte> rest = failed.bytes;
    while (!rest.empty()) {
        Frame frame;
        memcpy(&frame.header, rest.data(), sizeof frame.header);
        frame.bytes = rest.first(sizeof frame.header + frame.header.dataLength);
        rest = rest.subspan(frame.bytes.size());
        std::erase(failed.from->pending, PendingRequest{frame.header.dst, frame.header.type});
        undeliverable(*failed.from, frame);
    }
}

void Router::undeliverable(Client &from, const Frame &frame) {
    if (observers_.active()) {
        Payload payload{frame.payload(), frame.block};
        observers_.observe(frame.header, payload, hubproto::Verdict::kNoDestination);
    }
    if (isRequest(frame.header.flags)) {
        counters_.peerGoneReplies++;
        reply(from, frame.header, VOS_RET_PEER_GONE);
    } else {
        counters_.eventsDropped++;
    }
}

void Router::sendOwn(Client &to, VosMsgHeader header, Payload &payload) {
    work_ += 1 + unitsOf(payload.bytes().size() < kLongPayload ? payload.bytes().size() : 0);
    header.dataLength = static_cast<uint32_t>(payload.bytes().size());
    if (observers_.active()) {
        observers_.observe(header, payload, hubproto::Verdict::kFromHub);
    }
    outbox_.deliver(to, std::as_bytes(std::span{&header, 1}), payload);
}

void Router::sendFromHub(Client &to, const VosMsgHeader &header, Payload payload) {
    flush();
    sendOwn(to, header, payload);
}

bool Router::mustWait(Client &from, std::span<Client *const> receivers) {
    bool waits = !from.queue.empty() && congestion_.mustWait(from, from, 0);
    for (Client *to : receivers) {
        waits = (!to->queue.empty() && congestion_.mustWait(from, *to, 0)) || waits;
    }
    return waits;
}

void Router::copyEvent(Client &from, std::span<Client *const> receivers, const Frame &event) {
    flush();
    Payload payload{event.payload(), event.block};
    for (Client *to : receivers) {
        // The receiver's own id as the destination lets a wake-up marker made from the copy find its way back.
        VosMsgHeader header = event.header;
        header.dst = to->eid;
        sendOwn(*to, header, payload);
        if (!to->queue.empty()) {
            congestion_.queued(from, *to);
        }
    }
}

void Router::reply(Client &requester, const VosMsgHeader &request, uint32_t wordData,
                   std::span<const std::byte> payload, const BlockRef &block) {
    if (!isRequest(request.flags)) {
        return;
    }
    const uint32_t flags = VOS_MSG_FLAG_RESPONSE | (request.flags & (VOS_MSG_FLAG_KEEP | VOS_MSG_FLAG_SRPC));
    sendFromHub(requester, vos::messageHeader(request.type, request.dst, request.src, flags, wordData),
                Payload{payload, block});
    if (!requester.queue.empty()) {
        congestion_.queued(requester, requester);
    }
}

void Router::resend(Client &requester, VosEntityId returned) {
    if (std::erase_if(requester.pending, [=](const PendingRequest &p) { return p.dst == returned; }) == 0) {
        return;
    }
    sendFromHub(requester, vos::messageHeader(VOS_MSG_RESEND_REQUEST, returned, requester.eid, VOS_MSG_FLAG_EVENT));
}

}  // namespace hubd
