// Request and reply, the put-back queue and its wake-up marker, SRPC matching and the resend rule.
#include "vos/msg.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <thread>

#include "support/effort.h"
#include "support/hub_script.h"
#include "support/syslog_catcher.h"
#include "vos/mem.h"

using vostest::HubScript;
using vostest::message;
using vostest::WireMessage;

namespace {

constexpr uint32_t kSelf = 50;
constexpr uint32_t kPeer = 60;
constexpr uint32_t kType = 0x10005000;

class MsgTest : public testing::Test {
  protected:
    ~MsgTest() override { vosMsg_cleanup(&handle); }

    static WireMessage request(uint16_t flags = VOS_MSG_FLAG_REQUEST, uint32_t word = 0) {
        return message(kType, kSelf, kPeer, flags, word);
    }
    static WireMessage reply(uint32_t word, const std::string &payload = {}, uint16_t flags = VOS_MSG_FLAG_RESPONSE) {
        return message(kType, kPeer, kSelf, flags, word, payload);
    }
    static WireMessage event(uint32_t word) {
        return message(0x10006000, 70, kSelf, VOS_MSG_FLAG_EVENT, word, "event");
    }
    static WireMessage resend(uint32_t from) { return message(VOS_MSG_RESEND_REQUEST, from, kSelf); }

    VosRet ask(const WireMessage &msg, uint32_t timeoutMs = vostest::patienceMs()) {
        return vosMsg_sendAndGetReplyWithTimeout(handle, &msg.header, timeoutMs);
    }
    /** Result and, when a reply came, its payload. */
    std::pair<VosRet, std::optional<std::string>> askBuf(const WireMessage &msg,
                                                         uint32_t timeoutMs = vostest::patienceMs()) {
        auto *answer = reinterpret_cast<VosMsgHeader *>(1);
        const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle, &msg.header, &answer, timeoutMs);
        if (answer == nullptr) {
            return {ret, std::nullopt};
        }
        std::string payload{reinterpret_cast<char *>(answer + 1), answer->dataLength};
        VOS_FREE(answer);
        return {ret, payload};
    }
    /** wordData of the next message, without waiting; 0 when there is none. */
    uint32_t next() {
        VosMsgHeader *msg = nullptr;
        if (vosMsg_receiveWithTimeout(handle, &msg, 0) != VOS_RET_OK) {
            return 0;
        }
        const uint32_t word = msg->wordData;
        EXPECT_EQ(msg->next, nullptr);
        VOS_FREE(msg);
        return word;
    }
    void expectRequests(size_t count) {
        for (size_t i = 0; i < count; i++) {
            EXPECT_EQ(hub.read().value_or(WireMessage{}).header.type, kType);
        }
    }
    void expectMarkerAndNothingElse() {
        const WireMessage marker = hub.read().value_or(WireMessage{});
        EXPECT_EQ(marker.bytes(), message(VOS_MSG_REQUEUE_WAKEUP, 70, kSelf, VOS_MSG_FLAG_REQUEUE).bytes());
        EXPECT_FALSE(hub.hasData());
    }

    HubScript hub;
    VosMsgHandle *handle = hub.open(kSelf);
};

TEST_F(MsgTest, RepliesExchangeTheAddressesAndKeepOneFlag) {
    struct Case {
        uint16_t requestFlags;
        uint16_t replyFlags;
    };
    for (const Case &c : {Case{0x02, 0x04}, Case{0x12, 0x14}, Case{0x3B, 0x14}, Case{0x22, 0x04}}) {
        SCOPED_TRACE(c.requestFlags);
        WireMessage received = message(kType, kPeer, kSelf, c.requestFlags, 5, "payload");
        received.header.sequenceNumber = 3;
        received.header.next = reinterpret_cast<VosMsgHeader *>(~uintptr_t{0});
        EXPECT_EQ(vosMsg_sendReply(handle, &received.header, 9003), VOS_RET_OK);
        EXPECT_EQ(hub.read()->bytes(), message(kType, kSelf, kPeer, c.replyFlags, 9003).bytes());
    }
}

