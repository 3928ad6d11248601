#include "vos/linux/oal_prctl/start.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

#include "internal/guards.h"

namespace vos {

namespace {

constexpr size_t kGuard = size_t{64} << 10;  // a page of any size
constexpr size_t kStackSize = size_t{128} << 10;
constexpr size_t kSignalSetSize = _NSIG / 8;

}  // namespace

void resetSignal(int number) {
    // All zero is the default in every architecture's record.
    static constexpr unsigned long kDefault[8] = {};
    syscall(SYS_rt_sigaction, number, kDefault, nullptr, kSignalSetSize);
}

void SharedChild::exec(const char *path, char *const *argv, char *const *environment) const {
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, blocked_, nullptr, kSignalSetSize);
    execve(path, argv, environment);
}

// A handler would run on the parent's memory; exec would reset it anyway.
int enterChild(void *arg) {
    for (int number = 1; number < _NSIG; number++) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN && action.sa_handler != SIG_DFL) {
            resetSignal(number);
        }
    }
    const auto *child = static_cast<const SharedChild *>(arg);
    child->body_(*child, child->arg_);
    _exit(-1);
}

#ifdef VOS_START_BY_FORK
// Sanitizers and counters keep books in the parent's memory.
pid_t startChild(void (*body)(const SharedChild &, void *), void *arg) {
    SharedChild child{};
    child.body_ = body;
    child.arg_ = arg;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, nullptr, child.blocked_, kSignalSetSize);
    const pid_t pid = fork();
    return pid == 0 ? enterChild(&child) : pid;
}
#else
pid_t startChild(void (*body)(const SharedChild &, void *), void *arg) {
    void *memory = mmap(nullptr, kGuard + kStackSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) {
        return -1;
    }
    char *stack = static_cast<char *>(memory) + kGuard;
    const Scope unmap{[memory] { munmap(memory, kGuard + kStackSize); }};
    if (mprotect(stack, kStackSize, PROT_READ | PROT_WRITE) != 0) {
        return -1;
    }
    SharedChild child{};
    child.body_ = body;
    child.arg_ = arg;
    uint64_t all[2];
    memset(all, 0xFF, sizeof all);
    int cancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, all, child.blocked_, kSignalSetSize);
    const int savedErrno = errno;  // the child has the same one
    const pid_t pid = clone(enterChild, stack + kStackSize, CLONE_VM | CLONE_VFORK | SIGCHLD, &child);
    errno = savedErrno;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, child.blocked_, nullptr, kSignalSetSize);
    pthread_setcancelstate(cancelState, nullptr);
    return pid;
}
#endif

}  // namespace vos
