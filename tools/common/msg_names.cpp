// Names of message types, return codes and flags: tables and their look-ups.
#include "common/msg_names.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "common/hub_protocol.h"
#include "vos/msg_types.h"
#include "vos/ret.h"

namespace msgnames {

namespace {

#define NAMED(constant)     \
    NamedCode {             \
        constant, #constant \
    }

constexpr std::array kTypes{
    NAMED(VOS_MSG_SYSTEM_TASK_FINISH),
    NAMED(VOS_MSG_LAUNCHED),
    NAMED(VOS_MSG_REGISTER_DELAYED_MSG),
    NAMED(VOS_MSG_UNREGISTER_DELAYED_MSG),
    NAMED(VOS_MSG_REGISTER_EVENT_INTEREST),
    NAMED(VOS_MSG_UNREGISTER_EVENT_INTEREST),
    NAMED(VOS_MSG_IS_APP_RUNNING),
    NAMED(VOS_MSG_REQUEUE_WAKEUP),
    NAMED(VOS_MSG_RESEND_REQUEST),
    NAMED(VOS_MSG_HEARTBEAT),
    NAMED(VOS_MSG_STOP_WATCHDOG),
    NAMED(VOS_MSG_REBOOT),
    NAMED(VOS_MSG_SAVE_LOG_TO_FLASH),
    NAMED(VOS_MSG_ADD_ENTITY_INFO),
    NAMED(VOS_MSG_DEL_ENTITY_INFO),
    NAMED(VOS_MSG_GET_EID_BY_APP_NAME),
    NAMED(VOS_MSG_PLUGIN_SET_PARAMETER),
    NAMED(VOS_MSG_GET_PLUGIN_CFG_DIR),
    NamedCode{hubproto::kMonitorAttach, "HUB_MONITOR_ATTACH"},
    NamedCode{hubproto::kMonitorCopy, "HUB_MONITOR_COPY"},
    NamedCode{hubproto::kListClients, "HUB_LIST_CLIENTS"},
    NamedCode{hubproto::kGetCounters, "HUB_GET_COUNTERS"},
    NamedCode{hubproto::kEcho, "ECHO"},
    NamedCode{hubproto::kRemoteCli, "REMOTE_CLI"},
};

constexpr std::array kReturnCodes{
    NAMED(VOS_RET_OK),          NAMED(VOS_RET_SYS_REFUSED), NAMED(VOS_RET_ERROR),        NAMED(VOS_RET_BAD_ARG),
    NAMED(VOS_RET_NO_RESOURCE), NAMED(VOS_RET_BAD_VALUE),   NAMED(VOS_RET_UNKNOWN_NAME), NAMED(VOS_RET_NOTHING_FOUND),
    NAMED(VOS_RET_INTERRUPTED), NAMED(VOS_RET_TIMEOUT),     NAMED(VOS_RET_PEER_GONE),    NAMED(VOS_RET_OPEN_FAILED),
    NAMED(VOS_RET_NOT_IN_LIST), NAMED(VOS_RET_WOULD_BLOCK),
};

constexpr std::array kFlags{
    NamedCode{VOS_MSG_FLAG_EVENT, "event"},    NamedCode{VOS_MSG_FLAG_REQUEST, "request"},
    NamedCode{VOS_MSG_FLAG_RESPONSE, "reply"}, NamedCode{VOS_MSG_FLAG_REQUEUE, "requeue"},
    NamedCode{VOS_MSG_FLAG_KEEP, "keep"},      NamedCode{VOS_MSG_FLAG_SRPC, "srpc"},
};

constexpr std::string_view kTypePrefix = "VOS_MSG_";

std::string hex(uint32_t value) {
    char text[11];
    snprintf(text, sizeof text, "0x%x", value);
    return text;
}

}  // namespace

std::span<const NamedCode> messageTypes() {
    return kTypes;
}

std::string typeText(uint32_t type) {
    const auto found = std::ranges::find(kTypes, type, &NamedCode::code);
    return found != kTypes.end() ? std::string{found->name} : hex(type);
}

std::optional<uint32_t> typeByName(std::string_view name) {
    const auto matches = [name](std::string_view known) {
        return known == name || (known.starts_with(kTypePrefix) && known.substr(kTypePrefix.size()) == name);
    };
    const auto found = std::ranges::find_if(kTypes, matches, &NamedCode::name);
    return found != kTypes.end() ? std::optional{found->code} : std::nullopt;
}

std::string retText(uint32_t ret) {
    const auto found = std::ranges::find(kReturnCodes, ret, &NamedCode::code);
    const std::string number = std::to_string(ret);
    return found != kReturnCodes.end() ? std::string{found->name} + " (" + number + ")" : number;
}

std::string flagsText(uint16_t flags) {
    std::string text;
    uint32_t rest = flags;
    const auto append = [&text](std::string_view name) { text.append(text.empty() ? "" : "|").append(name); };
    for (const NamedCode &flag : kFlags) {
        if ((rest & flag.code) != 0) {
            append(flag.name);
            rest &= ~flag.code;
        }
    }
    if (rest != 0) {
        append(hex(rest));
    }
    return text.empty() ? "-" : text;
}

}  // namespace msgnames
