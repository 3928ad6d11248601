// Requests and events to the hub and to well-known daemons, built from a handful of arguments.
#include "vos/request.h"

#include <cstring>
#include <span>

#include "internal/dbg.h"
#include "internal/message.h"

using vos::MemPtr;

namespace {

constexpr uint32_t kRequestTimeoutMs = 300000;
constexpr uint32_t kReplyBufTimeoutMs = 15000;

constexpr VosEntityId kSnmpd = 4;
constexpr VosEntityId kEponapp = 15;
constexpr VosEntityId kLogSaver = 30;
constexpr VosEntityId kGponproxy = 42048;

using Payload = std::span<const uint8_t>;

Payload payloadOf(const void *data, size_t size) {
    return data == nullptr ? Payload{} : Payload{static_cast<const uint8_t *>(data), size};
}

MemPtr<VosMsgHeader> build(const VosMsgHandle *handle, VosEntityId dst, uint32_t type, uint16_t flags,
                           uint32_t wordData, Payload payload) {
    auto msg = vos::makeMessage(vos::messageHeader(type, vosMsg_getHandleEid(handle), dst, flags, wordData), payload);
    if (!msg) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS fail");
    }
    return msg;
}

VosRet request(VosMsgHandle *handle, VosEntityId dst, uint32_t type, uint32_t wordData, Payload payload) {
    const auto msg = build(handle, dst, type, VOS_MSG_FLAG_REQUEST, wordData, payload);
    if (!msg) {
        return VOS_RET_NO_RESOURCE;
    }
    const VosRet ret = vosMsg_sendAndGetReplyWithTimeout(handle, msg.get(), kRequestTimeoutMs);
    VOS_DBG_DEBUG("Send msg 0x%x from 0x%x to hubd, ret=%d", msg->type, msg->src, static_cast<int>(ret));
    return ret;
}

VosRet requestOfHub(VosMsgHandle *handle, uint32_t type, uint32_t wordData, Payload payload) {
    return request(handle, EID_HUBD, type, wordData, payload);
}

VosRet requestByName(VosMsgHandle *handle, uint32_t type, const char *name) {
    return name == nullptr ? VosRet{VOS_RET_BAD_ARG} : requestOfHub(handle, type, 0, payloadOf(name, strlen(name) + 1));
}

VosRet notify(VosMsgHandle *handle, VosEntityId dst, uint32_t type, uint16_t flags, uint32_t wordData,
              Payload payload) {
    const auto msg = build(handle, dst, type, flags, wordData, payload);
    if (!msg) {
        return VOS_RET_NO_RESOURCE;
    }
    const VosRet ret = vosMsg_send(handle, msg.get());
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("Send msg 0x%x from 0x%x to hubd fail, ret=%d", msg->type, msg->src, static_cast<int>(ret));
    } else {
        VOS_DBG_DEBUG("Send msg 0x%x from 0x%x to hubd succeeded", msg->type, msg->src);
    }
    return ret;
}

VosRet event(VosMsgHandle *handle, VosEntityId dst, uint32_t type, uint32_t wordData, const uint8_t *data,
             uint32_t dataLen) {
    return notify(handle, dst, type, VOS_MSG_FLAG_EVENT, wordData, payloadOf(data, dataLen));
}

}  // namespace

VosRet UTIL_sendRequest(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                        uint32_t dataLen) {
    return request(handle, dstEid, msgType, wordData, payloadOf(data, dataLen));
}

VosRet UTIL_sendRequestAndGetReplyBuf(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData,
                                      const uint8_t *data, uint8_t *replyBuf, uint32_t dataLen, uint32_t replyBufLen) {
    auto msg = build(handle, dstEid, msgType, VOS_MSG_FLAG_REQUEST, wordData, payloadOf(data, dataLen));
    if (!msg) {
        return VOS_RET_NO_RESOURCE;
    }
    VosMsgHeader *received = nullptr;
    VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle, msg.get(), &received, kReplyBufTimeoutMs);
    MemPtr<VosMsgHeader> reply{received};
    VOS_DBG_DEBUG("Send msg 0x%x from 0x%x to hubd, ret=%d", msg->type, msg->src, static_cast<int>(ret));
    if (ret == VOS_RET_OK && !reply) {
        ret = VOS_RET_ERROR;  // the request had to be sent again and the second answer never came
    }
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("vosMsg_sendAndGetReplyBufWithTimeout error, ret = %d", static_cast<int>(ret));
        return ret;
    }
    const uint32_t room = replyBuf == nullptr ? 0 : replyBufLen;
    if (reply->dataLength > room) {
        VOS_DBG_ERROR("replyData is too short!");
        // Contract: both blocks stay allocated here; heap statistics of daemons count them.
        msg.release();
        reply.release();
        return VOS_RET_ERROR;
    }
    if (reply->dataLength != 0) {
        memcpy(replyBuf, reply.get() + 1, reply->dataLength);
    }
    return VOS_RET_OK;
}

