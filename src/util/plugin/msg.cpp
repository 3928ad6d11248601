// Requests and responses between plug-ins and the plug-in manager.
#include <cstring>
#include <iterator>
#include <span>

#include "internal/bytes.h"
#include "internal/guards.h"
#include "vos/dbg.h"
#include "vos/plugin.h"

using vos::MemPtr;

namespace {

// A text of a payload's record: where its offset stands.
constexpr size_t kReqTexts[] = {16, 24};
constexpr size_t kRespTexts[] = {24, 32};
constexpr size_t kReqSize = 32;
constexpr size_t kRespSize = 40;
constexpr size_t kRetCodeAt = 16;

VosMsgHandle *g_setParamHandle = nullptr;
PluginSetParamFunc g_setParamCallback = nullptr;

const char *orEmpty(const char *text) {
    return text == nullptr ? "" : text;
}

uint8_t *payloadOf(VosMsgHeader *message) {
    return reinterpret_cast<uint8_t *>(message + 1);
}

struct Numbers {
    uint32_t cmdCode, ID, source, sourceEid;
};

template <typename Record>
Numbers numbersOf(const Record &record) {
    return {record.cmdCode, record.ID, record.source, record.sourceEid};
}

template <typename Record>
void setNumbers(Record *record, const Numbers &numbers) {
    record->cmdCode = numbers.cmdCode;
    record->ID = numbers.ID;
    record->source = numbers.source;
    record->sourceEid = numbers.sourceEid;
}

// A message whose payload is the numbers, what the caller writes between, and the texts behind a record of `size`.
MemPtr<VosMsgHeader> build(const Numbers &numbers, size_t size, std::span<const size_t> textsAt,
                           std::span<const char *const> texts) {
    uint64_t dataLength = size;
    for (const char *text : texts) {
        dataLength += text == nullptr ? 0 : strlen(text) + 1;
    }
    MemPtr<VosMsgHeader> msg = vos::allocZeroed<VosMsgHeader>(sizeof(VosMsgHeader) + dataLength);
    if (!msg) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return msg;
    }
    msg->dataLength = static_cast<uint32_t>(dataLength);
    uint8_t *payload = payloadOf(msg.get());
    memcpy(payload, &numbers, sizeof numbers);
    uint64_t offset = size;
    for (size_t i = 0; i < texts.size(); i++) {
        if (texts[i] != nullptr) {
            const size_t length = strlen(texts[i]) + 1;
            memcpy(payload + textsAt[i], &offset, sizeof offset);
            memcpy(payload + offset, texts[i], length);
            offset += length;
        }
    }
    return msg;
}

// The record of a received payload. Every text must lie behind it and end within the payload.
bool readRecord(VosMsgHeader *message, size_t size, std::span<const size_t> textsAt, Numbers *numbers, char *texts[]) {
    uint8_t *payload = payloadOf(message);
    if (message->dataLength < size) {
        return false;
    }
    memcpy(numbers, payload, sizeof *numbers);
    for (size_t i = 0; i < textsAt.size(); i++) {
        uint64_t offset = 0;
        memcpy(&offset, payload + textsAt[i], sizeof offset);
        texts[i] = nullptr;
        if (offset == 0) {
            continue;
        }
        if (offset < size || offset >= message->dataLength ||
            memchr(payload + offset, '\0', message->dataLength - offset) == nullptr) {
            return false;
        }
        texts[i] = reinterpret_cast<char *>(payload + offset);
    }
    return true;
}

// Callers know that the offsets become addresses, so a message cannot be read twice.
void replaceOffsets(VosMsgHeader *message, std::span<const size_t> textsAt, char *const texts[]) {
    for (size_t i = 0; i < textsAt.size(); i++) {
        const uint64_t address = reinterpret_cast<uintptr_t>(texts[i]);
        memcpy(payloadOf(message) + textsAt[i], &address, sizeof address);
    }
}

