/** @file
 *  The lock between processes: a System V semaphore with two states, free and held.
 *
 *  Daemons hold it around their work on the shared pool (vos/pool.h). The kernel frees the lock of a process that dies
 *  (SEM_UNDO). Every function may be called from any thread; the holder is the process. The oalVosSem_ functions are
 *  the layer below with the same behaviour.
 */
#ifndef VOS_SEM_H
#define VOS_SEM_H

#include <sys/sem.h>
#include <time.h>

#include "vos/ret.h"

VOS_BEGIN_DECLS

/** Creates or joins the lock of @p key (one semaphore, mode 0666).
 *
 *  @param attachExisting  true: join what another process created, its state stays; false: create where missing and set
 *                         it free, whoever holds it
 *  @param semId           receives the identifier, -1 when it could not be had; after a failed reset that of the set
 *                         removed
 *  @return VOS_RET_OK; VOS_RET_ERROR; VOS_RET_BAD_ARG for a NULL @p semId
 */
VosRet vosSem_init(uint32_t key, bool attachExisting, int32_t *semId);

/** Takes the lock.
 *
 *  A holder that outlasts a waiter's time-out is presumed stuck and loses the lock: the waiter releases it by force and
 *  tries once more, with the full time-out. From then on the kernel's books are off by one: a late unlock or the death
 *  of the stuck holder frees the lock, whoever has it, and the death of the new holder does not. Without a time-out the
 *  wait never ends by itself and signals do not end it.
 *
 *  A timed lock calls semtimedop as the loader resolves it, by the name without a version: the program's, that of a
 *  preloaded library, libc's where libc comes first, or this library's fallback, which does nothing and returns 0, for
 *  platforms whose libc lacks the call. Where the fallback is reached, and in an ordinary program that names -lvos it
 *  is, a timed lock returns VOS_RET_OK at once and holds nothing; the unlock that follows it reports that the lock is
 *  free and waits until somebody takes it, then frees that. Built with VOS_SEMTIMEDOP_FALLBACK=OFF the library has no
 *  fallback and timed locks reach the system call.
 *
 *  @param timeoutMs  milliseconds to wait; NULL waits for ever
 *  @return VOS_RET_OK; VOS_RET_INTERRUPTED when the time ran out in the wake of a signal; VOS_RET_ERROR
 */
VosRet vosSem_lock(uint32_t semId, const uint32_t *timeoutMs);

/** Frees the lock: VOS_RET_OK or VOS_RET_ERROR. Freeing a free lock waits until somebody takes it, then frees that. */
VosRet vosSem_unlock(uint32_t semId);

/** Removes the lock; waiters fail. VOS_RET_OK or VOS_RET_SYS_REFUSED. */
VosRet vosSem_cleanup(uint32_t semId);

VosRet oalVosSem_init(uint32_t key, bool attachExisting, int32_t *semId); /**< see vosSem_init() */
VosRet oalVosSem_lock(uint32_t semId, const uint32_t *timeoutMs);         /**< see vosSem_lock() */
VosRet oalVosSem_unlock(uint32_t semId);                                  /**< see vosSem_unlock() */
VosRet oalVosSem_cleanup(uint32_t semId);                                 /**< see vosSem_cleanup() */

VOS_END_DECLS

#endif
