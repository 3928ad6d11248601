// Starting a program: what parent and child do.
#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/child_error.h"
#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "vos/linux/oal_prctl/child_log.h"
#include "vos/linux/oal_prctl/start.h"
#include "vos/prctl.h"
#include "vos/text.h"

// In the child, where the parent's log must not be touched.
#define CHILD_LOG(priority, ...) job.log.write(priority, __func__, __LINE__, __VA_ARGS__)

namespace {

constexpr uint32_t kCollectKilledMs = 40;
constexpr size_t kPathSize = 512;
constexpr int kServerFd = 3;
#ifdef SYS_setuid32
constexpr long kSetuid = SYS_setuid32;  // user ids of 32 bits
#else
constexpr long kSetuid = SYS_setuid;
#endif
constexpr const char *kLibraryPath = "LD_LIBRARY_PATH";
constexpr size_t kVariableSize = kPathSize + 16;  // "LD_LIBRARY_PATH=…"

// In the order in which they are reset; SIGHUP and SIGINT come first.
constexpr std::array kSignals{SIGQUIT, SIGILL,  SIGTRAP, SIGABRT, SIGFPE,  SIGBUS,    SIGSEGV,  SIGSYS,  SIGPIPE,
                              SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD, SIGPWR,    SIGWINCH, SIGURG,  SIGIO,
                              SIGSTOP, SIGTSTP, SIGCONT, SIGTTIN, SIGTTOU, SIGVTALRM, SIGPROF,  SIGXCPU, SIGXFSZ};

// What the child needs that takes memory or locks; made before its start.
struct Job {
    const PrctlSpawnRequest &request;
    const char *exe;
    char **argv = nullptr;
    vos::MemPtr<char *> environment{};  // begins with the longer library path; empty: the parent's
    vos::ChildLog log{};
};

bool isLibraryPath(const char *variable) {
    const size_t length = strlen(kLibraryPath);
    return strncmp(variable, kLibraryPath, length) == 0 && variable[length] == '=';
}

bool prepareEnvironment(const char *extraLibPath, Job *job) {
    if (extraLibPath == nullptr) {
        return true;
    }
    const char *current = getenv(kLibraryPath);
    char value[kPathSize];
    // An empty part in front of the colon would make the loader search the working directory.
    const bool alone = current == nullptr || *current == '\0';
    util_snprintf(__func__, __LINE__, value, sizeof value, "%s%s%s", alone ? "" : current, alone ? "" : ":",
                  extraLibPath);
    uint64_t count = 0;
    while (environ != nullptr && environ[count] != nullptr) {
        count++;
    }
    // One block with its text: a child that returns to its caller goes on using it.
    job->environment = vos::allocZeroed<char *>((count + 2) * sizeof(char *) + kVariableSize);
    if (!job->environment) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return false;
    }
    auto *variable = reinterpret_cast<char *>(job->environment.get() + count + 2);
    util_snprintf(__func__, __LINE__, variable, kVariableSize, "%s=%s", kLibraryPath, value);
    size_t used = 0;
    job->environment[used++] = variable;
    for (uint64_t i = 0; i < count; i++) {
        if (!isLibraryPath(environ[i])) {
            job->environment[used++] = environ[i];
        }
    }
    return true;
}

void moveTo(int fd, int target) {
    if (fd == target) {
        fcntl(fd, F_SETFD, 0);  // stays open across exec as a duplicate would
        return;
    }
    close(target);
    dup2(fd, target);
}

void setStandardDescriptors(const PrctlSpawnRequest *request) {
    const int32_t wanted[] = {request->stdinFd, request->stdoutFd, request->stderrFd};
    int null = -1;
    if (std::count(std::begin(wanted), std::end(wanted), -1) > 0) {
        null = open("/dev/null", O_RDWR);
        // Out of the way of the descriptors that are about to be replaced.
        if (null >= 0 && null < kServerFd) {
            const int low = null;
            null = fcntl(low, F_DUPFD, kServerFd + 1);
            close(low);
        }
        if (null < 0) {
            vos::childError("%s:%d:open /dev/null failed\n", __func__, __LINE__);
            _exit(-1);
        }
    }
    for (int target = STDIN_FILENO; target <= STDERR_FILENO; target++) {
        const int32_t fd = wanted[target];
        if (fd != target) {
            moveTo(fd == -1 ? null : fd, target);
        }
    }
    if (null >= 0) {
        close(null);
    }
}

