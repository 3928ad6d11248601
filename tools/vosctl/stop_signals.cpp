// Stop signals, delivered only while a command waits.
#include "stop_signals.h"

#include <poll.h>

#include <array>

namespace vosctl {

namespace {

volatile sig_atomic_t g_stopped = 0;

}  // namespace

StopSignals::StopSignals() {
    struct sigaction action {};
    action.sa_handler = [](int) { g_stopped = 1; };
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signalNumber : std::array{SIGINT, SIGTERM}) {
        sigaction(signalNumber, &action, nullptr);
        sigaddset(&blocked, signalNumber);
    }
    sigprocmask(SIG_BLOCK, &blocked, &waitMask_);
}

bool StopSignals::stopped() const {
    return g_stopped != 0;
}

bool StopSignals::waitFor(int fd) const {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    return ppoll(&waiting, 1, nullptr, &waitMask_) > 0;
}

}  // namespace vosctl
