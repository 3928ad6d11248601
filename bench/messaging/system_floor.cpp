// What the kernel charges for three processes and two sockets: the messages of the library, nothing else done.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "system.h"
#include "vos/msg_types.h"

namespace bench {

namespace {

struct Message {
    VosMsgHeader header;
    char payload[kLargestPayload];
};

// In two steps, as a receiver must that does not know the length.
bool receive(int fd, Message &msg) {
    if (recv(fd, &msg.header, sizeof msg.header, MSG_WAITALL) != sizeof msg.header) {
        return false;
    }
    const size_t length = msg.header.dataLength;
    return length == 0 || recv(fd, msg.payload, length, MSG_WAITALL) == static_cast<ssize_t>(length);
}

bool transmit(int fd, const Message &msg) {
    const size_t size = sizeof msg.header + msg.header.dataLength;
    return send(fd, &msg, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
}

void relay(int a, int b) {
    Message msg;
    pollfd ends[2] = {{.fd = a, .events = POLLIN, .revents = 0}, {.fd = b, .events = POLLIN, .revents = 0}};
    while (poll(ends, 2, -1) > 0) {
        for (int i = 0; i < 2; i++) {
            if (ends[i].revents != 0 && (!receive(ends[i].fd, msg) || !transmit(ends[1 - i].fd, msg))) {
                return;
            }
        }
    }
}

void answer(int fd) {
    Message msg;
    while (receive(fd, msg)) {
        if ((msg.header.flags & VOS_MSG_FLAG_REQUEST) != 0) {
            msg.header.flags = VOS_MSG_FLAG_RESPONSE;
            transmit(fd, msg);
        }
    }
}

class FloorClient : public Client {
  public:
    explicit FloorClient(int fd) : fd_{fd}, msg_{std::make_unique<Message>()} {}

    void roundTrip(size_t payload) override {
        post(VOS_MSG_FLAG_REQUEST, payload);
        if (!receive(fd_, *msg_)) {
            fail("no reply through the relay");
        }
    }
    void events(size_t payload, size_t count) override {
        for (size_t i = 0; i < count; i++) {
            post(VOS_MSG_FLAG_EVENT, payload);
        }
        roundTrip(0);
    }

  private:
    void post(uint16_t flags, size_t payload) {
        msg_->header.flags = flags;
        msg_->header.dataLength = static_cast<uint32_t>(payload);
        if (!transmit(fd_, *msg_)) {
            fail("the relay is gone");
        }
    }
    int fd_;
    std::unique_ptr<Message> msg_;
};

}  // namespace

System startFloor() {
    int a[2];
    int b[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, a) != 0 ||
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, b) != 0) {
        fail("socketpair");
    }
    const pid_t router = spawn([&] { relay(a[1], b[1]); });
    const pid_t peer = spawn([&] { answer(b[0]); });
    close(a[1]);
    close(b[0]);
    close(b[1]);
    return {"floor", {router, peer}, std::make_unique<FloorClient>(a[0])};
}

}  // namespace bench
