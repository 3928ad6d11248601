// loop.h with a real hub: the loop in C, and how each thing ends that can go wrong.
#include "vos/loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <string>
#include <vector>

#include "support/effort.h"
#include "support/hub_process.h"
#include "support/hub_script.h"
#include "vos/request.h"

using testing::ElementsAre;

namespace {

constexpr uint32_t kType = 0x10005001, kOther = 0x10005002;

std::vector<uint32_t> ends;              // replies and codes as they come
std::vector<const VosMsgHeader *> kept;  // requests to be answered later
std::vector<std::string> seen;

void note(VosLoop *, VosRet ret, const VosMsgHeader *reply, void *call) {
    ends.push_back(reply != nullptr ? reply->wordData : ret);
    if (call != nullptr) {
        EXPECT_EQ(ends.back(), static_cast<VosLoopCall *>(call)->key.word) << "another's reply";
    }
}
void keep(VosLoop *loop, const VosMsgHeader *request, void *) {
    kept.push_back(vosMsg_duplicate(request));
    vosLoop_dismiss(loop);
}

/** A daemon and a client in one thread: their loops take turns. */
class LoopInC : public testing::Test {
  protected:
    LoopInC() {
        ends.clear();
        kept.clear();
        seen.clear();
        for (auto [loop, name] : {std::pair{&server_, "server"}, {&client_, "client"}}) {
            VosMsgHandle *handle = nullptr;
            EXPECT_EQ(vosMsg_initByName(name, &handle), VOS_RET_OK);
            EXPECT_EQ(vosLoop_init(loop, handle), VOS_RET_OK);
        }
    }
    ~LoopInC() override {
        for (VosLoop *loop : {&server_, &client_}) {
            vosLoop_cleanup(loop);
            vosMsg_cleanup(&loop->handle);
        }
    }
    template <typename Until>
    void turnUntil(Until until) {
        for (uint32_t waited = 0; !until() && waited < vostest::patienceMs(); waited++) {
            vosLoop_turn(&server_, 1);
            vosLoop_turn(&client_, 1);
        }
        EXPECT_TRUE(until());
    }
    void ask(VosLoopCall *call, uint32_t type, uint32_t word = 0, unsigned match = VOS_LOOP_BY_TYPE,
             uint32_t timeoutMs = 20000) {
        vosLoop_ask(&client_, call, vosMsg_getHandleEid(server_.handle), type, match, word, nullptr, 0, timeoutMs, note,
                    match != VOS_LOOP_BY_TYPE ? call : nullptr);
    }
    void answerKept(size_t i, uint32_t word) {
        vosLoop_reply(&server_, kept[i], word, nullptr, 0);
        VOS_FREE(const_cast<VosMsgHeader *>(kept[i]));
    }

