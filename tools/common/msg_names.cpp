// Names of message types, return codes and flags: tables and their look-ups.
#include "common/msg_names.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "vos/msg_types.h"
#include "vos/ret.h"

namespace msgnames {

namespace {

#define NAMED(constant)     \
    NamedCode {             \
        constant, #constant \
    }

// Made from interfaces/ by the target vos_interface_files.
constexpr NamedCode kTypes[] = {
#include "common/msg_types.inc"
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
    return found != std::end(kTypes) ? std::string{found->name} : hex(type);
}

std::optional<uint32_t> typeByName(std::string_view name) {
    const auto matches = [name](std::string_view known) {
        return known == name || (known.starts_with(kTypePrefix) && known.substr(kTypePrefix.size()) == name);
    };
    const auto found = std::ranges::find_if(kTypes, matches, &NamedCode::name);
    return found != std::end(kTypes) ? std::optional{found->code} : std::nullopt;
}

std::optional<std::string_view> retName(uint32_t ret) {
    const auto found = std::ranges::find(kReturnCodes, ret, &NamedCode::code);
    return found != kReturnCodes.end() ? std::optional{found->name} : std::nullopt;
}

std::string retText(uint32_t ret) {
    const auto name = retName(ret);
    const std::string number = std::to_string(ret);
    return name ? std::string{*name} + " (" + number + ")" : number;
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
