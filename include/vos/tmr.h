/** @file
 *  Timer list: one-shot callbacks that a daemon's own loop runs when they are due.
 *
 *  The pair (func, ctxData) identifies an event; a list holds each pair at most once. Events are ordered by the time at
 *  which they are due, events of the same time in the order in which they were set. The list owns its events.
 *
 *  A list belongs to one thread; callbacks run in the thread that calls utilTmr_executeExpiredEvents() and must not
 *  throw. A callback may set, replace, cancel and flush events of its own list, also the ones that are about to run,
 *  and may run expired events itself or clean up the list.
 *
 *  A NULL handle, callback or output pointer gives VOS_RET_BAD_ARG, 0 or false by the type of the result; calls without
 *  a result do nothing.
 */
#ifndef VOS_TMR_H
#define VOS_TMR_H

#include "vos/msg.h"
#include "vos/tms.h"

/** Bytes of an event's name with its terminator. */
#define UTIL_TMR_NAME_LEN 32

/** Callback of an event; receives the event's ctxData. */
typedef void (*UtilTmrFunc)(void *ctxData);

/** One event; a debugger's view, not for callers to write. */
typedef struct UtilTmrEvent {
    struct UtilTmrEvent *next;    /**< next later event; NULL at the end */
    UtilTimestamp expireTms;      /**< when it is due */
    UtilTmrFunc func;             /**< callback */
    void *ctxData;                /**< its argument */
    char name[UTIL_TMR_NAME_LEN]; /**< for diagnostics; may be empty */
} UtilTmrEvent;
VOS_STATIC_ASSERT(sizeof(UtilTmrEvent) == 64, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(UtilTmrEvent, next) == 0, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(UtilTmrEvent, expireTms) == 8, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(UtilTmrEvent, func) == 16, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(UtilTmrEvent, ctxData) == 24, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(UtilTmrEvent, name) == 32, "layout is shared with debugging tools");

/** What a timer handle points to; a debugger's view, not for callers to write. */
typedef struct {
    UtilTmrEvent *events; /**< the soonest event, in the place of an event's next link */
    uint32_t numEvents;   /**< length of the list */
} UtilTmrHandle;
VOS_STATIC_ASSERT(sizeof(UtilTmrHandle) == 16, "layout is shared with debugging tools");
VOS_STATIC_ASSERT(offsetof(UtilTmrHandle, events) == offsetof(UtilTmrEvent, next), "the handle begins as an event");
VOS_STATIC_ASSERT(offsetof(UtilTmrHandle, numEvents) == 8, "layout is shared with debugging tools");

VOS_BEGIN_DECLS

/** Makes an empty list.
 *
 *  @param tmrHandle  receives the handle, released with utilTmr_cleanup(); untouched on failure
 *  @return VOS_RET_OK or VOS_RET_NO_RESOURCE
 */
VosRet utilTmr_init(void **tmrHandle);

/** Frees every event and the list and sets *@p tmrHandle to NULL. A callback of the list may do so too: no other runs
 *  then. */
void utilTmr_cleanup(void **tmrHandle);

/** Frees every event without running it. */
void utilTmr_flush(void *tmrHandle);

/** Adds an event.
 *
 *  @param ms    milliseconds from now until it is due
 *  @param name  for diagnostics, at most 31 characters, copied; may be NULL
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG when the list holds (func, ctxData) already or the name is too long;
 *          VOS_RET_NO_RESOURCE
 */
VosRet utilTmr_set(void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t ms, const char *name);

/** Frees the event (func, ctxData) without running it; nothing happens when there is none. */
void utilTmr_cancel(void *tmrHandle, UtilTmrFunc func, void *ctxData);

/** utilTmr_set() that moves an event forward but never back: when (func, ctxData) is set already and due no later than
 *  @p ms milliseconds from now, it stays and the result is VOS_RET_OK.
 *
 *  Only events with a NULL @p ctxData can be moved; for another one that is due later the call changes nothing and
 *  returns VOS_RET_BAD_ARG. In making room for the new event it cancels (func, NULL) even then.
 */
VosRet utilTmr_replaceIfSooner(void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t ms, const char *name);

/** Whole milliseconds until the soonest event is due, cut, 0 when less than one is left: one more is the time-out for
 *  the caller's poll, which would spin through the last fraction otherwise.
 *
 *  @return VOS_RET_OK; VOS_RET_NOTHING_FOUND for an empty list, *@p ms is 0xFFFFFFFF then
 */
VosRet utilTmr_getTimeToNextEvent(const void *tmrHandle, uint32_t *ms);

/** Milliseconds until (func, ctxData) is due; 0 when it is due already and also when it is not in the list.
 *
 *  @return VOS_RET_OK
 */
VosRet utilTmr_getTimeRemaining(const void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t *ms);

/** Length of the list. */
uint32_t utilTmr_getNumberOfEvents(const void *tmrHandle);

/** Whether (func, ctxData) is in the list. */
bool utilTmr_isEventPresent(const void *tmrHandle, UtilTmrFunc func, void *ctxData);

/** Runs and frees every event that was due before the call, soonest first. An event that a callback sets with a delay
 *  of 0 waits for the next call. */
void utilTmr_executeExpiredEvents(void *tmrHandle);

/** Walks the list for a debugger to stop in; writes nothing. */
void utilTmr_dumpEvents(const void *tmrHandle);

/** @name Delayed messages
 *  Timers for daemons that wait for messages only: the hub is told of the delay and sends a message when it has passed
 *  (the development hub an event of type VOS_MSG_REGISTER_DELAYED_MSG with the request's wordData), upon which the
 *  daemon calls utilMsgTmr_executeExpiredEvents(). The request's wordData is the low 32 bits of func | ctxData.
 *  @{ */

/** utilTmr_set(), then asks the hub for a message after @p ms milliseconds and waits for its answer.
 *
 *  @return the codes of utilTmr_set(); else the result of the request (UTIL_sendRequestToHubd()), the event stays set
 *          whatever it is
 */
VosRet utilMsgTmr_set(VosMsgHandle *msgHandle, void *tmrHandle, UtilTmrFunc func, void *ctxData, uint32_t ms,
                      const char *name);

/** utilTmr_cancel(), then withdraws the request at the hub. Without a message handle only the first. */
void utilMsgTmr_cancel(VosMsgHandle *msgHandle, void *tmrHandle, UtilTmrFunc func, void *ctxData);

/** utilTmr_isEventPresent(). */
bool utilMsgTmr_isEventPresent(const void *tmrHandle, UtilTmrFunc func, void *ctxData);

/** utilTmr_executeExpiredEvents(). */
void utilMsgTmr_executeExpiredEvents(void *tmrHandle);

/** @} */

VOS_END_DECLS

#endif
