/** @file
 *  The main loop of a daemon in C: messages, timers, descriptors, stop signals, requests that do not wait. Headers
 * only: nothing more to link and nothing more on the wire.
 *
 *  @code
 *  static VosLoop loop;
 *  static VosLoopTimer beat;
 *  static VosLoopHandler add;
 *
 *  static void addNode(VosLoop *l, const VosMsgHeader *request, void *ctx) {
 *      if (request->dataLength != sizeof(MeshNode)) {
 *          vosLoop_fail(l, request, VOS_RET_BAD_ARG);
 *          return;
 *      }
 *      nodes++;
 *      vosLoop_publish(l, MSG_MESH_CHANGED, nodes, request + 1, request->dataLength);
 *      vosLoop_reply(l, request, VOS_RET_OK, &nodes, sizeof nodes);
 *  }
 *
 *  if (vosMsg_initByName("meshd", &handle) != VOS_RET_OK || vosLoop_init(&loop, handle) != VOS_RET_OK) return 1;
 *  vosLoop_every(&loop, &beat, 1000, heartbeat, NULL);
 *  vosLoop_serveProcedure(&loop, &add, MSG_MESH, MESH_ADD, addNode, NULL);
 *  const int status = vosLoop_run(&loop);       // SIGTERM and SIGINT end it; 1 when the hub is gone
 *  vosLoop_cleanup(&loop);
 *  @endcode
 *
 *  Records (timers, handlers, watches, calls) are the caller's memory, which the loop links and never allocates. One
 *  must stay until it is cancelled, removed or, for what comes once, run; and must not be given to the loop a second
 *  time before. Callbacks run one after another in vosLoop_turn(). They may set, cancel and remove anything, send
 *  blocking requests and run further turns; in C++ they must not throw. A loop belongs to one thread, as its handle
 *  does. Requests stand in vos/loop/calls.h, messages in vos/loop/send.h, the records in vos/loop/records.h.
 *
 *  Needs the names of POSIX: -std=gnu11, or -D_GNU_SOURCE with -std=c11.
 */
#ifndef VOS_LOOP_H
#define VOS_LOOP_H

#include <sys/signalfd.h>
#include <unistd.h>

#include "vos/loop/calls.h"
#include "vos/task.h"

/** @name Life
 *  @{ */

/** Ends everything uncalled and closes the loop; the handle stays the caller's, as do the records. */
static inline void vosLoop_cleanup(VosLoop *loop) {
    struct signalfd_siginfo info;
    for (; loop->calls != NULL; loop->calls = loop->calls->next) {
        VOS_FREE(loop->calls->request);
        loop->calls->request = NULL;
    }
    while (loop->signalFd >= 0 && read(loop->signalFd, &info, sizeof info) > 0) {
    }
    pthread_sigmask(SIG_UNBLOCK, &loop->blocked, NULL);
    if (loop->signalFd >= 0) {
        close(loop->signalFd);
    }
    if (loop->timerFd >= 0) {
        close(loop->timerFd);
    }
    if (loop->epollFd >= 0) {
        close(loop->epollFd);
    }
    loop->signalFd = loop->timerFd = loop->epollFd = -1;
}

/** Makes a loop on an open handle. SIGTERM and SIGINT end vosLoop_run() from now on; they are blocked in this thread
 *  until vosLoop_cleanup().
 *
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL; VOS_RET_NO_RESOURCE, the loop needs no cleanup then
 */
static inline VosRet vosLoop_init(VosLoop *loop, VosMsgHandle *handle) {
    sigset_t before;
    if (loop == NULL || handle == NULL) {
        return VOS_RET_BAD_ARG;
    }
    memset(loop, 0, sizeof *loop);
    loop->handle = handle;
    loop->armedNs = UINT64_MAX;
    loop->timerFd = -1;
    vosMsg_getEventHandle(handle, &loop->hubFd);
    sigemptyset(&loop->blocked);
    sigemptyset(&loop->signals);
    sigaddset(&loop->signals, SIGTERM);
    sigaddset(&loop->signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &loop->signals, &before);
    if (sigismember(&before, SIGTERM) == 0) {
        sigaddset(&loop->blocked, SIGTERM);
    }
    if (sigismember(&before, SIGINT) == 0) {
        sigaddset(&loop->blocked, SIGINT);
    }
    loop->signalFd = signalfd(-1, &loop->signals, SFD_NONBLOCK | SFD_CLOEXEC);
    loop->epollFd = epoll_create1(EPOLL_CLOEXEC);
    if (loop->signalFd < 0 || loop->epollFd < 0 ||
        !vosLoop_control(loop, EPOLL_CTL_ADD, loop->hubFd, EPOLLIN, &loop->hubFd) ||
        !vosLoop_control(loop, EPOLL_CTL_ADD, loop->signalFd, EPOLLIN, &loop->signalFd)) {
        vosLoop_cleanup(loop);
        return VOS_RET_NO_RESOURCE;
    }
    return VOS_RET_OK;
}

