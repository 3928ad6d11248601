/** @file
 *  Requests that do not wait, and which reply belongs to which. Part of vos/loop.h.
 */
#ifndef VOS_LOOP_CALLS_H
#define VOS_LOOP_CALLS_H

#include "vos/loop/send.h"

/** @name Requests without waiting
 *  A reply belongs to the oldest request of its type to its source; for a procedure, and with VOS_LOOP_BY_WORD, of its
 *  word too. A reply that comes too late is dropped and counted, and is not taken for that of the next request. A
 * request to a peer that comes back is sent to it again.
 *  @{ */

/** Sends a request; @p done is called with its end, never before this returns.
 *
 *  @param match      VOS_LOOP_BY_TYPE, VOS_LOOP_PROCEDURE or VOS_LOOP_BY_WORD
 *  @param timeoutMs  longest wait in milliseconds
 */
static inline void vosLoop_ask(VosLoop *loop, VosLoopCall *call, VosEntityId dst, uint32_t type, unsigned match,
                               uint32_t word, const void *data, uint32_t dataLen, uint32_t timeoutMs,
                               VosLoopDoneFunc done, void *ctx) {
    const bool procedure = match == VOS_LOOP_PROCEDURE;
    const unsigned flags = VOS_MSG_FLAG_REQUEST | (procedure ? VOS_CAST(unsigned, VOS_MSG_FLAG_SRPC) : 0u);
    VosLoopCall **link = &loop->calls;
    memset(call, 0, sizeof *call);
    call->request = vosLoop_build(loop, dst, type, flags, word, data, dataLen);
    call->failed =
        call->request != NULL ? vosMsg_send(loop->handle, call->request) : VOS_CAST(VosRet, VOS_RET_NO_RESOURCE);
    call->dueNs = vosLoop_nowNs() + (call->failed == VOS_RET_OK ? VOS_CAST(uint64_t, timeoutMs) * 1000000u : 0u);
    call->key.type = type;
    call->key.peer = dst;
    call->key.word = word;
    call->key.matchWord = match != VOS_LOOP_BY_TYPE;
    call->key.procedure = procedure;
    call->key.order = loop->nextOrder++;
    call->done = done;
    call->ctx = ctx;
    while (*link != NULL) {
        link = &(*link)->next;
    }
    *link = call;
    vosLoop_arm(loop);
}

/** @cond */
/** Takes a request out; false when it is not under way. */
static inline bool vosLoop_unlinkCall(VosLoop *loop, VosLoopCall *call) {
    for (VosLoopCall **link = &loop->calls; *link != NULL; link = &(*link)->next) {
        if (*link == call) {
            *link = call->next;
            call->next = NULL;
            return true;
        }
    }
    return false;
}
/** A peer that dropped a request altogether would be a reply behind for ever, so a request during which a reply was
 *  taken for a late one leaves no mark. */
static inline void vosLoop_mark(VosLoop *loop, const VosLoopCall *call) {
    size_t oldest = 0;
    if (call->late || call->failed != VOS_RET_OK) {
        return;
    }
    for (size_t i = 1; i < VOS_LOOP_MARKS; i++) {
        oldest = loop->marks[i].untilNs < loop->marks[oldest].untilNs ? i : oldest;
    }
    loop->marks[oldest].key = call->key;
    loop->marks[oldest].untilNs = vosLoop_nowNs() + VOS_LOOP_MARK_NS;
}
static inline void vosLoop_finish(VosLoop *loop, VosLoopCall *call, VosRet ret, const VosMsgHeader *reply) {
    vosLoop_unlinkCall(loop, call);
    VOS_FREE(call->request);
    call->request = NULL;
    call->done(loop, ret, reply, call->ctx);
}
static inline bool vosLoop_fits(const VosLoopKey *key, const VosMsgHeader *reply) {
    const bool flagged = (reply->flags & VOS_MSG_FLAG_SRPC) != 0 || !key->procedure;
    return key->type == reply->type && key->peer == reply->src &&
           (!key->matchWord || (flagged && key->word == reply->wordData));
}
/** A reply without the request's word may still say no: as vosLoop_fail() does, or the hub, which leaves the flag of
 *  procedures in when nobody holds the id. */
static inline bool vosLoop_saysNo(const VosLoopKey *key, const VosMsgHeader *reply) {
    const bool code = reply->wordData >= 9001 && reply->wordData <= 9999 && reply->dataLength == 0;
    const bool no = (reply->flags & VOS_MSG_FLAG_SRPC) == 0 || reply->wordData == VOS_RET_PEER_GONE;
    return code && no && key->type == reply->type && key->peer == reply->src &&
           !(key->matchWord && vosLoop_fits(key, reply));
}
/** Gives a reply to the oldest request it fits, be it one that is over; false without one. */
static inline bool vosLoop_complete(VosLoop *loop, const VosMsgHeader *reply) {
    bool (*const tests[])(const VosLoopKey *, const VosMsgHeader *) = {vosLoop_fits, vosLoop_saysNo};
    const uint64_t now = vosLoop_nowNs();
    for (size_t i = 0; i < 2; i++) {
        VosLoopCall *call = loop->calls;
        size_t late = VOS_LOOP_MARKS;
        while (call != NULL && (call->failed != VOS_RET_OK || !tests[i](&call->key, reply))) {
            call = call->next;
        }
        for (size_t m = 0; m < VOS_LOOP_MARKS; m++) {
            if (loop->marks[m].untilNs > now && tests[i](&loop->marks[m].key, reply) &&
                (late == VOS_LOOP_MARKS || loop->marks[m].key.order < loop->marks[late].key.order)) {
                late = m;
            }
        }
        if (late != VOS_LOOP_MARKS && (call == NULL || loop->marks[late].key.order < call->key.order)) {
            for (call = loop->calls; call != NULL; call = call->next) {
                call->late = call->late || vosLoop_fits(&call->key, reply);
            }
            loop->marks[late].untilNs = 0;
            loop->lateReplies++;
            return true;
        }
        if (call != NULL) {
            const bool no = vosLoop_saysNo(&call->key, reply);
            vosLoop_finish(loop, call, no ? reply->wordData : VOS_CAST(VosRet, VOS_RET_OK), no ? NULL : reply);
            return true;
        }
    }
    return false;
}
static inline void vosLoop_resend(VosLoop *loop, VosEntityId peer) {
    for (size_t i = 0; i < VOS_LOOP_MARKS; i++) {
        loop->marks[i].untilNs = loop->marks[i].key.peer == peer ? 0 : loop->marks[i].untilNs;
    }
    for (VosLoopCall *call = loop->calls; call != NULL; call = call->next) {
        if (call->failed == VOS_RET_OK && call->request->dst == peer) {
            call->failed = ++call->resends > VOS_LOOP_MOST_RESENDS ? VOS_CAST(VosRet, VOS_RET_ERROR)
                                                                   : vosMsg_send(loop->handle, call->request);
            call->dueNs = call->failed == VOS_RET_OK ? call->dueNs : 0;
        }
    }
}
/** @endcond */

/** Withdraws a request: @p done is not called, the reply will be dropped. Nothing happens when it is not under way. */
static inline void vosLoop_cancel(VosLoop *loop, VosLoopCall *call) {
    if (vosLoop_unlinkCall(loop, call)) {
        vosLoop_mark(loop, call);
        VOS_FREE(call->request);
        call->request = NULL;
    }
}

/** @} */

#endif
