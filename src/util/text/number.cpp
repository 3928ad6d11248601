// Numbers: the public names.
#include "vos/text.h"

VosRet util_strtol(const char *str, char **endp, int32_t base, int32_t *result) {
    return oal_strtol(str, endp, base, result);
}

VosRet util_strtol64(const char *str, char **endp, int32_t base, int64_t *result) {
    return oal_strtol64(str, endp, base, result);
}

VosRet util_strtoul(const char *str, char **endp, int32_t base, uint32_t *result) {
    return oal_strtoul(str, endp, base, result);
}

VosRet util_strtoul64(const char *str, char **endp, int32_t base, uint64_t *result) {
    return oal_strtoul64(str, endp, base, result);
}

bool util_isValidPortNumber(const char *s) {
    uint32_t port = 0;
    return util_strtoul(s, nullptr, 10, &port) == VOS_RET_OK && port < 65536;
}
