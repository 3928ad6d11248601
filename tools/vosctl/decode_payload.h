// What a payload means.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>

#include "hub_connection.h"

namespace vosctl {

/** The fields of a payload by name; nothing for one whose layout is not known, or that does not have it. */
std::optional<nlohmann::ordered_json> decodePayload(const VosMsgHeader &header, ByteView payload);

}  // namespace vosctl
