// The socket on which the hub listens.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "internal/guards.h"
#include "start_lock.h"

namespace hubd {

class Listener {
  public:
    /** Takes the place of a socket file that nobody listens on; throws HubError when somebody does. Without a `mode`
     *  the umask decides who may connect. */
    explicit Listener(const std::string &path, std::optional<mode_t> mode = {});
    /** Removes the socket file if it is still this one. */
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    int fd() const { return fd_.get(); }

  private:
    std::string path_;
    vos::UniqueFd fd_;
    struct stat identity_ {};
};

}  // namespace hubd
