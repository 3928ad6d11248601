// Dispatch of numbered procedures: which table decides, and what is logged when none does.
#include "vos/srpc.h"

#include <gtest/gtest.h>

#include "support/hub_script.h"
#include "support/syslog_catcher.h"

using vostest::message;

namespace {

VosMsgHandle *const kHandle = reinterpret_cast<VosMsgHandle *>(0x1000);  // passed through, never looked into
constexpr uint32_t kFailingId = 104;

std::string g_calls;

template <char Table>
VosRet handle(VosMsgHandle *handle, VosMsgHeader *msg) {
    EXPECT_EQ(handle, kHandle);
    g_calls += Table + std::to_string(msg->wordData);
    return msg->wordData == kFailingId ? 77 : VOS_RET_OK;
}

// There is no way to remove a table, so all tests of the process share these five.
class Srpc : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        static SrpcHandler first[] = {handle<'a'>, handle<'a'>, nullptr, handle<'a'>, handle<'a'>};
        static SrpcHandler second[] = {handle<'b'>, handle<'b'>, handle<'b'>, handle<'b'>, handle<'b'>};
        static SrpcTaskParams tables[] = {{5, first, 100}, {5, second, 101}, {3, nullptr, 1000}, {5, second, ~1U}};
        EXPECT_EQ(SRPC_setTaskParams(nullptr, &tables[0]), VOS_RET_OK);
        EXPECT_EQ(SRPC_setTaskParams(nullptr, nullptr), VOS_RET_OK);
        for (SrpcTaskParams *table : {&tables[1], &tables[2], &tables[3]}) {
            EXPECT_EQ(SRPC_setTaskParams(table, table), VOS_RET_OK);
        }
        vostest::Diagnostics diagnostics;
        EXPECT_EQ(SRPC_setTaskParams(nullptr, &tables[0]), VOS_RET_ERROR);
        EXPECT_EQ(diagnostics.takeBodies(), std::vector<std::string>{"Exceed max task params num"});
    }

    static VosRet dispatch(uint32_t id, const std::string &payload = "12345678") {
        g_calls.clear();
        std::string bytes = message(0x10005000, 60, 50, VOS_MSG_FLAG_SRPC, id, payload).bytes();
        return SRPC_msgProcess(kHandle, reinterpret_cast<VosMsgHeader *>(bytes.data()));
    }
};

TEST_F(Srpc, FirstTableThatHoldsTheIdDecides) {
    struct Case {
        uint32_t id;
        VosRet ret;
        const char *calls;
        std::string log;
    };
    vostest::Diagnostics diagnostics;
    for (const Case &c : {Case{100, VOS_RET_ERROR, "", "Unknown msg id(100)\n"}, Case{101, VOS_RET_OK, "a101", ""},
                          Case{102, VOS_RET_ERROR, "", "Unsupported msg id(102)\n"}, Case{103, VOS_RET_OK, "a103", ""},
                          Case{104, 77, "a104", "Call srpc fail(77)\n"}, Case{105, VOS_RET_OK, "b105", ""},
                          Case{106, VOS_RET_ERROR, "", "Unknown msg id(106)\n"},
                          Case{1001, VOS_RET_ERROR, "", "Unsupported msg id(1001)\n"},
                          Case{0xFFFFFFFE, VOS_RET_ERROR, "", "Unknown msg id(4294967294)\n"},
                          Case{0xFFFFFFFF, VOS_RET_OK, "b4294967295", ""}, Case{2, VOS_RET_OK, "b2", ""},
                          Case{0x80000064, VOS_RET_ERROR, "", "Unknown msg id(2147483748)\n"}}) {
        SCOPED_TRACE(c.id);
        EXPECT_EQ(dispatch(c.id), c.ret);
        EXPECT_EQ(g_calls, c.calls);
        std::string log;
        for (const std::string &line : diagnostics.takeBodies()) {
            log += line;
        }
        EXPECT_EQ(log, c.log);
    }
}

TEST_F(Srpc, IncompleteRequestsReachNoTable) {
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(dispatch(101, "1234567"), VOS_RET_BAD_ARG);
    EXPECT_EQ(g_calls, "");
    EXPECT_EQ(diagnostics.takeBodies(),
              std::vector<std::string>{"Receive uncompleted srpc request msg, length(7).\\n"});
    VosMsgHeader msg{};
    EXPECT_EQ(SRPC_msgProcess(nullptr, &msg), VOS_RET_BAD_ARG);
    EXPECT_EQ(SRPC_msgProcess(kHandle, nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(diagnostics.takeBodies()[1].substr(0, 22), "msgHandle = 0x1000, ms");
}

}  // namespace
