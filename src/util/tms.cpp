// Arithmetic on time stamps and their text formats.
#include "vos/tms.h"

#include <cstdio>
#include <cstring>

#include "internal/own_names.h"

namespace {

constexpr uint32_t kNanosPerSecond = 1000000000;
constexpr uint32_t kNanosPerMilli = 1000000;

UtilTimestamp difference(const UtilTimestamp &newer, const UtilTimestamp &older) {
    UtilTimestamp delta{newer.sec - older.sec, newer.nsec - older.nsec};
    if (older.nsec > newer.nsec) {
        delta.sec--;
        delta.nsec += kNanosPerSecond;
    }
    return delta;
}

}  // namespace

void utilTms_get(UtilTimestamp *tms) {
    oalTms_get(tms);
}

void utilTms_delta(const UtilTimestamp *newTms, const UtilTimestamp *oldTms, UtilTimestamp *deltaTms) {
    if (newTms != nullptr && oldTms != nullptr && deltaTms != nullptr) {
        *deltaTms = difference(*newTms, *oldTms);
    }
}

uint32_t utilTms_deltaInMilliSeconds(const UtilTimestamp *newTms, const UtilTimestamp *oldTms) {
    if (newTms == nullptr || oldTms == nullptr) {
        return 0;
    }
    const UtilTimestamp delta = difference(*newTms, *oldTms);
    const uint64_t ms = uint64_t{delta.sec} * 1000 + delta.nsec / kNanosPerMilli;
    return ms > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(ms);
}

void utilTms_addMilliSeconds(UtilTimestamp *tms, uint32_t ms) {
    if (tms == nullptr) {
        return;
    }
    const uint32_t nsec = tms->nsec + ms % 1000 * kNanosPerMilli;
    // Daemons compare stamps made here with each other: exactly one second of nanoseconds is not carried.
    const uint32_t carry = nsec > kNanosPerSecond ? 1 : 0;
    tms->sec += ms / 1000 + carry;
    tms->nsec = nsec - carry * kNanosPerSecond;
}

VosRet utilTms_getXSIDateTime(uint32_t t, char *buf, uint32_t len) {
    return oalTms_getXSIDateTime(t, buf, len);
}

VosRet utilTms_getDaysHoursMinutesSeconds(uint32_t seconds, char *buf, uint32_t len) {
    if (buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    if (len == 0) {
        return VOS_RET_NO_RESOURCE;
    }
    memset(buf, 0, len);
    // Contract: the last byte of the buffer stays zero, whatever that costs the text.
    const int length = snprintf(buf, len - 1, "%uD %uH %uM %uS", seconds / 86400, seconds % 86400 / 3600,
                                seconds % 3600 / 60, seconds % 60);
    return static_cast<uint32_t>(length) < len ? VOS_RET_OK : VOS_RET_NO_RESOURCE;
}

VOS_OPEN_NAME void koraTms_get(UtilTimestamp *) {}

VOS_OPEN_NAME uint32_t koraTms_deltaInMilliSeconds(const UtilTimestamp *, const UtilTimestamp *) {
    return 0;
}
