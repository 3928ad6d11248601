// Delayed messages: what the hub is asked for, and what stays set when it refuses.
#include "vos/tmr.h"

#include "support/hub_test.h"

using vostest::kSelf;
using vostest::message;

namespace {

using DelayedMessage = vostest::HubTest;
constexpr uint32_t kSet = VOS_MSG_REGISTER_DELAYED_MSG;
constexpr uint32_t kCancel = VOS_MSG_UNREGISTER_DELAYED_MSG;

void ignore(void *) {}

TEST_F(DelayedMessage, FollowsTheLocalEventAndNeverDecidesIt) {
    void *list = nullptr;
    utilTmr_init(&list);
    auto *context = reinterpret_cast<void *>(uintptr_t{0x123456780F0F0F0F});
    const uint32_t word = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(ignore)) | 0x0F0F0F0F;
    vostest::Diagnostics diagnostics;

    for (const VosRet hubSays : {VosRet{VOS_RET_OK}, VosRet{VOS_RET_NO_RESOURCE}}) {
        answer(kSet, hubSays);
        EXPECT_EQ(utilMsgTmr_set(handle, list, ignore, context, 0x01020304, "event"), hubSays);
        EXPECT_EQ(sent(), message(0x10000800, kSelf, 20, 2, word, "\4\3\2\1").bytes());
        EXPECT_TRUE(utilMsgTmr_isEventPresent(list, ignore, context));
        answer(kCancel, hubSays);
        utilMsgTmr_cancel(handle, list, ignore, context);
        EXPECT_EQ(sent(), message(0x10000801, kSelf, 20, 2, word).bytes());
        EXPECT_FALSE(utilMsgTmr_isEventPresent(list, ignore, context));
    }
    EXPECT_THAT(diagnostics.takeBodies(),
                testing::IsSupersetOf({"Fail to send VOS_MSG_REGISTER_DELAYED_MSG(ret=9004)",
                                       "Fail to send VOS_MSG_UNREGISTER_DELAYED_MSG, ret = 9004"}));

    utilTmr_set(list, ignore, context, 100000, nullptr);
    EXPECT_EQ(utilMsgTmr_set(handle, list, ignore, context, 1, nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Fail to set timer !");
    utilMsgTmr_cancel(handle, nullptr, ignore, context);
    EXPECT_TRUE(utilTmr_isEventPresent(list, ignore, context));
    utilMsgTmr_cancel(nullptr, list, ignore, context);
    EXPECT_FALSE(utilTmr_isEventPresent(list, ignore, context));
    EXPECT_FALSE(hub.hasData());
    utilTmr_cleanup(&list);
}

}  // namespace