VosRet UTIL_sendEventMsg(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData,
                         const uint8_t *data, uint32_t dataLen, uint8_t isEvent) {
    const uint16_t flags = (isEvent & 1) != 0 ? VOS_MSG_FLAG_EVENT : 0;
    return notify(handle, dstEid, msgType, flags, wordData, payloadOf(data, dataLen));
}

VosRet UTIL_sendMsg(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                    uint32_t dataLen) {
    return notify(handle, dstEid, msgType, 0, wordData, payloadOf(data, dataLen));
}

VosRet UTIL_sendRequestToHubd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                              uint32_t dataLen) {
    return requestOfHub(handle, msgType, wordData, payloadOf(data, dataLen));
}

VosRet UTIL_sendEventToHubd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                            uint32_t dataLen) {
    return event(handle, EID_HUBD, msgType, wordData, data, dataLen);
}

VosRet UTIL_sendRequestToGuardd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                                uint32_t dataLen) {
    return request(handle, EID_GUARDD, msgType, wordData, payloadOf(data, dataLen));
}

VosRet UTIL_sendEventToGuardd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                              uint32_t dataLen) {
    return event(handle, EID_GUARDD, msgType, wordData, data, dataLen);
}

// Contract: the next three do not wait, whatever their names say.

VosRet UTIL_sendRequestToGponproxy(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                                   uint32_t dataLen) {
    return event(handle, kGponproxy, msgType, wordData, data, dataLen);
}

VosRet UTIL_sendRequestToEponapp(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                                 uint32_t dataLen) {
    return event(handle, kEponapp, msgType, wordData, data, dataLen);
}

VosRet UTIL_sendRequestToSnmpd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                               uint32_t dataLen) {
    return event(handle, kSnmpd, msgType, wordData, data, dataLen);
}

VosRet UTIL_sendHeartbeat(VosMsgHandle *handle) {
    return notify(handle, EID_HUBD, VOS_MSG_HEARTBEAT, 0, 0, {});
}

VosRet UTIL_stopWatchdog(VosMsgHandle *handle) {
    return notify(handle, EID_HUBD, VOS_MSG_STOP_WATCHDOG, 0, 0, {});
}

VosRet UTIL_registerEvent(VosMsgHandle *handle, uint32_t wordData, const uint8_t *data, uint32_t dataLen) {
    return requestOfHub(handle, VOS_MSG_REGISTER_EVENT_INTEREST, wordData, payloadOf(data, dataLen));
}

VosRet UTIL_unregisterEvent(VosMsgHandle *handle, uint32_t wordData, const uint8_t *data, uint32_t dataLen) {
    return requestOfHub(handle, VOS_MSG_UNREGISTER_EVENT_INTEREST, wordData, payloadOf(data, dataLen));
}

VosRet UTIL_reboot(VosMsgHandle *handle) {
    return requestOfHub(handle, VOS_MSG_REBOOT, 0, {});
}

VosRet UTIL_addEntityInfo(const void *info, VosMsgHandle *handle) {
    return info == nullptr ? VosRet{VOS_RET_BAD_ARG}
                           : requestOfHub(handle, VOS_MSG_ADD_ENTITY_INFO, 0, payloadOf(info, UTIL_ENTITY_INFO_SIZE));
}

VosRet UTIL_delEntityInfo(const char *name, VosMsgHandle *handle) {
    return requestByName(handle, VOS_MSG_DEL_ENTITY_INFO, name);
}

VosRet UTIL_getEidByAppName(const char *name, VosMsgHandle *handle) {
    return requestByName(handle, VOS_MSG_GET_EID_BY_APP_NAME, name);
}

VosRet util_saveLogToFlash(VosMsgHandle *handle) {
    if (vosImg_isAppRunning(handle, kLogSaver) == 0) {
        return VOS_RET_OK;
    }
    const VosMsgHeader msg =
        vos::messageHeader(VOS_MSG_SAVE_LOG_TO_FLASH, vosMsg_getHandleEid(handle), kLogSaver, VOS_MSG_FLAG_REQUEST);
    return vosMsg_send(handle, &msg);
}
