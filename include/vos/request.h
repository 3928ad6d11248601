/** @file
 *  Messages to the hub and to well-known daemons in one call.
 *
 *  Every call builds its message from its arguments, sends it on the handle and frees it. A message carries a payload
 *  when both @p data and @p dataLen are given; a NULL @p data or a @p dataLen of 0 sends a header alone. Payload bytes
 *  are copied; they stay the caller's.
 *
 *  Unless said otherwise a call returns VOS_RET_OK, VOS_RET_NO_RESOURCE when the message cannot be allocated (32 bytes
 *  and the payload must fit in 32 bits), VOS_RET_BAD_ARG for a NULL handle, or a code of vosMsg_send(). A handle
 *  belongs to one thread at a time; nothing else is shared.
 */
#ifndef VOS_REQUEST_H
#define VOS_REQUEST_H

#include "vos/img.h"
#include "vos/msg.h"
#include "vos/tms.h"

/** Bytes of the entity description that UTIL_addEntityInfo() passes on. */
#define UTIL_ENTITY_INFO_SIZE 444

VOS_BEGIN_DECLS

/** @name Builders
 *  @{ */

/** Sends a request and waits up to five minutes for its reply.
 *
 *  @return the reply's wordData, the peer's result; else a code of vosMsg_sendAndGetReplyWithTimeout(). The two cannot
 *          be told apart.
 */
VosRet UTIL_sendRequest(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                        uint32_t dataLen);

/** Sends a request, waits up to 15 seconds for its reply and copies the reply's payload. Mind the order: the reply
 *  buffer stands before the length of the request's data.
 *
 *  @param replyBuf     receives the payload, as many bytes as the reply has; written only with VOS_RET_OK. NULL counts
 *                      as a buffer of no bytes.
 *  @param dataLen      bytes of @p data
 *  @param replyBufLen  bytes of @p replyBuf
 *  @return VOS_RET_OK whatever the reply's wordData is; VOS_RET_ERROR when the payload is larger than the buffer
 *          (request and reply stay allocated then) and when no reply is left after the request had to be sent again;
 *          a code of vosMsg_sendAndGetReplyBufWithTimeout()
 */
VosRet UTIL_sendRequestAndGetReplyBuf(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData,
                                      const uint8_t *data, uint8_t *replyBuf, uint32_t dataLen, uint32_t replyBufLen);

/** Sends a message without waiting.
 *
 *  @param isEvent  only its lowest bit counts: set marks the message with VOS_MSG_FLAG_EVENT, clear leaves it without
 *                  any flag
 */
VosRet UTIL_sendEventMsg(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData,
                         const uint8_t *data, uint32_t dataLen, uint8_t isEvent);

/** @} */
/** @name To any entity, the hub and guardd
 *  @{ */

/** UTIL_sendEventMsg() without the event flag. */
VosRet UTIL_sendMsg(VosMsgHandle *handle, uint32_t dstEid, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                    uint32_t dataLen);
/** UTIL_sendRequest() to the hub. */
VosRet UTIL_sendRequestToHubd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                              uint32_t dataLen);
/** Event to the hub. */
VosRet UTIL_sendEventToHubd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                            uint32_t dataLen);
/** UTIL_sendRequest() to guardd. */
VosRet UTIL_sendRequestToGuardd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                                uint32_t dataLen);
/** Event to guardd. */
VosRet UTIL_sendEventToGuardd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                              uint32_t dataLen);

/** @} */
/** @name Events that are called requests
 *  These three send an event and do not wait, whatever their names say.
 *  @{ */

/** Event to entity 42048. */
VosRet UTIL_sendRequestToGponproxy(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                                   uint32_t dataLen);
/** Event to entity 15. */
VosRet UTIL_sendRequestToEponapp(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                                 uint32_t dataLen);
/** Event to entity 4. */
VosRet UTIL_sendRequestToSnmpd(VosMsgHandle *handle, uint32_t msgType, uint32_t wordData, const uint8_t *data,
                               uint32_t dataLen);

/** @} */
/** @name What every daemon asks of the hub
 *  @{ */

/** Tells the hub that this process is alive (VOS_MSG_HEARTBEAT); does not wait. */
VosRet UTIL_sendHeartbeat(VosMsgHandle *handle);
/** Asks the hub to stop the watchdog (VOS_MSG_STOP_WATCHDOG); does not wait. */
VosRet UTIL_stopWatchdog(VosMsgHandle *handle);
/** Asks the hub for copies of an event; @p wordData and @p data say of which, as the hub understands them: the
 *  development hub takes @p wordData for the type of messages that are sent to it as events.
 *  @return as UTIL_sendRequest() */
VosRet UTIL_registerEvent(VosMsgHandle *handle, uint32_t wordData, const uint8_t *data, uint32_t dataLen);
/** Withdraws UTIL_registerEvent().
 *  @return as UTIL_sendRequest() */
VosRet UTIL_unregisterEvent(VosMsgHandle *handle, uint32_t wordData, const uint8_t *data, uint32_t dataLen);
/** Asks the hub to restart the gateway.
 *  @return as UTIL_sendRequest() */
VosRet UTIL_reboot(VosMsgHandle *handle);

/** Adds an entity to the hub's table. Mind the order of the arguments.
 *
 *  @param info  UTIL_ENTITY_INFO_SIZE bytes that the hub understands; not looked into
 *  @return as UTIL_sendRequest(); VOS_RET_BAD_ARG for a NULL @p info, nothing is sent then
 */
VosRet UTIL_addEntityInfo(const void *info, VosMsgHandle *handle);
/** Removes an entity from the hub's table, by name. Mind the order of the arguments.
 *  @return as UTIL_sendRequest(); VOS_RET_BAD_ARG for a NULL @p name, nothing is sent then */
VosRet UTIL_delEntityInfo(const char *name, VosMsgHandle *handle);
/** Asks the hub for the entity id of a name, whether it runs or not (vosImg_isAppRunning()). Mind the order of the
 *  arguments.
 *
 *  @return the entity id, 0 for an unknown name. A failure comes through the same value and reads like an id: a code of
 *  UTIL_sendRequest(), and VOS_RET_BAD_ARG for a NULL @p name (nothing is sent then).
 */
VosRet UTIL_getEidByAppName(const char *name, VosMsgHandle *handle);
/** Asks the log-saving daemon (entity 30) to write the log to flash. Waits until the hub has told whether it runs, not
 *  for the work: the reply comes later as a message.
 *  @return VOS_RET_OK, also when that daemon does not run; a code of vosMsg_send() */
VosRet util_saveLogToFlash(VosMsgHandle *handle);

/** @} */

VOS_END_DECLS

#endif
