// The socket on which the hub listens.
#pragma once

#include <sys/stat.h>

#include <stdexcept>
#include <string>

#include "internal/guards.h"

namespace hubd {

/** Why the hub cannot start or go on, in one line. */
struct HubError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Listener {
  public:
    /** Takes the place of a socket file that nobody listens on; throws HubError when somebody does. */
    explicit Listener(const std::string &path);
    /** Removes the socket file if it is still this one. */
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    int fd() const { return fd_.get(); }
    /** The next connection, non-blocking; empty with errno as accept left it. */
    vos::UniqueFd accept() const;

  private:
    std::string path_;
    vos::UniqueFd fd_;
    struct stat identity_ {};
};

}  // namespace hubd
