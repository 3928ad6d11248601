// Connects to the hub and turns the library's return codes into advice.
#include "hub_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <limits>
#include <thread>
#include <utility>

#include "arguments.h"
#include "command.h"
#include "common/msg_names.h"
#include "internal/guards.h"

namespace vosctl {

namespace {

constexpr const char *kTheHub = "the hub";
constexpr uint32_t kShortestHubTimeoutMs = 1000;

Failure connectionLost(VosRet ret) {
    return {"the hub closed the connection (" + msgnames::retText(ret) +
            "); its output says why, 'vos-hubd' starts it again"};
}

bool isOpen(int fd) {
    pollfd state{.fd = fd, .events = 0, .revents = 0};
    return poll(&state, 1, 0) == 0;  // an end is told without being asked for
}

Failure failureOf(VosRet ret, int fd, const std::string &peer, uint32_t timeoutMs) {
    switch (ret) {
        case VOS_RET_TIMEOUT:
            return {"no reply from " + peer + " within " + std::to_string(timeoutMs) +
                    " ms; a slow peer needs a longer --timeout"};
        case VOS_RET_NO_RESOURCE:
            return {"no memory for the reply from " + peer};
        default:
            return ret != VOS_RET_PEER_GONE && isOpen(fd)
                       ? Failure{peer + " comes back again and again without an answer (" + msgnames::retText(ret) +
                                 "); 'vosctl monitor' shows its launches"}
                       : connectionLost(ret);
    }
}

// Why no handle could be had; the library does not tell.
Failure notConnected() {
    const std::string path = VOS_MSG_HUB_SOCKET_PATH;
    const vos::UniqueFd fd{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = VOS_MSG_HUB_SOCKET_PATH};
    const bool connected = fd && connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    const int error = errno;
    if (connected || error == EAGAIN) {
        return {"the hub at " + path + " does not answer; its output says why, 'vos-hubd' starts it again"};
    }
    if (error == ENOENT || error == ECONNREFUSED) {
        return {"no hub answers at " + path + "; start one with 'vos-hubd'"};
    }
    return {"cannot connect to the hub at " + path + ": " + strerror(error)};
}

VosMsgHandle *launch(const std::string &name = "vosctl") {
    VosMsgHandle *handle = nullptr;
    const auto number = parseNumber(name);
    if ((number ? vosMsg_init(*number, &handle) : vosMsg_initByName(name.c_str(), &handle)) != VOS_RET_OK) {
        throw notConnected();
    }
    return handle;
}

Failure nobodyHolds(const std::string &peer) {
    return {"nobody holds the id of " + peer + "; 'vosctl list' shows who is there"};
}

void requireFit(VosRet read) {
    if (read != VOS_RET_OK) {
        throw Failure{"the hub's answer is not what interfaces/hub.toml says; take vosctl and vos-hubd of one version"};
    }
}

}  // namespace

ByteView payloadOf(const VosMsgHeader &msg) {
    return {reinterpret_cast<const std::byte *>(&msg + 1), msg.dataLength};
}

Hub::Hub() : handle_{launch()} {}
Hub::Hub(const std::string &nameOrNumber) : handle_{launch(nameOrNumber)} {}

// The library waits for the hub's welcome as long as daemons do. That wait goes on beside a shorter one and ends with
// the process.
Hub::Hub(uint32_t timeoutMs) : hubTimeoutMs_{std::max(timeoutMs, kShortestHubTimeoutMs)} {
    std::packaged_task<VosMsgHandle *()> task{[] { return launch(); }};
    std::future<VosMsgHandle *> launched = task.get_future();
    std::thread{std::move(task)}.detach();
    if (launched.wait_for(std::chrono::milliseconds{hubTimeoutMs_}) != std::future_status::ready) {
        throw failureOf(VOS_RET_TIMEOUT, -1, kTheHub, hubTimeoutMs_);
    }
    handle_ = launched.get();
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
        throw failureOf(ret, fd(), peer, timeoutMs);
    }
    // The hub answers in the place of a peer that is not there.
    if (msg.dst != EID_HUBD && reply && reply->wordData == VOS_RET_PEER_GONE && reply->dataLength == 0) {
        throw nobodyHolds(peer);
    }
    return reply;
}

MessagePtr Hub::received(VosRet ret, VosMsgHeader *msg) {
    MessagePtr owned{msg};
    if (ret == VOS_RET_NO_RESOURCE) {
        throw Failure{"no memory for a message from the hub"};
    }
    if (ret != VOS_RET_OK && ret != VOS_RET_TIMEOUT) {
        throw connectionLost(ret);
    }
    return owned;
}

