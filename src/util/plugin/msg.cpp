// Requests and responses between plug-ins and the plug-in manager.
#include <cstring>

#include "internal/bytes.h"
#include "internal/dbg.h"
#include "internal/message.h"
#include "vos/plugin.h"

using vos::MemPtr;

namespace {

// What stands at the front of a payload: numbers, in a response the result code and 4 zero bytes, and an offset for
// each of two texts behind it.
constexpr size_t kTexts = 2;
constexpr size_t kOffsetsSize = kTexts * sizeof(uint64_t);

VosMsgHandle *g_setParamHandle = nullptr;
PluginSetParamFunc g_setParamCallback = nullptr;

const char *orEmpty(const char *text) {
    return text == nullptr ? "" : text;
}

struct Numbers {
    uint32_t cmdCode, ID, source, sourceEid;
};

struct Record {
    Numbers numbers;
    int32_t retCode;
    const char *texts[kTexts];
};

// A record's kind decides its size: kResponse carries the result code.
enum class Kind { kRequest, kResponse };

constexpr size_t sizeOf(Kind kind) {
    return sizeof(Numbers) + kOffsetsSize + (kind == Kind::kResponse ? sizeof(uint64_t) : 0);
}

template <typename Message>
Numbers numbersOf(const Message &message) {
    return {message.cmdCode, message.ID, message.source, message.sourceEid};
}

template <typename Message>
void setNumbers(Message *message, const Numbers &numbers) {
    message->cmdCode = numbers.cmdCode;
    message->ID = numbers.ID;
    message->source = numbers.source;
    message->sourceEid = numbers.sourceEid;
}

size_t sizeOf(const char *text) {
    return text == nullptr ? 0 : strlen(text) + 1;
}

MemPtr<VosMsgHeader> build(const VosMsgHeader &header, Kind kind, const Record &record) {
    uint64_t dataLength = sizeOf(kind);
    for (const char *text : record.texts) {
        dataLength += sizeOf(text);
    }
    auto msg = vos::makeMessage(header, dataLength);
    if (!msg) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return msg;
    }
    vos::ByteWriter payload{msg.get() + 1, msg->dataLength};
    payload.native(record.numbers);
    if (kind == Kind::kResponse) {
        payload.native(record.retCode);
        payload.native(uint32_t{0});
    }
    uint64_t offset = sizeOf(kind);
    for (const char *text : record.texts) {
        payload.native(text == nullptr ? uint64_t{0} : offset);
        offset += sizeOf(text);
    }
    for (const char *text : record.texts) {
        if (text != nullptr) {
            payload.terminatedText(text);
        }
    }
    return msg;
}

// A text lies behind the record and ends within the payload.
bool readText(const VosMsgHeader *message, Kind kind, uint64_t offset, const char **text) {
    if (offset == 0) {
        return true;
    }
    if (offset < sizeOf(kind) || offset > message->dataLength) {
        return false;
    }
    vos::ByteReader payload{message + 1, message->dataLength};
    payload.seek(static_cast<size_t>(offset));
    *text = payload.terminatedText().data();
    return payload.ok();
}

bool readRecord(const VosMsgHeader *message, Kind kind, Record *record) {
    vos::ByteReader payload{message + 1, message->dataLength};
    record->numbers = payload.native<Numbers>();
    if (kind == Kind::kResponse) {
        record->retCode = payload.native<int32_t>();
        payload.skip(sizeof(uint32_t));
    }
    for (const char *&text : record->texts) {
        if (!readText(message, kind, payload.native<uint64_t>(), &text)) {
            return false;
        }
    }
    return payload.ok();
}

// Contract: the offsets become addresses, so a message is read once only.
void replaceOffsets(VosMsgHeader *message, Kind kind, const Record &record) {
    vos::ByteWriter offsets{reinterpret_cast<uint8_t *>(message + 1) + sizeOf(kind) - kOffsetsSize, kOffsetsSize};
    for (const char *text : record.texts) {
        offsets.native(uint64_t{reinterpret_cast<uintptr_t>(text)});
    }
}

