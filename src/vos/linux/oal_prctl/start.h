// Starting a child that ends in exec, at a price that does not depend on the parent's size.
#pragma once

#include <sys/types.h>
#include <cstdint>

namespace vos {

/** The child of startChild(); it shares the parent's memory and writes nowhere but on its own stack. */
class SharedChild {
  public:
    /** Gives the child the signals that its parent had blocked and replaces it; returns only when that fails. */
    void exec(const char *path, char *const *argv, char *const *environment) const;

  private:
    friend pid_t startChild(void (*)(const SharedChild &, void *), void *);
    friend int enterChild(void *);

    void (*body_)(const SharedChild &, void *);
    void *arg_;
    uint64_t blocked_[2];  // the kernel's signal set
};

/** Runs `body` in a child, with every signal blocked and no handler of the parent's left; the calling thread goes on
 *  when the child has called exec or ended, the parent's other threads do not wait. `body` must not return and must
 *  keep to plain system calls, unshare() and setns() among them: what the C library keeps belongs to the parent.
 *
 *  @return the child's id; -1 when none could be had */
pid_t startChild(void (*body)(const SharedChild &child, void *arg), void *arg);

/** Default disposition for a signal, past the C library's bookkeeping. */
void resetSignal(int number);

}  // namespace vos
