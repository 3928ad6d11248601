// SIGINT and SIGTERM end a command that otherwise runs for ever.
#pragma once

#include <csignal>

namespace vosctl {

class StopSignals {
  public:
    StopSignals();

    bool stopped() const;
    /** Waits until `fd` can be read or a stop signal arrives, and says whether it can. Signals are delivered only in
     *  here, so none is missed between a look at stopped() and the wait. */
    bool waitFor(int fd) const;

  private:
    sigset_t waitMask_;
};

}  // namespace vosctl