/** Ends vosLoop_run() after the callback that is running. */
static inline void vosLoop_stop(VosLoop *loop, int status) {
    loop->stopped = true;
    loop->status = status;
}

/** @} */
/** @name Receiving
 *  Of several handlers for the same thing the last one is called.
 *  @{ */

/** @cond */
static inline void vosLoop_addHandler(VosLoop *loop, VosLoopHandler *handler, uint32_t type, unsigned kind,
                                      VosLoopMsgFunc func, void *ctx) {
    handler->type = type;
    handler->kind = VOS_CAST(uint16_t, kind);
    handler->func = func;
    handler->command = NULL;
    handler->ctx = ctx;
    handler->next = loop->handlers;
    loop->handlers = handler;
}
/** @endcond */

/** Messages of a type that are neither requests nor replies. */
static inline void vosLoop_on(VosLoop *loop, VosLoopHandler *handler, uint32_t type, VosLoopMsgFunc func, void *ctx) {
    vosLoop_addHandler(loop, handler, type, 0, func, ctx);
}
/** Requests of a type. One that @p func leaves unanswered is answered VOS_RET_ERROR. */
static inline void vosLoop_serve(VosLoop *loop, VosLoopHandler *handler, uint32_t type, VosLoopMsgFunc func,
                                 void *ctx) {
    vosLoop_addHandler(loop, handler, type, VOS_MSG_FLAG_REQUEST, func, ctx);
}
/** Calls of a numbered procedure; as vosLoop_serve(). */
static inline void vosLoop_serveProcedure(VosLoop *loop, VosLoopHandler *handler, uint32_t type, uint32_t procedure,
                                          VosLoopMsgFunc func, void *ctx) {
    vosLoop_addHandler(loop, handler, type, VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC, func, ctx);
    handler->procedure = procedure;
}
/** Remote commands (vos/cli.h) that arrive under a type. */
static inline void vosLoop_serveCommands(VosLoop *loop, VosLoopHandler *handler, uint32_t type, UtilCliFunc command) {
    vosLoop_addHandler(loop, handler, type, VOS_MSG_FLAG_REQUEST, NULL, NULL);
    handler->command = command;
}
/** Removes a handler. */
static inline void vosLoop_remove(VosLoop *loop, VosLoopHandler *handler) {
    for (VosLoopHandler **link = &loop->handlers; *link != NULL; link = &(*link)->next) {
        if (*link == handler) {
            *link = handler->next;
            return;
        }
    }
}

/** Calls @p func while the descriptor has one of the events. Unwatch it before it is closed.
 *  @return VOS_RET_OK or VOS_RET_BAD_ARG */
static inline VosRet vosLoop_watch(VosLoop *loop, VosLoopFd *watch, int fd, uint32_t events, VosLoopFdFunc func,
                                   void *ctx) {
    watch->fd = fd;
    watch->func = func;
    watch->ctx = ctx;
    return vosLoop_control(loop, EPOLL_CTL_ADD, fd, events, watch) ? VOS_RET_OK : VOS_RET_BAD_ARG;
}
static inline void vosLoop_unwatch(VosLoop *loop, VosLoopFd *watch) {
    vosLoop_control(loop, EPOLL_CTL_DEL, watch->fd, 0, NULL);
}

/** @} */
/** @name Time
 *  @{ */

