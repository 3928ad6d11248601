// The one way to make a message in a block of the memory manager.
#pragma once

#include <cstring>
#include <span>

#include "internal/guards.h"
#include "internal/message_header.h"

namespace vos {

/** A block with the header and `payloadSize` zero bytes behind it; empty when memory is short, which the caller logs.
 */
inline MemPtr<VosMsgHeader> makeMessage(const VosMsgHeader &header, uint64_t payloadSize) {
    auto msg =
        payloadSize > UINT32_MAX ? MemPtr<VosMsgHeader>{} : allocZeroed<VosMsgHeader>(sizeof header + payloadSize);
    if (msg) {
        *msg = header;
        msg->dataLength = static_cast<uint32_t>(payloadSize);
    }
    return msg;
}

/** The same with a copy of `payload`. */
inline MemPtr<VosMsgHeader> makeMessage(const VosMsgHeader &header, std::span<const uint8_t> payload) {
    auto msg = makeMessage(header, uint64_t{payload.size()});
    if (msg && !payload.empty()) {
        memcpy(msg.get() + 1, payload.data(), payload.size());
    }
    return msg;
}

}  // namespace vos
