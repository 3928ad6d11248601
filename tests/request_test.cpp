// Hub requests: exact bytes of every wrapper, who waits and who does not, and what comes back.
#include "vos/request.h"

#include <sys/socket.h>

#include <functional>
#include <thread>

#include "support/hub_test.h"

using vostest::kPeer;
using vostest::kSelf;
using vostest::message;

namespace {

constexpr uint32_t kType = 0x10005000;
const uint8_t kData[] = {'a', 0, 'b'};
const std::string kDataText{"a\0b", 3};

class Request : public vostest::HubTest {
  protected:
    VosRet ask(std::vector<uint8_t> &reply, uint32_t dataLen = sizeof kData) {
        return UTIL_sendRequestAndGetReplyBuf(handle, kPeer, kType, 9, kData, reply.data(), dataLen,
                                              static_cast<uint32_t>(reply.size()));
    }

    std::vector<uint8_t> buffer = std::vector<uint8_t>(10);
};

TEST_F(Request, EveryWrapperSendsItsMessage) {
    const std::string info(UTIL_ENTITY_INFO_SIZE, 'i');
    const std::string name{"snmpd\0", 6};
    // Only those with VOS_MSG_FLAG_REQUEST wait for the answer.
    const std::tuple<std::function<VosRet()>, uint32_t, uint32_t, uint16_t, uint32_t, std::string> kRows[] = {
        {[&] { return UTIL_sendRequest(handle, kPeer, kType, 1, kData, 3); }, kPeer, kType, 2, 1, kDataText},
        {[&] { return UTIL_sendRequest(handle, kPeer, kType, 1, kData, 0); }, kPeer, kType, 2, 1, ""},
        {[&] { return UTIL_sendEventMsg(handle, kPeer, kType, 2, kData, 3, 3); }, kPeer, kType, 1, 2, kDataText},
        {[&] { return UTIL_sendEventMsg(handle, kPeer, kType, 2, nullptr, 5, 2); }, kPeer, kType, 0, 2, ""},
        {[&] { return UTIL_sendMsg(handle, kPeer, kType, 3, kData, 3); }, kPeer, kType, 0, 3, kDataText},
        {[&] { return UTIL_sendRequestToHubd(handle, kType, 4, kData, 3); }, 20, kType, 2, 4, kDataText},
        {[&] { return UTIL_sendEventToHubd(handle, kType, 5, kData, 3); }, 20, kType, 1, 5, kDataText},
        {[&] { return UTIL_sendRequestToGuardd(handle, kType, 6, kData, 3); }, 21, kType, 2, 6, kDataText},
        {[&] { return UTIL_sendEventToGuardd(handle, kType, 7, kData, 3); }, 21, kType, 1, 7, kDataText},
        {[&] { return UTIL_sendRequestToGponproxy(handle, kType, 8, kData, 3); }, 42048, kType, 1, 8, kDataText},
        {[&] { return UTIL_sendRequestToEponapp(handle, kType, 9, kData, 3); }, 15, kType, 1, 9, kDataText},
        {[&] { return UTIL_sendRequestToSnmpd(handle, kType, 10, kData, 3); }, 4, kType, 1, 10, kDataText},
        {[&] { return UTIL_sendHeartbeat(handle); }, 20, 0x10000832, 0, 0, ""},
        {[&] { return UTIL_stopWatchdog(handle); }, 20, 0x10000834, 0, 0, ""},
        {[&] { return UTIL_registerEvent(handle, 11, kData, 3); }, 20, 0x10000802, 2, 11, kDataText},
        {[&] { return UTIL_unregisterEvent(handle, 12, kData, 3); }, 20, 0x10000803, 2, 12, kDataText},
        {[&] { return UTIL_reboot(handle); }, 20, 0x10000850, 2, 0, ""},
        {[&] { return UTIL_addEntityInfo(info.data(), handle); }, 20, 0x10003620, 2, 0, info},
        {[&] { return UTIL_delEntityInfo("snmpd", handle); }, 20, 0x10003621, 2, 0, name},
        {[&] { return UTIL_getEidByAppName("snmpd", handle); }, 20, 0x10003627, 2, 0, name},
    };
    for (const auto &[call, dst, type, flags, wordData, payload] : kRows) {
        SCOPED_TRACE(wordData);
        const bool waits = (flags & VOS_MSG_FLAG_REQUEST) != 0;
        if (waits) {
            answer(type, 4711);
        }
        EXPECT_EQ(call(), waits ? 4711U : 0U);
        EXPECT_EQ(sent(), message(type, kSelf, dst, flags, wordData, payload).bytes());
    }
}

TEST_F(Request, NothingIsSentWhoseSizeWraps) {
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(UTIL_sendRequest(handle, kPeer, kType, 0, kData, 0xFFFFFFE0), VOS_RET_NO_RESOURCE) << "32 + size wraps";
    EXPECT_EQ(UTIL_sendMsg(handle, kPeer, kType, 0, kData, 0xFFFFFFFF), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(ask(buffer, 0xFFFFFFF0), VOS_RET_NO_RESOURCE);
    EXPECT_THAT(diagnostics.takeBodies(), testing::Each("VOS_MALLOC_FLAGS fail"));
    EXPECT_FALSE(hub.hasData());
}

TEST_F(Request, ReplyBufferTakesAPayloadOfExactlyItsSize) {
    answer(kType, 9002, "0123456789");
    EXPECT_EQ(ask(buffer), VOS_RET_OK) << "whatever the peer's result is";
    EXPECT_THAT(buffer, testing::ElementsAreArray("0123456789", 10));
    EXPECT_EQ(sent(), message(kType, kSelf, kPeer, 2, 9, kDataText).bytes());

    std::vector<uint8_t> tooSmall(9);
    const uint32_t before = vostest::heapBytes();
    vostest::Diagnostics diagnostics;
    const vostest::ExpectedLeak leak;
    answer(kType, 0, "0123456789");
    EXPECT_EQ(ask(tooSmall), VOS_RET_ERROR);
    EXPECT_THAT(tooSmall, testing::Each(0));
    EXPECT_EQ(diagnostics.takeBodies().back(), "replyData is too short!");
    EXPECT_EQ(vostest::heapBytes() - before, 32U + 3 + 32 + 10) << "both blocks stay";
}

TEST_F(Request, FailuresAreReportedAndCopyNothing) {
    vostest::Diagnostics diagnostics;
    std::thread peer{[&] {
        hub.read();
        shutdown(hub.fd(), SHUT_RD);
        hub.send(message(VOS_MSG_RESEND_REQUEST, kPeer, kSelf));
    }};
    EXPECT_EQ(ask(buffer), VOS_RET_ERROR) << "it could not be sent again, there is no reply";
    peer.join();
    EXPECT_EQ(diagnostics.takeBodies().back(), "vosMsg_sendAndGetReplyBufWithTimeout error, ret = 9002");
    EXPECT_EQ(UTIL_sendRequest(handle, kPeer, kType, 0, nullptr, 0), VOS_RET_PEER_GONE);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Send msg 0x10005000 from 0x32 to hubd, ret=9810");
    EXPECT_EQ(UTIL_sendHeartbeat(handle), VOS_RET_PEER_GONE);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Send msg 0x10000832 from 0x32 to hubd fail, ret=9810");
    EXPECT_THAT(buffer, testing::Each(0));
}

TEST_F(Request, SavesTheLogOnlyThroughARunningDaemon) {
    const std::string question = message(0x1000080b, kSelf, 20, 2, 30).bytes();
    answer(0x1000080b, 0);
    EXPECT_EQ(util_saveLogToFlash(handle), VOS_RET_OK);
    EXPECT_EQ(sent(), question);
    EXPECT_EQ(sent(), message(0x10002c07, kSelf, 30, 2).bytes());
    answer(0x1000080b, 9840);
    EXPECT_EQ(util_saveLogToFlash(handle), VOS_RET_OK);
    EXPECT_EQ(sent(), question);
    EXPECT_FALSE(hub.hasData());

    answer(0x1000080b, 0);
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(vosImg_isAppRunning(handle, 77), 1);
    EXPECT_EQ(diagnostics.takeBodies().front(), "Enter>, eid = 77");
    hub.hangUp();
    EXPECT_EQ(vosImg_isAppRunning(handle, 77), 0);
}

}  // namespace
