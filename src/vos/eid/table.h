// The firmware's daemons, in the order in which every look-up goes through them.
#pragma once

#include <array>

#include "vos/eid.h"

namespace vos {

extern const std::array<EntityInfo, 95> kEntityTable;

}  // namespace vos
