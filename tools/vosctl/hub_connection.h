// vosctl's connection to the hub: throws Failure with what to do, so that commands contain the good case only.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/hub_protocol.h"
#include "vos/mem.h"
#include "vos/msg.h"

namespace vosctl {

struct MessageFree {
    void operator()(VosMsgHeader *msg) const { VOS_FREE(msg); }
};
using MessagePtr = std::unique_ptr<VosMsgHeader, MessageFree>;
using Bytes = std::vector<std::byte>;
using ByteView = std::span<const std::byte>;

ByteView payloadOf(const VosMsgHeader &msg);

constexpr uint32_t kDefaultTimeoutMs = 5000;

/** An entity as the user named it. */
struct Entity {
    VosEntityId eid;
    std::string text;  // "echo (65536)", or "65536" when a number was given
};

class Hub {
  public:
    Hub();
    /** Waits so long for the hub, a second at least, when it connects and when it looks a name up. */
    explicit Hub(uint32_t timeoutMs);
    /** Under another name, or under another id when the name is a number. */
    explicit Hub(const std::string &nameOrNumber);
    ~Hub() { vosMsg_cleanup(&handle_); }
    Hub(const Hub &) = delete;
    Hub &operator=(const Hub &) = delete;

    VosEntityId eid() const { return vosMsg_getHandleEid(handle_); }
    int fd() const;

    /** A message from vosctl with its payload copied in. */
    MessagePtr build(VosEntityId dst, uint32_t type, uint16_t flags, uint32_t word, ByteView payload) const;
    void send(const VosMsgHeader &msg);
    /** The reply; NULL when the peer came back meanwhile and left the repeated request unanswered. */
    MessagePtr request(const VosMsgHeader &msg, const std::string &peer, uint32_t timeoutMs = kDefaultTimeoutMs);
    /** Waits without limit. */
    MessagePtr receive();
    /** NULL when none has come in this time. */
    MessagePtr receiveWithin(uint32_t timeoutMs);
    /** NULL when none has come before `otherFd` can be read, a signal or the end of the time; -1: no limit. */
    MessagePtr receiveUnless(int otherFd, int timeoutMs = -1);

    /** A number as it stands; a name is looked up by the hub. */
    Entity find(const std::string &numberOrName);
    /** The same; 0 for a name that the hub does not know. */
    VosEntityId lookUp(const std::string &numberOrName);
    bool isPresent(VosEntityId eid);
    /** The reply to a request that the hub itself answers with a block. */
    MessagePtr ask(uint32_t hubRequest);
    /** From now on receive() gives every event of this type too. */
    void registerFor(uint32_t type);
    std::vector<hubproto::ClientRow> clients();
    hubproto::HubCounters counters();
    /** Throws when nobody holds the id: the hub drops an event to nobody without a word. */
    void requirePresence(const Entity &peer);

  private:
    using Clock = std::chrono::steady_clock;

    static MessagePtr received(VosRet ret, VosMsgHeader *msg);

    VosMsgHandle *handle_ = nullptr;
    uint32_t hubTimeoutMs_ = kDefaultTimeoutMs;
};

}  // namespace vosctl
