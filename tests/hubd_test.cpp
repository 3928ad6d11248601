// The development hub as its clients see it: launch, routing, services, and what a bad client can do to others.
#include <gtest/gtest.h>

#include "support/hub_process.h"
#include "support/hub_script.h"
#include "vos/mem.h"
#include "vos/msg.h"

using vostest::HubProcess;
using vostest::message;
using vostest::WireMessage;

namespace {

constexpr uint32_t kType = 0x1000abcd;

/** A connected daemon. */
class Daemon {
  public:
    explicit Daemon(VosEntityId eid) { ret_ = vosMsg_init(eid, &handle_); }
    explicit Daemon(const char *name) { ret_ = vosMsg_initByName(name, &handle_); }
    ~Daemon() { vosMsg_cleanup(&handle_); }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    VosRet ret() const { return ret_; }
    VosEntityId eid() const { return vosMsg_getHandleEid(handle_); }
    VosMsgHandle *handle() const { return handle_; }
    void end() { vosMsg_cleanup(&handle_); }

    void send(WireMessage msg) const {
        const std::string bytes = msg.bytes();
        EXPECT_EQ(vosMsg_send(handle_, reinterpret_cast<const VosMsgHeader *>(bytes.data())), VOS_RET_OK);
    }
    /** The next message; type 0 when none comes. */
    WireMessage receive() const {
        VosMsgHeader *msg = nullptr;
        WireMessage result;
        if (vosMsg_receiveWithTimeout(handle_, &msg, 10000) == VOS_RET_OK) {
            result.header = *msg;
            result.payload.assign(reinterpret_cast<const char *>(msg + 1), msg->dataLength);
        }
        VOS_FREE(msg);
        return result;
    }

  private:
    VosMsgHandle *handle_ = nullptr;
    VosRet ret_;
};

TEST(HubRouting, CarriesMessagesByDestination) {
    const HubProcess hub;
    const Daemon a{100U};
    const Daemon b{"b"};
    EXPECT_GE(b.eid(), 0x10000U);
    const WireMessage sent = message(kType, a.eid(), b.eid(), VOS_MSG_FLAG_REQUEST, 7, "hello");
    a.send(sent);
    EXPECT_EQ(b.receive().bytes(), sent.bytes());
}

}  // namespace
