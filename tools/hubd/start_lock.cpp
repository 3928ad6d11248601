// The lock of a start.
#include "start_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "clock.h"
#include "report.h"

namespace hubd {

namespace {

constexpr int64_t kLongestWaitNs = 5000 * kNsPerMs;
constexpr timespec kLookAgain{.tv_sec = 0, .tv_nsec = 20 * kNsPerMs};

sigset_t endSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&set, signal);
    }
    return set;
}

// Nobody else may have put the file there or be able to open it: who may open it may lock it.
vos::UniqueFd openPrivate(const std::string &path) {
    vos::UniqueFd fd{open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600)};
    struct stat found {};
    if (!fd || fstat(fd.get(), &found) != 0) {
        throw HubError{"cannot open the lock " + path + ": " + strerror(errno)};
    }
    if (!S_ISREG(found.st_mode) || found.st_uid != geteuid() || (found.st_mode & 077) != 0) {
        throw HubError{path + " is no private file of this user; remove it or choose another place with --socket"};
    }
    return fd;
}

bool isStillAt(const std::string &path, int fd) {
    struct stat opened {};
    struct stat named {};
    return fstat(fd, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

void lock(int fd, const std::string &path) {
    const sigset_t signals = endSignals();
    const int64_t startNs = monotonicNs();
    for (bool said = false; flock(fd, LOCK_EX | LOCK_NB) != 0; said = true) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            throw HubError{"cannot lock " + path + ": " + strerror(errno)};
        }
        if (!said) {
            logLine("waits for another hub that starts and holds %s", path.c_str());
        }
        if (monotonicNs() - startNs > kLongestWaitNs) {
            throw HubError{"another process holds " + path + "; end it or choose another place with --socket"};
        }
        if (sigtimedwait(&signals, nullptr, &kLookAgain) > 0) {
            throw EndedBySignal{};
        }
    }
}

}  // namespace

void holdEndSignals() {
    const sigset_t set = endSignals();
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

vos::UniqueFd awaitEndSignals() {
    const sigset_t set = endSignals();
    return vos::UniqueFd{signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC)};
}

StartLock::StartLock(const std::string &socketPath) : path_{socketPath + ".lock"} {
    // Whoever held the lock before has removed the file, which may happen between the opening and the locking.
    do {
        fd_ = openPrivate(path_);
        lock(fd_.get(), path_);
    } while (!isStillAt(path_, fd_.get()));
}

StartLock::~StartLock() {
    unlink(path_.c_str());
}

}  // namespace hubd
