// The one way to fill a message's header: library, hub, benchmarks and fuzz targets.
#pragma once

#include "vos/msg_types.h"

namespace vos {

/** What is not named is 0. */
inline VosMsgHeader messageHeader(uint32_t type, VosEntityId src, VosEntityId dst, uint32_t flags,
                                  uint32_t wordData = 0, size_t dataLength = 0) {
    VosMsgHeader header{};
    header.type = type;
    header.src = src;
    header.dst = dst;
    header.flags = static_cast<uint16_t>(flags);
    header.wordData = wordData;
    header.dataLength = static_cast<uint32_t>(dataLength);
    return header;
}

}  // namespace vos
