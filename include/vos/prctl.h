/** @file
 *  Child processes: start with limits, descriptors, terminal and network namespace; collect, signal, find; commands for
 *  the shell.
 *
 *  The library keeps no table of children: whoever starts a child without waiting collects it. Functions may be called
 *  from any thread; before exec the child takes no memory and none of the C library's locks. Its diagnostics go to
 *  /dev/log over a socket of its own, under the program's name and the facility daemon. A NULL request or result is
 *  VOS_RET_BAD_ARG before anything is started.
 *
 *  A child shares its parent's memory until exec, so starting one costs the same from a parent of any size: the calling
 *  thread waits for the exec, the others go on. Four kinds of child get a copy of the memory as from fork() instead: on
 *  a pseudo-terminal, with a program name without a path, with a limit above the present one, and in builds with
 *  sanitizers. pthread_atfork() handlers run for those only.
 *
 *  @warning Two child-side failures return VOS_RET_ERROR to the caller's code in the child process: a program name
 *  without a path and a refused resource limit. A caller that gets VOS_RET_ERROR from prctl_spawnProcess() compares its
 *  process id before it goes on. A limit that is not above the present one and is refused all the same, by a security
 *  module, ends the child with status 255.
 */
#ifndef VOS_PRCTL_H
#define VOS_PRCTL_H

#include "vos/ret.h"

/** PrctlSpawnRequest.spawnMode: wait for the child, at most timeoutMs. Any other value returns at once. */
#define PRCTL_SPAWN_AND_WAIT 2u

/** PrctlCollectRequest.collectMode; any other value waits for any child without limit. */
enum {
    PRCTL_COLLECT_PID = 1,         /**< the given child, without limit */
    PRCTL_COLLECT_PID_TIMEOUT = 2, /**< the given child, at most timeoutMs */
    PRCTL_COLLECT_ANY_TIMEOUT = 4  /**< any child, at most timeoutMs */
};

/** PrctlProcessResult.status */
enum {
    PRCTL_STATUS_UNKNOWN = 0, /**< nothing known */
    PRCTL_STATUS_RUNNING = 1, /**< started */
    PRCTL_STATUS_EXITED = 2   /**< ended and collected */
};

/** What to start, and how. Set the four descriptors: zeroes would hand on standard input. */
typedef struct {
    const char *exe;          /**< full path; its last component becomes argv[0] */
    const char *args;         /**< arguments between blanks and tabs, or NULL; nothing is quoted */
    const char *workDir;      /**< directory to start in, or NULL */
    const char *extraLibPath; /**< appended to LD_LIBRARY_PATH behind a ':', alone where that is empty, or NULL;
                                   511 characters in all */
    uint32_t spawnMode;       /**< PRCTL_SPAWN_AND_WAIT or another value */
    uint32_t timeoutMs;       /**< longest wait in milliseconds */
    int32_t stdinFd;          /**< becomes standard input; -1: /dev/null, 0: inherited */
    int32_t stdoutFd;         /**< becomes standard output; -1: /dev/null, 1: inherited */
    int32_t stderrFd;         /**< becomes standard error; -1: /dev/null, 2: inherited */
    int32_t serverFd;         /**< becomes descriptor 3; -1: none */
    int32_t maxFd;            /**< every descriptor from 3 (4 with serverFd) to this one is closed */
    uint8_t inheritSigint;    /**< non-zero: SIGINT keeps its disposition */
    uint32_t uid;             /**< non-zero: setuid; a refusal is not noticed, groups stay. Not together with
                                   netnsName: the user comes first and may not enter any more */
    uint32_t reserved1;       /**< not read */
    uint32_t rssLimit;        /**< non-zero: RLIMIT_RSS in bytes */
    uint32_t asLimit;         /**< non-zero: RLIMIT_AS in bytes */
    uint32_t reserved2;       /**< not read */
    uint32_t nofileLimit;     /**< non-zero: RLIMIT_NOFILE */
    uint8_t disableCore;      /**< exactly 1: no core files */
    uint8_t detach;           /**< non-zero: setsid */
    uint8_t usePty;           /**< non-zero: on a pseudo-terminal of its own */
    const char *netnsName;    /**< network namespace to enter, or NULL; where that fails the program runs in
                                   the caller's */
} PrctlSpawnRequest;

