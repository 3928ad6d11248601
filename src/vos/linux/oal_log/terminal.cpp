// Standard descriptors moved to a terminal and back, and the link to the terminal of the last login.
#include "vos/log/parts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>

int32_t g_vosStdin = -1;
int32_t g_vosStdout = -1;
int32_t g_vosStderr = -1;

namespace vos::log {

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

VosRet redirectStandards(const char *ttyPath) {
    UniqueFd opened{open(ttyPath, O_RDWR | O_NOCTTY | O_CLOEXEC)};
    const UniqueFd tty{opened.get() > STDERR_FILENO ? opened.release() : duplicate(opened.get())};
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

void revertStandards() {
    for (const Standard &standard : kStandards) {
        if (*standard.saved >= 0) {
            dup2(*standard.saved, standard.fd);
            // The duplicate stays open: daemons may have handed its number on.
            *standard.saved = -1;
        }
    }
}

void linkLastTerminal(const char *ttyName) {
    remove(VOS_LOG_LAST_PTY);  // an empty directory in its place too
    [[maybe_unused]] const int ignored = symlink(ttyName, VOS_LOG_LAST_PTY);
}

bool trustsLastTerminal() {
    struct stat link;
    return lstat(VOS_LOG_LAST_PTY, &link) == 0 && (link.st_uid == 0 || link.st_uid == geteuid());
}

}  // namespace vos::log
