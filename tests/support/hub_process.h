// A vos-hubd of the test's own.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "vos/msg.h"

namespace vostest {

/** Starts vos-hubd and waits until it listens; ends it with SIGTERM. The target that uses this depends on vos-hubd. */
class HubProcess {
  public:
    explicit HubProcess(const std::vector<std::string> &options = {},
                        const std::string &socketPath = VOS_MSG_HUB_SOCKET_PATH);
    ~HubProcess();
    HubProcess(const HubProcess &) = delete;
    HubProcess &operator=(const HubProcess &) = delete;

    pid_t pid() const { return pid_; }
    /** Everything written to standard output and standard error so far. */
    std::string output() const;
    /** Waits until the output holds `text`; false when it does not come. */
    bool awaitOutput(const std::string &text) const;
    /** Sends a signal and waits for the end.
     *  @return the exit status, or minus the signal that ended it */
    int stop(int signal);

  private:
    std::string outputPath_;
    pid_t pid_ = -1;
};

/** Runs vos-hubd to its end, for command lines with which it does not start to listen. */
struct HubRun {
    int status;  // exit status, or minus the signal
    std::string output;
};
HubRun runHub(const std::vector<std::string> &arguments);

}  // namespace vostest
