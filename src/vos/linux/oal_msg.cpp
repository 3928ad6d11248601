// The connection to the hub: socket, launch handshake, whole messages out and in.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "internal/guards.h"
#include "vos/dbg.h"
#include "vos/mem/unfilled.h"
#include "vos/msg.h"
#include "vos/msg/handle.h"
#include "vos/plugin_info.h"
#include "vos/text.h"

using vos::FirstStep;
using vos::kNsPerMs;
using vos::MemPtr;
using vos::monotonicNs;

namespace {

constexpr uint32_t kHandshakeTimeoutMs = 15000;
constexpr uint32_t kNameSize = 64;
constexpr uint32_t kPathSize = 512;

// Tested as a number, not by the platform's name for a reset connection: a reset counts as a bad read here.
constexpr int kPeerGoneErrno = 131;

// Waits until `fd` is readable, at its end or broken, and writes the time left back, cut to whole milliseconds.
VosRet waitForDataAvailable(int32_t fd, uint32_t *timeoutMs) {
    if (timeoutMs == nullptr) {
        VOS_DBG_ERROR("timeout is NULL!");
        return VOS_RET_BAD_ARG;
    }
    for (;;) {
        const int64_t budgetNs = int64_t{*timeoutMs} * kNsPerMs;
        const int64_t startNs = monotonicNs();
        pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
        const int chunkMs = static_cast<int>(std::min<uint32_t>(*timeoutMs, INT_MAX));
        const int ready = poll(&waiting, 1, chunkMs);
        const int error = errno;
        const int64_t leftNs = budgetNs - (monotonicNs() - startNs);
        *timeoutMs = leftNs > 0 ? static_cast<uint32_t>(leftNs / kNsPerMs) : 0;
        if (ready > 0) {
            return VOS_RET_OK;
        }
        if (ready == 0 && chunkMs == INT_MAX && *timeoutMs > 0) {
            continue;  // longer than poll takes in one call
        }
        if (ready == 0) {
            *timeoutMs = 0;
            return VOS_RET_TIMEOUT;
        }
        if (error != EINTR) {
            VOS_DBG_ERROR("select error!!\n");
            return VOS_RET_ERROR;
        }
    }
}

// Reads one message's bytes from a descriptor, with or without a time-out.
class MessageReader {
  public:
    MessageReader(int32_t fd, uint32_t *timeoutMs, FirstStep firstStep)
        : fd_{fd}, timeoutMs_{timeoutMs}, mode_{firstStep} {}

    /** Reads up to `size` bytes into `out`, waiting as long as the time allows. `got` is what read returned, with errno
     *  as it left it; the result is a failed wait's code or VOS_RET_OK. */
    VosRet read(void *out, size_t size, bool insideMessage, ssize_t *got) {
        for (;;) {
            if (mode_ == FirstStep::kWait) {
                const VosRet ret = wait(insideMessage);
                if (ret != VOS_RET_OK) {
                    return ret;
                }
            }
            mode_ = FirstStep::kRead;
            *got = isSocket_ ? recv(fd_, out, size, MSG_DONTWAIT) : ::read(fd_, out, size);
            if (*got >= 0) {
                mode_ = isSocket_ ? mode_ : FirstStep::kWait;
                return VOS_RET_OK;
            }
            if (errno == ENOTSOCK) {
                isSocket_ = false;
            } else if (errno == EINTR && (insideMessage || timeoutMs_ != nullptr)) {
                continue;  // a message is never torn by a signal, a limited wait never ended by one
            } else if (errno != EAGAIN && errno != EWOULDBLOCK) {
                return VOS_RET_OK;
            }
            mode_ = FirstStep::kWait;
        }
    }

  private:
    VosRet wait(bool insideMessage) {
        if (timeoutMs_ != nullptr) {
            return waitForDataAvailable(fd_, timeoutMs_);
        }
        pollfd waiting{.fd = fd_, .events = POLLIN, .revents = 0};
        while (poll(&waiting, 1, -1) < 0) {
            // Daemons notice SIGTERM by the error that a wait for the next message gives.
            if (errno != EINTR || !insideMessage) {
                VOS_DBG_ERROR("bad read, rc=%d errno=%d", -1, errno);
                return VOS_RET_ERROR;
            }
        }
        return VOS_RET_OK;
    }