void closeDescriptors(int first, int last) {
    if (first > last) {
        return;
    }
#ifdef SYS_close_range
    if (syscall(SYS_close_range, static_cast<unsigned>(first), static_cast<unsigned>(last), 0) == 0) {
        return;
    }
#endif
    const long open = sysconf(_SC_OPEN_MAX);
    for (int fd = first; fd <= last && (open < 0 || fd < open); fd++) {
        close(fd);
    }
}

void resetSignals(const PrctlSpawnRequest *request) {
    vos::resetSignal(SIGHUP);
    if (request->inheritSigint == 0) {
        vos::resetSignal(SIGINT);
    }
    std::for_each(kSignals.begin(), kSignals.end(), vos::resetSignal);
}

bool hasProgramName(const char *exe) {
    char path[kPathSize] = {};
    memcpy(path, exe, strnlen(exe, sizeof path - 1));
    const char *slash = strrchr(path, '/');
    return slash != nullptr && slash[1] != '\0';
}

// The name of a limit's type differs between C libraries.
template <typename Resource>
int getLimit(int (*get)(Resource, rlimit *), int resource, rlimit *limits) {
    return get(static_cast<Resource>(resource), limits);
}
template <typename Resource>
int setLimit(int (*set)(Resource, const rlimit *), int resource, const rlimit &limits) {
    return set(static_cast<Resource>(resource), &limits);
}

struct Limit {
    bool wanted;
    int resource;
    const char *name;
    rlim_t value;
};

std::array<Limit, 4> limitsOf(const PrctlSpawnRequest &request) {
    return {{
        {request.rssLimit != 0, RLIMIT_RSS, "RLIMIT_RSS", request.rssLimit},
        {request.asLimit != 0, RLIMIT_AS, "RLIMIT_AS", request.asLimit},
        {request.nofileLimit != 0, RLIMIT_NOFILE, "RLIMIT_NOFILE", request.nofileLimit},
        {request.disableCore == 1, RLIMIT_CORE, "RLIMIT_CORE", 0},
    }};
}

bool setLimits(const Job &job) {
    for (const Limit &limit : limitsOf(job.request)) {
        if (limit.wanted &&
            setLimit(setrlimit, limit.resource, {.rlim_cur = limit.value, .rlim_max = limit.value}) != 0) {
            CHILD_LOG(LOG_ERR, "setrlimit %s failed, %s\n", limit.name, vos::errorText(errno));
            return false;
        }
    }
    return true;
}

// Whether the child may have to come back to the caller's code. Only a limit above the present one is refused.
bool mayReturn(const Job &job) {
    const auto limits = limitsOf(job.request);
    return !hasProgramName(job.exe) || std::any_of(limits.begin(), limits.end(), [](const Limit &limit) {
        rlimit present{};
        return limit.wanted && getLimit(getrlimit, limit.resource, &present) == 0 && limit.value > present.rlim_max;
    });
}

// Up to exec; false: the child cannot be prepared.
bool prepareChild(const Job &job) {
    const PrctlSpawnRequest &request = job.request;
    setStandardDescriptors(&request);
    if (request.serverFd != -1) {
        moveTo(request.serverFd, kServerFd);
    }
    closeDescriptors(request.serverFd != -1 ? kServerFd + 1 : kServerFd, request.maxFd);
    resetSignals(&request);
    if (!hasProgramName(job.exe)) {
        vos::childError("%s:%d:Invalid process name %s\n", __func__, __LINE__, job.exe);
        return false;
    }
    if (request.workDir != nullptr) {
        [[maybe_unused]] const int ignored = chdir(request.workDir);
    }
    if (job.environment) {
        CHILD_LOG(LOG_DEBUG, "LD_LIBRARY_PATH:%s.\n", job.environment[0] + strlen(kLibraryPath) + 1);
    }
    if (request.uid != 0) {
        // Contract: a refusal goes unnoticed. The C library's function would change the parent's threads too.
        syscall(kSetuid, request.uid);
    }
    if (!setLimits(job)) {
        return false;
    }
    if (request.detach != 0) {
        if (setsid() != -1) {
            CHILD_LOG(LOG_DEBUG, "detached from terminal");
        } else {
            CHILD_LOG(LOG_ERR, "Could not detach from terminal");
        }
    }
    if (request.netnsName != nullptr && *request.netnsName != '\0') {
        CHILD_LOG(LOG_DEBUG, "Switch net namespace to %s", request.netnsName);
        vos::own::netns_switch(request.netnsName);
    }
    return true;
}

