// Request and reply, the put-back queue and its wake-up marker, SRPC matching and the resend rule.
#include "vos/msg.h"

#include <thread>

#include "support/effort.h"
#include "support/hub_test.h"

using testing::ElementsAre;
using vostest::kPeer;
using vostest::kSelf;
using vostest::message;
using vostest::WireMessage;

namespace {

constexpr uint32_t kType = 0x10005000;

class MsgTest : public vostest::HubTest {
  protected:
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
    std::pair<VosRet, std::string> askBuf(const WireMessage &msg, uint32_t timeoutMs = vostest::patienceMs()) {
        auto *answer = reinterpret_cast<VosMsgHeader *>(1);
        const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle, &msg.header, &answer, timeoutMs);
        const std::string payload =
            answer == nullptr ? "none" : std::string{reinterpret_cast<char *>(answer + 1), answer->dataLength};
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
        EXPECT_EQ(sent(), message(VOS_MSG_REQUEUE_WAKEUP, 70, kSelf, VOS_MSG_FLAG_REQUEUE).bytes());
        EXPECT_FALSE(hub.hasData());
    }
};

TEST_F(MsgTest, RepliesExchangeTheAddressesAndKeepOneFlag) {
    using Flags = std::pair<uint16_t, uint16_t>;
    for (const auto &[flags, replyFlags] : {Flags{0x02, 0x04}, {0x12, 0x14}, {0x3B, 0x14}, {0x22, 0x04}}) {
        SCOPED_TRACE(flags);
        WireMessage received = message(kType, kPeer, kSelf, flags, 5, "payload");
        received.header.sequenceNumber = 3;
        received.header.next = reinterpret_cast<VosMsgHeader *>(~uintptr_t{0});
        EXPECT_EQ(vosMsg_sendReply(handle, &received.header, 9003), VOS_RET_OK);
        EXPECT_EQ(sent(), message(kType, kSelf, kPeer, replyFlags, 9003).bytes());
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
    for (const uint32_t word : {1U, 2U, 3U, 0U}) {
        EXPECT_EQ(next(), word);
    }
}

TEST_F(MsgTest, MarkerFollowsEveryWaitThatLeavesMessagesQueued) {
    hub.send(event(1));
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(ask(request(VOS_MSG_FLAG_REQUEST, 4), 20), VOS_RET_TIMEOUT);
    EXPECT_THAT(diagnostics.takeBodies(), ElementsAre("Reply msg 0x10005000 wordData 4 from 50 to 60 timeout(20ms)"));
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
        const std::string wire = event(word).bytes();
        VosMsgHeader *copy = vosMsg_duplicate(reinterpret_cast<const VosMsgHeader *>(wire.data()));
        EXPECT_EQ((std::string{reinterpret_cast<char *>(copy), wire.size()}), wire);
        vosMsg_putBack(handle, &copy);
        EXPECT_EQ(copy, nullptr);
    }
    const WireMessage marker = message(VOS_MSG_REQUEUE_WAKEUP, 1, 2);
    VosMsgHeader *msg = vosMsg_duplicate(&marker.header);
    vosMsg_putBack(handle, &msg);
    EXPECT_EQ(msg, nullptr);
    msg = reinterpret_cast<VosMsgHeader *>(1);
    EXPECT_EQ(vosMsg_receive(nullptr, &msg), VOS_RET_BAD_ARG);
    EXPECT_EQ(msg, nullptr) << "callers free what they find";
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
    EXPECT_EQ(askBuf(request(srpc, 7)), std::pair(VosRet{VOS_RET_OK}, std::string{"mine"}));
    EXPECT_THAT(diagnostics.takeBodies(), ElementsAre("Unmatched srpc msg 8 from 60 to 50, expect srpc msg 7",
                                                      "Unmatched srpc msg 7 from 60 to 50, expect srpc msg 7"));
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
    EXPECT_EQ(askBuf(request()), std::pair(VosRet{VOS_RET_OK}, std::string{"second"}));
    hub.send(resend(kPeer));
    EXPECT_EQ(askBuf(request(), 20), std::pair(VosRet{VOS_RET_OK}, std::string{"none"})) << "success without a reply";
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

}  // namespace
