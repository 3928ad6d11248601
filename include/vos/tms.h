/** @file
 *  Time stamps of the monotonic clock and two text formats of times.
 *
 *  Arithmetic is unsigned and 32 bits wide; nothing allows for a wrap of the seconds. A NULL record or buffer makes a
 *  call without a result do nothing. Safe from every thread on records of its own.
 */
#ifndef VOS_TMS_H
#define VOS_TMS_H

#include "vos/ret.h"

/** A moment or a span. Moments compare by (sec, nsec). */
typedef struct {
    uint32_t sec;  /**< seconds of CLOCK_MONOTONIC */
    uint32_t nsec; /**< nanoseconds, normally below 1,000,000,000 */
} UtilTimestamp;
VOS_STATIC_ASSERT(sizeof(UtilTimestamp) == 8, "two 32-bit words");
VOS_STATIC_ASSERT(offsetof(UtilTimestamp, nsec) == 4, "two 32-bit words");

VOS_BEGIN_DECLS

/** Reads the monotonic clock; 0/0 when it cannot be read. */
void utilTms_get(UtilTimestamp *tms);

/** *@p deltaTms = @p newTms - @p oldTms; any of them may be the same record. An old moment later than the new one wraps
 *  to a huge span. */
void utilTms_delta(const UtilTimestamp *newTms, const UtilTimestamp *oldTms, UtilTimestamp *deltaTms);

/** Whole milliseconds from @p oldTms to @p newTms; 0xFFFFFFFF when they do not fit in 32 bits, 0 for NULL. */
uint32_t utilTms_deltaInMilliSeconds(const UtilTimestamp *newTms, const UtilTimestamp *oldTms);

/** Moves *@p tms by @p ms milliseconds. Only nanoseconds above 1,000,000,000 carry into the seconds; exactly
 *  1,000,000,000 stay as they are. */
void utilTms_addMilliSeconds(UtilTimestamp *tms, uint32_t ms);

/** Writes a time as local date and time with zone offset, "2026-03-01T12:00:00+01:00" (dateTime of XML Schema,
 *  ISO 8601). The zone is read anew from TZ at each call.
 *
 *  @param t    seconds since 1970; 0 means now
 *  @param buf  receives the text; empty on failure
 *  @param len  bytes of @p buf, at least 26
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when text and terminator do not fit; VOS_RET_BAD_ARG for a NULL @p buf
 */
VosRet utilTms_getXSIDateTime(uint32_t t, char *buf, uint32_t len);

/** Writes a span as "1D 2H 3M 4S".
 *
 *  @param seconds  the span
 *  @param buf      receives at most len - 2 characters and a terminator; cleared first
 *  @param len      bytes of @p buf. A text of exactly len - 1 characters loses its last one and still counts as
 *                  written.
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when the text is len characters or longer; VOS_RET_BAD_ARG for a NULL
 *          @p buf
 */
VosRet utilTms_getDaysHoursMinutesSeconds(uint32_t seconds, char *buf, uint32_t len);

/** utilTms_get() of the operating-system layer. */
void oalTms_get(UtilTimestamp *tms);
/** utilTms_getXSIDateTime() of the operating-system layer. */
VosRet oalTms_getXSIDateTime(uint32_t t, char *buf, uint32_t len);

/** @name Kora clock
 *  A second clock of other platforms. There is none here: kept for the daemons that call it.
 *  @{ */

/** Does nothing; @p unused stays as it is. */
void koraTms_get(UtilTimestamp *unused);
/** Always 0. */
uint32_t koraTms_deltaInMilliSeconds(const UtilTimestamp *unusedNew, const UtilTimestamp *unusedOld);

/** @} */

VOS_END_DECLS

#endif
