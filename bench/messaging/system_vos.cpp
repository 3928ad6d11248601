// The library through vos-hubd.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "system.h"
#include "vos/mem.h"
#include "vos/msg.h"

namespace bench {

namespace {

constexpr uint32_t kType = 0x10005000;

bool hubIsUp() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, VOS_MSG_HUB_SOCKET_PATH);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool up = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return up;
}

pid_t startHub() {
    if (hubIsUp()) {
        fail("a hub is running on this machine already; run the benchmark through bench/run.sh");
    }
    const pid_t hub = spawn([] {
        execl(VOS_HUBD, VOS_HUBD, static_cast<char *>(nullptr));
        fail("cannot start " VOS_HUBD);
    });
    for (int attempt = 0; !hubIsUp(); attempt++) {
        if (attempt == 500) {
            fail("vos-hubd does not listen");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
    }
    return hub;
}

VosMsgHandle *openHandle(const char *name) {
    VosMsgHandle *handle = nullptr;
    if (vosMsg_initByName(name, &handle) != VOS_RET_OK) {
        fail("no handle on the hub");
    }
    return handle;
}

void answer(VosMsgHandle *handle) {
    VosMsgHeader *msg = nullptr;
    while (vosMsg_receive(handle, &msg) == VOS_RET_OK) {
        if ((msg->flags & VOS_MSG_FLAG_REQUEST) != 0) {
            std::swap(msg->src, msg->dst);
            msg->flags = static_cast<uint16_t>(VOS_MSG_FLAG_RESPONSE | (msg->flags & VOS_MSG_FLAG_SRPC));
            vosMsg_send(handle, msg);
        }
        VOS_FREE(msg);
    }
}

class VosClient : public Client {
  public:
    VosClient(VosMsgHandle *handle, uint32_t peer, uint16_t flags)
        : handle_{handle}, flags_{flags}, msg_(1 + kLargestPayload / sizeof(VosMsgHeader)) {
        msg_[0].type = kType;
        msg_[0].src = vosMsg_getHandleEid(handle);
        msg_[0].dst = peer;
        msg_[0].wordData = 7;
    }
    VosMsgHandle *handle() const { return handle_; }
    uint32_t peer() const { return msg_[0].dst; }

    void roundTrip(size_t payload) override {
        msg_[0].flags = flags_;
        msg_[0].dataLength = static_cast<uint32_t>(payload);
        VosMsgHeader *reply = nullptr;
        if (vosMsg_sendAndGetReplyBuf(handle_, msg_.data(), &reply) != VOS_RET_OK || reply == nullptr ||
            reply->dataLength != payload) {
            fail("no reply through the hub");
        }
        VOS_FREE(reply);
    }
    void events(size_t payload, size_t count) override {
        msg_[0].flags = VOS_MSG_FLAG_EVENT;
        msg_[0].dataLength = static_cast<uint32_t>(payload);
        for (size_t i = 0; i < count; i++) {
            if (vosMsg_send(handle_, msg_.data()) != VOS_RET_OK) {
                fail("event not sent");
            }
        }
        roundTrip(0);
    }

  private:
    VosMsgHandle *handle_;
    uint16_t flags_;
    std::vector<VosMsgHeader> msg_;
};

}  // namespace

System startVos() {
    const pid_t hub = startHub();
    int ready[2];
    if (pipe(ready) != 0) {
        fail("pipe");
    }
    const pid_t peer = spawn([&] {
        VosMsgHandle *handle = openHandle("bench-peer");
        const uint32_t eid = vosMsg_getHandleEid(handle);
        if (write(ready[1], &eid, sizeof eid) == sizeof eid) {
            answer(handle);
        }
    });
    uint32_t eid = 0;
    if (read(ready[0], &eid, sizeof eid) != sizeof eid) {
        fail("the peer is not on the hub");
    }
    return {"vos", {hub, peer}, std::make_unique<VosClient>(openHandle("bench"), eid, VOS_MSG_FLAG_REQUEST)};
}

std::unique_ptr<Client> srpcClient(const System &vos) {
    const auto &plain = static_cast<const VosClient &>(*vos.client);
    return std::make_unique<VosClient>(plain.handle(), plain.peer(),
                                       static_cast<uint16_t>(VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC));
}

}  // namespace bench
