// Copies of routed messages, and names for their ends.
#include "message_feed.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "common/message_line.h"
#include "common/msg_names.h"
#include "interfaces.h"
#include "vos/eid.h"

namespace vosctl {

namespace {

constexpr std::array kToolNames{"vosctl", "vosmini"};

constexpr size_t kMostName = 63;  // as the hub keeps it; a capture may hold anything

std::string textOf(ByteView payload) {
    const auto *const text = reinterpret_cast<const char *>(payload.data());
    return {text, strnlen(text, std::min(payload.size(), kMostName))};
}

const char *verdictText(uint32_t verdict) {
    constexpr std::array kTexts{"delivered", "to-hub", "from-hub", "no-destination"};
    return verdict < kTexts.size() ? kTexts[verdict] : "?";
}

}  // namespace

// A capture may hold launches without end.
void Names::enter(VosEntityId eid, const std::string &name) {
    constexpr size_t kMostNames = 65536;
    if (names_.size() < kMostNames || names_.contains(eid)) {
        names_[eid] = name;
    }
}

void Names::learn(const VosMsgHeader &header, ByteView payload) {
    const bool isReply = (header.flags & VOS_MSG_FLAG_RESPONSE) != 0;
    if (header.type == VOS_MSG_LAUNCHED && !isReply) {
        if (const std::string name = textOf(payload); !name.empty()) {
            enter(header.src, name);
        }
    } else if (header.type == VOS_MSG_GET_EID_BY_APP_NAME && !isReply) {
        constexpr size_t kMostAsking = 4096;
        if (asked_.size() < kMostAsking) {
            asked_[header.src] = textOf(payload);
        }
    } else if (header.type == VOS_MSG_GET_EID_BY_APP_NAME) {
        const auto asked = asked_.extract(header.dst);
        if (!asked.empty() && header.wordData != 0) {
            enter(header.wordData, asked.mapped());
        }
    } else if (header.type == hubproto::kListClients && isReply) {
        hubproto::ClientRow row;
        for (; payload.size() >= sizeof row; payload = payload.subspan(sizeof row)) {
            if (hub_readClientRow(payload.data(), sizeof row, &row) == VOS_RET_OK) {
                enter(row.eid, row.name);
            }
        }
    }
}

std::string Names::of(VosEntityId eid) const {
    const auto found = names_.find(eid);
    if (found != names_.end()) {
        return found->second;
    }
    char name[64] = "";
    vosEid_getAppName(name, sizeof name, eid);
    return name;
}

std::optional<VosEntityId> Names::find(const std::string &nameOrNumber) const {
    if (const auto number = parseNumber(nameOrNumber)) {
        return number;
    }
    const auto named = [&](const auto &entry) { return entry.second == nameOrNumber; };
    if (const auto found = std::ranges::find_if(names_, named); found != names_.end()) {
        return found->first;
    }
    const VosEntityId eid = vosEid_getAppEid(nameOrNumber.c_str());
    return eid != 0 ? std::optional{eid} : std::nullopt;
}

bool Names::isTool(VosEntityId eid) const {
    return std::ranges::find(kToolNames, of(eid)) != kToolNames.end();
}

Feed::Feed(Hub &hub) : hub_{hub} {
    hub_.ask(hubproto::kMonitorAttach);
    hub_.registerFor(VOS_MSG_LAUNCHED);
    refresh();
}

void Feed::refresh() {
    const MessagePtr list = hub_.ask(hubproto::kListClients);
    names_.learn(*list, payloadOf(*list));
}

std::optional<Seen> Feed::read(const VosMsgHeader &msg) {
    ByteView bytes = payloadOf(msg);
    if (msg.type == VOS_MSG_LAUNCHED) {
        names_.learn(msg, bytes);
        if (textOf(bytes).empty()) {
            refresh();  // launched by id: the hub may know a name
        }
    }
    HubCopy copy{};
    Seen seen{};
    if (msg.type != hubproto::kMonitorCopy || hub_readCopy(bytes.data(), msg.dataLength, &copy) != VOS_RET_OK ||
        copy.messageLength < sizeof seen.header) {
        return std::nullopt;
    }
    seen.record = copy.head;
    memcpy(&seen.header, copy.message, sizeof seen.header);
    seen.payload = std::as_bytes(std::span{copy.message, copy.messageLength}).subspan(sizeof seen.header);
    seen.srcName = names_.of(seen.header.src);
    seen.dstName = names_.of(seen.header.dst);
    return seen;
}

nlohmann::ordered_json messageJson(const Seen &seen) {
    const VosMsgHeader &header = seen.header;
    nlohmann::ordered_json line{{"time", msgline::timeText(seen.record.realtimeNs, true)},
                                {"verdict", verdictText(seen.record.verdict)},
                                {"lost", seen.record.lost},
                                {"type", header.type},
                                {"typeName", msgnames::typeText(header.type)},
                                {"src", header.src},
                                {"srcName", seen.srcName},
                                {"dst", header.dst},
                                {"dstName", seen.dstName},
                                {"flags", header.flags},
                                {"flagNames", msgnames::flagsText(header.flags)},
                                {"word", header.wordData},
                                {"length", header.dataLength},
                                {"payload", msgline::hexText(seen.payload, "")}};
    addDescribed(line, header, seen.payload);
    return line;
}

void sayAttached() {
    fprintf(stderr, "vosctl: attached\n");
}

}  // namespace vosctl
