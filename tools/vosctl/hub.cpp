// Connects to the hub and turns the library's return codes into advice.
#include "hub.h"

#include <cstring>
#include <limits>

#include "arguments.h"
#include "command.h"
#include "common/msg_names.h"

namespace vosctl {

namespace {

Failure connectionLost(VosRet ret) {
    return {"the hub closed the connection (" + msgnames::retText(ret) +
            "); its output says why, 'vos-hubd' starts it again"};
}

Failure failureOf(VosRet ret, const std::string &peer, uint32_t timeoutMs) {
    if (ret == VOS_RET_TIMEOUT) {
        return {"no reply from " + peer + " within " + std::to_string(timeoutMs) +
                " ms; a slow peer needs a longer --timeout"};
    }
    return connectionLost(ret);
}

}  // namespace

ByteView payloadOf(const VosMsgHeader &msg) {
    return {reinterpret_cast<const std::byte *>(&msg + 1), msg.dataLength};
}

std::string fieldText(std::span<const char> field) {
    return {field.data(), strnlen(field.data(), field.size())};
}

Hub::Hub() {
    if (vosMsg_initByName("vosctl", &handle_) != VOS_RET_OK) {
        throw Failure{"no hub answers at " VOS_MSG_HUB_SOCKET_PATH "; start one with 'vos-hubd'"};
    }
}

int Hub::fd() const {
    int32_t fd = -1;
    vosMsg_getEventHandle(handle_, &fd);
    return fd;
}

MessagePtr Hub::build(VosEntityId dst, uint32_t type, uint16_t flags, uint32_t word, ByteView payload) const {
    constexpr size_t kMostBytes = std::numeric_limits<uint32_t>::max() - sizeof(VosMsgHeader);
    const auto size = static_cast<uint32_t>(sizeof(VosMsgHeader) + std::min(payload.size(), kMostBytes));
    MessagePtr msg{static_cast<VosMsgHeader *>(VOS_MALLOC_FLAGS(size, ALLOC_ZEROIZE))};
    if (!msg || payload.size() > kMostBytes) {
        throw Failure{"no memory for a payload of " + std::to_string(payload.size()) + " bytes; send less"};
    }
    msg->type = type;
    msg->src = eid();
    msg->dst = dst;
    msg->flags = flags;
    msg->wordData = word;
    msg->dataLength = static_cast<uint32_t>(payload.size());
    if (!payload.empty()) {
        memcpy(msg.get() + 1, payload.data(), payload.size());
    }
    return msg;
}

void Hub::send(const VosMsgHeader &msg) {
    const VosRet ret = vosMsg_send(handle_, &msg);
    if (ret != VOS_RET_OK) {
        throw connectionLost(ret);
    }
}

MessagePtr Hub::request(const VosMsgHeader &msg, const std::string &peer, uint32_t timeoutMs) {
    VosMsgHeader *received = nullptr;
    const VosRet ret = vosMsg_sendAndGetReplyBufWithTimeout(handle_, &msg, &received, timeoutMs);
    MessagePtr reply{received};
    if (ret != VOS_RET_OK) {
        throw failureOf(ret, peer, timeoutMs);
    }
    // The hub answers in the place of a peer that is not there.
    if (msg.dst != EID_HUBD && reply && reply->wordData == VOS_RET_PEER_GONE && reply->dataLength == 0) {
        throw Failure{"nobody holds the id of " + peer + "; 'vosctl list' shows who is there"};
    }
    return reply;
}

MessagePtr Hub::receive() {
    VosMsgHeader *received = nullptr;
    const VosRet ret = vosMsg_receive(handle_, &received);
    MessagePtr msg{received};
    if (ret != VOS_RET_OK) {
        throw connectionLost(ret);
    }
    return msg;
}

Entity Hub::find(const std::string &numberOrName) {
    if (const auto number = parseNumber(numberOrName)) {
        return {*number, numberOrName};
    }
    const ByteView name = std::as_bytes(std::span{numberOrName.c_str(), numberOrName.size() + 1});
    const MessagePtr reply =
        request(*build(EID_HUBD, VOS_MSG_GET_EID_BY_APP_NAME, VOS_MSG_FLAG_REQUEST, 0, name), "the hub");
    const VosEntityId eid = reply ? reply->wordData : 0;
    if (eid == 0) {
        throw Failure{"no entity is called '" + numberOrName + "'; 'vosctl list' shows who is there"};
    }
    return {eid, numberOrName + " (" + std::to_string(eid) + ")"};
}

MessagePtr Hub::ask(uint32_t hubRequest) {
    MessagePtr reply = request(*build(EID_HUBD, hubRequest, VOS_MSG_FLAG_REQUEST, 0, {}), "the hub");
    if (!reply || reply->wordData != VOS_RET_OK) {
        throw Failure{"the hub refuses " + msgnames::typeText(hubRequest) +
                      "; it must be vos-hubd, run by the same user"};
    }
    return reply;
}

void Hub::registerFor(uint32_t type) {
    const MessagePtr interest = build(EID_HUBD, VOS_MSG_REGISTER_EVENT_INTEREST, VOS_MSG_FLAG_REQUEST, type, {});
    const MessagePtr reply = request(*interest, "the hub");
    if (reply && reply->wordData != VOS_RET_OK) {
        throw Failure{"the hub registers nobody for " + msgnames::typeText(type) + ": " +
                      msgnames::retText(reply->wordData)};
    }
}

std::vector<hubproto::ClientRow> Hub::clients() {
    const MessagePtr reply = ask(hubproto::kListClients);
    std::vector<hubproto::ClientRow> rows(reply->dataLength / sizeof(hubproto::ClientRow));
    memcpy(rows.data(), payloadOf(*reply).data(), rows.size() * sizeof(hubproto::ClientRow));
    return rows;
}

}  // namespace vosctl