int32_t retCodeOf(VosMsgHeader *message) {
    int32_t retCode = 0;
    memcpy(&retCode, payloadOf(message) + kRetCodeAt, sizeof retCode);
    return retCode;
}

VosRet takeReply(VosMsgHeader *message, PluginRespMsg *reply) {
    if (message->dataLength == 0) {
        return VOS_RET_OK;
    }
    Numbers numbers{};
    char *texts[std::size(kRespTexts)] = {};
    if (!readRecord(message, kRespSize, kRespTexts, &numbers, texts)) {
        return VOS_RET_BAD_ARG;
    }
    const int32_t retCode = retCodeOf(message);
    const char *retCtx = texts[1];
    VOS_DBG_DEBUG("Recieve asyn cpm resp msg<cmdCode:%d;ID=%d;source:%d;sourceEid=%d;retCode:%d;retCtx:%s>.",
                  static_cast<int>(numbers.cmdCode), static_cast<int>(numbers.ID), static_cast<int>(numbers.source),
                  static_cast<int>(numbers.sourceEid), retCode, orEmpty(retCtx));
    char *copy = vosMem_strdup(retCtx, __func__, __LINE__);
    if (copy == nullptr && retCtx != nullptr) {
        return VOS_RET_NO_RESOURCE;
    }
    setNumbers(reply, numbers);
    reply->retCode = retCode;
    reply->retCtx = copy;
    return VOS_RET_OK;
}

}  // namespace

VosRet UTIL_pluginSendReqMsg(VosMsgHandle *handle, const VosMsgHeader *templateHeader, const PluginReqMsg *request,
                             PluginRespMsg *reply) {
    VOS_DBG_DEBUG("Enterd>>");
    if (request == nullptr) {
        VOS_DBG_ERROR("Request Message is null!");
        return VOS_RET_BAD_ARG;
    }
    if (handle == nullptr || templateHeader == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const char *texts[] = {request->pluginName, request->commonCtx};
    const MemPtr<VosMsgHeader> msg = build(numbersOf(*request), kReqSize, kReqTexts, texts);
    if (!msg) {
        return VOS_RET_NO_RESOURCE;
    }
    msg->type = templateHeader->type;
    msg->src = templateHeader->src;
    msg->dst = templateHeader->dst;
    msg->flags = static_cast<uint16_t>((templateHeader->flags | VOS_MSG_FLAG_REQUEST) & ~VOS_MSG_FLAG_RESPONSE);
    msg->wordData = templateHeader->wordData;
    VosMsgHeader *answer = nullptr;
    VosRet ret =
        reply == nullptr ? vosMsg_send(handle, msg.get()) : vosMsg_sendAndGetReplyBuf(handle, msg.get(), &answer);
    const MemPtr<VosMsgHeader> owned{answer};
    if (ret == VOS_RET_OK && reply != nullptr && !owned) {
        ret = VOS_RET_ERROR;
    }
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("send msg failed (ret=%d)", static_cast<int>(ret));
        return ret;
    }
    VOS_DBG_DEBUG("send msg sucess (ret=%d)", static_cast<int>(ret));
    return reply == nullptr ? ret : takeReply(owned.get(), reply);
}

VosRet UTIL_pluginRecvReqMsg(VosMsgHeader *message, PluginReqMsg *request) {
    VOS_DBG_DEBUG("Enterd.>>");
    Numbers numbers{};
    char *texts[std::size(kReqTexts)] = {};
    if (message == nullptr || request == nullptr || !readRecord(message, kReqSize, kReqTexts, &numbers, texts)) {
        return VOS_RET_BAD_ARG;
    }
    replaceOffsets(message, kReqTexts, texts);
    VOS_DBG_DEBUG(
        "recieve plugin request msg command: cmdCode=%d; ID=%d; source=%d; sourceEid=%d; pluginName=%s; commonCtx=%s\n",
        static_cast<int>(numbers.cmdCode), static_cast<int>(numbers.ID), static_cast<int>(numbers.source),
        static_cast<int>(numbers.sourceEid), orEmpty(texts[0]), orEmpty(texts[1]));
    setNumbers(request, numbers);
    request->pluginName = texts[0];
    request->commonCtx = texts[1];
    return VOS_RET_OK;
}

