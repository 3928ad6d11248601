// Numbers, MAC addresses and PVC designators: what is accepted reads the same after it was written out again.
#include <strings.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vos/text.h"

namespace {

void require(bool holds) {
    if (!holds) {
        abort();
    }
}

void checkNumbers(const char *text, int32_t base) {
    int64_t wide = 1;
    int32_t narrow = 1;
    char *end = nullptr;
    const VosRet ret = util_strtol64(text, &end, base, &wide);
    require(end >= text && end <= text + strlen(text));
    if (ret == VOS_RET_OK) {
        require(*end == '\0');
        int64_t again = 0;
        require(util_strtol64(std::to_string(wide).c_str(), nullptr, 10, &again) == VOS_RET_OK && again == wide);
    } else {
        require(wide == 0);
    }
    require(util_strtol(text, nullptr, base, &narrow) == VOS_RET_OK || narrow == 0);
    uint64_t wideUnsigned = 1;
    uint32_t narrowUnsigned = 1;
    if (util_strtoul64(text, &end, base, &wideUnsigned) == VOS_RET_OK) {
        require(strchr(text, '-') == nullptr);
        uint64_t again = 0;
        require(util_strtoul64(std::to_string(wideUnsigned).c_str(), nullptr, 10, &again) == VOS_RET_OK &&
                again == wideUnsigned);
    }
    require(util_strtoul(text, nullptr, base, &narrowUnsigned) == VOS_RET_OK || narrowUnsigned == 0);
}

void checkMac(const char *text) {
    uint8_t mac[6];
    const bool valid = util_isValidMacAddress(text);
    require((util_macStrToNum(text, mac) == VOS_RET_OK) == valid);
    char again[18];
    if (valid && strchr(text, ':') != nullptr) {
        require(util_macNumToStr(mac, again, sizeof again) == VOS_RET_OK && strcasecmp(text, again) == 0);
    }
}

void checkPvc(const char *text) {
    int32_t pair[2];
    if (util_atmVpiVciStrToNum(text, &pair[0], &pair[1]) == VOS_RET_OK) {
        char again[32];
        int32_t same[2];
        require(util_atmVpiVciNumToStr(pair[0], pair[1], again, sizeof again) == VOS_RET_OK);
        require(util_atmVpiVciStrToNum(again, &same[0], &same[1]) == VOS_RET_OK);
        require(memcmp(pair, same, sizeof pair) == 0);
    }
}

}  // namespace

/** The first byte is the base, the rest the text. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) {
        return 0;
    }
    // On the heap and of exact size, so that the sanitizer sees a read behind the terminator.
    const std::string text{reinterpret_cast<const char *>(data + 1), size - 1};
    char *exact = strdup(text.c_str());
    // The sanitizer's strtol leaves the end undefined for a base that does not exist.
    checkNumbers(exact, data[0] % 37 == 1 ? 0 : data[0] % 37);
    checkMac(exact);
    checkPvc(exact);
    free(exact);
    return 0;
}