/** What became of a child. */
typedef struct {
    int32_t pid;          /**< process id; -1 when fork failed, which is not reported otherwise */
    uint32_t status;      /**< PRCTL_STATUS_… */
    int32_t signalNumber; /**< signal that ended it, or 0 */
    int32_t exitCode;     /**< exit value */
    int32_t ptyFd;        /**< master of the pseudo-terminal, owned by the caller, close-on-exec; -1 without;
                               0 after any wait */
} PrctlProcessResult;

/** Whom to wait for. */
typedef struct {
    uint32_t collectMode; /**< PRCTL_COLLECT_… */
    int32_t pid;          /**< the child */
    uint32_t timeoutMs;   /**< longest wait in milliseconds */
} PrctlCollectRequest;

#if UINTPTR_MAX > UINT32_MAX
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, exe) == 0, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, args) == 8, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, workDir) == 16, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, extraLibPath) == 24, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, spawnMode) == 32, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, timeoutMs) == 36, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, stdinFd) == 40, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, stdoutFd) == 44, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, stderrFd) == 48, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, serverFd) == 52, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, maxFd) == 56, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, inheritSigint) == 60, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, uid) == 64, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, reserved1) == 68, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, rssLimit) == 72, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, asLimit) == 76, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, reserved2) == 80, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, nofileLimit) == 84, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, disableCore) == 88, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, detach) == 89, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, usePty) == 90, "natural layout");
VOS_STATIC_ASSERT(offsetof(PrctlSpawnRequest, netnsName) == 96, "natural layout");
VOS_STATIC_ASSERT(sizeof(PrctlSpawnRequest) == 104, "natural layout");
#endif
VOS_STATIC_ASSERT(offsetof(PrctlProcessResult, pid) == 0, "five 32-bit words");
VOS_STATIC_ASSERT(offsetof(PrctlProcessResult, status) == 4, "five 32-bit words");
VOS_STATIC_ASSERT(offsetof(PrctlProcessResult, signalNumber) == 8, "five 32-bit words");
VOS_STATIC_ASSERT(offsetof(PrctlProcessResult, exitCode) == 12, "five 32-bit words");
VOS_STATIC_ASSERT(offsetof(PrctlProcessResult, ptyFd) == 16, "five 32-bit words");
VOS_STATIC_ASSERT(sizeof(PrctlProcessResult) == 20, "five 32-bit words");
VOS_STATIC_ASSERT(offsetof(PrctlCollectRequest, collectMode) == 0, "three 32-bit words");
VOS_STATIC_ASSERT(offsetof(PrctlCollectRequest, pid) == 4, "three 32-bit words");
VOS_STATIC_ASSERT(offsetof(PrctlCollectRequest, timeoutMs) == 8, "three 32-bit words");
VOS_STATIC_ASSERT(sizeof(PrctlCollectRequest) == 12, "three 32-bit words");

VOS_BEGIN_DECLS

/** Starts a program. With PRCTL_SPAWN_AND_WAIT a child that outlives timeoutMs is killed and collected within 40 ms;
 *  the result then shows signal 9. After a wait a pseudo-terminal is closed already.
 *
 *  The time counts from the exec. In the child, in this order: standard descriptors, descriptor 3, closing up to maxFd,
 *  default signal dispositions, working directory, library path, user, limits, session, namespace, exec. A failing exec
 *  ends it with status 255.
 *
 *  @return VOS_RET_OK, also for a child that could not exec and for a failed fork; VOS_RET_BAD_ARG;
 *          VOS_RET_NO_RESOURCE; VOS_RET_TIMEOUT when a killed child could not be collected; VOS_RET_ERROR in the child
 *          itself, see the warning above
 */