VosRet UTIL_pluginRecvRespMsg(VosMsgHeader *message, PluginRespMsg *response) {
    VOS_DBG_DEBUG("Enterd.>>");
    Numbers numbers{};
    char *texts[std::size(kRespTexts)] = {};
    if (message == nullptr || response == nullptr || !readRecord(message, kRespSize, kRespTexts, &numbers, texts)) {
        return VOS_RET_BAD_ARG;
    }
    replaceOffsets(message, kRespTexts, texts);
    VOS_DBG_DEBUG(
        "recieve plugin request msg command:  cmdCode=%d; ID=%d; source=%d; sourceEid=%d; pluginName=%s; "
        "commonCtx=%s\n",
        static_cast<int>(numbers.cmdCode), static_cast<int>(numbers.ID), static_cast<int>(numbers.source),
        static_cast<int>(numbers.sourceEid), orEmpty(texts[0]), orEmpty(texts[1]));
    setNumbers(response, numbers);
    response->retCode = retCodeOf(message);
    response->pluginName = texts[0];
    response->retCtx = texts[1];
    return VOS_RET_OK;
}

VosRet UTIL_pluginSendRespMsg(VosMsgHandle *handle, const VosMsgHeader *requestMessage, const PluginRespMsg *response) {
    VOS_DBG_DEBUG("Enterd.>>");
    if (response == nullptr) {
        VOS_DBG_ERROR("Response Message is null!");
        return VOS_RET_BAD_ARG;
    }
    if (handle == nullptr || requestMessage == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const char *texts[] = {response->pluginName, response->retCtx};
    const MemPtr<VosMsgHeader> msg = build(numbersOf(*response), kRespSize, kRespTexts, texts);
    if (!msg) {
        return VOS_RET_NO_RESOURCE;
    }
    memcpy(payloadOf(msg.get()) + kRetCodeAt, &response->retCode, sizeof response->retCode);
    msg->type = requestMessage->type;
    msg->src = requestMessage->dst;
    msg->dst = requestMessage->src;
    msg->flags = VOS_MSG_FLAG_RESPONSE;
    msg->wordData = requestMessage->wordData;
    return vosMsg_send(handle, msg.get());
}

VosRet UTIL_pluginRegisterSetParamEvent(VosMsgHandle *handle, PluginSetParamFunc callback) {
    VOS_DBG_DEBUG("Enterd>> Register set param event");
    g_setParamHandle = handle;
    g_setParamCallback = callback;
    return VOS_RET_OK;
}

VosRet UTIL_pluginExecuteSetParamEvent(VosMsgHeader *message) {
    VOS_DBG_DEBUG("Enterd>> Execute set param event");
    if (message == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    if (message->type != VOS_MSG_PLUGIN_SET_PARAMETER) {
        return VOS_RET_OK;
    }
    PluginReqMsg request;
    if (UTIL_pluginRecvReqMsg(message, &request) != VOS_RET_OK) {
        VOS_DBG_ERROR("Fail to get request plugin msg!");
        return VOS_RET_BAD_ARG;
    }
    const MemPtr<char> retCtx{g_setParamCallback == nullptr ? nullptr : g_setParamCallback(request.commonCtx)};
    PluginRespMsg response{};
    setNumbers(&response, numbersOf(request));
    response.cmdCode = 0;
    response.pluginName = request.pluginName;
    response.retCtx = retCtx.get();
    UTIL_pluginSendRespMsg(g_setParamHandle, message, &response);
    return VOS_RET_OK;
}
