// Clock and local time of the platform.
#include <cstring>
#include <ctime>

#include "internal/dbg.h"
#include "vos/tms.h"

namespace {

// Text of `t` with the zone offset as +hhmm; 0 when it does not fit.
size_t formatLocalTime(time_t t, char *buf, size_t len) {
    tzset();
    tm local;
    return localtime_r(&t, &local) == nullptr ? 0 : strftime(buf, len, "%Y-%m-%dT%H:%M:%S%z", &local);
}

}  // namespace

void oalTms_get(UtilTimestamp *tms) {
    if (tms == nullptr) {
        return;
    }
    timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        *tms = UtilTimestamp{};
        VOS_DBG_ERROR("clock_gettime failed, set timestamp to 0");
        return;
    }
    *tms = UtilTimestamp{static_cast<uint32_t>(now.tv_sec), static_cast<uint32_t>(now.tv_nsec)};
}

VosRet oalTms_getXSIDateTime(uint32_t t, char *buf, uint32_t len) {
    if (buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    memset(buf, 0, len);
    const size_t length = formatLocalTime(t == 0 ? time(nullptr) : static_cast<time_t>(t), buf, len);
    if (length == 0 || length + 2 > len) {
        memset(buf, 0, len);
        return VOS_RET_NO_RESOURCE;
    }
    char *minutes = buf + length - 2;
    memmove(minutes + 1, minutes, 2);
    minutes[0] = ':';
    minutes[3] = '\0';
    return VOS_RET_OK;
}