[[noreturn]] void endWithoutExec(const Job &job) {
    const int error = errno;
    CHILD_LOG(LOG_ERR, "execv %s error!", job.exe);
    vos::childError("execv: %s\n", vos::errorText(error));
    _exit(-1);
}

char **environmentOf(const Job &job) {
    return job.environment ? job.environment.get() : environ;
}

void runSharedChild(const vos::SharedChild &child, void *arg) {
    const Job &job = *static_cast<const Job *>(arg);
    if (prepareChild(job)) {
        child.exec(job.exe, job.argv, environmentOf(job));
        endWithoutExec(job);
    }
}

// Contract: a bad program name and a refused limit return to the caller in the child.
VosRet runForkedChild(Job &job) {
    const bool prepared = prepareChild(job);
    if (prepared) {
        execve(job.exe, job.argv, environmentOf(job));
        endWithoutExec(job);
    }
    // Nothing is freed: another thread of the parent may have held the heap's lock at the fork.
    environ = environmentOf(job);
    job.environment.release();
    return VOS_RET_ERROR;
}

// Waits for the child; one that outlives its time is killed.
VosRet waitForChild(int32_t pid, uint32_t timeoutMs, PrctlProcessResult *result) {
    PrctlCollectRequest collect{.collectMode = PRCTL_COLLECT_PID_TIMEOUT, .pid = pid, .timeoutMs = timeoutMs};
    VosRet ret = oal_collectProcess(&collect, result);
    if (ret == VOS_RET_TIMEOUT) {
        VOS_DBG_DEBUG("pid %d has not exited in %d ms, SIGKILL", pid, static_cast<int>(timeoutMs));
        ret = oal_signalProcess(pid, SIGKILL);
        if (ret != VOS_RET_OK) {
            VOS_DBG_ERROR("SIGKILL to pid %d failed with ret=%d", pid, static_cast<int>(ret));
        }
        collect.timeoutMs = kCollectKilledMs;
        return oal_collectProcess(&collect, result) == VOS_RET_OK ? VOS_RET_OK : VOS_RET_TIMEOUT;
    }
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("Could not collect pid %d", pid);
    }
    return ret;
}

}  // namespace

VosRet oal_spawnProcess(const PrctlSpawnRequest *request, PrctlProcessResult *result) {
    if (request == nullptr || result == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    Job job{.request = *request, .exe = request->exe == nullptr ? "" : request->exe};
    const VosRet parsed = vos::own::parseArgs(request->exe, request->args, &job.argv);
    if (parsed != VOS_RET_OK) {
        return parsed;
    }
    vos::Scope releaseArgs{[&job] { vos::own::freeArgs(job.argv); }};
    if (!prepareEnvironment(request->extraLibPath, &job)) {
        return VOS_RET_NO_RESOURCE;
    }
    int master = -1;
    pid_t pid = -1;
    if (request->usePty != 0) {
        VOS_DBG_DEBUG("forkpty %s", job.exe);
        pid = forkpty(&master, nullptr, nullptr, nullptr);
    } else {
        VOS_DBG_DEBUG("fork %s", job.exe);
        pid = mayReturn(job) ? fork() : vos::startChild(runSharedChild, &job);
    }
    if (pid == 0) {
        releaseArgs.release();
        return runForkedChild(job);
    }
    // Contract: a failed fork reads as a child of process id -1.
    vos::UniqueFd pty{pid < 0 ? -1 : master};
    if (pty) {
        fcntl(pty.get(), F_SETFD, FD_CLOEXEC);
    }
    *result = PrctlProcessResult{
        .pid = pid, .status = PRCTL_STATUS_RUNNING, .signalNumber = 0, .exitCode = 0, .ptyFd = pty.get()};
    if (request->spawnMode == PRCTL_SPAWN_AND_WAIT) {
        return waitForChild(pid, request->timeoutMs, result);  // its result names no terminal any more
    }
    pty.release();
    return VOS_RET_OK;
}