TEST_F(MsgTest, RequestKeepsOtherMessagesInArrivalOrder) {
    hub.send(event(1));
    hub.send(message(VOS_MSG_REQUEUE_WAKEUP, 70, kSelf, VOS_MSG_FLAG_REQUEUE));
    WireMessage wild = event(2);
    wild.header.next = reinterpret_cast<VosMsgHeader *>(0x4141414141414141);
    hub.send(wild);
    hub.send(reply(9809));
    hub.send(event(3));
    EXPECT_EQ(ask(request()), 9809U) << "the reply's word, whatever it reads like";
    expectRequests(1);
    expectMarkerAndNothingElse();
    EXPECT_EQ(next(), 1U);
    EXPECT_EQ(next(), 2U);
    EXPECT_EQ(next(), 3U);
    EXPECT_EQ(next(), 0U);
}

TEST_F(MsgTest, MarkerFollowsEveryWaitThatLeavesMessagesQueued) {
    hub.send(event(1));
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(ask(request(VOS_MSG_FLAG_REQUEST, 4), 20), VOS_RET_TIMEOUT);
    EXPECT_EQ(diagnostics.takeBodies(),
              std::vector<std::string>{"Reply msg 0x10005000 wordData 4 from 50 to 60 timeout(20ms)"});
    expectRequests(1);
    expectMarkerAndNothingElse();
    hub.send(reply(0));
    EXPECT_EQ(ask(request()), VOS_RET_OK) << "the queue is still full, the marker goes out again";
    expectRequests(1);
    expectMarkerAndNothingElse();
    hub.hangUp();
    EXPECT_EQ(ask(request()), VOS_RET_PEER_GONE);
    EXPECT_EQ(next(), 1U) << "a dead hub takes no queued message with it";
}

TEST_F(MsgTest, QueueHandsOutOldestFirst) {
    for (uint32_t word = 1; word <= 3; word++) {
        const WireMessage original = event(word);
        auto wire = original.bytes();
        VosMsgHeader *copy = vosMsg_duplicate(reinterpret_cast<const VosMsgHeader *>(wire.data()));
        EXPECT_EQ((std::string{reinterpret_cast<char *>(copy), wire.size()}), wire);
        vosMsg_putBack(handle, &copy);
        EXPECT_EQ(copy, nullptr);
    }
    const WireMessage marker = message(VOS_MSG_REQUEUE_WAKEUP, 1, 2);
    VosMsgHeader *dropped = vosMsg_duplicate(&marker.header);
    vosMsg_putBack(handle, &dropped);
    EXPECT_EQ(dropped, nullptr);
    VosMsgHeader *msg = nullptr;
    vosMsg_receivePutBack(handle, &msg);
    EXPECT_EQ(msg->wordData, 1U);
    VOS_FREE(msg);
    EXPECT_EQ(vosMsg_receive(handle, nullptr), VOS_RET_BAD_ARG) << "and the queue is kept";
    EXPECT_EQ(next(), 2U);
    vosMsg_requeuePutBacks(handle);
    expectMarkerAndNothingElse();
    EXPECT_EQ(next(), 3U);
    vosMsg_receivePutBack(handle, &msg);
    EXPECT_EQ(msg, nullptr);
    vosMsg_requeuePutBacks(handle);
    EXPECT_FALSE(hub.hasData());
}

TEST_F(MsgTest, SrpcReplyMustCarryFlagAndId) {
    const uint16_t srpc = VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC;
    hub.send(reply(8, "other id", VOS_MSG_FLAG_RESPONSE | VOS_MSG_FLAG_SRPC));
    hub.send(reply(7, "no flag"));
    hub.send(reply(7, "mine", VOS_MSG_FLAG_RESPONSE | VOS_MSG_FLAG_SRPC));
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(askBuf(request(srpc, 7)), (std::pair{VosRet{VOS_RET_OK}, std::optional<std::string>{"mine"}}));
    EXPECT_EQ(diagnostics.takeBodies(),
              (std::vector<std::string>{"Unmatched srpc msg 8 from 60 to 50, expect srpc msg 7",
                                        "Unmatched srpc msg 7 from 60 to 50, expect srpc msg 7"}));
    EXPECT_EQ(next(), 0U) << "dropped, not put back";
    hub.send(reply(8, "", VOS_MSG_FLAG_RESPONSE));
    EXPECT_EQ(ask(request(srpc, 7)), 8U) << "the plain call compares nothing but the type";
}

