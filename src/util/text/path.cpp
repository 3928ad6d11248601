// Run-time paths, which begin at the root directory of the device.
#include <cstring>

#include "internal/dbg.h"
#include "vos/text.h"

namespace {

constexpr const char *kRoot = "/";

bool writeWhole(char *buf, uint32_t len, const char *text) {
    const int written = util_snprintf(__func__, __LINE__, buf, len, "%s", text);
    return written >= 0 && static_cast<uint32_t>(written) < len;
}

}  // namespace

VosRet util_getBaseDir(char *buf) {
    if (buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *buf = '\0';
    return VOS_RET_OK;
}

VosRet util_getRunTimeRootDir(char *buf, uint32_t len) {
    if (buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    if (!writeWhole(buf, len, kRoot)) {
        VOS_DBG_ERROR("pathBufLen %d is too small for buf %s", static_cast<int>(len), len == 0 ? "" : buf);
        return VOS_RET_NO_RESOURCE;
    }
    return VOS_RET_OK;
}

VosRet util_getRunTimePath(const char *target, char *buf, uint32_t len) {
    if (target == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const VosRet ret = util_getRunTimeRootDir(buf, len);
    if (ret != VOS_RET_OK) {
        return ret;
    }
    // Below "/" the target is the whole path; a leading slash is the caller's business.
    if (!writeWhole(buf, len, target)) {
        VOS_DBG_ERROR("pathBufLen %d is too small for target %s", static_cast<int>(len), target);
        return VOS_RET_NO_RESOURCE;
    }
    return VOS_RET_OK;
}