/** Withdraws a timer; nothing happens when it is not set. */
static inline void vosLoop_cancelTimer(VosLoop *loop, VosLoopTimer *timer) {
    for (VosLoopTimer **link = &loop->timers; *link != NULL; link = &(*link)->next) {
        if (*link == timer) {
            *link = timer->next;
            return;
        }
    }
}
/** @cond */
static inline void vosLoop_linkTimer(VosLoop *loop, VosLoopTimer *timer) {
    VosLoopTimer **link = &loop->timers;
    while (*link != NULL && (*link)->dueNs <= timer->dueNs) {
        link = &(*link)->next;
    }
    timer->next = *link;
    *link = timer;
    vosLoop_arm(loop);
}
static inline void vosLoop_setTimer(VosLoop *loop, VosLoopTimer *timer, uint64_t delayNs, uint64_t intervalNs,
                                    VosLoopTimerFunc func, void *ctx) {
    vosLoop_cancelTimer(loop, timer);
    timer->dueNs = vosLoop_nowNs() + delayNs;
    timer->intervalNs = intervalNs;
    timer->func = func;
    timer->ctx = ctx;
    vosLoop_linkTimer(loop, timer);
}
/** @endcond */
/** Calls @p func once, after @p ms milliseconds. A timer that is set already is set anew. */
static inline void vosLoop_after(VosLoop *loop, VosLoopTimer *timer, uint32_t ms, VosLoopTimerFunc func, void *ctx) {
    vosLoop_setTimer(loop, timer, VOS_CAST(uint64_t, ms) * 1000000u, 0, func, ctx);
}
/** Calls @p func every @p ms milliseconds (1 at least); times that were missed are left out. */
static inline void vosLoop_every(VosLoop *loop, VosLoopTimer *timer, uint32_t ms, VosLoopTimerFunc func, void *ctx) {
    const uint64_t interval = VOS_CAST(uint64_t, ms > 0 ? ms : 1) * 1000000u;
    vosLoop_setTimer(loop, timer, interval, interval, func, ctx);
}

/** @} */
/** @name Turning
 *  @{ */

/** @cond */
static inline void vosLoop_handleRequest(VosLoop *loop, VosMsgHeader *msg, VosLoopHandler *handler) {
    const VosMsgHeader *const before = loop->unanswered;
    if (handler != NULL && handler->command != NULL) {
        UTIL_processRemoteCli(loop->handle, msg, handler->command);
        return;
    }
    loop->unanswered = msg;
    if (handler != NULL) {
        handler->func(loop, msg, handler->ctx);
    }
    if (loop->unanswered == msg) {
        vosLoop_fail(loop, msg, VOS_RET_ERROR);
    }
    loop->unanswered = before;
}
static inline void vosLoop_handle(VosLoop *loop, VosMsgHeader *msg) {
    const unsigned kind = msg->flags & VOS_CAST(unsigned, VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_SRPC);
    const bool request = (kind & VOS_MSG_FLAG_REQUEST) != 0;
    VosLoopHandler *handler = loop->handlers;
    if ((msg->flags & VOS_MSG_FLAG_RESPONSE) != 0) {
        loop->lateReplies += vosLoop_complete(loop, msg) ? 0u : 1u;
        return;
    }
    if (msg->type == VOS_MSG_REQUEUE_WAKEUP) {
        return;
    }
    if (msg->type == VOS_MSG_RESEND_REQUEST && !request) {
        vosLoop_resend(loop, msg->src);
        return;
    }
    if (msg->type == VOS_MSG_SYSTEM_TASK_FINISH && !request && UTIL_taskFinish(msg) == VOS_RET_OK) {
        return;
    }
    if (!request && (msg->flags & VOS_MSG_FLAG_EVENT) == 0 && vosLoop_complete(loop, msg)) {
        return;
    }
    while (handler != NULL && (handler->type != msg->type || handler->kind != (request ? kind : 0) ||
                               ((handler->kind & VOS_MSG_FLAG_SRPC) != 0 && handler->procedure != msg->wordData))) {
        handler = handler->next;
    }
    loop->unhandled += handler == NULL ? 1u : 0u;
    if (request) {
        vosLoop_handleRequest(loop, msg, handler);
    } else if (handler != NULL) {
        handler->func(loop, msg, handler->ctx);
    }
}
static inline void vosLoop_receive(VosLoop *loop) {
    VosMsgHeader *msg = NULL;
    const VosRet ret = vosMsg_receiveWithTimeout(loop->handle, &msg, 0);
    if (ret == VOS_RET_OK) {
        vosLoop_handle(loop, msg);
        VOS_FREE(msg);
    } else if (ret != VOS_RET_TIMEOUT && ret != VOS_RET_NO_RESOURCE) {
        loop->failure = VOS_RET_PEER_GONE;
        for (VosLoopCall *call = loop->calls; call != NULL; call = call->next) {
            call->failed = VOS_RET_PEER_GONE;
            call->dueNs = 0;
        }
    }
}
static inline void vosLoop_runDue(VosLoop *loop) {
    const uint64_t now = loop->timers != NULL || loop->calls != NULL ? vosLoop_nowNs() : 0;
    VosLoopTimer *timer;
    VosLoopCall *call;
    while ((timer = loop->timers) != NULL && timer->dueNs <= now) {
        loop->timers = timer->next;
        if (timer->intervalNs != 0) {
            timer->dueNs += timer->intervalNs;
            timer->dueNs = timer->dueNs > now ? timer->dueNs : now + timer->intervalNs;
            vosLoop_linkTimer(loop, timer);
        }
        timer->func(loop, timer->ctx);
    }
    for (call = loop->calls; call != NULL;) {
        if (call->dueNs > now) {
            call = call->next;
            continue;
        }
        vosLoop_mark(loop, call);
        vosLoop_finish(loop, call, call->failed != VOS_RET_OK ? call->failed : VOS_CAST(VosRet, VOS_RET_TIMEOUT), NULL);
        call = loop->calls; /* the callback may have changed the list */
    }
}
static inline int vosLoop_waitMs(const VosLoop *loop, uint32_t longestMs) {
    const uint64_t due = vosLoop_nextDueNs(loop);
    const uint64_t now = due != UINT64_MAX ? vosLoop_nowNs() : 0;
    uint64_t ms = longestMs;
    if (due == UINT64_MAX) {
        return longestMs == UINT32_MAX ? -1 : VOS_CAST(int, ms < INT32_MAX ? ms : INT32_MAX);
    }
    if (due <= now || (due - now + 999999u) / 1000000u < ms) { /* rounded up, or the last fraction would spin */
        ms = due <= now ? 0 : (due - now + 999999u) / 1000000u;
    }
    return VOS_CAST(int, ms < INT32_MAX ? ms : INT32_MAX);
}
/** @endcond */

