// What a payload means.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "hub_connection.h"

namespace vosctl {

/** The fields of a payload by name, and the word where it is one; nothing for one whose layout is not known, or that
 * does not have it. */
std::optional<nlohmann::ordered_json> decodePayload(const VosMsgHeader &header, ByteView payload);

/** --interfaces DIR, where this vosctl reads descriptions. */
void addDescriptions(CLI::App &app);

/** The name of a type, by description where msgnames has none. */
std::string typeName(uint32_t type);

}  // namespace vosctl
