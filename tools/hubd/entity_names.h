// The firmware's own entities: which id belongs to which name.
#pragma once

#include <optional>
#include <string_view>

#include "vos/msg_types.h"

namespace hubd {

std::optional<VosEntityId> tableIdOf(std::string_view name);
/** Empty for an id that is not in the table. */
std::string_view tableNameOf(VosEntityId eid);

}  // namespace hubd