MessagePtr Hub::receive() {
    VosMsgHeader *msg = nullptr;
    const VosRet ret = vosMsg_receive(handle_, &msg);
    return received(ret, msg);
}

MessagePtr Hub::receiveWithin(uint32_t timeoutMs) {
    VosMsgHeader *msg = nullptr;
    const VosRet ret = vosMsg_receiveWithTimeout(handle_, &msg, timeoutMs);
    return received(ret, msg);
}

MessagePtr Hub::receiveUnless(int otherFd, int timeoutMs) {
    for (;;) {
        if (MessagePtr msg = receiveWithin(0)) {
            return msg;
        }
        pollfd waiting[] = {{.fd = fd(), .events = POLLIN, .revents = 0},
                            {.fd = otherFd, .events = POLLIN, .revents = 0}};
        poll(waiting, std::size(waiting), timeoutMs);
        if (waiting[0].revents == 0 && (timeoutMs >= 0 || waiting[1].revents != 0)) {
            return nullptr;
        }
    }
}

VosEntityId Hub::lookUp(const std::string &numberOrName) {
    if (const auto number = parseNumber(numberOrName)) {
        return *number;
    }
    const ByteView name = std::as_bytes(std::span{numberOrName.c_str(), numberOrName.size() + 1});
    const MessagePtr query = build(EID_HUBD, VOS_MSG_GET_EID_BY_APP_NAME, VOS_MSG_FLAG_REQUEST, 0, name);
    const MessagePtr reply = request(*query, kTheHub, hubTimeoutMs_);
    const VosEntityId eid = reply ? reply->wordData : 0;
    // The answer is a number either way: no daemon has an id that reads like a result.
    if (const std::string result = msgnames::retText(eid); eid != 0 && result.starts_with("VOS_RET_")) {
        throw Failure{"the hub cannot look '" + numberOrName + "' up: " + result + "; give the entity's number"};
    }
    return eid;
}

Entity Hub::find(const std::string &numberOrName) {
    const VosEntityId eid = lookUp(numberOrName);
    if (parseNumber(numberOrName)) {
        return {eid, numberOrName};
    }
    if (eid == 0) {
        throw Failure{"no entity is called '" + numberOrName + "'; 'vosctl list' shows who is there"};
    }
    return {eid, numberOrName + " (" + std::to_string(eid) + ")"};
}

MessagePtr Hub::ask(uint32_t hubRequest) {
    MessagePtr reply = request(*build(EID_HUBD, hubRequest, VOS_MSG_FLAG_REQUEST, 0, {}), kTheHub);
    if (!reply || reply->wordData != VOS_RET_OK) {
        throw Failure{"the hub refuses " + msgnames::typeText(hubRequest) +
                      "; it must be vos-hubd, run by the same user"};
    }
    return reply;
}

void Hub::registerFor(uint32_t type) {
    const MessagePtr interest = build(EID_HUBD, VOS_MSG_REGISTER_EVENT_INTEREST, VOS_MSG_FLAG_REQUEST, type, {});
    const MessagePtr reply = request(*interest, kTheHub);
    if (reply && reply->wordData != VOS_RET_OK) {
        throw Failure{"the hub registers nobody for " + msgnames::typeText(type) + ": " +
                      msgnames::retText(reply->wordData)};
    }
}

bool Hub::isPresent(VosEntityId eid) {
    const MessagePtr query = build(EID_HUBD, VOS_MSG_IS_APP_RUNNING, VOS_MSG_FLAG_REQUEST, eid, {});
    const MessagePtr reply = request(*query, kTheHub);
    return !reply || reply->wordData == VOS_RET_OK;
}

void Hub::requirePresence(const Entity &peer) {
    if (!isPresent(peer.eid)) {
        throw nobodyHolds(peer.text);
    }
}

hubproto::HubCounters Hub::counters() {
    const MessagePtr reply = ask(hubproto::kGetCounters);
    hubproto::HubCounters counters{};
    requireFit(hub_readGetCountersReply(reply.get() + 1, reply->dataLength, &counters));
    return counters;
}

std::vector<hubproto::ClientRow> Hub::clients() {
    const MessagePtr reply = ask(hubproto::kListClients);
    HubListClientsReply list{};
    requireFit(hub_readListClientsReply(reply.get() + 1, reply->dataLength, &list));
    return {list.clients, list.clients + list.clientsCount};
}

}  // namespace vosctl
