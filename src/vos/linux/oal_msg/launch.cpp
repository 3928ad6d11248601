// The connection to the hub: socket, launch handshake, end.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "internal/bytes.h"
#include "internal/dbg.h"
#include "internal/message.h"
#include "vos/msg.h"
#include "vos/msg/handle.h"
#include "vos/plugin_info.h"
#include "vos/text.h"

using vos::Deadline;
using vos::FirstStep;

namespace {

constexpr uint32_t kHandshakeTimeoutMs = 15000;
constexpr uint32_t kNameSize = 64;
constexpr uint32_t kPathSize = 512;

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
    const uint64_t size = strlen(name) + 1 + strlen(path) + 1;
    const auto msg = vos::makeMessage(
        vos::messageHeader(VOS_MSG_LAUNCHED, eid, EID_HUBD, VOS_MSG_FLAG_EVENT, static_cast<uint32_t>(getpid())), size);
    if (!msg) {
        VOS_DBG_ERROR("Fail to malloc msg Header!");
        return VOS_RET_NO_RESOURCE;
    }
    vos::ByteWriter payload{msg.get() + 1, msg->dataLength};
    payload.terminatedText(name);
    payload.terminatedText(path);
    if (oalVosMsg_send(handle->commFd, msg.get()) != VOS_RET_OK) {
        return VOS_RET_ERROR;
    }
    VOS_DBG_DEBUG("sent LAUNCHED message to hubd");
    return VOS_RET_OK;
}

// The first message is the hub's answer whatever its type; it settles the entity id.
VosRet awaitEntityId(VosMsgHandle *handle) {
    Deadline deadline{kHandshakeTimeoutMs};
    VosMsgHeader *answer = nullptr;
    if (handle->stream.receive(handle->commFd, &answer, deadline, FirstStep::kWait) != VOS_RET_OK) {
        VOS_DBG_ERROR("Receive LAUNCHED msg fail");
        return VOS_RET_ERROR;
    }
    handle->eid = answer->dst;
    VOS_FREE(answer);
    return VOS_RET_OK;
}

}  // namespace

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
    handle->stream.drop();
    VOS_FREE(handle);
    *handlePtr = nullptr;
}
