// Processes: the public names, and commands for the shell.
#include "vos/prctl.h"

#include <signal.h>
#include <unistd.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/guards.h"
#include "vos/dbg.h"

namespace {

constexpr int kShellFirstClosed = 3;
constexpr int kShellLastClosed = 50;
constexpr uint32_t kShellTimeoutMs = 120000;
constexpr size_t kCommandSize = 256;

int runInShell(const char *command, uint32_t collectMode, uint32_t timeoutMs) {
    if (command == nullptr) {
        return 1;
    }
    VOS_DBG_DEBUG("executing %s", command);
    const int32_t pid = runCommandInShell(command);
    if (pid < 0) {
        VOS_DBG_ERROR("Could not execute %s", command);
        return 1;
    }
    const PrctlCollectRequest request{.collectMode = collectMode, .pid = pid, .timeoutMs = timeoutMs};
    PrctlProcessResult result;
    const VosRet ret = prctl_collectProcess(&request, &result);
    if (ret != VOS_RET_OK) {
        VOS_DBG_ERROR("prctl_collect failed, ret=%d", static_cast<int>(ret));
        return -1;
    }
    VOS_DBG_DEBUG("collected pid %d, sigNum=%d exitcode=%d", result.pid, result.signalNumber, result.exitCode);
    return result.signalNumber != 0 ? result.signalNumber : result.exitCode;
}

}  // namespace

VosRet prctl_spawnProcess(const PrctlSpawnRequest *request, PrctlProcessResult *result) {
    return oal_spawnProcess(request, result);
}

VosRet prctl_collectProcess(const PrctlCollectRequest *request, PrctlProcessResult *result) {
    return oal_collectProcess(request, result);
}

VosRet prctl_signalProcess(int32_t pid, int32_t signal) {
    return oal_signalProcess(pid, signal);
}

VosRet prctl_terminateProcessForcefully(int32_t pid) {
    return prctl_signalProcess(pid, SIGTERM);
}

VosRet prctl_terminateProcessGracefully(int32_t pid) {
    VOS_DBG_ERROR("Not implemented yet. (pid=%d)", pid);
    return VOS_RET_ERROR;
}

void prctl_signalProcessDelay(void *pid) {
    if (pid != nullptr) {
        prctl_signalProcess(*static_cast<const int32_t *>(pid), SIGKILL);
    }
}

int32_t prctl_getPidByName(const char *name) {
    return oal_getPidByName(name);
}

int32_t runCommandInShell(const char *command) {
    if (command == nullptr) {
        return -1;
    }
    const pid_t pid = fork();
    if (pid < 0) {
        VOS_DBG_ERROR("fork failed!");
        return -1;
    }
    if (pid > 0) {
        return pid;
    }
    for (int fd = kShellFirstClosed; fd <= kShellLastClosed; fd++) {
        close(fd);
    }
    execl("/bin/sh", "sh", "-c", command, static_cast<char *>(nullptr));
    VOS_DBG_ERROR("Should not have reached here!");
    _exit(127);
}

int prctl_runCommandInShellBlocking(const char *command) {
    return runInShell(command, PRCTL_COLLECT_PID, 0);
}

int prctl_runCommandInShellWithTimeout(const char *command) {
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
    va_list again;
    va_copy(again, args);
    const vos::Scope endArgs{[&] {
        va_end(args);
        va_end(again);
    }};
    const int length = vsnprintf(brief, sizeof brief, format, args);
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
        vsnprintf(large.get(), size, format, again);
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
    const size_t got = size == 0 ? 0 : fread(buffer, 1, size, pipe);
    pclose(pipe);
    return got > 0 ? 1 : 0;
}
