// A hub of the measurement's own, and processes around it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

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

/** A pipe over which children say that they are ready or done. */
class Signal {
  public:
    Signal();
    void give() const;
    void await() const;

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

  private:
    std::string socketPath_;
    Signal ready_;
    Child process_;
};

/** This process and those that it starts from now on run on one core. */
void stayOnOneCore();
int64_t nowNs();

}  // namespace load
