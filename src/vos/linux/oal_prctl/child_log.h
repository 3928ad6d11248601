// Diagnostics of a child between its start and exec.
#pragma once

namespace vos {

/** Made in the parent, because the clock's and the program's names take locks of the C library. In the child each text
 *  goes out over a datagram socket of its own, so the parent's log and its lock are left alone. */
class ChildLog {
  public:
    ChildLog();

    /** One message of a syslog priority, while the gate file is there. A log that is full for a second goes without. */
    [[gnu::format(printf, 5, 6)]] void write(int priority, const char *func, int line, const char *format, ...) const;

  private:
    char head_[80];  // "Mon DD HH:MM:SS PROGRAM"
};

}  // namespace vos
