// Stop signals, which end the connection from this side: no wait on it outlasts that.
#include "stop_signals.h"

#include <sys/socket.h>

#include <array>
#include <csignal>

#include "command.h"

namespace vosctl {

namespace {

constexpr std::array kStopSignals{SIGINT, SIGTERM};

volatile sig_atomic_t g_stopped = 0;
volatile sig_atomic_t g_hub = -1;

class StopSignals {
  public:
    explicit StopSignals(int hub) {
        g_hub = hub;
        struct sigaction action {};
        action.sa_flags = static_cast<int>(SA_RESETHAND);  // the second signal ends a command that hangs elsewhere
        action.sa_handler = [](int) {
            g_stopped = 1;
            shutdown(g_hub, SHUT_RD);
        };
        for (const int signalNumber : kStopSignals) {
            sigaction(signalNumber, &action, nullptr);
        }
    }
    ~StopSignals() {
        for (const int signalNumber : kStopSignals) {
            signal(signalNumber, SIG_DFL);
        }
    }
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;
};

}  // namespace

void untilStopped(const Hub &hub, const std::function<bool()> &step) {
    const StopSignals signals{hub.fd()};
    try {
        while (g_stopped == 0 && step()) {
        }
    } catch (const Failure &) {
        if (g_stopped == 0) {
            throw;
        }
    }
}

}  // namespace vosctl
