// ATM PVC designators, "PVC:vpi/vci".
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "internal/dbg.h"
#include "vos/text.h"

namespace {

constexpr const char *kPvc = "PVC:";
constexpr const char *kSvc = "SVC:";
constexpr uint32_t kWorkSize = 256;
constexpr int32_t kVpiEnd = 256;
constexpr int32_t kVciMin = 32;
constexpr int32_t kVciMax = 65535;

int32_t leadingNumber(const char *text) {
    // A number beyond 32 bits must not come back as a small one.
    return static_cast<int32_t>(std::clamp<long>(strtol(text, nullptr, 10), INT32_MIN, INT32_MAX));
}

}  // namespace

bool util_isValidVpiVci(int32_t vpi, int32_t vci) {
    // Contract: the test is one-sided: any vpi below the end passes.
    if (vpi < kVpiEnd && vci >= kVciMin && vci <= kVciMax) {
        return true;
    }
    VOS_DBG_ERROR("invalid vpi/vci %d/%d", vpi, vci);
    return false;
}

VosRet util_atmVpiVciStrToNum(const char *str, int32_t *vpi, int32_t *vci) {
    if (vpi == nullptr || vci == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *vpi = -1;
    *vci = -1;
    if (str == nullptr) {
        VOS_DBG_ERROR("vpiVciStr is NULL");
        return VOS_RET_BAD_ARG;
    }
    char work[kWorkSize];
    util_strncpy(__func__, __LINE__, work, str, sizeof work);
    if (strstr(work, kSvc) != nullptr) {
        VOS_DBG_ERROR("DesitinationAddress string %s with %s is not supported yet.", str, kSvc);
        return VOS_RET_BAD_VALUE;
    }
    const char *pair = strstr(work, kPvc);
    if (pair == nullptr) {
        VOS_DBG_ERROR("Invalid DesitinationAddress string %s", str);
        return VOS_RET_BAD_VALUE;
    }
    pair += strlen(kPvc);
    pair += *pair == ' ' ? 1 : 0;
    const char *slash = strchr(pair, '/');
    if (slash == nullptr) {
        VOS_DBG_ERROR("vpiVciStr %s is invalid", str);
        return VOS_RET_BAD_ARG;
    }
    *vpi = leadingNumber(pair);
    *vci = leadingNumber(slash + 1);
    return util_isValidVpiVci(*vpi, *vci) ? VOS_RET_OK : VOS_RET_BAD_VALUE;
}

VosRet util_atmVpiVciNumToStr(int32_t vpi, int32_t vci, char *buf, uint32_t len) {
    if (buf == nullptr) {
        VOS_DBG_ERROR("vpiVciStr is NULL");
        return VOS_RET_BAD_ARG;
    }
    if (!util_isValidVpiVci(vpi, vci)) {
        return VOS_RET_BAD_VALUE;
    }
    util_snprintf(__func__, __LINE__, buf, len, "%s %d/%d", kPvc, vpi, vci);
    return VOS_RET_OK;
}
