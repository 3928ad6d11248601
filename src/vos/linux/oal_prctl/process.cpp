// Processes: collecting, signalling, finding by name.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "internal/dbg.h"
#include "internal/dir_reader.h"
#include "internal/guards.h"
#include "vos/prctl.h"
#include "vos/text.h"

namespace {

constexpr uint32_t kPollMs = 40;
constexpr size_t kStatSize = 256;

void sleepMs(uint32_t ms) {
    timespec left{.tv_sec = static_cast<time_t>(ms / 1000), .tv_nsec = static_cast<long>(ms % 1000) * 1'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

// waitpid's result; 0 when the time is up.
pid_t waitWithTimeout(pid_t pid, int *status, uint32_t timeoutMs) {
    uint32_t remaining = timeoutMs < 2 ? timeoutMs + 1 : timeoutMs;
    for (;;) {
        const pid_t got = waitpid(pid, status, WNOHANG);
        if (got != 0 || remaining == 1) {
            return got;
        }
        const uint32_t step = std::min(remaining, kPollMs + 1) - 1;
        sleepMs(step);
        remaining -= step;
        if (remaining == 0) {
            return 0;
        }
    }
}

// The command name of a process as far as a scan for a word gives it: up to the first blank.
bool readCommand(int32_t pid, char (&command)[kStatSize]) {
    char path[kStatSize];
    util_snprintf(__func__, __LINE__, path, sizeof path, "/proc/%d/stat", pid);
    const vos::UniqueFd fd{open(path, O_RDONLY | O_CLOEXEC)};
    if (!fd) {
        VOS_DBG_ERROR("could not open %s", path);
        return false;
    }
    char stat[kStatSize];
    const ssize_t got = read(fd.get(), stat, sizeof stat - 1);
    if (got <= 0) {
        return false;
    }
    stat[got] = '\0';
    int readPid = 0;
    if (sscanf(stat, "%d (%255s", &readPid, command) != 2) {
        return false;
    }
    const size_t length = strlen(command);
    if (command[length - 1] == ')') {
        command[length - 1] = '\0';
    }
    return true;
}

}  // namespace

VosRet oal_collectProcess(const PrctlCollectRequest *request, PrctlProcessResult *result) {
    if (request == nullptr || result == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *result = PrctlProcessResult{};
    const uint32_t mode = request->collectMode;
    const pid_t pid = mode == PRCTL_COLLECT_PID || mode == PRCTL_COLLECT_PID_TIMEOUT ? request->pid : -1;
    int status = 0;
    const pid_t got = mode == PRCTL_COLLECT_PID_TIMEOUT || mode == PRCTL_COLLECT_ANY_TIMEOUT
                          ? waitWithTimeout(pid, &status, request->timeoutMs)
                          : waitpid(pid, &status, 0);
    if (got == 0) {
        return VOS_RET_TIMEOUT;
    }
    if (got < 0) {
        VOS_DBG_ERROR("possible bad pid %d, errno=%d", pid, errno);
        return VOS_RET_BAD_ARG;
    }
    const int word = status & 0xFFFF;
    result->pid = got;
    result->status = PRCTL_STATUS_EXITED;
    result->signalNumber = word >= 1 && word <= 255 ? status & 0x7F : 0;
    result->exitCode = status >> 8 & 0xFF;
    return VOS_RET_OK;
}

VosRet oal_signalProcess(int32_t pid, int32_t signal) {
    if (pid <= 0) {
        VOS_DBG_ERROR("bad pid %d", pid);
        return VOS_RET_BAD_ARG;
    }
    VOS_DBG_DEBUG("pid = %d, sig = %d", pid, signal);
    if (kill(pid, signal) != 0) {
        VOS_DBG_ERROR("invalid signal(%d) or pid(%d)", signal, pid);
        return VOS_RET_BAD_ARG;
    }
    VOS_DBG_DEBUG("send signal succ");
    return VOS_RET_OK;
}

int32_t oal_getPidByName(const char *name) {
    if (name == nullptr) {
        return 0;
    }
    vos::DirReader proc{"/proc"};
    if (!proc) {
        VOS_DBG_ERROR("could not open /proc");
        return 0;
    }
    while (const char *entry = proc.next()) {
        int32_t pid = 0;
        char command[kStatSize];
        if (proc.type() == DT_DIR && util_strtol(entry, nullptr, 10, &pid) == VOS_RET_OK && readCommand(pid, command) &&
            strcmp(command, name) == 0) {
            return pid;
        }
    }
    return 0;
}

int32_t oal_getPid(void) {
    return getpid();
}
