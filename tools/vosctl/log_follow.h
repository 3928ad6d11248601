// Prints a log file and what is added to it, through rotation.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace vosctl {

/** Prints what a terminal may see: text, line feeds, tabs and colours; a dot for every other byte. A colour may come in
 *  pieces. */
class PrintableLog {
  public:
    void print(std::string_view text);

  private:
    std::string colour_;  // its beginning, as far as it has come
};

class LogFollower {
  public:
    /** @param older  where rotation copies the file before it empties it */
    LogFollower(std::string path, std::string older);
    ~LogFollower();
    LogFollower(const LogFollower &) = delete;
    LogFollower &operator=(const LogFollower &) = delete;

    /** Prints until the process is told to end; throws Failure when the file cannot be read. */
    [[noreturn]] void run();

  private:
    void open();
    off_t printFrom(int fd, off_t offset);
    void printNew();
    void waitForChange();

    std::string path_;
    std::string older_;
    PrintableLog printable_;
    int file_ = -1;
    int watch_ = -1;
    off_t offset_ = 0;
};

}  // namespace vosctl