/** Waits for something to do, @p longestMs milliseconds at most (UINT32_MAX: without limit), and does it.
 *  @return VOS_RET_OK, or the code of a hub that is gone */
static inline VosRet vosLoop_turn(VosLoop *loop, uint32_t longestMs) {
    struct epoll_event event;
    VosMsgHeader *left = NULL;
    uint64_t expirations;
    if (loop->failure != VOS_RET_OK) {
        return loop->failure;
    }
    vosMsg_receivePutBack(loop->handle, &left); /* what a blocking request left behind comes first */
    if (left != NULL) {
        vosLoop_handle(loop, left);
        VOS_FREE(left);
    }
    /* One event at a time: a callback may remove the record of another one. */
    if (epoll_wait(loop->epollFd, &event, 1, left != NULL ? 0 : vosLoop_waitMs(loop, longestMs)) == 1) {
        if (event.data.ptr == &loop->hubFd) {
            vosLoop_receive(loop);
        } else if (event.data.ptr == &loop->signalFd) {
            struct signalfd_siginfo info;
            if (read(loop->signalFd, &info, sizeof info) > 0) {
                vosLoop_stop(loop, 0);
            }
        } else if (event.data.ptr == &loop->timerFd) {
            loop->armedNs = read(loop->timerFd, &expirations, sizeof expirations) > 0 ? UINT64_MAX : loop->armedNs;
        } else {
            VosLoopFd *const watch = VOS_CAST(VosLoopFd *, event.data.ptr);
            watch->func(loop, event.events, watch->ctx);
        }
    }
    vosLoop_runDue(loop);
    vosLoop_arm(loop);
    return loop->failure;
}

/** Turns until vosLoop_stop(): its status. 1 when the hub is gone: the supervisor starts the daemon again. */
static inline int vosLoop_run(VosLoop *loop) {
    loop->stopped = false;
    while (!loop->stopped) {
        if (vosLoop_turn(loop, UINT32_MAX) != VOS_RET_OK) {
            return 1;
        }
    }
    return loop->status;
}

/** A descriptor for another loop around this one: it becomes readable when there is something to do; then, and once at
 *  the beginning, call vosLoop_turn(loop, 0). -1 without resources. */
static inline int vosLoop_descriptor(VosLoop *loop) {
    if (loop->timerFd < 0) {
        loop->timerFd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        if (loop->timerFd < 0 || !vosLoop_control(loop, EPOLL_CTL_ADD, loop->timerFd, EPOLLIN, &loop->timerFd)) {
            return -1;
        }
        vosLoop_arm(loop);
    }
    return loop->epollFd;
}

/** @} */

#endif
