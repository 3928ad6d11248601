#include "support/hub_script.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

#include "support/effort.h"
#include "support/unix_address.h"

namespace vostest {

namespace {

bool readAll(int fd, void *out, size_t size) {
    auto *bytes = static_cast<char *>(out);
    while (size > 0) {
        pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
        if (poll(&waiting, 1, static_cast<int>(patienceMs())) <= 0) {
            return false;
        }
        const ssize_t got = ::read(fd, bytes, size);
        if (got <= 0) {
            return false;
        }
        bytes += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

}  // namespace

std::string WireMessage::bytes() const {
    return std::string{reinterpret_cast<const char *>(&header), sizeof header} + payload;
}

WireMessage message(uint32_t type, uint32_t src, uint32_t dst, uint16_t flags, uint32_t wordData,
                    const std::string &payload) {
    WireMessage result;
    result.header.type = type;
    result.header.src = src;
    result.header.dst = dst;
    result.header.flags = flags;
    result.header.wordData = wordData;
    result.header.dataLength = static_cast<uint32_t>(payload.size());
    result.payload = payload;
    return result;
}

std::optional<WireMessage> readMessage(int fd) {
    WireMessage result;
    if (!readAll(fd, &result.header, sizeof result.header)) {
        return std::nullopt;
    }
    result.payload.resize(result.header.dataLength);
    return readAll(fd, result.payload.data(), result.payload.size()) ? std::optional{result} : std::nullopt;
}

HubScript::HubScript() : listenFd_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
    unlink(VOS_MSG_HUB_SOCKET_PATH);
    const UnixAddress address{VOS_MSG_HUB_SOCKET_PATH};
    if (listenFd_ < 0 || bind(listenFd_, address.get(), address.size()) != 0 || listen(listenFd_, 16) != 0) {
        throw std::runtime_error{"cannot listen as the hub"};
    }
}

HubScript::~HubScript() {
    hangUp();
    close(listenFd_);
    unlink(VOS_MSG_HUB_SOCKET_PATH);
}

void HubScript::acceptOnly() {
    pollfd waiting{.fd = listenFd_, .events = POLLIN, .revents = 0};
    if (poll(&waiting, 1, static_cast<int>(patienceMs())) != 1) {
        return;
    }
    hangUp();
    fd_ = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
    announcement_ = read().value_or(WireMessage{});
}

VosRet HubScript::launch(uint32_t eid, const std::function<VosRet()> &open) {
    std::thread hub{[&] {
        acceptOnly();
        send(message(VOS_MSG_LAUNCHED, EID_HUBD, eid, VOS_MSG_FLAG_RESPONSE));
    }};
    const VosRet ret = open();
    hub.join();
    return ret;
}

VosMsgHandle *HubScript::open(uint32_t eid, const char *name) {
    VosMsgHandle *handle = nullptr;
    const VosRet ret = launch(eid, [&] { return vosMsg_initByName(name, &handle); });
    if (ret != VOS_RET_OK) {
        throw std::runtime_error{"launch failed with " + std::to_string(ret)};
    }
    return handle;
}

void HubScript::sendBytes(const std::string &bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t sent = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            return;
        }
        done += static_cast<size_t>(sent);
    }
}

bool HubScript::hasData() const {
    pollfd waiting{.fd = fd_, .events = POLLIN, .revents = 0};
    return poll(&waiting, 1, 0) == 1;
}

void HubScript::hangUp() {
    if (fd_ >= 0) {
        close(fd_);
        fd_ = -1;
    }
}

}  // namespace vostest
