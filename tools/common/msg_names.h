// The one table of names for message types, return codes and flags, for the hub's trace and vosctl.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace msgnames {

struct NamedCode {
    uint32_t code;
    std::string_view name;
};

/** Every message type that has a name, in order of code. */
std::span<const NamedCode> messageTypes();

/** "VOS_MSG_LAUNCHED", or "0x1000abcd" for a type without a name. */
std::string typeText(uint32_t type);

/** The type of a name as typeText() prints it; the "VOS_MSG_" in front may be left out. Nothing for an unknown name. */
std::optional<uint32_t> typeByName(std::string_view name);

/** "VOS_RET_TIMEOUT"; nothing for a value that is no return code. */
std::optional<std::string_view> retName(uint32_t ret);

/** "VOS_RET_TIMEOUT (9809)"; the bare number for a value that is no return code. */
std::string retText(uint32_t ret);

/** "request|keep"; "-" without flags. Bits without a name stay a hexadecimal rest. */
std::string flagsText(uint16_t flags);

}  // namespace msgnames