VosRet oal_spawnProcess(const PrctlSpawnRequest *request, PrctlProcessResult *result);
/** oal_spawnProcess(). */
VosRet prctl_spawnProcess(const PrctlSpawnRequest *request, PrctlProcessResult *result);

/** Waits for a child to end; with a time-out it looks every 40 ms.
 *
 *  @return VOS_RET_OK with @p result filled in; VOS_RET_TIMEOUT; VOS_RET_BAD_ARG for NULL and when there is no such
 *          child (or a signal interrupted a wait without limit)
 */
VosRet oal_collectProcess(const PrctlCollectRequest *request, PrctlProcessResult *result);
/** oal_collectProcess(). */
VosRet prctl_collectProcess(const PrctlCollectRequest *request, PrctlProcessResult *result);

/** Sends a signal. VOS_RET_BAD_ARG for a process id of 0 or below (nothing is sent) and when the kernel refuses. */
VosRet oal_signalProcess(int32_t pid, int32_t signal);
/** oal_signalProcess(). */
VosRet prctl_signalProcess(int32_t pid, int32_t signal);
/** Sends SIGTERM. */
VosRet prctl_terminateProcessForcefully(int32_t pid);
/** Not available: VOS_RET_ERROR. */
VosRet prctl_terminateProcessGracefully(int32_t pid);
/** Sends SIGKILL to the process whose id @p pid points to (an int32_t); a timer callback (vos/tmr.h). */
void prctl_signalProcessDelay(void *pid);

/** Finds the first process whose command name, as /proc gives it up to its first blank, equals @p name; 0 without.
 *  The kernel keeps 15 characters of a name, so a longer @p name is never found. */
int32_t oal_getPidByName(const char *name);
/** oal_getPidByName(). */
int32_t prctl_getPidByName(const char *name);
/** getpid(). */
int32_t oal_getPid(void);

/** Builds an argument vector: the last component of @p exe, then the words of @p args.
 *
 *  @param exe      may be NULL or empty: no first element
 *  @param args     may be NULL; split at blanks and tabs, nothing is quoted
 *  @param argvOut  receives the vector, released with freeArgs(); NULL on failure
 *  @return VOS_RET_OK; VOS_RET_BAD_ARG for a NULL @p argvOut; VOS_RET_NO_RESOURCE
 */
VosRet parseArgs(const char *exe, const char *args, char ***argvOut);
/** Releases a vector of parseArgs(); NULL does nothing. */
void freeArgs(char **argv);

/** Starts "/bin/sh -c COMMAND" with descriptors 3 to 50 closed: its process id, to be collected by the caller; -1 on
 *  failure. The text must be trusted. */
int32_t runCommandInShell(const char *command);
/** Runs a command in the shell and waits, through signals: the signal that ended it or its exit value; 1 for NULL or
 *  when it could not be started; -1 when it could not be collected. */
int prctl_runCommandInShellBlocking(const char *command);
/** prctl_runCommandInShellBlocking() that waits two minutes at most; -1 then, and the shell goes on. */
int prctl_runCommandInShellWithTimeout(const char *command);

/** Formats a command, logs it under @p callerTag and runs it with system(); the result of system(), -1 without memory.
 *  The text must be trusted. */
int UTIL_doSystemAction(const char *callerTag, const char *format, ...) VOS_PRINTF(2, 3);

/** Runs a command with popen() and reads up to @p size bytes of its output, through signals; the rest of @p buffer is
 *  zeroed. A text needs a @p size one below its buffer. A @p size of 0 runs the command and reads nothing.
 *
 *  @return 1 when a byte was read, else 0 */
int UTIL_commSystemEx(const char *command, char *buffer, uint32_t size);

VOS_END_DECLS

#endif
