// Base64, the plain pair.
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "util/codec/base64_groups.h"
#include "vos/codec.h"

namespace {

using vos::base64::decodeGroups;
using vos::base64::kInvalid;
using vos::base64::kPad;
using vos::base64::valueOf;

// Decodes one group that may be padded; gives the number of bytes, 0 for an invalid group. Reads no further than the
// first invalid character, so a group that the text's end cuts short is safe.
uint32_t decodePaddedGroup(const char *group, uint8_t *out) {
    uint8_t values[4];
    for (int i = 0; i < 4; i++) {
        const bool padding = i >= 2 && group[i] == kPad;
        values[i] = padding ? 0 : valueOf(group[i]);
        if (values[i] == kInvalid) {
            return 0;
        }
    }
    out[0] = static_cast<uint8_t>(values[0] << 2 | values[1] >> 4);
    if (group[2] == kPad) {  // whatever the fourth is
        return 1;
    }
    out[1] = static_cast<uint8_t>(values[1] << 4 | values[2] >> 2);
    if (group[3] == kPad) {
        return 2;
    }
    out[2] = static_cast<uint8_t>(values[2] << 6 | values[3]);
    return 3;
}

}  // namespace

char *UTIL_base64Encode(const uint8_t *in, uint32_t len) {
    if (in == nullptr && len > 0) {
        return nullptr;
    }
    auto text = vos::allocZeroed<char>(uint64_t{len} * 4 / 3 + 5);
    if (!text) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return nullptr;
    }
    vos::base64::encode(in, len, text.get());
    return text.release();
}

uint8_t *UTILs_base64Decode(const char *text, uint32_t *len) {
    if (len != nullptr) {
        *len = 0;
    }
    if (text == nullptr || len == nullptr) {
        return nullptr;
    }
    const size_t size = strlen(text);
    auto bytes = vos::allocZeroed<uint8_t>(uint64_t{size} * 3 / 4 + 1);
    if (!bytes) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return nullptr;
    }
    size_t done = 0;
    size_t count = 0;
    // Contract: padding inside the text ends its group only.
    while (done < size) {
        const size_t plain = decodeGroups(text + done, size - done, &bytes[count]);
        done += plain;
        count += plain / 4 * 3;
        if (done == size) {
            break;
        }
        const uint32_t group = decodePaddedGroup(text + done, &bytes[count]);
        if (group == 0) {
            bytes[0] = 0;
            return bytes.release();
        }
        done += 4;
        count += group;
    }
    bytes[count] = 0;
    *len = static_cast<uint32_t>(count);
    return bytes.release();
}
