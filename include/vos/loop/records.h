/** @file
 *  The loop's records: what callers keep and the loop links. Part of vos/loop.h.
 */
#ifndef VOS_LOOP_RECORDS_H
#define VOS_LOOP_RECORDS_H

#include <signal.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <time.h>

#include "vos/cli.h"
#include "vos/msg.h"

typedef struct VosLoop VosLoop;

/** Called with a message, which stays the loop's. */
typedef void (*VosLoopMsgFunc)(VosLoop *loop, const VosMsgHeader *msg, void *ctx);
/** Called when a timer is due. */
typedef void (*VosLoopTimerFunc)(VosLoop *loop, void *ctx);
/** Called with what a descriptor is ready for (EPOLLIN …). */
typedef void (*VosLoopFdFunc)(VosLoop *loop, uint32_t events, void *ctx);
/** Called with the end of a request: VOS_RET_OK and its reply, which stays the loop's; or NULL and the code in a reply
 *  that says no, VOS_RET_TIMEOUT, VOS_RET_PEER_GONE (nobody holds the id, or the hub is gone), VOS_RET_ERROR (asked
 *  again 16 times). The record is the caller's again. */
typedef void (*VosLoopDoneFunc)(VosLoop *loop, VosRet ret, const VosMsgHeader *reply, void *ctx);

/** @name Records
 *  Opaque; zero before the first use.
 *  @{ */
/** A handler of messages. */
typedef struct VosLoopHandler {
    /** @cond */
    struct VosLoopHandler *next;
    uint32_t type, procedure;
    uint16_t kind; /* 0: neither request nor reply, else VOS_MSG_FLAG_REQUEST and, for a procedure, VOS_MSG_FLAG_SRPC */
    VosLoopMsgFunc func;
    UtilCliFunc command;
    void *ctx;
    /** @endcond */
} VosLoopHandler;
/** A timer. */
typedef struct VosLoopTimer {
    /** @cond */
    struct VosLoopTimer *next;
    uint64_t dueNs, intervalNs;
    VosLoopTimerFunc func;
    void *ctx;
    /** @endcond */
} VosLoopTimer;
/** A descriptor that is waited for. */
typedef struct VosLoopFd {
    /** @cond */
    int fd;
    VosLoopFdFunc func;
    void *ctx;
    /** @endcond */
} VosLoopFd;
/** @cond What a reply is compared with. */
typedef struct {
    uint32_t type, peer, word;
    bool matchWord, procedure;
    uint64_t order; /* the older of two requests gets the reply that fits both */
} VosLoopKey;
/** @endcond */
/** A request on its way. */
typedef struct VosLoopCall {
    /** @cond */
    struct VosLoopCall *next;
    VosMsgHeader *request;
    VosLoopKey key;
    uint64_t dueNs;
    VosRet failed; /* could not be sent */
    unsigned resends;
    bool late; /* a reply was taken for that of an earlier request meanwhile */
    VosLoopDoneFunc done;
    void *ctx;
    /** @endcond */
} VosLoopCall;
/** @} */

/** What a reply must have in common with its request besides type and peer. */
enum {
    VOS_LOOP_BY_TYPE = 0,   /**< nothing: the oldest request gets it */
    VOS_LOOP_PROCEDURE = 1, /**< the word is a procedure's number; request and reply carry VOS_MSG_FLAG_SRPC */
    VOS_LOOP_BY_WORD = 2    /**< the word, which the peer repeats, so that its replies may come in any order */
};

/** Times that a request is sent again to a peer that keeps coming back. */
#define VOS_LOOP_MOST_RESENDS 16u
/** Requests that ended without their reply and are remembered, so that it is not taken for that of the next one. */
#define VOS_LOOP_MARKS 32u
/** How long they are remembered. */
#define VOS_LOOP_MARK_NS 60000000000u

/** The loop; what is named here is for callers to read. */
struct VosLoop {
    /** @cond */
    int32_t hubFd;
    int epollFd, signalFd, timerFd;
    VosRet failure;
    int status;
    uint64_t armedNs;
    sigset_t signals, blocked;
    VosLoopHandler *handlers;
    VosLoopTimer *timers;
    VosLoopCall *calls; /* oldest first */
    uint64_t nextOrder;
    const VosMsgHeader *unanswered;
    struct {
        VosLoopKey key;
        uint64_t untilNs; /* 0: free */
    } marks[VOS_LOOP_MARKS];
    /** @endcond */
    VosMsgHandle *handle; /**< as given to vosLoop_init() */
    bool stopped;         /**< vosLoop_stop() was called, or a stop signal came */
    uint64_t lateReplies; /**< replies that nothing was waiting for any more, or ever */
    uint64_t unhandled;   /**< messages without a handler; requests among them were answered VOS_RET_ERROR */
};

/** @cond */
static inline uint64_t vosLoop_nowNs(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return VOS_CAST(uint64_t, now.tv_sec) * 1000000000u + VOS_CAST(uint64_t, now.tv_nsec);
}
static inline bool vosLoop_control(const VosLoop *loop, int operation, int fd, uint32_t events, void *record) {
    struct epoll_event event;
    memset(&event, 0, sizeof event);
    event.events = events;
    event.data.ptr = record;
    return epoll_ctl(loop->epollFd, operation, fd, &event) == 0;
}
/** When the next timer or time-out is due; UINT64_MAX without any. */
static inline uint64_t vosLoop_nextDueNs(const VosLoop *loop) {
    uint64_t due = loop->timers != NULL ? loop->timers->dueNs : UINT64_MAX;
    for (const VosLoopCall *call = loop->calls; call != NULL; call = call->next) {
        due = call->dueNs < due ? call->dueNs : due;
    }
    return due;
}
/** Keeps the descriptor of a foreign loop at what is due next. */
static inline void vosLoop_arm(VosLoop *loop) {
    const uint64_t due = loop->timerFd >= 0 ? vosLoop_nextDueNs(loop) : loop->armedNs;
    if (due != loop->armedNs) {
        struct itimerspec expiry;
        memset(&expiry, 0, sizeof expiry);
        loop->armedNs = due;
        if (due != UINT64_MAX) {
            expiry.it_value.tv_sec = VOS_CAST(time_t, due / 1000000000u);
            expiry.it_value.tv_nsec = VOS_CAST(long, due % 1000000000u);
        }
        timerfd_settime(loop->timerFd, TFD_TIMER_ABSTIME, &expiry, NULL);
    }
}
/** @endcond */

#endif
