// A hub of the measurement's own, and processes around it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "internal/guards.h"

namespace load {

/** A child that is killed when this object ends. */
class Child {
  public:
    explicit Child(const std::function<void()> &body);
    ~Child();
    Child(Child &&other) noexcept;
    Child(const Child &) = delete;
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_;
};

/** A pipe over which children say that they are ready or done, and a number with it. */
class Signal {
  public:
    Signal();
    void give(uint32_t number = 0) const;
    uint32_t await() const;
    bool isGiven() const;
    /** Until the other end, another program, has written a line. */
    void awaitLine() const;

    int givingFd() const { return ends_[1]; }

  private:
    int ends_[2];
};

class Hub {
  public:
    /** Runs `program` until clients can connect. */
    explicit Hub(const std::string &program);
    ~Hub();
    Hub(const Hub &) = delete;

    const std::string &socketPath() const { return socketPath_; }
    /** The most memory that it has had so far. */
    double peakMiB() const;
    /** The processor time that it has had so far: what the system's other work on its core does not change. */
    int64_t workedNs() const;

  private:
    std::string socketPath_;
    Signal ready_;
    Child process_;
    vos::UniqueFd times_;
};

/** This process and those that it starts from now on run on one core. */
void stayOnOneCore();
/** This process runs on the other cores only; false where there is no other. */
bool moveToOtherCores();
int64_t nowNs();

}  // namespace load