VosRet takeReply(VosMsgHeader *message, PluginRespMsg *reply) {
    if (message->dataLength == 0) {
        return VOS_RET_OK;
    }
    Record record{};
    if (!readRecord(message, Kind::kResponse, &record)) {
        return VOS_RET_BAD_ARG;
    }
    const Numbers &numbers = record.numbers;
    const char *retCtx = record.texts[1];
    VOS_DBG_DEBUG("Recieve asyn cpm resp msg<cmdCode:%d;ID=%d;source:%d;sourceEid=%d;retCode:%d;retCtx:%s>.",
                  static_cast<int>(numbers.cmdCode), static_cast<int>(numbers.ID), static_cast<int>(numbers.source),
                  static_cast<int>(numbers.sourceEid), record.retCode, orEmpty(retCtx));
    char *copy = vosMem_strdup(retCtx, __func__, __LINE__);
    if (copy == nullptr && retCtx != nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return VOS_RET_NO_RESOURCE;
    }
    setNumbers(reply, numbers);
    reply->retCode = record.retCode;
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
    const VosMsgHeader header = vos::messageHeader(
        templateHeader->type, templateHeader->src, templateHeader->dst,
        (templateHeader->flags | VOS_MSG_FLAG_REQUEST) & ~VOS_MSG_FLAG_RESPONSE, templateHeader->wordData);
    const Record record{numbersOf(*request), 0, {request->pluginName, request->commonCtx}};
    const auto msg = build(header, Kind::kRequest, record);
    if (!msg) {
        return VOS_RET_NO_RESOURCE;
    }
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
    Record record{};
    if (message == nullptr || request == nullptr || !readRecord(message, Kind::kRequest, &record)) {
        return VOS_RET_BAD_ARG;
    }
    replaceOffsets(message, Kind::kRequest, record);
    const Numbers &numbers = record.numbers;
    VOS_DBG_DEBUG(
        "recieve plugin request msg command: cmdCode=%d; ID=%d; source=%d; sourceEid=%d; pluginName=%s; commonCtx=%s\n",
        static_cast<int>(numbers.cmdCode), static_cast<int>(numbers.ID), static_cast<int>(numbers.source),
        static_cast<int>(numbers.sourceEid), orEmpty(record.texts[0]), orEmpty(record.texts[1]));
    setNumbers(request, numbers);
    request->pluginName = record.texts[0];
    request->commonCtx = record.texts[1];
    return VOS_RET_OK;
}

VosRet UTIL_pluginRecvRespMsg(VosMsgHeader *message, PluginRespMsg *response) {
    VOS_DBG_DEBUG("Enterd.>>");
    Record record{};
    if (message == nullptr || response == nullptr || !readRecord(message, Kind::kResponse, &record)) {
        return VOS_RET_BAD_ARG;
    }
    replaceOffsets(message, Kind::kResponse, record);
    const Numbers &numbers = record.numbers;
    VOS_DBG_DEBUG(
        "recieve plugin request msg command:  cmdCode=%d; ID=%d; source=%d; sourceEid=%d; pluginName=%s; "
        "commonCtx=%s\n",
        static_cast<int>(numbers.cmdCode), static_cast<int>(numbers.ID), static_cast<int>(numbers.source),
        static_cast<int>(numbers.sourceEid), orEmpty(record.texts[0]), orEmpty(record.texts[1]));
    setNumbers(response, numbers);
    response->retCode = record.retCode;
    response->pluginName = record.texts[0];
    response->retCtx = const_cast<char *>(record.texts[1]);
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
    const VosMsgHeader header = vos::messageHeader(requestMessage->type, requestMessage->dst, requestMessage->src,
                                                   VOS_MSG_FLAG_RESPONSE, requestMessage->wordData);
    const Record record{numbersOf(*response), response->retCode, {response->pluginName, response->retCtx}};
    const auto msg = build(header, Kind::kResponse, record);
    if (!msg) {
        return VOS_RET_NO_RESOURCE;
    }
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
