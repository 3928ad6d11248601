/** @file
 *  Child processes: what to start, and how one ended. Part of vos/vos.hpp; Loop::spawn() starts them.
 */
#ifndef VOS_HPP_PROCESS_HPP
#define VOS_HPP_PROCESS_HPP

#include <signal.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>

#include "vos/hpp/result.hpp"
#include "vos/prctl.h"

namespace vos {

/** A program to start: PrctlSpawnRequest with descriptors that are safe to leave alone. Fields of it may be changed. */
struct Command : PrctlSpawnRequest {
    /** @param program    full path
     *  @param arguments  arguments between blanks, or NULL; nothing is quoted */
    explicit Command(const char *program, const char *arguments = nullptr) : PrctlSpawnRequest{} {
        exe = program;
        args = arguments;
        stdinFd = -1;
        stdoutFd = 1;
        stderrFd = 2;
        serverFd = -1;
    }
};

/** How a child ended. */
struct Ended {
    pid_t pid;        /**< its process id */
    int exitCode;     /**< meaningful without a signal */
    int signalNumber; /**< the signal that ended it, or 0 */
    /** Whether it ended by itself with 0. */
    bool clean() const noexcept { return exitCode == 0 && signalNumber == 0; }
};

namespace detail {

/** Lets a child start with the signals that the program had before the loop blocked some: they are open as long as this
 *  lives, and one that arrives meanwhile is kept for the loop. */
class SignalsForChild {
  public:
    explicit SignalsForChild(const sigset_t &blocked) {
        parent() = getpid();
        struct sigaction action = {};
        action.sa_sigaction = &SignalsForChild::keep;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigfillset(&action.sa_mask);
        for (int number = 1; number < int{kSignals}; number++) {
            held_[static_cast<size_t>(number)] = sigismember(&blocked, number) == 1 &&
                                                 sigaction(number, &action, &before_[static_cast<size_t>(number)]) == 0;
        }
        pthread_sigmask(SIG_UNBLOCK, &blocked, &mask_);
    }
    SignalsForChild(const SignalsForChild &) = delete;
    SignalsForChild &operator=(const SignalsForChild &) = delete;
    ~SignalsForChild() {
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        for (int number = 1; number < int{kSignals}; number++) {
            if (held_[static_cast<size_t>(number)]) {
                sigaction(number, &before_[static_cast<size_t>(number)], nullptr);
            }
        }
    }

  private:
    static constexpr unsigned kSignals = 32;
    /** A signal handler has no argument of its own. */
    static volatile pid_t &parent() {
        static volatile pid_t pid;
        return pid;
    }
    /** Blocks the signal in the code it interrupted and sends it once more: it stays pending. */
    static void keep(int number, siginfo_t *, void *context) {
        if (getpid() != parent()) {
            signal(number, SIG_DFL); /* the child, on its way to its program: the signal is meant for it */
        } else {
            sigaddset(&static_cast<ucontext_t *>(context)->uc_sigmask, number);
        }
        raise(number);
    }
    std::array<struct sigaction, kSignals> before_;
    std::array<bool, kSignals> held_{};
    sigset_t mask_;
};

}  // namespace detail
}  // namespace vos

#endif
