// MAC addresses as text.
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "vos/text.h"

namespace {

constexpr size_t kMacBytes = 6;
constexpr uint32_t kMacTextSize = 18;
constexpr int kGroup = 3;  // two digits and a separator

}  // namespace

bool util_isValidMacAddress(const char *s) {
    if (s == nullptr || strnlen(s, kMacTextSize) != kMacTextSize - 1) {
        return false;
    }
    const char separator = strchr(s, ':') != nullptr ? ':' : '-';
    for (int i = 0; s[i] != '\0'; i++) {
        const bool fits =
            i % kGroup == kGroup - 1 ? s[i] == separator : isxdigit(static_cast<unsigned char>(s[i])) != 0;
        if (!fits) {
            return false;
        }
    }
    return true;
}

VosRet util_macStrToNum(const char *str, uint8_t *mac) {
    if (str == nullptr || mac == nullptr) {
        VOS_DBG_ERROR("Invalid macNum/macStr %p/%p", static_cast<void *>(mac), static_cast<const void *>(str));
        return VOS_RET_BAD_ARG;
    }
    if (!util_isValidMacAddress(str)) {
        return VOS_RET_BAD_VALUE;
    }
    const vos::MemPtr<char> work{static_cast<char *>(VOS_MALLOC_FLAGS(kMacTextSize, ALLOC_ZEROIZE))};
    if (!work) {
        VOS_DBG_ERROR("alloc of %d bytes failed", static_cast<int>(kMacTextSize));
        return VOS_RET_NO_RESOURCE;
    }
    memcpy(work.get(), str, kMacTextSize);
    // Contract: only ':' separates here: a '-' ends the first number and the other five are 0.
    char *rest = work.get();
    for (size_t i = 0; i < kMacBytes; i++) {
        const char *group = strsep(&rest, ":");
        mac[i] = group == nullptr ? uint8_t{0} : static_cast<uint8_t>(strtoul(group, nullptr, 16));
    }
    return VOS_RET_OK;
}

VosRet util_macNumToStr(const uint8_t *mac, char *buf, uint32_t len) {
    if (mac == nullptr || buf == nullptr) {
        VOS_DBG_ERROR("Invalid macNum/macStr %p/%p", static_cast<const void *>(mac), static_cast<void *>(buf));
        return VOS_RET_BAD_ARG;
    }
    util_snprintf(__func__, __LINE__, buf, len, "%2.2x:%2.2x:%2.2x:%2.2x:%2.2x:%2.2x", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
    return VOS_RET_OK;
}

VosRet util_increaseMacValue(uint8_t *mac, uint32_t n) {
    if (mac == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const uint32_t low = static_cast<uint32_t>(mac[3]) << 16 | static_cast<uint32_t>(mac[4]) << 8 | mac[5];
    const uint32_t sum = low + n;  // the carry out of byte 3 is dropped
    mac[3] = static_cast<uint8_t>(sum >> 16);
    mac[4] = static_cast<uint8_t>(sum >> 8);
    mac[5] = static_cast<uint8_t>(sum);
    return VOS_RET_OK;
}
