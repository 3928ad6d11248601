/** @file
 *  Messages that a loop builds and sends. Part of vos/loop.h.
 */
#ifndef VOS_LOOP_SEND_H
#define VOS_LOOP_SEND_H

#include "vos/loop/records.h"
#include "vos/mem.h"

/** @name Sending
 *  @{ */

/** A message with type, source, destination, flags, word and payload, freed by the caller with VOS_FREE; NULL when
 *  memory is short. A procedure's request is filled up to its 8 bytes with zeroes. */
static inline VosMsgHeader *vosLoop_build(const VosLoop *loop, VosEntityId dst, uint32_t type, unsigned flags,
                                          uint32_t word, const void *data, uint32_t dataLen) {
    const unsigned procedure = VOS_MSG_FLAG_SRPC | VOS_MSG_FLAG_REQUEST;
    const uint32_t given = data != NULL ? dataLen : 0;
    const uint32_t length = (flags & procedure) == procedure && given < 8 ? 8 : given;
    VosMsgHeader *msg = NULL;
    if (length <= UINT32_MAX - sizeof(VosMsgHeader)) {
        const uint32_t total = VOS_CAST(uint32_t, sizeof(VosMsgHeader)) + length;
        msg = VOS_CAST(VosMsgHeader *, VOS_MALLOC_FLAGS(total, ALLOC_ZEROIZE));
    }
    if (msg != NULL) {
        msg->type = type;
        msg->src = vosMsg_getHandleEid(loop->handle);
        msg->dst = dst;
        msg->flags = VOS_CAST(uint16_t, flags);
        msg->wordData = word;
        msg->dataLength = length;
        if (given != 0) {
            memcpy(msg + 1, data, given);
        }
    }
    return msg;
}

/** Builds a message and sends it: a code of vosMsg_send(), or VOS_RET_NO_RESOURCE. */
static inline VosRet vosLoop_send(const VosLoop *loop, VosEntityId dst, uint32_t type, unsigned flags, uint32_t word,
                                  const void *data, uint32_t dataLen) {
    VosMsgHeader *msg = vosLoop_build(loop, dst, type, flags, word, data, dataLen);
    const VosRet ret = msg != NULL ? vosMsg_send(loop->handle, msg) : VOS_CAST(VosRet, VOS_RET_NO_RESOURCE);
    VOS_FREE(msg);
    return ret;
}

/** Sends an event to all who registered for its type (UTIL_registerEvent()). */
static inline VosRet vosLoop_publish(const VosLoop *loop, uint32_t type, uint32_t word, const void *data,
                                     uint32_t dataLen) {
    return vosLoop_send(loop, EID_HUBD, type, VOS_MSG_FLAG_EVENT, word, data, dataLen);
}

/** Answers a request. For a procedure the word is its number, whatever @p word. */
static inline VosRet vosLoop_reply(VosLoop *loop, const VosMsgHeader *request, uint32_t word, const void *data,
                                   uint32_t dataLen) {
    const unsigned kept = request->flags & VOS_CAST(unsigned, VOS_MSG_FLAG_KEEP | VOS_MSG_FLAG_SRPC);
    const bool procedure = (request->flags & VOS_MSG_FLAG_SRPC) != 0;
    if (loop->unanswered == request) {
        loop->unanswered = NULL;
    }
    return vosLoop_send(loop, request->src, request->type, VOS_MSG_FLAG_RESPONSE | kept,
                        procedure ? request->wordData : word, data, dataLen);
}

/** Refuses a request: the code as word, no payload. A procedure's requester sees a reply without payload. */
static inline VosRet vosLoop_fail(VosLoop *loop, const VosMsgHeader *request, VosRet ret) {
    return vosLoop_reply(loop, request, ret, NULL, 0);
}

/** Says that a handler's request is answered otherwise, or will be: from a copy (vosMsg_duplicate()). */
static inline void vosLoop_dismiss(VosLoop *loop) {
    loop->unanswered = NULL;
}

/** @} */

#endif
