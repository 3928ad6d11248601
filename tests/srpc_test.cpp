// Dispatch of numbered procedures: which table decides, and what is logged when none does.
#include "vos/srpc.h"

#include "support/hub_test.h"

namespace {

VosMsgHandle *const kHandle = reinterpret_cast<VosMsgHandle *>(0x1000);  // passed through, never looked into

std::string g_call;

template <char Table>
VosRet handle(VosMsgHandle *handle, VosMsgHeader *msg) {
    EXPECT_EQ(handle, kHandle);
    g_call = Table;
    return msg->wordData == 104 ? 77 : VOS_RET_OK;
}

// There is no way to remove a table, so one test sees them all.
TEST(Srpc, FirstTableThatHoldsTheIdDecides) {
    SrpcHandler first[] = {handle<'a'>, handle<'a'>, nullptr, handle<'a'>, handle<'a'>};
    SrpcHandler second[] = {handle<'b'>, handle<'b'>, handle<'b'>, handle<'b'>, handle<'b'>};
    SrpcTaskParams tables[] = {{5, first, 100}, {5, second, 101}, {3, nullptr, 1000}, {5, second, 0xFFFFFFFE}};
    for (SrpcTaskParams *table :
         {&tables[0], static_cast<SrpcTaskParams *>(nullptr), &tables[1], &tables[2], &tables[3]}) {
        EXPECT_EQ(SRPC_setTaskParams(table, table), VOS_RET_OK);
    }
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(SRPC_setTaskParams(nullptr, &tables[0]), VOS_RET_ERROR);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Exceed max task params num");

    struct Case {
        uint32_t id;
        VosRet ret;
        const char *call;
        const char *log;
        uint32_t size = 8;
    };
    for (const Case &c : {Case{100, VOS_RET_ERROR, "", "Unknown msg id(100)\n"}, Case{101, VOS_RET_OK, "a", ""},
                          Case{102, VOS_RET_ERROR, "", "Unsupported msg id(102)\n"}, Case{103, VOS_RET_OK, "a", ""},
                          Case{104, 77, "a", "Call srpc fail(77)\n"}, Case{105, VOS_RET_OK, "b", ""},
                          Case{106, VOS_RET_ERROR, "", "Unknown msg id(106)\n"},
                          Case{1001, VOS_RET_ERROR, "", "Unsupported msg id(1001)\n"},
                          Case{0xFFFFFFFE, VOS_RET_ERROR, "", "Unknown msg id(4294967294)\n"},
                          Case{0xFFFFFFFF, VOS_RET_OK, "b", ""}, Case{2, VOS_RET_OK, "b", ""},
                          Case{101, VOS_RET_BAD_ARG, "", "Receive uncompleted srpc request msg, length(7).\\n", 7}}) {
        SCOPED_TRACE(c.id);
        g_call.clear();
        VosMsgHeader msg = vostest::message(0x10005000, 60, 50, VOS_MSG_FLAG_SRPC, c.id).header;
        msg.dataLength = c.size;  // only handlers look at the payload
        EXPECT_EQ(SRPC_msgProcess(kHandle, &msg), c.ret);
        EXPECT_EQ(g_call, c.call);
        const auto said = diagnostics.takeBodies();
        EXPECT_EQ(said.empty() ? "" : said.back(), vostest::asCaught(c.log));
    }
}

}  // namespace
