// A client of vos-hubd that a test drives message by message.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../tools/common/hub_protocol.h"
#include "support/effort.h"
#include "support/hub_script.h"
#include "support/unix_address.h"
#include "vos/mem.h"
#include "vos/msg.h"

namespace vostest {

constexpr uint32_t kType = 0x1000abcd;
constexpr uint16_t kEvent = VOS_MSG_FLAG_EVENT;
constexpr uint16_t kRequest = VOS_MSG_FLAG_REQUEST;
constexpr uint16_t kReply = VOS_MSG_FLAG_RESPONSE;

inline WireMessage announcement(VosEntityId eid, const std::string &name,
                                uint32_t pid = static_cast<uint32_t>(getpid())) {
    return message(VOS_MSG_LAUNCHED, eid, EID_HUBD, kEvent, pid, name + '\0' + "/bin/daemon" + '\0');
}

/** A daemon's connection to the hub. */
class Peer {
  public:
    explicit Peer(const std::string &path = VOS_MSG_HUB_SOCKET_PATH)
        : fd_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
        EXPECT_EQ(connect(fd_, UnixAddress{path}.get(), UnixAddress::size()), 0);
    }
    /** Announces itself too. */
    explicit Peer(VosEntityId eid, const std::string &name = "") : Peer{} {
        send(announcement(eid, name));
        eid_ = receive().value_or(WireMessage{}).header.dst;
    }
    Peer(Peer &&other) noexcept : fd_{std::exchange(other.fd_, -1)}, eid_{other.eid_} {}
    ~Peer() { end(); }

    VosEntityId eid() const { return eid_; }
    void end() { close(std::exchange(fd_, -1)); }

    void sendBytes(const std::string &bytes) const {
        ASSERT_EQ(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    void send(const WireMessage &msg) const { sendBytes(msg.bytes()); }
    /** The next message; nothing at the end of the connection. */
    std::optional<WireMessage> receive() const { return readMessage(fd_); }
    /** Everything that has come by now: what the hub did before it answers this. */
    std::vector<WireMessage> drain() const {
        std::vector<WireMessage> all;
        send(message(hubproto::kEcho, eid_, EID_HUBD, kRequest));
        for (auto msg = receive(); msg && msg->header.type != hubproto::kEcho; msg = receive()) {
            all.push_back(*msg);
        }
        return all;
    }
    /** A request to the hub and its reply. */
    WireMessage ask(uint32_t type, uint32_t wordData = 0, const std::string &payload = {}) const {
        send(message(type, eid_, EID_HUBD, kRequest, wordData, payload));
        WireMessage reply = receive().value_or(WireMessage{});
        EXPECT_EQ(reply.header.type, type);
        EXPECT_EQ(reply.header.flags, kReply);
        EXPECT_EQ(reply.header.src, VosEntityId{EID_HUBD});
        EXPECT_EQ(reply.header.dst, eid_);
        return reply;
    }
    uint32_t askResult(uint32_t type, uint32_t wordData = 0, const std::string &payload = {}) const {
        return ask(type, wordData, payload).header.wordData;
    }
    template <typename T>
    T askFor(uint32_t type) const {
        T value{};
        const std::string payload = ask(type).payload;
        EXPECT_EQ(payload.size(), sizeof value);
        memcpy(&value, payload.data(), std::min(payload.size(), sizeof value));
        return value;
    }
    std::vector<hubproto::ClientRow> askForClients() const { return rowsOf(ask(hubproto::kListClients)); }
    static std::vector<hubproto::ClientRow> rowsOf(const WireMessage &list) {
        std::vector<hubproto::ClientRow> rows(list.payload.size() / sizeof(hubproto::ClientRow));
        memcpy(rows.data(), list.payload.data(), rows.size() * sizeof rows[0]);
        return rows;
    }

  private:
    int fd_;
    VosEntityId eid_ = 0;
};

inline std::vector<std::string> bytesOf(const std::vector<WireMessage> &messages) {
    std::vector<std::string> all;
    for (const WireMessage &msg : messages) {
        all.push_back(msg.bytes());
    }
    return all;
}

}  // namespace vostest
