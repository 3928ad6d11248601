// Completions in a program whose code lies below 4 GiB, so that a message can carry an address whole.
#include <gtest/gtest.h>

#include <cstdint>

#include "vos/task.h"

namespace {

struct FinishMessage {
    VosMsgHeader header;
    void *arg;
};

void add(void *arg) {
    ++*static_cast<int *>(arg);
}

uint32_t g_data;

TEST(TaskBelow4Gib, CallsTheCodeWhoseAddressTheMessageCarries) {
    const auto low = [](auto *address) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address)); };
    ASSERT_EQ(low(add), reinterpret_cast<uintptr_t>(add));
    int calls = 0;
    FinishMessage msg{};
    msg.arg = &calls;
    msg.header.dataLength = sizeof msg.arg;
    msg.header.wordData = low(add);
    EXPECT_EQ(UTIL_taskFinish(&msg.header), VOS_RET_OK) << "no task was ever started with it";
    EXPECT_EQ(calls, 1);
    msg.header.wordData = low(&g_data);
    EXPECT_EQ(UTIL_taskFinish(&msg.header), VOS_RET_BAD_ARG) << "data is never called";
}

}  // namespace
