// A connection to the hub.
#include "connection.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "internal/message_header.h"
#include "vos/eid.h"

namespace load {

void fail(const std::string &what) {
    fprintf(stderr, "hub_load: %s: %m\n", what.c_str());
    _exit(1);
}

std::string message(uint32_t type, VosEntityId src, VosEntityId dst, uint16_t flags, uint32_t wordData,
                    const std::string &payload) {
    const VosMsgHeader header = vos::messageHeader(type, src, dst, flags, wordData, payload.size());
    return std::string{reinterpret_cast<const char *>(&header), sizeof header} + payload;
}

Connection::Connection(const std::string &socketPath) : fd_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    if (connect(fd_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fail("cannot connect");
    }
    const std::string who{"load\0/bin/load\0", 15};
    send(message(VOS_MSG_LAUNCHED, 0, EID_HUBD, VOS_MSG_FLAG_EVENT, static_cast<uint32_t>(getpid()), who));
    eid_ = receive().dst;
}

void Connection::send(const std::string &bytes) const {
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t now = ::send(fd_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (now <= 0) {
            fail("the hub took no message");
        }
        sent += static_cast<size_t>(now);
    }
}

VosMsgHeader Connection::receive() {
    VosMsgHeader header{};
    if (recv(fd_.get(), &header, sizeof header, MSG_WAITALL) != sizeof header) {
        fail("the hub sent no message");
    }
    payload_.resize(header.dataLength);
    if (header.dataLength > 0 &&
        recv(fd_.get(), payload_.data(), payload_.size(), MSG_WAITALL) != static_cast<ssize_t>(payload_.size())) {
        fail("the hub sent half a message");
    }
    return header;
}

void Connection::ask(uint32_t type, uint32_t wordData, const std::string &payload) {
    send(message(type, eid_, EID_HUBD, VOS_MSG_FLAG_REQUEST, wordData, payload));
    receive();
}

void Connection::doNotWait() const {
    fcntl(fd_.get(), F_SETFL, fcntl(fd_.get(), F_GETFL) | O_NONBLOCK);
}

}  // namespace load