    vostest::HubProcess hub_;
    VosLoop server_, client_;
    std::array<VosLoopHandler, 4> handlers_{};
};

TEST_F(LoopInC, GivesAThousandRequestsUnderWayTheirOwnReplies) {
    std::vector<VosLoopCall> calls(1000);
    vosLoop_serveProcedure(&server_, &handlers_[0], kType, 1, keep, nullptr);
    vosLoop_serveProcedure(&server_, &handlers_[1], kType, 2, keep, nullptr);
    vosLoop_serve(&server_, &handlers_[2], kType, keep, nullptr);
    for (uint32_t i = 0; i < calls.size(); i++) {
        i % 3 == 0 ? ask(&calls[i], kType, i, VOS_LOOP_BY_WORD) : ask(&calls[i], kType, i % 3, VOS_LOOP_PROCEDURE);
        if (i % 100 == 0) {
            vosLoop_turn(&server_, 0);  // no room for a thousand in the socket
        }
    }
    turnUntil([&] { return kept.size() == calls.size(); });
    for (size_t i = calls.size(); i-- > 0;) {
        answerKept(i, static_cast<uint32_t>(i));
        vosLoop_turn(&client_, 0);
    }
    turnUntil([&] { return ends.size() == calls.size(); });
    EXPECT_EQ(client_.calls, nullptr);
}

TEST_F(LoopInC, DropsTheReplyThatComesTooLateAndNotThoseAroundIt) {
    VosLoopCall calls[4];
    vosLoop_serve(&server_, &handlers_[0], kType, keep, nullptr);
    for (uint32_t i = 0; i < 4; i++) {
        ask(&calls[i], kType, i, VOS_LOOP_BY_TYPE, i == 1 ? 1 : 20000);
        turnUntil([&] { return kept.size() == i + 1 && ends.size() == (i < 1 ? 0u : 1u); });
    }
    vosLoop_cancel(&client_, &calls[2]);
    for (uint32_t i = 0; i < 4; i++) {
        answerKept(i, i);
    }
    turnUntil([&] { return ends.size() == 3; });
    EXPECT_THAT(ends, ElementsAre(VOS_RET_TIMEOUT, 0, 3));
    EXPECT_EQ(client_.lateReplies, 2u);
}

TEST_F(LoopInC, EndsEachRequestInAStatedResult) {
    VosLoopCall call;
    vosLoop_serve(
        &server_, &handlers_[0], kType,
        [](VosLoop *loop, const VosMsgHeader *msg, void *) { vosLoop_fail(loop, msg, VOS_RET_BAD_ARG); }, nullptr);
    vosLoop_serve(
        &server_, &handlers_[1], kOther, [](VosLoop *, const VosMsgHeader *, void *) {}, nullptr);
    for (const uint32_t type : {kType, kOther, 0x10005009u}) {
        const size_t before = ends.size();
        ask(&call, type);
        turnUntil([&] { return ends.size() > before; });
    }
    for (const unsigned match : {VOS_LOOP_BY_TYPE, VOS_LOOP_PROCEDURE}) {
        vosLoop_ask(&client_, &call, 4711, kType, match, 7, nullptr, 0, 20000, note, nullptr);
        turnUntil([&, before = ends.size()] { return ends.size() > before; });
    }
    EXPECT_THAT(ends, ElementsAre(VOS_RET_BAD_ARG, VOS_RET_ERROR, VOS_RET_ERROR, VOS_RET_PEER_GONE, VOS_RET_PEER_GONE));
    EXPECT_EQ(server_.unhandled, 1u);
    vosLoop_ask(&client_, &call, vosMsg_getHandleEid(client_.handle), kOther, VOS_LOOP_BY_TYPE, 0, nullptr, 0, 20000,
                note, nullptr);
    hub_.stop(SIGKILL);
    EXPECT_EQ(vosLoop_run(&client_), 1);
    EXPECT_EQ(ends.back(), VosRet{VOS_RET_PEER_GONE});
}

TEST_F(LoopInC, RunsTimersEventsAndDescriptorsInsideAForeignLoop) {
    static VosLoopTimer beat, never;
    static VosLoopFd watch;
    const auto beats = [](VosLoop *loop, void *) {
        seen.emplace_back("beat");
        if (seen.size() > 2) {
            vosLoop_cancelTimer(loop, &beat);
        }
    };
    vosLoop_every(&server_, &beat, 1, beats, nullptr);
    vosLoop_after(&server_, &never, 3600000, beats, nullptr);
    vosLoop_on(
        &server_, &handlers_[0], kType,
        [](VosLoop *, const VosMsgHeader *msg, void *) { seen.push_back("event " + std::to_string(msg->dataLength)); },
        nullptr);
    ASSERT_EQ(UTIL_registerEvent(server_.handle, kType, nullptr, 0), VOS_RET_OK);
    pollfd foreign{vosLoop_descriptor(&server_), POLLIN, 0};
    while (seen.size() < 3 && poll(&foreign, 1, 20000) > 0) {
        ASSERT_EQ(vosLoop_turn(&server_, 0), VOS_RET_OK);
    }
    const int event = eventfd(1, EFD_CLOEXEC);
    vosLoop_watch(
        &server_, &watch, event, EPOLLIN,
        [](VosLoop *loop, uint32_t, void *) {
            seen.emplace_back("descriptor");
            vosLoop_unwatch(loop, &watch);
        },
        nullptr);
    vosLoop_publish(&client_, kType, 0, "12345", 5);
    while (seen.size() < 5 && poll(&foreign, 1, 20000) > 0) {
        ASSERT_EQ(vosLoop_turn(&server_, 0), VOS_RET_OK);
    }
    EXPECT_THAT(seen, testing::UnorderedElementsAre("beat", "beat", "beat", "descriptor", "event 5"));
    close(event);
    raise(SIGTERM);
    EXPECT_EQ(vosLoop_run(&server_), 0);
}

TEST(LoopInCScript, AsksAPeerThatCameBackAgainButNotForEver) {
    vostest::HubScript script;
    VosMsgHandle *handle = script.open(77);
    VosLoop loop;
    VosLoopCall call;
    ASSERT_EQ(vosLoop_init(&loop, handle), VOS_RET_OK);
    ends.clear();
    for (int times : {1, 17}) {
        vosLoop_ask(&loop, &call, 5, kType, VOS_LOOP_BY_TYPE, 0, nullptr, 0, 20000, note, nullptr);
        for (int i = 0; i < times; i++) {
            script.send(vostest::message(VOS_MSG_RESEND_REQUEST, 5, 77, VOS_MSG_FLAG_EVENT));
            vosLoop_turn(&loop, UINT32_MAX);
        }
        if (ends.empty()) {
            EXPECT_EQ(script.read()->bytes(), script.read()->bytes());
            script.send(vostest::message(kType, 6, 77, VOS_MSG_FLAG_RESPONSE, 1));  // another's
            script.send(vostest::message(kType, 5, 77, VOS_MSG_FLAG_RESPONSE, 2));
        }
        while (ends.empty()) {
            vosLoop_turn(&loop, UINT32_MAX);
        }
    }
    EXPECT_THAT(ends, ElementsAre(2, VOS_RET_ERROR));
    vosLoop_cleanup(&loop);
    vosMsg_cleanup(&handle);
}

}  // namespace
