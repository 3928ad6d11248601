/** @file
 *  Dispatch of numbered procedures.
 *
 *  A request with VOS_MSG_FLAG_SRPC names a procedure in its wordData and carries at least 8 payload bytes. A daemon
 *  registers up to five tables of handlers at start-up, before its message loop runs; nothing locks.
 *
 *  The dispatcher never answers by itself, its handlers do. A reply must carry VOS_MSG_FLAG_SRPC and the request's
 *  wordData, else the requester drops it; vosMsg_sendReply() sets neither.
 */
#ifndef VOS_SRPC_H
#define VOS_SRPC_H

#include "vos/msg.h"

/** Tables that a process can register. */
#define SRPC_MAX_TASK_PARAMS 5

/** One procedure. The message stays the dispatcher's caller's. Must not throw. */
typedef VosRet (*SrpcHandler)(VosMsgHandle *handle, VosMsgHeader *msg);

/** A table of procedures, owned by the daemon and kept for the life of the process. */
typedef struct {
    uint16_t count;        /**< slots in handlers */
    SrpcHandler *handlers; /**< slot i serves id baseId + i; NULL slots are unsupported ids; slot 0 is never used */
    uint32_t baseId;       /**< id of slot 0 */
} SrpcTaskParams;
VOS_STATIC_ASSERT(sizeof(SrpcTaskParams) == 24, "daemons lay out their tables");
VOS_STATIC_ASSERT(offsetof(SrpcTaskParams, handlers) == 8, "daemons lay out their tables");
VOS_STATIC_ASSERT(offsetof(SrpcTaskParams, baseId) == 16, "daemons lay out their tables");

VOS_BEGIN_DECLS

/** Registers a table; there is no way to remove one.
 *
 *  @param ignored  not used
 *  @param table    kept, not copied; NULL takes a place too and is skipped at dispatch
 *  @return VOS_RET_OK; VOS_RET_ERROR when five tables are registered
 */
VosRet SRPC_setTaskParams(void *ignored, SrpcTaskParams *table);

/** Calls the handler of a received request.
 *
 *  The first table, in order of registration, whose ids baseId + 1 to baseId + count - 1 hold the request's wordData
 *  decides; later tables are not looked at even when its slot is NULL. Ids are compared as signed 32-bit differences.
 *
 *  @param msg  request with at least 8 payload bytes; stays the caller's
 *  @return the handler's result; VOS_RET_BAD_ARG for NULL and for a shorter payload; VOS_RET_ERROR when no handler
 *          serves the id
 */
VosRet SRPC_msgProcess(VosMsgHandle *msgHandle, VosMsgHeader *msg);

VOS_END_DECLS

#endif
