// A program that a command runs beside its own work.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "internal/guards.h"

namespace vosctl {

class ChildCommand {
  public:
    /** Starts it, looked for in PATH; throws Failure.
     *  @param keepOut  what it prints goes to standard error, for standard output is its caller's
     */
    ChildCommand(const std::vector<std::string> &words, bool keepOut);
    /** Ends it with SIGTERM if it still runs. */
    ~ChildCommand();
    ChildCommand(const ChildCommand &) = delete;
    ChildCommand &operator=(const ChildCommand &) = delete;

    /** Can be read when it has ended. */
    int fd() const { return ended_.get(); }
    /** Waits for its end, asks for it first if told to: the exit status, or 128 and the signal's number. */
    int status(bool terminate);

  private:
    pid_t pid_ = -1;
    vos::UniqueFd ended_;
};

}  // namespace vosctl
