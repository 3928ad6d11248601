// Bytes as hexadecimal text and back.
#include <array>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "vos/codec.h"
#include "vos/text.h"

namespace {

constexpr char digit(uint8_t nibble) {
    return static_cast<char>(nibble + (nibble < 10 ? '0' : 'a' - 10));
}

constexpr uint8_t kNoDigit = 255;
consteval std::array<uint8_t, 256> makeNibbles() {
    std::array<uint8_t, 256> nibbles{};
    nibbles.fill(kNoDigit);
    for (uint8_t value = 0; value < 16; value++) {
        nibbles[static_cast<uint8_t>(digit(value))] = value;
        nibbles[static_cast<uint8_t>(value < 10 ? '0' + value : 'A' - 10 + value)] = value;
    }
    return nibbles;
}
constexpr std::array<uint8_t, 256> kNibbles = makeNibbles();

VosRet parsePair(const char *pair, uint8_t *byte) {
    const uint8_t high = kNibbles[static_cast<uint8_t>(pair[0])];
    const uint8_t low = kNibbles[static_cast<uint8_t>(pair[1])];
    if ((high | low) != kNoDigit) {
        *byte = static_cast<uint8_t>(high << 4 | low);
        return VOS_RET_OK;
    }
    // Contract: a number may look otherwise too: a blank or a sign in front of one digit.
    const char text[] = {pair[0], pair[1], '\0'};
    uint32_t value = 0;
    const VosRet ret = util_strtoul(text, nullptr, 16, &value);
    *byte = static_cast<uint8_t>(value);
    return ret;
}

}  // namespace

VosRet util_binaryBufToHexString(const uint8_t *bin, uint32_t len, char **hex) {
    if (hex == nullptr) {
        VOS_DBG_ERROR("hexStr buffer is NULL");
        return VOS_RET_BAD_ARG;
    }
    if (bin == nullptr) {
        VOS_DBG_ERROR("binaryBuf buffer is NULL");
        return VOS_RET_BAD_ARG;
    }
    auto text = vos::allocZeroed<char>(uint64_t{len} * 2 + 1);
    if (!text) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return VOS_RET_NO_RESOURCE;
    }
    char *digits = text.get();
    for (size_t i = 0; i < len; i++) {
        digits[2 * i] = digit(bin[i] >> 4);
        digits[2 * i + 1] = digit(bin[i] & 0xF);
    }
    *hex = text.release();
    return VOS_RET_OK;
}

VosRet util_hexStringToBinaryBuf(const char *hex, uint8_t **bin, uint32_t *len) {
    if (bin == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *bin = nullptr;
    if (hex == nullptr || len == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const size_t size = strlen(hex);
    if (size % 2 != 0) {
        VOS_DBG_ERROR("hexStr must be an even number of characters");
        return VOS_RET_BAD_ARG;
    }
    vos::MemPtr<uint8_t> bytes{static_cast<uint8_t *>(VOS_MALLOC_FLAGS(size / 2, 0))};
    if (!bytes) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return VOS_RET_NO_RESOURCE;
    }
    for (size_t i = 0; i < size / 2; i++) {
        const VosRet ret = parsePair(hex + 2 * i, &bytes[i]);
        if (ret != VOS_RET_OK) {
            return ret;
        }
    }
    *bin = bytes.release();
    *len = static_cast<uint32_t>(size / 2);
    return VOS_RET_OK;
}
