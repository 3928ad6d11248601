// Standard descriptors moved to a terminal and back.
#include "vos/log.h"

#include <fcntl.h>
#include <unistd.h>
#include <array>
#include <cerrno>

#include "internal/guards.h"

int32_t g_vosStdin = -1;
int32_t g_vosStdout = -1;
int32_t g_vosStderr = -1;

namespace {

struct Standard {
    int fd;
    int32_t *saved;
};
constexpr std::array<Standard, 3> kStandards{
    {{STDIN_FILENO, &g_vosStdin}, {STDOUT_FILENO, &g_vosStdout}, {STDERR_FILENO, &g_vosStderr}}};

// Above the standard descriptors: where one of them is closed, its number must not be taken by accident.
int duplicate(int fd) {
    return fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

}  // namespace

VosRet vosLog_stdRedirect(const char *ttyPath) {
    if (ttyPath == nullptr || ttyPath[0] == '\0') {
        return VOS_RET_BAD_ARG;
    }
    vos::UniqueFd opened{open(ttyPath, O_RDWR | O_NOCTTY | O_CLOEXEC)};
    const vos::UniqueFd tty{opened.get() > STDERR_FILENO ? opened.release() : duplicate(opened.get())};
    if (!tty) {
        return VOS_RET_NO_RESOURCE;
    }
    opened.reset();
    VosRet ret = VOS_RET_OK;
    for (const Standard &standard : kStandards) {
        if (*standard.saved >= 0) {
            continue;
        }
        *standard.saved = duplicate(standard.fd);
        if (*standard.saved < 0 && errno != EBADF) {
            ret = VOS_RET_NO_RESOURCE;  // it could never be brought back
        } else {
            dup2(tty.get(), standard.fd);
        }
    }
    return ret;
}

VosRet vosLog_stdRevert() {
    for (const Standard &standard : kStandards) {
        if (*standard.saved >= 0) {
            dup2(*standard.saved, standard.fd);
            // The duplicate stays open: daemons may have handed its number on.
            *standard.saved = -1;
        }
    }
    return VOS_RET_OK;
}

VosRet vosLog_saveLastPty(const char *ttyName) {
    if (ttyName == nullptr || ttyName[0] == '\0') {
        return VOS_RET_BAD_ARG;
    }
    unlink(VOS_LOG_LAST_PTY);
    [[maybe_unused]] const int ignored = symlink(ttyName, VOS_LOG_LAST_PTY);
    return VOS_RET_OK;
}

VosRet vosLog_stdToLastPty() {
    return vosLog_stdRedirect(VOS_LOG_LAST_PTY);
}
