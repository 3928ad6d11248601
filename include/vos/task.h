/** @file
 *  Background tasks: a function that runs in a thread of its own, and one that runs in the main loop when it is done.
 *
 *  The thread hands over to the main loop by a message: VOS_MSG_SYSTEM_TASK_FINISH, an event of 40 bytes from the
 *  process to itself through the hub. Its payload is the task's argument, its wordData stands for the completion
 *  function: the function's address where code lies below 4 GiB, else a number that the library gives to the function,
 *  the same at every use and valid for the life of the process. It means nothing in another process.
 *
 *  No locks are taken. The message goes out with a single write, so the thread may use the handle while the main loop
 *  works with it; the handle must stay open until the completion has arrived.
 */
#ifndef VOS_TASK_H
#define VOS_TASK_H

#include "vos/msg.h"

/** Work or completion of a task; receives the task's argument. Must not throw. */
typedef void (*UtilTaskFunc)(void *arg);

VOS_BEGIN_DECLS

/** Starts a detached thread that runs @p startFunc(@p arg) and then announces its end. Does not wait. Safe from several
 *  threads.
 *
 *  @param startFunc   the work; the thread ends at once, without a completion, when it is NULL
 *  @param arg         handed to both functions; its ownership is the caller's business
 *  @param finishFunc  completion, may be NULL. With a @p msgHandle it runs in the thread that calls UTIL_taskFinish()
 *                     for the task's message (not at all when the message cannot be sent), without one in the task's
 *                     own thread.
 *  @param msgHandle   handle on which the message is sent, may be NULL
 *  @return VOS_RET_OK; VOS_RET_NO_RESOURCE when memory is short; VOS_RET_ERROR when the thread cannot be created, the
 *          task's record of 32 bytes stays allocated then
 */
VosRet UTIL_taskStart(UtilTaskFunc startFunc, void *arg, UtilTaskFunc finishFunc, VosMsgHandle *msgHandle);

/** Runs the completion that a received VOS_MSG_SYSTEM_TASK_FINISH stands for. Only functions that this process handed
 *  to UTIL_taskStart() are ever called and, where code lies below 4 GiB, those whose address the message carries.
 *
 *  @param msg  stays the caller's; its type is not tested
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for NULL, a wordData that stands for no function, and a payload of other than 8
 *          bytes
 */
VosRet UTIL_taskFinish(const VosMsgHeader *msg);

VOS_END_DECLS

#endif