    int32_t fd_;
    uint32_t *timeoutMs_;
    FirstStep mode_;
    bool isSocket_ = true;
};

VosRet readHeader(MessageReader &reader, VosMsgHeader *header) {
    auto *bytes = reinterpret_cast<uint8_t *>(header);
    size_t have = 0;
    while (have < sizeof *header) {
        ssize_t got = 0;
        const VosRet ret = reader.read(bytes + have, sizeof *header - have, have > 0, &got);
        if (ret != VOS_RET_OK) {
            return ret;
        }
        if (got == 0 || (got < 0 && (errno == kPeerGoneErrno || errno == EPIPE))) {
            return VOS_RET_PEER_GONE;
        }
        if (got < 0) {
            VOS_DBG_ERROR("bad read, rc=%d errno=%d", static_cast<int>(got), errno);
            return VOS_RET_ERROR;
        }
        have += static_cast<size_t>(got);
    }
    return VOS_RET_OK;
}

// `have` is how much of the payload arrived.
VosRet readPayload(MessageReader &reader, VosMsgHeader *msg, uint32_t &have) {
    auto *payload = reinterpret_cast<uint8_t *>(msg + 1);
    const uint32_t length = msg->dataLength;
    while (have < length) {
        ssize_t got = 0;
        const VosRet ret = reader.read(payload + have, length - have, true, &got);
        if (ret != VOS_RET_OK) {
            return ret;
        }
        if (got <= 0) {
            VOS_DBG_ERROR("bad data read, rc=%d errno=%d readSoFar=%d remaining=%d", static_cast<int>(got), errno,
                          static_cast<int>(have), static_cast<int>(length - have));
            return VOS_RET_ERROR;
        }
        have += static_cast<uint32_t>(got);
    }
    return VOS_RET_OK;
}

VosRet connectToHub(VosMsgHandle *handle) {
    vos::UniqueFd fd{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (!fd) {
        VOS_DBG_ERROR("Could not create socket");
        return VOS_RET_ERROR;
    }
    int rc = fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
    if (rc < 0) {
        VOS_DBG_ERROR("set close-on-exec failed, rc=%d errno=%d", rc, errno);
        return VOS_RET_ERROR;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    util_strncpy(__func__, __LINE__, address.sun_path, VOS_MSG_HUB_SOCKET_PATH, sizeof address.sun_path);
    rc = connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    if (rc < 0) {
        VOS_DBG_ERROR("connect to %s failed, rc=%d errno=%d", address.sun_path, rc, errno);
        return VOS_RET_ERROR;
    }
    handle->commFd = fd.release();
    VOS_DBG_DEBUG("commFd=%d connected to hubd", handle->commFd);
    return VOS_RET_OK;
}

VosRet announce(const VosMsgHandle *handle, VosEntityId eid, const char *name) {
    char path[kPathSize] = {};
    const ssize_t rc = readlink("/proc/self/exe", path, sizeof path - 1);
    if (rc < 0) {
        VOS_DBG_ERROR("readlink /proc/self/exe failed, rc=%d errno=%d", static_cast<int>(rc), errno);
        return VOS_RET_ERROR;
    }
    const size_t nameLength = strlen(name) + 1;
    const size_t pathLength = strlen(path) + 1;
    const auto msg = vos::allocZeroed<VosMsgHeader>(sizeof(VosMsgHeader) + nameLength + pathLength);
    if (!msg) {
        VOS_DBG_ERROR("Fail to malloc msg Header!");
        return VOS_RET_NO_RESOURCE;
    }
    msg->type = VOS_MSG_LAUNCHED;
    msg->src = eid;
    msg->dst = EID_HUBD;
    msg->flags = VOS_MSG_FLAG_EVENT;
    msg->wordData = static_cast<uint32_t>(getpid());
    msg->dataLength = static_cast<uint32_t>(nameLength + pathLength);
    char *payload = reinterpret_cast<char *>(msg.get() + 1);
    memcpy(payload, name, nameLength);
    memcpy(payload + nameLength, path, pathLength);
    if (oalVosMsg_send(handle->commFd, msg.get()) != VOS_RET_OK) {
        return VOS_RET_ERROR;
    }
    VOS_DBG_DEBUG("sent LAUNCHED message to hubd");
    return VOS_RET_OK;
}

// The first message is the hub's answer whatever its type; it settles the entity id.
VosRet awaitEntityId(VosMsgHandle *handle) {
    uint32_t timeoutMs = kHandshakeTimeoutMs;
    VosMsgHeader *answer = nullptr;
    if (vos::receiveMessage(handle->commFd, &answer, &timeoutMs, FirstStep::kWait) != VOS_RET_OK) {
        VOS_DBG_ERROR("Receive LAUNCHED msg fail");
        return VOS_RET_ERROR;
    }
    handle->eid = answer->dst;
    VOS_FREE(answer);
    return VOS_RET_OK;
}

}  // namespace

int64_t vos::monotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

VosRet vos::receiveMessage(int32_t fd, VosMsgHeader **msgOut, uint32_t *timeoutMs, FirstStep firstStep) {
    if (msgOut == nullptr) {
        VOS_DBG_ERROR("buf is NULL!");
        return VOS_RET_BAD_ARG;
    }
    *msgOut = nullptr;
    if (fd < 0) {
        VOS_DBG_ERROR("bad read, rc=%d errno=%d", -1, EBADF);
        return VOS_RET_ERROR;
    }
    auto msg = vos::allocZeroed<VosMsgHeader>();
    if (!msg) {
        VOS_DBG_ERROR("alloc of msg header failed");
        return VOS_RET_NO_RESOURCE;
    }
    MessageReader reader{fd, timeoutMs, firstStep};
    VosRet ret = readHeader(reader, msg.get());
    if (ret != VOS_RET_OK) {
        return ret;
    }
    const uint32_t dataLength = msg->dataLength;
    if (dataLength != 0) {
        const uint64_t size = sizeof(VosMsgHeader) + uint64_t{dataLength};
        void *larger = size > UINT32_MAX
                           ? nullptr
                           : vos::enlargeUnfilled(msg.get(), static_cast<uint32_t>(size), __func__, __LINE__);
        if (larger == nullptr) {
            VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
            msg.release();  // callers' heap statistics count on the header block staying allocated here
            return VOS_RET_NO_RESOURCE;
        }
        msg.release();
        msg.reset(static_cast<VosMsgHeader *>(larger));
        uint32_t have = 0;
        ret = readPayload(reader, msg.get(), have);
        if (ret != VOS_RET_OK) {
            vos::freeUnfilled(msg.release(), static_cast<uint32_t>(sizeof(VosMsgHeader)) + have, __func__, __LINE__);
            return ret;
        }
    }
    *msgOut = msg.release();
    return VOS_RET_OK;
}

VosRet oalVosMsg_init(VosEntityId eid, const char *name, VosMsgHandle **handleOut) {
    if (handleOut == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    char nameBuf[kNameSize] = {};
    if (eid == 0 && name != nullptr) {
        util_strncpy(__func__, __LINE__, nameBuf, name, kNameSize);
    } else if (eid == 0) {
        UTIL_pluginGetName(nameBuf, kNameSize);
    }
    VosMsgHandle *handle = vos::allocZeroed<VosMsgHandle>().release();
    if (handle == nullptr) {
        VOS_DBG_ERROR("could not allocate storage for msg handle");
        return VOS_RET_NO_RESOURCE;
    }
    handle->commFd = -1;
    vos::Scope cleanup{[&] { oalVosMsg_cleanup(&handle); }};
    VosRet ret = connectToHub(handle);
    if (ret == VOS_RET_OK) {
        ret = announce(handle, eid, nameBuf);
    }
    if (ret == VOS_RET_OK) {
        ret = awaitEntityId(handle);
    }
    if (ret != VOS_RET_OK) {
        return ret;
    }
    cleanup.release();
    *handleOut = handle;
    return VOS_RET_OK;
}

VosRet oalVosMsg_send(int32_t fd, const VosMsgHeader *msg) {
    if (msg == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const size_t size = sizeof *msg + size_t{msg->dataLength};
    ssize_t rc = send(fd, msg, size, MSG_NOSIGNAL);
    if (rc < 0 && errno == ENOTSOCK) {
        rc = write(fd, msg, size);
    }
    if (rc == static_cast<ssize_t>(size)) {
        return VOS_RET_OK;
    }
    if (rc >= 0) {
        VOS_DBG_ERROR("unexpected rc %d, expected %u", static_cast<int>(rc), static_cast<uint32_t>(size));
        return VOS_RET_ERROR;
    }
    const int error = errno;
    if (error == EPIPE) {
        VOS_DBG_DEBUG("got EPIPE, dest app is dead");
        return VOS_RET_PEER_GONE;
    }
    VOS_DBG_ERROR("write failed, errno=%d; send msg from %d to %d", error, static_cast<int>(msg->src),
                  static_cast<int>(msg->dst));
    return error == EAGAIN ? VOS_RET_WOULD_BLOCK : VOS_RET_ERROR;
}

VosRet oalVosMsg_receive(int32_t fd, VosMsgHeader **msgOut, uint32_t *timeoutMs) {
    return vos::receiveMessage(fd, msgOut, timeoutMs, FirstStep::kRead);
}

VosRet oalVosMsg_getEventHandle(const VosMsgHandle *handle, int32_t *fdOut) {
    if (handle == nullptr || fdOut == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *fdOut = handle->commFd;
    return VOS_RET_OK;
}

void oalVosMsg_cleanup(VosMsgHandle **handlePtr) {
    if (handlePtr == nullptr || *handlePtr == nullptr) {
        return;
    }
    VosMsgHandle *handle = *handlePtr;
    if (handle->commFd != -1) {
        close(handle->commFd);
    }
    VOS_FREE(handle);
    *handlePtr = nullptr;
}