TEST_F(MsgTest, PeerThatCameBackGetsTheRequestAgain) {
    hub.send(resend(99));  // not the peer asked: ignored
    hub.send(event(1));
    hub.send(resend(kPeer));
    hub.send(reply(9002));
    EXPECT_EQ(ask(request()), VOS_RET_OK) << "whatever the second answer was";
    expectRequests(2);
    expectMarkerAndNothingElse();

    hub.send(resend(kPeer));
    hub.send(reply(3, "second"));
    EXPECT_EQ(askBuf(request()), (std::pair{VosRet{VOS_RET_OK}, std::optional<std::string>{"second"}}));
    hub.send(resend(kPeer));
    EXPECT_EQ(askBuf(request(), 20), (std::pair{VosRet{VOS_RET_OK}, std::optional<std::string>{}}))
        << "success without a reply";
    EXPECT_EQ(next(), 1U);
}

TEST_F(MsgTest, GivesUpOnAPeerThatKeepsComingBack) {
    for (int i = 0; i < 18; i++) {
        hub.send(resend(kPeer));
    }
    EXPECT_EQ(ask(request()), VOS_RET_ERROR);
    expectRequests(17);
    EXPECT_FALSE(hub.hasData());
    EXPECT_EQ(ask(request(), 20), VOS_RET_OK) << "one report was left over";
    hub.send(reply(5));
    EXPECT_EQ(ask(request()), 5U);
}

TEST_F(MsgTest, AFloodDoesNotHoldALimitedRequest) {
    constexpr uint32_t kFlood = 30000;
    std::string flood;
    for (uint32_t word = 1; word <= kFlood; word++) {
        flood += event(word).bytes();
    }
    std::thread peer{[&] { hub.sendBytes(flood); }};
    VosMsgHeader *msg = nullptr;
    EXPECT_EQ(vosMsg_receive(handle, &msg), VOS_RET_OK) << "the flood has begun";
    vosMsg_putBack(handle, &msg);
    EXPECT_EQ(ask(request(), 0), VOS_RET_TIMEOUT);
    uint32_t queued = 0;
    for (vosMsg_receivePutBack(handle, &msg); msg != nullptr; vosMsg_receivePutBack(handle, &msg)) {
        EXPECT_EQ(msg->wordData, ++queued);
        VOS_FREE(msg);
    }
    EXPECT_LE(queued, 1 + 4096U);
    for (uint32_t word = queued + 1; word <= kFlood; word++) {
        EXPECT_EQ(vosMsg_receive(handle, &msg), VOS_RET_OK);
        EXPECT_EQ(msg->wordData, word) << "nothing is lost";
        VOS_FREE(msg);
    }
    peer.join();
}

TEST_F(MsgTest, RefusesNullArguments) {
    const WireMessage msg = request();
    VosMsgHeader *out = reinterpret_cast<VosMsgHeader *>(1);
    int32_t fd = 0;
    VosMsgHandle *none = nullptr;
    for (const VosRet ret :
         {vosMsg_send(nullptr, &msg.header), vosMsg_send(handle, nullptr), vosMsg_sendReply(handle, nullptr, 0),
          vosMsg_receiveWithTimeout(handle, nullptr, 0), vosMsg_sendAndGetReply(nullptr, &msg.header),
          vosMsg_sendAndGetReplyBuf(handle, &msg.header, nullptr), vosMsg_getEventHandle(nullptr, &fd),
          vosMsg_receive(nullptr, &out)}) {
        EXPECT_EQ(ret, VOS_RET_BAD_ARG);
    }
    EXPECT_EQ(out, nullptr) << "callers free what they find";
    EXPECT_EQ(vosMsg_getHandleEid(nullptr), 0U);
    EXPECT_EQ(vosMsg_duplicate(nullptr), nullptr);
    vosMsg_putBack(nullptr, &out);
    vosMsg_requeuePutBacks(nullptr);
    vosMsg_cleanup(&none);
    vosMsg_cleanup(nullptr);
    EXPECT_FALSE(hub.hasData());
}

}  // namespace
