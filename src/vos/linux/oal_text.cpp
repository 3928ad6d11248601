// Numbers through the platform's conversions.
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "internal/dbg.h"
#include "vos/text.h"

namespace {

// Converts the whole of `str`. The platform's long may be wider than the result; what the result cannot hold is out of
// range as where both are alike.
template <typename Result, typename Wide>
VosRet parseWhole(Wide (*convert)(const char *, char **, int), const char *str, char **endp, int32_t base,
                  Result *result) {
    if (result == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *result = 0;
    if (str == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    char *end = const_cast<char *>(str);
    Wide value = 0;
    errno = 0;
    if (*str != '\0') {  // the empty text is 0; some C libraries call it an error
        value = convert(str, &end, base);
        if (!std::in_range<Result>(value)) {
            errno = ERANGE;
        }
    }
    if (endp != nullptr) {
        *endp = end;
    }
    if (errno != 0 || *end != '\0') {
        return VOS_RET_BAD_ARG;
    }
    *result = static_cast<Result>(value);
    return VOS_RET_OK;
}

// The platform would negate a number behind a minus sign.
template <typename Result, typename Wide>
VosRet parseUnsigned(Wide (*convert)(const char *, char **, int), const char *str, char **endp, int32_t base,
                     Result *result) {
    while (str != nullptr && isspace(static_cast<unsigned char>(*str)) != 0) {
        str++;
    }
    if (str == nullptr || *str != '-') {
        return parseWhole(convert, str, endp, base, result);
    }
    if (result != nullptr) {
        *result = 0;
    }
    if (endp != nullptr) {
        *endp = const_cast<char *>(str);
    }
    return VOS_RET_BAD_ARG;
}

}  // namespace

VosRet oal_strtol(const char *str, char **endp, int32_t base, int32_t *result) {
    return parseWhole(strtol, str, endp, base, result);
}

VosRet oal_strtol64(const char *str, char **endp, int32_t base, int64_t *result) {
    return parseWhole(strtoll, str, endp, base, result);
}

VosRet oal_strtoul(const char *str, char **endp, int32_t base, uint32_t *result) {
    if (str == nullptr) {
        VOS_DBG_ERROR("str is NULL and is invaild");
        return VOS_RET_BAD_VALUE;
    }
    return parseUnsigned(strtoul, str, endp, base, result);
}

VosRet oal_strtoul64(const char *str, char **endp, int32_t base, uint64_t *result) {
    return parseUnsigned(strtoull, str, endp, base, result);
}
