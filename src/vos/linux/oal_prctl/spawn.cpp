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
#include "internal/guards.h"
#include "vos/dbg.h"
#include "vos/netns.h"
#include "vos/prctl.h"
#include "vos/text.h"

namespace {

constexpr uint32_t kCollectKilledMs = 40;
constexpr size_t kPathSize = 512;
constexpr int kServerFd = 3;
constexpr const char *kLibraryPath = "LD_LIBRARY_PATH";
constexpr size_t kVariableSize = kPathSize + 16;  // "LD_LIBRARY_PATH=…"

// In the order in which they are reset; SIGHUP and SIGINT come first.
constexpr std::array kSignals{SIGQUIT, SIGILL,  SIGTRAP, SIGABRT, SIGFPE,  SIGBUS,    SIGSEGV,  SIGSYS,  SIGPIPE,
                              SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD, SIGPWR,    SIGWINCH, SIGURG,  SIGIO,
                              SIGSTOP, SIGTSTP, SIGCONT, SIGTTIN, SIGTTOU, SIGVTALRM, SIGPROF,  SIGXCPU, SIGXFSZ};

// What the child needs that takes memory; made before the fork.
struct Prepared {
    char **argv = nullptr;
    vos::MemPtr<char *> environment{};  // begins with the longer library path; empty: the parent's
};

bool isLibraryPath(const char *variable) {
    const size_t length = strlen(kLibraryPath);
    return strncmp(variable, kLibraryPath, length) == 0 && variable[length] == '=';
}

bool prepareEnvironment(const char *extraLibPath, Prepared *prepared) {
    if (extraLibPath == nullptr) {
        return true;
    }
    const char *current = getenv(kLibraryPath);
    char value[kPathSize];
    util_snprintf(__func__, __LINE__, value, sizeof value, "%s:%s", current == nullptr ? "" : current, extraLibPath);
    uint64_t count = 0;
    while (environ != nullptr && environ[count] != nullptr) {
        count++;
    }
    // One block with its text: a child that returns to its caller goes on using it.
    prepared->environment = vos::allocZeroed<char *>((count + 2) * sizeof(char *) + kVariableSize);
    if (!prepared->environment) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return false;
    }
    auto *variable = reinterpret_cast<char *>(prepared->environment.get() + count + 2);
    util_snprintf(__func__, __LINE__, variable, kVariableSize, "%s=%s", kLibraryPath, value);
    size_t used = 0;
    prepared->environment[used++] = variable;
    for (uint64_t i = 0; i < count; i++) {
        if (!isLibraryPath(environ[i])) {
            prepared->environment[used++] = environ[i];
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
    signal(SIGHUP, SIG_DFL);
    if (request->inheritSigint == 0) {
        signal(SIGINT, SIG_DFL);
    }
    for (const int number : kSignals) {
        signal(number, SIG_DFL);
    }
}

bool hasProgramName(const char *exe) {
    char path[kPathSize] = {};
    memcpy(path, exe, strnlen(exe, sizeof path - 1));
    const char *slash = strrchr(path, '/');
    return slash != nullptr && slash[1] != '\0';
}

// The name of the limit's type differs between C libraries.
template <typename Resource>
bool limit(int (*set)(Resource, const rlimit *), int resource, const char *name, rlim_t value) {
    const rlimit limits{.rlim_cur = value, .rlim_max = value};
    if (set(static_cast<Resource>(resource), &limits) != 0) {
        VOS_DBG_ERROR("setrlimit %s failed, %s\n", name, strerror(errno));
        return false;
    }
    return true;
}

bool setLimits(const PrctlSpawnRequest *request) {
    struct Limit {
        bool wanted;
        int resource;
        const char *name;
        rlim_t value;
    };
    const Limit limits[] = {
        {request->rssLimit != 0, RLIMIT_RSS, "RLIMIT_RSS", request->rssLimit},
        {request->asLimit != 0, RLIMIT_AS, "RLIMIT_AS", request->asLimit},
        {request->nofileLimit != 0, RLIMIT_NOFILE, "RLIMIT_NOFILE", request->nofileLimit},
        {request->disableCore == 1, RLIMIT_CORE, "RLIMIT_CORE", 0},
    };
    return std::all_of(std::begin(limits), std::end(limits), [](const Limit &one) {
        return !one.wanted || limit(setrlimit, one.resource, one.name, one.value);
    });
}

// Ends in exec. Callers rely on a bad program name and a refused limit returning to them in the child.
VosRet runChild(const PrctlSpawnRequest *request, Prepared &prepared) {
    // The connection to syslog may stand where one of the child's descriptors goes: its diagnostics get one of their
    // own.
    if (access(VOS_DBG_GATE_FILE, F_OK) == 0) {
        closelog();
    }
    setStandardDescriptors(request);
    if (request->serverFd != -1) {
        moveTo(request->serverFd, kServerFd);
    }
    closeDescriptors(request->serverFd != -1 ? kServerFd + 1 : kServerFd, request->maxFd);
    resetSignals(request);
    const char *exe = request->exe == nullptr ? "" : request->exe;
    if (!hasProgramName(exe)) {
        vos::childError("%s:%d:Invalid process name %s\n", __func__, __LINE__, exe);
        return VOS_RET_ERROR;
    }
    if (request->workDir != nullptr) {
        [[maybe_unused]] const int ignored = chdir(request->workDir);
    }
    if (prepared.environment) {
        environ = prepared.environment.get();
        VOS_DBG_DEBUG("LD_LIBRARY_PATH:%s.\n", prepared.environment[0] + strlen(kLibraryPath) + 1);
    }
    if (request->uid != 0) {
        // Callers know that a refusal goes unnoticed.
        [[maybe_unused]] const int ignored = setuid(request->uid);
    }
    if (!setLimits(request)) {
        return VOS_RET_ERROR;
    }
    if (request->detach != 0) {
        if (setsid() != -1) {
            VOS_DBG_DEBUG("detached from terminal");
        } else {
            VOS_DBG_ERROR("Could not detach from terminal");
        }
    }
    if (request->netnsName != nullptr && *request->netnsName != '\0') {
        VOS_DBG_DEBUG("Switch net namespace to %s", request->netnsName);
        netns_switch(request->netnsName);
    }
    execv(exe, prepared.argv);
    const int error = errno;
    VOS_DBG_ERROR("execv %s error!", exe);
    vos::childError("execv: %s\n", strerror(error));
    _exit(-1);
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
    Prepared prepared;
    const VosRet parsed = parseArgs(request->exe, request->args, &prepared.argv);
    if (parsed != VOS_RET_OK) {
        return parsed;
    }
    vos::Scope releaseArgs{[&prepared] { freeArgs(prepared.argv); }};
    if (!prepareEnvironment(request->extraLibPath, &prepared)) {
        return VOS_RET_NO_RESOURCE;
    }
    const char *exe = request->exe == nullptr ? "" : request->exe;
    int master = -1;
    pid_t pid = -1;
    if (request->usePty != 0) {
        VOS_DBG_DEBUG("forkpty %s", exe);
        pid = forkpty(&master, nullptr, nullptr, nullptr);
    } else {
        VOS_DBG_DEBUG("fork %s", exe);
        pid = fork();
    }
    if (pid == 0) {
        const VosRet ret = runChild(request, prepared);
        // Another thread of the parent may have held the heap's lock at the fork.
        releaseArgs.release();
        prepared.environment.release();
        return ret;
    }
    // A failed fork reads as a child of process id -1; callers know it.
    vos::UniqueFd pty{pid < 0 ? -1 : master};
    *result = PrctlProcessResult{
        .pid = pid, .status = PRCTL_STATUS_RUNNING, .signalNumber = 0, .exitCode = 0, .ptyFd = pty.get()};
    if (request->spawnMode == PRCTL_SPAWN_AND_WAIT) {
        return waitForChild(pid, request->timeoutMs, result);  // its result names no terminal any more
    }
    pty.release();
    return VOS_RET_OK;
}
