// Delayed messages: what the hub is asked for, and what stays set when it refuses.
#include <gtest/gtest.h>

#include <cstring>

#include "support/hub_script.h"
#include "support/syslog_catcher.h"
#include "vos/tmr.h"

using vostest::HubScript;
using vostest::message;

namespace {

constexpr uint32_t kSelf = 50;
constexpr uint32_t kLater = 100000;

void ignore(void *) {}

class DelayedMessage : public testing::Test {
  protected:
    DelayedMessage() { utilTmr_init(&list); }
    ~DelayedMessage() override {
        utilTmr_cleanup(&list);
        vosMsg_cleanup(&handle);
    }
    VosRet set(uint32_t hubResult) {
        hub.send(message(VOS_MSG_REGISTER_DELAYED_MSG, EID_HUBD, kSelf, VOS_MSG_FLAG_RESPONSE, hubResult));
        return utilMsgTmr_set(handle, list, ignore, context, kLater, "event");
    }
    void cancel(uint32_t hubResult) {
        hub.send(message(VOS_MSG_UNREGISTER_DELAYED_MSG, EID_HUBD, kSelf, VOS_MSG_FLAG_RESPONSE, hubResult));
        utilMsgTmr_cancel(handle, list, ignore, context);
    }

    HubScript hub;
    VosMsgHandle *handle = hub.open(kSelf);
    void *list = nullptr;
    void *context = reinterpret_cast<void *>(uintptr_t{0x123456780F0F0F0F});
    const uint32_t word = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(ignore)) | 0x0F0F0F0F;
};

TEST_F(DelayedMessage, IsRegisteredAndWithdrawnUnderTheSameWord) {
    EXPECT_EQ(set(0), VOS_RET_OK);
    std::string ms(4, '\0');
    memcpy(ms.data(), &kLater, 4);
    EXPECT_EQ(hub.read()->bytes(), message(0x10000800, kSelf, 20, 2, word, ms).bytes());
    EXPECT_TRUE(utilMsgTmr_isEventPresent(list, ignore, context));
    cancel(0);
    EXPECT_EQ(hub.read()->bytes(), message(0x10000801, kSelf, 20, 2, word).bytes());
    EXPECT_FALSE(utilMsgTmr_isEventPresent(list, ignore, context));
}

TEST_F(DelayedMessage, RefusedByTheHubKeepsTheLocalEvent) {
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(set(9004), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Fail to send VOS_MSG_REGISTER_DELAYED_MSG(ret=9004)");
    EXPECT_TRUE(utilTmr_isEventPresent(list, ignore, context));
    hub.read();

    EXPECT_EQ(utilMsgTmr_set(handle, list, ignore, context, 1, nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Fail to set timer !");
    utilMsgTmr_cancel(nullptr, list, ignore, context);
    utilMsgTmr_cancel(handle, nullptr, ignore, context);
    EXPECT_FALSE(hub.hasData()) << "nothing is asked for without a local event";
    EXPECT_TRUE(utilTmr_isEventPresent(list, ignore, context));

    cancel(9840);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Fail to send VOS_MSG_UNREGISTER_DELAYED_MSG, ret = 9840");
    EXPECT_FALSE(utilTmr_isEventPresent(list, ignore, context));
}

}  // namespace
