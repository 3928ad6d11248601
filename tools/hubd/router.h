// From whom to whom: routing by destination, answers for absent ones, requests that wait for a daemon's return.
#pragma once

#include "common/hub_protocol.h"
#include "congestion.h"
#include "id_table.h"
#include "observers.h"
#include "outbox.h"

namespace hubd {

class Router {
  public:
    Router(const IdTable &ids, Outbox &outbox, Congestion &congestion, Observers &observers)
        : ids_{ids}, outbox_{outbox}, congestion_{congestion}, observers_{observers} {}

    /** Routes a message that is not for the hub. Messages in a row for the same destination leave with one system call,
     *  at the latest with flush(); the frame's bytes stay valid until then.
     *  @return false when it has to wait: nothing was done with it, its sender is paused */
    bool route(Client &from, const Frame &frame);
    void flush();

    /** A message of the hub's own; `header.dataLength` follows the payload. */
    void sendFromHub(Client &to, const VosMsgHeader &header, Payload payload = Payload{{}});

    /** Whether an event or request to the hub has to wait, because its receivers or the requester have too much that
     *  waits for them; its sender is paused then. */
    bool mustWait(Client &from, std::span<Client *const> receivers);
    /** Copies of `from`'s event, addressed to their receivers; all share one payload. */
    void copyEvent(Client &from, std::span<Client *const> receivers, const Frame &event);

    /** The reply to a request: with VOS_MSG_FLAG_KEEP and VOS_MSG_FLAG_SRPC if it had them. Nothing for a message that
     *  is no request. */
    void reply(Client &requester, const VosMsgHeader &request, uint32_t wordData,
               std::span<const std::byte> payload = {}, const BlockRef &block = {});

    /** Asks `requester` to send again what it waits for from `returned`, if it does. */
    void resend(Client &requester, VosEntityId returned);

    /** Work that was done so far, and more of it; in the units of Turns. */
    uint64_t work() const { return work_; }
    void addWork(uint64_t units) { work_ += units; }

    hubproto::HubCounters &counters() { return counters_; }

  private:
    void follow(Client &from, Client &to, const VosMsgHeader &header);
    void undeliverable(Client &from, const Frame &frame);
    void runFailed();
    void sendOwn(Client &to, VosMsgHeader header, Payload &payload);

    /** Messages in a row from one client to another that have not been sent yet. */
    struct Run {
        Client *from = nullptr;
        Client *to = nullptr;
        std::span<const std::byte> bytes;
        BlockRef block;  // that they lie in, for a message that was put together from pieces
        size_t count = 0;
    };

    const IdTable &ids_;
    Outbox &outbox_;
    Congestion &congestion_;
    Observers &observers_;
    Run run_;
    uint64_t work_ = 0;
    hubproto::HubCounters counters_{};
};

/** A request that waits for its reply, as opposed to a reply or a one-way message. */
inline bool isRequest(uint16_t flags) {
    return (flags & (VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_RESPONSE)) == VOS_MSG_FLAG_REQUEST;
}

}  // namespace hubd
