// Processes: the public names, and commands for the shell.
#include "vos/prctl.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "vos/linux/oal_prctl/child_log.h"
#include "vos/linux/oal_prctl/start.h"

namespace {

constexpr int kShellFirstClosed = 3;
constexpr int kShellLastClosed = 50;
constexpr uint32_t kShellTimeoutMs = 120000;
constexpr size_t kCommandSize = 256;

struct ShellJob {
    const char *command;
    vos::ChildLog log{};
};

void runShellChild(const vos::SharedChild &child, void *arg) {
    const auto &job = *static_cast<const ShellJob *>(arg);
    for (int fd = kShellFirstClosed; fd <= kShellLastClosed; fd++) {
        close(fd);
    }
    const char *const argv[] = {"sh", "-c", job.command, nullptr};
    child.exec("/bin/sh", const_cast<char *const *>(argv), environ);
    job.log.write(LOG_ERR, __func__, __LINE__, "Should not have reached here!");
    _exit(127);
}

// A signal does not end the wait: nobody else knows the child.
void awaitEnd(int32_t pid) {
    siginfo_t info;
    while (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
}

// As many bytes as there are up to `size`, through signals.
size_t readOutput(int fd, char *buffer, size_t size) {
    size_t got = 0;
    while (got < size) {
        const ssize_t more = read(fd, buffer + got, size - got);
        if (more == 0 || (more < 0 && errno != EINTR)) {
            break;
        }
        got += more > 0 ? static_cast<size_t>(more) : 0;
    }
    return got;
}

int runInShell(const char *command, uint32_t collectMode, uint32_t timeoutMs) {
    if (command == nullptr) {
        return 1;
    }
    VOS_DBG_DEBUG("executing %s", command);
    const int32_t pid = vos::own::runCommandInShell(command);
    if (pid < 0) {
        VOS_DBG_ERROR("Could not execute %s", command);
        return 1;
    }
    if (collectMode == PRCTL_COLLECT_PID) {
        awaitEnd(pid);
    }
    const PrctlCollectRequest request{.collectMode = collectMode, .pid = pid, .timeoutMs = timeoutMs};
    PrctlProcessResult result;
    const VosRet ret = oal_collectProcess(&request, &result);
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("prctl_collect failed, ret=%d", static_cast<int>(ret));
        return -1;
    }
    VOS_DBG_DEBUG("collected pid %d, sigNum=%d exitcode=%d", result.pid, result.signalNumber, result.exitCode);
    return result.signalNumber != 0 ? result.signalNumber : result.exitCode;
}

}  // namespace

VOS_OPEN_NAME VosRet prctl_spawnProcess(const PrctlSpawnRequest *request, PrctlProcessResult *result) {
    return oal_spawnProcess(request, result);
}

VOS_OPEN_NAME VosRet prctl_collectProcess(const PrctlCollectRequest *request, PrctlProcessResult *result) {
    return oal_collectProcess(request, result);
}

VOS_OPEN_NAME VosRet prctl_signalProcess(int32_t pid, int32_t signal) {
    return oal_signalProcess(pid, signal);
}

VOS_OPEN_NAME VosRet prctl_terminateProcessForcefully(int32_t pid) {
    return oal_signalProcess(pid, SIGTERM);
}

VOS_OPEN_NAME VosRet prctl_terminateProcessGracefully(int32_t pid) {
    VOS_DBG_ERROR("Not implemented yet. (pid=%d)", pid);
    return VOS_RET_ERROR;
}

VOS_OPEN_NAME void prctl_signalProcessDelay(void *pid) {
    if (pid != nullptr) {
        oal_signalProcess(*static_cast<const int32_t *>(pid), SIGKILL);
    }
}

VOS_OPEN_NAME int32_t prctl_getPidByName(const char *name) {
    return oal_getPidByName(name);
}

int32_t vos::own::runCommandInShell(const char *command) {
    if (command == nullptr) {
        return -1;
    }
    ShellJob job{.command = command};
    const pid_t pid = startChild(runShellChild, &job);
    if (pid < 0) {
        VOS_DBG_ERROR("fork failed!");
        return -1;
    }
    return pid;
}

VOS_OPEN_NAME int32_t runCommandInShell(const char *command) {
    return vos::own::runCommandInShell(command);
}

VOS_OPEN_NAME int prctl_runCommandInShellBlocking(const char *command) {
    return runInShell(command, PRCTL_COLLECT_PID, 0);
}

VOS_OPEN_NAME int prctl_runCommandInShellWithTimeout(const char *command) {
    return runInShell(command, PRCTL_COLLECT_PID_TIMEOUT, kShellTimeoutMs);
}

int UTIL_doSystemAction(const char *callerTag, const char *format, ...) {
    if (format == nullptr) {
        return -1;
    }
    char brief[kCommandSize];
    vos::MemPtr<char> large;
    const char *command = brief;
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(brief, sizeof brief, format, args);
    va_end(args);
    if (length < 0) {
        return -1;
    }
    if (static_cast<size_t>(length) >= sizeof brief) {
        const auto size = static_cast<uint32_t>(length) + 1;
        large.reset(static_cast<char *>(VOS_MALLOC_FLAGS(size, 0)));
        if (!large) {
            VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
            return -1;
        }
        va_start(args, format);
        vsnprintf(large.get(), size, format, args);
        va_end(args);
        command = large.get();
    }
    VOS_DBG_WARN("%s -- %s", callerTag == nullptr ? "" : callerTag, command);
    return system(command);
}

int UTIL_commSystemEx(const char *command, char *buffer, uint32_t size) {
    if (buffer == nullptr && size != 0) {
        return 0;
    }
    if (size != 0) {
        memset(buffer, 0, size);
    }
    if (command == nullptr) {
        return 0;
    }
    FILE *pipe = popen(command, "re");
    if (pipe == nullptr) {
        VOS_DBG_ERROR("popen failed, errno=%d", errno);
        return 0;
    }
    const size_t got = readOutput(fileno(pipe), buffer, size);
    pclose(pipe);
    return got > 0 ? 1 : 0;
}
